// The client against a server of our own: frames in any shape, connections that end in any way.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { afterEach, beforeEach, test as nodeTest } from 'node:test';
import { Client, ConnectError, connect } from '../dist/index.js';
import { PING, PING_REPLY, Server, activated, collect, frame, header, take } from './support.mjs';

/** What waits in vain is a failure, and no hanging run. */
const test = (name, body) => nodeTest(name, { timeout: 120_000 }, body);

let server;
let clients;

beforeEach(() => {
  server = new Server();
  clients = [];
});
afterEach(async () => {
  await Promise.all(clients.map((client) => client.close()));
  await server.close();
});

async function meet(options = {}, listen = {}) {
  await server.listen(listen);
  const client = new Client({ path: server.path, retryPause: 20, ...options });
  clients.push(client);
  const [, socket] = await Promise.all([client.connect(), server.client()]);
  return { client, socket };
}

const failsWith = (code) => (error) => error instanceof ConnectError && error.code === code;

test('bytes one by one give each frame once', async () => {
  const { client, socket } = await meet();
  const events = collect(client, 'activated', 3);
  for (const byte of Buffer.concat([activated(1), activated(2), PING_REPLY, activated(3)])) {
    socket.write(Buffer.of(byte));
    await new Promise((resolve) => setImmediate(resolve));
  }
  assert.deepEqual((await events).map((event) => event.device), ['1', '2', '3']);
});

test('many frames in one read come in their order, cut at any place', async () => {
  const { client, socket } = await meet();
  const count = 10_000;
  const events = collect(client, 'activated', count);
  const bytes = Buffer.concat(Array.from({ length: count }, (_, i) => activated(i + 1)));
  for (let at = 0; at < bytes.length; at += 70_001) {
    socket.write(bytes.subarray(at, at + 70_001));
  }
  const devices = (await events).map((event) => Number(event.device));
  assert.equal(devices.length, count);
  assert.ok(devices.every((device, i) => device === i + 1));
});

test('a large payload in pieces is one event, in its own letters', async () => {
  const { client, socket } = await meet();
  const custom = '第三题 ü '.repeat(100_000);
  const event = client.next('key-pressed');
  const bytes = frame({ event: 'key-pressed', id: 'x', device: '1', key: 'B', data: null, extra: '', custom });
  for (let at = 0; at < bytes.length; at += 10_007) {
    socket.write(bytes.subarray(at, at + 10_007));
  }
  assert.equal((await event).custom, custom);
});

test('a frame that is cut by the end is no event', async () => {
  const { client, socket } = await meet({ reconnect: false });
  const seen = [];
  client.on('event', (event) => seen.push(event));
  const lost = once(client, 'lost');
  socket.end(Buffer.concat([activated(1), activated(2).subarray(0, 40)]));
  await lost;
  assert.deepEqual(seen.map((event) => event.device), ['1']);
});

for (const [name, length] of [
  ['negative', -1],
  ['beyond any frame', 0x7fffffff],
]) {
  test(`a length that is ${name} ends the connection, and the next one serves`, async () => {
    const { client, socket } = await meet();
    const lost = once(client, 'lost');
    const back = once(client, 'back');
    socket.write(Buffer.concat([activated(1), header(2018, length, 2018)]));
    assert.match((await lost)[0].reason, new RegExp(`no frame: it says that it has ${length} bytes`));
    const next = await server.client();
    await back;
    const event = client.next('activated');
    next.write(activated(2));
    assert.equal((await event).device, '2');
  });
}

test('frames of other kinds, and messages that are no events, are told as unknown', async () => {
  const { client, socket } = await meet();
  const unknown = [];
  client.on('unknown', (one) => unknown.push(one.payload.toString()));
  const event = client.next('activated');
  socket.write(
    Buffer.concat([header(77, 4, 1, Buffer.from('what')), frame('{"event":"x"}'), frame('{'), frame('null'), activated(1)]),
  );
  await event;
  assert.deepEqual(unknown, ['what', '{"event":"x"}', '{', 'null']);
});

