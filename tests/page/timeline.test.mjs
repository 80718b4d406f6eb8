// The page that `vdlog timeline` makes, in a real browser: from the base station's lesson, played with the real library.
import assert from 'node:assert/strict';
import {readFileSync, writeFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {after, before, beforeEach, test} from 'node:test';
import {accessibilityViolations, Browser, endAll, Folder, until, writeReport} from './support/rig.mjs';
import {schoolLog} from './support/school-log.mjs';

const folder = new Folder();
let browser;
let page;
let log;
let why;

const plot = () => page.locator('#plot');
const entries = () => page.locator('.entry');
const silentOnly = () => page.getByLabel('Silent presses only');
const sentence = () => page.locator('.sentence').innerText();
const address = (path) => `file://${path}`;

/// The stretch of time that is shown, in milliseconds of the day.
async function range() {
  const words = await page.locator('.range').innerText();
  const [begin, end] = [...words.matchAll(/(\d\d):(\d\d):(\d\d)\.(\d{3})/g)]
    .map(([, hours, minutes, seconds, rest]) => ((+hours * 60 + +minutes) * 60 + +seconds) * 1000 + +rest);
  return {begin, end, length: end - begin};
}

/// Waits until the lanes show what was done last: they are drawn in the next frame, and not by the event itself.
const drawn = () => page.evaluate(() => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); }));

/// Does something, and waits until the lanes show another stretch of time.
async function moved(act) {
  const before = await range();
  await act();
  await until('the view has moved', async () => {
    const {begin, end} = await range();
    return begin !== before.begin || end !== before.end;
  });
  // Of a movement in several steps the first may be seen alone.
  await drawn();
  return [before, await range()];
}

const whole = () => page.getByRole('button', {name: 'Whole'}).click();

/// Places on the lanes, in pixels of the page, where marks of this colour are drawn.
const marks = (name) => page.evaluate((wanted) => {
  const canvas = document.querySelector('#plot canvas');
  const box = canvas.getBoundingClientRect();
  const colour = getComputedStyle(document.documentElement).getPropertyValue(`--${wanted}`).trim();
  const [red, green, blue] = [1, 3, 5].map((at) => Number.parseInt(colour.slice(at, at + 2), 16));
  // On a canvas that is made to be read: the page's own isn't, and the browser would say so.
  const {width, height} = canvas;
  const copy = new OffscreenCanvas(width, height).getContext('2d', {willReadFrequently: true});
  copy.drawImage(canvas, 0, 0);
  const {data} = copy.getImageData(0, 0, width, height);
  const is = (x, y) => data[(y * width + x) * 4] === red && data[(y * width + x) * 4 + 1] === green && data[(y * width + x) * 4 + 2] === blue;
  const found = [];
  for (let y = 3; y < height - 3; ++y) {
    for (let x = 3; x < width - 3; ++x) {
      // Beside the letter in its middle: all around is its colour.
      if ([[0, 0], [2, 0], [-2, 0], [0, 2], [0, -2]].every(([dx, dy]) => is(x + dx, y + dy))) {
        found.push({x: box.left + x / width * box.width, y: box.top + y / height * box.height});
      }
    }
  }
  return found;
}, name);

before(async () => {
  [browser, log] = await Promise.all([Browser.start(), folder.play('base-station.lesson')]);
  await folder.vdlog('timeline', log, '-o', folder.file('lesson.html'));
  why = JSON.parse(await folder.vdlog('why', '--json', log));
  page = await browser.open(address(folder.file('lesson.html')), {hasTouch: true});
});

after(() => endAll(browser, folder));

// Whatever became of the case before.
beforeEach(async () => {
  await page.getByLabel('Search').fill('');
  await page.getByLabel('Reason', {exact: true}).selectOption('-1');
  await silentOnly().uncheck();
  await whole();
  await plot().focus();
  await page.keyboard.press('Escape');
  await drawn();
});

