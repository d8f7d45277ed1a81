// The computer's keyboard as the remote control.

const named = {
  ArrowUp: 'Up', ArrowDown: 'Down', ArrowLeft: 'Left', ArrowRight: 'Right', Enter: 'Return', Backspace: 'Back',
  Escape: 'Escape', Home: 'Home', PageUp: 'Page up', PageDown: 'Page down', ' ': 'Space', F1: 'F1', '+': 'Volume up',
  '-': 'Volume down', '*': 'Mute', '/': 'Search', MediaPlayPause: 'Play/pause', MediaStop: 'Stop',
  MediaRewind: 'Rewind', MediaFastForward: 'Fast forward', MediaTrackPrevious: 'Previous', MediaTrackNext: 'Next',
};

/// In words: a machine may lack the glyphs of the keys.
const shown = { ' ': 'Space bar', MediaPlayPause: 'Media play/pause', MediaStop: 'Media stop', MediaRewind: 'Media rewind',
  MediaFastForward: 'Media forward', MediaTrackPrevious: 'Media previous', MediaTrackNext: 'Media next',
  ArrowUp: 'Arrow up', ArrowDown: 'Arrow down', ArrowLeft: 'Arrow left', ArrowRight: 'Arrow right', PageUp: 'Page up',
  PageDown: 'Page down' };

/// Gives the name of the key of the remote control; nothing for a key that has none.
function keyNameOf(event) {
  if (event.ctrlKey || event.altKey || event.metaKey) {
    return undefined; // the browser's own
  }
  return /^[a-z0-9]$/i.test(event.key) ? event.key.toUpperCase() : named[event.key];
}

function isActivation(event) {
  return event.target.closest('button') && (event.key === 'Enter' || event.key === ' ');
}

/// Has keys typed inside of each of the areas pressed on the remote control.
export function captureKeyboard(areas, press) {
  for (const area of areas) {
    area.addEventListener('keydown', (event) => {
      const name = keyNameOf(event);
      if (name && !isActivation(event)) {
        event.preventDefault();
        press(name);
      }
    });
  }
}

export function showMapping(list) {
  const rows = [...Object.entries(named).map(([key, name]) => [shown[key] ?? key, name]),
    ['0 to 9', 'digits'], ['A to Z', 'letters']];
  for (const [key, name] of rows) {
    const row = document.createElement('div');
    row.append(Object.assign(document.createElement('dt'), { textContent: key }),
      Object.assign(document.createElement('dd'), { textContent: name }));
    list.append(row);
  }
}
