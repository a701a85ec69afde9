import assert from 'node:assert/strict';
import { test } from 'node:test';
import { colourCube, frontScene, plainImage, quad, segment, triangle } from '../helpers/scenes.js';
import { loadPage, shootPage, useBrowser } from './browser.js';
import { writePage } from './pages.js';

// What reaches the screen: colours, clip regions, line patterns,
// transparency and the default background, read from screenshots of small
// scenes (see frontScene: the origin is at the centre pixel, a unit is 200
// pixels).

const browser = useBrowser();
const CENTRE = [400, 300];
const CORNER = [5, 595];

// The colour of the pixel at [x, y] in the screenshot of the page of `bytes`.
async function shoot(name, bytes) {
  const { shot } = await shootPage(browser.context, writePage(name, bytes), name);
  return ([x, y]) => shot.at(x, y);
}

const near = (a, b, tolerance) => a.every((v, i) => Math.abs(v - b[i]) <= tolerance);
const distance = (a, b) => Math.max(...a.map((v, i) => Math.abs(v - b[i])));
// The scene of one mesh under material 1, which `before` writes.
const plate = (mesh, before, item = {}) => frontScene([{ mesh, material: 1, ...item }], { before });

// Writes the images, each [key, colour], and material 1.
const withImages = (images, material) => (w) => {
  for (const [key, colour] of images) plainImage(w, key, colour);
  w.material(1, material);
};

test('surface colours: stored colours, specular, environments, textures, and a cube of coloured sides', async () => {
  const cubeSides = [[255, 0, 0], [0, 255, 255], [0, 255, 0], [255, 0, 255], [0, 0, 255], [255, 255, 0]];
  const grey = [0.5, 0.5, 0.5, 1];
  for (const [name, mesh, before, shows] of [
    // A matte surface facing the viewer shows its stored colour.
    ['colour-grey', triangle(), (w) => w.color(1, grey), (p) => near(p, [128, 128, 128], 10)],
    ['colour-orange', triangle(), (w) => w.color(1, [212 / 255, 129 / 255, 11 / 255, 1]),
      (p) => near(p, [212, 129, 11], 10)],
    ['material-specular', quad(), withImages([], { color: grey, specular: 0.5, gloss: 20 }),
      (p) => p.every((v) => v > 180)],
    ['material-panorama', quad(), withImages([[1, [0, 200, 0]]], { color: grey, mirror: 1, environment: [1] }),
      (p) => near(p, [0, 200, 0], 12)],
    // Facing the viewer, the surface reflects the side of the cube behind the viewer, +z.
    ['material-cube', quad(),
      withImages(cubeSides.map((c, i) => [i + 1, c]), { mirror: 1, environment: [1, 2, 3, 4, 5, 6] }),
      (p) => near(p, [0, 0, 255], 12)],
    ['material-multiplied', quad(),
      withImages([[1, [255, 255, 255]], [2, [255, 0, 0]]], { textures: [{ image: 1 }, { image: 2 }] }),
      (p) => near(p, [255, 0, 0], 12)],
    ['material-decal', quad(),
      withImages([[1, [255, 0, 0]], [2, [0, 0, 255, 255]]], { textures: [{ image: 1 }, { image: 2, word: 0x10000 }] }),
      (p) => near(p, [0, 0, 255], 12)],
  ]) {
    const pixel = await shoot(name, plate(mesh, before));
    assert.ok(shows(pixel(CENTRE)), `${name}: the centre shows ${pixel(CENTRE)}`);
  }

  // The sides of the cube seen from the corner (1, 1, 1), none of them black.
  const pixel = await shoot('colour-cube', colourCube());
  for (const [name, at, main] of [['red', [460, 343], 0], ['green', [400, 215], 1], ['blue', [340, 343], 2]]) {
    const rgb = pixel(at);
    assert.ok(rgb[main] > 150, `${name} side is too dark: ${rgb}`);
    assert.ok(rgb.every((v, i) => i === main || v < rgb[main] / 3), `${name} side is not ${name}: ${rgb}`);
  }
});

