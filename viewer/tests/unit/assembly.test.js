import assert from 'node:assert/strict';
import { test } from 'node:test';
import { readAssemblyTree, readNode } from '../../src/AssemblyTree.js';
import { StreamError } from '../../src/ByteReader.js';
import { PartsState } from '../../src/ui/PartsState.js';
import { groupBlock, headBlock, sampleTreeBlocks } from '../helpers/assemblyBlocks.js';
import { load } from '../helpers/load.js';
import { concat, f64, record, u32 } from '../helpers/record.js';
import { StreamWriter, keyedBlock } from '../helpers/StreamWriter.js';

const summary = (nodes) => nodes.map((n) => [n.name, n.depth, n.parent, n.end, n.instances]);
const bytes = (s) => ['bytes', Buffer.from(s)];

test('a tree of parts reads as a depth-first list of named nodes with their instances', () => {
  assert.deepEqual(summary(readAssemblyTree(sampleTreeBlocks())), [
    ['engine', 0, -1, 5, []],
    ['crank shaft', 1, 0, 3, [100]],
    ['bolts', 2, 1, 3, [101, 102]],
    ['unnamed-0', 1, 0, 5, [103]],
    ['pin', 2, 3, 5, [104]],
  ]);
  // Without a head, keyed data 1 is the root node itself.
  const bare = new Map([
    [1, groupBlock({ name: 'solo', children: [7] })], [7, groupBlock({ name: 'leaf', bodies: [{ instance: 3 }] })],
  ]);
  assert.deepEqual(summary(readAssemblyTree(bare)), [['solo', 0, -1, 2, []], ['leaf', 1, 0, 2, [3]]]);
  // No tree: no metadata, or the empty block of a model without one.
  assert.equal(readAssemblyTree(new Map()), null);
  assert.equal(readAssemblyTree(new Map([[1, new Uint8Array(0)]])), null);

  // The tree as the stream brings it, one block of it compressed with LZ4.
  const w = new StreamWriter().head().context(5);
  w.keyed(5, [...sampleTreeBlocks()].filter(([key]) => key !== 13));
  w.add(keyedBlock(5, [[13, sampleTreeBlocks().get(13)]], 0));
  assert.equal(readAssemblyTree(load(w.bytes()).model(5).keyedData).length, 5);
});

test('the metadata version is checked, and items a node may carry are stepped over', () => {
  const withHead = (options) => new Map([...sampleTreeBlocks(), [1, headBlock(10, options)]]);
  assert.equal(readAssemblyTree(withHead({ format: 2 })).length, 5, 'an old head has no version');
  for (const version of [[22, 1, 3], [22, 2, 0], [23, 0, 0]]) {
    assert.throws(() => readAssemblyTree(withHead({ version })), /newer than this viewer/);
  }
  assert.throws(() => readAssemblyTree(withHead({ format: 6 })), /unknown format 6/);

  // Version 22.1, named numbers, the active byte (inactive), a matrix, a
  // data key, two texts, three words, attributes, kind, children, references.
  const flags = 0x40000000 | (1 << 21) | 0x1 | 0x2 | 0x4 | 0x8 | 0x100 | (1 << 25) | (1 << 26) | (1 << 29)
    | (1 << 22) | 0x10 | 0x20 | 0x40;
  const node = readNode(record([
    ...u32(flags, 0x8 | 0x10 | 0x20, 22, 1, 1), bytes('n\0'), ...u32(9),
    ...u32(42), bytes('rich\0'), ['u8', 1], ...f64(0, 0, 0, 0, 0, 0), ...u32(8),
    bytes('t\0'), ...u32(1, 2), bytes('u\0'),
    ...u32(1, 5, 0, 3), bytes([1, 2, 3]), ['u8', 7], ...u32(2, 30, 31), ...u32(0, 0, 0),
    ...u32(0xDEAD), // behind what is read: ignored
  ]));
  assert.deepEqual([node.id, node.name, node.active, node.children], [42, 'rich', false, [30, 31]]);
  // A text that the end of the block cuts off loses its last byte.
  assert.equal(readNode(record([...u32(0x2), bytes('abc')])).name, 'ab');
});

test('malformed trees fail with a stream error, never another exception', () => {
  const blocks = sampleTreeBlocks();
  for (const [key, bytes] of blocks) {
    // Every item is announced by the flags, so any cut block is short of one;
    // an empty metadata block is a model without a tree.
    for (let n = key === 1 ? 1 : 0; n < bytes.length; n++) {
      assert.throws(() => readAssemblyTree(new Map([...blocks, [key, bytes.subarray(0, n)]])), StreamError,
        `block ${key} cut to ${n} bytes`);
    }
  }
  const without = new Map(blocks);
  without.delete(13);
  assert.throws(() => readAssemblyTree(without), /node block 13 is missing/);
  const cycle = new Map([...blocks, [13, groupBlock({ name: 'loop', children: [11] })]]);
  assert.throws(() => readAssemblyTree(cycle), /node block 11 is reached twice/);
  const noInstance = concat([record(u32(0x40000000 | 0x80, 0, 1)), record(u32(0x40000000 | 0x1, 0, 5, 77))]);
  assert.throws(() => readNode(noInstance), /body without an instance/);
  assert.throws(() => readNode(record(u32(0x10, 0x40000000, 1))), /counts 1073741824 items past its end/);
});

test('the panel state folds, hides and isolates branches, and starts with inactive nodes hidden', () => {
  const nodes = readAssemblyTree(sampleTreeBlocks());
  const parts = new PartsState(nodes);
  const visible = (state = parts) => {
    const out = [];
    state.forEachInstance((key, shown) => shown && out.push(key));
    return out;
  };
  assert.deepEqual(parts.rows(), [0, 1, 3], 'the root is open');
  const chain = readAssemblyTree(new Map([[1, groupBlock({ children: [2] })], [2, groupBlock({ children: [3, 4] })],
    [3, groupBlock({ children: [5] })], [4, groupBlock({})], [5, groupBlock({})]]));
  assert.deepEqual(new PartsState(chain).rows(), [0, 1, 2, 4], 'an only child is open as well');
  parts.toggle(1);
  assert.deepEqual(parts.rows(), [0, 1, 2, 3]);
  parts.toggle(0);
  assert.deepEqual(parts.rows(), [0]);
  parts.reveal(4);
  assert.deepEqual(parts.rows(), [0, 1, 2, 3, 4]);

  assert.deepEqual(visible(), [100, 101, 102, 103, 104]);
  parts.setShown(1, false); // the crank shaft with its bolts
  assert.deepEqual(visible(), [103, 104]);
  parts.setShown(2, false);
  parts.setShown(1, true); // the bolts keep their own switch
  assert.deepEqual(visible(), [100, 103, 104]);
  assert.equal(parts.chainShown(2), false);

  parts.isolate(2); // switches the bolts on again, shows nothing else
  assert.deepEqual(visible(), [101, 102]);
  parts.isolate(1);
  assert.deepEqual(visible(), [100, 101, 102]);
  assert.deepEqual(parts.branchInstances(3), [103, 104]);
  parts.setShown(0, false);
  parts.showAll();
  assert.deepEqual(visible(), [100, 101, 102, 103, 104]);

  const inactive = nodes.map((node, i) => ({ ...node, active: i !== 3 }));
  assert.deepEqual(visible(new PartsState(inactive)), [100, 101, 102]);
});
