// The page: hands what comes to its sections.
import { act, actions, connect, on } from './feed.js';
import { facts, fill, find, make } from './dom.js';
import { startBoard } from './board.js';
import { startConsole } from './console.js';
import { startControls } from './controls.js';
import { startEvents } from './events.js';
import { startFlash } from './flash.js';
import { startFront } from './front.js';
import { startTimeline } from './timeline.js';

const kSpeeds = [['Pause', 'pause'], ['1×', '1'], ['10×', '10'], ['Free', 'free']];
const kSwitches = [['On', 'on'], ['Off', 'off'], ['Restart', 'cycle'], ['Cut', 'cut']];

function startHeader(names) {
  const switches = kSwitches.filter(([, word]) => names.has(`power ${word}`));
  find('#switches').append(...switches.map(([text, word]) =>
    make('button', { textContent: text, value: word, onclick: () => act('power', word) })));
  find('#speed').append(...kSpeeds.map(([text, word]) =>
    make('button', { textContent: text, value: word, onclick: () => act('time', 'speed', word) })));
}

function showHeader(state) {
  const on = state.power === 'on';
  const runs = state.machine ? state.power : 'ended: its command is gone';
  find('#power').textContent = `${on && state.machine ? '●' : '○'} ${runs}`;
  facts(find('#figures'), [['Boot', state.boots], ['Time', `${Number(state.time).toFixed(1)} s`]]);
  const speed = state.paused ? 'pause' : state.speed === 0 ? 'free' : String(state.speed);
  for (const button of find('#speed').querySelectorAll('button')) {
    button.setAttribute('aria-pressed', button.value === speed);
  }
  for (const button of find('#switches').querySelectorAll('button')) {
    button.disabled = !state.machine || (button.value === 'on') === on;
  }
}

function showConnection(connected) {
  const notice = find('#connection');
  notice.hidden = connected;
  notice.textContent = 'No connection to the board: its command has ended, or does not answer. '
    + 'This page comes back by itself when it does.';
  document.body.classList.toggle('apart', !connected);
}

const table = await actions();
const names = new Set(table.map((action) => action.name));
startHeader(names);
startControls(table);
const console = startConsole();
const events = startEvents();
const front = startFront();
const timeline = startTimeline();
const flash = startFlash();
const board = startBoard();

on('connection', showConnection);
on('board', () => {
  for (const part of [events, console, front, timeline, flash, board]) part.clear();
});
on('missed', events.miss);
on('lines', (lines) => {
  const happened = lines.filter((line) => line.kind === 'event');
  events.add(happened);
  console.add(lines.filter((line) => line.kind === 'console'));
  timeline.add(happened);
  front.read(lines);
  board.read(lines);
  flash.read(happened);
});
on('state', (state) => {
  showHeader(state);
  front.show(state.devices);
  timeline.show(state);
  flash.show(state);
  board.show(state);
});
connect();
