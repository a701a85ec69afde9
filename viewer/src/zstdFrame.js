import { StreamError } from './ByteReader.js';

// A walk over one zstd frame that decodes its block and sequence headers
// and the literal and match lengths of every sequence, without producing
// any output. The decompressor trusts these lengths: a damaged frame whose
// match length code lies outside the table, or whose lengths add up to far
// more than the frame holds, keeps it copying for seconds. The walk refuses
// such a frame before it gets there, with the bytes the frame can make
// bounded by the size that the block's head declares (and that the frame
// header, where it states one, must agree with).

const MAGIC = 0xFD2FB528;
const MAX_BLOCK = 128 * 1024;

function malformed(what) {
  return new StreamError(`zstd block is malformed: ${what}`);
}

// Extra bits by code; the baselines follow from them.
const LL_BITS = [...new Array(16).fill(0), 1, 1, 1, 1, 2, 2, 3, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16];
const ML_BITS = [...new Array(32).fill(0), 1, 1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16];
const baselines = (bits, first) => bits.reduce((out, b, i) => (out.push(i ? out[i - 1] + (1 << bits[i - 1]) : first), out), []);
const LL_BASE = baselines(LL_BITS, 0);
const ML_BASE = baselines(ML_BITS, 3);

// The default distributions of the three codes.
const LL_DEFAULT = [4, 3, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 2, 1, 1, 1, 1, 1, -1, -1, -1, -1];
const ML_DEFAULT = [1, 4, 3, 2, 2, 2, 2, 2, 2, ...new Array(37).fill(1), -1, -1, -1, -1, -1, -1, -1];
const OF_DEFAULT = [1, 1, 1, 1, 1, 1, 2, 2, 2, ...new Array(15).fill(1), -1, -1, -1, -1, -1];

// The three codes in the order of the compression modes byte (high bits
// first): symbols allowed, largest accuracy log, default table.
const KINDS = [
  { name: 'literal length', maxSymbol: 35, maxLog: 9, normal: LL_DEFAULT, log: 6 },
  { name: 'offset', maxSymbol: 31, maxLog: 8, normal: OF_DEFAULT, log: 5 },
  { name: 'match length', maxSymbol: 52, maxLog: 9, normal: ML_DEFAULT, log: 6 },
];

const highBit = (n) => 31 - Math.clz32(n);

// The decoding table of a normalised distribution: per state its symbol,
// the bits to read and the base of the next state.
function fseTable(normal, log) {
  const size = 1 << log;
  const symbol = new Uint8Array(size), bits = new Uint8Array(size), base = new Uint16Array(size);
  const next = new Uint16Array(normal.length);
  let high = size - 1;
  normal.forEach((n, s) => {
    if (n === -1) symbol[high--] = s;
    next[s] = n === -1 ? 1 : n;
  });
  const step = (size >> 1) + (size >> 3) + 3;
  let at = 0;
  normal.forEach((n, s) => {
    for (let i = 0; i < n; ++i) {
      symbol[at] = s;
      do at = (at + step) & (size - 1); while (at > high);
    }
  });
  if (at !== 0) throw malformed('bad table distribution');
  for (let u = 0; u < size; ++u) {
    const n = next[symbol[u]]++;
    bits[u] = log - highBit(n);
    base[u] = (n << bits[u]) - size;
  }
  return { symbol, bits, base, log };
}

const DEFAULT_TABLES = KINDS.map((k) => fseTable(k.normal, k.log));

