import { DoubleSide, GLSL3, Matrix3, RawShaderMaterial } from 'three';
import { FACE_FRAGMENT, FACE_VERTEX, PLAIN_FRAGMENT, PLAIN_VERTEX } from './shaders.js';

// three.js materials for the stream's simple colours and materials, one
// per (model, key, class, vertex colours, clip region, pattern), made on
// first use. Values that change with the view (viewport, pattern scale,
// point size) are uniforms shared by all materials.

const FALLBACK = { color: [0.75, 0.75, 0.75, 1] };
const DECAL = 0x10000;
const DEFAULT_GLOSS = 30;

// The material record's specular (0 to 1) and gloss (a Phong exponent);
// unset values (-1) leave a surface matte.
function shine(source) {
  const specular = source.specular > 0 ? Math.min(source.specular, 1) : 0;
  const gloss = source.gloss > 0 ? Math.min(Math.max(source.gloss, 1), 256) : DEFAULT_GLOSS;
  return { specular, gloss };
}

export class MaterialStore {
  constructor(textures) {
    this.textures = textures;
    this.cache = new Map();
    this.shared = {
      viewport: { value: [1, 1] },
      patternScale: { value: 1 },
      pointSize: { value: 3 },
    };
  }

  // The material of `key` in `model` for class c. `geometry` tells what the
  // geometry carries: { colors, alpha, uv }; `clip` is a clip region or null;
  // `pattern` a line pattern or null.
  get(model, key, c, geometry, clip = null, pattern = null) {
    const source = model.materials.get(key) ?? FALLBACK;
    const id = `${model.id}:${key}:${c}:${geometry.colors}:${geometry.alpha}:${geometry.uv}:${clip?.id}:${pattern?.id}`;
    return this.cached(id, () => (c === 0
      ? this.faces(model, source, geometry, clip)
      : this.plain(source, c, geometry, clip, pattern)));
  }

  // A material of a plain RGB colour, for material maps of colours.
  getColor(rgb, c, geometry, clip = null) {
    const id = `rgb:${rgb.join(',')}:${c}:${geometry.colors}:${geometry.alpha}:${clip?.id}`;
    const source = { color: [...rgb, 1] };
    return this.cached(id, () => (c === 0 ? this.faces(null, source, geometry, clip) : this.plain(source, c, geometry, clip)));
  }

  cached(id, make) {
    let material = this.cache.get(id);
    if (!material) this.cache.set(id, (material = make()));
    return material;
  }

  faces(model, source, geometry, clip) {
    const { specular, gloss } = shine(source);
    const material = this.base(FACE_VERTEX, FACE_FRAGMENT, source, geometry, clip);
    Object.assign(material.uniforms, {
      specular: { value: specular }, gloss: { value: gloss }, mirror: { value: Math.min(Math.max(source.mirror ?? 0, 0), 1) },
      uvMatrix0: { value: new Matrix3() }, uvMatrix1: { value: new Matrix3() }, decal1: { value: false },
    });
    material.side = DoubleSide;
    if (geometry.uv && model) {
      (source.textures ?? []).slice(0, 2).forEach((ref, slot) => {
        material.uniforms.decal1.value ||= slot === 1 && (ref.word & DECAL) !== 0;
        this.textures.use(model, ref, material, slot);
      });
    }
    if (model && source.environment?.length && source.mirror > 0) this.textures.useEnvironment(model, source.environment, material);
    return material;
  }

  plain(source, c, geometry, clip, pattern = null) {
    const material = this.base(PLAIN_VERTEX, PLAIN_FRAGMENT, source, geometry, clip);
    material.uniforms.pointSize = this.shared.pointSize;
    if (pattern) {
      material.defines.PATTERN = '';
      Object.assign(material.uniforms, {
        pattern: { value: pattern.texture }, patternLength: { value: pattern.length }, patternUnit: { value: pattern.unit },
        patternScale: this.shared.patternScale,
      });
    }
    return material;
  }

  base(vertexShader, fragmentShader, source, geometry, clip) {
    const opacity = source.color[3];
    const defines = {};
    if (geometry.colors) defines.VERTEX_COLORS = '';
    if (geometry.uv) defines.UV = '';
    const uniforms = { color: { value: source.color.slice(0, 4) } };
    if (clip) {
      defines.CLIP = '';
      Object.assign(uniforms, clip.uniforms, { viewport: this.shared.viewport });
    }
    const transparent = opacity < 1 || (geometry.colors && geometry.alpha);
    return new RawShaderMaterial({
      glslVersion: GLSL3, vertexShader, fragmentShader, defines, uniforms, transparent, depthWrite: !transparent,
    });
  }
}
