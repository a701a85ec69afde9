import assert from 'node:assert/strict';
import { test } from 'node:test';
import { StreamDecoder } from '../../src/StreamDecoder.js';
import { FrameDecoder } from '../../src/live/FrameDecoder.js';
import { isLivePage } from '../../src/live/LiveViewer.js';
import { ROOT_MODEL, StreamWriter } from '../helpers/StreamWriter.js';
import { cube } from '../helpers/scenes.js';

// A stream whose second frame holds records that need the model context
// set in the first, as live frames do.
function frames() {
  const first = new StreamWriter().head().sceneRoot(ROOT_MODEL).context(ROOT_MODEL).color(1, [1, 0, 0, 1]).bytes();
  const second = new StreamWriter().meshDefinition(ROOT_MODEL, 1).instance({ key: 1, mesh: 1 })
    .indexedMesh(1, cube()).end(2).bytes();
  return [first, second];
}

const names = (records) => records.map((r) => `${r.name}${r.model ?? ''}`).join(' ');

test('frames decode as one stream, the model context carried across', () => {
  const [first, second] = frames();
  const whole = new StreamDecoder(new Uint8Array([...first, ...second]));
  const expected = [];
  for (let r; (r = whole.next());) expected.push(r);
  const decoder = new FrameDecoder();
  const got = [...decoder.records(first), ...decoder.records(second)];
  assert.equal(names(got), names(expected));
});

test('a first frame without the stream head is refused', () => {
  const [, second] = frames();
  assert.throws(() => [...new FrameDecoder().records(second)], /no model context|not a model stream/);
});

test('only the server token marks a live page', () => {
  assert.ok(isLivePage(' QX_LIVE\n'));
  assert.ok(!isLivePage('<!-- QX_MODEL_DATA -->'));
  assert.ok(!isLivePage('UVhfTElWRQ=='));
});
