import { StreamError, pad4 } from '../ByteReader.js';

// Image blocks and image reuse.

export const RAW_BYTES_PER_PIXEL = [4, 3, 1, 2];
export const PREVIEW_BIT = 0x80000000;

function parseImage(r, p) {
  const format = r.u32(p + 8);
  const pixels = r.u32(p + 12);
  const width = r.u32(p + 16);
  const height = r.u32(p + 20);
  const size = r.u32(p + 24);
  if (format > 6) throw new StreamError(`image has unknown format code ${format}`);
  if (format < 4 && width * height * RAW_BYTES_PER_PIXEL[format] !== size) {
    throw new StreamError(`image of ${width}x${height} pixels has ${size} bytes`);
  }
  return {
    key: r.u32(p + 4), format, pixelFormat: (pixels & ~PREVIEW_BIT) >>> 0,
    preview: (pixels & PREVIEW_BIT) !== 0, width, height, data: r.slice(p + 28, size),
  };
}

export const imageRecords = [
  { tag: 69, name: 'E', head: 28, size: (r, p) => 28 + pad4(r.u32(p + 24)), context: true, parse: parseImage },
  { tag: 103, name: 'g', head: 12, size: () => 12, context: true,
    parse: (r, p) => ({ key: r.u32(p + 4), source: r.u32(p + 8) }) },
];
