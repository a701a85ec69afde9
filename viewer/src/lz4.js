import { StreamError } from './ByteReader.js';

// Decodes one raw LZ4 block (no frame) into exactly `size` bytes.
export function lz4Decompress(src, size) {
  const out = new Uint8Array(size);
  let ip = 0;
  let op = 0;
  const fail = (why) => { throw new StreamError(`LZ4 block is malformed: ${why}`); };

  const readLength = (base) => {
    let len = base;
    if (base === 15) {
      let b;
      do {
        if (ip >= src.length) fail('length runs past the input');
        b = src[ip++];
        len += b;
      } while (b === 255);
    }
    return len;
  };

  while (ip < src.length) {
    const token = src[ip++];
    const literals = readLength(token >> 4);
    if (ip + literals > src.length) fail('literals run past the input');
    if (op + literals > size) fail('literals overflow the output');
    out.set(src.subarray(ip, ip + literals), op);
    ip += literals;
    op += literals;
    if (ip >= src.length) break; // the last sequence has no match
    if (ip + 2 > src.length) fail('match offset is cut short');
    const offset = src[ip] | (src[ip + 1] << 8);
    ip += 2;
    if (offset === 0 || offset > op) fail(`match offset ${offset} points before the output`);
    const length = readLength(token & 15) + 4;
    if (op + length > size) fail('match overflows the output');
    for (let i = 0; i < length; i++, op++) out[op] = out[op - offset];
  }
  if (op !== size) fail(`gave ${op} bytes, expected ${size}`);
  return out;
}
