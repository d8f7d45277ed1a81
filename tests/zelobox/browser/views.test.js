// The page at every width and in both colour schemes, and for those who do not see it.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';

import { row, rows, scene } from './scene.js';
import { packageFile } from './support.js';

const sizes = [[320, 640], [768, 1024], [1280, 800], [1920, 1080]];
const axe = readFileSync(packageFile('axe-core/axe.min.js'), 'utf8');

/// What is open on a page that is used: a row, all that can be unfolded, a fault.
async function unfold(page) {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_BROWSER_CONFIG').locator('.line').click();
  await page.locator('.dump').waitFor();
  await page.evaluate(() => document.querySelectorAll('details').forEach((one) => { one.open = true; }));
  await page.getByRole('button', { name: 'split', exact: true }).click();
  await page.locator('#faults-badge', { hasText: 'Fault: split' }).waitFor();
}

async function violations(page) {
  await page.evaluate(axe); // as a script of the page, which its policy would refuse
  return page.evaluate(async () => (await window.axe.run()).violations.map(
    ({ id, nodes }) => `${id}: ${nodes.slice(0, 3).map(({ html, any }) => `${html.slice(0, 160)} ${any[0]?.message ?? ''}`).join('\n  ')}`));
}

for (const [width, height] of sizes) {
  for (const colorScheme of ['light', 'dark']) {
    scene(`${width} px wide and ${colorScheme}: nothing is cut off, axe finds nothing`, async ({ page }) => {
      await unfold(page);
      const tooWide = await page.evaluate(() => [...document.querySelectorAll('body *')].filter((one) => {
        const { right, width: own } = one.getBoundingClientRect();
        return own > 0 && right > window.innerWidth + 1 && !one.closest('.unseen, .dump, .screen, .line');
      }).map((one) => one.outerHTML.slice(0, 120)));
      assert.deepEqual(tooWide, []);
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
