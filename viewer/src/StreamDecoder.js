import { ByteReader, StreamError, hex, pad4 } from './ByteReader.js';
import { inflateBlock } from './blocks.js';
import { RECORD_TYPES } from './records/index.js';

const TAG_Z = 90;
const TAG_D = 68;
const TAG_d = 100;
const TAG_V = 86;

// Walks a stream record by record. Compressed blocks are opened in place,
// so their records come out as if they stood in the stream itself. Each
// record comes out as { tag, name, model?, ...fields }, where `model` is the
// model context for the records that depend on it.
export class StreamDecoder {
  constructor(bytes) {
    this.top = { reader: new ByteReader(bytes), pos: 0, where: 'stream' };
    this.inner = null; // the opened block being walked, if any
    this.context = null;
    this.started = false;
    this.decoded = 0; // bytes of the records read, as uncompressed
  }

  get done() { return this.inner === null && this.top.pos >= this.top.reader.length; }

  // Bytes of the stream walked so far, for progress.
  get consumed() { return this.top.pos; }

  get total() { return this.top.reader.length; }

  // The next record, or null at the end. Throws StreamError on bad bytes.
  next() {
    for (;;) {
      if (this.inner && this.inner.pos >= this.inner.reader.length) this.inner = null;
      const source = this.inner ?? this.top;
      if (source.pos >= source.reader.length) return null;
      const record = this.read(source);
      if (record) return record;
    }
  }

  read(source) {
    const { reader, pos } = source;
    const at = () => (source === this.top ? `byte ${pos}` : `byte ${pos} of the ${source.where} at byte ${source.origin}`);
    reader.need(pos, 4, `record at ${at()}`);
    const tag = reader.u32(pos);
    if (tag === TAG_Z) return this.openZ(source, at);
    if (tag === TAG_D) return this.openD(source, at);
    if (tag === TAG_d && source.where !== 'keyed data block') {
      throw new StreamError(`keyed data record outside a keyed data block at ${at()}`);
    }
    if (tag !== TAG_d && source.where === 'keyed data block') {
      throw new StreamError(`record tag ${tag} inside a keyed data block at ${at()}`);
    }
    return tag === TAG_d ? this.readKeyed(source, at) : this.readRecord(source, tag, at);
  }

  readRecord(source, tag, at) {
    const { reader, pos } = source;
    const type = RECORD_TYPES.get(tag);
    if (!type) throw new StreamError(`unknown record tag ${tag} (${hex(tag)}) at ${at()}`);
    reader.need(pos, type.head, `${type.name} record at ${at()}`);
    const size = type.size(reader, pos);
    if (size < type.head || size % 4 !== 0) {
      throw new StreamError(`${type.name} record at ${at()} has an impossible size of ${size} bytes`);
    }
    reader.need(pos, size, `${type.name} record at ${at()}`);
    if (!this.started && tag !== TAG_V) {
      throw new StreamError(`not a model stream: it begins with record tag ${tag} instead of the stream head`);
    }
    this.started = true;
    const record = { tag, name: type.name, ...type.parse(reader, pos, size) };
    if (tag === 78) this.context = record.model;
    if (type.context) {
      if (this.context === null) throw new StreamError(`${type.name} record at ${at()} has no model context`);
      record.model = this.context;
    }
    source.pos = pos + size;
    this.decoded += size;
    return record;
  }

  readKeyed(source, at) {
    const { reader, pos } = source;
    reader.need(pos, 16, `keyed data record at ${at()}`);
    if (!this.started) throw new StreamError('not a model stream: it begins with keyed data');
    const size = reader.u32(pos + 12);
    reader.need(pos, 16 + pad4(size), `keyed data record at ${at()}`);
    source.pos = pos + 16 + pad4(size);
    this.decoded += 16 + pad4(size);
    return { tag: TAG_d, name: 'd', model: reader.u32(pos + 4), key: reader.u32(pos + 8), data: reader.slice(pos + 16, size) };
  }

  // A compressed block: its records are walked next.
  openZ(source, at) {
    const { reader, pos } = source;
    if (source.where === 'compressed block' || source.where === 'keyed data block' && source.compressed) {
      throw new StreamError(`compressed block inside a compressed block at ${at()}`);
    }
    reader.need(pos, 16, `compressed block at ${at()}`);
    const method = reader.u32(pos + 4);
    const packed = reader.u32(pos + 8);
    const size = reader.u32(pos + 12);
    reader.need(pos + 16, pad4(packed), `compressed block at ${at()}`);
    const bytes = inflateBlock(method, reader.slice(pos + 16, packed), size);
    source.pos = pos + 16 + pad4(packed);
    this.enter(bytes, source.where === 'keyed data block' ? source.where : 'compressed block', source, pos, true);
    return null;
  }

  // A keyed data block: a compressed block or a plain run of `d` records.
  openD(source, at) {
    const { reader, pos } = source;
    if (source !== this.top) throw new StreamError(`keyed data block inside a block at ${at()}`);
    reader.need(pos, 8, `keyed data block at ${at()}`);
    const n = reader.u32(pos + 4);
    if (n % 4 !== 0) throw new StreamError(`keyed data block at ${at()} has an odd size of ${n} bytes`);
    reader.need(pos + 8, n, `keyed data block at ${at()}`);
    source.pos = pos + 8 + n;
    this.enter(reader.slice(pos + 8, n), 'keyed data block', source, pos, false);
    return null;
  }

  enter(bytes, where, parent, origin, compressed) {
    const block = { reader: new ByteReader(bytes), pos: 0, where, origin, compressed };
    // A keyed data block whose payload is compressed opens a second level.
    if (parent !== this.top) block.origin = parent.origin;
    this.inner = block;
  }
}
