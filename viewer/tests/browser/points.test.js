import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { decodePng } from '../helpers/png.js';
import { openBrowser, loadPage } from './browser.js';

// A scan exported with --split-point-clouds: its nodes arrive as meshes of
// points drawn at a fixed size on the screen that the user can change.
const page = process.env.QX_VIEWER_PAGES && join(process.env.QX_VIEWER_PAGES, 'pond-split.html');

let browser;
before(async () => { browser = await openBrowser(); });
after(async () => { await browser?.close(); });

// Pixels that differ from the background, read at the bottom left corner.
function drawnPixels(png) {
  const { width, height, rgba } = decodePng(png);
  const bg = rgba.subarray(4 * (height - 1) * width, 4 * (height - 1) * width + 3);
  let count = 0;
  for (let p = 0; p < width * height * 4; p += 4) {
    if (Math.abs(rgba[p] - bg[0]) + Math.abs(rgba[p + 1] - bg[1]) + Math.abs(rgba[p + 2] - bg[2]) > 12) count++;
  }
  return count;
}

test('a split point cloud is drawn, and its points grow with the size control', { skip: !page || !existsSync(page) }, async () => {
  const result = await loadPage(browser.context, page);
  assert.equal(result.error, null);
  assert.ok(result.counts.meshData >= 7, `${result.counts.meshData} meshes of points`);
  const { page: tab } = result;
  assert.equal(await tab.isVisible('#qx-points'), true);
  await tab.evaluate(() => { document.getElementById('qx-buttons').style.visibility = 'hidden'; }); // out of the count
  const pixelsAt = async (size) => {
    await tab.evaluate((value) => {
      const input = document.getElementById('qx-point-size');
      input.value = String(value);
      input.dispatchEvent(new Event('input'));
    }, size);
    await tab.waitForTimeout(300);
    return drawnPixels(await tab.screenshot());
  };
  const small = await pixelsAt(1);
  const large = await pixelsAt(9);
  await tab.close();
  assert.ok(small > 1000, `${small} pixels of points`);
  assert.ok(large > 1.5 * small, `${small} pixels at size 1, ${large} at size 9`);
});
