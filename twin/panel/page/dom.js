// Small things that all parts of the page need.

export const byId = (id) => document.getElementById(id);

// make('p.row', {title: 'x'}, 'text', child...): an element with class, properties and children.
export function make(kind, properties = {}, ...children) {
  const [tag, ...classes] = kind.split('.');
  const element = document.createElement(tag);
  if (classes.length) element.className = classes.join(' ');
  for (const [name, value] of Object.entries(properties)) {
    if (name in element) element[name] = value;
    else element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

export function bytesText(bytes) {
  const units = ['B', 'KB', 'MB', 'GB', 'TB'];
  let unit = 0;
  while (bytes >= 1000 && unit < units.length - 1) {
    bytes /= 1000;
    unit++;
  }
  return `${bytes >= 100 || unit === 0 ? Math.round(bytes) : bytes.toFixed(1)} ${units[unit]}`;
}

export function secondsText(seconds) {
  if (seconds < 0.001) return `${(seconds * 1e6).toFixed(0)} µs`;
  if (seconds < 1) return `${(seconds * 1e3).toFixed(seconds < 0.01 ? 2 : 1)} ms`;
  return `${seconds.toFixed(2)} s`;
}

export function clockText(seconds) {
  const whole = Math.floor(seconds);
  const pad = (number) => String(number).padStart(2, '0');
  const hours = Math.floor(whole / 3600);
  return `${hours ? `${hours}:` : ''}${pad(Math.floor(whole / 60) % 60)}:${pad(whole % 60)}.${Math.floor(seconds * 10) % 10}`;
}

// The value at "disk/plugged" of the state.
export const valueAt = (state, path) => path.split('/').reduce((value, name) => value?.[name], state);

// At most one call in `milliseconds`, the last one for certain.
export function throttled(milliseconds, call) {
  let timer = null, latest = null;
  return (...values) => {
    latest = values;
    if (timer) return;
    call(...latest);
    latest = null;
    timer = setTimeout(function again() {
      timer = null;
      if (!latest) return;
      const late = latest;
      latest = null;
      call(...late);
      timer = setTimeout(again, milliseconds);
    }, milliseconds);
  };
}
