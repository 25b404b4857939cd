// The browser pages against the running program. Needs Chromium (CHROMIUM, else /usr/bin/chromium) and the program
// (TARNWICK, else the release build). The power buttons are pressed only with TARNWICK_FAKE_POWER=1; the program then
// finds a command that only writes down what was asked of it.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {after, before, test} from 'node:test';
import {Program, hold, note, openPage, pause, programPath, startBrowser, stopBrowser, tap, until} from './program.mjs';

const kPages = [['/', 'TarnwickRemote'], ['/cpu-steering', 'CPU Steering Remote'], ['/cpu-monitor', 'CPU Monitor Remote'],
                ['/plugin-browser-remote', 'VST3 Browser'], ['/record-remote', 'RecordRemote'],
                ['/playback-remote', 'PlaybackRemote']];

let program;
before(async () => {
  await startBrowser();
  program = await Program.start('--start', '--instances', '4');
});
after(async () => {
  await stopBrowser();
  await program?.stop();
});

// Runs work(first, second, becomes) with two pages open; neither may have complained. becomes(check, what) waits until
// the program's state agrees and both pages have heard of it.
async function withTwoPages(where, work) {
  const pages = [await openPage(program, where), await openPage(program, where)];
  try {
    await work(...pages, (check, what) => program.becomes(check, what, ...pages));
    assert.deepEqual(pages.flatMap(({faults}) => faults), []);
  } finally {
    await Promise.all(pages.map((page) => page.close()));
  }
}

const row = (index) => `#rows > li:nth-child(${index + 1})`;
const instance = (index) => program.status().then(({instances}) => instances[index]);
const shows = (page, selector, read, value) =>
  until(async () => (await page.locator(selector).evaluate(read)) === value, `${selector} shows ${value} elsewhere`);

for (const [where, title] of kPages) {
  test(`page ${where} loads cleanly and fits from 360 pixels to 4K`, async () => {
    for (const viewport of [{width: 360, height: 740}, {width: 3840, height: 2160}]) {
      const page = await openPage(program, where, viewport);
      assert.equal(await page.title(), title);
      await until(async () => (await page.locator('.state .word').first().textContent()) === 'Running', 'Running');
      await pause(300);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing sticks out');
      const unnamed = await page.evaluate(() => [...document.querySelectorAll('button, input, select, [role=slider]')]
        .filter((one) => !one.getAttribute('aria-label') && !one.labels?.length && !one.textContent.trim() &&
            one.offsetParent).map((one) => one.outerHTML));
      assert.deepEqual(unnamed, [], 'every control has a name');
      assert.deepEqual(page.faults, []);
      await page.close();
    }
  });
}

test('check boxes, lists and fields of the host page change the program and the second page', async () => {
  await withTwoPages('/', async (page, other, becomes) => {
    for (const key of ['autoStartAsioEnabled', 'autoStartInstancesEnabled', 'runAtStartupEnabled', 'mmcssEnabled',
                       'scheduleSystemRebootEnabled', 'rememberSettingsEnabled']) {
      const old = (await program.status())[key];
      for (const value of [!old, old]) {
        await page.locator(`#${key}`).click();
        await becomes((status) => status[key] === value, `${key} = ${value}`);
        await shows(other, `#${key}`, (box) => box.checked, value);
      }
    }
    for (const key of ['enginePriority', 'audioPriority', 'uiPriority', 'networkPriority']) {
      const old = (await program.status())[key];
      const value = old === 1 ? 2 : 1;
      await page.locator(`#${key}`).focus();
      await page.locator(`#${key}`).selectOption({value: String(value)});
      await becomes((status) => status[key] === value, `${key} = ${value}`);
      await shows(other, `#${key}`, (list) => list.value, String(value));
      await program.post(`/api/${key === 'networkPriority' ? 'host' : 'audio'}/config?${key}=${old}`);
    }
    await page.locator('#scheduleRebootMinutes').fill('04:35');
    await page.locator('#scheduleRebootMinutes').press('Enter');
    await becomes((status) => status.scheduleRebootMinutes === 275, 'restart at 04:35');
    await shows(other, '#scheduleRebootMinutes', (field) => field.value, '04:35');
  });
});

