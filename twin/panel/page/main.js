// Puts the page together: the header, the tabs, the button, and the parts that have files of their own.
import { act, board, connect, on, onConnection } from './link.js';
import { startView } from './view.js';
import { startShot } from './shot.js';
import { startShelf } from './shelf.js';
import { startWorld } from './world.js';
import { startFaults } from './faults.js';
import { startWires } from './wires.js';
import { startJournal } from './journal.js';
import { startSound } from './sound.js';
import { byId, clockText } from './dom.js';

function startTabs() {
  const tabs = [...document.querySelectorAll('[role=tab]')];
  const show = (tab) => {
    for (const each of tabs) {
      const shown = each === tab;
      each.setAttribute('aria-selected', shown);
      each.tabIndex = shown ? 0 : -1;
      byId(each.getAttribute('aria-controls')).hidden = !shown;
    }
    document.dispatchEvent(new CustomEvent('tab', { detail: tab.getAttribute('aria-controls') }));
  };
  tabs.forEach((tab, place) => {
    tab.addEventListener('click', () => show(tab));
    tab.addEventListener('keydown', (event) => {
      const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
      if (!step) return;
      const next = tabs[(place + step + tabs.length) % tabs.length];
      next.focus();
      show(next);
    });
  });
}

// Down and up of the button are two commands, so that it is held exactly as long as the finger is on it.
function startButton() {
  const shutter = byId('shutter');
  let down = false;
  const press = () => {
    if (!down) act('hold');
    down = true;
  };
  const release = () => {
    if (down) act('release');
    down = false;
  };
  shutter.addEventListener('pointerdown', (event) => {
    shutter.setPointerCapture(event.pointerId);
    press();
  });
  shutter.addEventListener('pointerup', release);
  shutter.addEventListener('pointercancel', release);
  document.addEventListener('button-down', press);
  document.addEventListener('button-up', release);
  const isFree = (target) => target === shutter || !target.closest('button, input, select, textarea, a, summary, dialog');
  document.addEventListener('keydown', (event) => {
    if (event.code !== 'Space' || !isFree(event.target)) return;
    event.preventDefault();
    press();
  });
  document.addEventListener('keyup', (event) => {
    if (event.code === 'Space') release();
  });
  window.addEventListener('blur', release);
  on(['button'], (state) => shutter.classList.toggle('down', state.button));
}

function startHeader() {
  for (const button of document.querySelectorAll('[data-do]')) {
    button.addEventListener('click', () => act(button.dataset.do));
  }
  on(['stage'], (state) => { byId('stage').lastElementChild.textContent = state.stage; });
  on(['led'], (state) => { byId('lamp').className = `lamp ${state.led.lit ? state.led.colour : 'dark'}`; });
  let told = 0, at = 0, time = {};
  on(['time'], (state) => {
    time = state.time;
    told = time.uptime ?? null;
    at = performance.now();
    byId('load').textContent = `host ${time.load} %`;
    for (const button of byId('pace').children) {
      button.setAttribute('aria-pressed', button.dataset.pace === time.pace);
    }
    byId('steps').classList.toggle('useful', time.pace === 'pause');
  });
  setInterval(() => {
    const since = board.connected && time.pace === 'real' ? (performance.now() - at) / 1000 : 0;
    byId('clock').textContent = told === null ? 'off' : clockText(told + Math.min(since, 1));
  }, 100);
  on(['date'], (state) => { byId('clock').title = `Since the power came on. The camera's own clock: ${state.date}`; });
  on(['actions'], (state) => {
    byId('record').textContent = state.actions ? `Record (${state.actions})` : 'Record';
  });
  onConnection((connected) => {
    byId('lost').hidden = connected;
    document.body.classList.toggle('lost', !connected);
  });
}

function startTheme() {
  const button = byId('theme');
  const dark = () => (document.documentElement.dataset.theme
    ? document.documentElement.dataset.theme === 'dark'
    : !matchMedia('(prefers-color-scheme: light)').matches);
  const show = () => {
    button.textContent = dark() ? 'Light' : 'Dark';
    document.dispatchEvent(new CustomEvent('theme'));
  };
  const stored = localStorage.getItem('theme');
  if (stored) document.documentElement.dataset.theme = stored;
  button.addEventListener('click', () => {
    const next = dark() ? 'light' : 'dark';
    document.documentElement.dataset.theme = next;
    localStorage.setItem('theme', next);
    show();
  });
  show();
}

startTabs();
startButton();
startHeader();
startTheme();
startSound();
startView();
startShot();
startShelf();
startWorld();
startFaults();
startWires();
startJournal();
connect();