test('Page_ShowsTheLanesOfTheLesson', async () => {
  for (const name of ['Connection', 'Commands', 'RV2', 'For all', 'Keypad 1 (RV2)']) {
    await page.locator('.label', {hasText: name}).first().waitFor();
  }
  const names = new Set();
  for (let top = 0; top < 2000; top += 150) {
    await plot().evaluate((element, to) => { element.scrollTop = to; }, top);
    await drawn();
    for (const name of await page.locator('.label').allInnerTexts()) {
      names.add(name);
    }
  }
  assert.equal([...names].filter((name) => /^Keypad \d+ \(RV2\)$/.test(name)).length, 30);
  await plot().evaluate((element) => { element.scrollTop = 0; });
  assert.match(await page.locator('header').innerText(), /silent presses and recordings among \d+/);
});

test('Page_AsksNobodyForAnything', async () => {
  let asked = 0;
  const server = createServer((_, answer) => {
    ++asked;
    answer.end();
  });
  await new Promise((done) => { server.listen(0, '127.0.0.1', done); });
  const url = `http://127.0.0.1:${server.address().port}/`;
  // The browser tells of each refusal, and here that is wanted.
  const other = await browser.open(address(folder.file('lesson.html')), {}, /Content Security Policy|ERR_BLOCKED_BY_CSP/);
  const tried = await other.evaluate(async (to) => {
    const image = new Image();
    const results = [await fetch(to).then(() => 'fetched', () => 'refused'),
      await new Promise((done) => {
        image.onload = () => done('loaded');
        image.onerror = () => done('refused');
        image.src = to;
      })];
    const script = document.createElement('script');
    script.textContent = 'globalThis.strange = true';
    document.body.append(script);
    return [...results, globalThis.strange ? 'ran' : 'refused'];
  }, url);
  server.close();
  assert.deepEqual(tried, ['refused', 'refused', 'refused']);
  assert.equal(asked, 0);
  await other.context().close();
});

test('View_ZoomsAndMovesByMouseKeysAndFingers', async () => {
  const box = await plot().boundingBox();
  const middle = {x: box.x + 156 + (box.width - 156) / 2, y: box.y + box.height / 2};
  await page.mouse.move(middle.x, middle.y);
  await page.keyboard.down('Control');
  const [before, zoomed] = await moved(() => page.mouse.wheel(0, -200));
  await page.keyboard.up('Control');
  assert.ok(zoomed.length < before.length * 0.7, `${before.length} to ${zoomed.length}`);
  // What is under the pointer stays there.
  assert.ok(Math.abs((zoomed.begin + zoomed.end) / 2 - (before.begin + before.end) / 2) < before.length * 0.02);

  const [, dragged] = await moved(async () => {
    await page.mouse.down();
    await page.mouse.move(middle.x - 150, middle.y, {steps: 5});
    await page.mouse.up();
  });
  assert.ok(dragged.begin > zoomed.begin && Math.abs(dragged.length - zoomed.length) <= 2);

  await plot().focus();
  const [, closer] = await moved(() => page.keyboard.press('+'));
  assert.ok(closer.length < dragged.length);
  const [, right] = await moved(() => page.keyboard.press('Shift+ArrowRight'));
  assert.ok(right.begin > closer.begin);
  const [, all] = await moved(() => page.keyboard.press('Home'));
  assert.deepEqual(all, before);

  // The wheel over the times needs no key.
  await page.mouse.move(middle.x, box.y - 10);
  await moved(() => page.mouse.wheel(0, -200));
  await whole();

  const session = await page.context().newCDPSession(page);
  const fingers = (type, apart) => session.send('Input.dispatchTouchEvent', {type, touchPoints: apart === 0 ? []
    : [{x: middle.x - apart, y: middle.y, id: 1}, {x: middle.x + apart, y: middle.y, id: 2}]});
  const [, pinched] = await moved(async () => {
    await fingers('touchStart', 30);
    for (let apart = 40; apart <= 90; apart += 10) {
      await fingers('touchMove', apart);
    }
    await fingers('touchEnd', 0);
  });
  assert.ok(pinched.length < before.length * 0.6, `pinched to ${pinched.length} of ${before.length}`);
  const [, back] = await moved(() => page.getByRole('button', {name: 'Zoom out'}).click());
  assert.ok(back.length > pinched.length);
});

