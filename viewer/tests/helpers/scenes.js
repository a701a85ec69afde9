import { FIRST_INCLUSION, ROOT_MODEL, StreamWriter } from './StreamWriter.js';
import { encodePng } from './png.js';

const translate = (x, y, z) => [1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, z];
const UP = [0, 0, 1];
const NO_MATERIAL = 0xFFFFFFFF;

// A unit cube around the origin: 4 vertices with their normal per side, one
// face element per side, and its 12 edges as one line element.
export function cube() {
  const positions = [];
  const normals = [];
  const faces = [];
  for (const [axis, sign] of [[0, 1], [0, -1], [1, 1], [1, -1], [2, 1], [2, -1]]) {
    const base = positions.length;
    for (const [a, b] of [[-1, -1], [1, -1], [1, 1], [-1, 1]]) {
      const p = [0, 0, 0];
      [p[axis], p[(axis + 1) % 3], p[(axis + 2) % 3]] = [sign, a * sign, b];
      positions.push(p);
      normals.push(p.map((_, k) => (k === axis ? sign : 0)));
    }
    faces.push([base, base + 1, base + 2, base, base + 2, base + 3]);
  }
  return { positions, normals, faces, lines: [[0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4]] };
}

// A square in the plane at `z`, facing up, with texture coordinates.
export function quad(z = 0, half = 1) {
  return {
    positions: [[-half, -half, z], [half, -half, z], [half, half, z], [-half, half, z]],
    normals: [UP, UP, UP, UP],
    uvs: [[0, 0], [1, 0], [1, 1], [0, 1]],
    faces: [[0, 1, 2, 0, 2, 3]],
  };
}

export const triangle = () => ({
  positions: [[-1, -1, 0], [1, -1, 0], [0, 1, 0]], normals: [UP, UP, UP], faces: [[0, 1, 2]],
});

// A line element of one segment from `a` to `b`.
export const segment = (a, b) => ({ positions: [a, b], faces: [], lines: [[0, 1]] });

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

// Orange and blue squares of `cell` pixels, RGBA or RGB.
function checkerboard(size, cell, channels = 4) {
  const out = new Uint8Array(size * size * channels);
  for (let i = 0; i < size * size; i++) {
    const on = ((i % size / cell | 0) + (i / size / cell | 0)) % 2 === 0;
    out.set((on ? [230, 120, 20, 255] : [20, 60, 200, 255]).slice(0, channels), channels * i);
  }
  return out;
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
    .context(m).matrix(0xFFFFFFFE, translate(0, 0, 0.5))
    .inclusion(FIRST_INCLUSION, m, 0xFFFFFFFE)
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

  // The texture is coarser than its preview, so that the upgrade shows.
  w.image(1, { format: 1, preview: true, width: 64, height: 64, data: checkerboard(64, 8, 3) })
    .material(9, { textures: [{ image: 1 }] })
    .meshDefinition(m, 3, { materials: [9, 0, 0] })
    .matrix(3, translate(-3, 0, 0))
    .instance({ key: 4, mesh: 3, matrix: 3 })
    .meshDefinition(m, 4)
    .matrix(4, translate(0, 3, 0))
    .instance({ key: 5, mesh: 4, matrix: 4 });
  const png = encodePng(128, 128, checkerboard(128, 32));
  w.image(1, { format: 5, pixelFormat: 1, width: png.length, height: 1, data: png }).end();
  if (compressed !== null) w.compress(compressed);
  const tail = new StreamWriter().context(m).indexedMesh(1, cube()).expandedMesh(3, { ...quad(), normals: null }, 4)
    .indexedMesh(4, pointGrid(8)).end();
  if (compressed !== null) tail.compress(compressed);
  return w.add(tail.bytes()).bytes();
}

// Small scenes for checks of what reaches the screen. Each is seen through
// a view camera on the z axis that looks at the origin, up being y, whose
// view is 3 units high at the origin: on an 800 x 600 page a unit is 200
// pixels and the origin is at the centre pixel (400, 300).
// `items` are { mesh, material, clip?, materials?, maps? } in stream order;
// each becomes mesh, instance and mesh data under the key of its position + 1.
// `eye` moves the camera, `background` gives the view a background.
export function frontScene(items, options = {}) {
  const { eye = [0, 0, 4], background = null, backgroundImage = null, before = () => {} } = options;
  const m = ROOT_MODEL;
  const w = new StreamWriter();
  w.head().sceneRoot(m);
  w.view(0, { position: eye, target: [0, 0, 0], up: [0, 1, 0], width: 4, height: 3 * Math.hypot(...eye) / 4 },
    background ?? [-1, -1, -1], backgroundImage ? [backgroundImage] : []);
  w.context(m).inclusion(FIRST_INCLUSION, m, 0).bounds([-1.5, -1.5, -1, 1.5, 1.5, 1]);
  before(w);
  items.forEach((item, i) => {
    const materials = item.materials ?? [item.material ?? NO_MATERIAL, item.material ?? NO_MATERIAL, NO_MATERIAL];
    w.meshDefinition(m, i + 1, { maps: item.maps ?? [0, 0, 0] })
      .instance({ key: i + 1, mesh: i + 1, materials, clip: item.clip ?? 0 });
  });
  items.forEach((item, i) => w.indexedMesh(i + 1, item.mesh));
  return w.end().bytes();
}

// One grey triangle facing the camera: the smallest page there is.
export const triangleScene = () => frontScene([{ mesh: triangle(), material: 1 }], {
  before: (w) => w.color(1, [0.5, 0.5, 0.5, 1]),
});

// The unit cube with its six sides in red, green, blue, and their
// complements, through a material map, seen from a corner.
export function colourCube() {
  const sides = [[1, 0, 0, 1], [0, 1, 1, 1], [0, 1, 0, 1], [1, 0, 1, 1], [0, 0, 1, 1], [1, 1, 0, 1]];
  return frontScene([{ mesh: { ...cube(), lines: [] }, maps: [1, 0, 0] }], {
    eye: [3, 3, 3],
    before: (w) => {
      sides.forEach((c, i) => w.color(10 + i, c));
      w.materialMap(1, sides.map((_, i) => 10 + i));
    },
  });
}

// A raw 2 x 2 image of one colour, RGB or RGBA by the colour's length.
export function plainImage(w, key, colour) {
  const data = Uint8Array.from({ length: 4 * colour.length }, (_, i) => colour[i % colour.length]);
  return w.image(key, { format: colour.length === 4 ? 0 : 1, width: 2, height: 2, data });
}