// Reads the table description at `at`; gives the table and the position
// behind the description.
function readFseTable(data, at, end, kind) {
  let bit = 0;
  const peek = (n) => {
    let v = 0;
    for (let i = 0; i < n; ++i) {
      const p = bit + i, byte = at + (p >> 3);
      if (byte >= end) throw malformed(`${kind.name} table is cut short`);
      v |= ((data[byte] >> (p & 7)) & 1) << i;
    }
    return v;
  };
  const take = (n) => { const v = peek(n); bit += n; return v; };
  const log = take(4) + 5;
  if (log > kind.maxLog) throw malformed(`${kind.name} table accuracy ${log} is too large`);
  const normal = [];
  let remaining = (1 << log) + 1, threshold = 1 << log, width = log + 1;
  while (remaining > 1) {
    if (normal.length > kind.maxSymbol) throw malformed(`${kind.name} code out of range`);
    const max = 2 * threshold - 1 - remaining;
    let value;
    if ((peek(width - 1) & (threshold - 1)) < max) {
      value = take(width - 1) & (threshold - 1);
    } else {
      value = take(width) & (2 * threshold - 1);
      if (value >= threshold) value -= max;
    }
    const count = value - 1;
    remaining -= Math.abs(count);
    normal.push(count);
    if (count === 0) {
      for (let repeat = take(2); ; repeat = take(2)) {
        for (let i = 0; i < repeat; ++i) normal.push(0);
        if (repeat !== 3) break;
      }
      if (normal.length > kind.maxSymbol + 1) throw malformed(`${kind.name} code out of range`);
    }
    while (remaining < threshold) { --width; threshold >>= 1; }
  }
  if (remaining !== 1) throw malformed(`${kind.name} table distribution is wrong`);
  return { table: fseTable(normal, log), at: at + ((bit + 7) >> 3) };
}

// Reads bits backwards from the end of a block's sequence stream.
class BackwardBits {
  constructor(data, start, end) {
    if (end <= start || data[end - 1] === 0) throw malformed('sequence stream has no end mark');
    this.data = data;
    this.start = start;
    this.left = (end - 1 - start) * 8 + highBit(data[end - 1]);
  }

  read(n) {
    if (n > this.left) throw malformed('sequence stream is cut short');
    if (n === 0) return 0;
    this.left -= n;
    const first = this.left >> 3, last = (this.left + n - 1) >> 3;
    if (n <= 24) {
      const d = this.data, at = this.start + first;
      const word = d[at] | (d[at + 1] << 8) | (d[at + 2] << 16) | (d[at + 3] << 24);
      return (word >>> (this.left & 7)) & ((1 << n) - 1);
    }
    let word = 0;
    for (let i = this.start + last; i >= this.start + first; --i) word = word * 256 + this.data[i];
    return Math.floor(word / 2 ** (this.left & 7)) % 2 ** n;
  }
}

// Literals section of a compressed block: its regenerated size and the
// position behind it.
function readLiterals(data, at, end, state) {
  const b0 = data[at], type = b0 & 3, format = (b0 >> 2) & 3;
  const byte = (i) => {
    if (at + i >= end) throw malformed('literals header is cut short');
    return data[at + i];
  };
  if (type < 2) {
    let size, head;
    if ((format & 1) === 0) { size = b0 >> 3; head = 1; }
    else if (format === 1) { size = (b0 >> 4) | (byte(1) << 4); head = 2; }
    else { size = (b0 >> 4) | (byte(1) << 4) | (byte(2) << 12); head = 3; }
    const stored = type === 0 ? size : 1;
    if (at + head + stored > end) throw malformed('literals are cut short');
    return { size, at: at + head + stored };
  }
  const head = format < 2 ? 3 : format + 2;
  let v = 0;
  for (let i = 0; i < Math.min(head, 4); ++i) v += byte(i) * 2 ** (8 * i);
  const width = [10, 10, 14, 18][format];
  const size = Math.floor(v / 16) % 2 ** width;
  let compressed = Math.floor(v / 2 ** (4 + width));
  if (head === 5) compressed += byte(4) * 2 ** 10;
  if (type === 3 && !state.huffman) throw malformed('literals repeat a table never given');
  state.huffman = true;
  if (at + head + compressed > end) throw malformed('literals are cut short');
  return { size, at: at + head + compressed };
}

