// The shot as it happens: measurement, exposures, and a tile a camera that fills when its pictures reach the file.
import { board, on, onTables } from './link.js';
import { byId, bytesText, make, secondsText } from './dom.js';

const kRow = 20;  // degrees: lenses at about the same height share a row

// Rows from the zenith down, each from the left around to the right.
function rowsOf(lenses) {
  const rows = [];
  for (const lens of [...lenses].sort((a, b) => b.elevation - a.elevation)) {
    const row = rows[rows.length - 1];
    if (row && row[0].elevation - lens.elevation < kRow) row.push(lens);
    else rows.push([lens]);
  }
  for (const row of rows) row.sort((a, b) => a.azimuth - b.azimuth);
  return rows;
}

function fillTile(tile, camera, shown) {
  const image = tile.querySelector('img');
  const number = shown ? String(shown.number) : '';
  if (tile.dataset.number !== number) {
    tile.dataset.number = number;
    tile.classList.toggle('filled', Boolean(shown));
    if (shown) image.src = `/picture/${camera}?${number}`;
    else image.removeAttribute('src');
    image.alt = shown ? `camera ${camera}, exposure ${shown.exposure}` : '';
  }
  [...tile.querySelector('.filed').children].forEach((dot, exposure) => {
    dot.classList.toggle('in', Boolean(shown && shown.filed & (1 << exposure)));
  });
}

function showCount(state) {
  const { shot, stage } = state;
  const count = byId('count');
  count.hidden = !shot.running;
  count.querySelector('b').textContent = stage.replace(/ \d+ of \d+$/, '');
  count.querySelector('span').textContent = shot.frames ? `${shot.frames} / ${shot.total}` : '';
  count.querySelector('.bar').hidden = !shot.frames;
  count.querySelector('.bar i').style.width = `${shot.total ? (100 * shot.frames) / shot.total : 0}%`;
}

function showExposures(state) {
  const { shot } = state;
  const facts = [
    ['shot', shot.number || 'none yet'],
    ['measured', shot.average ? `${shot.average} of 255` : '-'],
    ['layers', shot.layers.join(', ')],
    ['frames', shot.frames ? `${shot.frames} of ${shot.total}` : '-'],
    ['lost frames', shot.lost],
    ['restarts', shot.restarts],
  ];
  const list = make('dl', {}, ...facts.map(([name, value]) => make(
    (name === 'lost frames' || name === 'restarts') && value ? 'div.bad' : 'div', {}, make('dt', {}, name), make('dd', {}, String(value)))));
  const sets = make('ol.sets', { ariaLabel: 'Exposures' }, ...shot.sets.map((set, place) => make(
    'li', {}, make('b', {}, set.seconds ? secondsText(set.seconds) : `${Math.round(set.rows)} rows`),
    make('span', {}, `exposure ${place + 1}, gain ${set.gain.toFixed(1)}`))));
  byId('exposures').replaceChildren(list, sets);
}

// What the last shot has become, in the room that the zenith's row leaves.
function showLatest({ shot, shots }) {
  const latest = document.querySelector('.latest');
  const name = Object.keys(shots).sort().at(-1);
  latest.hidden = shot.running || !shot.number || !name;
  if (latest.hidden) return;
  const { ticket, state, size } = shots[name];
  if (latest.dataset.ticket !== String(ticket)) {
    latest.dataset.ticket = ticket;
    latest.replaceChildren(make('img', { src: `/thumbnail/${encodeURIComponent(name)}`, alt: 'its thumbnail' }),
      make('p', {}, make('b', {}, name), make('span')));
  }
  latest.querySelector('span').textContent = `${bytesText(size)}, ${state}`;
}

export function startShot() {
  const tiles = new Map();
  onTables(({ lenses, turned }) => {
    tiles.clear();
    byId('tiles').replaceChildren(...rowsOf(lenses).map((row) => make('div.ring', {}, ...row.map(({ camera }) => {
      const image = make('img', { alt: '' });
      image.style.transform = `rotate(${turned}deg)`;
      const tile = make('figure.tile', {}, image, make('figcaption', {}, String(camera)), make('span.filed'));
      tiles.set(String(camera), tile);
      return tile;
    }))));
    const latest = make('div.latest', { hidden: true });
    latest.style.gridColumn = `${rowsOf(lenses)[0].length + 1} / -1`;
    byId('tiles').firstChild.append(latest);
  });
  on(['shot', 'shots'], showLatest);
  on(['shot', 'stage'], (state) => {
    showCount(state);
    showExposures(state);
    const exposures = Math.max(3, state.shot.sets.length);
    for (const [camera, tile] of tiles) {
      const dots = tile.querySelector('.filed');
      while (dots.children.length > exposures) dots.lastChild.remove();
      while (dots.children.length < exposures) dots.append(make('i'));
      fillTile(tile, camera, state.shot.tiles[camera]);
    }
    byId('tiles').classList.toggle('running', board.state.shot.running);
  });
}
