import { execFileSync } from 'node:child_process';
import { concat, f32, f64, padTo4, record, u32 } from './record.js';
import { lz4Encode } from './lz4Encode.js';

const NONE = 0xFFFFFFFF;
const MINUS = (n) => (-n) >>> 0; // ids shown as negative numbers

export const ROOT_MODEL = MINUS(3);
export const FIRST_INCLUSION = MINUS(2);

// Writes stream records byte for byte, for tests. Each method appends one
// record (or block) and returns the writer.
export class StreamWriter {
  parts = [];
  mark = 0; // parts before this one are closed blocks

  bytes() { return concat(this.parts); }

  add(bytes) {
    this.parts.push(bytes);
    return this;
  }

  head() { return this.add(record(u32(86, 72, 72, MINUS(2), 0))); }
  context(model) { return this.add(record(u32(78, model))); }
  end(status = 0) { return this.add(record(u32(84, status, 0, 0))); }
  sceneRoot(model) { return this.add(record(u32(51, MINUS(2), model, 0, 3))); }
  inclusion(id, model, matrix) { return this.add(record(u32(105, id, model, matrix))); }
  event(subject, code, extra, words) { return this.add(record(u32(101, subject, words.length, code, extra, ...words))); }
  bounds(box, weight = 0) { return this.add(record([...u32(66), ...f32(...box), ...u32(weight)])); }
  matrix(key, values) { return this.add(record([...u32(176, key), ...f64(...values)])); }
  color(key, rgba) { return this.add(record([...u32(83, key), ...f32(...rgba)])); }
  materialMap(key, materials) { return this.add(record(u32(65, key, 0, materials.length, ...materials))); }

  text(value) {
    const bytes = new TextEncoder().encode(value + '\0');
    return this.add(concat([record(u32(85, bytes.length)), padTo4(bytes)]));
  }

  // A view's camera looking from `position` at `target`, and its background colour.
  view(key, { position, target, up, width = 1, height = 1 }, background, images = []) {
    this.add(record([...u32(99, key, 1, 0), ...f64(...position, ...target, ...up, width, height)]));
    return this.add(record([...u32(80, key), ...f32(...background), ...u32(images.length, ...images)]));
  }

  material(key, { color = [1, 1, 1, 1], mirror = -1, specular = -1, gloss = -1, environment = [], textures = [],
    linePattern = NONE }) {
    return this.add(record([
      ...u32(165, key), ...f32(...color, mirror, specular, gloss),
      ...u32(environment.length, textures.length, linePattern, ...environment),
      ...textures.flatMap((t) => u32(t.image, t.matrix ?? 0, t.word ?? 0)),
    ]));
  }

  // A line pattern of the given bytes (a string is taken as its characters).
  linePattern(key, pattern, value = 0) {
    const bytes = typeof pattern === 'string' ? new TextEncoder().encode(pattern) : pattern;
    const reserved = new Uint8Array(8 * bytes.length);
    reserved.set(bytes);
    return this.add(concat([record([...u32(156, key), ...f64(value), ...u32(bytes.length, 0)]), reserved]));
  }

  // A poly polygon of rings, each a list of [x, y, z] points.
  polyPolygon(key, rings) {
    const counts = u32(key, rings.length, rings.flat().length, ...rings.map((r) => r.length));
    return this.add(record([...u32(89), ...counts, ...f32(...rings.flat(2))]));
  }

  // A clip region of loops { polygons, matrix, cuts, window }.
  clipRegion(key, loops) {
    const words = loops.flatMap((l) => [
      l.polygons.length, l.matrix ?? 0, (l.cuts ? 1 : 0) | (l.window ? 2 : 0), ...l.polygons,
    ]);
    return this.add(record(u32(121, key, 16 + 4 * words.length, loops.length, ...words)));
  }

  meshDefinition(model, key, {
    duplicateOf = 0, duplicateMatrix = 0, materials = [0, 0, 0], maps = [0, 0, 0], bounds = [0, 0, 0, 1, 1, 1],
  } = {}) {
    const words = u32(77, model, key, duplicateOf, duplicateMatrix, ...materials, ...maps);
    return this.add(record([...words, ...f32(...bounds)]));
  }

  instance({
    inclusion = FIRST_INCLUSION, key, mesh, matrix = 0, materials = [NONE, NONE, NONE], maps = [0, 0, 0], clip = 0,
    flags = 7,
  }) {
    return this.add(record(u32(73, inclusion, key, 0, NONE, NONE, mesh, matrix, ...materials, ...maps, clip, flags,
      0, 0)));
  }

  // A tree of nodes given as { items, children, bounds }, depth first.
  tree(nodes) {
    this.add(record(u32(111, 16 + 48 * nodes.length, nodes.length, 0)));
    for (const n of nodes) this.add(record([...u32(79, n.items, 0, n.children, NONE, NONE), ...f32(...n.bounds)]));
    return this;
  }

