import { ClampToEdgeWrapping, NearestFilter, RepeatWrapping, Texture } from 'three';
import { RAW_BYTES_PER_PIXEL } from '../records/image.js';

// Textures of the stream's images. A material that uses an image gets its
// map once pixels exist, and a new map when a better level arrives.

const TILING_OFF = 0x1;
const NEAREST_MAGNIFY = 0x10;
const NEAREST_MINIFY = 0x100;

// Raw pixels to RGBA, bottom row first, as textures are sampled.
export function rawToImageData(record) {
  const { width, height, data, format } = record;
  const bpp = RAW_BYTES_PER_PIXEL[format];
  const rgba = new Uint8ClampedArray(width * height * 4);
  for (let y = 0; y < height; y++) {
    const src = (height - 1 - y) * width * bpp;
    for (let x = 0; x < width; x++) {
      const s = src + x * bpp;
      const d = 4 * (y * width + x);
      const gray = bpp <= 2;
      rgba[d] = data[s];
      rgba[d + 1] = gray ? data[s] : data[s + 1];
      rgba[d + 2] = gray ? data[s] : data[s + 2];
      rgba[d + 3] = bpp === 4 ? data[s + 3] : bpp === 2 ? data[s + 1] : 255;
    }
  }
  return new ImageData(rgba, width, height);
}

export class TextureStore {
  constructor(onChange) {
    this.onChange = onChange;
    this.images = new Map(); // "model:key" -> { image, level, users }
    this.pending = 0; // image decodes under way
  }

  entry(model, key) {
    const id = `${model.id}:${model.imageKey(key)}`;
    let e = this.images.get(id);
    if (!e) this.images.set(id, (e = { image: null, level: -1, users: [] }));
    return e;
  }

  // `material` shows image `ref.image` of `model` through `ref`'s matrix and word.
  use(model, ref, material) {
    const e = this.entry(model, ref.image);
    const user = { material, matrix: model.matrix(ref.matrix), word: ref.word };
    e.users.push(user);
    if (e.image) this.assign(e, user);
  }

  // Takes an image block; a main level replaces a preview, never the reverse.
  add(model, record) {
    const e = this.entry(model, record.key);
    const level = record.preview ? 0 : 1;
    if (level <= e.level) return;
    e.level = level;
    if (record.format < 4) {
      this.show(e, level, rawToImageData(record));
      return;
    }
    this.pending++;
    createImageBitmap(new Blob([record.data]), { imageOrientation: 'flipY' })
      .then((bitmap) => this.show(e, level, bitmap))
      .catch(() => {}) // an image that the browser can't read stays at its preview
      .finally(() => { this.pending--; this.onChange(); });
  }

  show(e, level, image) {
    if (level < e.level) return;
    e.image = image;
    for (const user of e.users) this.assign(e, user);
    this.onChange();
  }

  assign(e, user) {
    const texture = new Texture(e.image);
    texture.flipY = false;
    const tiled = !(user.word & TILING_OFF);
    texture.wrapS = texture.wrapT = tiled ? RepeatWrapping : ClampToEdgeWrapping;
    if (user.word & NEAREST_MAGNIFY) texture.magFilter = NearestFilter;
    if (user.word & NEAREST_MINIFY) texture.minFilter = NearestFilter;
    const m = user.matrix;
    texture.matrixAutoUpdate = false;
    texture.matrix.set(m[0], m[3], m[9], m[1], m[4], m[10], 0, 0, 1);
    texture.needsUpdate = true;
    const old = user.material.map;
    user.material.map = texture;
    if (!old) user.material.needsUpdate = true;
    old?.dispose();
  }
}
