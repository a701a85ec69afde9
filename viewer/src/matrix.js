// Affine matrices as 12 numbers in row-vector form: the images of the three
// unit vectors, then the translation, so p' = x*row0 + y*row1 + z*row2 + row3.

export const IDENTITY = Object.freeze([1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0]);

// The matrix that applies a first, then b.
export function multiply(a, b) {
  const out = new Array(12);
  for (let row = 0; row < 4; row++) {
    for (let col = 0; col < 3; col++) {
      out[3 * row + col] = a[3 * row] * b[col] + a[3 * row + 1] * b[3 + col] + a[3 * row + 2] * b[6 + col]
        + (row === 3 ? b[9 + col] : 0);
    }
  }
  return out;
}

export function transformPoint(m, [x, y, z]) {
  return [0, 1, 2].map((c) => x * m[c] + y * m[3 + c] + z * m[6 + c] + m[9 + c]);
}
