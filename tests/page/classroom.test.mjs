// The classroom's page in a real browser, over the real library.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {accessibilityViolations, Browser, Console, endAll, Host, until} from './support/rig.mjs';

let host;
let browser;
let teacher;
let page;

const tile = (number, kind = 'RV2') => page.getByRole('group', {name: `Keypad ${number}, ${kind},`});
/// Waits for the words about how many are logged on, and says what stands there instead. A command to a keypad that isn't
/// there makes one that is logged off.
const shown = (words) => until(String(words), async () => words.test(await page.locator('#keypads .count').innerText()))
  .catch(async (error) => {
    throw new Error(`${error.message}; shown: ${await page.locator('#keypads .count').innerText()}`);
  });
const live = () => page.locator('.state.open').waitFor();

before(async () => {
  [host, browser] = await Promise.all([Host.start(), Browser.start()]);
  await host.do({do: 'connect', from: 1, to: 30});
  teacher = new Console();
  teacher.send({command: 'init', 'preferred-device-type': 'any'});
  page = await browser.open(host.url);
  await teacher.event('device-inited', (event) => event.ready);
  await teacher.event('activated', (event) => event.device === '30');
});

after(() => endAll(teacher, browser, host));

test('Page_SaysSimulatedAndShowsTheClass', async () => {
  await live();
  assert.equal(await page.title(), 'SIMULATED classroom');
  await shown(/^30 of 30 keypads/);
  assert.ok(await page.locator('header .simulated').isVisible());
  await tile(1).getByText('7').waitFor({state: 'detached'});
  assert.match(await tile(7).getAttribute('aria-label'), /logged on, shows nothing, no question, no key yet/);
});

test('Keypad_AnswersByClickAndByKeyboard', async () => {
  teacher.send({command: 'ask', device: '0', type: 'single-choice', row1: '7 x 8 = ?', custom: 'q1'});
  await tile(2).getByText('7 x 8 = ?').waitFor();
  await tile(2).getByRole('button', {name: 'Press B on keypad 2'}).click();
  assert.equal((await teacher.event('key-pressed', ({device}) => device === '2')).key, 'B');

  await tile(2).focus();
  await page.keyboard.press('ArrowRight');
  assert.match(await page.evaluate(() => document.activeElement.getAttribute('aria-label')), /^Keypad 3,/);
  await page.keyboard.press('c');
  assert.equal((await teacher.event('key-pressed', ({device}) => device === '3')).key, 'C');
  await page.keyboard.press('End');
  assert.match(await page.evaluate(() => document.activeElement.getAttribute('aria-label')), /^Keypad 30,/);
  await page.keyboard.press('d');
  assert.equal((await teacher.event('key-pressed', ({device}) => device === '30')).custom, 'q1');
  await page.keyboard.press('Home');
  await until('the tile tells the keys', async () => /pressed B/.test(await tile(2).getAttribute('aria-label')));
});

test('KeysTypedInARow_ArriveInTheirOrder', async () => {
  teacher.send({command: 'ask', device: '0', type: 'multiple-choice', row1: 'In order?', custom: 'order'});
  await tile(6).getByText('In order?').waitFor();
  await tile(6).focus();
  // The first one takes longer on its way, as it may on a busy machine.
  let requests = 0;
  await page.route('**/do', async (route) => {
    await new Promise((resolve) => setTimeout(resolve, ++requests === 1 ? 500 : 0));
    await route.continue();
  });
  for (const key of ['c', 'a', 't']) {
    await page.keyboard.press(key);
  }
  assert.equal((await teacher.event('key-pressed', ({custom}) => custom === 'order')).key, 'CA');
  await page.unroute('**/do');
});

test('ManyKeypads_AnswerTogetherWithinTheTime', async () => {
  teacher.send({command: 'ask', device: '0', type: 'multiple-choice', row1: 'Which?', custom: 'q2'});
  await tile(1).getByText('Which?').waitFor();
  const together = page.getByRole('region', {name: 'Answer together'});
  await together.getByLabel('Within seconds').fill('0.5');
  await together.getByLabel('So many of them').fill('12');
  await together.getByLabel('press', {exact: true}).fill('BC');
  await together.getByLabel('then T, which commits').check();
  await together.getByRole('button', {name: 'Let them answer'}).click();
  await until('thirty answers', () => teacher.events.filter((event) => event.custom === 'q2').length === 30);
  const keys = teacher.events.filter((event) => event.custom === 'q2').map((event) => event.key);
  assert.equal(keys.filter((key) => key === 'BC').length, 12);
  assert.ok(keys.every((key) => ['BC', 'A', 'C', 'D'].includes(key)), keys.join());
});

