import { StreamError } from '../ByteReader.js';

// The bounding tree of a model: a head, then its nodes depth first.
export const treeRecords = [
  { tag: 111, name: 'o', head: 16, size: () => 16, context: true,
    parse: (r, p) => {
      const bytes = r.u32(p + 4);
      const nodes = r.u32(p + 8);
      if (bytes !== 16 + 48 * nodes) {
        throw new StreamError(`tree head says ${bytes} bytes for ${nodes} nodes`);
      }
      return { nodes, weight: r.u32(p + 12) };
    } },
  { tag: 79, name: 'O', head: 48, size: () => 48, context: true,
    parse: (r, p) => ({ items: r.u32(p + 4), weight: r.u32(p + 8), children: r.u32(p + 12),
      path: [r.u32(p + 16), r.u32(p + 20)], bounds: r.f32s(p + 24, 6) }) },
];
