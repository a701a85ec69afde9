import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { inflateBlock } from '../../src/blocks.js';
import { StreamError } from '../../src/ByteReader.js';
import { checkZstdFrame } from '../../src/zstdFrame.js';
import { randomFrom } from '../helpers/record.js';
import { zstdAvailable } from '../helpers/StreamWriter.js';

const skip = !zstdAvailable() && 'no zstd program';
const zstd = (plain, ...args) => new Uint8Array(execFileSync('zstd', ['-q', '-c', ...args], { input: plain }));

// Inputs whose frames use every block and table kind: raw and RLE blocks,
// raw, RLE and Huffman literals, default, RLE, FSE and repeated tables.
function samples() {
  const random = randomFrom(7);
  const floats = new Float32Array(30000).map((_, i) => Math.sin(i / 50) * 100 + (i % 3));
  const numbers = Array.from({ length: 5000 }, () => random() >>> 24);
  return [
    new Uint8Array(0),
    Uint8Array.of(42),
    new Uint8Array(300000).fill(9),
    Uint8Array.from({ length: 70000 }, () => random() >>> 24),
    new Uint8Array(floats.buffer),
    new TextEncoder().encode('vertex normal texcoord index material '.repeat(3000) + numbers.join(',')),
    Uint8Array.from({ length: 200000 }, (_, i) => (i * 7) % 251 ^ (i >> 10)),
  ];
}

test('frames of the zstd program pass the walk and make exactly their size', { skip }, () => {
  for (const plain of samples()) {
    for (const level of ['-1', '-3', '-12', '-19']) {
      for (const frame of [zstd(plain, level), zstd(plain, level, '--no-check')]) {
        assert.doesNotThrow(() => checkZstdFrame(frame, plain.length), `${plain.length} bytes at ${level}`);
        assert.throws(() => checkZstdFrame(frame, plain.length + 1), StreamError);
      }
    }
  }
});

test('damaged frames end in a StreamError or decode to their size', { skip }, () => {
  const plain = samples()[5];
  const frame = zstd(plain, '-9');
  const random = randomFrom(11);
  for (let round = 0; round < 400; ++round) {
    const damaged = Uint8Array.from(frame);
    for (let k = 1 + random() % 3; k > 0; --k) damaged[random() % damaged.length] ^= 1 << random() % 8;
    try {
      assert.equal(inflateBlock(1, damaged, plain.length).length, plain.length);
    } catch (error) {
      assert.ok(error instanceof StreamError, String(error));
    }
  }
});

// A 2.4 KB frame with a match length code past the table made the
// decompressor copy for seconds; the walk refuses it at once.
test('a frame whose sequences leave their tables is refused before decoding', () => {
  const frame = new Uint8Array(readFileSync(new URL('data/slow-zstd-frame.zst', import.meta.url)));
  const start = Date.now();
  assert.throws(() => inflateBlock(1, frame, 12816), /zstd block is malformed/);
  assert.ok(Date.now() - start < 500);
});

// One compressed block of one literal 'a' and the sequences section `sequences`.
function craftedFrame(sequences, blockType = 2) {
  const body = [0x08, 0x61, ...sequences];
  const head = 1 | (blockType << 1) | (body.length << 3);
  return Uint8Array.of(0x28, 0xB5, 0x2F, 0xFD, 0x20, 40, head & 255, (head >> 8) & 255, head >> 16, ...body);
}

test('sequence sections that no decoder could follow are refused', () => {
  for (const [frame, message] of [
    [craftedFrame([1, 0xFC, 0x01]), /table repeated before any was given/],
    [craftedFrame([1, 0x54, 0, 1, 53, 0x01]), /match length code out of range/],
    [craftedFrame([1, 0x54, 36, 1, 0, 0x01]), /literal length code out of range/],
    [craftedFrame([1, 0x01, 0x01]), /reserved bits set/],
    [craftedFrame([1, 0x54, 0, 1, 0]), /sequence stream has no end mark/],
    [craftedFrame([1, 0x54, 0, 1, 0], 3), /reserved block type/],
    [craftedFrame([0x7F, 0x54, 0, 1, 52, 0x01]), /sequence stream is cut short/],
  ]) {
    assert.throws(() => inflateBlock(1, frame, 40), message);
  }
});
