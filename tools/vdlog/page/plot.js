// The lanes: what is in view is drawn, and nothing else.
import {h, setAttribute, setText, oncePerFrame} from '/common/dom.js';
import {texts} from './texts.js';
import {timeText, dateText, dayOf} from './log.js';
import {prepare, readColours, drawMoment, drawSpan, fitText} from './marks.js';

const GROUP_HEIGHT = 22;
const LANE_HEIGHT = 24;
const ROW_HEIGHT = 20;
const AXIS_HEIGHT = 26;
const NEAR = 9;          // pixels within which a click meets
const BESIDE = 9;        // pixels from a moment to its text; the ring of a chosen one stands between
const DRAG = 4;          // pixels from which on a press is a drag
const CLOSE = 30 * 1000; // milliseconds around something that is looked for

/// A lane's name. On a narrow page a keypad's number and receiver have to do: they stand under "Keypads".
function labelOf(lane) {
  const [, word, rest] = lane.isKeypad && lane.name.match(/^(Keypad )(.*)$/) || [null, '', lane.name];
  return [word && h('span', {class: 'word'}, word), rest];
}

export class Plot {
  #chosen = null;
  #lane = null;          // the one that the arrow keys go along
  #pointers = new Map();
  #dragged = 0;
  #labels = new Map();
  #places = [];          // {lane or group, top, height}, from top to bottom

