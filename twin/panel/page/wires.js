// The pins and registers of one device, as they are.
import { on, onTables, watch } from './link.js';
import { byId, make } from './dom.js';

export function startWires() {
  let device = '', shown = false;
  const rows = new Map();
  const body = make('tbody');
  const choose = (name) => {
    device = name;
    rows.clear();
    body.replaceChildren();
    for (const button of document.querySelectorAll('#wires .devices button')) {
      button.setAttribute('aria-pressed', button.textContent === name);
    }
    watch(shown ? device : '');
  };
  onTables(({ wires }) => {
    byId('wires').replaceChildren(
      make('div.devices', { role: 'group', ariaLabel: 'Device' }, ...wires.map((name) => {
        const button = make('button', {}, name);
        button.addEventListener('click', () => choose(name));
        return button;
      })),
      make('table', {}, make('thead', {}, make('tr', {}, ...['where', 'name', 'value'].map((text) => make('th', {}, text)))), body));
    choose(device || wires[0]);
  });
  document.addEventListener('tab', (event) => {
    shown = event.detail === 'wires';
    watch(shown ? device : '');
  });
  on(['wires'], ({ wires }) => {
    if (!wires || wires.device !== device) return;
    for (const [key, { where, name, value }] of Object.entries(wires.rows)) {
      let row = rows.get(key);
      if (!row) {
        row = make('tr', {}, make('td', {}, where), make('th', { scope: 'row' }, name), make('td.value', {}, value));
        rows.set(key, row);
        body.append(row);
        continue;
      }
      row.children[0].textContent = where;
      row.children[1].textContent = name;
      if (row.children[2].textContent === value) continue;
      row.children[2].textContent = value;
      row.classList.remove('changed');
      void row.offsetWidth;  // so that the same animation starts anew
      row.classList.add('changed');
    }
    for (const [key, row] of rows) {
      if (wires.rows[key]) continue;
      row.remove();
      rows.delete(key);
    }
  });
}
