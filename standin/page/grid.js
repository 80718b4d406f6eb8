// All keypads as tiles. Only those in view are there for the browser, so that thousands cost what thirty do.
import {h, setAttribute, oncePerFrame} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {keyOf} from '/world.js';
import {Tile, TILE_KEYS} from '/tile.js';

const GAP = 8;
const LEAST_WIDTH = 158;
const HEIGHT = 142;
const OVER = 1;  // rows beyond what is in view

export class Grid {
  #items = [];
  #tiles = new Map();
  #rows = new Map();
  #current = '';  // key of the tile that has the focus, or would get it
  #columns = 1;

  constructor(world, act) {
    this.world = world;
    this.act = act;
    this.selected = new Set();
    this.inner = h('div', {class: 'grid-inner', role: 'grid', 'aria-label': classroom.keypads.grid, 'aria-multiselectable': 'true'});
    this.element = h('div', {class: 'grid', onscroll: () => this.draw()}, this.inner);
    this.inner.addEventListener('keydown', (event) => this.#key(event));
    this.inner.addEventListener('focusin', (event) => this.#focused(event));
    this.draw = oncePerFrame(() => this.#draw());
    new ResizeObserver(() => this.draw()).observe(this.element);
  }

  get items() {
    return this.#items;
  }

  /// Keypads to show, in order.
  show(items) {
    this.#items = items;
    this.draw();
  }

  /// Brings a keypad into view and gives it the focus; false where it isn't shown.
  goTo(index, focus = true) {
    if (index < 0 || index >= this.#items.length) {
      return false;
    }
    this.#current = keyOf(this.#items[index]);
    const top = Math.floor(index / this.#columns) * (HEIGHT + GAP);
    const view = this.element;
    if (top < view.scrollTop) {
      view.scrollTop = top;
    } else if (top + HEIGHT > view.scrollTop + view.clientHeight) {
      view.scrollTop = top + HEIGHT - view.clientHeight;
    }
    this.#draw();
    if (focus) {
      this.#tiles.get(this.#current)?.element.focus({preventScroll: true});
    }
    return true;
  }

  #index() {
    return Math.max(0, this.#items.findIndex((keypad) => keyOf(keypad) === this.#current));
  }

  #draw() {
    const view = this.element;
    const width = this.inner.clientWidth;
    if (width === 0) {
      return;
    }
    const columns = Math.max(1, Math.floor((width + GAP) / (LEAST_WIDTH + GAP)));
    this.#columns = columns;
    const tileWidth = Math.floor((width - GAP * (columns - 1)) / columns);
    const rows = Math.ceil(this.#items.length / columns);
    setAttribute(this.inner, 'aria-rowcount', rows);
    setAttribute(this.inner, 'aria-colcount', columns);
    this.inner.style.height = `${Math.max(0, rows * (HEIGHT + GAP) - GAP)}px`;
    const first = Math.max(0, Math.floor(view.scrollTop / (HEIGHT + GAP)) - OVER);
    const last = Math.min(rows - 1, Math.floor((view.scrollTop + view.clientHeight) / (HEIGHT + GAP)) + OVER);
    const current = this.#index();
    this.#current = this.#items.length > 0 ? keyOf(this.#items[current]) : '';

    const wanted = new Set();
    for (let row = first; row <= last; ++row) {
      wanted.add(row);
    }
    if (this.#items.length > 0) {
      // The tile with the focus stays, wherever the view is.
      wanted.add(Math.floor(current / columns));
    }
    const used = new Set();
    for (const row of [...wanted].sort((one, other) => one - other)) {
      const element = this.#row(row);
      const cells = this.#items.slice(row * columns, (row + 1) * columns);
      cells.forEach((keypad, column) => {
        const key = keyOf(keypad);
        used.add(key);
        const tile = this.#tile(key);
        tile.show(keypad, this.selected.has(key));
        setAttribute(tile.cell, 'aria-colindex', column + 1);
        setAttribute(tile.element, 'tabindex', key === this.#current ? 0 : -1);
        tile.cell.style.width = `${tileWidth}px`;
        if (element.children[column] !== tile.cell) {
          element.insertBefore(tile.cell, element.children[column] ?? null);
        }
      });
    }
    for (const [key, tile] of this.#tiles) {
      if (!used.has(key)) {
        tile.drop();
        this.#tiles.delete(key);
      }
    }
    for (const [row, element] of this.#rows) {
      if (!wanted.has(row)) {
        element.remove();
        this.#rows.delete(row);
      }
    }
  }

  #row(row) {
    let element = this.#rows.get(row);
    if (!element) {
      element = h('div', {role: 'row', class: 'grid-row', 'aria-rowindex': row + 1});
      element.style.top = `${row * (HEIGHT + GAP)}px`;
      this.#rows.set(row, element);
      // In the order in which they are read.
      const after = [...this.#rows.keys()].filter((other) => other > row).sort((one, other) => one - other)[0];
      this.inner.insertBefore(element, after === undefined ? null : this.#rows.get(after));
    }
    return element;
  }

  #tile(key) {
    let tile = this.#tiles.get(key);
    if (!tile) {
      tile = new Tile(this.world, this.act);
      tile.element.dataset.key = key;
      this.#tiles.set(key, tile);
    }
    return tile;
  }

  #focused(event) {
    const key = event.target.closest('.tile')?.dataset.key;
    if (key && key !== this.#current) {
      this.#tiles.get(this.#current)?.element.setAttribute('tabindex', '-1');
      this.#current = key;
      this.#tiles.get(key).element.setAttribute('tabindex', '0');
    }
  }

  #key(event) {
    if (event.altKey || event.metaKey || event.target.matches('input, button')) {
      return;
    }
    const index = this.#index();
    const keypad = this.#items[index];
    const page = Math.max(1, Math.floor(this.element.clientHeight / (HEIGHT + GAP))) * this.#columns;
    const end = this.#items.length - 1;
    const moves = {
      ArrowRight: index + 1, ArrowLeft: index - 1, ArrowDown: index + this.#columns, ArrowUp: index - this.#columns,
      Home: 0, End: end, PageDown: Math.min(end, index + page), PageUp: Math.max(0, index - page),
    };
    const letter = event.key.toUpperCase();
    if (event.ctrlKey) {
      if (letter !== 'A') {
        return;
      }
      this.act.selectAll();
    } else if (event.key in moves) {
      this.goTo(moves[event.key]);
    } else if (event.key === 'Enter') {
      this.act.open(keypad);
    } else if (event.key === ' ') {
      this.act.select(keypad, !this.selected.has(keyOf(keypad)));
    } else if (TILE_KEYS.includes(letter)) {
      this.act.press(keypad, letter);
    } else if (letter === 'L') {
      this.act.toggle(keypad);
    } else if (letter === 'S') {
      this.act.speak(keypad);
    } else {
      return;
    }
    event.preventDefault();
  }
}
