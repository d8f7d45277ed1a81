// The panel of frames: one line each, the latest last.
//
// The list follows the latest as long as its end is in view and nobody reads: with the pointer on a row, an open row or
// a selection, what is in view stays, and a button says how many have come since.
import { byId, element, icon } from './dom.js';
import { detailOf } from './detail.js';
import { Records, filterFor, timeText } from './records.js';
import { startTimeline, timelineChanged } from './timeline.js';
import { VirtualList } from './virtual-list.js';

const wayNames = { toHost: 'to the host', toMiddleware: 'to the middleware', callback: 'callback' };

const records = new Records();
const connections = new Set();
let list;
let isWanted = () => true;
let isFiltered = false;
let handlers;
let isHeld = false; // by the button
let isPointed = false;
let wasAtEnd = true; // where the list was scrolled to, before anything was added
let news = 0;
let isDirty = false;
let current; // row, of a capture file

const scroller = byId('table-scroll');

/// The line of a row that goes this way, but for what differs from row to row.
function lineTemplate(name) {
  const way = element('span', { className: 'way' });
  if (name) {
    way.append(icon(name), element('span', { textContent: ` ${wayNames[name]} ` }), element('small', { textContent: ' ' }));
  }
  const open = element('button', { type: 'button', className: 'open', tabIndex: -1 });
  open.setAttribute('aria-expanded', 'false');
  const text = (className) => element('span', { className, textContent: ' ' });
  return element('div', { className: 'line' }, open, text('time'), way, text('name'), text('detail'), text('size'));
}

const lineTemplates = Object.fromEntries(['', ...Object.keys(wayNames)].map((name) => [name, lineTemplate(name)]));

/// Copied and filled: making it anew takes several times as long.
function lineOf(row) {
  const line = lineTemplates[row.way].cloneNode(true);
  const [open, time, way, name, detail, size] = line.children;
  open.ariaLabel = `Details of ${row.name}`;
  time.firstChild.data = timeText(row.time);
  if (row.way) {
    way.lastChild.firstChild.data = row.connection ?? '';
  }
  name.firstChild.data = row.name;
  detail.firstChild.data = row.detail;
  size.firstChild.data = row.size ? `${row.size} B` : '';
  return line;
}

function showOpen(made, row, isOpen) {
  made.classList.toggle('is-open', isOpen);
  made.querySelector('.open').setAttribute('aria-expanded', isOpen);
  if (isOpen) {
    made.append(detailOf(JSON.parse(row.line), handlers));
  } else {
    made.querySelector('.body')?.remove();
  }
}

function makeRow(row, isOpen) {
  const made = element('div', { className: `frame ${row.way || 'event'}` }, lineOf(row));
  made.setAttribute('role', 'listitem');
  made.dataset.serial = row.serial;
  if (row === current) {
    made.setAttribute('aria-current', 'true');
  }
  if (row.isEvent || row.line === '') {
    made.querySelector('.open').remove();
  } else if (isOpen) {
    showOpen(made, row, true);
  }
  return made;
}

function rowOf(made) {
  const row = list.items[list.indexOf(made.number)];
  return row?.number === made.number ? row : undefined;
}

/// What an opened row shows must not lie below the view; its line stays in it.
function showBelow(row) {
  const offset = list.offsetOf(list.indexOf(row.number));
  const hidden = offset + list.rowHeight + list.extras.get(row) - (list.top + list.viewHeight);
  if (hidden > 0) {
    wasAtEnd = false;
    list.scrollTo(Math.min(list.top + hidden, offset));
    list.render();
  }
}

function toggle(made) {
  const row = rowOf(made);
  if (row && made.querySelector('.open')) {
    showOpen(made, row, !list.isOpen(row));
    list.setOpen(row, !list.isOpen(row));
    if (list.isOpen(row)) {
      showBelow(row);
    }
  }
}

function isRead() {
  const selection = document.getSelection();
  const isSelected = selection !== null && !selection.isCollapsed && selection.containsNode(byId('rows'), true);
  const hasFocus = byId('rows').contains(document.activeElement);
  const openInView = [...list.extras.keys()].some((row) => list.elements.has(row));
  return isHeld || isPointed || isSelected || hasFocus || openInView;
}

function showNews() {
  byId('news').hidden = news === 0;
  byId('news-count').textContent = news.toLocaleString('en');
}

function showCount() {
  const all = records.rows.length.toLocaleString('en');
  byId('empty').hidden = records.rows.length !== 0;
  byId('count').textContent = records.rows.length === 0 ? '' :
    (isFiltered ? `${list.items.length.toLocaleString('en')} of ${all} shown` : `${all} shown`) + (isHeld ? '; the list is paused' : '');
}

function followOrStay() {
  if (wasAtEnd && !isRead()) {
    list.scrollTo(list.end);
    news = 0;
  }
  showNews();
}

/// However many come at once, the list is drawn once a picture.
function draw() {
  isDirty = false;
  list.forgetBefore(records.forgetOldest());
  list.measure();
  followOrStay();
  list.render();
  showCount();
  timelineChanged();
}

function drawSoon() {
  if (!isDirty) {
    isDirty = true;
    requestAnimationFrame(draw);
  }
}

function addConnection({ connection }) {
  if (connection !== undefined && !connections.has(connection)) {
    connections.add(connection);
    byId('connection').append(element('option', { value: connection, textContent: `connection ${connection}` }));
    while (byId('connection').length > 200) {
      byId('connection').remove(1);
    }
  }
}

