// The log, joined with what was done and answered, and the prompt under it.
import { act, on, onLines, onTables } from './link.js';
import { byId, clockText, make } from './dom.js';

const kMostLines = 1500;

function lineOf({ at, kind, who, text }) {
  const line = make(`li.${kind}`, {}, make('time', {}, clockText(at)), make('b', {}, who || (kind === 'action' ? '>' : '')),
    make('span', {}, text));
  line.who = who;
  return line;
}

function startPrompt() {
  const input = byId('line'), usage = byId('usage');
  const past = [];
  let place = 0, commands = [];
  onTables((tables) => {
    commands = tables.commands;
    byId('commands').replaceChildren(...commands.map((command) => make('option', { value: command.name }, command.help)));
  });
  input.addEventListener('input', () => {
    const command = commands.find(({ name }) => name === input.value.split(' ')[0]);
    usage.textContent = command ? `${command.name} ${command.usage}: ${command.help}` : '';
  });
  input.addEventListener('keydown', (event) => {
    const step = { ArrowUp: -1, ArrowDown: 1 }[event.key];
    if (!step || !past.length) return;
    event.preventDefault();
    place = Math.min(Math.max(place + step, 0), past.length);
    input.value = past[place] ?? '';
  });
  byId('prompt').addEventListener('submit', (event) => {
    event.preventDefault();
    if (!input.value.trim()) return;
    act(input.value);
    past.push(input.value);
    place = past.length;
    input.value = usage.textContent = '';
  });
}

export function startJournal() {
  const lines = byId('lines'), words = byId('words'), thread = byId('thread');
  const threads = new Set();
  const fits = (line) => (!thread.value || line.who === thread.value)
    && line.textContent.toLowerCase().includes(words.value.toLowerCase());
  const filter = () => { for (const line of lines.children) line.hidden = !fits(line); };
  words.addEventListener('input', filter);
  thread.addEventListener('change', filter);
  let last = 0;
  onLines((fresh, anew) => {
    if (anew) {
      lines.replaceChildren();
      last = 0;
    }
    const atEnd = lines.scrollTop + lines.clientHeight >= lines.scrollHeight - 30;
    for (const entry of fresh) {
      if (last && entry.number > last + 1) lines.append(make('li.gap', {}, `${entry.number - last - 1} lines were left out`));
      last = entry.number;
      if (entry.who && !threads.has(entry.who)) {
        threads.add(entry.who);
        thread.append(make('option', {}, entry.who));
      }
      const line = lineOf(entry);
      line.hidden = !fits(line);
      lines.append(line);
    }
    while (lines.children.length > kMostLines) lines.firstChild.remove();
    if (atEnd) lines.scrollTop = lines.scrollHeight;
  });
  on(['complaints'], ({ complaints }) => {
    const shown = byId('complaints');
    shown.hidden = !complaints;
    shown.textContent = complaints === 1 ? 'the board objects once' : `the board objects ${complaints} times`;
  });
  startPrompt();
}
