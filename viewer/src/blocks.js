import { decompress as zstdDecompress } from 'fzstd';
import { StreamError } from './ByteReader.js';
import { lz4Decompress } from './lz4.js';

const METHOD_ZSTD = 1;
const ZSTD_MAGIC = 0xFD2FB528;

// The content size that a zstd frame header states, or null if it states none.
export function zstdContentSize(data) {
  if (data.length < 6) throw new StreamError('zstd block is malformed: frame header is cut short');
  const view = new DataView(data.buffer, data.byteOffset, data.byteLength);
  if (view.getUint32(0, true) !== ZSTD_MAGIC) throw new StreamError('zstd block is malformed: no frame magic');
  const descriptor = data[4];
  const singleSegment = (descriptor >> 5) & 1;
  const sizeBytes = [singleSegment, 2, 4, 8][descriptor >> 6];
  const at = 5 + (singleSegment ? 0 : 1) + [0, 1, 2, 4][descriptor & 3];
  if (at + sizeBytes > data.length) throw new StreamError('zstd block is malformed: frame header is cut short');
  if (sizeBytes === 0) return null;
  if (sizeBytes === 1) return data[at];
  if (sizeBytes === 2) return view.getUint16(at, true) + 256;
  if (sizeBytes === 4) return view.getUint32(at, true);
  return view.getUint32(at, true) + view.getUint32(at + 4, true) * 2 ** 32;
}

// Uncompresses the payload of a compressed block: method 1 is zstd, any
// other value an LZ4 block.
export function inflateBlock(method, data, size) {
  if (method !== METHOD_ZSTD) return lz4Decompress(data, size);
  const stated = zstdContentSize(data);
  if (stated !== null && stated !== size) {
    throw new StreamError(`zstd block holds ${stated} bytes, its head says ${size}`);
  }
  let out;
  try {
    out = zstdDecompress(data);
  } catch (err) {
    throw new StreamError(`zstd block is malformed: ${err.message}`);
  }
  if (out.length !== size) throw new StreamError(`zstd block gave ${out.length} bytes, expected ${size}`);
  return out;
}
