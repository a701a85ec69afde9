import assert from 'node:assert/strict';
import { existsSync, readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { sampleScene } from '../helpers/scenes.js';
import { zstdAvailable } from '../helpers/StreamWriter.js';
import { loadPage, openPage, screenshot, shootPage, useBrowser } from './browser.js';
import { RESULTS, writePage } from './pages.js';

// Pages exported by the tool, from a directory named in QX_VIEWER_PAGES.
const exported = process.env.QX_VIEWER_PAGES;
const browser = useBrowser();

// A page that draws its whole scene: the camera shows the scene box, the
// model keeps clear of the bottom row and the side columns below the panels,
// and a fair share of the box is drawn (a line drawing covers little of it).
async function checkModelPage(name, path) {
  const result = await shootPage(browser.context, path, name);
  const { shot } = result;
  const { x, y, width, height } = result.rect ?? {};
  assert.ok(width > 0 && height > 0, 'the scene has a box');
  assert.ok(x >= 0 && y >= 0 && x + width <= 800 && y + height <= 600, 'the camera shows the whole scene box');
  const edges = shot.count(0, shot.height - 1) + shot.count(0, 80, 1) + shot.count(shot.width - 1, 80);
  assert.equal(edges, 0, 'the model reaches the edge of the view: the camera is not fitted');
  const [x0, y0, x1, y1] = [Math.floor(x), Math.floor(y), x + width, y + height];
  const share = shot.count(x0, y0, x1, y1) / ((Math.ceil(x1) - x0) * (Math.ceil(y1) - y0));
  assert.ok(share > 0.015, `only ${(share * 100).toFixed(1)}% of the scene box is drawn`);
  return result;
}

test('synthetic scenes are drawn', async () => {
  const plain = await checkModelPage('sample-plain', writePage('sample-plain', sampleScene()));
  assert.deepEqual([plain.counts.instances, plain.counts.meshData], [5, 3]);
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
  // A page whose viewer script was damaged on the way.
  const damaged = writePage('damaged-viewer', good);
  writeFileSync(damaged, readFileSync(damaged, 'utf8')
    .replace(/(id="qx-viewer-code"[^>]*>)[^<]{40}/, '$1' + 'A'.repeat(40)));
  for (const [name, path, message] of [
    ['unknown-tag', writePage('unknown-tag', unknown), /unknown record tag/],
    ['truncated', writePage('truncated', good.subarray(0, good.length - 100)), /cut short/],
    ['no-data', writePage('no-data', new Uint8Array(0)), /no model data/],
    ['damaged-viewer', damaged, /can't start the viewer/],
  ]) {
    const result = await loadPage(browser.context, path);
    await result.page.screenshot({ path: join(RESULTS, `${name}.png`) });
    await result.page.close();
    assert.equal(result.ready, false);
    assert.match(result.error, message);
    assert.ok(result.errorShown, 'the message is shown on the page');
  }
});

// Separate blobs of drawn pixels, 4-connected, of at least 20 pixels each.
function blobs({ width, height, drawn }) {
  const seen = new Uint8Array(width * height);
  const size = (start) => {
    let n = 0;
    const stack = [start];
    seen[start] = 1;
    while (stack.length) {
      const i = stack.pop();
      const [x, y] = [i % width, (i / width) | 0];
      n++;
      for (const [nx, ny] of [[x, y - 1], [x, y + 1], [x - 1, y], [x + 1, y]]) {
        const j = ny * width + nx;
        if (nx < 0 || nx >= width || ny < 0 || ny >= height || seen[j] || !drawn(nx, ny)) continue;
        seen[j] = 1;
        stack.push(j);
      }
    }
    return n;
  };
  let count = 0;
  for (let i = 0; i < width * height; i++) {
    if (seen[i] || !drawn(i % width, (i / width) | 0)) continue;
    if (size(i) >= 20) count++;
  }
  return count;
}

// The drawn pixels in the rows from `y0` up to `y1`, each as [r, g, b, x].
function drawnPixels({ width, height, at, drawn }, y0 = 0, y1 = height) {
  const out = [];
  for (let y = y0; y < y1; y++) for (let x = 0; x < width; x++) if (drawn(x, y)) out.push([...at(x, y), x]);
  return out;
}

// What some exported pages must show besides: files that once came out
// wrong, and the demo.
const CASES = {
  // Two grids of 7 x 7 spheres a millimetre apart: every sphere is placed
  // where its node says, none collapses onto another.
  sphere_grid: (shot) => assert.ok(blobs(shot) >= 90, `only ${blobs(shot)} separate spheres are drawn`),
  // An OBJ without normals: the computed normals face the camera, so the
  // model is lit from the front and most of it is bright.
  armadillo_obj: (shot) => {
    const pixels = drawnPixels(shot);
    assert.ok(pixels.length > 10000, 'the model is drawn');
    const bright = pixels.filter(([r, g, b]) => 0.3 * r + 0.59 * g + 0.11 * b > 110).length;
    assert.ok(bright / pixels.length > 0.5, `only ${((100 * bright) / pixels.length).toFixed(1)}% of the model is lit`);
  },
  // A point grid colored red along x and green along y keeps its colors.
  colored_points: (shot) => {
    const pixels = drawnPixels(shot);
    const reddish = pixels.filter(([r, g]) => r > g + 100).length;
    const greenish = pixels.filter(([r, g]) => g > r + 100).length;
    assert.ok(reddish > 50 && greenish > 50, `red ${reddish} and green ${greenish} points`);
  },
  // Its title "qx demo scene" lies on the ground in front of everything
  // else, so seen from above it is the lowest thing drawn, in dark blue: the
  // lowest 40 rows that hold drawn pixels show it.
  demo: (shot) => {
    let bottom = shot.height - 1;
    while (bottom > 0 && shot.count(0, bottom, shot.width, bottom + 1) === 0) bottom--;
    const band = drawnPixels(shot, Math.max(0, bottom - 39), bottom + 1);
    const blue = band.filter(([r, g, b]) => b > r + 40 && b > g + 20).length;
    const span = Math.max(...band.map((p) => p[3])) - Math.min(...band.map((p) => p[3]));
    assert.ok(band.length > 150, `only ${band.length} pixels drawn at the bottom of the scene`);
    assert.ok(blue > 0.6 * band.length, `${blue} of ${band.length} pixels there have the title's colour`);
    assert.ok(span > 80, `the title is ${span} pixels wide`);
  },
};

for (const file of exported ? readdirSync(exported).filter((f) => f.endsWith('.html')).sort() : []) {
  const name = file.replace(/\.html$/, '');
  test(`exported page ${file} is drawn`, async () => {
    const { shot } = await checkModelPage(name, join(exported, file));
    CASES[name]?.(shot);
  });
}

// A scan exported with --split-point-clouds: its nodes arrive as meshes of
// points drawn at a fixed size on the screen that the user can change.
const pond = exported && join(exported, 'pond-split.html');
test('a split point cloud is drawn, and its points grow with the size control', { skip: !existsSync(pond ?? '') },
  async () => {
    const { page, counts } = await openPage(browser.context, pond);
    assert.ok(counts.meshData >= 7, `${counts.meshData} meshes of points`);
    assert.equal(await page.isVisible('#qx-points'), true);
    await page.evaluate(() => { document.getElementById('qx-buttons').style.visibility = 'hidden'; }); // not counted
    const drawnAt = async (size) => {
      await page.evaluate((value) => {
        const input = document.getElementById('qx-point-size');
        input.value = String(value);
        input.dispatchEvent(new Event('input'));
      }, size);
      await page.waitForTimeout(300);
      return (await screenshot(page, `points-${size}`)).count();
    };
    const small = await drawnAt(1);
    const large = await drawnAt(9);
    await page.close();
    assert.ok(small > 1000, `${small} pixels of points`);
    assert.ok(large > 1.5 * small, `${small} pixels at size 1, ${large} at size 9`);
  });
