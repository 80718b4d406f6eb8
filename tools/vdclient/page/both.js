// The teacher's page and the classroom's, side by side.
import {h, setText} from '/common/dom.js';
import {Server} from '/common/server.js';
import {common, both, teacher} from '/common/texts.js';

const server = new Server(teacher.lost);
const state = h('span', {class: 'hint', role: 'status'});
const alone = h('a', {hidden: true}, both.alone);
const classroom = h('iframe', {title: both.classroom});
let shown = 0;

document.title = both.title;
document.body.append(
  h('header', {class: 'bar'}, h('span', {class: 'simulated'}, common.simulated), h('h1', {}, both.heading),
    h('nav', {'aria-label': common.sections}, h('a', {href: '/'}, both.back), alone), state),
  h('main', {class: 'sides'}, h('iframe', {title: both.teacher, src: '/'}), classroom));

/// A host that was started again may serve its classroom somewhere else.
async function look() {
  try {
    const {classroom: port} = await server.get('/about');
    setText(state, port ? '' : both.none);
    if (port && port !== shown) {
      shown = port;
      const address = `http://127.0.0.1:${port}/`;
      classroom.setAttribute('src', address);
      alone.setAttribute('href', address);
      alone.hidden = false;
    }
  } catch (error) {
    setText(state, error.message);
  }
  setTimeout(look, 2000);
}

look();
