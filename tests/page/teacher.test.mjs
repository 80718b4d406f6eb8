// The teacher's page and the classroom's together, in a real browser, over the real library and the real pipe.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {accessibilityViolations, Browser, endAll, Host, Teacher, until} from './support/rig.mjs';

let host;
let browser;
let desk;
let teacher;
let classroom;

const tile = (number) => classroom.getByRole('group', {name: `Keypad ${number}, RV2,`});
const events = () => teacher.getByRole('region', {name: 'What crossed the pipe'});
const bar = (label) => teacher.locator(`.chart .given[data-label="${label}"] .bar-number`);
const rest = (label) => teacher.locator(`.chart .rest[data-label="${label}"]`);

async function compose(command, fields = {}) {
  await teacher.getByRole('radio', {name: command, exact: true}).check();
  for (const [label, value] of Object.entries(fields)) {
    const control = teacher.locator('form.command').getByLabel(label, {exact: true});
    await (await control.evaluate((element) => element.tagName) === 'SELECT' ? control.selectOption(value) : control.fill(value));
  }
}

async function send(command, fields = {}) {
  await compose(command, fields);
  await teacher.getByRole('button', {name: 'Send'}).click();
  await teacher.getByText(`"${command}" was sent.`).waitFor();
}

before(async () => {
  // Under the code page that has Chinese.
  [host, browser] = await Promise.all([Host.start({VDIPC_WINE_LOCALE: 'zh_CN.UTF-8'}), Browser.start()]);
  await host.do({do: 'connect', from: 1, to: 12});
  desk = await Teacher.start(host);
  [teacher, classroom] = await Promise.all([browser.open(desk.url), browser.open(host.url)]);
});

after(() => endAll(desk, browser, host));

test('Class_LogsOnAfterInitByForm', async () => {
  await teacher.getByText('connected to the library').waitFor();
  await send('init', {'preferred-device-type': 'any'});
  await teacher.getByText('12 keypads are logged on').waitFor();
  await teacher.getByText('Receivers: RV2').waitFor();
  await until('the ping time', async () => /ping [0-9.]+ ms/.test(await teacher.locator('.ping').innerText()));
});

test('Question_IsAnsweredByClickAndKeyboardAndTheChartShowsIt', async () => {
  await send('ask', {type: 'single-choice', row1: '7 x 8 = ?', custom: 'q1'});
  await tile(1).getByText('7 x 8 = ?').waitFor();
  await tile(1).getByRole('button', {name: 'Press B on keypad 1'}).click();
  await tile(2).focus();
  await classroom.keyboard.press('b');
  await classroom.keyboard.press('ArrowRight');
  const begin = performance.now();
  await classroom.keyboard.press('a');
  await until('the bar of A', async () => await bar('A').innerText() === '1');
  console.log(`from the key on one page to the bar on the other: ${Math.round(performance.now() - begin)} ms, as Playwright sees it`);
  await until('the bar of B', async () => await bar('B').innerText() === '2');
  await until('who is silent', async () => /4\u201312/.test(await rest('silent').innerText()));
  await teacher.getByText('3 of 12 keypads answered').waitFor();
});

test('MultipleChoice_CountsAtTheCommitAndAnEmptyOneIsWithoutEffect', async () => {
  await send('ask', {type: 'multiple-choice', row1: 'Which?', custom: 'q2'});
  await tile(4).getByText('Which?').waitFor();
  await tile(4).focus();
  for (const key of ['c', 'a', 't']) {
    await classroom.keyboard.press(key);
  }
  await until('the bar of CA', async () => await bar('CA').innerText() === '1');
  await host.do({do: 'key', keypad: 5, key: 'T'});
  await until('an answer of nothing', async () => /5/.test(await rest('without effect').innerText()));
});

test('TextWithMarkupAndChinese_StaysTextOnBothPages', async () => {
  const row = '<script>document.title="x"</script>';
  await send('text', {device: '6', row1: row, row2: '<img src=x onerror=alert(1)>', row3: '\u5c0f\u660e'});
  await tile(6).getByText(row).waitFor();
  await tile(6).getByText('\u5c0f\u660e').waitFor();
  await events().getByRole('option').filter({hasText: '<script>'}).first().waitFor();
  await events().getByRole('option').filter({hasText: '\u5c0f\u660e'}).first().waitFor();
  for (const page of [teacher, classroom]) {
    assert.equal(await page.locator('main script, main img').count(), 0);
    assert.notEqual(await page.title(), 'x');
  }
});

test('LampAndMotor_OfAFormRunOnTheTile', async () => {
  await compose('hi', {device: '7'});
  const item = teacher.getByRole('group', {name: 'arguments 1'});
  // For so long that it is seen on the tile.
  await item.getByLabel('times').fill('1000');
  await item.getByLabel('color').selectOption('magenta');
  await teacher.getByRole('button', {name: 'Add one'}).click();
  await teacher.getByRole('group', {name: 'arguments 2'}).getByLabel('type').selectOption('motor');
  await teacher.getByRole('group', {name: 'arguments 2'}).getByLabel('times').fill('1000');
  const sent = JSON.parse(await teacher.getByLabel('What is sent').inputValue());
  assert.deepEqual(sent.arguments.map(({type, color}) => [type, color]), [['led', 'magenta'], ['motor', undefined]]);
  await teacher.getByRole('button', {name: 'Send'}).click();
  await tile(7).getByText('lamp magenta').waitFor();
  await tile(7).getByText('motor').waitFor();
});

