// Times pages in headless chromium: first drawn frame, fully loaded, JS heap
// against the decoded stream size. Not part of `npm test`.
//   node tests/perf/perf.mjs [--shots DIR] [--runs N] [page.html ...]
// Screenshots go to DIR/<folder of the page>/<page>.png.
// Without pages it times a one-triangle page, the largest page in
// QX_VIEWER_PAGES (if set) and a synthetic page of 50 MB.
import { mkdirSync, readdirSync, statSync, writeFileSync } from 'node:fs';
import { basename, dirname, join } from 'node:path';
import { parseArgs } from 'node:util';
import { FIRST_INCLUSION, ROOT_MODEL, StreamWriter, zBlock, zstdAvailable } from '../helpers/StreamWriter.js';
import { openBrowser, loadPage } from '../browser/browser.js';
import { writePage } from '../browser/pages.js';
import { triangleScene } from '../helpers/scenes.js';

// A UV sphere of n x n quads with normals, as an indexed-mesh description.
function sphere(n) {
  const positions = [];
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
  return { positions, normals: positions, faces: [triangles] };
}

// `meshes` spheres on a grid of `side` columns, each its own compressed mesh.
function bigStream(meshes, side) {
  const method = zstdAvailable() ? 1 : 0;
  const w = new StreamWriter();
  const m = ROOT_MODEL;
  w.head().sceneRoot(m).context(m).inclusion(FIRST_INCLUSION, m, 0)
    .tree([{ items: meshes, children: 0, bounds: [-1, -1, -1, 3 * side, 3 * side, 1] }])
    .bounds([-1, -1, -1, 3 * side - 2, 3 * Math.ceil(meshes / side) - 2, 1]);
  for (let k = 0; k < meshes; k++) {
    const [x, y] = [3 * (k % side), 3 * Math.floor(k / side)];
    w.color(k + 1, [0.3 + 0.7 * (k % 7) / 7, 0.5, 0.3 + 0.7 * (k % 5) / 5, 1])
      .meshDefinition(m, k + 1, { materials: [k + 1, 0, 0] })
      .matrix(k + 1, [1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, 0])
      .instance({ key: k + 1, mesh: k + 1, matrix: k + 1 });
  }
  w.end().compress(method);
  const record = new StreamWriter().context(m).indexedMesh(1, sphere(100)).bytes().subarray(8);
  for (let k = 0; k < meshes; k++) {
    new DataView(record.buffer, record.byteOffset).setUint32(4, k + 1, true);
    w.context(m).add(zBlock(record, method)).mark = w.parts.length;
  }
  return w.end().bytes();
}

function largestPage(dir) {
  const pages = readdirSync(dir).filter((f) => f.endsWith('.html')).map((f) => join(dir, f));
  return pages.sort((a, b) => statSync(b).size - statSync(a).size)[0];
}

const { values, positionals } = parseArgs({
  options: { shots: { type: 'string' }, runs: { type: 'string', default: '3' } }, allowPositionals: true,
});
const pages = positionals.length ? positionals : [
  writePage('perf-triangle', triangleScene()),
  ...(process.env.QX_VIEWER_PAGES ? [largestPage(process.env.QX_VIEWER_PAGES)] : []),
  writePage('perf-50mb', bigStream(276, 16)),
];

const median = (xs) => xs.sort((a, b) => a - b)[xs.length >> 1];
const browser = await openBrowser();
const report = [];
try {
  for (const page of pages) {
    const runs = [];
    for (let i = 0; i < Number(values.runs); i++) {
      const result = await loadPage(browser.context, page);
      if (i === 0 && values.shots) {
        const dir = join(values.shots, basename(dirname(page)));
        mkdirSync(dir, { recursive: true });
        await result.page.screenshot({ path: join(dir, basename(page, '.html') + '.png') });
      }
      await result.page.close();
      if (result.error) throw new Error(`${page}: ${result.error}`);
      runs.push(result);
    }
    const last = runs[runs.length - 1];
    report.push({
      page: join(basename(dirname(page)), basename(page)), pageMB: +(statSync(page).size / 1e6).toFixed(2),
      firstFrameMs: Math.round(median(runs.map((r) => r.times.firstFrame))),
      loadedMs: Math.round(median(runs.map((r) => r.times.loaded))),
      decodeMs: Math.round(median(runs.map((r) => r.times.decodeMs))),
      heapMB: last.heap && +(last.heap / 1e6).toFixed(1),
      decodedMB: last.decoded && +(last.decoded / 1e6).toFixed(1),
      heapPerDecoded: last.heap && last.decoded && +(last.heap / last.decoded).toFixed(2),
    });
  }
} finally {
  await browser.close();
}
console.table(report);
if (values.shots) writeFileSync(join(values.shots, 'times.json'), JSON.stringify(report, null, 1));
