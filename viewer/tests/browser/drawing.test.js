import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { colourCube, frontScene, plainImage, quad, segment, triangle } from '../helpers/drawingScenes.js';
import { decodePng } from '../helpers/png.js';
import { openBrowser, loadPage } from './browser.js';
import { RESULTS, writePage } from './pages.js';

// What reaches the screen: colours, clip regions, line patterns,
// transparency and the default background, read from screenshots of small
// scenes (see drawingScenes.js: the origin is at the centre pixel, a unit
// is 200 pixels).

let browser;
before(async () => { browser = await openBrowser(); });
after(async () => { await browser?.close(); });

const CENTRE = [400, 300];

async function shoot(name, bytes) {
  const result = await loadPage(browser.context, writePage(name, bytes));
  const png = await result.page.screenshot({ path: join(RESULTS, `${name}.png`) });
  await result.page.close();
  assert.equal(result.error, null, `viewer stopped: ${result.error}`);
  assert.deepEqual(result.consoleErrors, []);
  const { width, rgba } = decodePng(png);
  return ([x, y]) => Array.from(rgba.subarray(4 * (y * width + x), 4 * (y * width + x) + 3));
}

const near = (a, b, tolerance) => a.every((v, i) => Math.abs(v - b[i]) <= tolerance);
const distance = (a, b) => Math.max(...a.map((v, i) => Math.abs(v - b[i])));

test('a matte surface facing the viewer shows its stored colour', async () => {
  for (const [name, color, expected] of [
    ['grey', [0.5, 0.5, 0.5, 1], [128, 128, 128]],
    ['orange', [212 / 255, 129 / 255, 11 / 255, 1], [212, 129, 11]],
  ]) {
    const pixel = await shoot(`colour-${name}`, frontScene([{ mesh: triangle(), material: 1 }], {
      before: (w) => w.color(1, color),
    }));
    assert.ok(near(pixel(CENTRE), expected, 10), `${name} reads ${pixel(CENTRE)}, not ${expected}`);
  }
});

test('specular, mirror and environment images, and two diffuse textures, as the material gives them', async () => {
  const cubeSides = [[255, 0, 0], [0, 255, 255], [0, 255, 0], [255, 0, 255], [0, 0, 255], [255, 255, 0]];
  const cases = [
    // name, images to send, material, what the centre must show
    ['specular', [], { color: [0.5, 0.5, 0.5, 1], specular: 0.5, gloss: 20 }, (p) => p.every((v) => v > 180)],
    ['panorama', [[1, [0, 200, 0]]], { color: [0.5, 0.5, 0.5, 1], mirror: 1, environment: [1] }, (p) => near(p, [0, 200, 0], 12)],
    // Facing the viewer, the surface reflects the side of the cube behind the viewer, +z.
    ['cube', cubeSides.map((c, i) => [i + 1, c]), { mirror: 1, environment: [1, 2, 3, 4, 5, 6] }, (p) => near(p, [0, 0, 255], 12)],
    ['multiplied', [[1, [255, 255, 255]], [2, [255, 0, 0]]], { textures: [{ image: 1 }, { image: 2 }] }, (p) => near(p, [255, 0, 0], 12)],
    ['decal', [[1, [255, 0, 0]], [2, [0, 0, 255, 255]]], { textures: [{ image: 1 }, { image: 2, word: 0x10000 }] },
      (p) => near(p, [0, 0, 255], 12)],
  ];
  for (const [name, images, material, shows] of cases) {
    const pixel = await shoot(`material-${name}`, frontScene([{ mesh: quad(), material: 1 }], {
      before: (w) => {
        for (const [key, colour] of images) plainImage(w, key, colour);
        w.material(1, material);
      },
    }));
    assert.ok(shows(pixel(CENTRE)), `${name}: the centre shows ${pixel(CENTRE)}`);
  }
});

test('a cube of red, green and blue sides shows those colours, none of its sides black', async () => {
  const pixel = await shoot('colour-cube', colourCube());
  // Screen positions of the three sides seen from the corner (1, 1, 1).
  const sides = { red: [460, 343], green: [400, 215], blue: [340, 343] };
  const dominant = { red: 0, green: 1, blue: 2 };
  for (const [name, at] of Object.entries(sides)) {
    const rgb = pixel(at);
    const main = rgb[dominant[name]];
    assert.ok(main > 150, `${name} side is too dark: ${rgb}`);
    assert.ok(rgb.every((v, i) => i === dominant[name] || v < main / 3), `${name} side is not ${name}: ${rgb}`);
  }
});

