import { IDENTITY } from './matrix.js';

// What the stream has told about one model, by the model's own keys.
export class ModelState {
  constructor(id) {
    this.id = id;
    this.materials = new Map(); // key -> { color, textures?, specular?, ... }
    this.materialMaps = new Map(); // key -> { materials } or { colors }
    this.linePatterns = new Map(); // key -> { value, bytes }
    this.polygons = new Map(); // key -> poly polygon { lengths, points }
    this.clipRegions = new Map(); // key -> { loops }
    this.matrices = new Map([[0, IDENTITY]]);
    this.meshes = new Map(); // key -> mesh definition (M)
    this.meshLists = new Map(); // key -> { level, meshes }
    this.meshData = new Map(); // key -> decoded vertices and indices
    this.pendingMeshes = new Map(); // key -> expanded mesh still receiving chunks
    this.instances = new Map(); // key -> instance (I), one per inclusion
    this.images = new Map(); // key -> { preview, main }
    this.imageSources = new Map(); // key -> key of the image that it reuses
    this.keyedData = new Map(); // key -> bytes
    this.treeNodes = 0;
    this.groups = 0;
  }

  matrix(key) {
    return this.matrices.get(key) ?? IDENTITY;
  }

  // The image that holds the pixels for a key, following reuse.
  imageKey(key) {
    let k = key;
    for (let i = 0; i < 8 && this.imageSources.has(k); i++) k = this.imageSources.get(k);
    return k;
  }
}
