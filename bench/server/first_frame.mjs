// Time from opening the page to the first drawn frame in headless chromium,
// for one model served live by `qx serve` and as a stand-alone page.
//   node bench/server/first_frame.mjs QX_TOOL MODEL_DIR
// Uses the viewer's installed dependencies (npm ci in viewer/ first).
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, rmSync, statSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { openBrowser } from '../../viewer/tests/browser/browser.js';

const [tool, model] = process.argv.slice(2).map((p) => resolve(p));
const template = resolve(new URL('../../viewer/templates/default.html', import.meta.url).pathname);
const work = mkdtempSync(join(tmpdir(), 'qx-first-frame-'));

function serve() {
  const server = spawn(tool, ['serve', model, '--port', '0'], { stdio: ['ignore', 'ignore', 'pipe'] });
  let text = '';
  return new Promise((ok, fail) => {
    server.stderr.on('data', (chunk) => {
      text += chunk;
      const url = /open (http:\/\/\S+) in a browser/.exec(text);
      if (url) ok({ server, url: url[1] });
    });
    server.on('exit', (code) => fail(new Error(`qx serve ended with ${code}: ${text}`)));
  });
}

async function firstFrame(context, url) {
  const page = await context.newPage();
  await page.goto(url, { timeout: 600000 });
  await page.waitForFunction(() => window.qxViewer?.times.firstFrame || window.qxViewerError, null, { timeout: 600000 });
  const ms = await page.evaluate(() => window.qxViewer.times.firstFrame);
  await page.close();
  return ms;
}

const stream = join(work, 'model.qxs');
const page = join(work, 'model.html');
execFileSync(tool, ['stream', model, stream], { stdio: 'ignore' });
execFileSync(tool, ['embed', stream, template, page], { stdio: 'ignore' });
const browser = await openBrowser();
const { server, url } = await serve();
try {
  const live = await firstFrame(browser.context, url);
  const standalone = await firstFrame(browser.context, pathToFileURL(page).href);
  console.log(`stream ${(statSync(stream).size / 1e6).toFixed(1)} MB, page ${(statSync(page).size / 1e6).toFixed(1)} MB`);
  console.log(`first frame: live ${live.toFixed(0)} ms, stand-alone page ${standalone.toFixed(0)} ms`);
} finally {
  server.kill('SIGINT');
  await browser.close();
  rmSync(work, { recursive: true, force: true });
}