test('clip regions cut holes or keep their inside, in window and in scene space', async () => {
  const square = (h) => [[-h, -h, 0], [h, -h, 0], [h, h, 0], [-h, h, 0]];
  const cases = [
    // name, loop, [centre shows plate, edge of the plate shows plate]
    ['window-cut', { polygons: [1], window: true, cuts: true }, square(0.2), [false, true]],
    ['scene-cut', { polygons: [1], cuts: true }, square(0.3), [false, true]],
    ['scene-keep', { polygons: [1] }, square(0.3), [true, false]],
  ];
  for (const [name, loop, ring, [centre, edge]] of cases) {
    const pixel = await shoot(`clip-${name}`, frontScene([{ mesh: quad(), material: 1, clip: 1 }], {
      before: (w) => w.color(1, [0.9, 0.2, 0.1, 1]).polyPolygon(1, [ring]).clipRegion(1, [loop]),
    }));
    const plate = [230, 51, 26];
    const background = pixel([5, 595]);
    assert.equal(distance(pixel(CENTRE), plate) < 30, centre, `${name}: centre is ${pixel(CENTRE)}`);
    assert.equal(distance(pixel([560, 300]), plate) < 30, edge, `${name}: edge is ${pixel([560, 300])}`);
    if (!centre) assert.ok(near(pixel(CENTRE), background, 3), `${name}: the hole shows the background`);
  }
});

// Columns from x0 to x1 on which a line near row 300 differs from the background.
function lineColumns(pixel, x0, x1) {
  const background = pixel([5, 595]);
  const columns = [];
  for (let x = x0; x < x1; x++) {
    columns.push([297, 298, 299, 300, 301, 302].some((y) => distance(pixel([x, y]), background) > 60));
  }
  return columns;
}

test('lines: a dashed line shows gaps, a solid one none; white and black both read on the default background', async () => {
  for (const [name, pattern, colour, [least, most]] of [
    ['dashed', '---- ', [1, 1, 1, 1], [0.55, 0.95]],
    ['solid-white', null, [1, 1, 1, 1], [0.99, 1]],
    ['solid-black', null, [0, 0, 0, 1], [0.99, 1]],
  ]) {
    const pixel = await shoot(`line-${name}`, frontScene([{ mesh: segment([-1, 0, 0], [1, 0, 0]), material: 1 }], {
      before: (w) => {
        if (pattern) w.linePattern(1, pattern);
        w.material(1, { color: colour, linePattern: pattern ? 1 : 0xFFFFFFFF });
      },
    }));
    const columns = lineColumns(pixel, 250, 550);
    const share = columns.filter(Boolean).length / columns.length;
    assert.ok(share >= least && share <= most, `${name}: ${(share * 100).toFixed(0)}% of the line is drawn`);
  }
});

test('a view\'s background colour or image replaces the default background', async () => {
  for (const [name, options, expected] of [
    ['colour', { background: [0.1, 0.2, 0.3] }, [26, 51, 77]],
    ['image', { backgroundImage: 9, before: (w) => plainImage(w, 9, [200, 30, 30]) }, [200, 30, 30]],
  ]) {
    const pixel = await shoot(`background-${name}`, frontScene([{ mesh: triangle(), material: 1 }], options));
    assert.ok(near(pixel([5, 595]), expected, 3), `${name}: the background is ${pixel([5, 595])}`);
  }
});

test('a transparent pane shows what is behind it, whatever the order in the stream', async () => {
  const pixel = await shoot('transparent-pane', frontScene([
    { mesh: quad(0.5, 0.5), material: 1 }, // the pane, first in the stream, in front
    { mesh: quad(-0.5), material: 2 },
  ], { before: (w) => w.color(1, [0, 0, 1, 0.5]).color(2, [1, 0, 0, 1]) }));
  const [r, , b] = pixel(CENTRE);
  assert.ok(r > 90 && b > 90, `behind the pane: ${pixel(CENTRE)}`);
  const [r2, , b2] = pixel([400, 150]); // above the pane: the red quad alone
  assert.ok(r2 > 200 && b2 < 30, `beside the pane: ${pixel([400, 150])}`);
});

test('a double-click moves the view centre to the point under the pointer and halves the distance', async () => {
  const result = await loadPage(browser.context, writePage('focus', frontScene([{ mesh: quad(), material: 1 }], {
    before: (w) => w.color(1, [0.5, 0.5, 0.5, 1]),
  })));
  const before = result.rect;
  await result.page.mouse.dblclick(500, 300); // over the point (0.5, 0, 0) of the quad
  await result.page.waitForTimeout(200);
  const after = await result.page.evaluate(() => window.qxViewer.projectedRect());
  await result.page.close();
  assert.ok(after.width > 1.6 * before.width, `the view of the scene box grows from ${before.width} to ${after.width}`);
  // The scene box spans x from -1.5 to 1.5: x = 0.5 lies two thirds along it.
  const along = (400 - after.x) / after.width;
  assert.ok(Math.abs(along - 2 / 3) < 0.05, `the screen centre lies ${along.toFixed(3)} along the box`);
});
