// Clients that were not written here: curl and the WebSocket package ws.
import assert from 'node:assert/strict';
import {execFile} from 'node:child_process';
import {once} from 'node:events';
import {after, before, test} from 'node:test';
import {promisify} from 'node:util';
import WebSocket from 'ws';
import {Program, until} from './program.mjs';

let program;
before(async () => { program = await Program.start('--start', '--instances', '4'); });
after(() => program?.stop());

const curl = async (...options) => (await promisify(execFile)('curl', ['-s', '-i', '--max-time', '60', ...options])).stdout;

// A client that keeps what it hears, by type.
class Client {
  static async open(options = {}) {
    const client = new Client();
    client.heard = {monitor: [], meters: [], response: [], notice: []};
    client.socket = new WebSocket(`${program.url.replace('http', 'ws')}/ws`, {perMessageDeflate: false, ...options});
    client.socket.on('message', (text) => {
      const message = JSON.parse(text);
      client.heard[message.type].push(message);
    });
    await once(client.socket, 'open');
    return client;
  }
  send(id, where, more = {}) {
    this.socket.send(JSON.stringify({type: 'request', id, path: where, ...more}));
  }
  answer(id) {
    return until(() => this.heard.response.find((response) => response.id === id), `answer ${id}`);
  }
  async close() {
    this.socket.close();
    await once(this.socket, 'close');
  }
}

test('curl gets whole answers and nothing it did not ask for', async () => {
  for (const [options, status] of [
    [['-X', 'PUT', '/healthz'], 405],
    [['-X', 'POST', '-d', 'x'.repeat(100000), '/api/test-signal-all/toggle'], 202],  // a body is not read, nor in the way
    [['-H', `X-Long: ${'x'.repeat(9000)}`, '/healthz'], 200],
  ]) {
    const where = options.at(-1);
    const answer = await curl(...options.slice(0, -1), program.url + where);
    assert.match(answer.replace(/^HTTP\/1.1 100 Continue\r\n\r\n/, ''), new RegExp(`^HTTP/1.1 ${status} `), options.join(' '));
  }
  assert.match(await curl(`${program.url}/favicon.ico`, '-o', '/dev/null', '-D', '-'), /Content-Type: image\/x-icon/);
});

test('ws: state first, answers by their number, changes for everybody', async () => {
  const [first, second] = [await Client.open(), await Client.open({headers: {Origin: program.url}})];
  await until(() => first.heard.monitor.length > 0 && first.heard.meters.length > 0, 'the first state');
  assert.equal(first.heard.monitor[0].service, 'Tarnwick');
  assert.equal(first.heard.monitor[0].instances.length, 4);
  first.send(-7, '/healthz', {method: 'GET'});
  const health = await first.answer(-7);
  assert.deepEqual([health.status, health.ok, health.bodyText], [200, true, JSON.stringify(health.body)]);
  const name = 'K\u00fcche "1" \u{1f3a4}';
  first.send(6, `/api/instances/1/config?name=${encodeURIComponent(name)}&inputGainDb=-7`);
  assert.deepEqual((await first.answer(6)).body, {accepted: true, action: 'patch-instance', index: 1});
  await until(() => second.heard.monitor.some(({instances: [, one]}) => one.name === name && one.inputGainDb === -7),
              'the other client hears of it');
  first.socket.send('['.repeat(200000));
  assert.equal((await first.answer(0)).status, 400);
  await Promise.all([first.close(), second.close()]);
});
