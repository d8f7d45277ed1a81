// The panel of frames at the lower edge of the window, and how high it is.
import { byId } from './dom.js';

const stored = 'zelobox.framesHeight';
const step = 24;
const least = 120;

/// In percent of the window, so that it fits into another one too.
function setHeight(pixels) {
  const most = window.innerHeight - least;
  const share = Math.round((100 * Math.max(least, Math.min(pixels, most))) / window.innerHeight);
  document.documentElement.style.setProperty('--frames-height', `${share}vh`);
  byId('splitter').setAttribute('aria-valuenow', share);
  localStorage.setItem(stored, share);
}

/// @param usual  the height until somebody changes it, in percent of the window
export function startDock(usual) {
  const splitter = byId('splitter');
  const height = () => byId('frames').offsetHeight;
  splitter.setAttribute('aria-valuemin', '10');
  splitter.setAttribute('aria-valuemax', '90');
  const share = Number(localStorage.getItem(stored)) || usual;
  setHeight((share * window.innerHeight) / 100);
  splitter.addEventListener('pointerdown', (event) => {
    event.preventDefault();
    splitter.setPointerCapture(event.pointerId);
  });
  splitter.addEventListener('pointermove', (event) => {
    if (splitter.hasPointerCapture(event.pointerId)) {
      setHeight(window.innerHeight - event.clientY);
    }
  });
  splitter.addEventListener('keydown', (event) => {
    const change = { ArrowUp: step, ArrowDown: -step }[event.key];
    if (change) {
      event.preventDefault();
      setHeight(height() + change);
    }
  });
}
