import { BufferAttribute, BufferGeometry } from 'three';

// three.js geometries for the three classes of one decoded mesh. The
// classes share the vertex attributes; each has its own index range.

const CLASS_BITS = [[0x10, 0x20, 0x40], [0x100, 0x200, 0x400], [0x1000, 0x2000, 0x4000]];

function sharedAttributes(data) {
  const { positions, normals, uvs, colors } = data.vertices;
  return {
    position: new BufferAttribute(positions, 3),
    normal: normals && new BufferAttribute(normals, 3),
    uv: uvs && new BufferAttribute(uvs, 2),
    color: colors && new BufferAttribute(colors, 4, true),
  };
}

// Index range of class c: [start, count] within the class order faces, lines, points.
function classRange(data, c) {
  const [faces, lines] = data.counts;
  return [[0, faces, faces + lines][c], data.counts[c]];
}

function classGeometry(data, attributes, c) {
  const [start, count] = classRange(data, c);
  const [normalBit, uvBit, colorBit] = CLASS_BITS[c];
  const geometry = new BufferGeometry();
  geometry.setAttribute('position', attributes.position);
  if (attributes.normal && data.flags & normalBit) geometry.setAttribute('normal', attributes.normal);
  if (attributes.uv && data.flags & uvBit) geometry.setAttribute('uv', attributes.uv);
  if (attributes.color && data.flags & colorBit) geometry.setAttribute('color', attributes.color);
  if (data.indices) geometry.setIndex(new BufferAttribute(data.indices.subarray(start, start + count), 1));
  else geometry.setDrawRange(start, count);
  if (c === 0 && !geometry.getAttribute('normal')) geometry.computeVertexNormals();
  geometry.computeBoundingSphere();
  geometry.userData.rangeStart = data.indices ? 0 : start;
  return geometry;
}

// [faces, lines, points] geometries; null for an empty class.
export function meshGeometries(data) {
  const attributes = sharedAttributes(data);
  return [0, 1, 2].map((c) => (data.counts[c] ? classGeometry(data, attributes, c) : null));
}

// A view of a class geometry with one draw group per run of elements that
// share a material slot; `slotOf(i)` gives the slot of element i.
export function groupedGeometry(geometry, elements, slotOf) {
  const grouped = new BufferGeometry();
  for (const [name, attribute] of Object.entries(geometry.attributes)) grouped.setAttribute(name, attribute);
  grouped.setIndex(geometry.index);
  grouped.setDrawRange(geometry.drawRange.start, geometry.drawRange.count);
  grouped.boundingSphere = geometry.boundingSphere;
  const base = geometry.userData.rangeStart;
  for (let i = 0; i < elements.length / 3; i++) {
    const [first, count, slot] = [elements[3 * i], elements[3 * i + 1], slotOf(i)];
    const last = grouped.groups[grouped.groups.length - 1];
    if (last && last.materialIndex === slot && last.start + last.count === base + first) last.count += count;
    else grouped.addGroup(base + first, count, slot);
  }
  return grouped;
}

// The line class of a mesh as separate segments with the distance along
// their element at each end, for patterned lines: the pattern runs on
// along a polyline and starts anew with each element.
export function patternedLines(data) {
  const { positions, colors } = data.vertices;
  const [start, count] = classRange(data, 1);
  const index = (i) => (data.indices ? data.indices[start + i] : start + i);
  const elements = data.elements.lines;
  const out = new Float32Array(count * 3);
  const distances = new Float32Array(count);
  const outColors = colors && data.flags & CLASS_BITS[1][2] ? new Uint8Array(count * 4) : null;
  for (let e = 0; e < elements.length / 3; e++) {
    const [first, n] = [elements[3 * e], elements[3 * e + 1]];
    let along = 0;
    for (let i = first; i + 1 < first + n; i += 2) {
      const [a, b] = [index(i), index(i + 1)];
      const length = Math.hypot(...[0, 1, 2].map((k) => positions[3 * b + k] - positions[3 * a + k]));
      out.set(positions.subarray(3 * a, 3 * a + 3), 3 * i);
      out.set(positions.subarray(3 * b, 3 * b + 3), 3 * i + 3);
      distances[i] = along;
      distances[i + 1] = along += length;
      outColors?.set(colors.subarray(4 * a, 4 * a + 4), 4 * i);
      outColors?.set(colors.subarray(4 * b, 4 * b + 4), 4 * i + 4);
    }
  }
  const geometry = new BufferGeometry();
  geometry.setAttribute('position', new BufferAttribute(out, 3));
  geometry.setAttribute('lineDistance', new BufferAttribute(distances, 1));
  if (outColors) geometry.setAttribute('color', new BufferAttribute(outColors, 4, true));
  geometry.computeBoundingSphere();
  return geometry;
}