test('every control of an instance changes the program and the second page', async () => {
  await withTwoPages('/', async (page, other, becomes) => {
    const at = row(2);
    const reaches = (key, value) =>
      becomes(({instances}) => instances[2][key] === value, `${key} of the third instance = ${value}`);
    const name = 'Choir \u00e9 "left" <b>';
    await page.locator(`${at} .name input`).fill(name);
    await page.locator(`${at} .name input`).press('Enter');
    await reaches('name', name);
    await shows(other, `${at} .name input`, (field) => field.value, name);

    for (const [cell, key] of [['in', 'inputChannel'], ['out', 'outputChannel']]) {
      for (const channel of [-1, 2]) {
        await page.locator(`${at} .${cell} select`).focus();
        await page.locator(`${at} .${cell} select`).selectOption({value: String(channel)});
        await reaches(key, channel);
        await shows(other, `${at} .${cell} select`, (list) => list.value, String(channel));
      }
    }
    for (const [cell, key] of [['bypass', 'bypassEnabled'], ['pink', 'testSignalEnabled']]) {
      for (const value of [true, false]) {
        await page.locator(`${at} .${cell} button`).click();
        await reaches(key, value);
        await shows(other, `${at} .${cell} button`, (button) => button.getAttribute('aria-pressed'), String(value));
      }
    }
    const type = async (slider, text) => {
      await slider.focus();
      await slider.pressSequentially(text);
      await page.keyboard.press('Enter');
    };
    for (const [cell, key, low] of [['gain-out', 'outputGainDb', -60], ['parameter', 'firstParamPercent', 0],
                                    ['gain-in', 'inputGainDb', -60]]) {
      await type(page.locator(`${at} .${cell} .fader`), '-999');
      await reaches(key, low);
      await type(page.locator(`${at} .${cell} .fader`), '12');
      await reaches(key, 12);
      await shows(other, `${at} .${cell} .fader`, (one) => one.getAttribute('aria-valuenow'), '12');
    }
    const slider = page.locator(`${at} .gain-in .fader`);
    await slider.press('ArrowUp');
    await slider.press('ArrowUp');
    await slider.press('ArrowLeft');
    await reaches('inputGainDb', 13);
    await slider.hover();
    await page.mouse.wheel(0, 100);
    await reaches('inputGainDb', 12);
    const box = await slider.boundingBox();
    await page.mouse.move(box.x + 50, box.y + 10);
    await page.mouse.down();
    await page.mouse.move(box.x + 20, box.y + 12, {steps: 6});
    await page.mouse.up();
    await until(async () => (await instance(2)).inputGainDb < 10, 'the gain follows the drag');
    await type(slider, '7x');
    assert.match(await note(page), /A number from/);
    await slider.dblclick();
    await reaches('inputGainDb', 0);
    // The wheel over a slider that was not chosen scrolls past it.
    await page.locator('#filter').focus();
    await page.locator(`${row(1)} .gain-in .fader`).hover();
    await page.mouse.wheel(0, 100);
    await pause(300);
    assert.equal((await instance(1)).inputGainDb, 0);
  });
});