test('TextWithMarkupAndChinese_StaysText', async () => {
  const row = '<script>document.title="x"</script>';
  teacher.send({command: 'text', device: '4', row1: row, row2: '<img src=x onerror=alert(1)>', row3: 'caf\u00e9'});
  await tile(4).getByText(row).waitFor();
  await host.do([{do: 'plug', kind: 'LW'}, {do: 'connect', kind: 'LW', keypad: 9}]);
  await teacher.event('activated', ({device}) => device === '9');
  await until('the keypad of LW shows Chinese', async () => {
    teacher.send({command: 'text', device: '9', row1: '\u5c0f\u660e', row2: '', row3: ''});
    return (await host.keypad(9, 'LW')).rows.some(({text}) => text !== '');
  });
  assert.equal(await page.locator('.tile script, .tile img').count(), 0);
  assert.equal(await page.title(), 'SIMULATED classroom');
});

test('LampAndMotor_RunAndEnd', async () => {
  const signal = (times) => teacher.send({command: 'hi', device: '5', arguments: [{type: 'led', color: 'green', times, interval: 2, duration: 2},
    {type: 'motor', times, interval: 2, duration: 2}, {type: 'beep', times, interval: 2, duration: 2}]});
  // For so long that it is seen, and then for so short that its end is.
  signal(1000);
  await tile(5).getByText('lamp green').waitFor();
  await tile(5).getByText('motor').waitFor();
  assert.match(await tile(5).getAttribute('aria-label'), /lamp green, motor runs/);
  signal(2);
  await tile(5).getByText('lamp green').waitFor({state: 'hidden'});
});

test('Recording_IsAnsweredByHand', async () => {
  await host.do({do: 'speech', mode: 'hand'});
  teacher.send({command: 'ask', device: '6', type: 'audio-single', custom: 'q3', context: {stems: ['good morning']}});
  await until('the question is there', async () => (await host.keypad(6)).question);
  await tile(6).focus();
  await page.keyboard.press('s');
  const request = page.getByRole('form', {name: /keypad 6/});
  await request.waitFor();
  assert.equal(await request.getByLabel('Result', {exact: true}).inputValue(), 'good morning');
  await request.getByLabel('Score').fill('77');
  await request.getByRole('button', {name: 'Answer'}).click();
  const event = await teacher.event('voice-evaluated', ({device}) => device === '6');
  assert.equal(event.data.score, 77);
  assert.equal(event.data.result, 'good morning');
  await request.waitFor({state: 'detached'});
  await host.do({do: 'speech', mode: 'auto'});
});

test('WavFile_DroppedOnAKeypadOrChosen_Arrives', async () => {
  const bytes = Array.from({length: 5000}, (_, i) => i % 251);
  const before = (await host.state('?keypads=0')).saw;
  const data = await page.evaluateHandle((content) => {
    const transfer = new DataTransfer();
    transfer.items.add(new File([new Uint8Array(content)], 'a.wav', {type: 'audio/wav'}));
    return transfer;
  }, bytes);
  await tile(7).dispatchEvent('drop', {dataTransfer: data});
  const recording = async (from) => (await (await fetch(`${host.url}saw?since=${from}&wait_ms=5000`)).json())
    .find((record) => record.call === '-> OnKeypadAudioEvent');
  assert.equal((await until('the recording', () => recording(before + 1))).args.size, 5000);

  await tile(8).focus();
  await page.keyboard.press('Enter');
  const dialog = page.getByRole('dialog', {name: 'Keypad 8 at RV2'});
  await dialog.getByText('SIMULATED').waitFor();
  await dialog.getByLabel('What').selectOption('wav');
  await dialog.locator('input[type=file]').setInputFiles({name: 'b.wav', mimeType: 'audio/wav', buffer: Buffer.alloc(3333)});
  const now = (await host.state('?keypads=0')).saw;
  await dialog.getByRole('button', {name: 'Speak'}).click();
  assert.equal((await until('the recording', () => recording(now + 1))).args.size, 3333);
  await dialog.getByRole('status').getByText('1 callback').waitFor();
  await page.keyboard.press('Escape');
  assert.match(await page.evaluate(() => document.activeElement.getAttribute('aria-label')), /^Keypad 8,/);
});

test('Station_LosesPowerAndComesBack', async () => {
  const station = page.getByRole('article', {name: 'Base station RV2'});
  await station.getByLabel('no power').check();
  await shown(/^1 of \d+ keypads/);
  await teacher.event('removed', (event) => event.info === 'no-power');
  await until('the tile shows it', async () => /logged off/.test(await tile(1).getAttribute('aria-label')));
  await station.getByLabel('ready').check();
  await until('the station is open again', async () => (await host.state('?keypads=0')).station.enabled);
  await page.getByRole('button', {name: 'Log on keypads'}).click();
  await shown(/^31 of \d+ keypads/);
});

test('Receiver_IsPulledOutAndLastAskedIsTold', async () => {
  const panel = page.getByRole('article', {name: 'USB receiver LW'});
  const plugged = panel.getByRole('switch', {name: 'plugged in'});
  await until('it is plugged', () => plugged.isChecked());
  await plugged.click();
  await teacher.event('device-inited', (event) => !event['avaliable-device']?.includes('LW'));
  await until('the switch shows it', async () => !await plugged.isChecked());
  assert.doesNotMatch(await panel.innerText(), /nothing yet/);
});

