import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { after, before } from 'node:test';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';
import { decodePng } from '../helpers/png.js';
import { RESULTS } from './pages.js';

const CHROMIUM = process.env.QX_CHROMIUM ?? '/usr/bin/chromium';
const FLAGS = [
  '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync',
  // WebGL through the software rasterizer, since there is no GPU.
  '--use-angle=swiftshader', '--enable-unsafe-swiftshader',
  '--enable-precise-memory-info',
];

// Debian's chromium with a fresh profile; close() removes the profile.
export async function openBrowser() {
  const profile = mkdtempSync(join(tmpdir(), 'qx-viewer-profile-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: CHROMIUM, headless: true, args: FLAGS, viewport: { width: 800, height: 600 },
  });
  return {
    context,
    async close() {
      await context.close();
      rmSync(profile, { recursive: true, force: true });
    },
  };
}

// One browser for the tests of a file, if `wanted`: its context once they start.
export function useBrowser(wanted = true) {
  const browser = {};
  before(async () => { if (wanted) Object.assign(browser, await openBrowser()); });
  after(async () => { await browser.close?.(); });
  return browser;
}

// Opens a page and waits for the viewer to report ready or stopped.
export async function loadPage(context, path) {
  const page = await context.newPage();
  const consoleErrors = [];
  const consoleWarnings = [];
  page.on('console', (msg) => {
    if (msg.type() === 'error') consoleErrors.push(msg.text());
    if (msg.type() === 'warning') consoleWarnings.push(msg.text());
  });
  page.on('pageerror', (err) => consoleErrors.push(err.message));
  await page.goto(pathToFileURL(resolve(path)).href);
  await page.waitForFunction(() => window.qxViewerReady || window.qxViewerError, null, { timeout: 120000 });
  const result = await page.evaluate(() => ({
    ready: window.qxViewerReady === true,
    error: window.qxViewerError ?? null,
    errorShown: !document.getElementById('qx-error').hidden,
    rect: window.qxViewer?.projectedRect() ?? null,
    times: window.qxViewer?.times ?? null,
    counts: window.qxViewer?.state.counts ?? null,
    heap: performance.memory?.usedJSHeapSize ?? null,
    decoded: window.qxViewer?.loader?.decoder.decoded ?? null,
  }));
  return { page, consoleErrors, consoleWarnings, ...result };
}

// A page that must load without errors.
export async function openPage(context, path) {
  const result = await loadPage(context, path);
  assert.equal(result.error, null, `viewer stopped: ${result.error}`);
  assert.deepEqual(result.consoleErrors, []);
  return result;
}

// The screenshot of a page that must load without errors, which is closed then.
export async function shootPage(context, path, name) {
  const result = await openPage(context, path);
  const shot = await screenshot(result.page, name);
  await result.page.close();
  return { ...result, shot };
}

// A screenshot, kept in the results, as pixels: `at(x, y)` is the RGB of
// one, `drawn(x, y)` says whether it differs from the background, read at
// the bottom left corner, and `count` counts those drawn in a rectangle.
export async function screenshot(page, name) {
  const { width, height, rgba } = decodePng(await page.screenshot({ path: join(RESULTS, `${name}.png`) }));
  const at = (x, y) => Array.from(rgba.subarray(4 * (y * width + x), 4 * (y * width + x) + 3));
  const background = at(0, height - 1);
  const drawn = (x, y) => {
    const p = 4 * (y * width + x);
    return Math.abs(rgba[p] - background[0]) + Math.abs(rgba[p + 1] - background[1])
      + Math.abs(rgba[p + 2] - background[2]) > 12;
  };
  const count = (x0 = 0, y0 = 0, x1 = width, y1 = height) => {
    let n = 0;
    for (let y = y0; y < y1; y++) for (let x = x0; x < x1; x++) n += drawn(x, y);
    return n;
  };
  return { width, height, at, drawn, count };
}
