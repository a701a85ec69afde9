// Bounds-checked little-endian reads over one byte array.

export class StreamError extends Error {
  constructor(message) {
    super(message);
    this.name = 'StreamError';
  }
}

export class ByteReader {
  constructor(bytes) {
    this.bytes = bytes;
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    this.length = bytes.byteLength;
  }

  // Throws unless n bytes are available at pos.
  need(pos, n, what) {
    if (pos < 0 || n < 0 || pos + n > this.length) {
      throw new StreamError(`${what} is cut short at byte ${pos} (needs ${n}, ${this.length - pos} left)`);
    }
  }

  u32(pos) { return this.view.getUint32(pos, true); }
  u16(pos) { return this.view.getUint16(pos, true); }
  f32(pos) { return this.view.getFloat32(pos, true); }
  f64(pos) { return this.view.getFloat64(pos, true); }

  u32s(pos, n) {
    const out = new Array(n);
    for (let i = 0; i < n; i++) out[i] = this.view.getUint32(pos + 4 * i, true);
    return out;
  }

  f32s(pos, n) {
    const out = new Array(n);
    for (let i = 0; i < n; i++) out[i] = this.view.getFloat32(pos + 4 * i, true);
    return out;
  }

  f64s(pos, n) {
    const out = new Array(n);
    for (let i = 0; i < n; i++) out[i] = this.view.getFloat64(pos + 8 * i, true);
    return out;
  }

  slice(pos, n) { return this.bytes.subarray(pos, pos + n); }
}

export const pad4 = (n) => (n + 3) & ~3;

export const hex = (n) => '0x' + (n >>> 0).toString(16).toUpperCase();
