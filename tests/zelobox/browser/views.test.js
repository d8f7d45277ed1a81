// The page at every width and in both colour schemes, and for those who do not see it.
import assert from 'node:assert/strict';

import { tooWide, violations } from './looks.js';
import { row, rows, scene } from './scene.js';

const sizes = [[320, 640], [768, 1024], [1280, 800], [1920, 1080]];

/// What is open on a page that is used: a row, all that can be unfolded, a fault.
async function unfold(page) {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_BROWSER_CONFIG').locator('.line').click();
  await page.locator('.dump').waitFor();
  await page.evaluate(() => document.querySelectorAll('details').forEach((one) => { one.open = true; }));
  await page.getByRole('button', { name: 'split', exact: true }).click();
  await page.locator('#faults-badge', { hasText: 'Fault: split' }).waitFor();
}

for (const [width, height] of sizes) {
  for (const colorScheme of ['light', 'dark']) {
    scene(`${width} px wide and ${colorScheme}: nothing is cut off, axe finds nothing`, async ({ page }) => {
      await unfold(page);
      assert.deepEqual(await tooWide(page), []);
      assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
      const detail = await rows(page).first().locator('.detail').boundingBox();
      assert.ok(detail.width >= (width < 700 ? 200 : 240), `the fields have ${detail.width} px`);
      assert.deepEqual(await violations(page), []);
    }, { viewport: { width, height }, colorScheme });
  }
}

scene('the height of the frames is changed by the keyboard, and kept', async ({ page }) => {
  const height = () => page.locator('#frames').evaluate((one) => one.offsetHeight);
  const before = await height();
  await page.getByRole('separator', { name: 'Height of the frames' }).focus();
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('ArrowUp');
  const after = await height();
  assert.ok(after > before + 30, `${before} ${after}`);
  await page.reload();
  assert.equal(await height(), after);
});
