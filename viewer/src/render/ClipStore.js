import { Matrix4, Vector4 } from 'three';
import { IDENTITY, multiply, transformPoint } from '../matrix.js';
import { CLIP_LOOPS, CLIP_POINTS } from './shaders.js';

// Clip regions as the face, line and point shaders test them: per loop of
// the region, its polygons as rings of points in window coordinates. Loops
// in window space stand as given; the others are in the space of their
// model (through the loop's matrix, if it has one), are taken into the
// scene by the model's inclusion and are projected anew for each view.

// `rings` thinned out evenly so that no more than `budget` points remain in
// all; rings that still don't fit (a great many small ones) are left out.
function thinRings(rings, budget) {
  const total = rings.reduce((n, r) => n + r.length, 0);
  const step = total <= budget ? 1 : Math.ceil(total / Math.max(budget - 3 * rings.length, 1));
  const thinned = rings.map((r) => (r.length <= 3 ? r : r.filter((_, i) => i % step === 0)));
  const kept = [];
  let used = 0;
  for (const ring of thinned) {
    if (ring.length < 3 || used + ring.length > budget) continue;
    kept.push(ring);
    used += ring.length;
  }
  return kept;
}

function loopRings(model, loop, placement) {
  const matrix = loop.window ? null : multiply(loop.matrix ? model.matrix(loop.matrix) : IDENTITY, placement);
  const rings = [];
  for (const key of loop.polygons) {
    const polygon = model.polygons.get(key);
    if (!polygon) continue;
    let at = 0;
    for (const length of polygon.lengths) {
      const ring = [];
      for (let i = at; i < at + length; i++) {
        const p = polygon.points.slice(3 * i, 3 * i + 3);
        ring.push(matrix ? transformPoint(matrix, p) : p);
      }
      at += length;
      if (ring.length >= 3) rings.push(ring);
    }
  }
  return rings;
}

class ClipRegion {
  constructor(id, model, record, placement) {
    this.id = id;
    this.uniforms = {
      clipPoints: { value: new Float32Array(CLIP_POINTS * 2) },
      clipLoops: { value: new Int32Array(CLIP_LOOPS * 4) },
      clipRings: { value: new Int32Array(CLIP_POINTS) },
    };
    this.loops = [];
    let first = 0;
    const loops = record.loops.slice(0, CLIP_LOOPS);
    loops.forEach((loop, l) => {
      const budget = Math.floor((CLIP_POINTS - first) / (loops.length - l));
      const rings = thinRings(loopRings(model, loop, placement), budget);
      const points = rings.flat();
      let at = first;
      for (const ring of rings) {
        ring.forEach((_, i) => { this.uniforms.clipRings.value[at + i] = at + (i + 1) % ring.length; });
        at += ring.length;
      }
      this.uniforms.clipLoops.value.set([first, points.length, loop.cuts ? 1 : 0, 0], 4 * l);
      this.loops.push({ window: loop.window, first, points });
      first += points.length;
    });
    this.update(new Matrix4());
  }

  // Projects the scene-space loops with `viewProjection`.
  update(viewProjection) {
    const out = this.uniforms.clipPoints.value;
    const v = new Vector4();
    for (const loop of this.loops) {
      loop.points.forEach(([x, y, z], i) => {
        const at = 2 * (loop.first + i);
        if (loop.window) {
          out[at] = x;
          out[at + 1] = y;
          return;
        }
        v.set(x, y, z, 1).applyMatrix4(viewProjection);
        const w = Math.max(v.w, 1e-6); // behind the eye: far off in the same direction
        out[at] = v.x / w;
        out[at + 1] = v.y / w;
      });
    }
  }
}

export class ClipStore {
  constructor() {
    this.regions = new Map();
    this.viewProjection = new Matrix4();
  }

  // The clip region `key` of `model` as included by `inclusion`, whose
  // matrix `placement` takes the model into the scene; null for none or an
  // unknown key.
  get(model, key, inclusion = 0, placement = IDENTITY) {
    if (!key) return null;
    const id = `${model.id}:${key}:${inclusion}`;
    if (!this.regions.has(id)) {
      const record = model.clipRegions.get(key);
      this.regions.set(id, record ? new ClipRegion(id, model, record, placement) : null);
    }
    return this.regions.get(id);
  }

  // Brings the scene-space loops in line with the camera.
  update(camera) {
    this.viewProjection.multiplyMatrices(camera.projectionMatrix, camera.matrixWorldInverse);
    for (const region of this.regions.values()) region?.update(this.viewProjection);
  }
}
