import { ByteReader, StreamError } from './ByteReader.js';

// The product structure of a model, read from its keyed data: keyed data 1
// is the metadata block, which either holds the root node itself or a head
// that leads to the root's block; each node names the blocks of its
// children and embeds its bodies, each of which stands for one instance.

export const METADATA_KEY = 1;
const NONE = 0xFFFFFFFF;
const bit = (word, n) => ((word >>> n) & 1) === 1;

// Newest block format this reader knows: 22.1.2.
function checkVersion(major, minor, patch = 0) {
  if (major > 22 || (major === 22 && (minor > 1 || (minor === 1 && patch > 2)))) {
    throw new StreamError(`metadata of version ${major}.${minor}.${patch} is newer than this viewer`);
  }
}

// A cursor over one block; every read is checked against its end.
class BlockCursor {
  constructor(bytes, what) {
    this.reader = new ByteReader(bytes);
    this.pos = 0;
    this.what = what;
  }

  skip(n) {
    this.reader.need(this.pos, n, this.what);
    this.pos += n;
  }

  u8() { this.skip(1); return this.reader.bytes[this.pos - 1]; }
  u32() { this.skip(4); return this.reader.u32(this.pos - 4); }

  // A count of items of at least `min` bytes each that must fit in what is left.
  count(min) {
    const n = this.u32();
    if (n * min > this.reader.length - this.pos) throw new StreamError(`${this.what} counts ${n} items past its end`);
    return n;
  }

  // Bytes up to and including a zero; a text cut off by the end of the
  // block loses its last byte.
  text() {
    this.reader.need(this.pos, 1, this.what);
    const bytes = this.reader.bytes;
    const zero = bytes.indexOf(0, this.pos);
    const end = zero < 0 ? bytes.length - 1 : zero;
    const text = new TextDecoder().decode(bytes.subarray(this.pos, end));
    this.pos = zero < 0 ? bytes.length : zero + 1;
    return text;
  }

  flags() {
    const f = this.u32();
    return [f, bit(f, 30) ? this.u32() : 0];
  }
}

// Keyed data 1 as a head: the key of the root's block, or null if the
// block has no head and is a node itself.
export function readHead(bytes) {
  const c = new BlockCursor(bytes, 'metadata head');
  const f = c.u32();
  if (!bit(f, 23)) return null;
  const format = c.u32();
  if (format >= 6) throw new StreamError(`metadata head of unknown format ${format}`);
  if (format >= 4) checkVersion(c.u32(), c.u32(), c.u32());
  const g = bit(f, 30) ? c.u32() : 0;
  const root = c.u32();
  c.skip(format !== 0 ? 2 : 1);
  if (format >= 3 && bit(g, 2)) c.text();
  if (format >= 3) c.u32();
  return root;
}

// The fields that nodes and bodies share; of them only id, name and the
// active bit are kept.
function readNodeHead(c, f, g) {
  const head = { id: bit(f, 0) ? c.u32() : NONE, name: bit(f, 1) ? c.text() : '', active: true };
  if (bit(f, 2)) head.active = bit(c.u8(), 1);
  if (bit(f, 3)) c.skip(48); // a matrix of 12 f32
  if (bit(f, 8)) c.skip(4);
  if (bit(f, 25)) c.text();
  if (bit(f, 26)) c.skip(4);
  if (bit(g, 4)) c.skip(4);
  if (bit(g, 5)) c.text();
  if (bit(f, 29)) {
    for (let n = c.count(12); n > 0; n--) {
      c.skip(8);
      c.skip(c.u32());
    }
  }
  return head;
}

// A body: its head and the instance it stands for.
function readBody(c) {
  const [f, g] = c.flags();
  const body = readNodeHead(c, f, g);
  if (bit(f, 17)) c.skip(4);
  if (!bit(f, 18)) throw new StreamError(`${c.what} has a body without an instance`);
  body.instance = c.u32();
  return body;
}

// One node block: its head, the keys of its children's blocks and its
// bodies. What follows the bodies isn't needed and isn't read.
export function readNode(bytes, what = 'node block') {
  const c = new BlockCursor(bytes, what);
  const [f, g] = c.flags();
  if (bit(f, 21)) checkVersion(c.u32(), c.u32());
  if (bit(g, 3)) {
    for (let n = c.count(5); n > 0; n--) {
      c.text();
      c.skip(4);
    }
  }
  const node = readNodeHead(c, f, g);
  if (bit(f, 22)) c.skip(1);
  node.children = [];
  if (bit(f, 4)) for (let n = c.count(4); n > 0; n--) node.children.push(c.u32());
  if (bit(f, 5)) c.skip(bit(f, 6) ? 12 : 4);
  node.bodies = [];
  if (bit(f, 7)) for (let n = c.count(8); n > 0; n--) node.bodies.push(readBody(c));
  return node;
}

// The whole tree from a model's keyed data (a Map of key -> bytes), as a
// flat list in depth-first order: { name, depth, parent, end, instances,
// active }, where the branch of node i is the nodes i to end - 1, and
// `instances` are the keys of the instances of its unnamed bodies. A named
// body is a node of its own. Null if the model has no tree; throws a
// StreamError if the blocks are malformed.
export function readAssemblyTree(keyedData) {
  const metadata = keyedData.get(METADATA_KEY);
  if (!metadata || metadata.length === 0) return null;
  const rootKey = readHead(metadata);
  const nodes = [];
  const seen = new Set();
  const stack = [{ key: rootKey ?? METADATA_KEY, parent: -1, depth: 0 }];
  const open = []; // indices of the nodes whose branch isn't closed yet
  while (stack.length) {
    const { key, parent, depth } = stack.pop();
    if (seen.has(key)) throw new StreamError(`node block ${key} is reached twice`);
    seen.add(key);
    const bytes = keyedData.get(key);
    if (!bytes) throw new StreamError(`node block ${key} is missing`);
    const node = readNode(bytes, `node block ${key}`);
    while (open.length && nodes[open.at(-1)].depth >= depth) nodes[open.pop()].end = nodes.length;
    const index = nodes.length;
    nodes.push({ name: node.name, depth, parent, end: 0, active: node.active, instances: [] });
    open.push(index);
    for (const body of node.bodies) {
      if (!body.name) {
        nodes[index].instances.push(body.instance);
        continue;
      }
      nodes.push({ name: body.name, depth: depth + 1, parent: index, end: nodes.length + 1, active: body.active,
        instances: [body.instance] });
    }
    for (let i = node.children.length - 1; i >= 0; i--) stack.push({ key: node.children[i], parent: index, depth: depth + 1 });
  }
  for (const i of open) nodes[i].end = nodes.length;
  return nodes;
}