  indexedMesh(key, mesh) {
    const classes = classesOf(mesh);
    const { flags, stride, vertexBytes } = packVertices(mesh, mesh.positions.map((_, i) => i));
    const indices = classes.flat(2).map((i) => ['u16', i]);
    if (indices.length % 2) indices.push(['u16', 0xFFFF]);
    return this.add(concat([
      record(u32(81, key, flags, vertexBytes.length / stride, ...counts(classes))),
      vertexBytes, record(indices), elementTable(classes),
    ]));
  }

  // The same mesh as an expanded head and chunks of at most `perChunk` vertices.
  expandedMesh(key, mesh, perChunk) {
    const classes = classesOf(mesh);
    const { flags, stride, vertexBytes } = packVertices(mesh, classes.flat(2));
    this.add(concat([record(u32(82, key, flags, ...counts(classes), 0, 0)), elementTable(classes)]));
    for (let p = 0; p < vertexBytes.length; p += perChunk * stride) {
      const chunk = vertexBytes.subarray(p, Math.min(vertexBytes.length, p + perChunk * stride));
      this.add(concat([record(u32(114, key, chunk.length)), chunk]));
    }
    return this;
  }

  image(key, { format, pixelFormat = format, preview = false, width, height, data }) {
    const pixels = (pixelFormat | (preview ? 0x80000000 : 0)) >>> 0;
    return this.add(concat([record(u32(69, key, format, pixels, width, height, data.length)), padTo4(data)]));
  }

  // Wraps the records written since the last block into one compressed block.
  compress(method = 0) {
    const plain = concat(this.parts.splice(this.mark));
    this.parts.push(zBlock(plain, method));
    this.mark = this.parts.length;
    return this;
  }

  // Appends a keyed data block of [key, bytes] items, compressed with zstd or plain.
  keyed(model, items, zstd = false) {
    this.add(keyedBlock(model, items, zstd ? 1 : null));
    this.mark = this.parts.length;
    return this;
  }
}

export function zBlock(plain, method = 0) {
  const packed = method === 1 ? zstdFrame(plain) : lz4Encode(plain);
  return concat([record(u32(90, method, packed.length, plain.length)), padTo4(packed, 0xFF)]);
}

export function keyedBlock(model, items, method = null) {
  const run = concat(items.map(([key, data]) => concat([record(u32(100, model, key, data.length)), padTo4(data)])));
  const payload = method === null ? run : zBlock(run, method);
  return concat([record(u32(68, payload.length)), payload]);
}

// zstd frames come from the system's zstd program; false if it is missing.
export function zstdAvailable() {
  try {
    execFileSync('zstd', ['--version'], { stdio: 'ignore' });
    return true;
  } catch {
    return false;
  }
}

// The frame states its content size, as the frames of the stream engine do.
const zstdFrame = (bytes) => new Uint8Array(
  execFileSync('zstd', ['-q', '-c', '-15', `--stream-size=${bytes.length}`], { input: bytes }));

const classesOf = (mesh) => [mesh.faces, mesh.lines ?? [], mesh.points ?? []];

// Indices, then elements, per class.
const counts = (classes) => [...classes.map((c) => c.flat().length), ...classes.map((c) => c.length)];

function elementTable(classes) {
  const fields = [];
  for (const elements of classes) {
    let first = 0;
    for (const element of elements) {
      fields.push(...u32(first, element.length, 0));
      first += element.length;
    }
  }
  return record(fields);
}

// Vertices in the given order; absent attributes take the -1.0 fill.
function packVertices(mesh, order) {
  const { normals, uvs, colors } = mesh;
  let flags = 0;
  classesOf(mesh).forEach((elements, c) => {
    if (!elements.length) return;
    if (normals) flags |= 0x10000000 | (0x10 << (4 * c));
    if (uvs) flags |= 0x20000000 | (0x20 << (4 * c));
    if (colors) flags |= 0x40000000 | (0x40 << (4 * c));
  });
  if (colors?.some((c) => c && c[3] < 255)) flags |= 0x80000000;
  const fields = [];
  for (const i of order) {
    fields.push(...f32(...mesh.positions[i]));
    if (normals) fields.push(...f32(...(normals[i] ?? [-1, -1, -1])));
    if (uvs) fields.push(...f32(...(uvs[i] ?? [-1, -1])));
    if (colors) fields.push(...(colors[i] ? colors[i].map((c) => ['u8', c]) : f32(-1)));
  }
  const stride = 12 + (normals ? 12 : 0) + (uvs ? 8 : 0) + (colors ? 4 : 0);
  return { flags: flags >>> 0, stride, vertexBytes: record(fields) };
}
