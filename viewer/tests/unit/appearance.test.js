import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Matrix4 } from 'three';
import { ClipStore } from '../../src/render/ClipStore.js';
import { patternRun } from '../../src/render/linePatterns.js';
import { CLIP_POINTS } from '../../src/render/shaders.js';
import { load } from '../helpers/load.js';
import { ROOT_MODEL, StreamWriter } from '../helpers/StreamWriter.js';

const modelOf = (write) => load(write(new StreamWriter().head().context(ROOT_MODEL)).bytes()).model(ROOT_MODEL);
const square = (h) => [[-h, -h, 0], [h, -h, 0], [h, h, 0], [-h, h, 0]];
const rounded = (values) => [...values].map((v) => +v.toFixed(3));

test('materials and line patterns reach the model as the records give them', () => {
  const model = modelOf((w) => w
    .material(1, { color: [1, 0, 0, 0.5], specular: 0.4, gloss: 12, mirror: 0.3, environment: [1, 2, 3, 4, 5, 6],
      textures: [{ image: 7, matrix: 2, word: 1 }, { image: 8, word: 0x10000 }], linePattern: 3 })
    .linePattern(3, '-- ', 2));
  const material = model.materials.get(1);
  assert.deepEqual(rounded([material.specular, material.gloss, material.linePattern]), [0.4, 12, 3]);
  assert.deepEqual(material.environment, [1, 2, 3, 4, 5, 6]);
  assert.deepEqual(material.textures, [{ image: 7, matrix: 2, word: 1 }, { image: 8, matrix: 0, word: 0x10000 }]);
  const pattern = model.linePatterns.get(3);
  assert.deepEqual([pattern.value, ...pattern.bytes], [2, 45, 45, 32]);
});

test('line patterns: text runs, named patterns, bit patterns, and solid ones', () => {
  for (const [pattern, run] of [
    ['-- -', [1, 1, 0, 1]],
    ['__  .', [1, 1, 0, 0, 1]],
    ['Dashed', [1, 1, 1, 1, 0]],
    ['dash-dot', [1, 1, 1, 1, 1, 1, 0, 1, 0]],
    [[0x0F], [1, 1, 1, 1, 0, 0, 0, 0]],
    ['- -\0', [1, 0, 1]], // a zero byte ends a text
    [[0x0F, 0], [1, 1, 1, 1, ...Array(12).fill(0)]], // but is part of a bit pattern
    ['----', null],
    [[0xFF, 0xFF], null],
    [[], null],
  ]) {
    const bytes = typeof pattern === 'string' ? new TextEncoder().encode(pattern) : Uint8Array.from(pattern);
    assert.deepEqual(patternRun(bytes), run, String(pattern));
  }
});

test('clip regions become rings of window points that the shader walks', () => {
  const model = modelOf((w) => w
    .matrix(2, [2, 0, 0, 0, 2, 0, 0, 0, 2, 0.1, 0, 0])
    .polyPolygon(4, [square(0.25), [[0, 0, 0], [0.1, 0, 0], [0, 0.1, 0]]])
    .polyPolygon(6, [Array.from({ length: 400 }, (_, i) => [Math.cos(i / 64), Math.sin(i / 64), 0])])
    .clipRegion(5, [{ polygons: [4], matrix: 2, cuts: true }, { polygons: [4], window: true }])
    .clipRegion(7, [{ polygons: [6] }, { polygons: [6] }])
    .polyPolygon(8, Array.from({ length: 50 }, (_, i) => [[i, 0, 0], [i + 0.5, 0, 0], [i, 0.5, 0]]))
    .clipRegion(9, [{ polygons: [8] }]));
  const clips = new ClipStore();
  const camera = { projectionMatrix: new Matrix4(), matrixWorldInverse: new Matrix4() }; // window = scene x, y
  const { clipPoints, clipLoops, clipRings } = clips.get(model, 5).uniforms;
  clips.update(camera);
  assert.deepEqual([...clipLoops.value.slice(0, 8)], [0, 7, 1, 0, 7, 7, 0, 0]);
  // Loop 0 is in the space of matrix 2: scaled by 2 and moved by 0.1 in x.
  assert.deepEqual(rounded(clipPoints.value.slice(0, 4)), [-0.4, -0.5, 0.6, -0.5]);
  assert.deepEqual(rounded(clipPoints.value.slice(14, 16)), [-0.25, -0.25]);
  // Each ring closes on itself.
  assert.deepEqual([...clipRings.value.slice(0, 14)], [1, 2, 3, 0, 5, 6, 4, 8, 9, 10, 7, 12, 13, 11]);
  // Included one unit up, scene-space loops move with the model; window-space ones stay.
  const moved = clips.get(model, 5, 7, [1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0]).uniforms.clipPoints;
  clips.update(camera);
  assert.deepEqual(rounded([...moved.value.slice(0, 2), ...moved.value.slice(14, 16)]), [-0.4, 0.5, -0.25, -0.25]);
  assert.equal(clips.get(model, 0), null);
  assert.equal(clips.get(model, 99), null);

  // Too many points: each loop is thinned to its share of the budget.
  const [first, second] = [0, 1].map((l) => clips.get(model, 7).uniforms.clipLoops.value.slice(4 * l, 4 * l + 2));
  assert.ok(first[1] <= CLIP_POINTS / 2 && first[1] >= 3 && second[0] === first[1], `${first} ${second}`);
  assert.ok(second[0] + second[1] <= CLIP_POINTS);
  // Many small rings: as many whole ones as fit.
  assert.deepEqual([...clips.get(model, 9).uniforms.clipLoops.value.slice(0, 2)], [0, CLIP_POINTS]);
});
