import assert from 'node:assert/strict';
import { SceneState } from '../../src/SceneState.js';
import { StreamDecoder } from '../../src/StreamDecoder.js';

// Every record of a stream, which must decode to its end.
export function decodeAll(bytes) {
  const decoder = new StreamDecoder(bytes);
  const records = [];
  for (let r; (r = decoder.next());) records.push(r);
  assert.ok(decoder.done);
  return records;
}

// The scene state that a stream builds.
export function load(bytes) {
  const state = new SceneState();
  for (const r of decodeAll(bytes)) state.apply(r);
  return state;
}
