// What nature and a person do to the board: the controls that the twin describes, the phone and the remote.
import { act, on, onLines, onTables } from './link.js';
import { byId, make, throttled, valueAt } from './dom.js';

const kLiveMilliseconds = 200;

// Position 0 to 1 of a slider, and back; by powers if the control says so.
const places = {
  linear: { at: (value, { least, most }) => (value - least) / (most - least),
            value: (place, { least, most }) => least + place * (most - least) },
  powers: { at: (value, { least, most }) => Math.log(Math.max(value, least) / least) / Math.log(most / least),
            value: (place, { least, most }) => least * (most / least) ** place },
};

function rounded(value, step) {
  const digits = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
  return Number((Math.round(value / step) * step).toFixed(digits));
}

function numbersControl(control) {
  const scale = control.powers ? places.powers : places.linear;
  const inputs = control.numbers.map((number) => {
    const box = make('input', { type: 'number', min: number.least, max: number.most, step: 'any',
      ariaLabel: `${control.label}, ${number.label}` });
    const slider = make('input', { type: 'range', min: 0, max: 1, step: 'any', ariaLabel: `${control.label}, ${number.label}` });
    return { number, box, slider };
  });
  const tell = () => {
    if (inputs.some(({ box }) => box.value === '' || !box.checkValidity())) return;
    let command = control.set;
    for (const { box } of inputs) command = command.replace('{}', box.value);
    act(command);
  };
  const live = throttled(kLiveMilliseconds, tell);
  for (const { number, box, slider } of inputs) {
    slider.addEventListener('input', () => {
      box.value = rounded(scale.value(Number(slider.value), number), number.step);
      live();
    });
    box.addEventListener('change', tell);
  }
  const paths = [...new Set(control.numbers.map(({ path }) => path.split('/')[0]))];
  on(paths, (state) => {
    for (const { number, box, slider } of inputs) {
      const value = valueAt(state, number.path);
      if (value === undefined || document.activeElement === box) continue;
      if (!slider.matches(':active')) {
        box.value = rounded(value, Math.min(number.step, 1e-3));
        slider.value = scale.at(value, number);
      }
    }
  });
  return make('div.numbers', {}, make('h3', {}, control.label), ...inputs.map(({ number, box, slider }) => make('label', {},
    make('span', {}, number.label), slider, box, make('em', {}, number.unit))));
}

function switchControl(control) {
  const box = make('input', { type: 'checkbox', role: 'switch' });
  box.addEventListener('change', () => act(box.checked ? control.on : control.off));
  on([control.path.split('/')[0]], (state) => { box.checked = Boolean(valueAt(state, control.path)); });
  return make('label.switch', {}, make('span', {}, control.label), box);
}

function pressControl(control) {
  return make('div.presses', {}, make('span', {}, control.label), ...control.press.map((each) => {
    const button = make('button', { title: each.what }, each.label);
    button.addEventListener('click', () => act(each.command));
    return button;
  }));
}

function groupOf({ title, controls }) {
  return make('fieldset', {}, make('legend', {}, title), ...controls.map((control) => {
    if (control.set) return numbersControl(control);
    return control.on ? switchControl(control) : pressControl(control);
  }));
}

function linkOf({ label, route }) {
  const button = make('button', { title: label }, make('span', {}, label), make('code', {}, route));
  button.addEventListener('click', () => act(`phone ${route}`));
  return make('li', {}, button);
}

export function startWorld() {
  onTables(({ controls, phone }) => {
    byId('world').replaceChildren(...controls.filter(({ tab }) => !tab).map(groupOf));
    byId('keys').replaceChildren(...controls.filter(({ tab }) => tab === 'phone').map(groupOf));
    byId('links').replaceChildren(...phone.map(linkOf));
  });
  on(['remote', 'adapters'], ({ remote, adapters }) => {
    byId('remote').replaceChildren(...(remote.text === undefined
      ? [make('p', {}, adapters.serial ? 'The remote has been shown nothing yet.' : 'The remote\'s adapter is not plugged in.')]
      : [make('b', {}, remote.text), make('span', {}, `disk ${remote.disk}%   battery ${remote.battery}%`)]));
  });
  let open = null;  // the answer that further lines belong to
  onLines((lines, anew) => {
    const answers = byId('answers');
    if (anew) answers.replaceChildren();
    for (const line of lines) {
      if (line.kind !== 'answer') {
        if (line.kind === 'action') open = null;
        continue;
      }
      const [, route, text] = /^phone +(\S+): (.*)$/.exec(line.text) ?? [];
      if (route) {
        open = make('pre', {}, text);
        answers.prepend(make('div', {}, make('code', {}, route), open));
        while (answers.children.length > 12) answers.lastChild.remove();
      } else if (open && line.text) {
        open.append(`\n${line.text}`);
      }
    }
  });
}
