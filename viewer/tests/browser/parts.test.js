import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { groupBlock, headBlock } from '../helpers/assemblyBlocks.js';
import { sampleScene } from '../helpers/scenes.js';
import { openPage, screenshot, useBrowser } from './browser.js';
import { writePage } from './pages.js';

const browser = useBrowser();

// Pixels drawn right of the panel and below the buttons.
const drawnPixels = async (page, name) => (await screenshot(page, name)).count(280, 70);

// Names of the rows in the page, that is of the open part of the tree in sight.
const rowNames = (page) => page.$$eval('#qx-parts .qx-row .qx-name', (names) => names.map((n) => n.textContent));

// Instance keys whose objects are all drawn.
const drawnInstances = (page, keys) => page.evaluate((list) => {
  const { parts } = window.qxViewer;
  return list.filter((key) => parts.scene.objectsOf([key]).every((object) => object.visible));
}, keys);

const rowOf = (page, name) => page.locator('#qx-parts .qx-row', {
  has: page.locator('.qx-name', { hasText: new RegExp(`^${name}$`) }),
});

// Waits until the viewer has drawn what changed.
const settled = (page) => page.waitForFunction(() => new Promise((done) => {
  requestAnimationFrame(() => requestAnimationFrame(() => done(true)));
}));

// The sample scene with a tree: cubes (instances 1-3), a quad (4) and points (5).
const sampleTree = () => [
  [1, headBlock(10)],
  [10, groupBlock({ name: 'sample', children: [11, 12, 13] })],
  [11, groupBlock({ name: 'cubes', bodies: [1, 2, 3].map((instance) => ({ instance })) })],
  [12, groupBlock({ name: 'quad', bodies: [{ instance: 4 }] })],
  [13, groupBlock({ name: 'points', bodies: [{ instance: 5 }] })],
];

test('the parts panel hides, frames and isolates the parts of a page', async () => {
  const { page } = await openPage(browser.context, writePage('parts-sample', sampleScene({ keyed: sampleTree() })));
  const all = [1, 2, 3, 4, 5];
  assert.deepEqual(await rowNames(page), ['sample', 'cubes', 'quad', 'points']);
  const pixels = await drawnPixels(page, 'parts-sample');

  await rowOf(page, 'cubes').locator('input').click();
  await settled(page);
  assert.deepEqual(await drawnInstances(page, all), [4, 5]);
  assert.ok(await drawnPixels(page, 'parts-sample-hidden') < pixels, 'hidden cubes leave background');
  await rowOf(page, 'cubes').locator('input').click();
  assert.deepEqual(await drawnInstances(page, all), all);

  // The quad stands at x = -3 and is lifted by its inclusion to z = 0.5.
  await rowOf(page, 'quad').locator('.qx-name').click();
  const target = await page.evaluate(() => window.qxViewer.target());
  assert.ok(Math.abs(target[0] + 3) < 1e-6 && Math.abs(target[2] - 0.5) < 1e-6, `framed around ${target}`);
  await page.click('#qx-parts-isolate');
  assert.deepEqual(await drawnInstances(page, all), [4]);
  await page.click('#qx-parts-all');
  assert.deepEqual(await drawnInstances(page, all), all);

  await page.click('#qx-parts-fold');
  assert.equal(await page.isVisible('#qx-parts-list'), false);
  await page.click('#qx-parts-fold');
  assert.equal(await page.isVisible('#qx-parts-list'), true);
  await page.close();
});

test('a malformed tree leaves the panel out and the model drawn', async () => {
  const tree = sampleTree().map(([key, bytes]) => [key, key === 11 ? bytes.subarray(0, 14) : bytes]);
  const { page, consoleWarnings } = await openPage(browser.context,
    writePage('parts-malformed', sampleScene({ keyed: tree })));
  await settled(page);
  assert.equal(await page.isVisible('#qx-parts'), false);
  assert.equal(await page.evaluate(() => window.qxViewer.parts), null);
  assert.ok(consoleWarnings.some((w) => /No parts panel: .*node block 11/.test(w)), consoleWarnings.join('\n'));
  await page.close();
});

