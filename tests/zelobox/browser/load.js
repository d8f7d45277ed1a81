// Measures the page under load: its share of a core, pictures a second, how soon a burst is seen, what a long text holds
// up, and its memory.
import { loadavg } from 'node:os';

import { Flood, textFrame } from './flood.js';
import { Middleware, launch, open, waitForLink } from './support.js';

const seconds = 20;
const framesAMinute = 10000;
const burst = 20000;
const many = Number(process.env.ZELO_MANY ?? 1000000);

const browser = await launch();
const middleware = await Middleware.quiet();
const page = await open(browser, middleware);
const session = await browser.newBrowserCDPSession();
const tools = await page.context().newCDPSession(page);
const flood = await Flood.start();
await waitForLink(page, '1 client connected');

const pause = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });

/// Seconds of processor time of all that draws pages and runs their workers.
async function processorTime() {
  const { processInfo } = await session.send('SystemInfo.getProcessInfo');
  return processInfo.filter(({ type }) => type === 'renderer').reduce((sum, { cpuTime }) => sum + cpuTime, 0);
}

async function heap() {
  await tools.send('HeapProfiler.collectGarbage');
  return Math.round((await tools.send('Runtime.getHeapUsage')).usedSize / (1 << 20));
}

/// Until the last frame that was sent stands in the list.
const seen = () => page.waitForFunction((text) => document.getElementById('rows').lastElementChild?.textContent.includes(text),
  `x=${(flood.sent - 1) % 65536} `, { polling: 'raf', timeout: 60000 });

async function send() {
  const started = performance.now();
  for (let sent = 0; sent < (framesAMinute / 60) * seconds;) {
    await pause(50);
    const due = Math.floor(((performance.now() - started) / 60000) * framesAMinute) - sent;
    flood.send(due);
    sent += due;
  }
  return (performance.now() - started) / 1000;
}

/// Before pictures are counted: counting them makes more of them.
async function share() {
  const before = await processorTime();
  const duration = await send();
  const share = (100 * (await processorTime() - before)) / duration;
  await seen();
  console.log(`${framesAMinute} frames a minute: ${share.toFixed(1)} % of a core`);
}

function count() {
  window.pictures = 0;
  window.longest = 0;
  const next = () => { window.pictures += 1; requestAnimationFrame(next); };
  requestAnimationFrame(next);
  new PerformanceObserver((list) => {
    window.longest = Math.max(window.longest, ...list.getEntries().map(({ duration }) => duration));
  }).observe({ type: 'longtask' });
}

async function pictures() {
  await page.evaluate(count);
  const duration = await send();
  const [shown, longest] = await page.evaluate(() => [window.pictures, window.longest]);
  await seen();
  console.log(`${framesAMinute} frames a minute: ${(shown / duration).toFixed(0)} pictures/s, longest task ${Math.round(longest)} ms`);
}

async function inABurst() {
  await pause(1000);
  const started = performance.now();
  flood.send(burst);
  await seen();
  console.log(`a burst of ${burst} frames: visible after ${Math.round(performance.now() - started)} ms`);
}

async function longText() {
  await page.evaluate(() => { window.longest = 0; });
  const started = performance.now();
  flood.write(textFrame(44, 'long '.repeat((1 << 20) / 5)));
  await page.locator('#fact-mode', { hasText: /^long/ }).waitFor();
  flood.send(1);
  await seen();
  const duration = Math.round(performance.now() - started);
  await pause(500); // a long task is told of after its end
  console.log(`a text of 1 MiB: the frame behind it visible after ${duration} ms, longest task ` +
    `${Math.round(await page.evaluate(() => window.longest))} ms`);
}

async function allDay() {
  const before = await heap();
  for (let sent = 0; sent < many; sent += 10000) {
    flood.send(10000);
    await seen();
  }
  console.log(`${many} frames: the page's heap has ${before} MiB before and ${await heap()} MiB after`);
}

const busy = () => loadavg()[0].toFixed(1);
console.log(`load average before: ${busy()}`);
await pause(1000);
await share();
await pictures();
await inABurst();
await longText();
await allDay();
console.log(`load average after: ${busy()}`);
flood.stop();
await browser.close();
await middleware.stop('SIGKILL');
