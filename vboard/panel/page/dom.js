// Short words for what every part of the page makes.

export const find = (selector) => document.querySelector(selector);

// An element: its properties, those of the attributes, and what is in it.
export function make(name, properties = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes('-') || key === 'role' || key === 'scope') element.setAttribute(key, value);
    else element[key] = value;
  }
  element.append(...children);
  return element;
}

// Puts new children in only where they are to differ. The focus stays at its place.
export function fill(element, key, children) {
  const text = JSON.stringify(key);
  if (element.dataset.key === text) return;
  element.dataset.key = text;
  const focused = [...element.querySelectorAll('button')].indexOf(document.activeElement);
  element.replaceChildren(...children());
  element.querySelectorAll('button')[focused]?.focus();
}

export function facts(list, rows) {
  fill(list, rows, () => rows.map(([name, value]) =>
    make('div', {}, make('dt', { textContent: name }), make('dd', { textContent: value }))));
}

export function onSubmit(form, handler) {
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    handler(form.elements);
  });
}

export const hex = (number) => `0x${Number(number).toString(16).padStart(2, '0')}`;

export const seconds = (time) => Number(time).toFixed(3);
