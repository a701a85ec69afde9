import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';
import { inflateBlock } from '../../src/blocks.js';
import { lz4Decompress } from '../../src/lz4.js';
import { lz4Encode } from '../helpers/lz4Encode.js';
import { randomFrom } from '../helpers/record.js';
import { zBlock, zstdAvailable } from '../helpers/StreamWriter.js';

test('LZ4 blocks round-trip: long literals, long and overlapping matches', () => {
  const random = randomFrom(1);
  for (const input of [
    new Uint8Array(0),
    Uint8Array.of(1, 2, 3),
    Uint8Array.from({ length: 300 }, () => random() >>> 24), // literal run past 15 + 255
    new Uint8Array(5000).fill(7), // one overlapping match far past 15 + 255
    Uint8Array.from({ length: 70000 }, (_, i) => (i % 1000) & 0xFF), // offsets near the 16-bit limit
    new TextEncoder().encode('abcabcabcabc hello hello hello hello world'.repeat(40)),
  ]) {
    assert.deepEqual(lz4Decompress(lz4Encode(input), input.length), input);
  }
});

test('malformed LZ4 blocks are refused, not overrun', () => {
  const good = lz4Encode(new Uint8Array(100).fill(3));
  assert.throws(() => lz4Decompress(good, 99), /overflow/);
  assert.throws(() => lz4Decompress(good, 101), /gave 100 bytes/);
  assert.throws(() => lz4Decompress(good.subarray(0, good.length - 3), 100), /LZ4/);
  // token: 1 literal, match at offset 0 / offset beyond the output
  assert.throws(() => lz4Decompress(Uint8Array.of(0x10, 65, 0, 0, 0), 10), /offset 0/);
  assert.throws(() => lz4Decompress(Uint8Array.of(0x10, 65, 5, 0, 0), 10), /offset 5/);
  assert.throws(() => lz4Decompress(Uint8Array.of(0xF0, 255), 400), /runs past/);
});

const skip = !zstdAvailable() && 'no zstd program';
test('zstd blocks decode to the size of their head; damaged ones are refused', { skip }, () => {
  const plain = Uint8Array.from({ length: 40000 }, (_, i) => (i * 7) % 251);
  const block = zBlock(plain, 1);
  const packed = block.subarray(16, 16 + new DataView(block.buffer).getUint32(8, true));
  assert.deepEqual(inflateBlock(1, packed, plain.length), plain);
  assert.throws(() => inflateBlock(1, packed, plain.length + 1), /holds 40000 bytes, its head says 40001/);
  // A frame that states no content size is held to the size of the head.
  const unsized = new Uint8Array(execFileSync('zstd', ['-q', '-c'], { input: plain }));
  assert.deepEqual(inflateBlock(1, unsized, plain.length), plain);
  assert.throws(() => inflateBlock(1, unsized, plain.length - 1), /makes more than its 39999 bytes/);
  assert.throws(() => inflateBlock(1, packed.subarray(0, 20), plain.length), /zstd block is malformed/);
  assert.throws(() => inflateBlock(1, Uint8Array.of(1, 2, 3, 4, 5, 6), 4), /no frame magic/);
});
