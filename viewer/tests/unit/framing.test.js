import assert from 'node:assert/strict';
import { test } from 'node:test';
import { PerspectiveCamera, Vector3 } from 'three';
import { boxCorners, fitDistance, flatNormal } from '../../src/ui/framing.js';

const FILL = 0.9;

test('a fitted box fills the view across its narrower side, every corner inside', () => {
  for (const [bounds, direction, up, aspect] of [
    [[-1, -1, -1, 1, 1, 1], [0, 0, 1], [0, 1, 0], 4 / 3],
    [[0, 0, 0, 10, 1, 1], [0.6, 0.45, 1], [0, 1, 0], 4 / 3], // long in x: the width decides
    [[0, 0, 0, 1, 10, 1], [0.6, 0.45, 1], [0, 1, 0], 4 / 3], // tall: the height decides
    [[-5, -5, 0, 5, 5, 0.5], [1, -1, 1], [0, 0, 1], 0.5],
  ]) {
    const dir = new Vector3(...direction).normalize();
    const center = new Vector3((bounds[0] + bounds[3]) / 2, (bounds[1] + bounds[4]) / 2, (bounds[2] + bounds[5]) / 2);
    const camera = new PerspectiveCamera(45, aspect, 0.001, 1000);
    camera.up.set(...up);
    camera.position.copy(center).addScaledVector(dir, fitDistance(bounds, center, dir, camera.up, 45, aspect, FILL));
    camera.lookAt(center);
    camera.updateMatrixWorld();
    const points = boxCorners(bounds).map((p) => p.project(camera));
    const reach = Math.max(...points.map((p) => Math.max(Math.abs(p.x), Math.abs(p.y))));
    assert.ok(Math.abs(reach - FILL) < 1e-6, `${bounds}: the box reaches ${reach} of the view`);
  }
  // A view along its up vector still gets a distance.
  const d = fitDistance([-1, -1, -1, 1, 1, 1], new Vector3(), new Vector3(0, 1, 0), new Vector3(0, 1, 0), 45, 1, FILL);
  assert.ok(Number.isFinite(d) && d > 1);
});

test('a drawing is seen along the axis in which it is flat', () => {
  for (const [bounds, normal] of [
    [[0, 0, 0, 10, 5, 0], [0, 0, 1]],
    [[0, 0, 0, 10, 0.001, 5], [0, 1, 0]],
    [[0, 0, 0, 10, 5, 1], null],
  ]) {
    assert.deepEqual(flatNormal(bounds, 1e-3)?.toArray() ?? null, normal, String(bounds));
  }
});
