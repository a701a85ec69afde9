import { decompress as zstdDecompress } from 'fzstd';
import { StreamError } from './ByteReader.js';
import { lz4Decompress } from './lz4.js';
import { checkZstdFrame } from './zstdFrame.js';

const METHOD_ZSTD = 1;

// Uncompresses the payload of a compressed block: method 1 is zstd, any
// other value an LZ4 block.
export function inflateBlock(method, data, size) {
  if (method !== METHOD_ZSTD) return lz4Decompress(data, size);
  checkZstdFrame(data, size);
  let out;
  try {
    out = zstdDecompress(data);
  } catch (err) {
    throw new StreamError(`zstd block is malformed: ${err.message}`);
  }
  if (out.length !== size) throw new StreamError(`zstd block gave ${out.length} bytes, expected ${size}`);
  return out;
}
