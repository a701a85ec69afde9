import { StreamError } from './ByteReader.js';
import { ModelState } from './ModelState.js';
import { IDENTITY, multiply } from './matrix.js';
import { allocVertices, growVertices, readVertices, vertexLayout } from './vertices.js';
import { frontCounterClockwise } from './winding.js';

const NONE = 0xFFFFFFFF;
// Room for an expanded mesh grows as its chunks arrive, so that a head that
// announces more than the stream holds costs no memory up front.
const FIRST_ROOM = 1 << 18;

// Collects the decoded records into a description of the scene and tells a
// listener about what can be drawn: instances, mesh data, images, bounds.
export class SceneState {
  constructor(listener = {}) {
    this.listener = listener;
    this.models = new Map();
    this.inclusions = new Map(); // inclusion id -> { model, matrix }
    this.overrides = new Map(); // "inclusion:instance" -> override (v)
    this.sceneRoot = null;
    this.bounds = null;
    this.views = [];
    this.background = null; // colour of the first view that has one
    this.backgroundImage = null; // key of its image in the scene's root model, likewise
    this.texts = [];
    this.counts = { records: 0, instances: 0, meshes: 0, meshData: 0, images: 0, keyedData: 0, missing: 0, passes: 0 };
  }

  model(id) {
    let m = this.models.get(id);
    if (!m) this.models.set(id, (m = new ModelState(id)));
    return m;
  }

  apply(record) {
    this.counts.records++;
    const handler = HANDLERS[record.name];
    if (handler) handler(this, record, record.model === undefined ? null : this.model(record.model));
  }

  emit(event, ...args) {
    this.listener[event]?.(...args);
  }

  // The net placement of an instance in scene space, and what it draws.
  drawInfo(model, instance) {
    const override = this.overrides.get(`${instance.inclusion}:${instance.key}`);
    const list = model.meshLists.get(instance.mesh);
    const meshKey = list ? list.meshes[Math.min(list.level, list.meshes.length - 1)] : instance.mesh;
    const mesh = model.meshes.get(meshKey);
    let dataKey = meshKey;
    let matrix = model.matrix(instance.matrix);
    if (mesh?.duplicateOf) {
      dataKey = mesh.duplicateOf;
      matrix = multiply(model.matrix(mesh.duplicateMatrix), matrix);
    }
    matrix = multiply(matrix, this.inclusionMatrix(instance.inclusion));
    const hidden = this.inclusions.get(instance.inclusion)?.hidden;
    const flags = hidden ? 0 : override && override.flags !== NONE ? override.flags : instance.flags;
    const classes = [0, 1, 2].map((c) => ({
      shown: (flags & (1 << c)) !== 0,
      material: pick(override?.materials[c], instance.materials[c], mesh?.materials[c]),
      map: pickMap(override?.maps[c], instance.maps[c], mesh?.maps[c]),
    }));
    const clip = override && override.clip !== NONE ? override.clip : instance.clip;
    return { meshKey, dataKey, matrix, classes, clip, inclusion: instance.inclusion };
  }

  inclusionMatrix(id) {
    const inclusion = this.inclusions.get(id);
    if (!inclusion) return IDENTITY;
    const root = this.models.get(this.sceneRoot ?? inclusion.model);
    return root ? root.matrix(inclusion.matrix) : IDENTITY;
  }
}

// The first material key that is set, else the default material 0.
function pick(...keys) {
  const key = keys.find((k) => k !== undefined && k !== NONE);
  return key ?? 0;
}

function pickMap(...keys) {
  return keys.find((k) => k !== undefined && k !== 0) ?? 0;
}

function finishMesh(state, model, key, data) {
  model.meshData.set(key, frontCounterClockwise(data));
  state.counts.meshData++;
  state.emit('meshData', model, key);
}

function addChunk(state, model, record) {
  const pending = model.pendingMeshes.get(record.key);
  if (!pending) throw new StreamError(`mesh chunk for mesh ${record.key} without its head`);
  const { layout, total } = pending;
  if (record.length % layout.stride !== 0) {
    throw new StreamError(`mesh chunk of ${record.length} bytes is no whole number of ${layout.stride}-byte vertices`);
  }
  const count = record.length / layout.stride;
  if (pending.filled + count > total) throw new StreamError(`mesh ${record.key} has more vertices than its head announced`);
  if (pending.filled + count > pending.vertices.count) {
    pending.vertices = growVertices(pending.vertices, Math.min(total, Math.max(2 * pending.vertices.count, pending.filled + count)));
  }
  readVertices(record.reader, record.pos, count, layout, pending.vertices, pending.filled);
  pending.filled += count;
  if (pending.filled === total) {
    model.pendingMeshes.delete(record.key);
    finishMesh(state, model, record.key, { ...pending.mesh, vertices: pending.vertices });
  }
}

