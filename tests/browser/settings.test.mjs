// Settings outlast the program, also when it is killed.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {after, before, test} from 'node:test';
import {Program, until} from './program.mjs';

let program;
before(async () => { program = await Program.start('--instances', '2'); });
after(() => program?.stop());

const settings = () => path.join(program.folder, 'settings');

async function restart(signal) {
  await program.kill(signal);
  await program.run();
}

test('a change outlasts a kill a moment later', async () => {
  await program.post('/api/instances/add');
  await program.post('/api/instances/2/config?name=Lead&firstParamPercent=40&inputChannel=-1');
  await program.post('/api/audio/config?sampleRate=44100&enginePriority=3');
  await program.post('/api/bypass-all/toggle');
  // One write at once, one a second later, and the disk.
  await until(() => fs.existsSync(settings()) && /^bypassAll=.*"value":"1"/m.test(fs.readFileSync(settings(), 'utf8')), 'the last change');
  await restart('SIGKILL');
  const status = await program.status();
  assert.equal(status.instanceCount, 3);
  const {name, firstParamPercent, inputChannel} = status.instances[2];
  assert.deepEqual([name, firstParamPercent, inputChannel, status.sampleRate, status.enginePriority, status.bypassAllEnabled],
                   ['Lead', 40, -1, 44100, 3, true]);
});

test('device and instances start by themselves; what fails is told in the log', async () => {
  await program.post('/api/audio/config?autoStartAsioEnabled=true');
  await program.post('/api/host/config?autoStartInstancesEnabled=true');
  await restart('SIGTERM');
  await until(() => /Set the input channel for instance #3\./.test(program.output), 'why the host does not start');
  await program.post('/api/instances/2/config?inputChannel=1');
  await restart('SIGTERM');
  await program.becomes(({running}) => running, 'runs');
  await program.post('/api/audio/config?autoStartAsioEnabled=false');
  await restart('SIGTERM');
  await until(() => /Auto-start instances skipped: ASIO session is not running\./.test(program.output), 'why not');
});

test('an entry for log-on that cannot be written is refused', async () => {
  fs.rmSync(path.join(program.folder, 'config'), {recursive: true, force: true});
  fs.writeFileSync(path.join(program.folder, 'config'), 'in the way');
  assert.equal(await program.post('/api/host/config?runAtStartupEnabled=true'), 400);
  assert.equal((await program.status()).runAtStartupEnabled, false);
});
