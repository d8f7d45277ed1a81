// Takes the pictures of README.md and docs/zelobox.md.
import { mkdir } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Box, Host, launch, open, waitForLink } from './support.js';

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

async function takePicture(browser, name, view) {
  const box = await Box.start();
  const host = await Host.start();
  const page = await open(browser, box, view);
  await waitForLink(page, '1 client connected');
  await arrange(page, host);
  await page.screenshot({ path: join(images, `${name}.png`) });
  console.log(`docs/images/${name}.png`);
  await page.context().close();
  await host.stop();
  await box.stop();
}

/// A click, the frame and the callback, one picture each.
async function takeStills(browser) {
  const box = await Box.start(0, '--host');
  const page = await open(browser, box, { viewport: { width: 1100, height: 700 } });
  await waitForLink(page, '1 client connected');
  await box.line((line) => line.includes('answers start'));
  let number = 0;
  const still = async () => {
    await settle(page);
    await page.screenshot({ path: join(stills, `${number}.png`) });
    number += 1;
  };
  await still();
  for (const name of ['Return', 'Up', 'Home']) {
    await page.locator(`[data-key="${name}"]`).click();
    await page.locator('#called', { hasText: `-> ${name}` }).waitFor();
    await still();
  }
  await page.locator('#rows .callback .line').last().click();
  await still();
  await page.context().close();
  await box.stop();
}

await mkdir(images, { recursive: true });
await mkdir(stills, { recursive: true });
const browser = await launch();
for (const [name, view] of Object.entries(views)) {
  await takePicture(browser, name, view);
}
await takeStills(browser);
await browser.close();
