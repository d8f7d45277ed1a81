// A capture file in place of a middleware: its records, and the state at the time to which the scrubber is moved.
//
// Of a long file the page has the records around that time, as many as it keeps of a middleware's.
import { byId } from './dom.js';
import { addRecords, allRecords, clearRecords, setCurrent, startFrames } from './frames.js';
import { get, getLines } from './middleware.js';
import { mostKept, timeText } from './records.js';
import { showClients } from './settings.js';
import { showTelevision } from './television.js';
import { setCursor, showTimeline } from './timeline.js';

const atOnce = 5000;
const patienceMs = 30000; // the first state of a long file takes its time

const scrubber = byId('scrubber');
let capture; // {name, records, from, to}
let serial = 0; // of the record at the scrubber
let wanted; // what to show next; the latest wins
let isBusy = false;
let onProblem;

function isKept(number) {
  const rows = allRecords();
  return rows.length > 0 && number >= rows[0].serial && number <= rows.at(-1).serial;
}

async function loadAround(number) {
  const first = Math.max(1, Math.min(number - mostKept / 2, capture.records - mostKept + 1));
  clearRecords();
  for (let at = first; at < first + mostKept && at <= capture.records; at += atOnce) {
    const lines = await getLines(`/api/records?first=${at}&count=${atOnce}`, patienceMs);
    addRecords(lines.map((line) => ({ line, ...JSON.parse(line) })));
  }
}

async function showMoment(query) {
  const state = await get(`/api/state?${query}`, patienceMs);
  serial = state.capture.serial;
  if (serial > 0 && !isKept(serial)) {
    await loadAround(serial);
  }
  showTelevision(state.middleware, state.clients.length > 0);
  showClients(state.clients, state.program);
  const { volume, muted } = state.middleware;
  byId('fact-sound').textContent = muted ? `${volume}, muted` : volume;
  const time = setCurrent(serial)?.time ?? capture.from;
  setCursor(time);
  const text = `${timeText(time)}, record ${serial.toLocaleString('en')} of ${capture.records.toLocaleString('en')}`;
  byId('moment').textContent = text;
  scrubber.setAttribute('aria-valuetext', text);
  if (!query.startsWith('time')) { // where a pointer or the keyboard has put it, it stays
    scrubber.value = time - capture.from;
  }
}

async function show(query) {
  wanted = query;
  if (isBusy) {
    return;
  }
  isBusy = true;
  try {
    while (wanted) {
      const next = wanted;
      wanted = undefined;
      await showMoment(next);
    }
  } catch (error) {
    onProblem(error.message);
  } finally {
    isBusy = false;
  }
}

function showRecord(number) {
  return show(`serial=${Math.max(1, Math.min(number, capture.records))}`);
}

function showTime(time) {
  const isEnd = time >= capture.to;
  return isEnd ? showRecord(capture.records) : show(`time=${Math.round(Math.max(time, capture.from) * 1e6)}`);
}

function watchScrubber() {
  scrubber.addEventListener('input', () => showTime(capture.from + scrubber.valueAsNumber));
  scrubber.addEventListener('keydown', (event) => {
    const step = { ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1 }[event.key];
    if (step) {
      event.preventDefault();
      showRecord(serial + step);
    }
  });
  byId('record-before').addEventListener('click', () => showRecord(serial - 1));
  byId('record-after').addEventListener('click', () => showRecord(serial + 1));
}

/// @param state  of the last record
/// @return "1,234 records, 12.3 s, read only"
export async function startCapture(state, reportProblem) {
  capture = state.capture;
  onProblem = reportProblem;
  document.body.classList.add('capture');
  document.title = `${capture.name} - zelobox`;
  byId('place').firstChild.data = 'capture file ';
  byId('socket').textContent = capture.name;
  byId('empty').textContent = 'There are no records in the file.';
  startFrames({ onPick: (row) => showRecord(row.serial), onTime: showTime });
  scrubber.max = capture.to - capture.from;
  watchScrubber();
  showTimeline();
  await showRecord(capture.records);
  return `${capture.records.toLocaleString('en')} records, ${(capture.to - capture.from).toFixed(1)} s, read only`;
}