// The bytes a compressed block makes: its literals and every match.
function compressedBlockSize(data, at, end, state) {
  const literals = readLiterals(data, at, end, state);
  if (literals.size > MAX_BLOCK) throw malformed('literals larger than a block');
  at = literals.at;
  if (at >= end) throw malformed('sequences header is cut short');
  let count = data[at++];
  if (count >= 128) {
    if (at + (count === 255 ? 2 : 1) > end) throw malformed('sequences header is cut short');
    count = count === 255 ? data[at] + (data[at + 1] << 8) + 0x7F00 : ((count - 128) << 8) + data[at];
    at += count >= 0x7F00 ? 2 : 1;
  }
  if (count === 0) return literals.size;
  if (count * 3 > MAX_BLOCK) throw malformed(`${count} sequences can't fit a block`);
  if (at >= end) throw malformed('sequences header is cut short');
  const modes = data[at++];
  if (modes & 3) throw malformed('reserved bits set');
  const tables = KINDS.map((kind, i) => {
    const mode = (modes >> (6 - 2 * i)) & 3;
    if (mode === 0) return DEFAULT_TABLES[i];
    if (mode === 1) {
      if (at >= end || data[at] > kind.maxSymbol) throw malformed(`${kind.name} code out of range`);
      return { symbol: [data[at++]], bits: [0], base: [0], log: 0 };
    }
    if (mode === 3) {
      if (!state.tables?.[i]) throw malformed(`${kind.name} table repeated before any was given`);
      return state.tables[i];
    }
    const read = readFseTable(data, at, end, kind);
    at = read.at;
    return read.table;
  });
  state.tables = tables;
  const [ll, of, ml] = tables;
  const bits = new BackwardBits(data, at, end);
  let lls = bits.read(ll.log), ofs = bits.read(of.log), mls = bits.read(ml.log);
  let literalBytes = 0, matchBytes = 0;
  for (let n = 1; n <= count; ++n) {
    const ofCode = of.symbol[ofs], mlCode = ml.symbol[mls], llCode = ll.symbol[lls];
    bits.read(ofCode);
    matchBytes += ML_BASE[mlCode] + bits.read(ML_BITS[mlCode]);
    literalBytes += LL_BASE[llCode] + bits.read(LL_BITS[llCode]);
    if (literalBytes > literals.size || literals.size + matchBytes > MAX_BLOCK)
      throw malformed('sequences make more than a block');
    if (n === count) break;
    lls = ll.base[lls] + bits.read(ll.bits[lls]);
    mls = ml.base[mls] + bits.read(ml.bits[mls]);
    ofs = of.base[ofs] + bits.read(of.bits[ofs]);
  }
  return literals.size + matchBytes;
}

// Checks the frame in `data` (the whole of it) and that it makes exactly
// `size` bytes; throws StreamError otherwise.
export function checkZstdFrame(data, size) {
  const view = new DataView(data.buffer, data.byteOffset, data.byteLength);
  if (data.length < 6 || view.getUint32(0, true) !== MAGIC) throw malformed('no frame magic');
  const descriptor = data[4];
  if (descriptor & 8) throw malformed('reserved bit set');
  const singleSegment = (descriptor >> 5) & 1;
  const sizeBytes = [singleSegment, 2, 4, 8][descriptor >> 6];
  let at = 5 + (singleSegment ? 0 : 1) + [0, 1, 2, 4][descriptor & 3];
  if (at + sizeBytes > data.length) throw malformed('frame header is cut short');
  if (sizeBytes > 0) {
    let stated = 0;
    for (let i = sizeBytes - 1; i >= 0; --i) stated = stated * 256 + data[at + i];
    if (sizeBytes === 2) stated += 256;
    if (stated !== size) throw new StreamError(`zstd block holds ${stated} bytes, its head says ${size}`);
  }
  at += sizeBytes;
  const state = { huffman: false, tables: null };
  let made = 0;
  for (let last = false; !last;) {
    if (at + 3 > data.length) throw malformed('block header is cut short');
    const head = data[at] | (data[at + 1] << 8) | (data[at + 2] << 16);
    at += 3;
    last = (head & 1) === 1;
    const type = (head >> 1) & 3, blockSize = head >>> 3;
    if (type === 3) throw malformed('reserved block type');
    if (blockSize > MAX_BLOCK) throw malformed('block larger than 128 KiB');
    const stored = type === 1 ? 1 : blockSize;
    if (at + stored > data.length) throw malformed('block is cut short');
    made += type === 2 ? compressedBlockSize(data, at, at + stored, state) : blockSize;
    if (made > size) throw malformed(`frame makes more than its ${size} bytes`);
    at += stored;
  }
  if (descriptor & 4) at += 4;  // content checksum
  if (at !== data.length) throw malformed('bytes after the frame');
  if (made !== size) throw malformed(`frame makes ${made} bytes, not ${size}`);
}
