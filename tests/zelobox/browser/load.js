// Measures the page under load: pictures a second, its share of a core, how soon a burst is seen, and its memory.
import { Flood } from './flood.js';
import { Box, launch, open, waitForLink } from './support.js';

const seconds = 20;
const framesAMinute = 10000;
const burst = 20000;
const many = Number(process.env.ZELO_MANY ?? 1000000);

const browser = await launch();
const box = await Box.start(0, '--quiet');
const page = await open(browser, box);
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

async function steady() {
  await page.evaluate(() => {
    window.pictures = 0;
    window.longest = 0;
    const count = () => { window.pictures += 1; requestAnimationFrame(count); };
    requestAnimationFrame(count);
    new PerformanceObserver((list) => {
      window.longest = Math.max(window.longest, ...list.getEntries().map(({ duration }) => duration));
    }).observe({ type: 'longtask' });
  });
  const [started, before] = [performance.now(), await processorTime()];
  const pictures = await page.evaluate(() => window.pictures);
  for (let sent = 0; sent < (framesAMinute / 60) * seconds;) {
    await pause(50);
    const due = Math.floor(((performance.now() - started) / 60000) * framesAMinute) - sent;
    flood.send(due);
    sent += due;
  }
  const duration = (performance.now() - started) / 1000;
  const shown = await page.evaluate(() => [window.pictures, window.longest]);
  const share = (100 * (await processorTime() - before)) / duration;
  await seen();
  console.log(`${framesAMinute} frames a minute: ${Math.round((shown[0] - pictures) / duration)} pictures/s, ` +
    `${share.toFixed(1)} % of a core, longest task ${Math.round(shown[1])} ms`);
}

async function inABurst() {
  await pause(1000);
  const started = performance.now();
  flood.send(burst);
  await seen();
  console.log(`a burst of ${burst} frames: visible after ${Math.round(performance.now() - started)} ms`);
}

async function allDay() {
  const before = await heap();
  for (let sent = 0; sent < many; sent += 10000) {
    flood.send(10000);
    await seen();
  }
  console.log(`${many} frames: the page's heap has ${before} MiB before and ${await heap()} MiB after`);
}

await pause(1000);
await steady();
await inABurst();
await allDay();
flood.stop();
await browser.close();
await box.stop();
