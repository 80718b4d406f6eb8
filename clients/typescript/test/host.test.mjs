// The client against the real library in a real host. For Windows' Node; VDIPC_BIN names the folder of the built programs.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { readFileSync, rmSync, writeFileSync } from 'node:fs';
import path from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { pathToFileURL, fileURLToPath } from 'node:url';
import { setTimeout as pause } from 'node:timers/promises';
import { ConnectError, connect } from '../dist/index.js';
import { collect } from './support.mjs';
import { Host, begin, until } from './host.mjs';

const here = path.dirname(fileURLToPath(import.meta.url));
const folder = path.join(here, '..', 'stage', 'host');
let host;
let clients = [];

before(async () => {
  host = await Host.start(process.env.VDIPC_BIN, folder);
});
after(() => host?.process.kill());
afterEach(async () => {
  await Promise.all(clients.splice(0).map((client) => client.close()));
});

async function meet(options = {}) {
  const client = await connect({ connectTimeout: 120_000, retryPause: 300, ...options });
  clients.push(client);
  return client;
}

test('the first example of the README is a lesson', { timeout: 180_000 }, async () => {
  const readme = readFileSync(path.join(here, '..', 'README.md'), 'utf8');
  const example = /```js\n(.*?)```/s.exec(readme)[1];
  const file = path.join(here, '..', 'stage', 'example.mjs');
  const client = pathToFileURL(path.join(here, '..', 'dist', 'index.js')).href;
  assert.match(example, /from 'vdipc-client'/);
  writeFileSync(file, example.replace("'vdipc-client'", JSON.stringify(client)));
  const lines = [];
  const { log } = console;
  console.log = (line) => {
    // What the example says, and not what the tests' own report says meanwhile.
    if (/^(receivers|keypad)/.test(line)) {
      lines.push(line);
    } else {
      log(line);
    }
  };
  try {
    const lesson = import(pathToFileURL(file).href);
    await until(() => lines.length === 1, 'the receivers are ready');
    await host.do({ do: 'connect', kind: 'RV2', from: 7, to: 7 });
    await until(async () => (await host.calls('StartQuestion')).length === 1, 'the question is asked');
    await host.do({ do: 'key', kind: 'RV2', keypad: 7, key: 'C' });
    await lesson;
  } finally {
    console.log = log;
    rmSync(file);
  }
  assert.deepEqual(lines, ['receivers ready: true', 'keypad 7 is there, keypad 7 answers C']);
});

test('a lesson: thirty keypads answer once each', { timeout: 180_000 }, async () => {
  const client = await meet();
  await begin(host, client, 30);
  const before = (await host.calls('StartQuestion')).length;
  const answers = collect(client, 'key-pressed', 30);
  client.ask({ device: '0', type: 'single-choice', row1: '7 x 8 = ?', custom: 'lesson' });
  await until(async () => (await host.calls('StartQuestion')).length > before, 'the question is asked');
  for (const key of ['B', 'C']) {
    await host.do({ do: 'key', kind: 'RV2', from: 1, to: 30, key });
  }
  const seen = (await answers).map((event) => `${event.device} ${event.key} ${event.custom}`);
  assert.deepEqual(new Set(seen), new Set(Array.from({ length: 30 }, (_, i) => `${i + 1} B lesson`)));
  client.stop({ device: '0', row1: 'Thank you' });
  assert.ok((await client.ping(60_000)) >= 0);
});

test('two thousand pings and commands at once keep in step', { timeout: 180_000 }, async () => {
  const client = await meet();
  const pings = [];
  for (let i = 0; i < 2_000; i += 1) {
    pings.push(client.ping(120_000));
    if (i % 20 === 0) {
      client.text({ device: '0', row1: `row ${i}` });
    }
  }
  assert.equal((await Promise.all(pings)).length, 2_000);
});

test('a second client is refused while one is served, and comes in after it', { timeout: 180_000 }, async () => {
  const first = await meet();
  await assert.rejects(connect({ connectTimeout: 700 }), (error) => {
    assert.ok(error instanceof ConnectError);
    assert.equal(error.code, 'another-client', error.message);
    return true;
  });
  assert.ok((await first.ping()) >= 0);
  const second = meet();
  await first.close();
  assert.ok((await (await second).ping()) >= 0);
});

test('ten thousand events come whole to an application that reads slowly', { timeout: 180_000 }, async () => {
  const client = await meet();
  await begin(host, client, 100);
  const before = (await host.calls('StartQuestion')).length;
  client.ask({ device: '0', type: 'general', custom: 'many' });
  await until(async () => (await host.calls('StartQuestion')).length > before, 'the question is asked');
  const events = client[Symbol.asyncIterator]();
  for (let i = 0; i < 100; i += 1) {
    await host.do({ do: 'key', kind: 'RV2', from: 1, to: 100, key: i % 2 === 0 ? 'A' : 'B' });
  }
  const counts = new Map();
  let most = 0;
  for (let seen = 0; seen < 10_000; ) {
    const { value } = await events.next();
    if (value.event === 'key-pressed') {
      assert.equal(value.custom, 'many');
      // In turns: what a keypad sent comes in its order.
      const count = counts.get(value.device) ?? 0;
      assert.equal(value.key, count % 2 === 0 ? 'A' : 'B');
      counts.set(value.device, count + 1);
      seen += 1;
      most = Math.max(most, client.waiting);
      if (seen % 500 === 0) {
        await pause(20);
      }
    }
  }
  assert.equal(counts.size, 100);
  assert.ok([...counts.values()].every((count) => count === 100));
  assert.ok(most > 100, `the application was behind: ${most}`);
});

test('a host that dies is told, and its successor is found', { timeout: 180_000 }, async () => {
  // Few tries: the successor makes its pipe in the midst of them.
  const client = await meet({ retryPause: 2_000 });
  const lost = once(client, 'lost');
  await host.kill();
  await lost;
  assert.equal(client.connected, false);
  const back = once(client, 'back');
  await host.run();
  await back;
  await begin(host, client, 1);
});

test('the host ends cleanly, and nobody misused a closed library', { timeout: 180_000 }, async () => {
  assert.deepEqual((await host.state()).misuse, []);
  assert.equal(await host.stop(), 0);
});
