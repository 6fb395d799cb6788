// A section with lines that come: search, follow, copy, save.
import { find, make } from './dom.js';
import { LineList } from './list.js';

export class Pane {
  // Text: what is copied and searched; draw: a line's element.
  constructor(section, name, text, draw) {
    this.text = text;
    const box = make('div', { className: 'lines', tabIndex: 0, role: 'log', 'aria-live': 'off',
      'aria-label': name });
    this.search = make('input', { type: 'search', placeholder: 'Search', 'aria-label': `Search the ${name}` });
    this.found = make('output', {});
    const following = make('input', { type: 'checkbox', checked: true });
    this.bar = make('div', { className: 'bar' }, this.search, this.found,
      make('label', {}, following, ' Follow'),
      this.button('Copy', () => navigator.clipboard.writeText(this.all())),
      this.button('Save', () => this.save(`${name}.txt`)));
    this.missed = make('p', { className: 'notice', role: 'status', hidden: true });
    section.append(this.bar, this.missed, box);
    this.list = new LineList(box, draw);
    this.list.onFollow = (follows) => { following.checked = follows; };
    following.onchange = () => this.list.follow(following.checked);
    this.search.onkeydown = (event) => {
      if (event.key === 'Enter') this.next(event.shiftKey ? -1 : 1);
    };
    this.search.oninput = () => this.next(0);
  }

  button(name, onclick) {
    return make('button', { type: 'button', textContent: name, onclick });
  }

  add(lines) {
    this.list.add(lines);
  }

  clear() {
    this.list.clear();
    this.missedCount = 0;
    this.missed.hidden = true;
  }

  all() {
    return this.list.shown.map((line) => `${this.text(line)}\n`).join('');
  }

  save(name) {
    const url = URL.createObjectURL(new Blob([this.all()], { type: 'text/plain' }));
    make('a', { href: url, download: name }).click();
    URL.revokeObjectURL(url);
  }

  // Goes to the next line with what is searched, or the one before; 0: to the last one.
  next(step) {
    const wanted = this.search.value.toLowerCase();
    const { shown } = this.list;
    const places = wanted === '' ? [] : shown.keys().toArray?.() ?? [...shown.keys()];
    const hits = places.filter((i) => this.text(shown[i]).toLowerCase().includes(wanted));
    const now = hits.indexOf(shown.indexOf(this.list.marked));
    const at = step === 0 || now < 0 ? hits.length - 1 : (now + step + hits.length) % hits.length;
    this.found.textContent = wanted === '' ? '' : `${at + 1} of ${hits.length}`;
    if (hits.length > 0) this.list.show(hits[at]);
  }

  miss(count) {
    this.missedCount = (this.missedCount ?? 0) + count;
    this.missed.hidden = false;
    this.missed.textContent = `${this.missedCount} lines came too fast or too early for this page.`;
  }
}

export const section = (id) => find(`#${id}`);
