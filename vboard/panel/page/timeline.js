// Waveforms over the board's time: what each line, LED, key, the power and each process did.
import { find, seconds } from './dom.js';

const kRow = 22;
const kNames = 150;         // pixels for the lanes' names
const kMostChanges = 4000;  // a lane
const kMostLanes = 200;     // more than a board has lines
const kAxis = 20;

// Which lane an event changes and to what; null: none.
const kLanes = {
  gpio: (event) => event.level !== undefined
    && [`${event.name ?? 'GPIO'} ${event.group},${event.bit}`, event.level],
  keys: (event) => [`key ${event.key}`, event.pressed ? 1 : 0],
  uart: (event) => event.name !== undefined && [`${event.name} (port ${event.port})`, event.level],
};

class Lanes {
  lanes = new Map();  // name: changes [moment, level], moments on an axis through all boots
  base = 0;           // the moment of the last power-on
  end = 0;

  add(event) {
    if (event.device === 'power' && event.event === 'on') this.powerOn();
    const moment = this.base + event.time;
    this.end = Math.max(this.end, moment);
    this.addPower(event, moment);
    this.addProcess(event, moment);
    const change = kLanes[event.device]?.(event);
    if (change) this.set(change[0], moment, change[1]);
  }

  clear() {
    this.lanes.clear();
    this.base = this.end = 0;
  }

  powerOn() {
    if (this.lanes.size === 0) this.end = 0;
    this.base = this.end;
    this.endProcesses(() => false, this.end);
  }

  addPower(event, moment) {
    if (event.device === 'power') this.set('power', moment, event.event === 'on' ? 1 : 0);
  }

  addProcess(event, moment) {
    if (event.process <= 0) return;
    const name = `process ${event.process}`;
    if (event.device === 'process' && ['exit', 'killed'].includes(event.event)) this.set(name, moment, 0);
    else if (this.level(name) !== 1) this.set(name, moment, 1);
  }

  // Some end without a word.
  endProcesses(lives, moment) {
    for (const name of this.lanes.keys()) {
      const number = /^process (\d+)$/.exec(name)?.[1];
      if (number !== undefined && this.level(name) === 1 && !lives(Number(number))) this.set(name, moment, 0);
    }
  }

  level(name) {
    return this.lanes.get(name)?.at(-1)[1];
  }

  set(name, moment, level) {
    if (!this.lanes.has(name)) {
      this.makeRoom();
      this.lanes.set(name, []);
    }
    const changes = this.lanes.get(name);
    changes.push([moment, level]);
    if (changes.length > kMostChanges) changes.splice(0, kMostChanges / 4);
  }

  // The first process that has ended goes.
  makeRoom() {
    if (this.lanes.size < kMostLanes) return;
    for (const name of this.lanes.keys()) {
      if (name.startsWith('process ') && this.level(name) === 0) return void this.lanes.delete(name);
    }
  }

  // The place of the last change of a lane at or before a moment, -1 for none.
  static before(changes, moment) {
    let low = 0, high = changes.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (changes[middle][0] <= moment) low = middle + 1;
      else high = middle;
    }
    return low - 1;
  }
}

const lanes = new Lanes();
const view = { from: 0, span: 10, follows: true, cursor: null };
let canvas = null, planned = false;

function plan() {
  if (planned) return;
  planned = true;
  requestAnimationFrame(draw);
}

const width = () => Math.max(50, canvas.clientWidth - kNames);
const toX = (moment) => kNames + ((moment - view.from) / view.span) * width();
const toMoment = (x) => view.from + ((x - kNames) / width()) * view.span;

function draw() {
  planned = false;
  if (view.follows) view.from = Math.max(0, lanes.end - view.span * 0.95);
  const names = [...lanes.lanes.keys()].sort((one, other) =>
    one.localeCompare(other, 'en', { numeric: true }));
  const height = names.length * kRow + kAxis;
  const scale = window.devicePixelRatio;
  canvas.style.height = `${height}px`;
  canvas.width = canvas.clientWidth * scale;
  canvas.height = height * scale;
  const context = canvas.getContext('2d');
  const style = getComputedStyle(canvas);
  const colours = { text: style.color, wave: style.getPropertyValue('--accent'),
    grid: style.getPropertyValue('--edge') };
  context.scale(scale, scale);
  context.font = '12px system-ui, sans-serif';
  drawAxis(context, colours, height);
  names.forEach((name, i) => drawLane(context, colours, name, i * kRow));
  if (view.cursor !== null) drawCursor(context, colours, height);
  canvas.setAttribute('aria-label', `Waveforms of ${names.length} lines`);
}