test('SilentPress_IsFoundClickedAndExplained', async () => {
  assert.ok((await marks('press')).length > 0);
  await silentOnly().check();
  const silent = why.findings.filter(({event, reason}) => !event && !/^(no-press|receiver|command|host)/.test(reason));
  assert.ok(silent.length >= 20, `${silent.length} in the lesson`);
  await page.locator('.list-panel [role=status]', {hasText: `${silent.length} entries`}).waitFor();
  // Zoomed to them, so that each stands alone.
  await entries().first().click();
  await moved(() => page.getByRole('button', {name: 'Show it closer'}).click());
  await plot().focus();
  await page.keyboard.press('Escape');
  assert.match(await sentence(), /^Choose something/);
  await drawn();
  assert.deepEqual(await marks('press'), []);
  const found = await marks('silent');
  // The last one: not the one that was chosen from the list.
  const mark = found.at(-1);
  assert.ok(mark, 'a silent press is in view');
  await page.mouse.click(mark.x, mark.y);
  const words = await sentence();
  const finding = why.findings.find((one) => one.sentence === words);
  assert.ok(finding, `"vdlog why" doesn't say: ${words}`);
  assert.match(words, /: no event, because /);

  const lines = readFileSync(log, 'latin1').split('\n');
  const shown = await page.locator('.evidence li').evaluateAll((items) =>
    items.map((item) => [...item.children].map((part) => part.textContent)));
  assert.deepEqual(shown.map(([number]) => Number(number.match(/\d+/)[0])), finding.lines);
  for (const [number, text] of shown) {
    // The time and what stands behind the function are the log's own.
    const own = lines[Number(number.match(/\d+/)[0]) - 1].trimEnd();
    assert.equal(text.slice(0, 25), own.slice(0, 25));
    assert.equal(text.split(' ').at(-1), own.split(' ').at(-1));
  }
});

test('Search_FindsAKeypadAndStepsThroughWhatItFinds', async () => {
  await page.getByLabel('Search').fill('keypad 30');
  await until('entries of keypad 30 alone', async () => {
    const words = await page.locator('.entry-words').allInnerTexts();
    return words.length > 0 && words.every((one) => /^Keypad 30 \(RV2\)/.test(one));
  });
  await page.getByLabel('Search').press('Enter');
  const first = await sentence();
  assert.match(first, /^Keypad 30 /);
  await page.getByRole('button', {name: 'Next'}).click();
  assert.notEqual(await sentence(), first);
  await page.getByRole('button', {name: 'Previous'}).click();
  assert.equal(await sentence(), first);
  await page.getByLabel('Search').fill('klingon');
  await page.getByText('Nothing of this kind is in the log').waitFor();
  await page.getByLabel('Search').fill('');

  const reason = page.getByLabel('Reason', {exact: true});
  const option = (await reason.locator('option').allInnerTexts()).find((text) => text.includes('closed by a "drop"'));
  await reason.selectOption(option);
  await entries().first().click();
  assert.match(await page.locator('.detail-panel').innerText(), /closed-by-drop/);
});

test('Keyboard_ReachesEveryThing', async () => {
  await page.evaluate(() => document.activeElement?.blur());
  for (let i = 0; i < 30 && await page.evaluate(() => document.activeElement?.id) !== 'plot'; ++i) {
    await page.keyboard.press('Tab');
  }
  assert.equal(await page.evaluate(() => document.activeElement.id), 'plot');
  await page.keyboard.press('Escape');
  for (let i = 0; i < 50; ++i) {
    await page.keyboard.press('ArrowUp');
  }
  assert.match(await sentence(), /^A run of the library/);
  for (let i = 0; i < 40 && !/^Keypad 1 /.test(await sentence()); ++i) {
    await page.keyboard.press('ArrowDown');
  }
  const seen = new Set();
  for (let i = 0; i < 12; ++i) {
    await page.keyboard.press('ArrowRight');
    seen.add(await sentence());
  }
  assert.ok(seen.size >= 10, [...seen].join('\n'));
  assert.ok([...seen].every((words) => words.startsWith('Keypad 1 ')), [...seen].join('\n'));
  assert.equal(await page.locator('.detail-panel [aria-live=polite] .sentence').innerText(), [...seen].at(-1));
  await page.keyboard.press('n');
  await page.locator('.entry[aria-selected=true]').waitFor();
  assert.equal(await page.locator('.entry[aria-selected=true]').count(), 1);
});

