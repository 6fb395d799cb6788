// The way to the board's server: what it tells, and what it is asked to do.

const listeners = { board: [], lines: [], missed: [], state: [], connection: [] };

export function on(name, listener) {
  listeners[name].push(listener);
}

function tell(name, value) {
  for (const listener of listeners[name]) listener(value);
}

export function connect() {
  const source = new EventSource('feed');
  for (const name of ['board', 'lines', 'missed', 'state']) {
    source.addEventListener(name, (message) => tell(name, JSON.parse(message.data)));
  }
  source.onopen = () => tell('connection', true);
  source.onerror = () => {
    tell('connection', false);
    // A browser gives up on an answer that is none; the server may be back later.
    if (source.readyState === EventSource.CLOSED) setTimeout(connect, 2000);
  };
}

// Does what the words of an action say; those for the same device one after the other, and not behind
// one of another device that waits for the board.
// True when the board took it.
const last = new Map();
export function act(...words) {
  const done = (last.get(words[0]) ?? Promise.resolve()).then(() => send(words.map(String)));
  last.set(words[0], done);
  return done;
}

// At once, and even when the page goes.
export async function send(words) {
  const answer = document.querySelector('#answer');
  try {
    const response = await fetch('act', { method: 'POST', body: JSON.stringify({ words }), keepalive: true });
    answer.hidden = response.ok;
    if (!response.ok) answer.textContent = `${words.join(' ')}: ${(await response.json()).error}`;
    return response.ok;
  } catch {
    answer.hidden = false;
    answer.textContent = `${words.join(' ')}: the board's server does not answer`;
    return false;
  }
}

export async function actions() {
  return (await fetch('actions')).json();
}
