import assert from 'node:assert/strict';
import { readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { sampleScene } from '../helpers/scenes.js';
import { decodePng } from '../helpers/png.js';
import { zstdAvailable } from '../helpers/StreamWriter.js';
import { openBrowser, loadPage } from './browser.js';
import { RESULTS, writePage } from './pages.js';

let browser;
before(async () => { browser = await openBrowser(); });
after(async () => { await browser?.close(); });

// Pixels of the model on the bottom row and the side columns below the
// panels: a fitted camera leaves them background.
function edgePixels(png) {
  const { width, height, rgba } = decodePng(png);
  const bg = rgba.subarray(4 * (height - 1) * width, 4 * (height - 1) * width + 3);
  const differs = (x, y) => {
    const p = 4 * (y * width + x);
    return Math.abs(rgba[p] - bg[0]) + Math.abs(rgba[p + 1] - bg[1]) + Math.abs(rgba[p + 2] - bg[2]) > 12;
  };
  let count = 0;
  for (let x = 0; x < width; x++) count += differs(x, height - 1);
  for (let y = 80; y < height; y++) count += differs(0, y) + differs(width - 1, y);
  return count;
}

// Share of the pixels in `rect` whose colour differs from the background,
// which is read at the bottom left corner of the screenshot.
function drawnShare(png, rect) {
  const { width, height, rgba } = decodePng(png);
  const bg = rgba.subarray(4 * (height - 1) * width, 4 * (height - 1) * width + 3);
  let differing = 0;
  let total = 0;
  for (let y = Math.max(0, Math.floor(rect.y)); y < Math.min(height, rect.y + rect.height); y++) {
    for (let x = Math.max(0, Math.floor(rect.x)); x < Math.min(width, rect.x + rect.width); x++) {
      const p = 4 * (y * width + x);
      total++;
      if (Math.abs(rgba[p] - bg[0]) + Math.abs(rgba[p + 1] - bg[1]) + Math.abs(rgba[p + 2] - bg[2]) > 12) differing++;
    }
  }
  return total ? differing / total : 0;
}

async function checkModelPage(name, path) {
  const result = await loadPage(browser.context, path);
  const png = await result.page.screenshot({ path: join(RESULTS, `${name}.png`) });
  await result.page.close();
  assert.equal(result.error, null, `viewer stopped: ${result.error}`);
  assert.deepEqual(result.consoleErrors, []);
  const { x, y, width, height } = result.rect ?? {};
  assert.ok(width > 0 && height > 0, 'the scene has a box');
  assert.ok(x >= 0 && y >= 0 && x + width <= 800 && y + height <= 600, 'the camera shows the whole scene box');
  assert.equal(edgePixels(png), 0, 'the model reaches the edge of the view: the camera is not fitted');
  const share = drawnShare(png, result.rect);
  // A line drawing covers little of its box.
  assert.ok(share > 0.015, `only ${(share * 100).toFixed(1)}% of the scene box is drawn`);
  const t = result.times;
  writeFileSync(join(RESULTS, `${name}.timing.json`), JSON.stringify({ ...t, heap: result.heap, counts: result.counts }, null, 1));
  return result;
}

async function checkStoppedPage(name, path, message) {
  const result = await loadPage(browser.context, path);
  await result.page.screenshot({ path: join(RESULTS, `${name}.png`) });
  await result.page.close();
  assert.equal(result.ready, false);
  assert.match(result.error, message);
  assert.ok(result.errorShown, 'the message is shown on the page');
}

test('synthetic scenes are drawn', async () => {
  const plain = await checkModelPage('sample-plain', writePage('sample-plain', sampleScene()));
  assert.equal(plain.counts.instances, 5);
  assert.equal(plain.counts.meshData, 3);
  await checkModelPage('sample-lz4', writePage('sample-lz4', sampleScene({ compressed: 0 })));
  if (zstdAvailable()) await checkModelPage('sample-zstd', writePage('sample-zstd', sampleScene({ compressed: 1 })));
  // Without the scene box record the camera fits what was drawn.
  const noBounds = sampleScene();
  const view = new DataView(noBounds.buffer);
  const at = noBounds.findIndex((_, i) => i % 4 === 0 && view.getUint32(i, true) === 66);
  view.setUint32(at, 109, true); // the 32-byte box becomes a missing-key report and a pass end
  view.setUint32(at + 16, 84, true);
  await checkModelPage('sample-no-bounds', writePage('sample-no-bounds', noBounds));
});

test('bad pages stop with a message', async () => {
  const good = sampleScene();
  const unknown = Uint8Array.from(good);
  new DataView(unknown.buffer).setUint32(good.length - 16, 0x77777777, true);
  await checkStoppedPage('unknown-tag', writePage('unknown-tag', unknown), /unknown record tag/);
  await checkStoppedPage('truncated', writePage('truncated', good.subarray(0, good.length - 100)), /cut short/);
  await checkStoppedPage('no-data', writePage('no-data', new Uint8Array(0)), /no model data/);
  // A page whose viewer script was damaged on the way.
  const damaged = writePage('damaged-viewer', good);
  const html = readFileSync(damaged, 'utf8').replace(/(id="qx-viewer-code"[^>]*>)[^<]{40}/, '$1' + 'A'.repeat(40));
  writeFileSync(damaged, html);
  await checkStoppedPage('damaged-viewer', damaged, /can't start the viewer/);
});

// Pages exported by the tool, from a directory named in QX_VIEWER_PAGES.
const exported = process.env.QX_VIEWER_PAGES;
if (exported) {
  for (const file of readdirSync(exported).filter((f) => f.endsWith('.html')).sort()) {
    test(`exported page ${file} is drawn`, async () => {
      await checkModelPage(file.replace(/\.html$/, ''), join(exported, file));
    });
  }
}
