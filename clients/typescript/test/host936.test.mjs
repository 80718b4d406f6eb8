// Chinese through the real library under code page 936. For Windows' Node, in a process of its own with that code page.
import assert from 'node:assert/strict';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { connect } from '../dist/index.js';
import { Host, begin, until } from './host.mjs';

const folder = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', 'stage', 'host-936');

test('Chinese goes to the keypad and comes back unharmed', { timeout: 180_000 }, async (t) => {
  const host = await Host.start(process.env.VDIPC_BIN, folder);
  t.after(() => host.process.kill());
  const client = await connect({ connectTimeout: 120_000 });
  await begin(host, client, 1);
  client.ask({ device: '0', type: 'single-choice', row1: '第一题：中文', custom: '测验 第三题' });
  await until(async () => (await host.calls('SendContext')).length > 0, 'the keypad gets its rows');
  const answer = client.next('key-pressed');
  await host.do({ do: 'key', kind: 'RV2', keypad: 1, key: 'A' });
  assert.equal((await answer).custom, '测验 第三题');
  // The bytes of code page 936: the host doesn't run under another one.
  assert.equal((await host.calls('SendContext'))[0].args.row1.hex, 'b5dad2bbcce2a3bad6d0cec4');
  await client.close();
  assert.equal(await host.stop(), 0);
});
