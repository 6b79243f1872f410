// The connection to the board: what it tells comes in here, what a person does goes out.
//
// The server sends {tables}, once; {state}, a merge patch onto the state so far; {journal}, new lines. Who wants to know
// of a change gives on() a function: it is called with the whole state after each message that touches one of its parts.

export const board = { tables: null, state: {}, connected: false };

const listeners = [];
const tableListeners = [];
const lineListeners = [];
const connectionListeners = [];
let socket = null;
let watched = '';
let lastLine = 0;

// Called with (state, tables) when one of `parts` of the state has changed, and once all is there.
export function on(parts, listener) { listeners.push({ parts, listener }); }
export function onTables(listener) { tableListeners.push(listener); }
// With [{number, at, kind, who, text}], each once and in order; or with none and true: another program begins anew.
export function onLines(listener) { lineListeners.push(listener); }
export function onConnection(listener) { connectionListeners.push(listener); }  // with true or false

// A console command.
export function act(line) { send({ do: line }); }
export function makePanorama(name) { send({ panorama: name }); }
// Which device's pins and registers are to come; '' for none.
export function watch(device) {
  watched = device;
  send({ watch: device });
}

function send(message) {
  if (socket && socket.readyState === WebSocket.OPEN) socket.send(JSON.stringify(message));
}

function merge(target, patch) {
  for (const [name, value] of Object.entries(patch)) {
    if (value === null) {
      delete target[name];
    } else if (typeof value === 'object' && !Array.isArray(value)) {
      if (typeof target[name] !== 'object' || Array.isArray(target[name])) target[name] = {};
      merge(target[name], value);
    } else {
      target[name] = value;
    }
  }
}

function heard(message) {
  if (message.tables) {
    const fresh = !board.tables || board.tables.program !== message.tables.program;
    board.tables = message.tables;
    board.state = {};
    if (fresh) {
      lastLine = 0;
      for (const listener of tableListeners) listener(board.tables);
      for (const listener of lineListeners) listener([], true);
    }
  }
  if (message.state) {
    merge(board.state, message.state);
    const changed = new Set(Object.keys(message.state));
    for (const { parts, listener } of listeners) {
      if (message.tables || parts.some((part) => changed.has(part))) listener(board.state, board.tables);
    }
  }
  if (message.journal) {
    const lines = message.journal.map(([number, at, kind, who, text]) => ({ number, at, kind, who, text }))
      .filter(({ number }) => number > lastLine);
    if (lines.length) lastLine = lines[lines.length - 1].number;
    for (const listener of lineListeners) listener(lines, false);
  }
}

function setConnected(connected) {
  if (board.connected === connected) return;
  board.connected = connected;
  for (const listener of connectionListeners) listener(connected);
}

export function connect() {
  socket = new WebSocket(`ws://${location.host}/live`);
  socket.onopen = () => {
    setConnected(true);
    if (watched) watch(watched);
  };
  socket.onmessage = (event) => heard(JSON.parse(event.data));
  socket.onclose = () => {
    setConnected(false);
    setTimeout(connect, 700);
  };
}