test('Fault_BeginsAndEndsByItself', async () => {
  const faults = page.getByRole('region', {name: 'Faults'});
  await faults.getByLabel('Fault', {exact: true}).selectOption('duplicate');
  await faults.getByLabel('For seconds').fill('4');
  await faults.getByRole('button', {name: 'Begin'}).click();
  await faults.getByText('RV2: duplicate').waitFor();
  await faults.getByText('No fault stands.').waitFor();
});

test('Journal_FiltersAndStops', async () => {
  const journal = page.getByRole('region', {name: 'What crossed'});
  const lines = journal.getByRole('listbox');
  await journal.getByLabel('Filter').fill('sendflashing device=5');
  await lines.getByRole('option', {name: /SendFlashing/}).first().waitFor();
  assert.equal(await lines.getByRole('option').filter({hasNotText: 'SendFlashing'}).count(), 0);
  await lines.focus();
  await page.keyboard.press('ArrowDown');
  await journal.getByText('"library": "SocketVoteDeck"').waitFor();
  await journal.getByLabel('Filter').fill('');
  await journal.getByRole('button', {name: 'Stop'}).click();
  await host.do({do: 'key', keypad: 1, key: 'G'});
  await journal.getByText(/1 held back|[0-9]+ held back/).waitFor();
  await journal.getByRole('button', {name: 'Go on'}).click();
  await journal.getByText('held back').waitFor({state: 'detached'});
});

test('Misuse_IsRedAndCountedInTheHeader', async () => {
  // The library does none, so a word of it is put between server and page.
  const context = await browser.browser.newContext();
  const other = await context.newPage();
  await other.route('**/live?*', async (route) => {
    const state = await host.state('?keypads=0');
    state.misuse = [{n: 1, ms: 12.5, library: 'VoteDeck', object: 'TQ1 1', call: 'SendQuestion', text: '<b>deleted</b> before'}];
    await route.fulfill({contentType: 'text/event-stream', body: `event: world\ndata: ${JSON.stringify(state)}\n\n`});
  });
  await other.goto(host.url);
  await other.getByRole('link', {name: 'misuse: 1'}).waitFor();
  const line = other.getByRole('option', {name: 'MISUSE  0.013  TQ1 1  SendQuestion: <b>deleted</b> before'}).first();
  await line.waitFor();
  const [red, green] = (await line.evaluate((element) => getComputedStyle(element).color)).match(/\d+/g).map(Number);
  assert.ok(red > 2 * green, `${red} ${green}`);
  await context.close();
});

test('RefusedAction_IsSaidInTheServersWords', async () => {
  const any = page.getByRole('region', {name: 'Any action'});
  await any.getByRole('textbox').fill('{"do": "nix"}');
  await any.getByRole('button', {name: 'Do'}).click();
  await page.getByRole('alert').getByText('there is no action \'nix\'').waitFor();
  browser.forgive(/status of 400/);
});

test('Host_IsKilledAndStartedAgain_PageComesBack', async () => {
  await teacher.end();
  await host.program.kill();
  await page.getByText('host is gone, trying again').waitFor();
  await host.again();
  await live();
  await page.getByText('this is a new classroom').waitFor();
  await shown(/^0 of 0 keypads/);
  // The page's token is one of the earlier run; it fetches the new one by itself.
  await page.getByRole('button', {name: 'Log on keypads'}).click();
  await shown(/^30 of 30 keypads/);
});

test('Accessibility_HasNoViolationInLightAndDarkAtBothWidths', async () => {
  for (const colorScheme of ['light', 'dark']) {
    for (const width of [1280, 390]) {
      await page.emulateMedia({colorScheme, reducedMotion: 'reduce'});
      await page.setViewportSize({width, height: 900});
      assert.deepEqual(await accessibilityViolations(page), [], `${colorScheme} at ${width}`);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing sticks out sideways');
    }
  }
  await page.setViewportSize({width: 1280, height: 900});
  await tile(1).focus();
  await page.keyboard.press('Enter');
  assert.deepEqual(await accessibilityViolations(page), [], 'with an open keypad');
  await page.keyboard.press('Escape');
});

for (const number of [300, 3000]) {
  test(`Class_Of${number}_OnlyWhatIsInViewIsDrawn`, async () => {
    await host.do({do: 'connect', from: 1, to: number});
    await shown(new RegExp(`^${number} of`));
    assert.ok(await page.locator('.tile').count() < 80, 'few tiles');
    const begin = performance.now();
    await tile(1).focus();
    await page.keyboard.press('End');
    await tile(number).waitFor();
    await page.keyboard.press('b');
    await until('the last keypad was pressed', async () => /pressed B/.test(await tile(number).getAttribute('aria-label')));
    console.log(`${number} keypads: to the last one, a press, and its tile: ${Math.round(performance.now() - begin)} ms`);
    await page.keyboard.press('Home');
    await tile(1).waitFor();
  });
}