test('AccessibilityChecker_FindsNothing', async () => {
  for (const colorScheme of ['light', 'dark']) {
    for (const width of [1280, 400]) {
      const other = await browser.open(address(folder.file('lesson.html')), {viewport: {width, height: 860}, colorScheme, bypassCSP: true});
      assert.deepEqual(await accessibilityViolations(other), [], `${colorScheme}, ${width} wide`);
      await other.locator('.entry').nth(1).click();
      assert.deepEqual(await accessibilityViolations(other), [], `${colorScheme}, ${width} wide, something chosen`);
      assert.ok(await other.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `wider than ${width}`);
      await other.context().close();
    }
  }
});

test('TextsOnTheLanes_StandClearOfEachOtherAndOfMarks', async () => {
  for (const width of [1920, 1280, 400]) {
    const other = await browser.open(address(folder.file('lesson.html')), {viewport: {width, height: 860}});
    // What is written on the lanes, where there is room for it, and where marks stand.
    await other.evaluate(() => {
      globalThis.texts = new Map();
      globalThis.marks = new Map();
      const on = CanvasRenderingContext2D.prototype;
      const place = (context, x, y) => ({canvas: context.canvas.height, x, y: Math.round(context.getTransform().f / devicePixelRatio + y),
        edge: context.canvas.clientWidth});
      const tell = (name, hear) => {
        const own = on[name];
        on[name] = function told(...args) {
          hear(this, ...args);
          return own.apply(this, args);
        };
      };
      tell('clearRect', (context, x, y, width) => {
        for (const kept of width < context.canvas.clientWidth ? [] : [texts, marks]) {
          for (const [key, {canvas}] of kept) {
            if (canvas === context.canvas.height) {
              kept.delete(key);
            }
          }
        }
      });
      tell('fillText', (context, text, x, y) => {
        if (context.textAlign === 'left' && text) {
          texts.set(`${text} ${x} ${y}`, {text, length: context.measureText(text).width, ...place(context, x, y)});
        }
      });
      tell('arc', (context, x, y, size) => marks.set(`${x} ${y}`, {size, ...place(context, x, y)}));
      tell('moveTo', (context, x, y) => marks.set(`${x} ${y}`, {size: 5, ...place(context, x, y)}));
    });
    let seen = 0;
    const check = async (zoomed) => {
      await other.evaluate(() => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); }));
      const {texts, marks} = await other.evaluate(() => ({texts: [...globalThis.texts.values()], marks: [...globalThis.marks.values()]}));
      seen += texts.length;
      for (const text of texts) {
        const where = `"${text.text}" at ${text.x} of ${width}, zoomed ${zoomed} times`;
        assert.ok(text.x + text.length <= text.edge + 0.5, `${where} runs over the edge`);
        for (const {x, y, size} of marks.filter(({canvas}) => canvas === text.canvas)) {
          assert.ok(Math.abs(y - text.y) > 8 || x + size < text.x || x - size > text.x + text.length, `${where} meets the mark at ${x}`);
        }
        for (const next of texts) {
          assert.ok(next === text || next.canvas !== text.canvas || Math.abs(next.y - text.y) > 8 || next.x + next.length < text.x ||
            next.x > text.x + text.length, `${where} meets "${next.text}" at ${next.x}`);
        }
      }
    };
    await other.getByRole('button', {name: /"device-inited" came again/}).click();
    await other.locator('.entry').first().click();
    for (let zoomed = 0; zoomed < 8; ++zoomed) {
      await other.locator('#plot').focus();
      await other.keyboard.press(zoomed === 0 ? 'Home' : '+');
      await check(zoomed);
    }
    assert.ok(seen > 50, `${seen} texts on ${width}`);
    await other.context().close();
  }
});