test('bypass all, pink all, add and remove; a short press of a hold button does nothing', async () => {
  await withTwoPages('/', async (page, other, becomes) => {
    for (const value of [true, false]) {
      await page.locator('#bypass-all').click();
      await becomes(({bypassAllEnabled}) => bypassAllEnabled === value, `bypass all = ${value}`);
      await shows(other, '#bypass-all', (button) => button.getAttribute('aria-pressed'), String(value));
      await shows(other, `${row(1)} .bypass button`, (button) => [button.textContent, button.getAttribute('aria-label'),
        button.getAttribute('aria-pressed')].join(), value
          ? 'Bypass (all),Bypass of instance 2, Instance 2, on for all instances,false'
          : 'Bypass,Bypass of instance 2, Instance 2,false');
    }
    await hold(page, '#pink-all');
    await becomes(({testSignalAllEnabled}) => testSignalAllEnabled, 'pink on all');
    await shows(other, '#pink-all', (button) => button.getAttribute('aria-pressed'), 'true');
    await page.locator('#pink-all').click();
    await becomes(({testSignalAllEnabled}) => !testSignalAllEnabled, 'pink off at once');

    await page.locator('#add').click();
    await becomes(({instanceCount}) => instanceCount === 5, 'one more');
    assert.equal(await other.locator('#rows > li').count(), 5);
    await tap(page, '#remove');
    assert.match(await note(page), /Hold it/);
    assert.equal((await program.status()).instanceCount, 5);
    await hold(page, '#remove');
    await becomes(({instanceCount}) => instanceCount === 4, 'one less');
    assert.equal(await other.locator('#rows > li').count(), 4);

    for (const [text, rows] of [['no such name', 0], ['INSTANCE 2', 1], ['out 2', 1]]) {
      await page.locator('#filter').fill(text);
      assert.equal(await page.locator('#rows > li:visible').count(), rows, text);
      assert.equal(await page.locator('#no-match').isVisible(), rows === 0);
    }
  });
});

test('device and host start and stop, refusals say why beside the control, the clock runs', async () => {
  await withTwoPages('/', async (page, other, becomes) => {
    const word = (text) => shows(other, '#state-word', (one) => one.textContent, text);
    const clock = () => page.locator('#clock').textContent();
    const first = await clock();
    await until(async () => (await clock()) > first, 'the clock runs');

    await page.locator('#rate').fill('44100');
    await page.locator('#rate').press('Enter');
    await until(async () => /Stop ASIO/.test(await note(page)), 'why the rate cannot be changed');
    assert.equal(await page.locator('#rate').inputValue(), '48000');
    await hold(page, '#device-button');
    await until(async () => /Stop the instance host/.test(await note(page)), 'why the device cannot be stopped');

    await hold(page, '#host-button', {key: 'Enter'});
    await becomes(({running, stopping}) => !running && !stopping, 'the host stops by key');
    await word('Stopped, device running');
    await hold(page, '#device-button');
    await becomes(({asioRunning}) => !asioRunning, 'the device stops');
    await word('Stopped');
    await page.locator('#host-button').click();
    await until(async () => /Press ASIO Start first/.test(await note(page)), 'why the host cannot start');

    for (const [id, key, value] of [['rate', 'sampleRate', 44100], ['block', 'bufferSize', 128],
                                    ['rate', 'sampleRate', 48000]]) {
      await page.locator(`#${id}`).fill(String(value));
      await page.locator(`#${id}`).press('Enter');
      await becomes((status) => status[key] === value, `${key} = ${value}`);
      await shows(other, `#${id}`, (field) => field.value, String(value));
    }
    await page.locator('#device').focus();
    const {deviceOptions, device} = await program.status();
    assert.deepEqual(await page.locator('#device option').allTextContents(), deviceOptions);
    for (const chosen of [deviceOptions.at(-1), device]) {
      await page.locator('#device').selectOption(chosen);
      await becomes((status) => status.device === chosen, chosen);
    }
    await page.locator('#refresh').click();

    await page.locator('#device-button').click();
    await becomes(({asioRunning}) => asioRunning, 'the device starts');
    await page.locator('#host-button').click();
    await becomes(({running}) => running, 'the host starts');
    await word('Running');
  });
});

