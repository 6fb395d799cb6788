// A form for each action of the command line.
import { act } from './feed.js';
import { find, make, onSubmit } from './dom.js';

function actionForm({ name, arguments: words, help }) {
  const inputs = words.map((word) => make('label', {}, `${word.toLowerCase()} `,
    make('input', { name: word, required: true, size: 8, autocomplete: 'off' })));
  const form = make('form', {}, ...inputs, make('button', { textContent: name }),
    make('p', { className: 'hint', textContent: help }));
  onSubmit(form, (elements) => act(...name.split(' '), ...words.map((word) => elements[word].value)));
  return form;
}

export function startControls(table) {
  const groups = new Map();
  for (const action of table) {
    groups.set(action.device, [...(groups.get(action.device) ?? []), action]);
  }
  find('#table').append(...[...groups].map(([device, actions]) => make('details', {},
    make('summary', {}, make('b', { textContent: device }), `: ${actions[0].about}`),
    ...actions.map(actionForm))));
}
