import zlib from 'node:zlib';
import { concat } from './record.js';

// Minimal PNG writing (for test textures) and reading (for screenshots).

function be32(value) {
  const out = Buffer.alloc(4);
  out.writeUInt32BE(value >>> 0);
  return out;
}

function chunk(type, data) {
  const typed = Buffer.concat([Buffer.from(type, 'ascii'), data]);
  return Buffer.concat([be32(data.length), typed, be32(zlib.crc32(typed))]);
}

export function encodePng(width, height, rgba) {
  const rows = [];
  for (let y = 0; y < height; y++) rows.push(Uint8Array.of(0), rgba.subarray(y * width * 4, (y + 1) * width * 4));
  return concat([
    Uint8Array.of(137, 80, 78, 71, 13, 10, 26, 10),
    chunk('IHDR', Buffer.concat([be32(width), be32(height), Buffer.of(8, 6, 0, 0, 0)])),
    chunk('IDAT', zlib.deflateSync(concat(rows))),
    chunk('IEND', Buffer.alloc(0)),
  ]);
}

// Decodes an 8-bit RGB or RGBA, non-interlaced PNG into RGBA pixels.
export function decodePng(bytes) {
  const buf = Buffer.from(bytes);
  let header = null;
  const idat = [];
  for (let pos = 8; pos < buf.length; pos += 12 + buf.readUInt32BE(pos)) {
    const data = buf.subarray(pos + 8, pos + 8 + buf.readUInt32BE(pos));
    const type = buf.toString('ascii', pos + 4, pos + 8);
    if (type === 'IHDR') header = data;
    if (type === 'IDAT') idat.push(data);
  }
  const channels = { 2: 3, 6: 4 }[header[9]];
  if (header[8] !== 8 || header[12] !== 0 || !channels) throw new Error('unsupported PNG');
  const [width, height] = [header.readUInt32BE(0), header.readUInt32BE(4)];
  const raw = zlib.inflateSync(Buffer.concat(idat));
  const stride = width * channels;
  const pixels = new Uint8Array(width * height * channels);
  for (let y = 0; y < height; y++) {
    const filter = raw[y * (stride + 1)];
    for (let x = 0; x < stride; x++) {
      const a = x >= channels ? pixels[y * stride + x - channels] : 0;
      const b = y > 0 ? pixels[(y - 1) * stride + x] : 0;
      const c = x >= channels && y > 0 ? pixels[(y - 1) * stride + x - channels] : 0;
      const [pa, pb, pc] = [Math.abs(b - c), Math.abs(a - c), Math.abs(a + b - 2 * c)];
      const predictor = [0, a, b, (a + b) >> 1, pa <= pb && pa <= pc ? a : pb <= pc ? b : c][filter];
      pixels[y * stride + x] = (raw[y * (stride + 1) + 1 + x] + predictor) & 255;
    }
  }
  const rgba = new Uint8Array(width * height * 4).fill(255);
  for (let i = 0; i < width * height; i++) rgba.set(pixels.subarray(i * channels, i * channels + 3), 4 * i);
  if (channels === 4) rgba.set(pixels);
  return { width, height, rgba };
}