test('a drag is not overwritten, and what came meanwhile is shown after it', async () => {
  await withTwoPages('/', async (page, other, becomes) => {
    const slider = page.locator(`${row(1)} .gain-in .fader`);
    const shown = () => slider.getAttribute('aria-valuenow').then(Number);
    const box = await slider.boundingBox();
    await page.mouse.move(box.x + 20, box.y + 10);
    await page.mouse.down();
    await page.mouse.move(box.x + 30, box.y + 10, {steps: 3});
    const dragged = await shown();
    assert.ok(dragged > 0, `${dragged} dB`);
    await becomes(({instances}) => instances[1].inputGainDb === dragged, 'the drag is heard');
    await program.post('/api/instances/1/config?inputGainDb=-40');
    await becomes(({instances}) => instances[1].inputGainDb === -40, 'a gain from elsewhere');
    assert.equal(await shown(), dragged);
    await page.mouse.up();
    await until(async () => (await shown()) === -40, 'the value from elsewhere after the drag');
    await program.post('/api/instances/1/config?inputGainDb=0');
  });
});

test('dropouts, notices and messages of unknown types', async () => {
  await withTwoPages('/', async (page) => {
    // Looked at before the program's next message tells that there were none.
    const [drops, total] = await page.evaluate((place) => {
      link.take(JSON.stringify({...link.status, instances: link.status.instances.map(
        (one, index) => index === 3 ? {...one, glitchCount: one.glitchCount + 2} : one)}));
      const cell = document.querySelector(place);
      return [cell?.checkVisibility() && cell.textContent, document.querySelector('#dropouts').textContent];
    }, `${row(3)}.fresh .drops.some`);
    assert.match(drops, /^2since \d\d:\d\d/);
    assert.match(total, /2 dropouts in 1 instance/);
    await page.evaluate(() => link.take('{"type":"notice","action":"start","text":"It failed <i>later</i>."}'));
    assert.match(await page.locator('.banner[role=alert]').textContent(), /It failed <i>later<\/i>\./);
    await page.evaluate(() => ['{"type":"new"}', '{', '[]', '{"type":"playback-seek"}', '{"type":"response","id":9999}']
        .forEach((text) => link.take(text)));
  });
});

test('CPU steering: a box for each processor and group', async () => {
  await withTwoPages('/cpu-steering', async (page, other, becomes) => {
    const {cpuCount} = (await program.status()).cpuSteering;
    for (const [index, group] of ['engine', 'record', 'playback', 'networkUi'].entries()) {
      const at = `#groups > section:nth-child(${index + 1})`;
      assert.equal(await page.locator(`${at} input`).count(), cpuCount);
      await page.locator(`${at} label:nth-child(${cpuCount})`).click();
      await becomes(({cpuSteering}) => cpuSteering[`${group}Display`] === String(cpuCount - 1), `${group} on the last`);
      await shows(other, `${at} label:nth-child(${cpuCount}) input`, (box) => box.checked, true);
      await page.locator(`${at} button`).click();
      await becomes(({cpuSteering}) => cpuSteering[`${group}Mask`] === 0, `${group} on all`);
      await shows(other, `${at} .chosen`, (one) => one.textContent, 'All CPUs');
    }
    // The last group would move every process of this machine, so only what would be sent is looked at; and with 64
    // processors, that no bit of it is lost.
    const sent = await page.evaluate(async () => {
      const requests = [];
      link.request = async (...request) => {
        requests.push(request);
        return {ok: false, error: ''};
      };
      link.take(JSON.stringify({...link.status, cpuSteering: {...link.status.cpuSteering, cpuCount: 64,
          otherProcessesDisplay: '0, 62'}}));
      document.querySelector('#groups > section:nth-child(5) label:nth-child(64)').click();
      await new Promise((resolve) => setTimeout(resolve, 50));
      return requests;
    });
    const mask = ((1n << 63n) | (1n << 62n) | 1n).toString();
    assert.deepEqual(sent, [['POST', '/api/cpu-steering/config', {otherProcessesMask: mask}]]);
  });
});

