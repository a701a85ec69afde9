// The low two bits of a mesh's flags give the handedness of its triangles.
// A left-handed mesh (2) has its front on the side from which its triangles
// run clockwise; three.js takes counter-clockwise as the front and turns
// the normals of a face seen from behind, which would light such a mesh
// from the back. Its face triangles are turned here, once, as it arrives.
const HANDEDNESS = 3;
const LEFT = 2;
const ATTRIBUTES = [['positions', 3], ['normals', 3], ['uvs', 2], ['colors', 4]];

function swapRuns(array, size, a, b) {
  for (let k = 0; k < size; k++) {
    const t = array[size * a + k];
    array[size * a + k] = array[size * b + k];
    array[size * b + k] = t;
  }
}

// Makes the face triangles of decoded mesh data counter-clockwise in front;
// `data` as the mesh records give it: indices, or vertices in index order.
export function frontCounterClockwise(data) {
  if ((data.flags & HANDEDNESS) !== LEFT) return data;
  const faces = data.counts[0] - (data.counts[0] % 3);
  for (let i = 0; i < faces; i += 3) {
    if (data.indices) {
      swapRuns(data.indices, 1, i + 1, i + 2);
    } else {
      for (const [name, size] of ATTRIBUTES) if (data.vertices[name]) swapRuns(data.vertices[name], size, i + 1, i + 2);
    }
  }
  return data;
}
