import { Loader } from './Loader.js';
import { SceneState } from './SceneState.js';
import { readModelData } from './pageData.js';
import { SceneBuilder } from './render/SceneBuilder.js';
import { Overlay } from './ui/Overlay.js';
import { ViewerApp } from './ui/ViewerApp.js';

const SLICE_MS = 12;
const times = { start: performance.now(), firstFrame: null, loaded: null };
const overlay = new Overlay(document);
let stopped = false;

function signal(name, value) {
  window[name] = value;
  document.documentElement.setAttribute(name === 'qxViewerReady' ? 'data-qx-ready' : 'data-qx-error', String(value));
}

function fail(err) {
  if (stopped) return;
  stopped = true;
  const message = err?.name === 'StreamError' ? err.message : `Unexpected failure: ${err?.message ?? err}`;
  overlay.fail(message);
  signal('qxViewerError', message);
}

function start() {
  const bytes = readModelData(document.getElementById('qx-model-data').textContent);
  const state = new SceneState();
  let app;
  try {
    app = new ViewerApp(document.getElementById('qx-view'));
  } catch (err) {
    throw new Error(`this browser can't draw 3D graphics (${err.message})`);
  }
  const builder = new SceneBuilder(state, () => app.invalidate());
  app.scene.add(builder.root);
  const loader = new Loader(bytes, state);
  let fitted = false;
  const fit = () => state.bounds && app.fit(state.bounds, state.views[0]);
  document.getElementById('qx-fit').addEventListener('click', fit);
  window.qxViewer = { state, times, projectedRect: () => state.bounds && app.projectedRect(state.bounds) };

  const tick = () => {
    if (stopped) return;
    try {
      if (!loader.done) loader.run(performance.now() + SLICE_MS);
      if (!fitted && state.bounds) {
        fitted = true;
        fit();
        if (state.background) app.setBackground(state.background);
      }
      const drew = app.render();
      if (drew && times.firstFrame === null && builder.drawn > 0) times.firstFrame = performance.now();
      overlay.update(state, builder.drawn, loader.progress, loader.done);
      if (loader.done && builder.textures.pending === 0 && !app.dirty && times.loaded === null) {
        times.loaded = performance.now();
        signal('qxViewerReady', true);
      }
    } catch (err) {
      fail(err);
      return;
    }
    requestAnimationFrame(tick);
  };
  requestAnimationFrame(tick);
}

window.addEventListener('error', (event) => fail(event.error ?? event.message));
window.addEventListener('unhandledrejection', (event) => fail(event.reason));
try {
  start();
} catch (err) {
  fail(err);
}