test('what the system granted stands beside what was asked for', async () => {
  const page = await openPage(program, '/cpu-steering');
  await program.post('/api/cpu-steering/config?engineMask=1');
  await until(() => page.evaluate(() => groups[0].setting.known === '0'), 'the choice');
  const group = (running, refused = false) => ({running, refused});
  const texts = await page.evaluate((cases) => cases.map((engine) => {
    takeGrants({engine, record: {running: ''}, priorities: [{work: 'W', asked: 'A', granted: 'G', met: false}]});
    return [...document.querySelectorAll('.granted, #priority-rows dd')].slice(0, 1).concat(
      document.querySelector('#priority-rows dd')).map((one) => `${one.className}: ${one.textContent}`);
  }), [group('0'), group('1'), group('1', true)]);
  assert.deepEqual(texts.map(([one]) => one), ['granted: Runs on 0', 'granted differs: Asked for 0, runs on 1',
                                               'granted differs: The system refused the choice: runs on 1']);
  assert.equal(texts[0][1], 'differs: asked for A, got G');
  assert.ok(await page.evaluate(() => takeGrants(null) || byId('priorities').hidden));
  await program.post('/api/cpu-steering/config?engineMask=0');
  await page.close();
});

test('a page under a name that is not the machine\'s says why it is refused', async () => {
  const page = await openPage(program, '/');
  await page.goto(`http://stage.example:${program.port}/`);
  await until(async () => /opened as "stage\.example".*localhost/.test(await page.locator('#lost').textContent()), 'why');
  assert.equal(await page.locator('.state .word').first().textContent(), 'Refused');
  await page.close();
});

test('VST3 browser: folders, refusal of what is no effect, choice', async () => {
  const effects = path.join(program.folder, 'effects');
  fs.mkdirSync(path.join(effects, 'more'), {recursive: true});
  fs.writeFileSync(path.join(effects, 'broken.vst3'), 'no module');
  fs.cpSync(path.join(path.dirname(programPath), 'Ombrel.vst3'), path.join(effects, 'Copy.vst3'), {recursive: true});
  await withTwoPages('/plugin-browser-remote', async (page, other) => {
    const entry = (name) => `#entries li:has(.title:text-is("${name}")) button`;
    await page.locator('#places').click();
    await page.locator(entry('/')).click();
    await until(async () => (await page.locator('#path').inputValue()) === '/', 'the root');
    await page.locator('#up').click();
    await until(async () => (await page.locator('#count').textContent()) === 'Places on this computer', 'places');
    await page.locator('#path').fill(effects);
    await page.locator('#path').press('Enter');
    await page.locator(entry('more')).click();
    await until(() => page.locator('#nothing').isVisible(), 'the empty folder');
    await page.locator('#up').click();
    await page.locator(entry('broken.vst3')).waitFor();
    assert.equal(await page.locator('.module').count(), 2);

    const before = (await program.status()).pluginPath;
    await hold(page, entry('broken.vst3'));
    await until(async () => (await note(page)).length > 0, 'why it is refused');
    assert.equal((await program.status()).pluginPath, before);
    await hold(page, entry('Copy.vst3'));
    await until(async () => (await program.status()).pluginPath.startsWith(`${effects}/Copy.vst3`), 'chosen');
    await shows(other, '#chosen-name', (one) => one.textContent, 'Copy');
    await until(() => page.locator('#entries .in-use:has-text("Copy")').isVisible(), 'marked as in use');
    await until(async () => (await page.locator(':focus').textContent()) === 'Chosen', 'the button has the focus still');

    await page.locator('#path').fill('/no/such/folder');
    await page.locator('#path').press('Enter');
    await until(async () => (await note(page)).length > 0, 'why it cannot be opened');
    await page.keyboard.press('Escape');
    await until(async () => (await page.locator('#path').inputValue()) === effects, 'the folder that is shown');
    await program.post(`/api/host/config?pluginPath=${encodeURIComponent(before)}`);
  });
});

