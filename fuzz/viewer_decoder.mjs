// The viewer's decoder under mutation: real streams (the .qxs seeds of the
// stream_reader corpus, or files given on the command line) are cut, bit-
// flipped, overwritten with tags and large numbers, spliced and duplicated,
// then decoded and applied to a scene, whose trees of parts are read. The
// only way out is a clean end or a StreamError; any other exception, or a
// stream that takes over a second, is a finding, written to
// build-fuzz/findings/viewer_decoder/.
//
//   node fuzz/viewer_decoder.mjs [SECONDS] [SEED_FILES...]
import { mkdirSync, readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { StreamDecoder } from '../viewer/src/StreamDecoder.js';
import { StreamError } from '../viewer/src/ByteReader.js';
import { SceneState } from '../viewer/src/SceneState.js';
import { readAssemblyTree } from '../viewer/src/AssemblyTree.js';

const here = dirname(fileURLToPath(import.meta.url));
const seconds = Number(process.argv[2] ?? 60);
const corpus = join(here, 'corpus', 'stream_reader');
const seedPaths = process.argv.length > 3
  ? process.argv.slice(3)
  : readdirSync(corpus).map((name) => join(corpus, name));
const seeds = seedPaths.map((path) => new Uint8Array(readFileSync(path)));
const findings = join(here, '..', 'build-fuzz', 'findings', 'viewer_decoder');

// xorshift32, seeded from the clock unless QX_FUZZ_SEED is set.
let state = Number(process.env.QX_FUZZ_SEED ?? (Date.now() & 0x7fffffff)) || 1;
const random = (n) => {
  state ^= state << 13; state ^= state >>> 17; state ^= state << 5;
  return (state >>> 0) % n;
};

const TAGS = [48, 50, 51, 54, 57, 65, 66, 68, 69, 71, 73, 77, 78, 79, 80, 81, 82, 83, 84, 85, 86,
  89, 90, 98, 99, 100, 103, 105, 109, 111, 112, 114, 116, 118, 121, 156, 165, 176];
const WORDS = [0, 1, 2, 3, 4, 0x7f, 0xff, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xffffffff];

function mutate(input) {
  let bytes = Uint8Array.from(input);
  const put = (at, word) => {
    if (at + 4 > bytes.length) return;
    new DataView(bytes.buffer).setUint32(at, word >>> 0, true);
  };
  for (let k = 1 + random(4); k > 0 && bytes.length > 0; --k) {
    const at = random(bytes.length) & ~3;
    switch (random(6)) {
      case 0: bytes[random(bytes.length)] ^= 1 << random(8); break;
      case 1: put(at, WORDS[random(WORDS.length)]); break;
      case 2: put(at, TAGS[random(TAGS.length)]); break;
      case 3: bytes = bytes.slice(0, random(bytes.length + 1)); break;
      case 4: { // repeat a slice in place
        const end = Math.min(bytes.length, at + 4 * (1 + random(64)));
        const copy = new Uint8Array(bytes.length + end - at);
        copy.set(bytes.subarray(0, end)); copy.set(bytes.subarray(at), end);
        bytes = copy; break;
      }
      default: { // splice in the tail of another seed
        const other = seeds[random(seeds.length)];
        const from = random(other.length) & ~3;
        const copy = new Uint8Array(at + other.length - from);
        copy.set(bytes.subarray(0, at)); copy.set(other.subarray(from), at);
        bytes = copy;
      }
    }
  }
  return bytes;
}

function decode(bytes) {
  const decoder = new StreamDecoder(bytes);
  const scene = new SceneState();
  for (let r; (r = decoder.next());) scene.apply(r);
  for (const model of scene.models.values()) readAssemblyTree(model.keyedData);
}

function report(bytes, what) {
  mkdirSync(findings, { recursive: true });
  const path = join(findings, `finding-${Date.now()}-${random(1e9)}`);
  writeFileSync(path, bytes);
  console.error(`${what}\n  input: ${path}`);
  process.exitCode = 1;
}

// Decodes, and gives the time taken and whether the bytes decoded whole
// (false: they stopped with a StreamError).
function timed(bytes) {
  const start = Date.now();
  let whole = false;
  try {
    decode(bytes);
    whole = true;
  } catch (error) {
    if (!(error instanceof StreamError)) report(bytes, `not a StreamError: ${error?.stack ?? error}`);
  }
  return { ms: Date.now() - start, whole };
}

// A slow input is timed again before it counts, since the machine's load
// and the compiler's warm-up can stretch one run.
function check(bytes) {
  const first = timed(bytes);
  if (first.ms > 1000) {
    const again = timed(bytes);
    if (again.ms > 1000) report(bytes, `took ${first.ms} and ${again.ms} ms`);
  }
  return first.whole;
}

seeds.forEach(check);
const end = Date.now() + seconds * 1000;
let runs = 0, clean = 0;
while (Date.now() < end && process.exitCode !== 1) {
  if (check(mutate(seeds[random(seeds.length)]))) ++clean;
  ++runs;
}
console.log(`viewer_decoder: ${runs} runs, ${clean} decoded whole, ${runs - clean} stopped with StreamError`);
