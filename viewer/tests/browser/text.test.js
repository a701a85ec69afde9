import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { decodePng } from '../helpers/png.js';
import { openBrowser, loadPage } from './browser.js';
import { RESULTS } from './pages.js';

// The demo page from the directory named in QX_VIEWER_PAGES: its title
// "qx demo scene" lies on the ground in front of everything else, so seen
// from above it is the lowest thing drawn, in the title's dark blue.
const exported = process.env.QX_VIEWER_PAGES;
const demo = exported && join(exported, 'demo.html');

let browser;
before(async () => { if (demo && existsSync(demo)) browser = await openBrowser(); });
after(async () => { await browser?.close(); });

// Drawn pixels of the lowest `band` rows that hold any, with how many of
// them are blue like the title.
function lowestBand(png, band) {
  const { width, height, rgba } = decodePng(png);
  const bg = rgba.subarray(4 * (height - 1) * width, 4 * (height - 1) * width + 3);
  const at = (x, y) => rgba.subarray(4 * (y * width + x), 4 * (y * width + x) + 3);
  const drawn = ([r, g, b]) => Math.abs(r - bg[0]) + Math.abs(g - bg[1]) + Math.abs(b - bg[2]) > 12;
  let bottom = -1;
  for (let y = height - 1; y >= 0 && bottom < 0; y--) {
    for (let x = 0; x < width; x++) if (drawn(at(x, y))) { bottom = y; break; }
  }
  let count = 0; let blue = 0; let left = width; let right = 0;
  for (let y = Math.max(0, bottom - band + 1); y <= bottom; y++) {
    for (let x = 0; x < width; x++) {
      const p = at(x, y);
      if (!drawn(p)) continue;
      count++;
      if (p[2] > p[0] + 40 && p[2] > p[1] + 20) blue++;
      left = Math.min(left, x); right = Math.max(right, x);
    }
  }
  return { count, blue, span: right - left };
}

test('the demo page shows its title as text', { skip: !(demo && existsSync(demo)) }, async () => {
  const result = await loadPage(browser.context, demo);
  const png = await result.page.screenshot({ path: join(RESULTS, 'demo-text.png') });
  await result.page.close();
  assert.equal(result.error, null, `viewer stopped: ${result.error}`);
  const band = lowestBand(png, 40);
  assert.ok(band.count > 150, `only ${band.count} pixels drawn at the bottom of the scene`);
  assert.ok(band.blue > 0.6 * band.count, `${band.blue} of ${band.count} pixels there have the title's colour`);
  assert.ok(band.span > 80, `the title is ${band.span} pixels wide`);
});
