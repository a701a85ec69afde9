import assert from 'node:assert/strict';
import { test } from 'node:test';
import { groupedGeometry, meshGeometries } from '../../src/render/geometry.js';
import { frontCounterClockwise } from '../../src/winding.js';
import { load } from '../helpers/load.js';
import { ROOT_MODEL, StreamWriter } from '../helpers/StreamWriter.js';
import { cube } from '../helpers/scenes.js';

const meshData = (write) => load(write(new StreamWriter().head().context(ROOT_MODEL)).bytes())
  .model(ROOT_MODEL).meshData.get(1);

test('class geometries take their index range and the attributes their class carries', () => {
  const mesh = { ...cube(), points: [[0, 5]] };
  for (const data of [meshData((w) => w.indexedMesh(1, mesh)), meshData((w) => w.expandedMesh(1, mesh, 7))]) {
    const [faces, lines, points] = meshGeometries(data);
    const ranges = [faces, lines, points]
      .map((g) => (g.index ? [0, g.index.count] : [g.drawRange.start, g.drawRange.count]));
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
  assert.deepEqual(grouped.groups.map((g) => [g.start, g.count, g.materialIndex]),
    [[0, 12, 1], [12, 6, 2], [18, 12, 0], [30, 6, 1]]);
  assert.equal(grouped.index, faces.index);
});

test('left-handed face triangles are turned with every attribute; lines, points and other meshes are not', () => {
  const [RIGHT, LEFT, TEXT] = [1, 2, 4];
  for (const [flags, indices] of [
    [LEFT, [0, 2, 1, 3, 5, 4, 6, 7, 8]],
    [LEFT | TEXT, [0, 2, 1, 3, 5, 4, 6, 7, 8]],
    [RIGHT, [0, 1, 2, 3, 4, 5, 6, 7, 8]],
    [0, [0, 1, 2, 3, 4, 5, 6, 7, 8]],
  ]) {
    const data = { flags, counts: [6, 2, 1], indices: Uint16Array.of(0, 1, 2, 3, 4, 5, 6, 7, 8) };
    assert.deepEqual([...frontCounterClockwise(data).indices], indices, `flags ${flags}`);
  }
  const { vertices } = frontCounterClockwise({
    flags: LEFT,
    counts: [3, 1, 0],
    indices: null,
    vertices: {
      count: 4,
      positions: Float32Array.of(0, 0, 0, 1, 0, 0, 0, 1, 0, 9, 9, 9),
      normals: null,
      uvs: Float32Array.of(0, 0, 1, 0, 0, 1, 5, 5),
      colors: Uint8Array.of(1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4),
    },
  });
  assert.deepEqual([...vertices.positions], [0, 0, 0, 0, 1, 0, 1, 0, 0, 9, 9, 9]);
  assert.deepEqual([...vertices.uvs], [0, 0, 0, 1, 1, 0, 5, 5]);
  assert.deepEqual([...vertices.colors], [1, 1, 1, 1, 3, 3, 3, 3, 2, 2, 2, 2, 4, 4, 4, 4]);
});