function startExpanded(state, model, record) {
  const total = record.counts[0] + record.counts[1] + record.counts[2];
  const layout = vertexLayout(record.flags);
  const mesh = { key: record.key, flags: record.flags, counts: record.counts, indices: null, elements: record.elements };
  const vertices = allocVertices(layout, Math.min(total, FIRST_ROOM));
  if (total === 0) finishMesh(state, model, record.key, { ...mesh, vertices });
  else model.pendingMeshes.set(record.key, { layout, total, vertices, filled: 0, mesh });
}

const HANDLERS = {
  V: (s) => { s.counts.passes = 0; },
  T: (s) => { s.counts.passes++; },
  B: (s, r) => { s.bounds = r.bounds; s.emit('bounds', r.bounds); },
  U: (s, r) => { s.texts.push(r.text); },
  u: (s, r) => { s.texts.push(r.text); },
  m: (s) => { s.counts.missing++; },
  3: (s, r) => {
    if (r.kind === 3) s.sceneRoot = r.b;
    if (r.kind === 1) {
      const list = s.model(r.a).meshLists.get(r.b);
      if (list) list.level = r.c;
    }
  },
  i: (s, r) => { s.inclusions.set(r.inclusion, { model: r.model, matrix: r.matrix }); },
  x: (s, r) => { s.inclusions.set(r.inclusion, { model: r.model, matrix: r.matrix, hidden: r.hidden === 1 }); },
  v: (s, r) => { s.overrides.set(`${r.inclusion}:${r.instance}`, r); },
  c: (s, r) => { s.views.push(r); },
  P: (s, r) => {
    if (!s.background && r.color.some((c) => c !== -1)) s.background = r.color;
    if (!s.backgroundImage && r.images.length) s.backgroundImage = r.images[0];
  },
  d: (s, r, m) => {
    m.keyedData.set(r.key, r.data);
    s.counts.keyedData++;
  },
  G: (s, r, m) => { m.groups++; },
  o: (s, r, m) => { m.treeNodes = 0; },
  O: (s, r, m) => { m.treeNodes++; },
  S: (s, r, m) => { m.materials.set(r.key, { color: r.color }); },
  material: (s, r, m) => { m.materials.set(r.key, r); },
  9: (s, r, m) => {
    m.materials.set(r.key, { color: [1, 1, 1, 1], textures: r.slots.filter((t) => t.image !== 0) });
  },
  linePattern: (s, r, m) => { m.linePatterns.set(r.key, r); },
  Y: (s, r, m) => { m.polygons.set(r.key, r); },
  y: (s, r, m) => { m.clipRegions.set(r.key, r); },
  A: (s, r, m) => { m.materialMaps.set(r.key, r); },
  matrix: (s, r, m) => { m.matrices.set(r.key, r.values); },
  2: (s, r, m) => { m.meshLists.set(r.key, { level: r.level, meshes: r.meshes }); },
  M: (s, r) => {
    s.model(r.model).meshes.set(r.key, r);
    if (!r.duplicateOf) s.counts.meshes++;
  },
  I: (s, r, m) => {
    m.instances.set(`${r.inclusion}:${r.key}`, r);
    s.counts.instances++;
    s.emit('instance', m, r);
  },
  Q: (s, r, m) => finishMesh(s, m, r.key, r),
  R: (s, r, m) => startExpanded(s, m, r),
  r: (s, r, m) => addChunk(s, m, r),
  E: (s, r, m) => {
    const image = m.images.get(r.key) ?? {};
    if (!m.images.has(r.key)) s.counts.images++;
    if (r.preview) image.preview = r;
    else image.main = r;
    m.images.set(r.key, image);
    s.emit('image', m, r.key, r);
  },
  g: (s, r, m) => {
    m.imageSources.set(r.key, r.source);
    s.emit('imageAlias', m, r.key);
  },
};
