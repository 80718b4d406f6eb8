// Small helpers around the browser's own document. Text always goes in as text: nothing here takes markup.

/// An element: h('button', {class: 'key', type: 'button', onclick: press}, 'A'). A value of false or null leaves the
/// attribute out, true sets it without a value.
export function h(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) {
      element.addEventListener(name.slice(2), value);
    } else {
      setAttribute(element, name, value);
    }
  }
  element.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

/// Sets an attribute where it differs, so that nothing is drawn or announced twice.
export function setAttribute(element, name, value) {
  if (value === false || value === null || value === undefined) {
    if (element.hasAttribute(name)) {
      element.removeAttribute(name);
    }
  } else {
    const text = value === true ? '' : String(value);
    if (element.getAttribute(name) !== text) {
      element.setAttribute(name, text);
    }
  }
}

export function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

/// Makes the children of `container` those of `items`, in order. A child stays as long as its key does, and with it the
/// focus and what was typed there.
export function keyed(container, items, keyOf, make, update) {
  const known = container.keyed ?? new Map();
  const next = new Map();
  let place = container.firstChild;
  for (const item of items) {
    const key = keyOf(item);
    const entry = known.get(key) ?? make(item);
    known.delete(key);
    next.set(key, entry);
    update(entry, item);
    const element = entry.element ?? entry;
    if (element === place) {
      place = place.nextSibling;
    } else {
      container.insertBefore(element, place);
    }
  }
  for (const entry of known.values()) {
    (entry.element ?? entry).remove();
  }
  container.keyed = next;
}

let lastId = 0;

/// A control with its label, and with words about it where there are any.
export function field(label, control, hint = '') {
  control.id ||= `field-${++lastId}`;
  const parts = [h('label', {for: control.id}, label), control];
  if (hint) {
    const words = h('p', {class: 'hint', id: `${control.id}-hint`}, hint);
    control.setAttribute('aria-describedby', words.id);
    parts.push(words);
  }
  return h('div', {class: 'field'}, parts);
}

/// A control with its label behind it: a checkbox, a switch, a radio button.
export function choice(label, control) {
  return h('label', {class: 'choice'}, control, h('span', {}, label));
}

/// A switch that shows what is, and asks for a change without showing it yet.
export function toggle(label, change) {
  const control = h('input', {type: 'checkbox', role: 'switch'});
  control.addEventListener('change', () => {
    const wanted = control.checked;
    control.checked = !wanted;
    change(wanted);
  });
  const element = choice(label, control);
  return {element, control, set: (on) => { control.checked = on; }};
}

/// A list to choose from; options are texts, or pairs of value and text.
export function select(options, attributes = {}) {
  return h('select', attributes, options.map((option) => {
    const [value, text] = Array.isArray(option) ? option : [option, option];
    return h('option', {value}, text);
  }));
}

export function button(text, press, attributes = {}) {
  return h('button', {type: 'button', onclick: press, ...attributes}, text);
}

/// A form that hands over to `submit` and stays on the page.
export function form(attributes, submit, ...children) {
  return h('form', {...attributes, onsubmit: (event) => {
    event.preventDefault();
    submit(event);
  }}, ...children);
}

/// Calls back once per drawn picture, however often it is asked.
export function oncePerFrame(draw) {
  let asked = false;
  return () => {
    if (!asked) {
      asked = true;
      const go = () => {
        if (asked) {
          asked = false;
          draw();
        }
      };
      requestAnimationFrame(go);
      // A page in the background draws nothing, and must not fall behind either.
      setTimeout(go, 200);
    }
  };
}

/// The lines in which a page says what became of something: quiet ones, and failures that interrupt.
export function messages() {
  const good = h('p', {role: 'status'});
  const bad = h('p', {role: 'alert'});
  const element = h('div', {class: 'messages'}, good, bad);
  let timer = 0;
  const say = (text, failure = false) => {
    setText(good, failure ? '' : text);
    setText(bad, failure ? text : '');
    // What went well needs no more than a glance; a failure stays until something goes well.
    clearTimeout(timer);
    timer = setTimeout(() => setText(good, ''), 5000);
  };
  return {element, say};
}