test('a tree of ten thousand nodes puts only the rows in sight into the page', async () => {
  // 100 groups of 99 leaves, the sample's instances on the first.
  const groups = Array.from({ length: 100 }, (_, g) => 100 + g);
  const keyed = [[1, headBlock(10)], [10, groupBlock({ name: 'big', children: groups })]];
  for (let g = 0; g < 100; g++) {
    const leaves = Array.from({ length: 99 }, (_, l) => 10000 + 100 * g + l);
    keyed.push([100 + g, groupBlock({ name: `group ${g}`, children: leaves })]);
    leaves.forEach((key, l) => keyed.push([key, groupBlock({
      name: `leaf ${g}.${l}`, bodies: g === 0 && l < 5 ? [{ instance: l + 1 }] : [],
    })]));
  }
  const { page } = await openPage(browser.context, writePage('parts-large', sampleScene({ keyed })));
  assert.equal(await page.evaluate(() => window.qxViewer.parts.state.nodes.length), 10001);
  // Open every group, then scroll to the end: the last leaf has a row.
  await page.evaluate(() => {
    const { parts } = window.qxViewer;
    parts.state.nodes.forEach((node, i) => { if (parts.state.hasChildren(i)) parts.state.open[i] = 1; });
    parts.refresh();
    parts.list.scrollTop = parts.list.scrollHeight;
    parts.draw();
  });
  const names = await rowNames(page);
  assert.ok(names.length < 80, `${names.length} rows in the page`);
  assert.equal(names.at(-1), 'leaf 99.98');
  await page.close();
});

// Instance keys of the branch of the node with that name (the first one).
const branchOf = (page, name) => page.evaluate((n) => {
  const { state } = window.qxViewer.parts;
  return state.branchInstances(state.nodes.findIndex((node) => node.name === n));
}, name);

// The sample assembly as `qx export --assembly-tree` writes it, from the
// directory named in QX_VIEWER_PAGES: glTF nodes without names are called
// after their place in the file, mesh nodes after their meshes.
const exported = join(process.env.QX_VIEWER_PAGES ?? '', '2CylinderEngine-tree.html');
const skip = process.env.QX_VIEWER_PAGES && existsSync(exported) ? false : 'page not exported';
test('the parts of an exported assembly carry the names of its file, hide and isolate', { skip }, async () => {
  const { page } = await openPage(browser.context, exported);
  const names = await page.evaluate(() => window.qxViewer.parts.state.nodes.map((node) => node.name));
  for (const part of ['Piston_123-844_0_Parts_1', 'Lifter_123-923_0_Parts_1', 'rod_123-699_0_Parts_1']) {
    assert.ok(names.some((name) => name.startsWith(part)), `no part named ${part}`);
  }
  const rows = await rowNames(page);
  assert.deepEqual(rows.slice(1, 4), ['ROOT', 'nodes[0]', 'nodes[80]'], 'the tree is open down to its first choice');
  assert.ok(rows.includes('nodes[13]'));
  await rowOf(page, 'nodes\\[78\\]').locator('.qx-twisty').click();
  assert.ok((await rowNames(page)).includes('Lifter_123-923_0_Parts_1-0'), 'an opened branch shows its parts');

  const everything = await page.evaluate(() => [...window.qxViewer.state.models.values()]
    .flatMap((model) => [...model.instances.values()].map((instance) => instance.key)));
  // Pixels are compared in the view of the whole model that "Fit" gives.
  await page.click('#qx-fit');
  await settled(page);
  const all = await drawnPixels(page, 'parts-engine');
  const crank = await branchOf(page, 'nodes[13]');
  assert.ok(crank.length > 50 && crank.length < everything.length);
  await rowOf(page, 'nodes\\[13\\]').locator('input').click();
  await settled(page);
  assert.deepEqual(await drawnInstances(page, everything), everything.filter((key) => !crank.includes(key)));
  const hidden = await drawnPixels(page, 'parts-engine-hidden');
  assert.ok(hidden < all * 0.9, `${hidden} of ${all} pixels drawn with the branch hidden`);
  await rowOf(page, 'nodes\\[13\\]').locator('input').click();

  const rods = await branchOf(page, 'nodes[74]');
  await rowOf(page, 'nodes\\[74\\]').locator('.qx-name').click();
  await page.click('#qx-parts-isolate');
  assert.deepEqual(await drawnInstances(page, everything), rods);
  await page.click('#qx-fit');
  await settled(page);
  const isolated = await drawnPixels(page, 'parts-engine-isolated');
  assert.ok(isolated < all * 0.6, `${isolated} of ${all} pixels drawn with one part isolated`);
  await page.close();
});
