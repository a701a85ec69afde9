import { Vector3 } from 'three';

// Where a camera stands to show a box [min x, y, z, max x, y, z].

export const boxCorners = (b) => Array.from({ length: 8 }, (_, i) => new Vector3(b[i & 1 ? 3 : 0], b[i & 2 ? 4 : 1], b[i & 4 ? 5 : 2]));

// The axis along which a box has no depth, against its largest side (a
// drawing), if it has one.
export function flatNormal(b, flat) {
  const extents = [0, 1, 2].map((i) => b[i + 3] - b[i]);
  const thinnest = extents.indexOf(Math.min(...extents));
  if (extents[thinnest] > flat * Math.max(...extents)) return null;
  return new Vector3().setComponent(thinnest, 1);
}

// The distance from `center` along `direction` (towards the eye) at which
// every corner of the box is inside `fill` of a view of vertical field `fov`
// degrees and `aspect`, the view's up being `up` as far as it can be.
export function fitDistance(bounds, center, direction, up, fov, aspect, fill) {
  let right = new Vector3().crossVectors(up, direction);
  if (right.lengthSq() < 1e-12) right = new Vector3().crossVectors(Math.abs(direction.x) < 0.9 ? new Vector3(1, 0, 0) : new Vector3(0, 1, 0), direction);
  right.normalize();
  const viewUp = new Vector3().crossVectors(direction, right);
  const tanY = Math.tan((fov * Math.PI) / 360) * fill;
  const tanX = tanY * aspect;
  let distance = 1e-6;
  for (const corner of boxCorners(bounds)) {
    const p = corner.sub(center);
    const toward = p.dot(direction);
    distance = Math.max(distance, toward + Math.abs(p.dot(right)) / tanX, toward + Math.abs(p.dot(viewUp)) / tanY);
  }
  return distance;
}
