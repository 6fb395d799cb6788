// The board as a whole: what it is, what goes on in it, what is plugged into it.
import { act } from './feed.js';
import { facts, fill, find, make, onSubmit } from './dom.js';

const kStates = { R: 'runs', S: 'waits', D: 'waits for a disk', T: 'stopped', t: 'traced', Z: 'ended' };

const kIdentity = { product: 'Product identifier', oem: 'OEM type', serial: 'Serial number' };
// What the library on the board makes of that.
const kPrinted = /^LIBDVR : (OEM type|product type|board type) : (.*)/;

const printed = new Map();
const tables = new Map();

function table(caption, headings, rows) {
  if (!tables.has(caption)) {
    const body = make('tbody');
    find('#tables').append(make('table', {}, make('caption', { textContent: caption }),
      make('thead', {}, make('tr', {}, ...headings.map((heading) =>
        make('th', { scope: 'col', textContent: heading })))), body));
    tables.set(caption, body);
  }
  const cells = rows.length > 0 ? rows : [['none', ...headings.slice(1).map(() => '')]];
  fill(tables.get(caption), cells, () => cells.map((row) => make('tr', {},
    ...row.map((cell) => make('td', { textContent: cell })))));
}

function showFacts(state) {
  const { identity, clock, temperature, watchdog } = state.devices;
  const rows = Object.entries(identity).filter(([, value]) => typeof value !== 'object');
  facts(find('#facts'), [
    ...rows.map(([name, value]) => [kIdentity[name] ?? name, name === 'oem' ? `0x${value}` : value]),
    ...Object.entries(identity.custom ?? {}).map(([name, value]) => [`Customer's ${name}`, `0x${value}`]),
    ...[...printed].map(([name, value]) => [`Printed as ${name}`, value]),
    ['Clock chip', `${clock.date || 'no date'}, battery ${clock.battery}`],
    ['Temperature', `${temperature.degrees} °C`],
    ['Watchdog', watchdog.running ? `runs, ${watchdog.timeout} s` : 'stopped'],
    ['Flash operations', state.flash_operations],
  ]);
}

// A row with a button that does the opposite of how it is.
function switchRow(text, buttonText, ...words) {
  return make('li', {}, make('span', { textContent: text }),
    make('button', { type: 'button', textContent: buttonText, onclick: () => act(...words) }));
}

function showList(id, rows) {
  find(id).hidden = rows.length === 0;
  fill(find(`${id} ul`), rows, () => rows.map((row) => switchRow(...row)));
}

function showOutside({ disks = [], network, clock }) {
  showList('#sticks', disks.map(({ name, plugged, node, mounted }) => plugged
    ? [`${name} is plugged in as ${node}${mounted > 0 ? ', mounted' : ''} `, `Pull ${name}`, 'stick', 'pull', name]
    : [`${name} is out `, `Plug ${name} in`, 'stick', 'plug', name]));
  showList('#links', (network.interfaces ?? []).filter(({ mac }) => mac !== undefined)
    .map(({ name, link, address }) => [`${name} ${address}: cable ${link ? 'in' : 'out'} `,
      link ? `Pull the cable of ${name}` : `Plug ${name} in`, 'network', 'link', name, link ? 'down' : 'up']));
  const date = find('#clock input');
  if (date.value === '' && clock.date !== '') date.value = clock.date.replace(' ', 'T');
}

function showFaults(faults) {
  const texts = faults.map(({ call, path, process, outcome, nth, always }) =>
    `${call} ${path || 'on any path'}${process > 0 ? ` of process ${process}` : ''}: ${outcome} at call `
    + `${nth} from now${always ? ' and every later one' : ''}`);
  fill(find('#faults'), texts, () => (texts.length > 0 ? texts : ['No fault is planned.'])
    .map((textContent) => make('li', { textContent })));
}

export function startBoard() {
  onSubmit(find('#clock'), ({ date }) => {
    const [day, time] = date.value.split('T');
    act('clock', 'set', day, time.length === 5 ? `${time}:00` : time);
  });
  onSubmit(find('#temperature'), ({ degrees }) => act('temperature', 'set', degrees.value));
  onSubmit(find('#fault'), ({ call, path, nth, error, always }) =>
    act('fault', always.checked ? 'always' : 'once', call.value, path.value, nth.value, error.value));
  return { read, clear: () => printed.clear(), show };
}

function read(lines) {
  for (const line of lines) {
    const match = line.kind === 'console' && kPrinted.exec(line.text);
    if (match) printed.set(match[1], match[2]);
  }
}

function show(state) {
  showFacts(state);
  table('Mounts', ['Source', 'On', 'Type'], state.mounts.map(({ source, point, type, lost }) =>
    [source, point, lost ? `${type}, lost` : type]));
  table('Processes', ['Number', 'Program', 'State'], state.processes.map(({ process, name, state: letter }) =>
    [process, name ?? '', kStates[letter] ?? letter ?? '']));
  showOutside(state.devices);
  showFaults(state.faults);
}
