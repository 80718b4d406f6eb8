// A log on one page: lanes to look at, a list of what stands out, and the lines behind each thing.
import {h, button, choice, field, setText, oncePerFrame} from '/common/dom.js';
import {texts} from './texts.js';
import {Log, dateText, timeText} from './log.js';
import {View} from './view.js';
import {Plot} from './plot.js';
import {Overview} from './overview.js';
import {Found} from './list.js';
import {Detail} from './detail.js';
import {drawMoment, drawSpan, prepare} from './marks.js';

const log = new Log(JSON.parse(document.getElementById('log').textContent));
let chosen = null;

const view = new View(log.duration, () => {
  plot.draw();
  overview.draw();
  tellRange();
});
const plot = new Plot(log, view, (thing, reveal = false) => choose(thing, reveal), (way) => found.step(way, chosen));
const overview = new Overview(log, view, plot);
const found = new Found(log, (thing) => choose(thing, true));
const detail = new Detail(log, (reason) => {
  reasonBox.value = reason;
  filter();
  found.step(1, null);
}, () => {
  if (chosen) {
    const around = Math.max(2000, (chosen.end - chosen.begin) * 0.2);
    view.show(chosen.begin - around, chosen.end + around);
  }
});

function choose(thing, reveal) {
  chosen = thing;
  plot.show(thing, reveal);
  found.show(thing);
  detail.show(thing);
  tell();
}

// ---- tools ----------------------------------------------------------------------------------------------------------

const search = h('input', {type: 'search', placeholder: texts.searchHint, autocomplete: 'off', spellcheck: 'false'});
const silentOnly = h('input', {type: 'checkbox'});
const reasonBox = h('select', {}, h('option', {value: -1}, texts.list.standsOut),
  log.reasons().map(({reason, count, title}) => h('option', {value: reason}, texts.list.ofReason(title, count))));
const count = h('span', {class: 'hint', role: 'status'});

function tell() {
  setText(count, texts.list.count(found.at, found.things.length));
  setText(listTitle, log.searched || Number(reasonBox.value) >= 0 ? texts.list.found : texts.list.heading);
}

function filter() {
  log.filter({words: search.value, silentOnly: silentOnly.checked, reason: Number(reasonBox.value)});
  plot.layOut();
  overview.draw();
  found.refill(chosen);
  tell();
}

search.addEventListener('input', filter);
search.addEventListener('keydown', (event) => {
  if (event.key === 'Enter') {
    found.step(event.shiftKey ? -1 : 1, null);
  }
});
silentOnly.addEventListener('change', filter);
reasonBox.addEventListener('change', filter);

const withDate = (time) => `${dateText(log.origin + time)} ${timeText(log.origin + time, false)}`;
const runBox = h('select', {}, h('option', {value: -1}, texts.all), log.runs.map((run, i) =>
  h('option', {value: i}, texts.runOf(run.label, withDate(run.begin), timeText(log.origin + run.end, false)))));
runBox.addEventListener('change', () => {
  const run = log.runs[runBox.value];
  if (run) {
    const room = (run.end - run.begin) * 0.01;
    view.show(run.begin - room, run.end + room);
  } else {
    view.showAll();
  }
});

/// Which stretch of time the lanes show.
const range = h('p', {class: 'range'});
const tellRange = oncePerFrame(() => {
  const [begin, end] = view.shown.map((time) => timeText(log.origin + time));
  setText(range, texts.range(dateText(log.origin + view.shown[0]), begin, end));
});

/// A picture of each mark beside its words.
function legend() {
  const marks = Object.entries(texts.marks).map(([name, words]) => {
    const canvas = h('canvas', {'aria-hidden': 'true'});
    const draw = () => {
      const context = prepare(canvas, 22, 18);
      if (name === 'asked' || name === 'unanswered') {
        drawSpan(context, plot.colours, {kindName: 'asked', stateName: name === 'asked' ? 'plain' : name}, 1, 0, 20, 19);
      } else if (name === 'logged') {
        drawSpan(context, plot.colours, {kindName: 'logged on', stateName: 'plain'}, 1, 0, 20, 13);
      } else {
        drawMoment(context, plot.colours, name, 11, 9, name === 'silent' ? 5 : 5.5);
      }
    };
    return {draw, element: h('li', {}, canvas, words)};
  });
  return {draw: () => marks.forEach((mark) => mark.draw()),
    element: h('ul', {class: 'legend', 'aria-label': texts.legend}, marks.map((mark) => mark.element))};
}

// ---- the page -------------------------------------------------------------------------------------------------------

const marks = legend();
const listTitle = h('h2', {id: 'list-title'}, texts.list.heading);
const facts = [texts.files(log.data.files), texts.total(log.silent.length, log.presses),
  log.data.narrowed && texts.narrowed(log.data.narrowed), log.data.redacted && texts.redacted].filter(Boolean);

document.body.append(
  h('a', {class: 'skip', href: '#plot'}, texts.skip),
  h('header', {class: 'bar'}, h('h1', {}, texts.title), facts.map((fact) => h('span', {class: 'fact'}, fact))),
  h('main', {class: 'timeline'},
    h('div', {class: 'left stack'},
      h('div', {class: 'row tools', role: 'group', 'aria-label': texts.tools},
        h('div', {class: 'search'}, field(texts.search, search)),
        log.runs.length > 1 && field(texts.run, runBox),
        choice(texts.silent, silentOnly),
        h('div', {class: 'buttons'},
          button(texts.zoomIn, () => view.zoom(0.5)),
          button(texts.zoomOut, () => view.zoom(2)),
          button(texts.whole, () => view.showAll())),
        range),
      overview.element,
      plot.element,
      log.things.length === 0 && h('p', {}, texts.empty),
      h('p', {class: 'hint'}, texts.plotHint),
      marks.element),
    h('div', {class: 'right'},
      detail.element,
      h('section', {class: 'panel stack list-panel', 'aria-labelledby': 'list-title'},
        listTitle,
        h('div', {class: 'row'}, field(texts.list.reason, reasonBox),
          h('div', {class: 'buttons'}, button(texts.previous, () => found.step(-1, chosen)), button(texts.next, () => found.step(1, chosen))),
          count),
        found.none, found.list))));

for (const query of ['(prefers-color-scheme: dark)', '(prefers-contrast: more)']) {
  matchMedia(query).addEventListener('change', () => {
    plot.recolour();
    overview.draw();
    marks.draw();
  });
}
marks.draw();
tell();
tellRange();
