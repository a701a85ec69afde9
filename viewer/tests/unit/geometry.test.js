import assert from 'node:assert/strict';
import { test } from 'node:test';
import { groupedGeometry, meshGeometries } from '../../src/render/geometry.js';
import { SceneState } from '../../src/SceneState.js';
import { StreamDecoder } from '../../src/StreamDecoder.js';
import { ROOT_MODEL, StreamWriter } from '../helpers/StreamWriter.js';
import { cube } from '../helpers/scenes.js';

function meshData(write) {
  const state = new SceneState();
  const decoder = new StreamDecoder(write(new StreamWriter().head().context(ROOT_MODEL)).bytes());
  for (let r; (r = decoder.next());) state.apply(r);
  return state.model(ROOT_MODEL).meshData.get(1);
}

test('class geometries take their index range and the attributes their class carries', () => {
  const mesh = { ...cube(), points: [[0, 5]] };
  for (const data of [meshData((w) => w.indexedMesh(1, mesh)), meshData((w) => w.expandedMesh(1, mesh, 7))]) {
    const [faces, lines, points] = meshGeometries(data);
    const ranges = [faces, lines, points].map((g) => (g.index ? [0, g.index.count] : [g.drawRange.start, g.drawRange.count]));
    assert.deepEqual(ranges, data.indices ? [[0, 36], [0, 16], [0, 2]] : [[0, 36], [36, 16], [52, 2]]);
    assert.ok(faces.getAttribute('normal') && lines.getAttribute('normal'));
    assert.equal(faces.getAttribute('position'), points.getAttribute('position'), 'classes share their vertices');
  }
});

test('a material map splits faces into one draw group per run of equal slots', () => {
  const data = meshData((w) => w.indexedMesh(1, cube()));
  const [faces] = meshGeometries(data);
  const slots = [1, 1, 2, 0, 0, 1];
  const grouped = groupedGeometry(faces, data.elements.faces, (i) => slots[i]);
  assert.deepEqual(grouped.groups.map((g) => [g.start, g.count, g.materialIndex]), [[0, 12, 1], [12, 6, 2], [18, 12, 0], [30, 6, 1]]);
  assert.equal(grouped.index, faces.index);
});
