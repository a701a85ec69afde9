import { Group, LineSegments, Matrix4, Mesh, Points } from 'three';
import { HAS_ALPHA } from '../vertices.js';
import { ClipStore } from './ClipStore.js';
import { groupedGeometry, meshGeometries, patternedLines } from './geometry.js';
import { PatternStore } from './linePatterns.js';
import { MaterialStore } from './MaterialStore.js';
import { TextureStore } from './TextureStore.js';

const OBJECTS = [Mesh, LineSegments, Points];
const COLOR_BITS = [0x40, 0x400, 0x4000];
const UV_BITS = [0x20, 0x200, 0x2000];
const CLASSES = ['faces', 'lines', 'points'];
const NO_PATTERN = 0xFFFFFFFF;

// Row-vector affine matrix (12 numbers) as a three.js matrix.
export function toMatrix4(m) {
  return new Matrix4().set(m[0], m[3], m[6], m[9], m[1], m[4], m[7], m[10], m[2], m[5], m[8], m[11], 0, 0, 0, 1);
}

// Turns what the scene state reports into three.js objects: an object per
// instance and drawn class, made as soon as both the instance and the data
// of its mesh have arrived, whichever came first.
export class SceneBuilder {
  constructor(state, onChange) {
    this.state = state;
    this.onChange = onChange;
    this.root = new Group();
    this.root.matrixAutoUpdate = false;
    this.pointSize = 3; // CSS pixels, whatever the zoom
    this.hasPoints = false;
    this.textures = new TextureStore(onChange);
    this.materials = new MaterialStore(this.textures);
    this.clips = new ClipStore();
    this.patterns = new PatternStore();
    this.geometries = new Map(); // "model:key" -> [faces, lines, points]
    this.waiting = new Map(); // "model:key" -> instances waiting for mesh data
    this.instanceObjects = new Map(); // "model:instance key" -> the objects drawn for it
    this.drawn = 0;
    state.listener = {
      instance: (model, instance) => this.addInstance(model, instance),
      meshData: (model, key) => this.addMeshData(model, key),
      image: (model, key, record) => this.textures.add(model, record),
    };
  }

  // Brings what depends on the view up to date before a frame: the window
  // size, clip regions in scene space, the length of pattern units.
  updateView(camera, size, target) {
    const shared = this.materials.shared;
    shared.viewport.value = [size.x, size.y];
    shared.pointSize.value = this.pointSize * window.devicePixelRatio;
    const distance = Math.max(camera.position.distanceTo(target), camera.near);
    shared.patternScale.value = size.y / (2 * distance * Math.tan((camera.fov * Math.PI) / 360));
    this.clips.update(camera);
  }

  addInstance(model, instance) {
    const info = { ...this.state.drawInfo(model, instance), instance: instance.key };
    const id = `${model.id}:${info.dataKey}`;
    if (this.geometries.has(id)) {
      this.place(model, info);
      return;
    }
    if (!this.waiting.has(id)) this.waiting.set(id, []);
    this.waiting.get(id).push(info);
  }

  addMeshData(model, key) {
    const id = `${model.id}:${key}`;
    this.geometries.set(id, meshGeometries(model.meshData.get(key)));
    for (const info of this.waiting.get(id) ?? []) this.place(model, info);
    this.waiting.delete(id);
  }

  place(model, info) {
    const data = model.meshData.get(info.dataKey);
    const geometries = this.geometries.get(`${model.id}:${info.dataKey}`);
    const matrix = toMatrix4(info.matrix);
    const clip = this.clips.get(model, info.clip, info.inclusion, this.state.inclusionMatrix(info.inclusion));
    info.classes.forEach((cls, c) => {
      if (!cls.shown || !geometries[c]) return;
      const kind = {
        colors: (data.flags & COLOR_BITS[c]) !== 0, alpha: (data.flags & HAS_ALPHA) !== 0, uv: (data.flags & UV_BITS[c]) !== 0,
      };
      const [geometry, material] = this.patterned(model, info.dataKey, data, cls, c, kind, clip)
        ?? this.dress(model, geometries[c], data.elements[CLASSES[c]], cls, c, kind, clip);
      const object = new OBJECTS[c](geometry, material);
      if (object.isPoints) this.hasPoints = true;
      object.matrixAutoUpdate = false;
      object.matrix.copy(matrix);
      this.root.add(object);
      const id = `${model.id}:${info.instance}`;
      if (!this.instanceObjects.has(id)) this.instanceObjects.set(id, []);
      this.instanceObjects.get(id).push(object);
      this.drawn++;
    });
    this.onChange();
  }

  // The geometry and material of a line class whose material has a line
  // pattern, or null if it has none.
  patterned(model, dataKey, data, cls, c, kind, clip) {
    const source = c === 1 && model.materials.get(cls.material);
    if (!source || source.linePattern === undefined || source.linePattern === NO_PATTERN) return null;
    const pattern = this.patterns.get(model, source.linePattern);
    if (!pattern) return null;
    const id = `${model.id}:${dataKey}:pattern`;
    if (!this.geometries.has(id)) this.geometries.set(id, patternedLines(data));
    return [this.geometries.get(id), this.materials.get(model, cls.material, 1, kind, clip, pattern)];
  }

  // The geometry and material(s) of one class, split by a material map.
  dress(model, geometry, elements, cls, c, kind, clip) {
    const base = this.materials.get(model, cls.material, c, kind, clip);
    const map = cls.map && model.materialMaps.get(cls.map);
    if (!map) return [geometry, base];
    const slots = [base];
    const slotIds = new Map();
    const slotOf = (i) => {
      const entry = map.materials ? map.materials[i] : map.colors && map.colors.slice(3 * i, 3 * i + 3);
      if (entry === undefined || (Array.isArray(entry) && entry.length < 3)) return 0;
      const id = String(entry);
      if (!slotIds.has(id)) {
        slotIds.set(id, slots.length);
        slots.push(map.materials
          ? this.materials.get(model, entry, c, kind, clip)
          : this.materials.getColor(entry, c, kind, clip));
      }
      return slotIds.get(id);
    };
    return [groupedGeometry(geometry, elements, slotOf), slots];
  }
}
