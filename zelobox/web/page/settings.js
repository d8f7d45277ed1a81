// Clients, configuration, fault modes, any message.
import { byId, element } from './dom.js';
import { load, post, receiversText } from './middleware.js';

async function say(note, work) {
  try {
    note.textContent = await work();
    note.classList.remove('wrong');
  } catch (error) {
    note.textContent = error.message;
    note.classList.add('wrong');
  }
}

/// "zelobox, process 4242"; nothing for one that is not known.
function processText(process) {
  return process ? `${process.name || 'a process'} (${process.id})` : '';
}

export function showClients(clients, program) {
  const list = byId('clients');
  const open = new Set([...list.querySelectorAll('details[open]')].map((one) => one.dataset.id));
  list.replaceChildren(...clients.map(({ id, since, process, allowed }) => {
    const summary = element('summary', {},
      element('b', { textContent: `Connection ${id}` }), ' ', element('span', { textContent: processText(process) }),
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
      element('code', { textContent: `${program} host` })));
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

/// Takes over what has changed at the middleware; what somebody is editing stays.
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

function faultRow({ name, help, lasts }) {
  const button = element('button', { type: 'button', textContent: name });
  button.dataset.what = name;
  if (lasts) {
    button.setAttribute('aria-pressed', 'false');
  }
  const text = element('span', { className: 'hint', id: `fault-${name}`, textContent: help });
  button.setAttribute('aria-describedby', text.id);
  return element('li', {}, button, text);
}

function drawFaultModes(available) {
  const modes = available.filter(({ name }) => name !== 'none');
  const group = (title, lasts) => {
    const heading = element('h3', { textContent: title, id: `faults-${lasts ? 'lasting' : 'once'}` });
    const list = element('ul', {}, ...modes.filter((mode) => mode.lasts === lasts).map(faultRow));
    list.setAttribute('aria-labelledby', heading.id);
    return [heading, list];
  };
  byId('bad').append(...group('Until it is ended', true), ...group('Once', false));
}

/// What is active has a badge in the header, wherever one has scrolled to.
export function showFaultModes(available, active) {
  if (byId('bad').childElementCount === 0) {
    drawFaultModes(available);
  }
  for (const button of byId('bad').querySelectorAll('[aria-pressed]')) {
    button.setAttribute('aria-pressed', active.includes(button.dataset.what));
  }
  byId('faults-badge').hidden = active.length === 0;
  byId('faults-badge-text').textContent = `Fault: ${active.join(', ')}`;
  byId('faults-end').textContent = active.length > 1 ? 'End them' : 'End it';
}

function templateFor(name) {
  const templates = {
    IPC_REMOTE_KEY: '{"command": 44, "modifier": 0}', IPC_VOLUME: '{"value": 30}', IPC_MUTE: '{"value": 1}',
    IPC_APP_LIFECYCLE: '{"text": "onpause"}', IPC_BROWSER_CONFIG: '{"language": "de"}',
  };
  return templates[name] ?? '{"bytes": ""}';
}

/// A type without a name goes by its number.
function frameName(value) {
  return /^\d+$/.test(value) ? Number(value) : value;
}

async function startSend() {
  const messages = (await load('/api/messages')).filter((message) => message.toHost);
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
      const answer = await post('/api/send', { frame: frameName(byId('send-name').value), ...fields, unsubscribed });
      return `${answer.sent}: ${receiversText(answer)}`;
    });
  });
}

/// All of them: the middleware knows no other way.
function endFaults(apply) {
  return apply('none', () => 'No fault is active.');
}

/// Puts a record into the form, to be changed and sent.
export function editMessage(record) {
  const isKnown = [...byId('send-name').options].some((option) => option.value === record.name);
  const { malformed, inexact, ...fields } = record.fields;
  const bytes = { kind: record.kind, bytes: record.hex.slice(16) };
  const form = byId('send').closest('details');
  form.open = true;
  if (!isKnown) {
    byId('send-name').append(element('option', { textContent: record.name, value: record.type }));
  }
  byId('send-name').value = isKnown ? record.name : record.type;
  byId('send-fields').value = JSON.stringify(malformed || inexact || !isKnown ? bytes : fields, null, 1);
  form.scrollIntoView({ block: 'nearest' });
  byId('send-fields').focus();
}

export async function startSettings() {
  byId('config').addEventListener('submit', (event) => {
    event.preventDefault();
    say(byId('config-note'), async () => {
      const answer = await post('/api/config', editedConfig(event.target));
      return answer.receivers ? `Configuration ${receiversText(answer)}.` : 'Kept for the next client that asks.';
    });
  });
  const apply = (what, done) => say(byId('bad-note'), async () => {
    const { receivers } = await post('/api/fault', { what });
    return done(receivers);
  });
  byId('bad').addEventListener('click', ({ target }) => {
    const what = target.closest('[data-what]')?.dataset.what;
    if (what && target.getAttribute('aria-pressed') === 'true') {
      endFaults(apply);
    } else if (what && target.hasAttribute('aria-pressed')) {
      apply(what, () => `"${what}" is active until it is ended.`);
    } else if (what) {
      apply(what, (receivers) => `"${what}": ${receivers ? `done to ${receivers === 1 ? '1 client' : `${receivers} clients`}` : 'there is no client to do it to'}.`);
    }
  });
  byId('faults-end').addEventListener('click', () => endFaults(apply));
  await startSend();
}