function drawAxis(context, colours, height) {
  const rough = view.span / 6;
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].find((factor) => factor * power >= rough) * power;
  for (let i = Math.ceil(view.from / step); i * step <= view.from + view.span; ++i) {
    const x = toX(i * step);
    context.fillStyle = colours.grid;
    context.fillRect(x, 0, 1, height - kAxis);
    context.fillStyle = colours.text;
    context.fillText(`${Number((i * step).toFixed(6))} s`, x + 3, height - 6);
  }
}

function drawLane(context, colours, name, top) {
  const changes = lanes.lanes.get(name);
  const high = top + 4, low = top + kRow - 4;
  context.fillStyle = colours.text;
  context.fillText(name, 4, low - 2, kNames - 10);
  context.strokeStyle = colours.wave;
  context.lineWidth = 1.5;
  context.beginPath();
  let i = Lanes.before(changes, view.from);
  let level = i < 0 ? 0 : changes[i][1];
  context.moveTo(kNames, level ? high : low);
  let drawn = -1;
  for (++i; i < changes.length && changes[i][0] <= view.from + view.span; ++i) {
    const x = toX(changes[i][0]);
    if (x - drawn >= 0.5) context.lineTo(x, level ? high : low);
    level = changes[i][1];
    context.lineTo(x, level ? high : low);
    drawn = x;
  }
  context.lineTo(Math.max(kNames, Math.min(toX(lanes.end), kNames + width())), level ? high : low);
  context.stroke();
}

function drawCursor(context, colours, height) {
  context.fillStyle = colours.text;
  context.fillRect(toX(view.cursor), 0, 1, height - kAxis);
}

// Says what there is at the cursor.
function tellMoment() {
  const levels = [];
  for (const [name, changes] of lanes.lanes) {
    const place = Lanes.before(changes, view.cursor);
    if (place >= 0 && changes[place][1]) levels.push(name);
  }
  find('#moment').textContent = `${seconds(view.cursor)} s: ${levels.join(', ') || 'nothing'} high`;
  plan();
}

function zoom(factor, around = view.from + view.span / 2) {
  const span = Math.min(86400, Math.max(1e-4, view.span * factor));
  view.from = Math.max(0, around - ((around - view.from) * span) / view.span);
  view.span = span;
  plan();
}

function pan(share) {
  follow(false);
  view.from = Math.max(0, view.from + share * view.span);
  plan();
}

function follow(follows) {
  view.follows = follows;
  find('#to-now').setAttribute('aria-pressed', follows);
  plan();
}

function moveCursor(step) {
  follow(false);
  const moment = (view.cursor ?? view.from + view.span / 2) + (step * view.span) / 100;
  view.cursor = Math.min(view.from + view.span, Math.max(view.from, moment));
  tellMoment();
}

const kKeys = {
  '+': () => zoom(0.5),
  '-': () => zoom(2),
  ArrowLeft: () => moveCursor(-1),
  ArrowRight: () => moveCursor(1),
  PageUp: () => pan(-0.5),
  PageDown: () => pan(0.5),
  End: () => follow(true),
};

function listen() {
  let dragged = null;
  canvas.onkeydown = (event) => {
    if (kKeys[event.key] === undefined) return;
    event.preventDefault();
    kKeys[event.key]();
  };
  canvas.onpointerdown = (event) => {
    dragged = event.offsetX;
    canvas.setPointerCapture(event.pointerId);
  };
  canvas.onpointerup = canvas.onpointercancel = () => { dragged = null; };
  canvas.onpointermove = (event) => {
    if (dragged !== null && event.offsetX !== dragged) {
      pan((dragged - event.offsetX) / width());
      dragged = event.offsetX;
    }
    view.cursor = Math.max(0, toMoment(Math.max(kNames, event.offsetX)));
    tellMoment();
  };
  canvas.onwheel = (event) => {
    if (!event.ctrlKey && !event.shiftKey) return;  // the page scrolls
    event.preventDefault();
    zoom(event.deltaY > 0 ? 1.25 : 0.8, toMoment(event.offsetX));
  };
  new ResizeObserver(plan).observe(canvas);
}

export function startTimeline() {
  canvas = find('#lanes canvas');
  find('#zoom-in').onclick = kKeys['+'];
  find('#zoom-out').onclick = kKeys['-'];
  find('#pan-back').onclick = kKeys.PageUp;
  find('#pan-on').onclick = kKeys.PageDown;
  find('#to-now').onclick = () => follow(!view.follows);
  listen();
  return {
    clear: () => lanes.clear(),
    add(events) {
      for (const event of events) lanes.add(event);
      plan();
    },
    show(state) {
      if (state.power === 'on') lanes.end = Math.max(lanes.end, lanes.base + state.time);
      const living = new Set(state.processes.map(({ process }) => process));
      lanes.endProcesses((process) => living.has(process), lanes.end);
      if (view.follows) plan();
    },
  };
}
