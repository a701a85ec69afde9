import { ClampToEdgeWrapping, CubeTexture, NearestFilter, RepeatWrapping, SRGBColorSpace, Texture } from 'three';
import { RAW_BYTES_PER_PIXEL } from '../records/image.js';

// Textures of the stream's images. A material that uses an image gets its
// texture once pixels exist, and a new one when a better level arrives.

const TILING_OFF = 0x1;
const NEAREST_MAGNIFY = 0x10;
const NEAREST_MINIFY = 0x100;
const RGBA = 0;
const GRAY_ALPHA = 3;

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

// The 2D part of a 12-number texture matrix, as the uniform wants it.
function setUvMatrix(target, m) {
  target.set(m[0], m[3], m[9], m[1], m[4], m[10], 0, 0, 1);
}

export class TextureStore {
  constructor(onChange) {
    this.onChange = onChange;
    this.images = new Map(); // "model:key" -> { image, level, alpha, users }
    this.pending = 0; // image decodes under way
  }

  entry(model, key) {
    const id = `${model.id}:${model.imageKey(key)}`;
    let e = this.images.get(id);
    if (!e) this.images.set(id, (e = { image: null, level: -1, alpha: false, users: [] }));
    return e;
  }

  // `material` shows image `ref.image` of `model` in diffuse slot 0 or 1,
  // through `ref`'s matrix and word.
  use(model, ref, material, slot) {
    const e = this.entry(model, ref.image);
    setUvMatrix(material.uniforms[`uvMatrix${slot}`].value, model.matrix(ref.matrix));
    const user = { material, word: ref.word, slot };
    e.users.push(user);
    if (e.image) this.assign(e, user);
  }

  // `show` receives a texture of image `key` of `model` (display colours
  // passed through as they are), and a new one for a better level.
  useImage(model, key, show) {
    const e = this.entry(model, key);
    const user = { show };
    e.users.push(user);
    if (e.image) this.assignPlain(e, user);
  }

  assignPlain(e, user) {
    const texture = new Texture(e.image);
    texture.flipY = false;
    texture.needsUpdate = true;
    user.show(texture);
  }

  // `material` reflects one image (a panorama) or six (the sides of a cube,
  // +x, -x, +y, -y, +z, -z), once all of them have pixels.
  useEnvironment(model, keys, material) {
    if (keys.length !== 1 && keys.length !== 6) return;
    const entries = keys.map((key) => this.entry(model, key));
    const user = { material, environment: entries };
    for (const e of new Set(entries)) e.users.push(user);
    this.assignEnvironment(user);
  }

  // Takes an image block; a main level replaces a preview, never the reverse.
  add(model, record) {
    const e = this.entry(model, record.key);
    const level = record.preview ? 0 : 1;
    if (level <= e.level) return;
    e.level = level;
    e.alpha ||= record.pixelFormat === RGBA || record.pixelFormat === GRAY_ALPHA;
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
    for (const user of e.users) {
      if (user.environment) this.assignEnvironment(user);
      else if (user.show) this.assignPlain(e, user);
      else this.assign(e, user);
    }
    this.onChange();
  }

  assign(e, user) {
    const texture = new Texture(e.image);
    texture.flipY = false;
    texture.colorSpace = SRGBColorSpace;
    const tiled = !(user.word & TILING_OFF);
    texture.wrapS = texture.wrapT = tiled ? RepeatWrapping : ClampToEdgeWrapping;
    if (user.word & NEAREST_MAGNIFY) texture.magFilter = NearestFilter;
    if (user.word & NEAREST_MINIFY) texture.minFilter = NearestFilter;
    texture.needsUpdate = true;
    const { material, slot } = user;
    const name = `map${slot}`;
    const old = material.uniforms[name]?.value;
    material.uniforms[name] ??= {};
    material.uniforms[name].value = texture;
    if (!old || (e.alpha && !material.transparent)) {
      material.defines[`MAP${slot}`] = '';
      if (e.alpha && slot === 0) Object.assign(material, { transparent: true, depthWrite: false });
      material.needsUpdate = true;
    }
    old?.dispose();
  }

  assignEnvironment(user) {
    const { material, environment } = user;
    if (environment.some((e) => !e.image)) return;
    const images = environment.map((e) => e.image);
    const texture = images.length === 6 ? new CubeTexture(images) : new Texture(images[0]);
    texture.colorSpace = SRGBColorSpace;
    texture.needsUpdate = true;
    const old = material.uniforms.envMap?.value;
    material.uniforms.envMap ??= {};
    material.uniforms.envMap.value = texture;
    if (!old) {
      material.defines[images.length === 6 ? 'ENV_CUBE' : 'ENV_MAP'] = '';
      material.needsUpdate = true;
    }
    old?.dispose();
  }
}
