// What can be wrong with how a page looks, for those who see it and for those who do not.
import { readFileSync } from 'node:fs';

import { packageFile } from './support.js';

const axe = readFileSync(packageFile('axe-core/axe.min.js'), 'utf8');

/// What reaches beyond the right edge of the window.
export function tooWide(page) {
  return page.evaluate(() => [...document.querySelectorAll('body *')].filter((one) => {
    const { right, width } = one.getBoundingClientRect();
    return width > 0 && right > window.innerWidth + 1 && !one.closest('.unseen, .dump, .screen, .line');
  }).map((one) => one.outerHTML.slice(0, 120)));
}

export async function violations(page) {
  await page.evaluate(axe); // as a script of the page, which its policy would refuse
  return page.evaluate(async () => (await window.axe.run()).violations.map(
    ({ id, nodes }) => `${id}: ${nodes.slice(0, 3).map(({ html, any }) => `${html.slice(0, 160)} ${any[0]?.message ?? ''}`).join('\n  ')}`));
}
