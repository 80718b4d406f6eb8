// Makes the pictures of the documents: a class in the middle of a question, on both pages, and the timeline of a lesson's log.
// ./dev pictures runs it.
import {mkdirSync} from 'node:fs';
import {join} from 'node:path';
import {test} from 'node:test';
import {Browser, endAll, Folder, Host, pictureFolder, Teacher, until} from './support/rig.mjs';

const folder = pictureFolder();
mkdirSync(folder, {recursive: true});

/// With VDIPC_PICTURES_ALL also narrow and wide, light and dark.
async function takeAll(pages) {
  for (const [name, page] of Object.entries(process.env.VDIPC_PICTURES_ALL ? pages : {})) {
    for (const colorScheme of ['light', 'dark']) {
      for (const width of [1280, 390]) {
        await page.emulateMedia({colorScheme, reducedMotion: 'reduce'});
        await page.setViewportSize({width, height: 860});
        await page.waitForTimeout(300);
        await page.screenshot({path: join(folder, `${name}-${colorScheme}-${width}.png`), fullPage: true});
      }
    }
  }
}

test('PictureOfTheTimeline_IsMade', async () => {
  const files = new Folder();
  const browser = await Browser.start();
  try {
    const log = await files.play('base-station.lesson');
    await files.vdlog('timeline', log, '-o', files.file('timeline.html'));
    const page = await browser.open(`file://${files.file('timeline.html')}`, {viewport: {width: 1280, height: 860}});
    // Between two questions, when all pressed a key.
    await page.getByRole('button', {name: /closed by a "stop" for all/}).click();
    await page.getByRole('button', {name: 'Show it closer'}).click();
    await page.getByLabel('Reason', {exact: true}).selectOption('-1');
    await page.evaluate(() => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); }));
    await page.screenshot({path: join(folder, 'timeline.png')});
    await takeAll({timeline: page});
  } finally {
    await endAll(browser, files);
  }
});

test('PicturesOfTheClass_AreMade', async () => {
  const host = await Host.start({VDIPC_WINE_LOCALE: 'zh_CN.UTF-8'});
  const browser = await Browser.start();
  let desk;
  try {
    await host.do([{do: 'connect', from: 1, to: 30}, {do: 'plug', kind: 'TQ1'}]);
    desk = await Teacher.start(host);
    const size = {viewport: {width: 1280, height: 860}};
    const [teacher, classroom] = await Promise.all([browser.open(desk.url, size), browser.open(host.url, size)]);
    const send = async (command) => {
      await teacher.getByLabel('What is sent').fill(JSON.stringify(command));
      await teacher.getByRole('button', {name: 'Send'}).click();
      await teacher.getByText(`"${command.command}" was sent.`).waitFor();
    };
    await teacher.getByText('connected to the library').waitFor();
    await send({command: 'init', 'preferred-device-type': 'any'});
    await teacher.getByText('30 keypads are logged on').waitFor();
    await teacher.getByRole('radio', {name: 'ask', exact: true}).check();
    await send({command: 'ask', device: '0', type: 'single-choice', row1: 'What is 7 x 8?', row2: '7 乘 8 等于几', row3: 'A 54  B 56  C 58', custom: 'page 12'});
    await until('all were asked', async () => (await host.state('?kind=RV2')).keypads.every(({texts}) => texts > 0));
    await host.do([{do: 'key', from: 1, to: 14, key: 'B'}, {do: 'key', keypads: [15, 17, 20], key: 'A'}, {do: 'key', from: 21, to: 26, key: 'C'},
      {do: 'leave', keypad: 30}]);
    await send({command: 'hi', device: '2', arguments: [{type: 'led', color: 'green', times: 20, interval: 3, duration: 5},
      {type: 'motor', times: 20, interval: 3, duration: 5}]});
    await send({command: 'hi', device: '15', arguments: [{type: 'led', color: 'magenta', times: 20, interval: 3, duration: 5}]});
    await until('the bar of B', async () => await teacher.locator('.chart .given[data-label="B"] .bar-number').innerText() === '14');
    await classroom.getByText('lamp magenta').waitFor();
    await teacher.getByRole('radio', {name: 'ask', exact: true}).check();
    for (const [label, value] of [['row1', 'What is 7 x 8?'], ['row2', '7 乘 8 等于几'], ['custom', 'page 12']]) {
      await teacher.locator('form.command').getByLabel(label, {exact: true}).fill(value);
    }
    for (const page of [classroom, teacher]) {
      await page.locator('.messages [role=status]').filter({hasText: /./}).waitFor({state: 'hidden'});
      await page.evaluate(() => scrollTo(0, 0));
    }
    await classroom.screenshot({path: join(folder, 'classroom.png')});
    await teacher.screenshot({path: join(folder, 'teacher.png')});
    await takeAll({classroom, teacher});
  } finally {
    await endAll(desk, browser, host);
  }
});
