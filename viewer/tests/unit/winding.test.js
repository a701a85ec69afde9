import assert from 'node:assert/strict';
import { test } from 'node:test';
import { frontCounterClockwise } from '../../src/winding.js';

const LEFT = 2;
const RIGHT = 1;

test('left-handed face triangles are turned, lines and points and other meshes are not', () => {
  const indexed = (flags) => ({ flags, counts: [6, 2, 1], indices: Uint16Array.of(0, 1, 2, 3, 4, 5, 6, 7, 8) });
  assert.deepEqual([...frontCounterClockwise(indexed(LEFT)).indices], [0, 2, 1, 3, 5, 4, 6, 7, 8]);
  assert.deepEqual([...frontCounterClockwise(indexed(LEFT | 4)).indices], [0, 2, 1, 3, 5, 4, 6, 7, 8]); // text
  assert.deepEqual([...frontCounterClockwise(indexed(RIGHT)).indices], [0, 1, 2, 3, 4, 5, 6, 7, 8]);
  assert.deepEqual([...frontCounterClockwise(indexed(0)).indices], [0, 1, 2, 3, 4, 5, 6, 7, 8]);
});

test('expanded meshes turn every attribute of their face vertices', () => {
  const data = {
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
  };
  const { vertices } = frontCounterClockwise(data);
  assert.deepEqual([...vertices.positions], [0, 0, 0, 0, 1, 0, 1, 0, 0, 9, 9, 9]);
  assert.deepEqual([...vertices.uvs], [0, 0, 0, 1, 1, 0, 5, 5]);
  assert.deepEqual([...vertices.colors], [1, 1, 1, 1, 3, 3, 3, 3, 2, 2, 2, 2, 4, 4, 4, 4]);
});
