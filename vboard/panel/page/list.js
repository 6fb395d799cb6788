// A list of lines that keeps the last so many of them and draws those alone that can be seen.

const kRow = 20;  // pixels, as panel.css has it
const kMostLines = 20000;
const kSlack = 1000;

export class LineList {
  constructor(box, draw) {
    this.box = box;
    this.draw = draw;
    this.lines = [];
    this.shown = [];
    this.accepts = () => true;
    this.follows = true;
    this.marked = null;
    this.sheet = document.createElement('div');
    box.append(this.sheet);
    box.addEventListener('scroll', () => {
      this.follow(box.scrollTop + box.clientHeight >= box.scrollHeight - kRow);
      this.plan();
    });
    new ResizeObserver(() => this.plan()).observe(box);
  }

  add(lines) {
    this.lines.push(...lines);
    this.shown.push(...lines.filter(this.accepts));
    if (this.lines.length > kMostLines + kSlack) {
      const gone = new Set(this.lines.splice(0, this.lines.length - kMostLines));
      const kept = this.shown.findIndex((line) => !gone.has(line));
      this.shown.splice(0, kept < 0 ? this.shown.length : kept);
    }
    this.plan();
  }

  clear() {
    this.lines = [];
    this.filter(this.accepts);
  }

  filter(accepts) {
    this.accepts = accepts;
    this.shown = this.lines.filter(accepts);
    this.plan();
  }

  follow(follows) {
    if (this.follows === follows) return;
    this.follows = follows;
    this.onFollow?.(follows);
    this.plan();
  }

  // Marks a line and brings it into sight.
  show(index) {
    this.marked = this.shown[index];
    this.follow(false);
    this.box.scrollTop = Math.max(0, index * kRow - this.box.clientHeight / 2);
    this.plan();
  }

  plan() {
    if (this.planned) return;
    this.planned = true;
    requestAnimationFrame(() => this.render());
  }

  render() {
    this.planned = false;
    this.sheet.style.height = `${this.shown.length * kRow}px`;
    if (this.follows) this.box.scrollTop = this.box.scrollHeight;
    const first = Math.max(0, Math.floor(this.box.scrollTop / kRow) - 5);
    const count = Math.ceil(this.box.clientHeight / kRow) + 10;
    this.sheet.replaceChildren(...this.shown.slice(first, first + count).map((line, i) => {
      const row = this.draw(line);
      row.classList.add('line');
      row.classList.toggle('marked', line === this.marked);
      row.style.top = `${(first + i) * kRow}px`;
      return row;
    }));
  }
}
