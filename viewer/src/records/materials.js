import { StreamError } from '../ByteReader.js';

// Materials, material maps, matrices, line patterns and clip shapes.

const fixed = (n) => () => n;

const textureRefs = (r, pos, n) =>
  Array.from({ length: n }, (_, i) => ({
    image: r.u32(pos + 12 * i), matrix: r.u32(pos + 12 * i + 4), word: r.u32(pos + 12 * i + 8),
  }));

// Loops of points: their lengths must add up to the point count.
function parsePolyPolygon(r, p) {
  const lengths = r.u32s(p + 16, r.u32(p + 8));
  const count = r.u32(p + 12);
  if (lengths.reduce((a, b) => a + b, 0) !== count) {
    throw new StreamError(`poly polygon ${r.u32(p + 4)} has loops of more or fewer than its ${count} points`);
  }
  return { key: r.u32(p + 4), lengths, points: r.f32s(p + 16 + 4 * lengths.length, 3 * count) };
}

// Clip loops, each inside the record's own size: polygon keys, the matrix
// of their space, and bits (1: the loop cuts a hole; 2: window space).
function parseClipRegion(r, p) {
  const end = p + r.u32(p + 8);
  const loops = [];
  let at = p + 16;
  for (let i = 0; i < r.u32(p + 12); i++) {
    if (at + 12 > end) throw new StreamError(`clip region ${r.u32(p + 4)} has more loops than bytes`);
    const n = r.u32(at);
    if (n > (end - at - 12) / 4) throw new StreamError(`clip region ${r.u32(p + 4)} has a loop past its end`);
    const bits = r.u32(at + 8);
    loops.push({ matrix: r.u32(at + 4), cuts: (bits & 1) !== 0, window: (bits & 2) !== 0, polygons: r.u32s(at + 12, n) });
    at += 12 + 4 * n;
  }
  return { key: r.u32(p + 4), loops };
}

export const materialRecords = [
  { tag: 83, name: 'S', head: 24, size: fixed(24), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), color: r.f32s(p + 8, 4) }) },
  { tag: 165, name: 'material', head: 48, context: true,
    size: (r, p) => 48 + 4 * r.u32(p + 36) + 12 * r.u32(p + 40),
    parse: (r, p) => {
      const envCount = r.u32(p + 36);
      return {
        key: r.u32(p + 4), color: r.f32s(p + 8, 4),
        mirror: r.f32(p + 24), specular: r.f32(p + 28), gloss: r.f32(p + 32),
        linePattern: r.u32(p + 44), environment: r.u32s(p + 48, envCount),
        textures: textureRefs(r, p + 48 + 4 * envCount, r.u32(p + 40)),
      };
    } },
  { tag: 57, name: '9', head: 148, size: fixed(148), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), slots: textureRefs(r, p + 8, 6) }) },
  { tag: 65, name: 'A', head: 16, size: (r, p) => 16 + 4 * r.u32(p + 12), context: true,
    parse: (r, p) => {
      const n = r.u32(p + 12);
      const isColors = r.u32(p + 8) === 1;
      return isColors
        ? { key: r.u32(p + 4), colors: r.f32s(p + 16, n - (n % 3)) }
        : { key: r.u32(p + 4), materials: r.u32s(p + 16, n) };
    } },
  { tag: 176, name: 'matrix', head: 104, size: fixed(104), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), values: r.f64s(p + 8, 12) }) },
  { tag: 156, name: 'linePattern', head: 24, size: (r, p) => 24 + 8 * r.u32(p + 16), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), value: r.f64(p + 8), bytes: r.slice(p + 24, r.u32(p + 16)) }) },
  { tag: 89, name: 'Y', head: 16, size: (r, p) => 16 + 4 * r.u32(p + 8) + 12 * r.u32(p + 12), context: true,
    parse: parsePolyPolygon },
  { tag: 121, name: 'y', head: 16, size: (r, p) => r.u32(p + 8), context: true, parse: parseClipRegion },
];
