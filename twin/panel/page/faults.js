// What can break, by device, and what is to break now.
import { act, board, on, onTables } from './link.js';
import { byId, make } from './dom.js';

const kDot = '.';

// The form in which one point is broken: an effect, and conditions.
function formOf(point, words) {
  const effect = make('select', { ariaLabel: 'Effect' }, ...words.filter((word) => word.effect).map((word) => make(
    'option', { value: word.word }, `${word.word}: ${word.what}`)));
  const value = make('input', { ariaLabel: 'Its value', size: 10 });
  const conditions = words.filter((word) => !word.effect).map((word) => ({
    word, box: make('input', { ariaLabel: word.what, title: word.what, placeholder: word.value, size: 8 }),
  }));
  const preview = make('code');
  const chosen = () => words.find((word) => word.word === effect.value);
  const lineNow = () => {
    const parts = ['fault', point.name, effect.value + (value.value ? `=${value.value}` : '')];
    for (const { word, box } of conditions) if (box.value) parts.push(`${word.word}=${box.value}`);
    return parts.join(' ');
  };
  const show = () => {
    value.hidden = !chosen().value;
    if (value.hidden) value.value = '';
    value.placeholder = chosen().value;
    value.required = Boolean(chosen().value) && !chosen().value.startsWith('[');
    preview.textContent = lineNow();
  };
  const form = make('form', {}, effect, value,
    make('div.conditions', {}, ...conditions.map(({ word, box }) => make('label', { title: word.what }, word.word, box))),
    make('div.arm', {}, make('button', { type: 'submit' }, 'Arm'), preview));
  form.addEventListener('input', show);
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    act(lineNow());
  });
  // An effect that the point's own text names comes first.
  const named = words.find((word) => word.effect && new RegExp(`\\b${word.word}\\b`).test(point.what));
  if (named) effect.value = named.word;
  show();
  return form;
}

function pointRow(point, words) {
  const row = make('details.point', {}, make('summary', {}, make('b', {}, point.name.slice(point.name.indexOf(kDot) + 1)),
    make('span', {}, point.what), make('em')));
  row.dataset.name = point.name;
  row.addEventListener('toggle', () => {
    if (row.open && row.children.length === 1) row.append(formOf(point, words));
  });
  return row;
}

function showRules({ faults }) {
  const clear = make('button', {}, 'Clear all');
  clear.addEventListener('click', () => act('fault clear'));
  byId('rules').replaceChildren(...faults.map((rule) => {
    const one = make('button', { ariaLabel: `Clear ${rule.point}` }, 'Clear');
    one.addEventListener('click', () => act(`fault clear ${rule.point}`));
    return make(rule.fired ? 'li.fired' : 'li', {}, make('code', {}, rule.text),
      make('em', {}, rule.fired ? `fired ${rule.fired}×` : 'armed'), one);
  }), ...(faults.length > 1 ? [make('li', {}, clear)] : []));
  const fired = new Map();
  for (const rule of faults) fired.set(rule.point, (fired.get(rule.point) ?? 0) + rule.fired);
  for (const row of document.querySelectorAll('.point')) {
    const count = fired.get(row.dataset.name);
    row.classList.toggle('armed', count !== undefined);
    row.classList.toggle('fired', count > 0);
    row.querySelector('summary em').textContent = count === undefined ? '' : count ? `fired ${count}×` : 'armed';
  }
  byId('armed').textContent = faults.length || '';
}

export function startFaults() {
  onTables(({ faults }) => {
    const devices = new Map();
    for (const point of faults.points) {
      const device = point.name.split(kDot)[0];
      devices.set(device, [...(devices.get(device) ?? []), point]);
    }
    const search = make('input', { type: 'search', placeholder: 'only faults with ...', ariaLabel: 'Only faults with this text' });
    const groups = [...devices].sort(([a], [b]) => a.localeCompare(b)).map(([device, points]) => make(
      'section.device', {}, make('h2', {}, device), ...points.map((point) => pointRow(point, faults.words))));
    search.addEventListener('input', () => {
      const words = search.value.toLowerCase();
      for (const group of groups) {
        let any = false;
        for (const row of group.querySelectorAll('.point')) {
          row.hidden = !`${row.dataset.name} ${row.textContent}`.toLowerCase().includes(words);
          any ||= !row.hidden;
        }
        group.hidden = !any;
      }
    });
    byId('faults').replaceChildren(make('ul', { id: 'rules' }), search, ...groups);
    if (board.state.faults) showRules(board.state);
  });
  on(['faults'], showRules);
}