test('NarrowPage_TellsKeypadsApart', async () => {
  const other = await browser.open(address(folder.file('lesson.html')), {viewport: {width: 400, height: 860}});
  await until('the lanes are drawn', async () => (await other.locator('.label').count()) > 10);
  const labels = await other.locator('.label > span').evaluateAll((spans) =>
    spans.map((span) => ({name: span.innerText, isCut: span.scrollWidth > span.clientWidth})));
  assert.deepEqual(labels.filter(({name, isCut}) => /\d/.test(name) && isCut), []);
  assert.ok(labels.some(({name}) => name === '1 (RV2)'), JSON.stringify(labels));
  await other.context().close();
});

test('TextOfTheLog_IsNeverMarkup', async () => {
  const text = '</script><img src=x onerror=document.title=1><b>';
  writeFileSync(folder.file('strange.log'), readFileSync(log, 'latin1').replaceAll('"single"', `"${text}"`), 'latin1');
  await folder.vdlog('timeline', folder.file('strange.log'), '-o', folder.file('strange.html'));
  const other = await browser.open(address(folder.file('strange.html')));
  await other.getByLabel('Search').fill(text);
  await other.locator('.entry').first().click();
  assert.ok((await other.locator('.sentence').innerText()).includes(text));
  assert.equal(await other.locator('img, b:not(.reasons b)').count(), 0);
  assert.match(await other.title(), /^Timeline/);
  await other.context().close();
});

test('SchoolDayOfSixty_OpensAndDrawsOnlyWhatIsInView', async () => {
  writeFileSync(folder.file('school.log'), schoolLog({keypads: 60, questions: 200, hours: 8}));
  const made = await folder.vdlog('timeline', folder.file('school.log'), '-o', folder.file('school.html'));
  assert.match(made, / (2\d{4}) things on 66 lanes/);
  const begin = performance.now();
  const other = await browser.open(address(folder.file('school.html')));
  await other.locator('.entry').first().waitFor();
  const opened = performance.now() - begin;
  const frames = await other.evaluate(async () => {
    const lanes = document.querySelector('#plot');
    const box = lanes.getBoundingClientRect();
    const times = [];
    for (let i = 0; i < 60; ++i) {
      const start = performance.now();
      lanes.dispatchEvent(new WheelEvent('wheel', {deltaY: i < 30 ? -40 : 40, ctrlKey: true, clientX: box.left + box.width / 2,
        clientY: box.top + 200, bubbles: true, cancelable: true}));
      await new Promise((done) => { requestAnimationFrame(() => setTimeout(done)); });
      times.push(performance.now() - start);
    }
    return times.sort((one, two) => one - two);
  });
  const elements = await other.locator('body *').count();
  assert.ok(elements < 600, `${elements} elements`);
  // What a canvas is told, for the whole day and for a stretch of it.
  const marks = await other.evaluate(async () => {
    let told = 0;
    for (const name of ['fill', 'fillRect', 'stroke', 'strokeRect', 'fillText']) {
      const own = CanvasRenderingContext2D.prototype[name];
      CanvasRenderingContext2D.prototype[name] = function tell(...args) {
        ++told;
        return own.apply(this, args);
      };
    }
    const lanes = document.querySelector('#plot');
    const box = lanes.getBoundingClientRect();
    const frame = () => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); });
    const zoom = (deltaY) => lanes.dispatchEvent(new WheelEvent('wheel', {deltaY, ctrlKey: true, clientX: box.left + box.width / 2,
      clientY: box.top + 200, bubbles: true, cancelable: true}));
    const counted = async (deltaY) => {
      told = 0;
      zoom(deltaY);
      await frame();
      return told;
    };
    const whole = await counted(-1);
    for (let i = 0; i < 30; ++i) {
      zoom(-200);
    }
    await frame();
    return {whole, near: await counted(1)};
  });
  assert.ok(marks.near > 0 && marks.near < marks.whole / 5, `${marks.near} calls for a stretch, ${marks.whole} for the day`);
  // Times are for who reads them: a machine may have better to do.
  writeReport('timeline.txt', `opened in ${Math.round(opened)} ms, a zoomed frame in ${frames[30].toFixed(1)} ms (median), ${
    frames[57].toFixed(1)} ms (95 of 100), ${elements} elements, ${marks.whole} calls of the canvas for the day, ${marks.near} for a stretch\n`);
  await other.context().close();
});
