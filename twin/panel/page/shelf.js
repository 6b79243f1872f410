// The disk and the shots on it.
import { act, makePanorama, on } from './link.js';
import { byId, bytesText, make } from './dom.js';
import { openPanorama } from './panorama.js';

const kPanoramaTexts = {
  none: 'Panorama', waiting: 'Waiting …', making: 'Making …', ready: 'Panorama', failed: 'No panorama: try again',
};

function stateText(shot) {
  if (shot.state === 'checking') return 'being looked at';
  return shot.state === 'good' ? 'good' : `bad: ${shot.finding || 'cannot be read'}`;
}

// Asked twice: what is deleted is gone.
function deleteButton(name) {
  const button = make('button', {}, 'Delete');
  button.addEventListener('click', () => {
    if (!button.classList.contains('sure')) {
      button.classList.add('sure');
      button.textContent = 'Really?';
      setTimeout(() => {
        button.classList.remove('sure');
        button.textContent = 'Delete';
      }, 3000);
      return;
    }
    act(`phone /del_file?filename=${name.replace(/\.[^.]*$/, '')}`);
    button.textContent = 'Asked';
  });
  return button;
}

function makeRow(name) {
  const path = encodeURIComponent(name);
  const panorama = make('button.panorama');
  panorama.addEventListener('click', () => {
    if (panorama.dataset.state === 'ready') openPanorama(`/panorama/${path}?${panorama.dataset.ticket}`, name);
    else makePanorama(name);
  });
  return make('li.shot', { id: `shot-${name}` },
    make('img', { src: `/thumbnail/${path}`, alt: `thumbnail of ${name}` }),
    make('div', {}, make('b', {}, name), make('span.size'), make('span.state')),
    make('div.does', {}, panorama, make('a.button', { href: `/shot/${path}`, download: name }, 'Download'),
      deleteButton(name)),
    make('div.bar', { hidden: true }, make('i')));
}

function fillRow(row, shot) {
  row.querySelector('.size').textContent = bytesText(shot.size);
  const state = row.querySelector('.state');
  state.textContent = stateText(shot);
  state.className = `state ${shot.state}`;
  const panorama = row.querySelector('.panorama');
  panorama.textContent = kPanoramaTexts[shot.panorama];
  panorama.dataset.state = shot.panorama;
  panorama.dataset.ticket = shot.ticket;
  panorama.disabled = shot.panorama === 'waiting' || shot.panorama === 'making';
  const [, done, all] = /^(\d+) of (\d+)/.exec(shot.made) ?? [];
  row.querySelector('.bar').hidden = shot.panorama !== 'making';
  row.querySelector('.bar i').style.width = `${all ? (100 * done) / all : 0}%`;
}

export function startShelf() {
  on(['shots'], ({ shots }) => {
    const shelf = byId('shelf');
    const names = Object.keys(shots).sort().reverse();
    for (const row of [...shelf.children]) {
      if (row.ticket === undefined || shots[row.name]?.ticket !== row.ticket) row.remove();
    }
    names.forEach((name, place) => {
      let row = [...shelf.children].find((each) => each.name === name);
      if (!row) {
        row = makeRow(name);
        row.name = name;
        row.ticket = shots[name].ticket;
        shelf.insertBefore(row, shelf.children[place] ?? null);
      }
      fillRow(row, shots[name]);
    });
    if (!names.length) shelf.replaceChildren(make('li.none', {}, 'No shot is on the disk. Press the button to take one.'));
    byId('many').textContent = names.length || '';
  });
  on(['disk'], ({ disk }) => {
    const there = !disk.plugged ? 'The disk is not plugged in'
      : !disk.mounted ? 'The disk is not mounted' : 'The disk is mounted';
    byId('disk').textContent = `${there}${disk.readOnly ? ', write-locked' : ''}. `
      + `${bytesText(disk.freeKBs * 1024)} of ${bytesText(disk.totalKBs * 1024)} are free.`;
  });
}
