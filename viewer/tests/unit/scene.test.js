import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Loader } from '../../src/Loader.js';
import { SceneState } from '../../src/SceneState.js';
import { transformPoint } from '../../src/matrix.js';
import { ROOT_MODEL } from '../helpers/StreamWriter.js';
import { sampleScene } from '../helpers/scenes.js';

const close = (a, b) => a.every((v, i) => Math.abs(v - b[i]) < 1e-9);

test('the loader works in slices; instances resolve placement and materials through their mesh and inclusion', () => {
  const state = new SceneState();
  const loader = new Loader(sampleScene(), state);
  assert.equal(loader.run(0), false, 'one record per slice at least');
  assert.equal(state.counts.records, 1);
  assert.ok(loader.progress > 0 && loader.progress < 1);
  while (!loader.run(0));
  assert.equal(loader.progress, 1);
  assert.equal(state.counts.records, 49);

  const model = state.model(ROOT_MODEL);
  const info = (key) => state.drawInfo(model, model.instances.get(`${0xFFFFFFFE}:${key}`));
  const plain = info(2); // own matrix, then the inclusion's lift of 0.5
  assert.ok(close(transformPoint(plain.matrix, [1, 1, 1]), [4, 1, 1.5]));
  assert.deepEqual(plain.classes.map((c) => [c.material, c.map]), [[8, 1], [8, 0], [8, 0]]);
  // Draws mesh 1 at half size, then its own placement: the order of the matrices shows.
  const duplicate = info(3);
  assert.equal(duplicate.dataKey, 1);
  assert.ok(close(transformPoint(duplicate.matrix, [1, 1, 1]), [0.5, 3.5, 1]));
  assert.equal(duplicate.classes[0].map, 0);
  const textured = info(4); // instance sets no material: the mesh's applies
  assert.equal(textured.classes[0].material, 9);
  assert.deepEqual(model.materials.get(9).textures[0], { image: 1, matrix: 0, word: 0 });
});
