// Takes the pictures of docs/zelobox.md.
import { mkdir } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Box, Host, launch, open, waitForLink } from './support.js';

const images = join(dirname(fileURLToPath(import.meta.url)), '..', '..', '..', 'docs', 'images');
const views = {
  'page-light': { viewport: { width: 1440, height: 940 } },
  'page-dark': { viewport: { width: 1440, height: 940 }, colorScheme: 'dark' },
  'page-phone': { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true },
};

async function arrange(page, host) {
  await waitForLink(page, '1 client connected');
  await host.call('video 1060 90 800 450');
  await page.locator('#video', { hasText: '800 × 450' }).waitFor();
  for (const name of ['Up', 'Home', 'Return']) {
    await page.locator(`[data-key="${name}"]`).click();
    await page.getByText(`${name}: sent to 1 client`).waitFor();
  }
  await page.getByRole('slider', { name: 'Volume' }).fill('35');
  await page.locator('#osd.shown').waitFor();
  await page.locator('#rows tr', { hasText: 'IPC_REMOTE_KEY' }).first().getByRole('button').click();
  await page.evaluate(() => {
    document.activeElement.blur();
    window.scrollTo(0, 0);
  });
  await page.evaluate(() => Promise.all(document.getAnimations().map((animation) => animation.finished)));
}

await mkdir(images, { recursive: true });
const browser = await launch();
for (const [name, view] of Object.entries(views)) {
  const box = await Box.start();
  const host = await Host.start();
  const page = await open(browser, box, view);
  await arrange(page, host);
  await page.screenshot({ path: join(images, `${name}.png`) });
  console.log(`docs/images/${name}.png`);
  await page.context().close();
  await host.stop();
  await box.stop();
}
await browser.close();
