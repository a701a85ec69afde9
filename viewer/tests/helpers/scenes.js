import { FIRST_INCLUSION, ROOT_MODEL, StreamWriter } from './StreamWriter.js';
import { encodePng } from './png.js';

const INCLUSION_MATRIX = 0xFFFFFFFE;
const translate = (x, y, z) => [1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, z];

// A unit cube around the origin: 4 vertices with their normal per side, one
// face element per side, and its 12 edges as one line element.
export function cube() {
  const positions = [];
  const normals = [];
  const faces = [];
  const sides = [[0, 1], [0, -1], [1, 1], [1, -1], [2, 1], [2, -1]];
  for (const [axis, sign] of sides) {
    const [u, v] = [(axis + 1) % 3, (axis + 2) % 3];
    const base = positions.length;
    for (const [a, b] of [[-1, -1], [1, -1], [1, 1], [-1, 1]]) {
      const p = [0, 0, 0];
      p[axis] = sign;
      p[u] = a * sign;
      p[v] = b;
      positions.push(p);
      const n = [0, 0, 0];
      n[axis] = sign;
      normals.push(n);
    }
    faces.push([base, base + 1, base + 2, base, base + 2, base + 3]);
  }
  const lines = [[0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4]];
  return { positions, normals, faces, lines };
}

export function quad() {
  return {
    positions: [[-1, -1, 0], [1, -1, 0], [1, 1, 0], [-1, 1, 0]],
    uvs: [[0, 0], [1, 0], [1, 1], [0, 1]],
    faces: [[0, 1, 2, 0, 2, 3]],
  };
}

export function pointGrid(n) {
  const positions = [];
  const colors = [];
  for (let i = 0; i < n; i++) {
    for (let j = 0; j < n; j++) {
      positions.push([i / (n - 1) * 2 - 1, j / (n - 1) * 2 - 1, 0]);
      colors.push([255 * i / n | 0, 255 * j / n | 0, 128, 255]);
    }
  }
  return { positions, colors, faces: [], points: [positions.map((_, i) => i)] };
}

export function checkerboard(size, cell) {
  const rgba = new Uint8Array(size * size * 4);
  for (let y = 0; y < size; y++) {
    for (let x = 0; x < size; x++) {
      const on = ((x / cell | 0) + (y / cell | 0)) % 2 === 0;
      rgba.set(on ? [230, 120, 20, 255] : [20, 60, 200, 255], 4 * (y * size + x));
    }
  }
  return rgba;
}

function rgbOf(rgba) {
  const rgb = new Uint8Array(rgba.length / 4 * 3);
  for (let i = 0; i < rgba.length / 4; i++) rgb.set(rgba.subarray(4 * i, 4 * i + 3), 3 * i);
  return rgb;
}

// Two cubes of one mesh, a half-size duplicate of it, a textured quad sent
// as an expanded mesh, and a coloured point grid: every kind of content the
// viewer draws, in the order the stream engine writes it. `keyed` replaces
// the model's keyed data, a list of [key, bytes].
export function sampleScene({ compressed = null, keyed = null } = {}) {
  const w = new StreamWriter();
  const m = ROOT_MODEL;
  w.head()
    .event(0xFFFFFFFE, 0x4000009, 0, [m, m]).sceneRoot(m)
    .view(0, { position: [4, -6, 8], target: [0, 1.5, 0.5], up: [0, 0, 1], width: 12, height: 12 }, [0.85, 0.9, 0.85])
    .event(0xFFFFFFFE, 0x4000009, 0, [m, m]).event(m, 0x400000B, 0, [FIRST_INCLUSION, 1])
    .context(m).matrix(INCLUSION_MATRIX, translate(0, 0, 0.5))
    .inclusion(FIRST_INCLUSION, m, INCLUSION_MATRIX)
    .tree([{ items: 5, children: 0, bounds: [-4, -1, -1, 4, 4, 1] }])
    .bounds([-4, -1, -0.5, 4, 4, 1.5]);
  if (compressed !== null) w.compress(compressed);
  w.keyed(m, keyed ?? [[1, new TextEncoder().encode('{"name":"sample"}')]], compressed === 1);
  w.context(m).text('<PRIORITY_KEYED_DATA_SENT>');

  const sideColors = [[1, 0, 0, 1], [0, 1, 0, 1], [0, 0, 1, 1], [1, 1, 0, 1], [0, 1, 1, 1], [1, 0, 1, 1]];
  sideColors.forEach((c, i) => w.color(2 + i, c));
  w.materialMap(1, [2, 3, 4, 5, 6, 7])
    .meshDefinition(m, 1, { maps: [1, 0, 0], bounds: [-1, -1, -1, 1, 1, 1] })
    .instance({ key: 1, mesh: 1 })
    .color(8, [0.8, 0.8, 0.8, 1]).matrix(1, translate(3, 0, 0))
    .instance({ key: 2, mesh: 1, matrix: 1, materials: [8, 8, 8] })
    .matrix(5, [0.5, 0, 0, 0, 0.5, 0, 0, 0, 0.5, 0, 0, 0])
    .meshDefinition(m, 2, { duplicateOf: 1, duplicateMatrix: 5, bounds: [-0.5, -0.5, -0.5, 0.5, 0.5, 0.5] })
    .matrix(2, translate(0, 3, 0))
    .instance({ key: 3, mesh: 2, matrix: 2, materials: [8, 8, 8] });

  const texture = checkerboard(128, 32); // coarser than the preview, so the upgrade shows
  w.image(1, { format: 1, preview: true, width: 64, height: 64, data: rgbOf(checkerboard(64, 8)) })
    .material(9, { textures: [{ image: 1 }] })
    .meshDefinition(m, 3, { materials: [9, 0, 0] })
    .matrix(3, translate(-3, 0, 0))
    .instance({ key: 4, mesh: 3, matrix: 3 })
    .meshDefinition(m, 4)
    .matrix(4, translate(0, 3, 0))
    .instance({ key: 5, mesh: 4, matrix: 4 });
  const png = encodePng(128, 128, texture);
  w.image(1, { format: 5, pixelFormat: 1, width: png.length, height: 1, data: png })
    .end();
  if (compressed !== null) w.compress(compressed);
  const tail = new StreamWriter().context(m)
    .indexedMesh(1, cube())
    .expandedMesh(3, quad(), 4)
    .indexedMesh(4, pointGrid(8))
    .end();
  if (compressed !== null) tail.compress(compressed);
  return w.add(tail.bytes()).bytes();
}

// One triangle facing the camera, of a 0.5 grey simple colour: the
// smallest page there is.
export function triangleScene(color = [0.5, 0.5, 0.5, 1]) {
  const m = ROOT_MODEL;
  const w = new StreamWriter();
  w.head().sceneRoot(m).context(m).inclusion(FIRST_INCLUSION, m, 0)
    .bounds([-1, -1, 0, 1, 1, 0])
    .color(1, color)
    .meshDefinition(m, 1, { materials: [1, 0, 0], bounds: [-1, -1, 0, 1, 1, 0] })
    .instance({ key: 1, mesh: 1 })
    .indexedMesh(1, { positions: [[-1, -1, 0], [1, -1, 0], [0, 1, 0]], normals: [[0, 0, 1], [0, 0, 1], [0, 0, 1]], faces: [[0, 1, 2]] })
    .end();
  return w.bytes();
}
