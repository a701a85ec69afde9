import assert from 'node:assert/strict';
import { test } from 'node:test';
import { FrameDecoder } from '../../src/live/FrameDecoder.js';
import { isLivePage } from '../../src/live/LiveViewer.js';
import { readModelData } from '../../src/pageData.js';
import { decodeAll, load } from '../helpers/load.js';
import { concat, f32, record, u32 } from '../helpers/record.js';
import { ROOT_MODEL, StreamWriter, zBlock, zstdAvailable } from '../helpers/StreamWriter.js';
import { cube, pointGrid, sampleScene } from '../helpers/scenes.js';

// Records without their place in the bytes; a mesh chunk keeps its payload.
const strip = (records) => records.map(({ reader, pos, ...rest }) =>
  (reader ? { ...rest, payload: reader.slice(pos, rest.length) } : rest));

test('the sample stream decodes to the records written, in order, plain or in LZ4 and zstd blocks', () => {
  const records = decodeAll(sampleScene());
  assert.equal(records.map((r) => r.name).join(' '), 'V e 3 c P e e N matrix i o O B d N U S S S S S S A M I S matrix '
    + 'I matrix M matrix I E material M matrix I M matrix I E T N Q R r r Q T');
  assert.deepEqual(strip(decodeAll(sampleScene({ compressed: 0 }))), strip(records));
  if (zstdAvailable()) assert.deepEqual(strip(decodeAll(sampleScene({ compressed: 1 }))), strip(records));
  const state = load(sampleScene());
  assert.deepEqual(state.counts,
    { records: 49, instances: 5, meshes: 3, meshData: 3, images: 1, keyedData: 1, missing: 0, passes: 2 });
  assert.equal(state.sceneRoot, ROOT_MODEL);
  assert.deepEqual(state.bounds, [-4, -1, -0.5, 4, 4, 1.5]);
  assert.deepEqual(state.texts, ['<PRIORITY_KEYED_DATA_SENT>']);
  const model = state.model(ROOT_MODEL);
  assert.equal(model.treeNodes, 1);
  assert.deepEqual(model.materialMaps.get(1).materials, [2, 3, 4, 5, 6, 7]);
  assert.ok(model.images.get(1).preview && model.images.get(1).main);
});

test('live frames decode as one stream, the model context carried across', () => {
  // The second frame holds records that need the model context set in the first.
  const first = new StreamWriter().head().sceneRoot(ROOT_MODEL).context(ROOT_MODEL).color(1, [1, 0, 0, 1]).bytes();
  const second = new StreamWriter().meshDefinition(ROOT_MODEL, 1).instance({ key: 1, mesh: 1 })
    .indexedMesh(1, cube()).end(2).bytes();
  const names = (records) => records.map((r) => `${r.name}${r.model ?? ''}`).join(' ');
  const decoder = new FrameDecoder();
  const got = [...decoder.records(first), ...decoder.records(second)];
  assert.equal(names(got), names(decodeAll(concat([first, second]))));
  assert.throws(() => [...new FrameDecoder().records(second)], /not a model stream: it begins with record tag 77/);
});

test('indexed and expanded meshes give the same vertices', () => {
  const colors = cube().positions.map((p, i) => (i === 3 ? null : [i * 10, 0, 0, i === 5 ? 128 : 255]));
  const mesh = { ...cube(), colors };
  const model = load(new StreamWriter().head().context(ROOT_MODEL).indexedMesh(1, mesh).expandedMesh(2, mesh, 5)
    .bytes()).model(ROOT_MODEL);
  const indexed = model.meshData.get(1);
  const expanded = model.meshData.get(2);
  assert.deepEqual([indexed.vertices.count, expanded.vertices.count, ...indexed.counts], [24, 52, 36, 16, 0]);
  assert.ok(indexed.flags & 0x80000000, 'a colour below full alpha is flagged');
  const slice = (array, size, i) => [...array.subarray(size * i, size * i + size)];
  for (let i = 0; i < 52; i++) {
    const v = indexed.indices[i];
    assert.deepEqual(slice(expanded.vertices.positions, 3, i), slice(indexed.vertices.positions, 3, v));
    assert.deepEqual(slice(expanded.vertices.colors, 4, i), slice(indexed.vertices.colors, 4, v));
  }
  assert.deepEqual(slice(indexed.vertices.colors, 4, 3), [255, 255, 255, 255], 'an absent colour shows as white');
  assert.deepEqual([...indexed.elements.faces.subarray(3, 6)], [6, 6, 0]);

  // Larger than its first room, an expanded mesh grows as chunks arrive.
  const grid = pointGrid(520);
  const { vertices } = load(new StreamWriter().head().context(ROOT_MODEL).expandedMesh(1, grid, 5461).bytes())
    .model(ROOT_MODEL).meshData.get(1);
  assert.equal(vertices.count, 520 * 520);
  assert.deepEqual(slice(vertices.positions, 3, 520 * 520 - 1), grid.positions.at(-1));
  assert.deepEqual(slice(vertices.colors, 4, 520 * 520 - 1), grid.colors.at(-1));
});