test('clip regions cut holes or keep their inside, in window and in scene space', async () => {
  const square = (h) => [[-h, -h, 0], [h, -h, 0], [h, h, 0], [-h, h, 0]];
  const red = [230, 51, 26];
  for (const [name, loop, ring, [centre, edge]] of [
    // name, loop, ring, [centre shows the plate, edge of the plate shows the plate]
    ['window-cut', { polygons: [1], window: true, cuts: true }, square(0.2), [false, true]],
    ['scene-cut', { polygons: [1], cuts: true }, square(0.3), [false, true]],
    ['scene-keep', { polygons: [1] }, square(0.3), [true, false]],
  ]) {
    const pixel = await shoot(`clip-${name}`, plate(quad(), (w) => w.color(1, [0.9, 0.2, 0.1, 1])
      .polyPolygon(1, [ring]).clipRegion(1, [loop]), { clip: 1 }));
    assert.equal(distance(pixel(CENTRE), red) < 30, centre, `${name}: centre is ${pixel(CENTRE)}`);
    assert.equal(distance(pixel([560, 300]), red) < 30, edge, `${name}: edge is ${pixel([560, 300])}`);
    if (!centre) assert.ok(near(pixel(CENTRE), pixel(CORNER), 3), `${name}: the hole shows the background`);
  }
});

test('a dashed line shows gaps, a solid one none; white and black both read on the default background', async () => {
  for (const [name, pattern, colour, [least, most]] of [
    ['dashed', '---- ', [1, 1, 1, 1], [0.55, 0.95]],
    ['solid-white', null, [1, 1, 1, 1], [0.99, 1]],
    ['solid-black', null, [0, 0, 0, 1], [0.99, 1]],
  ]) {
    const pixel = await shoot(`line-${name}`, plate(segment([-1, 0, 0], [1, 0, 0]), (w) => {
      if (pattern) w.linePattern(1, pattern);
      w.material(1, { color: colour, linePattern: pattern ? 1 : 0xFFFFFFFF });
    }));
    // Columns from 250 to 550 on which the line near row 300 differs from the background.
    let drawn = 0;
    for (let x = 250; x < 550; x++) {
      drawn += [297, 298, 299, 300, 301, 302].some((y) => distance(pixel([x, y]), pixel(CORNER)) > 60);
    }
    const share = drawn / 300;
    assert.ok(share >= least && share <= most, `${name}: ${(share * 100).toFixed(0)}% of the line is drawn`);
  }
});

test('a view\'s background colour or image replaces the default background', async () => {
  for (const [name, options, expected] of [
    ['colour', { background: [0.1, 0.2, 0.3] }, [26, 51, 77]],
    ['image', { backgroundImage: 9, before: (w) => plainImage(w, 9, [200, 30, 30]) }, [200, 30, 30]],
  ]) {
    const pixel = await shoot(`background-${name}`, frontScene([{ mesh: triangle(), material: 1 }], options));
    assert.ok(near(pixel(CORNER), expected, 3), `${name}: the background is ${pixel(CORNER)}`);
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
  const { page, rect } = await loadPage(browser.context,
    writePage('focus', plate(quad(), (w) => w.color(1, [0.5, 0.5, 0.5, 1]))));
  await page.mouse.dblclick(500, 300); // over the point (0.5, 0, 0) of the quad
  await page.waitForTimeout(200);
  const after = await page.evaluate(() => window.qxViewer.projectedRect());
  await page.close();
  assert.ok(after.width > 1.6 * rect.width, `the view of the scene box grows from ${rect.width} to ${after.width}`);
  // The scene box spans x from -1.5 to 1.5: x = 0.5 lies two thirds along it.
  const along = (400 - after.x) / after.width;
  assert.ok(Math.abs(along - 2 / 3) < 0.05, `the screen centre lies ${along.toFixed(3)} along the box`);
});
