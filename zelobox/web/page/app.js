// Puts the page together.
import { byId } from './dom.js';
import { startCapture } from './capture.js';
import { startDock } from './dock.js';
import { listen, load } from './middleware.js';
import { addRecords, startFrames } from './frames.js';
import { showCallback, startRemote } from './remote.js';
import { editMessage, showClients, showConfig, showFaultModes, startSettings } from './settings.js';
import { showTelevision, startTelevision } from './television.js';

const link = byId('link');
let faultModes = [];
let instance;
let lastSerial = 0;
let shownState = '';

function showLink(kind, text) {
  if (link.textContent !== text) {
    link.textContent = text;
  }
  link.dataset.link = kind;
  document.body.classList.toggle('lost', kind === 'lost');
}

/// What stays the same is not drawn anew: with many records there are as many states.
function showState({ records, ...state }) {
  const text = JSON.stringify(state);
  if (text === shownState) {
    return;
  }
  shownState = text;
  const count = state.clients.length;
  showLink(count ? 'up' : 'waiting', count ? `${count} client${count === 1 ? '' : 's'} connected` : 'Waiting for a host');
  byId('socket').textContent = state.socket;
  showTelevision(state.middleware, count > 0);
  showClients(state.clients, state.program);
  byId('start-host').textContent = `${state.program} host`;
  showConfig(state.middleware.config);
  showFaultModes(faultModes, state.faults);
}

/// A page that was not shown for long is told the latest only.
function withGap(records) {
  const gap = records.length > 0 && lastSerial > 0 ? records[0].serial - lastSerial - 1 : 0;
  lastSerial = records.at(-1)?.serial ?? lastSerial;
  return gap > 0 ? [{ event: 'missed', count: gap, time: records[0].time }, ...records] : records;
}

function onInstance(current) {
  if (instance && instance !== current) {
    addRecords([{ time: Date.now() / 1000, event: 'restarted' }]);
  }
  lastSerial = instance === current ? lastSerial : 0;
  instance = current;
}

async function startLive() {
  startFrames({ onEdit: editMessage });
  startTelevision((problem) => showLink('lost', problem));
  faultModes = await load('/api/faults');
  await Promise.all([startRemote(), startSettings()]);
  listen({
    onState: showState,
    onRecords: (records) => {
      addRecords(withGap(records));
      records.filter(({ event }) => event === 'callback').slice(-1).forEach(showCallback);
    },
    onInstance,
    onLost: () => {
      shownState = '';
      showLink('lost', 'zelobox is gone; trying again…');
    },
  });
}

async function start() {
  byId('port').textContent = location.port;
  const state = await load('/api/state');
  byId('version').textContent = `zelobox ${state.version}`;
  startDock(state.capture ? 62 : 40);
  if (state.capture) {
    showLink('up', await startCapture(state, (problem) => showLink('lost', problem)));
  } else {
    await startLive();
  }
}

start().catch((error) => showLink('lost', error.message));