// Bytes that must stop the decoder, and the words it says why in.
function badStreams() {
  const head = new StreamWriter().head().bytes();
  const withHead = (...parts) => concat([head, ...parts]);
  const indexed = new StreamWriter().context(ROOT_MODEL).indexedMesh(1, pointGrid(2)).bytes();
  const badIndex = Uint8Array.from(indexed);
  new DataView(badIndex.buffer).setUint16(8 + 40 + 4 * 16, 9, true); // first index past the 4 vertices
  const badElement = Uint8Array.from(indexed);
  new DataView(badElement.buffer).setUint32(badElement.length - 12, 3, true); // point element starts at 3 of 4
  const image = new StreamWriter().context(ROOT_MODEL)
    .image(1, { format: 0, width: 2, height: 2, data: new Uint8Array(12) }).bytes();
  const expanded = new StreamWriter().context(ROOT_MODEL).expandedMesh(1, pointGrid(2), 100).bytes();
  const [context, expandedHead, chunk] = [expanded.subarray(0, 8), expanded.subarray(8, 64), expanded.subarray(64)];
  const context4 = (...words) => withHead(record(u32(78, ROOT_MODEL, ...words)));
  return [
    ['unknown tag', withHead(record(u32(0x1234, 0))), /unknown record tag 4660/],
    ['truncated record', withHead(record(u32(66, 0, 0))), /B record at byte 20 is cut short/],
    ['trailing bytes', withHead(Uint8Array.of(78, 0)), /cut short/],
    ['no stream head', record(u32(84, 0, 0, 0)), /not a model stream/],
    ['no model context', withHead(record(u32(83, 1, 0, 0, 0, 0))), /no model context/],
    ['keyed data outside its block', withHead(record(u32(100, 1, 1, 0))), /outside a keyed data block/],
    ['record inside a keyed block', withHead(record(u32(68, 8, 78, 1))), /inside a keyed data block/],
    ['block in a block', withHead(zBlock(zBlock(record(u32(78, 1))))), /compressed block inside a compressed block/],
    ['bad compressed size', withHead(record(u32(90, 0, 4, 100, 0x00000010))), /LZ4 block is malformed/],
    ['odd record size', withHead(record(u32(121, 1, 18, 0, 0))), /impossible size/],
    ['mesh index past its vertices', withHead(badIndex), /mesh index 9/],
    ['element past its class', withHead(badElement), /points element 0 reaches past/],
    ['image size', withHead(image), /2x2 pixels has 12 bytes/],
    ['tree head', withHead(record(u32(78, 1, 111, 64, 2, 0))), /tree head says 64 bytes for 2 nodes/],
    ['chunk past its head', withHead(context, expandedHead, record(u32(82, 1, 0x40004000, 0, 0, 1, 0, 0, 0, 0, 0)),
      chunk), /more vertices than its head announced/],
    ['poly polygon loops against its count', withHead(record(u32(78, ROOT_MODEL)),
      record([...u32(89, 1, 1, 2, 3), ...f32(0, 0, 0, 1, 1, 1)])),
    /poly polygon 1 has loops of more or fewer than its 2 points/],
    ['clip loop past its region', context4(121, 1, 28, 1, 5, 0, 0, 7), /clip region 1 has a loop past its end/],
    ['clip loops past their region', context4(121, 1, 16, 2), /clip region 1 has more loops than bytes/],
    ['chunk without head', withHead(context, chunk), /without its head/],
  ];
}

test('bad bytes stop decoding with a message that says what and where', () => {
  for (const [what, bytes, message] of badStreams()) {
    assert.throws(() => load(bytes), (err) => err.name === 'StreamError' && message.test(err.message), what);
  }
});

test('page data: base64 text, the bare template and damaged text; only the server token marks a live page', () => {
  assert.deepEqual(readModelData(' AQID\n'), Uint8Array.of(1, 2, 3));
  assert.throws(() => readModelData('<!-- marker -->'), /no model data/);
  assert.throws(() => readModelData(''), /no model data/);
  assert.throws(() => readModelData('AQ*D'), /not valid base64/);
  assert.deepEqual([' QX_LIVE\n', '<!-- QX_MODEL_DATA -->', 'UVhfTElWRQ=='].map(isLivePage), [true, false, false]);
});
