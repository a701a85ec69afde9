// Builds one little-endian record from a list of [type, value] fields.
const SIZES = { u8: 1, u16: 2, u32: 4, f32: 4, f64: 8 };

export function record(fields) {
  let size = 0;
  for (const [type, value] of fields) size += type === 'bytes' ? value.length : SIZES[type];
  const out = new Uint8Array(size);
  const view = new DataView(out.buffer);
  let p = 0;
  for (const [type, value] of fields) {
    if (type === 'bytes') out.set(value, p);
    else if (type === 'u8') view.setUint8(p, value);
    else if (type === 'u16') view.setUint16(p, value, true);
    else if (type === 'u32') view.setUint32(p, value >>> 0, true);
    else if (type === 'f32') view.setFloat32(p, value, true);
    else view.setFloat64(p, value, true);
    p += type === 'bytes' ? value.length : SIZES[type];
  }
  return out;
}

export const u32 = (...values) => values.map((v) => ['u32', v]);
export const f32 = (...values) => values.map((v) => ['f32', v]);
export const f64 = (...values) => values.map((v) => ['f64', v]);

export function concat(parts) {
  const out = new Uint8Array(parts.reduce((n, p) => n + p.length, 0));
  let p = 0;
  for (const part of parts) {
    out.set(part, p);
    p += part.length;
  }
  return out;
}

export function padTo4(bytes, fill = 0) {
  const out = new Uint8Array((bytes.length + 3) & ~3).fill(fill);
  out.set(bytes);
  return out;
}

// A repeatable sequence of 32-bit numbers.
export const randomFrom = (seed) => () => (seed = (seed * 1103515245 + 12345) >>> 0);
