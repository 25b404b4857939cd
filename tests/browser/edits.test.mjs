// Edits between their first key or touch and their end, and the focus afterwards.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {Program, hold, note, openPage, pause, startBrowser, stopBrowser, until} from './program.mjs';

let program, page;
before(async () => {
  await startBrowser();
  program = await Program.start('--start', '--instances', '2');
  page = await openPage(program, '/');
});
after(async () => {
  await stopBrowser();
  await program?.stop();
});

const focused = (on = page) => on.evaluate(() => document.activeElement.id || document.activeElement.className);
const gain = async () => (await program.status()).instances[0].inputGainDb;

test('a time of day is sent when it is meant, not while it is typed', async () => {
  const field = page.locator('#scheduleRebootMinutes');
  const minutes = async () => (await program.status()).scheduleRebootMinutes;
  const typed = async () => {
    const [hours, rest] = (await field.inputValue()).split(':').map(Number);
    return hours * 60 + rest;
  };
  const old = await minutes();
  for (const leave of [() => field.press('Enter'), () => page.locator('#filter').focus()]) {
    await program.post(`/api/host/config?scheduleRebootMinutes=${old}`);
    await until(async () => (await typed()) === old, 'the stored time');
    await field.focus();
    await page.keyboard.type('1');
    await pause(300);
    const half = await typed();
    assert.notEqual(half, old);
    assert.equal(await minutes(), old, 'half an hour was sent');
    await program.post(`/api/host/config?scheduleRebootMinutes=100`);
    await page.keyboard.type('1');
    await pause(300);
    assert.deepEqual([await minutes(), (await typed()) === 100], [100, false], 'the edit was sent or overwritten');
    await leave();
    await until(async () => (await minutes()) === (await typed()) && (await minutes()) !== 100, 'the time that was meant');
  }
  // The browser's own picker takes the keys for itself and is done when it says so.
  const chosen = await minutes();
  const box = await field.boundingBox();
  await page.mouse.click(box.x + box.width - 24, box.y + box.height / 2);
  await pause(400);
  for (const key of ['ArrowDown', 'Enter']) {
    await page.keyboard.press(key);
  }
  await until(async () => (await minutes()) !== chosen, 'the time that was picked');
});

test('a finger that scrolls moves no slider, and a drag that the browser ends is undone', async () => {
  const phone = await openPage(program, '/', {width: 390, height: 844}, {hasTouch: true, isMobile: true});
  const slider = phone.locator('#rows > li:first-child .gain-in .fader');
  await phone.evaluate(() => {
    window.sent = [];
    const {request} = link;
    link.request = (...what) => sent.push(what[2]) && request.apply(link, what);
  });
  const channel = await phone.context().newCDPSession(phone);
  const shown = () => slider.getAttribute('aria-valuenow').then(Number);
  const touch = async (type, ...points) => {
    const {x, y, width, height} = await start;
    for (const [dx, dy] of points.length ? points : [[]]) {
      await channel.send('Input.dispatchTouchEvent', {type, touchPoints: dx === undefined ? [] :
        [{x: x + width / 2 + dx, y: y + height / 2 + dy}]});
    }
  };
  let start;
  for (const path of [[[0, 20], [9, 60], [30, 80]], [[7, 0], [4, 3]], [[9, 6], [16, 9]]]) {
    await slider.evaluate((one) => one.scrollIntoView({block: 'center'}));
    start = slider.boundingBox();
    await touch('touchStart', [0, 0]);
    await touch('touchMove', ...path);
    await touch('touchEnd');
    await pause(100);
    await phone.keyboard.press('Escape');  // a tap opens the number
    assert.deepEqual([await phone.evaluate(() => sent), await shown()], [[], 0], JSON.stringify(path));
  }
  await slider.evaluate((one) => one.scrollIntoView({block: 'center'}));
  start = slider.boundingBox();
  for (const [end, undone] of [['touchCancel', true], ['touchEnd', false]]) {
    await touch('touchStart', [0, 0]);
    await touch('touchMove', [10, 1], [20, 2], [30, 2]);
    await until(async () => (await gain()) === 21, 'the drag is heard');  // a quarter of 84 dB
    await touch(end);
    if (undone) {
      await until(async () => (await gain()) === 0 && (await shown()) === 0, 'the drag is undone');
    } else {
      await pause(300);
      assert.deepEqual([await gain(), await shown()], [21, 21]);
    }
  }
  assert.deepEqual(phone.faults, []);
  await phone.close();
});

test('an edit is not overwritten, and what Escape has given up is not sent later', async () => {
  const name = page.locator('#rows > li:first-child .name input');
  const elsewhere = async (text) => {
    await program.post(`/api/instances/0/config?name=${text}`);
    await program.becomes(({instances}) => instances[0].name === text, text, page);
  };
  await name.click();
  assert.equal(await name.evaluate((one) => one.value.slice(one.selectionStart, one.selectionEnd)), 'Instance 1');
  await page.keyboard.type('given up');
  await elsewhere('One');
  assert.equal(await name.inputValue(), 'given up');
  await name.press('Escape');
  assert.equal(await name.inputValue(), 'One');
  await page.locator('#filter').focus();
  await name.focus();
  await elsewhere('Two');
  await page.locator('#filter').focus();
  await pause(200);
  assert.deepEqual([(await program.status()).instances[0].name, await name.inputValue()], ['Two', 'Two']);
});

test('notes: one at a time, and only about what this page has asked for', async () => {
  const tell = (action) => page.evaluate((action) => link.take(JSON.stringify({type: 'notice', action, text: 'why'})), action);
  const notes = () => page.locator('.note').allTextContents();
  await page.locator('#block').fill('12.5');
  await page.locator('#block').press('Enter');
  assert.match(await note(page), /whole number/);
  await page.locator('#rate').fill('1');
  await page.locator('#rate').press('Enter');
  await until(async () => /A number from 1000/.test(await note(page)), 'the next reason');
  assert.equal((await notes()).length, 1);
  // Sent by key, so that no press takes the note away.
  await page.locator('#rows > li:first-child .bypass button').press('Enter');
  await program.becomes(({instances}) => instances[0].bypassEnabled, 'bypass', page);
  assert.deepEqual(await notes(), []);
  await until(() => page.evaluate(() => actions.length === 0), 'the page has its answers');
  await tell('patch-instance');
  await tell('audio-config-patch');
  assert.deepEqual(await notes(), [], 'a patch of somebody else');
  await hold(page, '#host-button', {key: 'Enter'});
  await program.becomes(({running, stopping}) => !running && !stopping, 'stops', page);
  await tell('stop');
  assert.deepEqual(await notes(), ['why']);
  assert.equal(await focused(), 'host-button', 'the focus stays while the button had nothing to do');
});

test('the focus goes on after the last instance was removed and the first one added', async () => {
  await hold(page, '#remove');
  await program.becomes(({instanceCount}) => instanceCount === 1, 'one left', page);
  await page.locator('#remove').focus();
  await page.keyboard.down('Enter');
  await until(async () => (await focused()) === 'add', 'the next step has the focus');
  for (let repeat = 0; repeat < 5; ++repeat) {
    await page.keyboard.down('Enter');
  }
  await page.keyboard.up('Enter');
  await pause(200);
  assert.equal((await program.status()).instanceCount, 0, 'a key that is held adds nothing');
  await page.locator('#add-first').focus();
  await page.keyboard.press('Enter');
  await until(async () => (await focused()) === 'entry' && (await page.locator('#rows .name :focus').count()) === 1,
              'the name of the new instance');
  assert.deepEqual(page.faults, []);
});
