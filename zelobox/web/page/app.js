// Puts the page together.
import { get, listen } from './middleware.js';
import { addRecord, startFrames } from './frames.js';
import { startRemote } from './remote.js';
import { showClients, showConfig, showFaultModes, startSettings } from './settings.js';
import { showTelevision, startTelevision } from './television.js';

const link = document.getElementById('link');
let faultModes = [];
let instance;
let lastSerial = 0;

function showLink(kind, text) {
  if (link.textContent !== text) {
    link.textContent = text;
  }
  link.dataset.link = kind;
  document.body.classList.toggle('lost', kind === 'lost');
}

function showState(state) {
  const count = state.clients.length;
  showLink(count ? 'up' : 'waiting', count ? `${count} client${count === 1 ? '' : 's'} connected` : 'Waiting for a host');
  document.getElementById('socket').textContent = state.socket;
  document.getElementById('version').textContent = `zelobox ${state.version}`;
  showTelevision(state.middleware);
  showClients(state.clients);
  showConfig(state.middleware.config);
  showFaultModes(faultModes, state.faults);
}

async function start() {
  document.getElementById('port').textContent = location.port;
  startFrames();
  startTelevision((problem) => showLink('lost', problem));
  faultModes = await get('/api/faults');
  await Promise.all([startRemote(), startSettings()]);
  listen({
    onState: showState,
    onRecord: (record) => {
      if (record.serial > lastSerial) { // a new stream may repeat what the page knows
        lastSerial = record.serial;
        addRecord(record);
      }
    },
    onInstance: (current) => {
      if (instance && instance !== current) {
        addRecord({ serial: current, time: Date.now() / 1000, event: 'restarted' });
      }
      lastSerial = instance === current ? lastSerial : 0;
      instance = current;
    },
    onLink: (isUp) => showLink(isUp ? 'waiting' : 'lost', isUp ? 'Connected' : 'zelobox is gone; trying again…'),
  });
}

start().catch((error) => showLink('lost', error.message));
