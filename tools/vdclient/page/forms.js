// Forms that follow from the protocol's schemas: its words, its choices, what may be left out.
import {h, button, field, select} from '/common/dom.js';
import {teacher} from '/common/texts.js';

const texts = teacher.command;

/// What a control stands for is undefined where it is left out.
class Part {
  constructor(element, value) {
    this.element = element;
    this.value = value;
  }
}

/// Values to begin with, where the schema has no better ones.
const FIRST = {device: '0', times: 3, interval: 2, duration: 5, color: 'green'};

/// A property without a type of its own may get its choices from an alternative of the object.
function choicesOf(name, schema, owner) {
  return schema.enum ?? (owner.anyOf ?? []).map((branch) => branch.properties?.[name]?.enum).find(Boolean);
}

function choicePart(name, schema, choices, required) {
  const control = select(required ? choices : [['', texts.left], ...choices]);
  if (FIRST[name]) {
    control.value = FIRST[name];
  }
  return new Part(field(name, control, schema.description), () => control.value || undefined);
}

function textPart(name, schema, required) {
  const control = h('input', {value: FIRST[name] ?? ''});
  if (required) {
    return new Part(field(name, control, schema.description), () => control.value);
  }
  // An empty text isn't the same as none.
  const include = h('input', {type: 'checkbox', 'aria-label': texts.include(name)});
  control.addEventListener('input', () => { include.checked = true; });
  const labelled = field(name, control, schema.description);
  const row = h('div', {class: 'optional'});
  control.replaceWith(row);
  row.append(include, control);
  return new Part(labelled, () => (include.checked ? control.value : undefined));
}

function numberPart(name, schema) {
  const control = h('input', {type: 'number', step: 1, min: schema.minimum, max: schema.maximum, value: FIRST[name] ?? 0});
  return new Part(field(name, control, schema.description), () => Number(control.value));
}

function linesPart(name, schema) {
  const control = h('textarea', {rows: 2, spellcheck: 'false'});
  return new Part(field(name, control, `${schema.description} ${texts.oneLineEach}`), () => {
    const lines = control.value.split('\n').filter((line) => line !== '');
    return lines.length > 0 ? lines : undefined;
  });
}

function jsonPart(name, schema) {
  const control = h('textarea', {rows: 2, spellcheck: 'false'});
  return new Part(field(name, control, `${schema.description} ${texts.json}`), () => {
    try {
      control.removeAttribute('aria-invalid');
      return control.value.trim() === '' ? undefined : JSON.parse(control.value);
    } catch {
      control.setAttribute('aria-invalid', 'true');
      return control.value;
    }
  });
}

function groupPart(name, schema) {
  const parts = objectParts(schema);
  const value = () => valueOf(parts);
  return new Part(h('fieldset', {}, h('legend', {}, name), h('p', {class: 'hint'}, schema.description),
    h('div', {class: 'parts'}, [...parts.values()].map((part) => part.element))), () => {
    const object = value();
    return Object.keys(object).length > 0 ? object : undefined;
  });
}

function listPart(name, schema, changed) {
  const items = [];
  const place = h('div', {class: 'stack'});
  const add = () => {
    const parts = objectParts(schema.items);
    const item = {parts, element: h('fieldset', {}, h('legend', {}, texts.item(name, items.length + 1)),
      h('div', {class: 'row'}, [...parts.values()].map((part) => part.element),
        button(texts.remove, () => {
          items.splice(items.indexOf(item), 1);
          item.element.remove();
          changed();
        })))};
    for (const hint of item.element.querySelectorAll('.hint')) {
      hint.hidden = true;  // they are heard, and would be the same in each item
    }
    items.push(item);
    place.append(item.element);
    changed();
  };
  const part = new Part(h('fieldset', {}, h('legend', {}, name), h('p', {class: 'hint'}, schema.description), place,
    button(texts.add, add)), () => items.map((item) => valueOf(item.parts, true)));
  queueMicrotask(add);
  return part;
}

function objectParts(schema, changed = () => {}) {
  const parts = new Map();
  for (const [name, property] of Object.entries(schema.properties)) {
    const required = (schema.required ?? []).includes(name);
    const choices = choicesOf(name, property, schema);
    let part;
    if (choices?.length === 1) {
      part = new Part(null, () => choices[0]);
    } else if (choices) {
      part = choicePart(name, property, choices, required || !property.enum);
    } else if (property.type === 'string') {
      part = textPart(name, property, required);
    } else if (property.type === 'integer') {
      part = numberPart(name, property);
    } else if (property.type === 'array') {
      part = property.items.type === 'object' ? listPart(name, property, changed) : linesPart(name, property);
    } else {
      part = property.properties ? groupPart(name, property) : jsonPart(name, property);
    }
    parts.set(name, part);
  }
  return parts;
}

function valueOf(parts, lamp = false) {
  const value = {};
  for (const [name, part] of parts) {
    const one = part.value();
    if (one !== undefined) {
      value[name] = one;
    }
  }
  if (lamp && value.type !== 'led') {
    delete value.color;
  }
  return value;
}

/// The form of one command; `changed` hears of every change.
export class CommandForm {
  constructor(schema, changed) {
    this.parts = objectParts(schema, changed);
    this.element = h('div', {class: 'stack', oninput: changed, onchange: changed}, h('p', {class: 'hint'}, schema.description),
      h('div', {class: 'parts'}, [...this.parts.values()].map((part) => part.element)));
  }

  value() {
    return valueOf(this.parts);
  }
}
