// The teacher's page: send commands, see events and answers.
import {h, button, choice, field, form, keyed, messages, setText, oncePerFrame} from '/common/dom.js';
import {Lines} from '/common/lines.js';
import {Server} from '/common/server.js';
import {common, teacher} from '/common/texts.js';
import {CommandForm} from '/forms.js';
import {Lesson, ranges} from '/lesson.js';

const COMMANDS = ['init', 'ask', 'stop', 'text', 'hi', 'drop', 'quit'];
const server = new Server(teacher.lost);
const lesson = new Lesson();
const said = messages();
const lines = new Lines('events', teacher.events);

// ---- commands ----

const forms = new Map();
const raw = h('textarea', {rows: 7, spellcheck: 'false', id: 'raw'});
const place = h('div');
let chosen = 'init';

function show(name) {
  chosen = name;
  place.replaceChildren(forms.get(name).element);
  write();
}

function write() {
  if (forms.has(chosen)) {
    raw.value = JSON.stringify(forms.get(chosen).value(), null, 2);
  }
}

async function send() {
  try {
    // As it stands: what is no JSON, too, is told by whoever holds it against the schema.
    await server.post('/send', raw.value);
    said.say(teacher.sent(JSON.parse(raw.value).command));
  } catch (error) {
    said.say(error.message, true);
  }
}

const choices = COMMANDS.map((name) => {
  const control = h('input', {type: 'radio', name: 'command', value: name, onchange: () => show(name)});
  control.checked = name === chosen;
  return choice(name, control);
});
const command = h('section', {class: 'panel stack', id: 'command', 'aria-labelledby': 'command-title'},
  h('h2', {id: 'command-title'}, teacher.command.heading),
  h('fieldset', {}, h('legend', {}, teacher.command.which), h('div', {class: 'switches'}, choices)),
  form({class: 'command'}, send,
    place,
    h('div', {class: 'stack sending'}, field(teacher.command.raw, raw, teacher.command.rawHint),
      h('div', {}, h('button', {type: 'submit'}, teacher.command.send)))));

// ---- answers ----

const question = h('p', {}, teacher.answers.none);
const rows = h('p', {class: 'asked-rows'});
const counted = h('p', {role: 'status'});
const bars = h('tbody');
const chart = h('table', {class: 'chart', hidden: true}, h('caption', {class: 'hint'}, teacher.answers.chart),
  h('thead', {}, h('tr', {}, [teacher.answers.answer, teacher.answers.number, teacher.answers.keypads].map((name) =>
    h('th', {scope: 'col'}, name)))), bars);
const answers = h('section', {class: 'panel stack', id: 'answers', 'aria-labelledby': 'answers-title'},
  h('h2', {id: 'answers-title'}, teacher.answers.heading), question, rows, counted, chart);

function drawAnswers() {
  const {question: open} = lesson;
  chart.hidden = !open;
  if (!open) {
    setText(question, teacher.answers.none);
    setText(rows, '');
    setText(counted, '');
    return;
  }
  setText(question, teacher.answers.question(open.ask) + (open.stopped ? ` (${teacher.answers.stopped})` : ''));
  setText(rows, teacher.answers.rows([open.ask.row1, open.ask.row2, open.ask.row3].filter(Boolean)));
  setText(counted, teacher.answers.counted(open.answers.size, Math.max(open.asked.size, open.answers.size)));
  const all = lesson.bars();
  const most = Math.max(1, ...all.map((bar) => bar.number));
  const rest = [[teacher.answers.silent, lesson.silent()], [teacher.answers.without, [...open.without]]]
    .filter(([, keypads]) => keypads.length > 0)
    .map(([label, keypads]) => ({label, rest: true, number: keypads.length, keypads}));
  keyed(bars, [...all, ...rest], (bar) => `${bar.rest ? 'rest' : 'bar'} ${bar.label}`, (bar) => {
    const fill = h('span', {class: 'fill', 'aria-hidden': 'true'});
    const number = h('span', {class: 'bar-number'});
    const keypads = h('td', {class: 'keypads'});
    const element = h('tr', {class: bar.rest ? 'rest' : 'given', 'data-label': bar.label},
      h('th', {scope: 'row'}, bar.label), h('td', {class: 'bar-cell'}, fill, number), keypads);
    return {element, fill, number, keypads};
  }, (entry, bar) => {
    entry.fill.style.width = bar.rest ? '0' : `${Math.round(100 * bar.number / most)}%`;
    setText(entry.number, String(bar.number));
    setText(entry.keypads, ranges(bar.keypads));
  });
}

