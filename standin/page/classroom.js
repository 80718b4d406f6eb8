// The page of the simulated classroom: see the class, and move it.
import {h, field, form, messages, setText, oncePerFrame} from '/common/dom.js';
import {Server} from '/common/server.js';
import {common, classroom} from '/common/texts.js';
import {World} from '/world.js';
import {Keypads} from '/keypads.js';
import {Together} from '/together.js';
import {Receivers} from '/receivers.js';
import {Speech} from '/speech.js';
import {Faults} from '/faults.js';
import {Journal} from '/journal.js';

const server = new Server(classroom.lost);
const world = new World();
const said = messages();

/// Does an action, or several in order, and says what became of it. An error is only said.
async function act(action, words = '') {
  if (action instanceof Error) {
    said.say(action.message, true);
    return;
  }
  try {
    const answer = await server.post('/do', action);
    said.say(words || classroom.done(answer));
  } catch (error) {
    said.say(error.message, true);
    update();  // a switch that asked for it shows what is
  }
}

function anyAction() {
  const text = h('textarea', {rows: 4, spellcheck: 'false', required: true});
  text.value = '{"do": "device-info", "kind": "TQ1", "text": "{}"}';
  return h('section', {class: 'panel stack', id: 'action', 'aria-labelledby': 'action-title'},
    h('h2', {id: 'action-title'}, classroom.action.heading),
    form({class: 'stack'}, () => {
      let action;
      try {
        action = JSON.parse(text.value);
      } catch (error) {
        act(new Error(classroom.action.notJson(error.message)));
        return;
      }
      act(action);
    }, field(classroom.action.label, text, classroom.action.hint), h('div', {}, h('button', {type: 'submit'}, classroom.action.go))));
}

const keypads = new Keypads(world, act);
const together = new Together(world, keypads, act);
keypads.changed = () => together.update();
// Beneath an open dialog nothing is seen or announced.
keypads.dialog.opened = (open) => (open ? keypads.dialog.element : document.querySelector('main')).append(said.element);
const receivers = new Receivers(world, act);
const speech = new Speech(world, act);
const faults = new Faults(world, act);
const journal = new Journal();
const state = h('span', {class: 'state', role: 'status'}, classroom.states.connecting);
const misuses = h('a', {class: 'bad', href: '#journal', hidden: true});

const update = oncePerFrame(() => {
  receivers.update();
  speech.update();
  faults.update();
  together.update();
  const number = world.state?.misuse.length ?? 0;
  misuses.hidden = number === 0;
  setText(misuses, classroom.misuses(number));
});

const sections = [['keypads', classroom.keypads], ['together', classroom.together], ['receivers', classroom.receivers],
  ['speech', classroom.speech], ['faults', classroom.faults], ['journal', classroom.journal], ['action', classroom.action]];
document.title = classroom.title;
document.body.append(
  h('a', {class: 'skip', href: '#keypads'}, common.skip),
  h('header', {class: 'bar'},
    h('span', {class: 'simulated'}, common.simulated),
    h('h1', {}, classroom.heading),
    h('nav', {'aria-label': common.sections}, sections.map(([id, texts]) => h('a', {href: `#${id}`}, texts.heading))),
    misuses, state),
  h('main', {},
    said.element,
    h('div', {class: 'columns'},
      h('div', {class: 'stack'}, keypads.element, together.element, journal.element),
      h('div', {class: 'stack'}, receivers.element, speech.element, faults.element, anyAction()))));

server.follow('/live?tail=1000', {
  asked: (asked) => { world.asked = asked; },
  world: (news) => {
    world.state = news;
    journal.takeMisuse(news.misuse);
    update();
  },
  keypads: (news) => {
    world.takeKeypads(news);
    keypads.draw();
  },
  saw: (records) => {
    world.takeSaw(records);
    journal.takeSaw(records);
    update();
  },
}, (what, restarted) => {
  state.className = `state ${what}`;
  setText(state, classroom.states[what]);
  document.body.classList.toggle('gone', what === 'lost');
  if (what === 'open') {
    // The stream begins with the whole world, and with lines that may have been here before.
    world.forget();
    journal.forget();
    keypads.draw();
    if (restarted) {
      said.say(classroom.restarted);
    }
  }
});