  /// `choose` is told what was clicked, null for nothing; `step` to go on in the list.
  constructor(log, view, choose, step) {
    this.log = log;
    this.view = view;
    this.choose = choose;
    this.step = step;
    this.axis = h('canvas', {'aria-hidden': 'true'});
    this.canvas = h('canvas', {'aria-hidden': 'true'});
    this.labels = h('div', {class: 'labels', role: 'list', 'aria-label': texts.plot});
    this.inner = h('div', {class: 'plot-inner'}, this.canvas);
    this.tip = h('div', {class: 'tip', 'aria-hidden': 'true', hidden: true});
    this.scroller = h('div', {
      class: 'plot', tabindex: 0, role: 'application', id: 'plot', 'aria-label': texts.plot, 'aria-describedby': 'plot-help',
      onscroll: () => this.draw(), onkeydown: (event) => this.#key(event),
    }, this.inner);
    this.axisBox = h('div', {class: 'axis'}, this.axis);
    this.element = h('div', {class: 'plot-box'}, this.axisBox, h('div', {class: 'plot-area'}, this.scroller, this.labels), this.tip,
      h('p', {id: 'plot-help', class: 'unseen'}, texts.plotHelp));
    this.draw = oncePerFrame(() => this.#draw());
    this.#listen(this.scroller, true);
    this.#listen(this.axisBox, false);
    new ResizeObserver(() => this.draw()).observe(this.scroller);
    this.recolour();
    this.layOut();
  }

  recolour() {
    this.colours = readColours();
    this.draw();
  }

  /// Which lanes there are, behind a change of the filter.
  layOut() {
    this.#places = [];
    let top = 0;
    let group = -1;
    for (const lane of this.log.lanes) {
      if (lane.hidden) {
        continue;
      }
      if (lane.group !== group) {
        group = lane.group;
        this.#places.push({group, top, height: GROUP_HEIGHT});
        top += GROUP_HEIGHT;
      }
      const height = Math.max(LANE_HEIGHT, lane.rows * ROW_HEIGHT + 4);
      this.#places.push({lane, top, height});
      top += height;
    }
    this.inner.style.height = `${top}px`;
    if (this.#lane?.hidden) {
      this.#lane = null;
    }
    this.draw();
  }

  /// Marks a thing as chosen, and brings it into view.
  show(thing, reveal) {
    this.#chosen = thing;
    if (thing) {
      this.#lane = thing.lane;
      const place = this.#places.find(({lane}) => lane === thing.lane);
      if (place) {
        const view = this.scroller;
        if (place.top - GROUP_HEIGHT < view.scrollTop) {
          view.scrollTop = place.top - GROUP_HEIGHT;
        } else if (place.top + place.height > view.scrollTop + view.clientHeight) {
          view.scrollTop = place.top + place.height - view.clientHeight / 2;
        }
      }
      if (reveal) {
        this.view.reveal(thing.begin, thing.end, CLOSE);
      }
    }
    this.draw();
  }

  get gutter() {
    return this.element.clientWidth < 560 ? 92 : 156;
  }

  // ---- drawing ------------------------------------------------------------------------------------------------------

  #draw() {
    const width = this.scroller.clientWidth;
    const height = this.scroller.clientHeight;
    const gutter = this.gutter;
    if (width <= gutter || height === 0) {
      return;
    }
    this.view.width = width - gutter;
    this.#drawAxis(width, gutter);
    const context = prepare(this.canvas, width, height);
    const scrolled = this.scroller.scrollTop;
    context.save();
    context.translate(0, -scrolled);
    const first = this.#places.findIndex(({top, height: high}) => top + high > scrolled);
    const used = new Set();
    for (let i = Math.max(0, first); i < this.#places.length && this.#places[i].top < scrolled + height; ++i) {
      const place = this.#places[i];
      used.add(place);
      this.#drawLabel(place, scrolled);
      if (place.lane) {
        this.#drawLane(context, place, width, gutter);
      } else {
        context.fillStyle = this.colours.shade;
        context.fillRect(gutter, place.top, width - gutter, place.height - 1);
      }
    }
    for (const [place, label] of this.#labels) {
      if (!used.has(place)) {
        label.remove();
        this.#labels.delete(place);
      }
    }
    this.element.classList.toggle('plot-narrow', gutter < 100);
    this.labels.style.width = `${gutter}px`;
    this.labels.style.height = `${height}px`;
    const bottom = this.#places.length > 0 ? this.#places.at(-1).top + this.#places.at(-1).height : 0;
    context.fillStyle = this.colours.panel;
    context.fillRect(gutter, bottom, width - gutter, Math.max(0, scrolled + height - bottom));
    context.restore();
    if (this.#chosen) {
      const x = gutter + this.view.x(this.#chosen.begin);
      if (x >= gutter && x <= width) {
        context.globalAlpha = 0.6;
        context.fillStyle = this.colours.accent;
        context.fillRect(x - 0.5, 0, 1, height);
        context.globalAlpha = 1;
      }
    }
  }

  #drawAxis(width, gutter) {
    const context = prepare(this.axis, width, AXIS_HEIGHT);
    const {log, view, colours} = this;
    context.font = '12px system-ui, sans-serif';
    context.textBaseline = 'middle';
    context.textAlign = 'left';
    const {step, ticks} = view.ticks(log.origin, 92);
    let day = -1;
    for (const tick of ticks) {
      const x = gutter + view.x(tick);
      context.fillStyle = colours.faint;
      context.fillRect(x, AXIS_HEIGHT - 7, 1, 7);
      const time = log.origin + tick;
      const isNewDay = log.severalDays && dayOf(time) !== day;
      day = dayOf(time);
      const text = step >= 86400e3 ? dateText(time) : timeText(time, step < 1000);
      const words = isNewDay && step < 86400e3 ? `${dateText(time).slice(5)} ${text.slice(0, 5)}` : text;
      // Half a time would be another one.
      if (x + 3 + context.measureText(words).width <= width) {
        context.fillText(words, x + 3, AXIS_HEIGHT / 2 - 1);
      }
    }
    context.clearRect(0, 0, gutter, AXIS_HEIGHT);
    context.fillStyle = colours.faint;
    context.fillText(dateText(log.origin + Math.max(0, view.begin)), 8, AXIS_HEIGHT / 2 - 1);
  }

  #drawLabel(place, scrolled) {
    let label = this.#labels.get(place);
    if (!label) {
      label = place.lane
        ? h('div', {class: 'label', role: 'listitem'}, h('span', {}, ...labelOf(place.lane)))
        : h('div', {class: 'label group', role: 'listitem'}, h('span', {}, this.log.data.groups[place.group]));
      label.style.height = `${place.height}px`;
      this.#labels.set(place, label);
      this.labels.append(label);
    }
    label.style.transform = `translateY(${place.top - scrolled}px)`;
    label.classList.toggle('current', Boolean(place.lane) && place.lane === this.#lane);
  }

