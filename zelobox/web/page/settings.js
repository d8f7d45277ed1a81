// Clients, configuration, fault mode, any message.
import { get, post, receiversText } from './middleware.js';

const byId = (id) => document.getElementById(id);

function element(tag, properties, ...children) {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

async function say(note, work) {
  try {
    note.textContent = await work();
    note.classList.remove('wrong');
  } catch (error) {
    note.textContent = error.message;
    note.classList.add('wrong');
  }
}

export function showClients(clients) {
  const list = byId('clients');
  const open = new Set([...list.querySelectorAll('details[open]')].map((one) => one.dataset.id));
  list.replaceChildren(...clients.map(({ id, since, allowed }) => {
    const summary = element('summary', {},
      element('b', { textContent: `Connection ${id}` }),
      ` since ${new Date(since * 1000).toLocaleTimeString([], { hour12: false })}`);
    const count = allowed.length === 1 ? '1 message' : `${allowed.length} messages`;
    const details = element('details', {}, summary, element('p', { className: 'hint', textContent: `Wants ${count}:` }),
      element('p', { className: 'tags' }, ...allowed.map((name) => element('code', { textContent: name }))));
    details.dataset.id = id;
    details.open = open.has(String(id));
    return element('li', {}, details);
  }));
  if (clients.length === 0) {
    list.append(element('li', { className: 'hint' }, 'None yet. In a terminal: ',
      element('code', { textContent: 'zelobox host' })));
  }
}

const labels = {
  language: 'Language', apiMode: 'API mode', displayWidth: 'Display width', displayHeight: 'Display height',
  portalUrl: 'Portal address', forcePortalUrl: 'Force the portal address', displayFlag: 'Display flag',
  macAddress: 'MAC address', auxWidth: 'Extra width', auxHeight: 'Extra height', auxText1: 'Extra text 1',
  auxText2: 'Extra text 2', auxValue: 'Extra value',
};
const most = { auxValue: 255 };
let shownConfig = '';

function fieldOf(name, value) {
  if (typeof value === 'boolean') {
    return element('label', { className: 'check' },
      element('input', { type: 'checkbox', name, defaultChecked: value }), ` ${labels[name]}`);
  }
  const input = typeof value === 'number'
    ? element('input', { type: 'number', min: 0, max: most[name] ?? 65535, required: true })
    : element('input', { type: 'text', spellcheck: false });
  return element('label', { className: 'field' }, element('span', { textContent: labels[name] }),
    Object.assign(input, { name, defaultValue: value }));
}

function drawConfig(config) {
  const rows = Object.keys(labels).map((name) => fieldOf(name, config[name]));
  const rest = element('details', {}, element('summary', { textContent: 'More fields' }),
    element('div', { className: 'fields' }, ...rows.slice(5)));
  byId('config-fields').replaceChildren(...rows.slice(0, 5), rest);
}

/// Takes over what has changed at the box; what somebody is editing stays.
export function showConfig(config) {
  const text = JSON.stringify(config);
  if (text === shownConfig) {
    return;
  }
  const isFirst = shownConfig === '';
  shownConfig = text;
  if (isFirst) {
    drawConfig(config);
    return;
  }
  for (const input of byId('config').querySelectorAll('input')) {
    const property = input.type === 'checkbox' ? 'defaultChecked' : 'defaultValue';
    const current = input.type === 'checkbox' ? 'checked' : 'value';
    const isEdited = input[current] !== input[property];
    input[property] = config[input.name];
    if (!isEdited) {
      input[current] = config[input.name];
    }
  }
}

function editedConfig(form) {
  const config = {};
  for (const input of form.querySelectorAll('input')) {
    const value = { checkbox: input.checked, number: input.valueAsNumber, text: input.value };
    config[input.name] = value[input.type];
  }
  return config;
}

export function showFaultModes(available, lasting) {
  const bad = byId('bad');
  if (bad.childElementCount === 0) {
    bad.append(...available.map(({ name, help, lasts }) => {
      const button = element('button', { type: 'button', textContent: name, title: help });
      button.dataset.what = name;
      if (lasts) {
        button.setAttribute('aria-pressed', 'false');
      }
      return button;
    }));
  }
  for (const button of bad.querySelectorAll('[aria-pressed]')) {
    button.setAttribute('aria-pressed', lasting.includes(button.dataset.what));
  }
}

function templateFor(name) {
  const templates = {
    IPC_REMOTE_KEY: '{"command": 44, "modifier": 0}', IPC_VOLUME: '{"value": 30}', IPC_MUTE: '{"value": 1}',
    IPC_APP_LIFECYCLE: '{"text": "onpause"}', IPC_BROWSER_CONFIG: '{"language": "de"}',
  };
  return templates[name] ?? '{"bytes": ""}';
}

async function startSend() {
  const messages = (await get('/api/messages')).filter((message) => message.toHost);
  byId('send-name').append(...messages.map(({ name }) => element('option', { textContent: name })));
  const fill = () => { byId('send-fields').value = templateFor(byId('send-name').value); };
  byId('send-name').addEventListener('change', fill);
  byId('send-name').value = 'IPC_REMOTE_KEY';
  fill();
  byId('send').addEventListener('submit', (event) => {
    event.preventDefault();
    say(byId('send-note'), async () => {
      const fields = JSON.parse(byId('send-fields').value || '{}');
      const unsubscribed = byId('send-all').checked;
      const { receivers, sent } = await post('/api/send', { frame: byId('send-name').value, ...fields, unsubscribed });
      return `${sent}: ${receiversText(receivers)}`;
    });
  });
}

export async function startSettings() {
  byId('config').addEventListener('submit', (event) => {
    event.preventDefault();
    say(byId('config-note'), async () => {
      const { receivers } = await post('/api/config', editedConfig(event.target));
      return receivers ? `Configuration ${receiversText(receivers)}.` : 'Kept for the next client that asks.';
    });
  });
  byId('bad').addEventListener('click', (event) => {
    const what = event.target.closest('[data-what]')?.dataset.what;
    if (what) {
      say(byId('bad-note'), async () => {
        await post('/api/fault', { what });
        return `Done: ${event.target.title}`;
      });
    }
  });
  await startSend();
}