test('a lost connection shows and comes back by itself, also after a restart', async () => {
  const own = await Program.start('--start', '--instances', '2');
  try {
    const page = await openPage(own, '/');
    const monitor = await openPage(own, '/cpu-monitor');
    const {cpuCount} = (await own.status()).cpuSteering;
    const cores = () => until(async () => (await monitor.locator('#cores .now').allTextContents())
      .filter((text) => /^\d+ %$/.test(text)).length === cpuCount, 'figures of each core');
    await cores();
    await page.locator(`${row(0)} .name input`).fill('kept while away');
    for (const [lose, back] of [[() => own.process.kill('SIGSTOP'), () => own.process.kill('SIGCONT')],
                                [() => own.kill(), () => own.run()]]) {
      await lose();
      await until(() => page.locator('#lost').isVisible(), 'the loss is shown');
      await page.locator('#bypass-all').click();
      assert.match(await note(page), /No connection/);
      assert.equal(await page.locator('.state .word').first().textContent(), 'Connection lost');
      await back();
      await until(() => page.locator('#lost').isHidden(), 'back again');
      assert.equal(await note(page), '', 'what was said about the connection is over');
      assert.equal(await page.locator(`${row(0)} .name input`).inputValue(), 'kept while away');
    }
    await page.locator('#bypass-all').click();
    await until(async () => (await own.status()).bypassAllEnabled, 'it works again');
    await monitor.evaluate(() => cores.splice(0).forEach(({element}) => element.remove()));
    await cores();
    assert.deepEqual(page.faults.filter((text) => !/WebSocket connection/.test(text)), []);
    await Promise.all([page.close(), monitor.close()]);
  } finally {
    await own.stop();
  }
});

test('127 rows with ten meter messages a second: only what is seen is drawn, without layout', async () => {
  const own = await Program.start('--instances', '127');
  try {
    const page = await openPage(own, '/');
    assert.equal(await page.locator('#rows > li').count(), 127);
    await page.evaluate(() => setInterval(() => {
      const instances = table.rows.map((_, index) => ({index, inputMeterDb: -60 * Math.random(), outputMeterDb: -20}));
      link.take(JSON.stringify({type: 'meters', instanceCount: 127, instances}));
    }, 100));
    const channel = await page.context().newCDPSession(page);
    const {nodes} = await channel.send('Accessibility.getFullAXTree');
    assert.equal(nodes.filter(({ignored, role}) => !ignored && role?.value === 'slider').length, 3 * 127,
                 'readers find all of them');
    await channel.send('Accessibility.disable');
    await channel.send('Performance.enable');
    const measure = async () => Object.fromEntries((await channel.send('Performance.getMetrics')).metrics
      .map(({name, value}) => [name, value]));
    await until(() => page.evaluate(() => meters.visible.size > 3), 'meters are drawn');
    const from = await measure();
    const messages = await page.evaluate(() => new Promise((resolve) => {
      let count = 0;
      const step = () => count === 30 || requestAnimationFrame(step);
      step();
      link.on('meters', () => ++count === 30 && resolve(count));
    }));
    const layouts = (await measure()).LayoutCount - from.LayoutCount;
    const drawn = await page.evaluate(() => meters.visible.size);
    assert.ok(await page.evaluate(() => document.documentElement.scrollHeight <= innerHeight), 'Stop stays in sight');
    assert.ok(layouts < messages, `${layouts} layouts in ${messages} messages`);
    assert.ok(drawn < 30, `${drawn} of 127 meters drawn`);
    await page.close();
  } finally {
    await own.stop();
  }
});

test('restart and shutdown ask for a hold', {skip: process.env.TARNWICK_FAKE_POWER !== '1'}, async () => {
  await withTwoPages('/', async (page) => {
    const asked = () => fs.existsSync(program.powerLog) ? fs.readFileSync(program.powerLog, 'utf8') : '';
    await tap(page, '#reboot');
    await tap(page, '#shutdown');
    await pause(300);
    assert.equal(asked(), '');
    await hold(page, '#reboot');
    await until(() => /reboot/.test(asked()), 'restart asked for');
    await until(async () => /Restart asked for/.test(await note(page)), 'and said so');
    await hold(page, '#shutdown');
    await until(() => /poweroff/.test(asked()), 'shutdown asked for');
  });
});