test('commands go out as frames with their length in bytes', async () => {
  const { client, socket } = await meet();
  client.init('any');
  client.ask({ device: '0', type: 'single-choice', row1: '第一题', custom: 'q1' });
  const expected = Buffer.concat([
    frame('{"command":"init","preferred-device-type":"any"}'),
    frame('{"command":"ask","device":"0","type":"single-choice","row1":"第一题","custom":"q1"}'),
  ]);
  assert.deepEqual(await take(socket, expected.length), expected);
});

test('a command that does not fit the schema throws, and nothing goes out', async () => {
  const { client, socket } = await meet();
  assert.throws(() => client.ask({ device: 'abc', type: 'general' }), /"ask" doesn't fit its schema: \/device must match/);
  assert.throws(() => client.ask({ device: '4294967296', type: 'general' }), TypeError);
  assert.throws(() => client.hi({ device: '0', arguments: [{ type: 'led', times: 1, interval: 1, duration: 1 }] }), TypeError);
  assert.throws(() => client.send({ command: 'Ask', device: '0', type: 'general' }), /no command is named "Ask"/);
  client.quit();
  const expected = frame('{"command":"quit"}');
  assert.deepEqual(await take(socket, expected.length), expected);
});

test('without the check anything goes out', async () => {
  const { client, socket } = await meet({ check: false });
  client.drop('abc');
  const expected = frame('{"command":"drop","device":"abc"}');
  assert.deepEqual(await take(socket, expected.length), expected);
});

test('a ping waits for its own reply, and says so when none comes', async () => {
  const { client, socket } = await meet();
  const ping = client.ping();
  assert.deepEqual(await take(socket, PING.length), PING);
  socket.write(PING_REPLY);
  assert.ok((await ping) >= 0);
  await assert.rejects(client.ping(50), /no reply within 50 ms/);
});

test('a reply that comes late is not the next ping’s', async () => {
  const { client, socket } = await meet();
  await assert.rejects(client.ping(20), /no reply/);
  const second = client.ping(60_000);
  let settled = false;
  void second.then(() => (settled = true));
  await take(socket, 2 * PING.length);
  const marker = client.next('activated');
  socket.write(Buffer.concat([PING_REPLY, activated(1)]));
  await marker;
  assert.equal(settled, false);
  socket.write(PING_REPLY);
  await second;
});

test('a server that does not read fills the queue, and the caller sees it', async () => {
  const { client, socket } = await meet({ sendLimit: 2_000_000 });
  socket.pause();
  const row1 = 'x'.repeat(20_000);
  let sent = 1;
  while (client.text({ device: '0', row1 }) && sent < 1_000) {
    sent += 1;
  }
  assert.ok(sent < 1_000);
  assert.ok(client.unsent > 2_000_000);
  const event = client.next('activated');
  socket.write(activated(1));
  assert.equal((await event).device, '1');
  const drain = once(client, 'drain');
  socket.resume();
  await drain;
  assert.equal(client.unsent, 0);
  assert.equal(client.text({ device: '0', row1 }), true);
  await client.flush();
});

test('a slow application loses nothing, and sees what waits', async () => {
  const { client, socket } = await meet();
  const events = client[Symbol.asyncIterator]();
  const count = 10_000;
  const last = client.next('activated', (event) => event.device === String(count));
  socket.write(Buffer.concat(Array.from({ length: count }, (_, i) => activated(i + 1))));
  await last;
  assert.equal(client.waiting, count);
  for (let i = 1; i <= count; i += 1) {
    assert.equal((await events.next()).value.device, String(i));
  }
  assert.equal(client.waiting, 0);
});

test('code that awaits one event and then the next misses none between them', async () => {
  const { client, socket } = await meet();
  socket.write(Buffer.concat([activated(1), activated(2), activated(3)]));
  for (const device of ['1', '2', '3']) {
    assert.equal((await client.next('activated')).device, device);
  }
});

test('where nobody serves, connecting says so after its time', async () => {
  const begin = performance.now();
  await assert.rejects(connect({ path: server.path, connectTimeout: 120, retryPause: 20 }), failsWith('nobody-serves'));
  assert.ok(performance.now() - begin >= 119);
});

test('a server that comes later is found', async () => {
  const connecting = connect({ path: server.path, retryPause: 20 });
  await server.listen();
  const client = await connecting;
  clients.push(client);
  assert.equal(client.connected, true);
});

test('a client that waits long for the pipe leaves nothing behind on its signal', async () => {
  const warnings = [];
  const note = (warning) => warnings.push(warning.message);
  process.on('warning', note);
  await assert.rejects(connect({ path: server.path, connectTimeout: 200, retryPause: 2 }), failsWith('nobody-serves'));
  await new Promise((resolve) => setImmediate(resolve));
  process.off('warning', note);
  assert.deepEqual(warnings, []);
});

test('behind the end of a connection a pause comes before the next one', async () => {
  const { client } = await meet();
  const begin = performance.now();
  await client.close();
  clients.push(await connect({ path: server.path, retryPause: 300 }));
  assert.ok(performance.now() - begin >= 300, `${performance.now() - begin}`);
});

test('a client that waits while another one comes and goes pauses behind its end', async () => {
  const waiting = connect({ path: server.path, retryPause: 3_000 });
  // Its first try is over by then, and the other one goes long before its second would come.
  await new Promise((resolve) => setTimeout(resolve, 300));
  const { client } = await meet();
  await client.close();
  const end = performance.now();
  clients.push(await waiting);
  assert.ok(performance.now() - end >= 2_900, `${performance.now() - end}`);
});

test('connected but not served is told, not waited for', async () => {
  await server.listen({ greet: false });
  await assert.rejects(connect({ path: server.path, pingTimeout: 100 }), (error) => {
    assert.equal(error.message, 'connected, but not served: the host must be started again');
    return failsWith('not-served')(error);
  });
});

test('events ahead of the reply show that somebody serves', async () => {
  await server.listen({ greet: false });
  const client = new Client({ path: server.path, pingTimeout: 60_000 });
  clients.push(client);
  const event = client.next('activated');
  const connecting = client.connect();
  const socket = await server.client();
  socket.write(activated(9));
  await connecting;
  assert.equal((await event).device, '9');
});

test('connecting can be cancelled', async () => {
  const stop = new AbortController();
  const connecting = connect({ path: server.path, signal: stop.signal });
  stop.abort();
  await assert.rejects(connecting, failsWith('cancelled'));
});

test('a lost connection is told and made anew', async () => {
  const { client, socket } = await meet();
  const events = client[Symbol.asyncIterator]();
  const lost = once(client, 'lost');
  const back = once(client, 'back');
  socket.destroy();
  await lost;
  assert.equal(client.connected, false);
  assert.throws(() => client.quit(), /not connected/);
  const next = await server.client();
  await back;
  next.write(activated(5));
  assert.equal((await events.next()).value.device, '5');
});

test('a ping and a flush of a lost connection are told', async () => {
  const { client, socket } = await meet({ reconnect: false });
  socket.pause();
  const ping = client.ping();
  while (client.text({ device: '0', row1: 'x'.repeat(50_000) })) {
    // until it waits
  }
  const flush = client.flush();
  const lost = once(client, 'lost');
  socket.destroy();
  await assert.rejects(ping, /the connection was lost/);
  await assert.rejects(flush, /the connection was lost/);
  assert.ok((await lost)[0].unsent > 0);
});

test('a pipe that nobody serves any more is given up', async () => {
  const { client, socket } = await meet({ pingTimeout: 3_000 });
  const next = client[Symbol.asyncIterator]().next();
  const refused = assert.rejects(next, failsWith('not-served'));
  server.greet = false;
  const givenUp = once(client, 'given-up');
  socket.destroy();
  assert.equal((await givenUp)[0].code, 'not-served');
  await refused;
});

test('closing writes what is queued, ends iterators, and frees whoever waits', async () => {
  const { client, socket } = await meet();
  const events = client[Symbol.asyncIterator]();
  const waiting = assert.rejects(client.next('arrived'), /closed while waiting for "arrived"/);
  client.quit();
  await client.close();
  const expected = frame('{"command":"quit"}');
  assert.deepEqual(await take(socket, expected.length), expected);
  assert.equal((await events.next()).done, true);
  await waiting;
});
