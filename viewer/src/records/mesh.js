import { StreamError, pad4 } from '../ByteReader.js';
import { allocVertices, readVertices, vertexLayout } from '../vertices.js';

// Mesh definitions, instances and the three stream mesh records.

const CLASSES = ['faces', 'lines', 'points'];

// Element table: per class an array of [first, count, bits] triples.
function readElements(r, pos, counts, elementCounts) {
  const out = {};
  CLASSES.forEach((cls, c) => {
    const list = new Uint32Array(elementCounts[c] * 3);
    for (let i = 0; i < list.length; i++) list[i] = r.u32(pos + 4 * i);
    for (let i = 0; i < elementCounts[c]; i++) {
      if (list[3 * i] + list[3 * i + 1] > counts[c]) {
        throw new StreamError(`${cls} element ${i} reaches past the ${counts[c]} indices of its class`);
      }
    }
    pos += list.length * 4;
    out[cls] = list;
  });
  return out;
}

const sum = (a) => a[0] + a[1] + a[2];

function indexedSize(r, p) {
  const { stride } = vertexLayout(r.u32(p + 8));
  const indices = r.u32(p + 16) + r.u32(p + 20) + r.u32(p + 24);
  const elements = r.u32(p + 28) + r.u32(p + 32) + r.u32(p + 36);
  return 40 + r.u32(p + 12) * stride + pad4(2 * indices) + 12 * elements;
}

function parseIndexed(r, p) {
  const flags = r.u32(p + 8);
  const layout = vertexLayout(flags);
  const vertexCount = r.u32(p + 12);
  if (vertexCount > 65535) throw new StreamError(`indexed mesh has ${vertexCount} vertices`);
  const counts = r.u32s(p + 16, 3);
  const vertices = allocVertices(layout, vertexCount);
  readVertices(r, p + 40, vertexCount, layout, vertices);
  const total = sum(counts);
  const indexPos = p + 40 + vertexCount * layout.stride;
  const indices = new Uint16Array(total);
  for (let i = 0; i < total; i++) {
    const index = r.u16(indexPos + 2 * i);
    if (index >= vertexCount) throw new StreamError(`mesh index ${index} is not below its ${vertexCount} vertices`);
    indices[i] = index;
  }
  const elements = readElements(r, indexPos + pad4(2 * total), counts, r.u32s(p + 28, 3));
  return { key: r.u32(p + 4), flags, counts, vertices, indices, elements };
}

function parseExpandedHead(r, p) {
  const counts = r.u32s(p + 12, 3);
  return {
    key: r.u32(p + 4), flags: r.u32(p + 8), counts,
    elements: readElements(r, p + 44, counts, r.u32s(p + 24, 3)),
  };
}

export const meshRecords = [
  { tag: 77, name: 'M', head: 68, size: () => 68,
    parse: (r, p) => ({ model: r.u32(p + 4), key: r.u32(p + 8), duplicateOf: r.u32(p + 12),
      duplicateMatrix: r.u32(p + 16), materials: r.u32s(p + 20, 3), maps: r.u32s(p + 32, 3),
      bounds: r.f32s(p + 44, 6) }) },
  { tag: 73, name: 'I', head: 72, size: () => 72, context: true,
    parse: (r, p) => ({ inclusion: r.u32(p + 4), key: r.u32(p + 8), nodePath: [r.u32(p + 16), r.u32(p + 20)],
      mesh: r.u32(p + 24), matrix: r.u32(p + 28), materials: r.u32s(p + 32, 3), maps: r.u32s(p + 44, 3),
      clip: r.u32(p + 56), flags: r.u32(p + 60), modifiers: r.u32(p + 64) }) },
  { tag: 81, name: 'Q', head: 40, size: indexedSize, context: true, parse: parseIndexed },
  { tag: 82, name: 'R', head: 44, context: true,
    size: (r, p) => 44 + 12 * (r.u32(p + 24) + r.u32(p + 28) + r.u32(p + 32)),
    parse: parseExpandedHead },
  { tag: 114, name: 'r', head: 12, size: (r, p) => 12 + pad4(r.u32(p + 8)), context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), reader: r, pos: p + 12, length: r.u32(p + 8) }) },
];
