import { Color, DoubleSide, LineBasicMaterial, MeshPhongMaterial, PointsMaterial } from 'three';

// three.js materials for the stream's simple colours and materials, one
// per (model, key, class, vertex colours), made on first use.

const FALLBACK = { color: [0.75, 0.75, 0.75, 1] };

function colorOf([r, g, b]) {
  return new Color(r, g, b);
}

function facesMaterial(source, vertexColors, alpha) {
  const opacity = source.color[3];
  const material = new MeshPhongMaterial({
    color: colorOf(source.color),
    opacity,
    transparent: opacity < 1 || alpha,
    side: DoubleSide,
    vertexColors,
    shininess: source.gloss >= 0 ? Math.min(Math.max(source.gloss, 1), 200) : 20,
    specular: new Color().setScalar(source.specular >= 0 ? Math.min(source.specular, 1) : 0.1),
  });
  if (source.mirror > 0) material.reflectivity = Math.min(source.mirror, 1);
  return material;
}

function lineMaterial(source, vertexColors, alpha) {
  const opacity = source.color[3];
  return new LineBasicMaterial({ color: colorOf(source.color), opacity, transparent: opacity < 1 || alpha, vertexColors });
}

function pointMaterial(source, vertexColors, alpha) {
  const opacity = source.color[3];
  return new PointsMaterial({
    color: colorOf(source.color), opacity, transparent: opacity < 1 || alpha, vertexColors, size: 3, sizeAttenuation: false,
  });
}

const MAKERS = [facesMaterial, lineMaterial, pointMaterial];

export class MaterialStore {
  constructor(textures) {
    this.textures = textures;
    this.cache = new Map();
  }

  // The material of `key` in `model` for class c; `colors` and `alpha` say
  // whether the geometry has vertex colours and whether they are translucent.
  get(model, key, c, colors, alpha) {
    const id = `${model.id}:${key}:${c}:${colors}:${alpha}`;
    let material = this.cache.get(id);
    if (!material) {
      const source = model.materials.get(key) ?? FALLBACK;
      material = MAKERS[c](source, colors, colors && alpha);
      if (c === 0 && source.texture) this.textures.use(model, source.texture, material);
      this.cache.set(id, material);
    }
    return material;
  }

  // A material of a plain RGB colour, for material maps of colours.
  getColor(model, rgb, c, colors, alpha) {
    const id = `rgb:${rgb.join(',')}:${c}:${colors}:${alpha}`;
    let material = this.cache.get(id);
    if (!material) {
      material = MAKERS[c]({ color: [...rgb, 1] }, colors, colors && alpha);
      this.cache.set(id, material);
    }
    return material;
  }
}
