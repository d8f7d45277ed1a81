// Takes the pictures of README.md and docs/zelobox.md.
import { mkdir, writeFile } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Host, Middleware, launch, open, waitForLink } from './support.js';

const root = join(dirname(fileURLToPath(import.meta.url)), '..', '..', '..');
const images = join(root, 'docs', 'images');
const stills = join(process.env.ZELO_BUILD ?? join(root, 'build'), 'browser', 'click'); // of the animated picture
const views = {
  'page-light': { viewport: { width: 1440, height: 900 } },
  'page-dark': { viewport: { width: 1440, height: 900 }, colorScheme: 'dark' },
  'page-phone': { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true },
};

const row = (page, name) => page.locator('#rows .frame', { hasText: name }).last();

/// Nothing moves, nothing has the focus, all is scrolled to its start.
async function settle(page) {
  await page.mouse.move(720, 3);
  await page.evaluate(() => {
    document.activeElement.blur();
    document.getElementById('main').scrollTo(0, 0);
    window.scrollTo(0, 0);
  });
  await page.evaluate(() => Promise.all(document.getAnimations().map((animation) => animation.finished)));
}

async function arrange(page, host) {
  await host.call('video 1060 90 800 450');
  await page.locator('#video', { hasText: '800 × 450' }).waitFor();
  await page.getByRole('slider', { name: 'Volume' }).fill('35');
  for (const name of ['Up', 'Home', 'Return']) {
    await page.locator(`[data-key="${name}"]`).click();
    await page.getByText(`${name}: sent to 1 client`).waitFor();
  }
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  await page.locator('.dump').waitFor();
  await settle(page);
}

async function save(page, name) {
  await page.screenshot({ path: join(images, `${name}.png`) });
  console.log(`docs/images/${name}.png`);
}

/// What a middleware's page has recorded, as a file's page shows it.
async function takeCapture(browser, trace) {
  const file = join(stills, 'trace.pcapng');
  await writeFile(file, trace);
  const middleware = await Middleware.start(0, '--file', file);
  const page = await open(browser, middleware, { viewport: { width: 1440, height: 900 } });
  await row(page, 'IPC_VOLUME').locator('.line').click();
  await page.locator('.dump').waitFor();
  await settle(page);
  await save(page, 'page-capture');
  await page.context().close();
  await middleware.stop();
}

async function takePicture(browser, name, view) {
  const middleware = await Middleware.start();
  const host = await Host.start();
  const page = await open(browser, middleware, view);
  await waitForLink(page, '1 client connected');
  await arrange(page, host);
  await save(page, name);
  if (name === 'page-light') {
    const trace = await fetch(`${middleware.url}api/trace?format=pcapng`);
    await takeCapture(browser, Buffer.from(await trace.arrayBuffer()));
  }
  await page.context().close();
  await host.stop();
  await middleware.stop();
}

/// Where the pointer is: no picture shows it by itself.
function drawPointer([x, y]) {
  let pointer = document.getElementById('pointer');
  if (!pointer) {
    const make = (name, attributes) => {
      const made = document.createElementNS('http://www.w3.org/2000/svg', name);
      Object.entries(attributes).forEach(([key, value]) => made.setAttribute(key, value));
      return made;
    };
    pointer = make('svg', { id: 'pointer', viewBox: '0 0 24 24', width: 34, height: 34 });
    pointer.append(make('path', { d: 'M4 2v17l4.500-4 3 7 3-1.300-3-6.700h6z', fill: '#111', stroke: '#fff', 'stroke-width': 1.5 }));
    Object.assign(pointer.style, { position: 'fixed', zIndex: 99, pointerEvents: 'none' });
    document.body.append(pointer);
  }
  pointer.style.left = `${x - 5}px`;
  pointer.style.top = `${y - 2}px`;
}

/// The pictures of the animated one, and how long each is shown.
class Film {
  constructor(page) {
    this.page = page;
    this.list = '';
    this.number = 0;
    this.at = [640, 300];
  }

  async take(seconds) {
    await this.page.evaluate(drawPointer, this.at);
    const name = `${String(this.number).padStart(3, '0')}.png`;
    await this.page.screenshot({ path: join(stills, name) });
    this.list += `file '${name}'\nduration ${seconds}\n`;
    this.number += 1;
  }

  async moveTo(locator, across = 0.5) {
    const { x, y, width, height } = await locator.boundingBox();
    const [from, to] = [this.at, [x + width * across, y + height * 0.6]];
    const steps = 9;
    for (let i = 1; i <= steps; i += 1) {
      const part = (1 - Math.cos((Math.PI * i) / steps)) / 2; // slow at both ends
      this.at = [0, 1].map((axis) => from[axis] + part * (to[axis] - from[axis]));
      await this.take(0.05);
    }
  }
}

/// A click, the frame and the callback.
async function takeFilm(browser) {
  const middleware = await Middleware.start(0, '--host');
  const page = await open(browser, middleware, { viewport: { width: 1280, height: 880 }, reducedMotion: 'reduce' });
  await waitForLink(page, '1 client connected');
  await middleware.line((line) => line.includes('answers start'));
  await settle(page);
  const film = new Film(page);
  await film.take(0.8);
  for (const name of ['Return', 'Up']) {
    const key = page.locator(`[data-key="${name}"]`);
    await film.moveTo(key);
    await key.evaluate((one) => { one.style.filter = 'brightness(1.5)'; });
    await film.take(0.15);
    await key.evaluate((one) => {
      one.style.filter = '';
      one.click(); // leaves the real pointer where it hides nothing
    });
    await page.locator('#called', { hasText: `-> ${name}` }).waitFor();
    await row(page, 'IPC_REMOTE_KEY').waitFor();
    await film.take(1.6);
  }
  const frame = page.locator('#rows .toHost', { hasText: 'IPC_REMOTE_KEY' }).last();
  await film.moveTo(frame.locator('.name'), 0.6);
  await frame.locator('.line').evaluate((one) => one.click());
  await page.locator('.dump').waitFor();
  await film.take(2.4);
  film.list += `file '${String(film.number - 1).padStart(3, '0')}.png'\n`; // or the last would be shown for no time
  await writeFile(join(stills, 'list.txt'), film.list);
  await page.context().close();
  await middleware.stop();
}

await mkdir(images, { recursive: true });
await mkdir(stills, { recursive: true });
const browser = await launch();
for (const [name, view] of Object.entries(views)) {
  await takePicture(browser, name, view);
}
await takeFilm(browser);
await browser.close();
