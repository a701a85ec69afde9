import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { decodePng } from '../helpers/png.js';
import { openBrowser, loadPage } from './browser.js';
import { RESULTS } from './pages.js';

// Exported pages of files that once came out wrong, from the directory
// named in QX_VIEWER_PAGES: what each must show.
const exported = process.env.QX_VIEWER_PAGES;

let browser;
before(async () => { if (exported) browser = await openBrowser(); });
after(async () => { await browser?.close(); });

// The screenshot of a page that loaded without errors, with a mask of the
// pixels that differ from the background (read at the bottom left corner).
async function shoot(name) {
  const result = await loadPage(browser.context, join(exported, `${name}.html`));
  const png = await result.page.screenshot({ path: join(RESULTS, `case-${name}.png`) });
  await result.page.close();
  assert.equal(result.error, null, `viewer stopped: ${result.error}`);
  assert.deepEqual(result.consoleErrors, []);
  const { width, height, rgba } = decodePng(png);
  const bg = rgba.subarray(4 * (height - 1) * width, 4 * (height - 1) * width + 3);
  const drawn = new Uint8Array(width * height);
  for (let i = 0; i < width * height; i++) {
    const d = Math.abs(rgba[4 * i] - bg[0]) + Math.abs(rgba[4 * i + 1] - bg[1]) + Math.abs(rgba[4 * i + 2] - bg[2]);
    drawn[i] = d > 12 ? 1 : 0;
  }
  return { width, height, rgba, drawn, rect: result.rect };
}

// Number of separate blobs of drawn pixels, 4-connected, at least `min` pixels each.
function blobs({ width, height, drawn }, min = 20) {
  const seen = new Uint8Array(width * height);
  let count = 0;
  for (let start = 0; start < width * height; start++) {
    if (!drawn[start] || seen[start]) continue;
    let size = 0;
    const stack = [start];
    seen[start] = 1;
    while (stack.length) {
      const i = stack.pop();
      size++;
      const x = i % width;
      for (const j of [i - width, i + width, x > 0 ? i - 1 : -1, x < width - 1 ? i + 1 : -1]) {
        if (j >= 0 && j < width * height && drawn[j] && !seen[j]) { seen[j] = 1; stack.push(j); }
      }
    }
    if (size >= min) count++;
  }
  return count;
}

function drawnPixels({ width, height, rgba, drawn }) {
  const out = [];
  for (let i = 0; i < width * height; i++) if (drawn[i]) out.push([rgba[4 * i], rgba[4 * i + 1], rgba[4 * i + 2]]);
  return out;
}

function pageTest(name, check) {
  const present = exported && existsSync(join(exported, `${name}.html`));
  test(`exported case ${name}`, { skip: present ? false : 'page not exported' }, async () => check(await shoot(name)));
}

// Two grids of 7 x 7 spheres a millimetre apart: every sphere is placed
// where its node says, none collapses onto another.
pageTest('sphere_grid', (shot) => {
  assert.ok(blobs(shot) >= 90, `only ${blobs(shot)} separate spheres are drawn`);
});

// An OBJ without normals: the computed normals face the camera, so the
// model is lit from the front and most of it is bright.
pageTest('armadillo_obj', (shot) => {
  const pixels = drawnPixels(shot);
  assert.ok(pixels.length > 10000, 'the model is drawn');
  const bright = pixels.filter(([r, g, b]) => 0.3 * r + 0.59 * g + 0.11 * b > 110).length;
  assert.ok(bright / pixels.length > 0.5, `only ${((100 * bright) / pixels.length).toFixed(1)}% of the model is lit`);
});

// A point grid colored red along x and green along y keeps its colors.
pageTest('colored_points', (shot) => {
  const pixels = drawnPixels(shot);
  const reddish = pixels.filter(([r, g]) => r > g + 100).length;
  const greenish = pixels.filter(([r, g]) => g > r + 100).length;
  assert.ok(reddish > 50 && greenish > 50, `red ${reddish} and green ${greenish} points`);
});
