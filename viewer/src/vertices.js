import { StreamError } from './ByteReader.js';

// Vertex layout of mesh records: position, then optional normal, uv and
// colour, packed without padding.
export const HAS_NORMAL = 0x10000000;
export const HAS_UV = 0x20000000;
export const HAS_COLOR = 0x40000000;
export const HAS_ALPHA = 0x80000000;

export function vertexLayout(flags) {
  const normal = (flags & HAS_NORMAL) !== 0;
  const uv = (flags & HAS_UV) !== 0;
  const color = (flags & HAS_COLOR) !== 0;
  return { normal, uv, color, stride: 12 + (normal ? 12 : 0) + (uv ? 8 : 0) + (color ? 4 : 0) };
}

// Empty attribute arrays for `count` vertices.
export function allocVertices(layout, count) {
  return {
    count,
    positions: new Float32Array(count * 3),
    normals: layout.normal ? new Float32Array(count * 3) : null,
    uvs: layout.uv ? new Float32Array(count * 2) : null,
    colors: layout.color ? new Uint8Array(count * 4) : null,
  };
}

// A copy of `vertices` with room for `count` vertices, the first ones kept.
export function growVertices(vertices, count) {
  const out = { count };
  for (const name of ['positions', 'normals', 'uvs', 'colors']) {
    const old = vertices[name];
    out[name] = old && new old.constructor((old.length / vertices.count) * count);
    out[name]?.set(old);
  }
  return out;
}

// Copies `count` packed vertices at `pos` into `out` from vertex `first` on.
// A colour that is absent comes as the bytes of -1.0f; it becomes white so
// that the material's colour shows through.
export function readVertices(r, pos, count, layout, out, first = 0) {
  const { stride } = layout;
  r.need(pos, count * stride, 'vertex array');
  if (first + count > out.count) throw new StreamError('mesh has more vertices than announced');
  for (let i = 0; i < count; i++) {
    let p = pos + i * stride;
    const v = first + i;
    out.positions[3 * v] = r.f32(p);
    out.positions[3 * v + 1] = r.f32(p + 4);
    out.positions[3 * v + 2] = r.f32(p + 8);
    p += 12;
    if (out.normals) {
      out.normals[3 * v] = r.f32(p);
      out.normals[3 * v + 1] = r.f32(p + 4);
      out.normals[3 * v + 2] = r.f32(p + 8);
      p += 12;
    }
    if (out.uvs) {
      out.uvs[2 * v] = r.f32(p);
      out.uvs[2 * v + 1] = r.f32(p + 4);
      p += 8;
    }
    if (out.colors) {
      const absent = r.u32(p) === 0xBF800000;
      for (let c = 0; c < 4; c++) out.colors[4 * v + c] = absent ? 255 : r.bytes[p + c];
    }
  }
}
