// What happens on the board, by device and process.
import { make, seconds } from './dom.js';
import { Pane, section } from './pane.js';

const kAll = '';
const kMostChoices = 500;
const order = new Intl.Collator('en', { numeric: true });

export function startEvents() {
  const pane = new Pane(section('events'), 'events',
    (line) => `${seconds(line.time).padStart(12)}  [${line.process}] ${line.text}`,
    (line) => make('div', {}, make('time', { textContent: seconds(line.time) }),
      make('span', { className: 'process', textContent: `[${line.process}]` }), line.text));
  const filters = { device: new Filter('Device', (line) => line.device || 'other'),
    process: new Filter('Process', (line) => String(line.process)) };
  const all = Object.values(filters);
  const accepts = (line) => all.every((filter) => filter.accepts(line));
  for (const filter of all) {
    pane.bar.prepend(filter.label);
    filter.select.onchange = () => pane.list.filter(accepts);
  }
  pane.list.filter(accepts);
  return {
    add(lines) {
      for (const filter of all) filter.learn(lines);
      pane.list.add(lines);
    },
    clear() {
      for (const filter of all) filter.clear();
      pane.clear();
    },
    miss: (count) => pane.miss(count),
  };
}

class Filter {
  constructor(name, value) {
    this.value = value;
    this.known = new Set();
    this.select = make('select', {}, make('option', { value: kAll, textContent: 'all' }));
    this.label = make('label', {}, `${name} `, this.select);
  }

  accepts(line) {
    return this.select.value === kAll || this.value(line) === this.select.value;
  }

  learn(lines) {
    for (const value of new Set(lines.map(this.value))) {
      if (this.known.has(value)) continue;
      this.known.add(value);
      const next = [...this.select.options].slice(1).find(
        (option) => order.compare(option.value, value) > 0);
      this.select.insertBefore(make('option', { value, textContent: value }), next ?? null);
      if (this.known.size > kMostChoices) this.forgetOne();
    }
  }

  forgetOne() {
    const oldest = [...this.known].find((value) => value !== this.select.value);
    this.known.delete(oldest);
    [...this.select.options].find((option) => option.value === oldest).remove();
  }

  clear() {
    this.known.clear();
    while (this.select.options.length > 1) this.select.lastChild.remove();
  }
}