export function addRecords(added) {
  for (const record of added) {
    const row = records.add(record);
    addConnection(row);
    if (isWanted(row)) {
      list.items.push(row);
      news += 1;
    }
  }
  drawSoon();
}

export const allRecords = () => records.rows;

export function clearRecords() {
  records.clear();
  connections.clear();
  byId('connection').length = 1;
  list.extras.clear();
  wasAtEnd = true;
  applyFilter();
}

/// Marks the record and scrolls to it, if it is not in view; one that the filter leaves out stays out.
///
/// @return its row
export function setCurrent(serial) {
  draw(); // what has been added
  list.elements.get(current)?.removeAttribute('aria-current');
  current = records.rows[serial - (records.rows[0]?.serial ?? 0)];
  const index = current ? list.indexOf(current.number) : -1;
  if (list.items[index] === current) {
    const offset = list.offsetOf(index);
    if (offset < list.top || offset + list.rowHeight > list.top + list.viewHeight) {
      wasAtEnd = false;
      list.scrollTo(offset - list.viewHeight / 2);
      list.render();
    }
    list.elements.get(current)?.setAttribute('aria-current', 'true');
  }
  return current;
}

function applyFilter() {
  const filter = { text: byId('filter').value, way: byId('way').value, connection: byId('connection').value };
  isFiltered = Object.values(filter).some((value) => value.trim() !== '');
  isWanted = filterFor(filter);
  news = 0;
  list.setItems(records.rows.filter(isWanted));
  draw();
}

function goToEnd() {
  wasAtEnd = true;
  isPointed = false;
  document.getSelection()?.removeAllRanges();
  list.scrollTo(list.end);
  list.render();
  news = 0;
  showNews();
  scroller.focus({ preventScroll: true });
}

/// Scrolls to a row and opens it; one that the filter leaves out stays out.
function reveal(row) {
  const index = list.indexOf(row.number);
  if (list.items[index] !== row) {
    return;
  }
  wasAtEnd = false;
  list.scrollTo(list.offsetOf(index) - list.viewHeight / 3);
  list.render();
  const made = list.elements.get(row);
  if (!list.isOpen(row)) {
    toggle(made);
  }
  handlers.onPick?.(row);
}

function moveFocus(made, step) {
  const row = made ? rowOf(made) : undefined;
  const from = row ? list.indexOf(row.number) : list.indexAt(list.top + list.viewHeight - 1) - Math.sign(step);
  const index = Math.max(0, Math.min(list.items.length - 1, from + step));
  if (list.items.length === 0) {
    return;
  }
  const offset = list.offsetOf(index);
  if (offset < list.top) {
    list.scrollTo(offset);
  } else if (offset + list.rowHeight > list.top + list.viewHeight) {
    list.scrollTo(offset + list.rowHeight - list.viewHeight);
  }
  list.render();
  const next = list.elements.get(list.items[index]);
  const target = next.querySelector('.open') ?? next;
  target.tabIndex = -1;
  target.focus({ preventScroll: true });
}

function onKey(event) {
  const made = event.target.closest('.frame');
  const isOnRow = event.target === scroller || event.target === made || event.target.matches('.open');
  const page = Math.max(1, Math.floor(list.viewHeight / list.rowHeight) - 1);
  const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
  if (isOnRow && event.key in steps && !event.ctrlKey && !event.altKey) {
    event.preventDefault();
    moveFocus(made, steps[event.key]);
  } else if (event.key === 'Escape' && made) {
    scroller.focus({ preventScroll: true });
  }
}

function watchReader() {
  scroller.addEventListener('scroll', () => {
    if (Math.abs(scroller.scrollTop - list.top) < 1) {
      return; // the list's own
    }
    list.top = scroller.scrollTop;
    wasAtEnd = list.top >= list.end - 1;
    news = wasAtEnd ? 0 : news;
    showNews();
    list.render();
  }, { passive: true });
  scroller.addEventListener('wheel', ({ deltaY }) => { wasAtEnd = wasAtEnd && deltaY >= 0; }, { passive: true });
  byId('rows').addEventListener('pointermove', ({ pointerType }) => { isPointed = pointerType === 'mouse'; });
  scroller.addEventListener('pointerleave', () => {
    isPointed = false;
    drawSoon();
  });
  scroller.addEventListener('focusout', drawSoon);
  document.addEventListener('selectionchange', drawSoon);
  list.onResized = followOrStay;
}

export function startFrames(rowHandlers) {
  handlers = rowHandlers;
  list = new VirtualList(scroller, byId('rows'), makeRow);
  watchReader();
  for (const [id, event] of [['filter', 'input'], ['way', 'change'], ['connection', 'change']]) {
    byId(id).addEventListener(event, applyFilter);
  }
  byId('rows').addEventListener('click', ({ target }) => {
    const line = target.closest('.line');
    if (line && document.getSelection().isCollapsed) {
      handlers.onPick?.(rowOf(line.parentElement));
      toggle(line.parentElement);
    }
  });
  startTimeline(() => records.rows, reveal, handlers.onTime);
  scroller.addEventListener('keydown', onKey);
  byId('news').addEventListener('click', goToEnd);
  byId('hold').addEventListener('click', () => {
    isHeld = !isHeld;
    byId('hold').setAttribute('aria-pressed', isHeld);
    draw();
  });
  byId('clear').addEventListener('click', clearRecords);
}
