// Measures a large synthetic page in headless chromium: time to the first
// drawn frame, to fully loaded, and the JS heap. Not part of `npm test`.
//   node tests/perf/perf.mjs [page.html]
import { statSync } from 'node:fs';
import { FIRST_INCLUSION, ROOT_MODEL, StreamWriter, zBlock, zstdAvailable } from '../helpers/StreamWriter.js';
import { openBrowser, loadPage } from '../browser/browser.js';
import { writePage } from '../browser/pages.js';

// A UV sphere of n x n quads with normals, as an indexed-mesh description.
function sphere(n) {
  const positions = [];
  const faces = [];
  for (let i = 0; i <= n; i++) {
    for (let j = 0; j <= n; j++) {
      const [t, p] = [(Math.PI * i) / n, (2 * Math.PI * j) / n];
      positions.push([Math.sin(t) * Math.cos(p), Math.sin(t) * Math.sin(p), Math.cos(t)]);
    }
  }
  const triangles = [];
  for (let i = 0; i < n; i++) {
    for (let j = 0; j < n; j++) {
      const a = i * (n + 1) + j;
      triangles.push(a, a + n + 1, a + 1, a + 1, a + n + 1, a + n + 2);
    }
  }
  faces.push(triangles);
  return { positions, normals: positions, faces };
}

function bigStream(meshes, side) {
  const method = zstdAvailable() ? 1 : 0;
  const w = new StreamWriter();
  const m = ROOT_MODEL;
  w.head().sceneRoot(m).context(m).inclusion(FIRST_INCLUSION, m, 0)
    .tree([{ items: meshes, children: 0, bounds: [-1, -1, -1, 3 * side, 3 * side, 1] }])
    .bounds([-1, -1, -1, 3 * side - 2, 3 * side - 2, 1]);
  for (let k = 0; k < meshes; k++) {
    const [x, y] = [3 * (k % side), 3 * Math.floor(k / side)];
    w.color(k + 1, [0.3 + 0.7 * (k % 7) / 7, 0.5, 0.3 + 0.7 * (k % 5) / 5, 1])
      .meshDefinition(m, k + 1, { materials: [k + 1, 0, 0] })
      .matrix(k + 1, [1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, 0])
      .instance({ key: k + 1, mesh: k + 1, matrix: k + 1 });
  }
  w.end().compress(method);
  const record = new StreamWriter().context(m).indexedMesh(1, sphere(40)).bytes().subarray(8);
  for (let k = 0; k < meshes; k++) {
    new DataView(record.buffer, record.byteOffset).setUint32(4, k + 1, true);
    w.context(m).add(zBlock(record, method)).mark = w.parts.length;
  }
  return w.end().bytes();
}

const page = process.argv[2] ?? writePage('perf-large', bigStream(400, 20));
const browser = await openBrowser();
try {
  const result = await loadPage(browser.context, page);
  await result.page.close();
  const { start, firstFrame, loaded } = result.times ?? {};
  console.log(JSON.stringify({
    page, pageMB: +(statSync(page).size / 1e6).toFixed(1), error: result.error,
    scriptStartMs: Math.round(start), firstFrameMs: Math.round(firstFrame), loadedMs: Math.round(loaded),
    decodeMs: Math.round(result.times?.decodeMs),
    heapMB: result.heap && +(result.heap / 1e6).toFixed(1), counts: result.counts,
  }, null, 1));
} finally {
  await browser.close();
}
