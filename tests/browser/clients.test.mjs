// Clients that were not written here: curl and the WebSocket package ws.
import assert from 'node:assert/strict';
import {execFile} from 'node:child_process';
import {once} from 'node:events';
import net from 'node:net';
import {after, before, test} from 'node:test';
import {promisify} from 'node:util';
import WebSocket from 'ws';
import {Program, pause, until} from './program.mjs';

let program;
before(async () => { program = await Program.start('--start', '--instances', '4'); });
after(() => program?.stop());

const curl = async (...options) => (await promisify(execFile)('curl', ['-s', '-i', '--max-time', '15', ...options])).stdout;

// A client that keeps what it hears, by type.
class Client {
  static async open(options = {}) {
    const client = new Client();
    client.heard = {monitor: [], meters: [], response: [], notice: [], pings: 0};
    client.socket = new WebSocket(`${program.url.replace('http', 'ws')}/ws`, {perMessageDeflate: false, ...options});
    client.socket.on('message', (text) => {
      const message = JSON.parse(text);
      client.heard[message.type].push(message);
    });
    client.socket.on('ping', (data) => { client.heard.pings += data.length === 0 ? 1 : NaN; });
    client.socket.on('error', () => {});
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

const refusal = (options) => new Promise((resolve) => {
  const socket = new WebSocket(`${program.url.replace('http', 'ws')}/ws`, options);
  socket.on('unexpected-response', (request, response) => {
    resolve(response.statusCode);
    socket.terminate();
  });
  socket.on('open', () => { resolve('open'); socket.terminate(); });
  socket.on('error', () => {});
});

test('curl gets whole answers and nothing it did not ask for', async () => {
  const health = await curl(`${program.url}/healthz`);
  const body = JSON.stringify({status: 'ok', service: 'Tarnwick', port: program.port});
  assert.equal(health, 'HTTP/1.1 200 OK\r\nContent-Type: application/json; charset=utf-8\r\n' +
    `Content-Length: ${body.length}\r\nConnection: close\r\nCache-Control: no-store\r\n\r\n${body}`);
  for (const [options, status] of [
    [['-X', 'PUT', '/healthz'], 405], [['-I', '/'], 405], [['/nowhere'], 404], [['/api/host/start'], 404], [['/ws'], 400],
    [['-X', 'POST', '/api/instances/99/config?bypassEnabled=true'], 400],
    [['-X', 'POST', '-d', 'x'.repeat(100000), '/api/test-signal-all/toggle'], 202],  // a body is not read, nor in the way
    [['-X', 'POST', '/api/test-signal-all/toggle'], 202],
    [['-X', 'POST', '-H', 'Origin: http://example.org', '/api/host/stop'], 403],
    [['-X', 'POST', '-H', 'Origin: http://evil.example', '-H', 'Host: evil.example', '/api/host/stop'], 403],
    [['-H', `X-Long: ${'x'.repeat(9000)}`, '/healthz'], 200],
  ]) {
    const where = options.at(-1);
    const answer = await curl(...options.slice(0, -1), program.url + where);
    assert.match(answer.replace(/^HTTP\/1.1 100 Continue\r\n\r\n/, ''), new RegExp(`^HTTP/1.1 ${status} `), options.join(' '));
  }
  assert.match(await curl(`${program.url}/favicon.ico`, '-o', '/dev/null', '-D', '-'), /Content-Type: image\/x-icon/);
  assert.equal((await program.status()).running, true);
});

test('ws: state first, answers by their number, changes for everybody', async () => {
  const [first, second] = [await Client.open(), await Client.open({headers: {Origin: program.url}})];
  await until(() => first.heard.monitor.length === 1 && first.heard.meters.length > 0, 'the first state');
  assert.equal(first.heard.monitor[0].service, 'Tarnwick');
  assert.equal(first.heard.monitor[0].instances.length, 4);
  first.send(5, '/healthz');  // POST when nothing is said
  assert.deepEqual((await first.answer(5)).body, {error: 'not found'});
  first.send(-7, '/healthz', {method: 'GET'});
  const health = await first.answer(-7);
  assert.deepEqual([health.status, health.ok, health.bodyText], [200, true, JSON.stringify(health.body)]);
  const name = 'K\u00fcche "1" \u{1f3a4}';
  first.send(6, `/api/instances/1/config?name=${encodeURIComponent(name)}&inputGainDb=-7`);
  assert.deepEqual((await first.answer(6)).body, {accepted: true, action: 'patch-instance', index: 1});
  await until(() => second.heard.monitor.at(-1).instances[1].name === name, 'the other client hears of it');
  assert.equal(second.heard.monitor.at(-1).instances[1].inputGainDb, -7);
  for (const text of ['{', '[]', '{"type":"request","id":1.5,"path":"/healthz"}', '{"type":"request","id":1,"path":""}',
                      '['.repeat(200000)]) {
    first.socket.send(text);
  }
  await until(() => first.heard.response.filter(({id, status}) => id === 0 && status === 400).length === 5, 'refusals');
  await Promise.all([first.close(), second.close()]);
});

test('ws: why an accepted action failed comes as a notice', async () => {
  const client = await Client.open();
  client.send(1, '/api/host/config?pluginPath=/etc/hostname');
  assert.equal((await client.answer(1)).body.error, 'host config patch rejected');
  await until(() => client.heard.notice.some(({action, text}) => action === 'host-config-patch' && text), 'notice');
  client.send(2, '/api/asio/stop');
  assert.equal((await client.answer(2)).body.error, 'Stop the instance host before stopping ASIO.');
  await client.close();
});

test('ws: pings, fragments of nothing, and leaving without a word', async () => {
  const client = await Client.open();
  client.socket.ping('data');
  const [data] = await once(client.socket, 'pong');
  assert.equal(data.length, 0);
  await until(() => client.heard.pings > 0, 'a ping of the server', 6500);
  const meters = client.heard.meters.length;
  await pause(1000);
  assert.ok(client.heard.meters.length - meters >= 7, 'meters come ten times a second');
  client.socket.terminate();
});

test('ws: the 65th client is refused, a foreign page too', async () => {
  const clients = await Promise.all(Array.from({length: 64}, () => Client.open()));
  assert.equal(await refusal({}), 503);
  await Promise.all(clients.map((client) => client.close()));
  await until(async () => (await refusal({})) === 'open', 'room again');
  assert.equal(await refusal({headers: {Origin: 'http://example.org'}}), 403);
});

test('a client that stops reading is dropped and holds nobody up', async () => {
  const deaf = net.connect(program.port, '127.0.0.1');
  await once(deaf, 'connect');
  deaf.pause();
  deaf.write('GET /ws HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Key: AAAA\r\n\r\n');
  const dropped = new Promise((resolve) => deaf.on('close', resolve).on('error', () => {}));
  const client = await Client.open();
  // What it asks for and never takes fills every buffer on the way.
  const mask = Buffer.alloc(4);
  const request = Buffer.from(JSON.stringify({type: 'request', id: 1, method: 'GET', path: '/api/plugin/files?path=/usr/lib'}));
  const frame = Buffer.concat([Buffer.from([0x81, 0x80 | request.length]), mask, request]);
  let longest = 0, before = performance.now(), count = client.heard.meters.length;
  const end = performance.now() + 12000;
  while (!deaf.destroyed && performance.now() < end) {
    deaf.write(frame);
    if (client.heard.meters.length > count) {
      count = client.heard.meters.length;
      longest = Math.max(longest, performance.now() - before);
      before = performance.now();
    }
    await pause(2);
  }
  deaf.resume();
  await dropped;
  assert.ok(longest < 1000, `meters paused for ${longest} ms`);
  await client.close();
});
