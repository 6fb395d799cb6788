// What the board's programs print.
import { make, seconds } from './dom.js';
import { Pane, section } from './pane.js';

export function startConsole() {
  const pane = new Pane(section('console'), 'console',
    (line) => `${seconds(line.time).padStart(12)}  ${line.text}`,
    (line) => make('div', {}, make('time', { textContent: seconds(line.time) }), line.text));
  return pane;
}
