// A small greedy LZ4 block compressor, enough to exercise every path of
// the viewer's decoder: long literal runs, long and overlapping matches.
export function lz4Encode(src) {
  const out = [];
  const table = new Map();
  const n = src.length;
  let anchor = 0;
  let i = 0;

  const writeLength = (v) => {
    for (; v >= 255; v -= 255) out.push(255);
    out.push(v);
  };
  const emit = (literalEnd, offset, matchLength) => {
    const literals = literalEnd - anchor;
    const m = matchLength - 4;
    out.push((Math.min(literals, 15) << 4) | (matchLength ? Math.min(m, 15) : 0));
    if (literals >= 15) writeLength(literals - 15);
    for (let k = anchor; k < literalEnd; k++) out.push(src[k]);
    if (!matchLength) return;
    out.push(offset & 255, offset >> 8);
    if (m >= 15) writeLength(m - 15);
  };

  while (i < n - 12) {
    const key = src[i] | (src[i + 1] << 8) | (src[i + 2] << 16) | (src[i + 3] << 24);
    const candidate = table.get(key);
    table.set(key, i);
    if (candidate !== undefined && i - candidate <= 65535) {
      let length = 4;
      while (i + length < n - 5 && src[candidate + length] === src[i + length]) length++;
      emit(i, i - candidate, length);
      i += length;
      anchor = i;
    } else {
      i++;
    }
  }
  emit(n, 0, 0);
  return Uint8Array.from(out);
}
