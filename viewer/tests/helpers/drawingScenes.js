import { FIRST_INCLUSION, ROOT_MODEL, StreamWriter } from './StreamWriter.js';
import { cube } from './scenes.js';

// Small scenes for checks of what reaches the screen. Each is seen through
// a view camera on the z axis that looks at the origin, up being y, whose
// view is 3 units high at the origin: on an 800 x 600 page a unit is 200
// pixels and the origin is at the centre pixel (400, 300).

const UP = [0, 0, 1];
const NO_MATERIAL = 0xFFFFFFFF;

export function quad(z = 0, half = 1) {
  return {
    positions: [[-half, -half, z], [half, -half, z], [half, half, z], [-half, half, z]],
    normals: [UP, UP, UP, UP],
    uvs: [[0, 0], [1, 0], [1, 1], [0, 1]],
    faces: [[0, 1, 2, 0, 2, 3]],
  };
}

export const triangle = () => ({ positions: [[-1, -1, 0], [1, -1, 0], [0, 1, 0]], normals: [UP, UP, UP], faces: [[0, 1, 2]] });

// A line element of one segment from `a` to `b`.
export const segment = (a, b) => ({ positions: [a, b], faces: [], lines: [[0, 1]] });

// `items` are { mesh, material, clip?, materials? } in stream order; each
// becomes mesh, instance and mesh data under the key of its position + 1.
// `eye` moves the camera, `background` gives the view a background.
export function frontScene(items, { eye = [0, 0, 4], background = null, backgroundImage = null, before = () => {} } = {}) {
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
