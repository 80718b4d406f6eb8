// Pages of strangers in the same browser: they must neither move a server on loopback nor read from it.
import assert from 'node:assert/strict';
import {createServer} from 'node:http';
import {after, before, test} from 'node:test';
import {Browser, endAll, Host, Teacher, until} from './support/rig.mjs';

let host;
let desk;
let browser;
let stranger;
let strangersPort;

before(async () => {
  stranger = createServer((request, response) => {
    response.setHeader('Content-Type', 'text/html');
    response.end('<!doctype html><title>stranger</title>');
  });
  await new Promise((done) => { stranger.listen(0, '127.0.0.1', done); });
  strangersPort = stranger.address().port;
  [host, browser] = await Promise.all([Host.start(),
    // Names of a stranger's that lead to this machine: what rebinding comes to.
    Browser.start(['--host-resolver-rules=MAP *.example 127.0.0.1'])]);
  desk = await Teacher.start(host);
});

after(async () => {
  stranger?.close();
  browser?.forgive(/./);
  await endAll(desk, browser, host);
});

const visit = async (address) => {
  const page = await (await browser.browser.newContext()).newPage();
  await page.goto(address);
  return page;
};

/// All that a page can try at a server: what each attempt gives it.
const tryAll = (page, base, token) => page.evaluate(async ([server, stolen]) => {
  const attempt = async (what, ask) => {
    try {
      return [what, await ask()];
    } catch (error) {
      return [what, `failed: ${error.name}`];
    }
  };
  const action = '{"do":"connect","keypad":666}';
  const text = async (path, options) => {
    const response = await fetch(server + path, options);
    return `${response.type} ${response.status} ${(await response.text()).slice(0, 40)}`;
  };
  const given = (element) => new Promise((resolve) => {
    element.onload = () => resolve('loaded');
    element.onerror = () => resolve('failed');
    document.documentElement.append(element);
  });
  return Promise.all([
    attempt('simple post', () => text('do', {method: 'POST', mode: 'no-cors', body: action})),
    attempt('post', () => text('do', {method: 'POST', body: action})),
    attempt('post with the token', () => text('do', {method: 'POST', body: action, headers: {'X-Page-Token': stolen}})),
    attempt('command', () => text('send', {method: 'POST', mode: 'no-cors', body: '{"command":"quit"}'})),
    attempt('beacon', () => String(navigator.sendBeacon(`${server}do`, action) && 'sent')),
    attempt('state', () => text('state')),
    attempt('token', () => text('token')),
    attempt('script', () => given(Object.assign(document.createElement('script'), {src: `${server}saw?since=0`}))),
    attempt('stream', () => new Promise((resolve) => {
      const source = new EventSource(`${server}live`);
      source.onerror = () => { source.close(); resolve('failed'); };
      source.addEventListener('world', () => resolve('read'));
      source.addEventListener('status', () => resolve('read'));
    })),
  ]);
}, [base, token]);

async function untouched() {
  assert.equal((await host.state()).keypads.length, 0, 'no keypad was logged on');
  assert.ok(host.program.running, 'the host goes on');
}

for (const name of ['127.0.0.1', 'localhost', 'evil.example']) {
  test(`PageOf_${name}_OnAnotherPort_MovesAndReadsNothing`, async () => {
    const page = await visit(`http://${name}:${strangersPort}/`);
    for (const server of [host, desk]) {
      const {token} = await (await fetch(`${server.url}token`)).json();
      for (const [what, gave] of await tryAll(page, server.url, token)) {
        assert.match(gave, /^(failed|opaque 0 $|sent)/, `${what} at ${server.url}`);
      }
    }
    // A form needs no script's leave.
    await page.evaluate((address) => {
      const form = Object.assign(document.createElement('form'), {method: 'POST', action: `${address}do`, enctype: 'text/plain'});
      form.append(Object.assign(document.createElement('input'), {name: '{"do":"connect","keypad":666,"x":"', value: '"}'}));
      document.documentElement.append(form);
      form.submit();
    }, host.url);
    await page.getByText('have no business here').waitFor();
    await untouched();
    await page.context().close();
  });
}

test('NameOfAStrangersThatLeadsHere_IsRefused', async () => {
  for (const server of [host, desk]) {
    const address = `http://rebound.example:${server.port}/`;
    const page = await visit(`http://rebound.example:${strangersPort}/`);
    const response = await page.goto(address);
    assert.equal(response.status(), 403);
    assert.match(await page.content(), /answers to the names 127.0.0.1 and localhost alone/);
    const {token} = await (await fetch(`${server.url}token`)).json();
    for (const [what, gave] of await tryAll(page, address, token)) {
      assert.match(gave, /^(failed|basic 40[34]|sent)/, `${what} at ${address}`);
    }
    await untouched();
    await page.context().close();
  }
});

test('Frame_OfAStrangersPage_StaysEmpty', async () => {
  const page = await visit(`http://evil.example:${strangersPort}/`);
  const refused = page.waitForEvent('console', (message) => /frame-ancestors/.test(message.text()));
  await page.evaluate((address) => {
    document.documentElement.append(Object.assign(document.createElement('iframe'), {src: address}));
  }, host.url);
  await refused;
  assert.equal(await page.frameLocator('iframe').locator('.bar').count(), 0);
  await page.context().close();
});

test('OwnPage_StillMovesTheClass', async () => {
  const page = await browser.open(host.url);
  await page.getByRole('button', {name: 'Log on keypads'}).click();
  await until('thirty are logged on', async () => (await host.state()).keypads.length === 30);
});
