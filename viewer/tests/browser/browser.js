import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

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
