import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { existsSync } from 'node:fs';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { useBrowser } from './browser.js';
import { RESULTS, VIEWER } from './pages.js';

// The served page of `qx serve`: previews first, then the model, then
// orbiting and picking. Needs the built tool: QX_TOOL, or the one of the
// sanitizer build beside the viewer.
const TOOL = process.env.QX_TOOL ?? join(VIEWER, '..', 'build-asan', 'tools', 'qx');
const SAMPLE = join(VIEWER, '..', '..', 'shared', 'models', '2CylinderEngine', '2CylinderEngine.glb');

const browser = useBrowser(existsSync(TOOL));
const server = { process: null, log: '' };
after(() => server.process?.kill('SIGKILL'));

// Starts `qx serve` on a free port; resolves to its URL.
function serve(args) {
  server.process = spawn(TOOL, ['serve', '--port', '0', ...args], { stdio: ['ignore', 'ignore', 'pipe'] });
  return new Promise((resolve, reject) => {
    server.process.stderr.on('data', (chunk) => {
      server.log += chunk;
      const url = /open (http:\/\/\S+) in a browser/.exec(server.log);
      if (url) resolve(url[1]);
    });
    server.process.on('exit', (code) => reject(new Error(`qx serve ended with ${code}: ${server.log}`)));
  });
}

const skip = !existsSync(TOOL) && 'no qx tool built';
test('a served model arrives with previews first, orbits and picks parts', { skip }, async (t) => {
  const page = await browser.context.newPage();
  const errors = [];
  page.on('pageerror', (err) => errors.push(err.message));
  await page.goto(await serve(existsSync(SAMPLE) ? [SAMPLE] : ['--demo']));
  await page.waitForFunction(() => window.qxViewerReady || window.qxViewerError, null, { timeout: 120000 });
  assert.equal(await page.evaluate(() => window.qxViewerError ?? null), null);
  assert.ok(await page.evaluate(() => window.qxLive.drawn()) > 0);
  // Preview boxes stand in for the parts until their data arrives.
  const previews = await page.evaluate(() => window.qxLive.live);
  if (previews.previewsSeen > 0) assert.ok(previews.previewsBeforeData, 'previews came before the first drawn part');
  else t.diagnostic('the stream engine of this build sends no previews');
  await page.screenshot({ path: join(RESULTS, 'live-loaded.png') });

  // Orbit: a drag turns the camera.
  const before = await page.evaluate(() => window.qxLive.camera().position);
  await page.mouse.move(400, 300);
  await page.mouse.down();
  await page.mouse.move(480, 330, { steps: 8 });
  await page.mouse.up();
  assert.notDeepEqual(await page.evaluate(() => window.qxLive.camera().position), before);

  // Pick: click on the model until a part is highlighted.
  const rect = await page.evaluate(() => window.qxViewer.projectedRect());
  let picked = [];
  for (const [fx, fy] of [[0.5, 0.5], [0.4, 0.5], [0.6, 0.5], [0.5, 0.4], [0.5, 0.6], [0.3, 0.3], [0.7, 0.7]]) {
    if (picked.length) break;
    await page.mouse.click(rect.x + fx * rect.width, rect.y + fy * rect.height);
    await page.waitForTimeout(300);
    picked = await page.evaluate(() => window.qxLive.highlighted());
  }
  assert.ok(picked.length > 0, 'a click on the model highlights a part');
  await page.screenshot({ path: join(RESULTS, 'live-picked.png') });
  assert.deepEqual(errors, []);
  await page.close();

  const stopped = new Promise((resolve) => server.process.on('exit', resolve));
  server.process.kill('SIGINT');
  assert.equal(await stopped, 0, `Ctrl-C stops the server cleanly; it said:\n${server.log.slice(-3000)}`);
});
