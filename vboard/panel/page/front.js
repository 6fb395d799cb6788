// What one presses and sees on the recorder's front.
import { act, send } from './feed.js';
import { fill, find, hex, make, onSubmit, seconds } from './dom.js';

// A key is down for at least so long: the application scans every 100 ms.
const kShortestPress = 250;
const kLongestRead = 1;  // board seconds
const kMostCodes = 12;
const kMostFrames = 30;
const kMostWaiting = 100;
// The application's line for what it read of its front panel.
const kRead = /\bkey((?: [0-9a-f]{2}){4})/;

const reads = new Map();   // of the keys: what the application read last
const changes = new Map();  // of the lines with names: when they changed last
const codes = [];          // sent ones, the last one first
const frames = [];
let waiting = [];          // what was pressed or sent and not yet read
const down = new Set();    // keys that this page has pressed and not yet released

// The application reads one after the other; what it does not read soon it never will.
function showRead(line, text) {
  waiting = waiting.filter(({ boots, time }) => boots === line.boots && line.time - time < kLongestRead);
  if (waiting.length === 0 || waiting[0].time > line.time) return;
  const pressed = waiting.shift();
  if (pressed.key !== undefined) {
    reads.set(pressed.key, text);
    const place = find(`#matrix [data-key="${pressed.key}"] small`);
    if (place !== null) place.textContent = text;
  } else {
    pressed.read = text;
    showCodes();
  }
}

function showCodes() {
  fill(find('#codes'), codes.map(({ code, state, read: event }) => [code, state, event]), () => codes.map((code) => make('li', {},
    make('button', { type: 'button', textContent: `${hex(code.code)}, state ${code.state}`,
      onclick: () => act('ir', 'send', code.code, code.state) }),
    make('span', { textContent: code.read === undefined ? ' not read yet' : ` read as ${code.read}` }))));
}

function read(lines) {
  for (const line of lines) {
    if (line.name !== undefined && line.level !== undefined) changes.set(line.name, line.time);
    if (line.kind === 'console') {
      const match = kRead.exec(line.text);
      if (match !== null) showRead(line, match[1].trim());
    } else if (line.event === 'key' && line.pressed) {
      waiting.push(line);
    } else if (line.device === 'ir') {
      waiting.push(line);
      const same = codes.findIndex((code) => code.code === line.code && code.state === line.state);
      if (same >= 0) codes.splice(same, 1);
      codes.unshift(line);
      codes.splice(kMostCodes);
    } else if (line.device === 'uart' && line.bytes !== undefined) {
      frames.unshift(`port ${line.port} ${line.event === 'sent' ? '←' : '→'} ${line.text.replace(/^\S+ /, '')}`);
      frames.splice(kMostFrames);
    }
  }
  waiting = waiting.slice(-kMostWaiting);
  showCodes();
  fill(find('#wire'), frames, () => frames.map((frame) => make('li', { textContent: frame })));
}

function clear() {
  reads.clear();
  changes.clear();
  codes.length = frames.length = 0;
  waiting = [];
  for (const place of document.querySelectorAll('#matrix small')) place.textContent = '';
  showCodes();
}

async function pressKey(key) {
  down.add(key);
  await act('key', 'press', key);
  await new Promise((resolve) => { setTimeout(resolve, kShortestPress); });
}

async function releaseKey(key) {
  await act('key', 'release', key);
  down.delete(key);
}

// Down as long as it is held, by whatever holds it. A press ends before the next one begins.
function holdable(button, key) {
  let isHeld = false, done = Promise.resolve();
  const press = () => {
    if (isHeld) return;
    isHeld = true;
    done = done.then(() => pressKey(key));
  };
  const release = () => {
    if (!isHeld) return;
    isHeld = false;
    done = done.then(() => releaseKey(key));
  };
  button.onpointerdown = (event) => {
    if (event.button !== 0) return;
    button.setPointerCapture(event.pointerId);
    press();
  };
  button.onpointerup = button.onpointercancel = button.onblur = release;
  button.oncontextmenu = (event) => event.preventDefault();  // a finger that stays
  const isPressing = (event) => event.key === ' ' || event.key === 'Enter';
  button.onkeydown = (event) => {
    if (!isPressing(event)) return moveFocus(event, key);
    event.preventDefault();
    press();
  };
  button.onkeyup = (event) => {
    if (isPressing(event)) release();
  };
}

const kSteps = { ArrowLeft: -1, ArrowRight: 1, ArrowUp: -5, ArrowDown: 5 };

function moveFocus(event, key) {
  const step = kSteps[event.key];
  if (step === undefined) return;
  event.preventDefault();
  find(`#matrix [data-key="${key + step}"]`)?.focus();
}

function makeKeys({ count, scan }) {
  const columns = count / scan.length;
  const keys = [];
  for (let key = 0; key < count; ++key) {
    if (key % columns === 0) {
      const line = scan[key / columns];
      keys.push(make('span', { className: 'scan', textContent: `${line.group},${line.bit}`,
        title: `GPIO line ${line.group},${line.bit} scans this row` }));
    }
    const button = make('button', { type: 'button', 'data-key': key, 'aria-pressed': 'false' },
      make('span', { className: 'heard', textContent: 'Key ' }), make('b', { textContent: key }), make('small', { textContent: reads.get(key) ?? '' }));
    holdable(button, key);
    keys.push(button);
  }
  return keys;
}

function showKeys(keys) {
  find('#keys').hidden = keys.count === 0;
  if (keys.count === 0) return;
  fill(find('#matrix'), [keys.count, keys.scan], () => makeKeys(keys));
  for (const button of find('#matrix').querySelectorAll('button')) {
    const key = Number(button.dataset.key);
    button.setAttribute('aria-pressed', keys.held.includes(key));
  }
}

function showIndicators(indicators) {
  find('#indicators').hidden = indicators.length === 0;
  fill(find('#indicators ul'), indicators.map(({ name, level }) => [name, level, changes.get(name)]), () => indicators.map(({ name, level }) =>
    make('li', { className: level === 0 ? 'low' : 'high' },
      make('span', { className: 'lamp', textContent: level === 0 ? '▽' : '▲', 'aria-hidden': 'true' }),
      ` ${name} `, make('b', { textContent: level === 0 ? 'low (0)' : `high (${level})` }),
      make('small', { textContent: changes.has(name) ? ` since ${seconds(changes.get(name))} s` : '' }))));
}

function showPorts(ports) {
  const used = ports.filter((port) => port.leads_to !== undefined || frames.length > 0);
  find('#serial').hidden = used.length === 0;
  fill(find('#serial select'), ports, () => ports.map((port) => make('option', { value: port.port,
    textContent: `${port.port}${port.leads_to === undefined ? '' : `: ${port.leads_to}`}`,
    selected: port.leads_to === 'front board' })));
}

function show({ keys, indicators = [], ir, uart = [] }) {
  showKeys(keys);
  showIndicators(indicators);
  showPorts(uart);
  find('#remote').hidden = !ir.fitted;
  find('#front-none').hidden = keys.count > 0 || indicators.length > 0 || ir.fitted || uart.length > 0;
}

export function startFront() {
  onSubmit(find('#remote form'), ({ code, state }) => act('ir', 'send', code.value, state.value));
  onSubmit(find('#serial form'), ({ port, bytes }) =>
    act('uart', 'send', port.value, bytes.value.replace(/\s/g, '')));
  window.addEventListener('pagehide', () => {
    for (const key of down) send(['key', 'release', String(key)]);  // nobody else would
  });
  return { read, show, clear };
}
