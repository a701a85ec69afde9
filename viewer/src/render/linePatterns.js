import { DataTexture, NearestFilter, RedFormat, RepeatWrapping } from 'three';

// Line patterns from their records: the pattern bytes as a run of on and
// off units. A text pattern has one unit per character, a space being off;
// the names of the common patterns stand for their usual runs; other bytes
// give eight units each, lowest bit first. The record's value, if it is a
// sensible size, is the length of a unit in pixels.

const NAMED = {
  dashed: '---- ', dotted: '- ', dashdot: '------ - ', dashdotdot: '------ - - ',
  center: '------------ --- ', phantom: '------------ -- -- ', longdash: '-------- ',
};
const DEFAULT_UNIT_PX = 3;

export function patternRun(bytes) {
  let end = bytes.indexOf(0);
  if (end < 0) end = bytes.length;
  const body = bytes.subarray(0, end);
  const text = body.length > 0 && body.every((b) => b >= 32 && b < 127) ? new TextDecoder().decode(body) : null;
  let run;
  if (text !== null) {
    const named = NAMED[text.toLowerCase().replace(/[^a-z]/g, '')];
    run = [...(named ?? text)].map((ch) => (ch === ' ' ? 0 : 1));
  } else {
    run = [...bytes].flatMap((b) => [0, 1, 2, 3, 4, 5, 6, 7].map((i) => (b >> i) & 1));
  }
  return run.includes(0) && run.includes(1) ? run : null;
}

export class PatternStore {
  constructor() {
    this.patterns = new Map();
  }

  // The pattern `key` of `model` as a texture, or null for a solid line.
  get(model, key) {
    const id = `${model.id}:${key}`;
    if (!this.patterns.has(id)) this.patterns.set(id, this.make(id, model.linePatterns.get(key)));
    return this.patterns.get(id);
  }

  make(id, record) {
    const run = record && patternRun(record.bytes);
    if (!run) return null;
    const texture = new DataTexture(Uint8Array.from(run, (on) => on * 255), run.length, 1, RedFormat);
    texture.magFilter = texture.minFilter = NearestFilter;
    texture.wrapS = RepeatWrapping;
    texture.needsUpdate = true;
    const unit = record.value > 0 && record.value <= 64 ? record.value : DEFAULT_UNIT_PX;
    return { id, texture, length: run.length, unit };
  }
}
