// The records as a picture: a lane for each way over time, with configurations, drops and stops marked.
import { byId } from './dom.js';
import { timeText } from './records.js';

const lanes = [['toHost', 'to the host'], ['toMiddleware', 'to the middleware'], ['callback', 'callbacks']];
const left = 136; // where time begins, beside the names of the lanes
const right = 12;
const laneHeight = 26;
const top = 22;
const shortest = 0.002; // seconds
const step = 0.5; // of the view, for the buttons
const near = 6; // pixels

let rows = () => [];
let reveal;
let chooseTime; // of a capture file
let cursor; // seconds; of a capture file
let view; // {from, to} in seconds; nothing for all
let isDirty = false;

const canvas = byId('timeline-canvas');

function span() {
  const all = rows();
  const from = all[0]?.time ?? 0;
  return view ?? { from, to: Math.max(from + 0.01, all.at(-1)?.time ?? 0) };
}

function firstFrom(all, time) {
  let low = 0;
  let high = all.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (all[middle].time < time) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

/// What is worth a line through all lanes; nothing for the others.
function landmark(row) {
  if (row.name === 'IPC_BROWSER_CONFIG') {
    return ['configuration', 'soft'];
  }
  if (row.isEvent && row.name.endsWith(' disconnected')) {
    return row.detail.includes('closed by the client') ? ['stop', 'wait'] : ['drop', 'bad'];
  }
  return row.isEvent && row.name.endsWith(' connected') ? ['connect', 'good'] : undefined;
}

/// 1, 2 or 5 times a power of ten, so that a few fit.
function tickOf(duration) {
  const rough = 10 ** Math.floor(Math.log10(duration / 4));
  return [1, 2, 5, 10].map((factor) => factor * rough).find((tick) => duration / tick <= 7);
}

function drawTicks(context, { from, to }, x, colour, height) {
  const tick = tickOf(to - from);
  for (let i = Math.ceil(from / tick); i * tick < to; i += 1) {
    const time = Math.round(i * tick * 1e6) / 1e6;
    context.fillStyle = colour('line');
    context.fillRect(x(time), top - 4, 1, height - top);
    context.fillStyle = colour('soft');
    context.fillText(tick >= 1 ? timeText(time).slice(0, 8) : timeText(time), x(time) + 3, 12);
  }
}

function drawLanes(context, width, colour) {
  lanes.forEach(([way, name], i) => {
    context.fillStyle = colour(i % 2 ? 'surface' : 'sunk');
    context.fillRect(0, top + i * laneHeight, width, laneHeight);
    context.fillStyle = colour(way);
    context.fillText(name, 12, top + i * laneHeight + 17);
  });
}

/// @return how many there are of each landmark
function drawRecords(context, all, x, range, colour, width, height) {
  const laneOf = new Map(lanes.map(([way], i) => [way, i]));
  const lastAt = lanes.map(() => -1); // a mark for each picture element, however many are there
  const landmarks = new Map();
  let lastLabel = -Infinity;
  for (let i = firstFrom(all, range.from); i < all.length && all[i].time <= range.to; i += 1) {
    const at = Math.round(x(all[i].time));
    const lane = laneOf.get(all[i].way);
    if (lane !== undefined && lastAt[lane] !== at) {
      lastAt[lane] = at;
      context.fillStyle = colour(all[i].way);
      context.fillRect(at - 1, top + lane * laneHeight + 4, 2, laneHeight - 8);
    }
    const mark = landmark(all[i]);
    if (mark) {
      landmarks.set(mark[0], (landmarks.get(mark[0]) ?? 0) + 1);
      context.fillStyle = colour(mark[1]);
      context.fillRect(at, top, 1, height - top);
      if (at - lastLabel > 90) {
        context.textAlign = at > width - 90 ? 'right' : 'left';
        context.fillText(mark[0], at + (at > width - 90 ? -4 : 4), height - 5);
        lastLabel = at;
      }
    }
  }
  return landmarks;
}

function drawCursor(context, at, colour, height) {
  context.fillStyle = colour('accent');
  context.fillRect(at - 1, top - 4, 2, height - top);
  context.beginPath();
  context.arc(at, top - 5, 5, 0, 2 * Math.PI);
  context.fill();
}

function draw() {
  isDirty = false;
  const ratio = window.devicePixelRatio;
  const [width, height] = [canvas.clientWidth, canvas.clientHeight];
  if (width === 0) {
    return;
  }
  canvas.width = width * ratio;
  canvas.height = height * ratio;
  const context = canvas.getContext('2d');
  context.scale(ratio, ratio);
  const style = getComputedStyle(canvas);
  const names = { toHost: 'to-host', toMiddleware: 'to-middleware', callback: 'call' };
  const colour = (name) => style.getPropertyValue(`--${names[name] ?? name}`);
  context.font = `12px ${style.fontFamily}`;
  const range = span();
  const x = (time) => left + ((time - range.from) / (range.to - range.from)) * (width - left - right);
  drawLanes(context, width, colour);
  drawTicks(context, range, x, colour, height);
  const all = rows();
  const landmarks = drawRecords(context, all, x, range, colour, width, height);
  if (cursor !== undefined && cursor >= range.from && cursor <= range.to) {
    drawCursor(context, x(cursor), colour, height);
  }
  const count = firstFrom(all, range.to) - firstFrom(all, range.from);
  const marked = [...landmarks].map(([name, times]) => `, ${times} ${name}`).join('');
  canvas.setAttribute('aria-label', `${count} records from ${timeText(range.from)} to ${timeText(range.to)}${marked}`);
}

/// Ten times a second are enough for a picture that moves by itself.
export function timelineChanged() {
  if (!isDirty && !byId('timeline').hidden) {
    isDirty = true;
    setTimeout(() => requestAnimationFrame(draw), 100);
  }
}

/// @param centre  what stays where it is, 0 at the left and 1 at the right
function zoom(factor, centre = 0.5) {
  const { from, to } = span();
  const duration = Math.max(shortest, (to - from) * factor);
  const start = from + centre * ((to - from) - duration);
  view = { from: start, to: start + duration };
  draw();
}

function move(share) {
  const { from, to } = span();
  view = { from: from + share * (to - from), to: to + share * (to - from) };
  draw();
}

/// 0 where time begins, 1 at its end
function shareAt({ offsetX }) {
  return (offsetX - left) / (canvas.clientWidth - left - right);
}

function revealAt(event) {
  const { from, to } = span();
  const all = rows();
  const time = from + shareAt(event) * (to - from);
  const lane = lanes[Math.floor((event.offsetY - top) / laneHeight)]?.[0];
  const reach = (near * (to - from)) / (canvas.clientWidth - left - right);
  const close = all.slice(firstFrom(all, time - reach), firstFrom(all, time + reach)).filter(({ way }) => way === lane);
  close.sort((one, other) => Math.abs(one.time - time) - Math.abs(other.time - time));
  if (close.length > 0) {
    reveal(close[0]);
  } else {
    chooseTime?.(time);
  }
}

/// Marks a time; the view follows it.
export function setCursor(time) {
  cursor = time;
  if (view && (time < view.from || time > view.to)) {
    const half = (view.to - view.from) / 2;
    view = { from: time - half, to: time + half };
  }
  timelineChanged();
}

export function showTimeline() {
  byId('timeline').hidden = false;
  byId('show-timeline').setAttribute('aria-pressed', 'true');
  draw();
}

/// @param onTime  called with a time where nothing is; nothing but for a capture file
export function startTimeline(allRows, revealRow, onTime) {
  rows = allRows;
  reveal = revealRow;
  chooseTime = onTime;
  byId('show-timeline').addEventListener('click', () => {
    const isShown = byId('timeline').hidden;
    byId('timeline').hidden = !isShown;
    byId('show-timeline').setAttribute('aria-pressed', isShown);
    draw();
  });
  const actions = { 'zoom-in': () => zoom(step), 'zoom-out': () => zoom(1 / step), earlier: () => move(-step),
    later: () => move(step), 'show-all': () => { view = undefined; draw(); } };
  for (const [id, action] of Object.entries(actions)) {
    byId(id).addEventListener('click', action);
  }
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    zoom(event.deltaY > 0 ? 1.25 : 0.8, shareAt(event));
  });
  let dragged = 0;
  canvas.addEventListener('pointerdown', ({ pointerId }) => {
    dragged = 0;
    canvas.setPointerCapture(pointerId);
  });
  canvas.addEventListener('pointermove', ({ pointerId, movementX }) => {
    if (canvas.hasPointerCapture(pointerId) && movementX !== 0) {
      dragged += Math.abs(movementX);
      move(-movementX / (canvas.clientWidth - left - right));
    }
  });
  canvas.addEventListener('click', (event) => dragged < near && revealAt(event));
  new ResizeObserver(timelineChanged).observe(canvas);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', timelineChanged);
}