test('RawJson_MayBeChangedAndIsHeldAgainstTheSchema', async () => {
  await compose('drop');
  const raw = teacher.getByLabel('What is sent');
  await raw.fill('{"command": "drop", "device": "abc"}');
  await teacher.getByRole('button', {name: 'Send'}).click();
  await teacher.getByRole('alert').getByText('device doesn\'t fit the schema of "drop" (pattern)').waitFor();
  await raw.fill('{"command": "drop", ');
  await teacher.getByRole('button', {name: 'Send'}).click();
  await teacher.getByRole('alert').getByText('this is no JSON').waitFor();
  browser.forgive(/status of 400/);
  await raw.fill('{"command": "text", "device": "8", "row1": "by hand"}');
  await teacher.getByRole('button', {name: 'Send'}).click();
  await tile(8).getByText('by hand').waitFor();
});

test('Recording_AnsweredByHand_ShowsOnTheChart', async () => {
  await host.do({do: 'speech', mode: 'hand'});
  await compose('ask', {type: 'audio-single', custom: 'q3'});
  await teacher.locator('form.command').getByLabel('stems').fill('good morning\ngood evening');
  await teacher.getByRole('button', {name: 'Send'}).click();
  await until('the question is there', async () => (await host.keypad(9)).question);
  await tile(9).focus();
  await classroom.keyboard.press('s');
  const request = classroom.getByRole('form', {name: /keypad 9/});
  await request.getByLabel('Score').fill('77');
  await request.getByRole('button', {name: 'Answer'}).click();
  await until('the bar', async () => await bar('70 to 79 points').innerText() === '1');
});

test('Connection_IsGivenUpAndTakenAgain', async () => {
  await teacher.getByRole('button', {name: 'Disconnect'}).click();
  await teacher.locator('.state').getByText('disconnected').waitFor();
  await teacher.getByRole('button', {name: 'Send'}).click();
  await teacher.getByRole('alert').getByText('there is no connection').waitFor();
  browser.forgive(/status of 400/);
  await teacher.getByRole('button', {name: 'Connect'}).click();
  await teacher.getByText('connected to the library').waitFor();
});

test('Host_IsKilledAndStartedAgain_BothPagesComeBack', async () => {
  await host.program.kill();
  await classroom.getByText('host is gone, trying again').waitFor();
  await teacher.locator('.state.lost').waitFor();
  await host.again();
  await classroom.locator('.state.open').waitFor();
  await teacher.getByText('connected to the library').waitFor();
  await send('init', {'preferred-device-type': 'any'});
  await classroom.getByRole('button', {name: 'Log on keypads'}).click();
  await teacher.getByText('30 keypads are logged on').waitFor();
});

test('Class_Of300_AnswersAndTheChartFollows', async () => {
  await host.do({do: 'connect', from: 1, to: 300});
  await teacher.getByText('300 keypads are logged on').waitFor();
  await send('ask', {type: 'true-false', row1: 'True?', custom: 'q300'});
  await until('all were asked', async () => (await host.state('?kind=RV2')).keypads.every(({rows}) => rows[0].text === 'True?'));
  const begin = performance.now();
  await host.do({do: 'key', from: 1, to: 300, key: 'T', together: true});
  await until('300 answers', async () => await bar('T').innerText() === '300');
  console.log(`300 answers at once: the bar is whole after ${Math.round(performance.now() - begin)} ms`);
  await until('nobody is silent', async () => await rest('silent').count() === 0);
});

test('BothPages_StandSideBySide', async () => {
  const both = await browser.open(`${desk.url}both.html`);
  const [left, right] = ['Teacher\'s desk', 'Simulated classroom'].map((title) => both.frameLocator(`iframe[title="${title}"]`));
  await left.getByText('connected to the library').waitFor();
  await right.locator('.tile').first().waitFor();
  await right.getByRole('button', {name: 'Press A on keypad 1', exact: true}).click();
  await until('the key arrives', async () => (await host.keypad(1)).last.at(-1) === 1);
  assert.ok(await both.locator('header .simulated').isVisible());
  await both.context().close();
});

test('Accessibility_HasNoViolationInLightAndDarkAtBothWidths', async () => {
  for (const command of ['ask', 'hi']) {
    await compose(command);
    for (const colorScheme of ['light', 'dark']) {
      for (const width of [1280, 390]) {
        await teacher.emulateMedia({colorScheme, reducedMotion: 'reduce'});
        await teacher.setViewportSize({width, height: 900});
        assert.deepEqual(await accessibilityViolations(teacher), [], `${command}, ${colorScheme} at ${width}`);
        assert.ok(await teacher.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing sticks out sideways');
      }
    }
  }
});
