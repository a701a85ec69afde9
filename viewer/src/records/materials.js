// Materials, material maps, matrices, line patterns and clip shapes.

const fixed = (n) => () => n;

const textureRefs = (r, pos, n) =>
  Array.from({ length: n }, (_, i) => ({
    image: r.u32(pos + 12 * i), matrix: r.u32(pos + 12 * i + 4), word: r.u32(pos + 12 * i + 8),
  }));

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
    parse: (r, p) => ({ key: r.u32(p + 4) }) },
  { tag: 89, name: 'Y', head: 16, size: (r, p) => 16 + 4 * r.u32(p + 8) + 12 * r.u32(p + 12), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), loops: r.u32(p + 8), points: r.u32(p + 12) }) },
  { tag: 121, name: 'y', head: 16, size: (r, p) => r.u32(p + 8), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), loops: r.u32(p + 12) }) },
];
