import { pad4 } from '../ByteReader.js';

// Framing, set-up and report records that carry no model content.

const fixed = (n) => () => n;

const text = (r, pos, n) => {
  const bytes = r.slice(pos, n);
  const end = bytes.indexOf(0);
  return new TextDecoder().decode(end < 0 ? bytes : bytes.subarray(0, end));
};

const box = (r, pos) => r.f32s(pos, 6);

export const controlRecords = [
  { tag: 86, name: 'V', head: 20, size: fixed(20),
    parse: (r, p) => ({ version: r.u32(p + 4), rootModel: r.u32(p + 12) }) },
  { tag: 78, name: 'N', head: 8, size: fixed(8),
    parse: (r, p) => ({ model: r.u32(p + 4) }) },
  { tag: 84, name: 'T', head: 16, size: fixed(16),
    parse: (r, p) => ({ status: r.u32(p + 4), request: r.u32(p + 8), code: r.u32(p + 12) }) },
  { tag: 66, name: 'B', head: 32, size: fixed(32), context: true,
    parse: (r, p) => ({ bounds: box(r, p + 4), weight: r.u32(p + 28) }) },
  { tag: 98, name: 'b', head: 36, size: fixed(36),
    parse: (r, p) => ({ bounds: box(r, p + 4), weight: r.u32(p + 28), request: r.u32(p + 32) }) },
  { tag: 85, name: 'U', head: 8, size: (r, p) => 8 + pad4(r.u32(p + 4)),
    parse: (r, p) => ({ text: text(r, p + 8, r.u32(p + 4)) }) },
  { tag: 117, name: 'u', head: 12, size: (r, p) => 12 + pad4(r.u32(p + 8)),
    parse: (r, p) => ({ attach: r.u32(p + 4), text: text(r, p + 12, r.u32(p + 8)) }) },
  { tag: 101, name: 'e', head: 20, size: (r, p) => 20 + 4 * r.u32(p + 8),
    parse: (r, p) => ({ subject: r.u32(p + 4), code: r.u32(p + 12), extra: r.u32(p + 16),
      words: r.u32s(p + 20, r.u32(p + 8)) }) },
  { tag: 51, name: '3', head: 20, size: fixed(20),
    parse: (r, p) => ({ a: r.u32(p + 4), b: r.u32(p + 8), c: r.u32(p + 12), kind: r.u32(p + 16) }) },
  { tag: 48, name: '0', head: 16, size: fixed(16),
    parse: (r, p) => ({ a: r.u32(p + 4), b: r.u32(p + 8), c: r.u32(p + 12) }) },
  { tag: 52, name: '4', head: 12, size: fixed(12),
    parse: (r, p) => ({ kind: r.u32(p + 4), request: r.u32(p + 8) }) },
  { tag: 53, name: '5', head: 16, size: (r, p) => 16 + 8 * r.u32(p + 4),
    parse: (r, p) => ({ request: r.u32(p + 8), status: r.u32(p + 12), results: r.u32s(p + 16, 2 * r.u32(p + 4)) }) },
  { tag: 109, name: 'm', head: 16, size: fixed(16),
    parse: (r, p) => ({ model: r.u32(p + 4), key: r.u32(p + 8), code: r.u32(p + 12) }) },
  { tag: 112, name: 'p', head: 12, size: (r, p) => 12 + 24 * r.u32(p + 4),
    parse: (r, p) => ({ kind: r.u32(p + 8), boxes: Array.from({ length: r.u32(p + 4) }, (_, i) => box(r, p + 12 + 24 * i)) }) },
  { tag: 116, name: 't', head: 12, size: fixed(12),
    parse: (r, p) => ({ id: r.u32(p + 4), code: r.u32(p + 8) }) },
  { tag: 105, name: 'i', head: 16, size: fixed(16),
    parse: (r, p) => ({ inclusion: r.u32(p + 4), model: r.u32(p + 8), matrix: r.u32(p + 12) }) },
  { tag: 120, name: 'x', head: 24, size: fixed(24),
    parse: (r, p) => ({ attach: r.u32(p + 4), inclusion: r.u32(p + 8), model: r.u32(p + 12),
      matrix: r.u32(p + 16), hidden: r.u32(p + 20) }) },
  { tag: 99, name: 'c', head: 104, size: fixed(104),
    parse: (r, p) => ({ view: r.u32(p + 4), projection: r.u32(p + 8), position: r.f64s(p + 16, 3),
      target: r.f64s(p + 40, 3), up: r.f64s(p + 64, 3), width: r.f64(p + 88), height: r.f64(p + 96) }) },
  { tag: 80, name: 'P', head: 24, size: (r, p) => 24 + 4 * r.u32(p + 20),
    parse: (r, p) => ({ view: r.u32(p + 4), color: r.f32s(p + 8, 3), images: r.u32s(p + 24, r.u32(p + 20)) }) },
  { tag: 118, name: 'v', head: 48, size: fixed(48),
    parse: (r, p) => ({ inclusion: r.u32(p + 4), instance: r.u32(p + 8), materials: r.u32s(p + 12, 3),
      maps: r.u32s(p + 24, 3), clip: r.u32(p + 36), flags: r.u32(p + 40), modifiers: r.u32(p + 44) }) },
  { tag: 54, name: '6', head: 28, size: fixed(28), context: true,
    parse: (r, p) => ({ instance: r.u32(p + 4) }) },
  { tag: 71, name: 'G', head: 12, size: (r, p) => 12 + 4 * r.u32(p + 8), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), words: r.u32s(p + 12, r.u32(p + 8)) }) },
  { tag: 50, name: '2', head: 16, size: (r, p) => 16 + 4 * r.u32(p + 8), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), level: r.u32(p + 12), meshes: r.u32s(p + 16, r.u32(p + 8)) }) },
];