  #drawLane(context, {lane, top, height}, width, gutter) {
    const {view, log, colours} = this;
    context.fillStyle = lane === this.#lane ? colours.chosen : colours.panel;
    context.fillRect(gutter, top, width - gutter, height - 1);
    context.save();
    context.beginPath();
    context.rect(gutter, top, width - gutter, height);
    context.clip();
    const rowHeight = lane.rows > 1 ? ROW_HEIGHT : height - 1;
    // What falls on the same pixel is drawn once.
    let seen = '';
    lane.forEachSpan(view.begin, view.end, (span) => {
      if (!log.isShown(span)) {
        return;
      }
      const from = Math.max(-2, view.x(span.begin));
      const to = Math.min(width - gutter + 2, view.x(span.end));
      const key = to - from < 1 ? `${span.kindName} ${span.stateName} ${span.row} ${Math.floor(from)}` : '';
      if (key && key === seen && span !== this.#chosen) {
        return;
      }
      seen = key;
      context.globalAlpha = log.dim[span.index] ? 0.25 : 1;
      const y = top + (lane.rows > 1 ? 2 + span.row * ROW_HEIGHT : 0);
      drawSpan(context, colours, span, gutter + from, y, to - from, rowHeight);
      if (!lane.isKeypad && to - from > 40) {
        this.#drawSpanText(context, span, gutter + Math.max(0, from), y + rowHeight / 2, to - Math.max(0, from));
      }
      if (span === this.#chosen) {
        context.strokeStyle = colours.accent;
        context.lineWidth = 2;
        context.strokeRect(gutter + from, y + 1, Math.max(2, to - from), rowHeight - 2);
      }
    });
    this.#drawMoments(context, lane, gutter, top + (height - 1) / 2);
    context.restore();
    context.globalAlpha = 1;
  }

  #drawSpanText(context, span, x, y, width) {
    context.fillStyle = this.colours['on-mark'];
    context.font = '12px system-ui, sans-serif';
    context.textAlign = 'left';
    context.textBaseline = 'middle';
    context.fillText(fitText(context, span.label, width - 9), x + 5, y + 0.5);
  }

  #drawMoments(context, lane, gutter, y) {
    const {view, log} = this;
    const beside = 12 / view.width * view.length;
    const shown = [];
    lane.forEachMoment(view.begin - beside, view.end + beside, (thing) => {
      if (!log.isShown(thing)) {
        return;
      }
      const x = view.x(thing.begin);
      const last = shown.at(-1);
      if (last && x - last.x < 1.5) {
        // Of those on one spot the worst is drawn.
        if (log.dim[thing.index] < log.dim[last.thing.index] ||
            (log.dim[thing.index] === log.dim[last.thing.index] && thing.weight > last.thing.weight)) {
          last.thing = thing;
        }
        return;
      }
      shown.push({thing, x});
    });
    // The worst on top.
    const order = shown.map((_, i) => i).sort((one, other) => shown[one].thing.weight - shown[other].thing.weight);
    for (const i of order) {
      const {thing, x} = shown[i];
      const free = Math.min(x - (shown[i - 1]?.x ?? -Infinity), (shown[i + 1]?.x ?? Infinity) - x);
      const size = free > 19 && lane.isKeypad ? (thing.stateName === 'silent' ? 9 : 8) : thing.stateName === 'silent' ? 5 : 4;
      context.globalAlpha = log.dim[thing.index] ? 0.25 : 1;
      drawMoment(context, this.colours, thing.stateName === 'plain' && !lane.isKeypad ? 'neutral' : thing.stateName, gutter + x, y,
        size, thing.label);
      if (lane.layers.length === 0 && !lane.isKeypad) {
        context.fillStyle = this.colours.ink;
        context.font = '12px system-ui, sans-serif';
        context.textAlign = 'left';
        context.textBaseline = 'middle';
        // Up to the next mark, or to the edge.
        const room = Math.min((shown[i + 1]?.x ?? Infinity) - BESIDE, view.width - 2) - x - BESIDE;
        const words = fitText(context, thing.label, room);
        if (words === thing.label || room > 60) {
          context.fillText(words, gutter + x + BESIDE, y + 0.5);
        }
      }
      if (thing === this.#chosen) {
        context.strokeStyle = this.colours.accent;
        context.lineWidth = 2.5;
        context.beginPath();
        context.arc(gutter + x, y, size + 3.5, 0, 2 * Math.PI);
        context.stroke();
      }
    }
  }

  // ---- pointer ------------------------------------------------------------------------------------------------------

  /// The thing at a place of the lanes, null where there is none.
  #at(x, y) {
    const inLane = y + this.scroller.scrollTop;
    const place = this.#places.find(({top, height}) => inLane >= top && inLane < top + height);
    if (!place?.lane || x < this.gutter) {
      return null;
    }
    const {view, log} = this;
    const at = x - this.gutter;
    const [begin, end] = [view.time(at - NEAR), view.time(at + NEAR)];
    let best = null;
    let worth = -Infinity;
    const consider = (thing, distance, bonus) => {
      if (log.isShown(thing)) {
        const value = bonus - distance + (log.dim[thing.index] ? -20 : 0);
        if (value >= worth) {
          best = thing;
          worth = value;
        }
      }
    };
    place.lane.forEachMoment(begin, end, (thing) =>
      consider(thing, Math.abs(view.x(thing.begin) - at), 40 + thing.weight));
    const row = place.lane.rows > 1 ? Math.floor((inLane - place.top - 2) / ROW_HEIGHT) : 0;
    place.lane.forEachSpan(begin, end, (thing) => {
      const beside = Math.max(view.x(thing.begin) - at, at - view.x(thing.end), 0);
      const layer = {recording: 25, asked: 10, 'logged on': 0}[thing.kindName] ?? 5;
      if (thing.row === row || place.lane.isKeypad) {
        consider(thing, beside, layer + (thing.kindName === 'recording' ? thing.weight : 0));
      }
    });
    return best;
  }

  #listen(element, isLanes) {
    element.addEventListener('wheel', (event) => {
      const x = event.clientX - element.getBoundingClientRect().left - this.gutter;
      const unit = event.deltaMode === 1 ? 30 : 1;
      if (event.ctrlKey || event.metaKey || (!isLanes && !event.shiftKey && Math.abs(event.deltaY) >= Math.abs(event.deltaX))) {
        this.view.zoom(Math.exp(Math.max(-200, Math.min(200, event.deltaY * unit)) * 0.003), Math.max(0, x));
      } else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
        this.view.move((event.deltaX || event.deltaY) * unit);
      } else {
        return;
      }
      event.preventDefault();
    }, {passive: false});
    element.addEventListener('pointerdown', (event) => {
      if (event.button === 0 && event.offsetX < element.clientWidth) {
        this.#pointers.set(event.pointerId, {x: event.clientX, y: event.clientY});
        this.#dragged = this.#pointers.size > 1 ? DRAG : 0;
        this.#hideTip();
      }
    });
    element.addEventListener('pointermove', (event) => this.#moved(event, element, isLanes));
    for (const name of ['pointerup', 'pointercancel']) {
      element.addEventListener(name, (event) => {
        const was = this.#pointers.delete(event.pointerId);
        if (was && name === 'pointerup' && this.#dragged < DRAG && isLanes) {
          const box = element.getBoundingClientRect();
          const thing = this.#at(event.clientX - box.left, event.clientY - box.top);
          this.#lane = thing?.lane ?? this.#lane;
          this.choose(thing);
        }
      });
    }
    element.addEventListener('pointerleave', () => this.#hideTip());
  }

  #moved(event, element, isLanes) {
    const box = element.getBoundingClientRect();
    const last = this.#pointers.get(event.pointerId);
    if (!last) {
      if (isLanes && event.pointerType === 'mouse') {
        this.#showTip(this.#at(event.clientX - box.left, event.clientY - box.top), event);
      }
      return;
    }
    const [dx, dy] = [event.clientX - last.x, event.clientY - last.y];
    const others = [...this.#pointers].filter(([id]) => id !== event.pointerId).map(([, pointer]) => pointer);
    this.#dragged += Math.abs(dx) + Math.abs(dy);
    if (this.#dragged < DRAG) {
      last.x = event.clientX;
      last.y = event.clientY;
      return;
    }
    if (!element.hasPointerCapture(event.pointerId)) {
      element.setPointerCapture(event.pointerId);
    }
    if (others.length === 1) {
      const before = Math.abs(last.x - others[0].x);
      const after = Math.abs(event.clientX - others[0].x);
      if (before > 10 && after > 10) {
        this.view.zoom(before / after, (event.clientX + others[0].x) / 2 - box.left - this.gutter);
      }
    } else {
      this.view.move(-dx);
      if (isLanes && event.pointerType === 'mouse') {
        this.scroller.scrollTop -= dy;
      }
    }
    last.x = event.clientX;
    last.y = event.clientY;
  }

  #showTip(thing, event) {
    if (!thing) {
      this.#hideTip();
      return;
    }
    setText(this.tip, thing.sentence);
    this.tip.hidden = false;
    const box = this.element.getBoundingClientRect();
    const x = Math.min(event.clientX - box.left + 14, box.width - this.tip.offsetWidth - 4);
    const below = event.clientY - box.top + 18;
    const y = below + this.tip.offsetHeight < box.height ? below : event.clientY - box.top - this.tip.offsetHeight - 10;
    this.tip.style.transform = `translate(${Math.max(4, x)}px, ${y}px)`;
  }

  #hideTip() {
    this.tip.hidden = true;
  }

  // ---- keys ---------------------------------------------------------------------------------------------------------

  #key(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) {
      return;
    }
    const {view} = this;
    const page = view.width * 0.2;
    const moves = {
      ArrowLeft: () => (event.shiftKey ? view.move(-page) : this.#stepInLane(-1)),
      ArrowRight: () => (event.shiftKey ? view.move(page) : this.#stepInLane(1)),
      ArrowUp: () => this.#stepLane(-1),
      ArrowDown: () => this.#stepLane(1),
      '+': () => view.zoom(0.6, this.#keyX()),
      '=': () => view.zoom(0.6, this.#keyX()),
      '-': () => view.zoom(1 / 0.6, this.#keyX()),
      Home: () => view.showAll(),
      n: () => this.step(1),
      p: () => this.step(-1),
      Escape: () => this.choose(null),
    };
    const move = moves[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (move) {
      move();
      event.preventDefault();
    }
  }

  /// Where the keys zoom: at what is chosen, where that is in view.
  #keyX() {
    const x = this.#chosen ? this.view.x(this.#chosen.begin) : -1;
    return x >= 0 && x <= this.view.width ? x : this.view.width / 2;
  }

  #stepInLane(way) {
    const lane = this.#lane ?? this.#places.find((place) => place.lane)?.lane;
    if (!lane) {
      return;
    }
    const steps = this.log.stepsOf(lane);
    const {begin, end} = this.view;
    const at = this.#chosen?.lane === lane ? steps.indexOf(this.#chosen) : -1;
    const next = at >= 0 ? at + way
      : way > 0 ? steps.findIndex((thing) => thing.begin >= begin)
        : steps.findLastIndex((thing) => thing.begin <= end);
    if (steps[next]) {
      this.choose(steps[next], true);
    }
  }

  #stepLane(way) {
    const lanes = this.#places.filter((place) => place.lane).map((place) => place.lane);
    const next = lanes[this.#lane ? lanes.indexOf(this.#lane) + way : way > 0 ? 0 : lanes.length - 1];
    if (!next) {
      return;
    }
    // The thing that is nearest in time, so that there is something to read.
    const middle = this.#chosen?.begin ?? (this.view.begin + this.view.end) / 2;
    const steps = this.log.stepsOf(next).filter((thing) => thing.end >= this.view.begin && thing.begin <= this.view.end);
    const nearest = steps.reduce((best, thing) =>
      (!best || Math.abs(thing.begin - middle) < Math.abs(best.begin - middle) ? thing : best), null);
    this.#lane = next;
    this.choose(nearest ?? null);
    this.#lane = next;
    this.show(nearest, false);
    this.#scrollTo(next);
  }

  #scrollTo(lane) {
    const {top, height} = this.#places.find((place) => place.lane === lane);
    const view = this.scroller;
    view.scrollTop = Math.min(top - GROUP_HEIGHT, Math.max(view.scrollTop, top + height - view.clientHeight));
    setAttribute(view, 'aria-label', `${texts.plot}: ${lane.name}`);
    this.draw();
  }
}
