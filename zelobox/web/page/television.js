// The screen: what the host shows, and the sound.
import { byId } from './dom.js';
import { post } from './middleware.js';
import { cutText } from './records.js';

const longestMode = 40;
const screen = byId('screen');
const video = byId('video');
const volume = byId('volume');
const mute = byId('mute');
let osdTimer;

function place({ displayWidth, displayHeight }, { x, y, width, height }) {
  const isWhole = width === 0 && height === 0;
  const w = displayWidth || 1920;
  const h = displayHeight || 1080;
  const percent = (part, whole) => `${(100 * part) / whole}%`;
  screen.style.aspectRatio = `${w} / ${h}`;
  video.style.left = isWhole ? '0' : percent(x, w);
  video.style.top = isWhole ? '0' : percent(y, h);
  video.style.width = isWhole ? '100%' : percent(width, w);
  video.style.height = isWhole ? '100%' : percent(height, h);
  video.classList.toggle('whole', isWhole);
  video.classList.toggle('right', x + width / 2 > w / 2);
  const text = isWhole ? 'whole screen' : `${width} × ${height} at ${x}, ${y}`;
  byId('video-label').textContent = isWhole ? '' : text;
  byId('fact-window').textContent = text;
  byId('fact-display').textContent = `${displayWidth} × ${displayHeight}`;
}

function showSound({ volume: value, muted }) {
  volume.max = Math.max(100, value);
  volume.value = value;
  byId('volume-number').textContent = value;
  mute.setAttribute('aria-pressed', muted);
}

/// The way a television shows it: for a moment, when it has changed.
function showOsd({ volume: value, muted }) {
  const osd = byId('osd');
  osd.style.setProperty('--level', `${Math.min(100, value)}%`);
  osd.textContent = muted ? 'Muted' : `Volume ${value}`;
  osd.classList.add('shown');
  clearTimeout(osdTimer);
  osdTimer = setTimeout(() => osd.classList.remove('shown'), 2500);
}

/// Before a host exists nothing is known of what it shows.
function showNothing() {
  for (const id of ['fact-window', 'fact-mode', 'fact-control']) {
    byId(id).textContent = 'no host';
  }
  byId('paused').hidden = true;
  byId('video-label').textContent = '';
  byId('pause').disabled = true;
  byId('resume').disabled = true;
}

let before;
export function showTelevision(state, hasHost) {
  place(state.config, state.videoWindow);
  showSound(state);
  if (before && (before.volume !== state.volume || before.muted !== state.muted)) {
    showOsd(state);
  }
  before = state;
  screen.classList.toggle('no-host', !hasHost);
  byId('no-host').hidden = hasHost;
  if (!hasHost) {
    return showNothing();
  }
  byId('fact-mode').textContent = cutText(state.windowMode, longestMode) || 'not said yet';
  byId('fact-control').textContent = state.applicationHasControl ? 'the application' : 'the one before it';
  screen.classList.toggle('handed-back', !state.applicationHasControl);
  byId('paused').hidden = !state.paused;
  byId('pause').disabled = state.paused;
  byId('resume').disabled = !state.paused;
  return undefined;
}

export function startTelevision(onError) {
  const send = (body) => post('/api/send', body).catch((error) => onError(error.message));
  volume.addEventListener('input', () => { byId('volume-number').textContent = volume.value; });
  volume.addEventListener('change', () => send({ frame: 'IPC_VOLUME', value: volume.valueAsNumber }));
  byId('sound').addEventListener('submit', (event) => event.preventDefault());
  mute.addEventListener('click', () =>
    send({ frame: 'IPC_MUTE', value: mute.getAttribute('aria-pressed') === 'true' ? 0 : 1 }));
  byId('pause').addEventListener('click', () => send({ frame: 'IPC_APP_LIFECYCLE', text: 'onpause' }));
  byId('resume').addEventListener('click', () => send({ frame: 'IPC_APP_LIFECYCLE', text: 'onresume' }));
}