const receivers = h('p');
const present = h('p');
const presentList = h('p', {class: 'hint keypads'});
const class_ = h('section', {class: 'panel stack', id: 'present', 'aria-labelledby': 'present-title'},
  h('h2', {id: 'present-title'}, teacher.present.heading), receivers, present, presentList);

function drawPresent() {
  setText(receivers, lesson.inited ? teacher.present.receivers(lesson.inited) : teacher.present.unknown);
  setText(present, lesson.present.size > 0 ? teacher.present.count(lesson.present.size) : teacher.present.none);
  setText(presentList, ranges(lesson.present));
}

const draw = oncePerFrame(() => {
  drawAnswers();
  drawPresent();
});

// ---- connection ----

const state = h('span', {class: 'state', role: 'status'}, teacher.states.connecting);
const ping = h('span', {class: 'hint ping'});
let wanted = true;
const connect = button(teacher.disconnect, async () => {
  try {
    await server.post('/connection', {wanted: !wanted});
  } catch (error) {
    said.say(error.message, true);
  }
});
const both = h('a', {href: '/both.html', hidden: true}, teacher.both);

function showStatus(status) {
  wanted = status.state !== 'closed';
  state.className = `state ${status.state === 'open' ? 'open' : 'lost'}`;
  setText(state, [teacher.states[status.state] ?? teacher.states.connecting, status.words].filter(Boolean).join(': '));
  setText(ping, status.ping_ms === undefined ? '' : teacher.ping(status.ping_ms));
  setText(connect, wanted ? teacher.disconnect : teacher.connect);
}

const sections = [['command', teacher.command], ['answers', teacher.answers], ['present', teacher.present], ['events', teacher.events]];
document.title = teacher.title;
document.body.append(
  h('a', {class: 'skip', href: '#command'}, common.skip),
  h('header', {class: 'bar'}, h('h1', {}, teacher.heading),
    h('nav', {'aria-label': common.sections}, sections.map(([id, texts]) => h('a', {href: `#${id}`}, texts.heading)),
      window.top === window ? both : null),
    state, ping, connect),
  h('main', {}, said.element,
    h('div', {class: 'columns'},
      h('div', {class: 'stack'}, answers, class_),
      command),
    lines.element));

function line({n, time, kind, message}) {
  const text = typeof message === 'object' ? JSON.stringify(message) : String(message);
  return {kind, value: message, text: `${n}  ${new Date(time).toLocaleTimeString()}  ${kind === 'sent' ? '\u2192' : '\u2190'}  ${text}`};
}

async function begin() {
  // The schemas' own order of keys is the forms'.
  await Promise.all(COMMANDS.map(async (name) => {
    forms.set(name, new CommandForm(await server.get(`/schema/command-${name}.schema.json`), write));
  }));
  show(chosen);
  const about = await server.get('/about');
  both.hidden = !about.classroom;
}

begin().catch((error) => said.say(error.message, true));
server.follow('/live', {
  status: showStatus,
  records: (records) => {
    records.forEach((record) => lesson.take(record));
    lines.take(records.map(line));
    draw();
  },
}, (what) => {
  if (what === 'lost') {
    state.className = 'state lost';
    setText(state, teacher.gone);
  } else {
    // The stream begins with all that is kept.
    lesson.forget();
    lines.clear();
    draw();
  }
});
