// The remote control.
import { load, post, receiversText } from './middleware.js';
import { durationText } from './records.js';
import { captureKeyboard, showMapping } from './keyboard.js';

const display = document.getElementById('pressed');
const modifier = document.getElementById('modifier');

function keyButton(name) {
  const button = document.createElement('button');
  button.dataset.key = name;
  button.textContent = name;
  return button;
}

async function press(body, name) {
  const value = modifier.valueAsNumber || 0;
  document.getElementById('called').textContent = '';
  try {
    const answer = await post('/api/key', { ...body, modifier: value });
    display.textContent = `${name}${value ? ` + ${value}` : ''}: ${receiversText(answer)}`;
  } catch (error) {
    display.textContent = error.message;
  }
}

/// What a press has come to in a host that tells: "key 44 -> Return, 0.4 ms".
export function showCallback({ callback, fields, cause, afterMs }) {
  if (callback === 'key' && cause) {
    document.getElementById('called').textContent =
      `key ${cause.command} -> ${fields.name}${fields.modifier ? ` + ${fields.modifier}` : ''}, ${durationText(afterMs)}`;
  }
}

function flash(name) {
  for (const button of document.querySelectorAll(`[data-key="${CSS.escape(name)}"]`)) {
    button.classList.remove('flash');
    void button.offsetWidth; // restarts the animation
    button.classList.add('flash');
  }
}

function pressNamed(name) {
  flash(name);
  return press({ key: name }, name);
}

/// Draws the keys that are not drawn yet: digits where they belong, the others behind "More keys".
async function drawKeys() {
  const digits = document.getElementById('digits');
  const letters = document.getElementById('letters');
  for (const { name } of await load('/api/keys')) {
    if (document.querySelector(`[data-key="${CSS.escape(name)}"]`)) {
      continue;
    }
    (/^[0-9]$/.test(name) ? digits : letters).append(keyButton(name));
  }
  digits.append(digits.firstElementChild); // 0 comes last
}

export async function startRemote() {
  document.querySelector('.remote-area').addEventListener('click', (event) => {
    const button = event.target.closest('[data-key]');
    if (button) {
      pressNamed(button.dataset.key);
    }
  });
  document.getElementById('command').addEventListener('submit', (event) => {
    event.preventDefault();
    const command = event.target.elements.command.valueAsNumber;
    press({ command }, `Command ${command}`);
  });
  captureKeyboard([document.getElementById('remote'), document.getElementById('screen')], pressNamed);
  showMapping(document.getElementById('mapping'));
  await drawKeys();
}
