import { Box3 } from 'three';
import { Loader } from './Loader.js';
import { SceneState } from './SceneState.js';
import { readModelData } from './pageData.js';
import { SceneBuilder } from './render/SceneBuilder.js';
import { isLivePage, startLive } from './live/LiveViewer.js';
import { Overlay } from './ui/Overlay.js';
import { openPartsPanel } from './ui/PartsPanel.js';
import { ViewerApp } from './ui/ViewerApp.js';

// Decoding runs in short tasks of its own, drawing in animation frames, so
// that a slow frame (software rendering) doesn't slow the decoding down and
// the page answers input between tasks.
const SLICE_MS = 12;
const times = { start: performance.now(), firstFrame: null, loaded: null, decodeMs: 0 };
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

function boxOf(object) {
  object.updateMatrixWorld(true); // objects not drawn yet have no world matrix
  const box = new Box3().setFromObject(object);
  return box.isEmpty() ? null : [...box.min.toArray(), ...box.max.toArray()];
}

// Runs `step` now and again in a new task for as long as it returns true.
function repeatInTasks(step) {
  const channel = new MessageChannel();
  channel.port1.onmessage = () => {
    if (stopped) return;
    try {
      if (step()) channel.port2.postMessage(0);
    } catch (err) {
      fail(err);
    }
  };
  channel.port2.postMessage(0);
}

function toggleFullScreen() {
  if (document.fullscreenElement) document.exitFullscreen();
  else document.documentElement.requestFullscreen?.();
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
  app.pickRoot = builder.root;
  app.beforeRender.push((camera, size, target) => builder.updateView(camera, size, target));
  const loader = new Loader(bytes, state);
  let fitted = false;
  // The stream's scene box, or, for a stream without one, the box of what is drawn.
  const bounds = () => state.bounds ?? (loader.done ? boxOf(builder.root) : null);
  const fit = () => bounds() && app.fit(bounds(), state.views[0]);
  // The first view is the stream's camera where it has one.
  const firstView = () => (state.views[0] ? app.showView(bounds(), state.views[0]) : fit());
  document.getElementById('qx-fit').addEventListener('click', fit);
  document.getElementById('qx-full').addEventListener('click', toggleFullScreen);
  const pointControl = document.getElementById('qx-points');
  document.getElementById('qx-point-size').addEventListener('input', (event) => {
    builder.pointSize = Number(event.target.value);
    app.invalidate();
  });
  window.qxViewer = {
    state,
    times,
    loader,
    projectedRect: () => bounds() && app.projectedRect(bounds()),
    target: () => app.controls.target.toArray(),
  };

  const decodeSlice = () => {
    const begin = performance.now();
    const more = !loader.run(begin + SLICE_MS);
    times.decodeMs += performance.now() - begin;
    return more;
  };

  const frame = () => {
    if (stopped) return;
    try {
      if (!fitted && bounds()) {
        fitted = true;
        firstView();
        if (state.background) app.setBackground(state.background);
        if (state.backgroundImage) {
          const root = state.models.get(state.sceneRoot) ?? state.models.values().next().value;
          if (root) builder.textures.useImage(root, state.backgroundImage, (texture) => app.setBackground(texture));
        }
      }
      const drew = app.render(!loader.done && times.firstFrame !== null, builder.drawn);
      if (drew && times.firstFrame === null && builder.drawn > 0) times.firstFrame = performance.now();
      overlay.update(state, builder.drawn, loader.progress, loader.done);
      pointControl.hidden = !builder.hasPoints;
      if (loader.done && window.qxViewer.parts === undefined) window.qxViewer.parts = openPartsPanel(document, state, builder, app);
      if (loader.done && builder.textures.pending === 0 && !app.dirty && times.loaded === null) {
        times.loaded = performance.now();
        signal('qxViewerReady', true);
      }
    } catch (err) {
      fail(err);
      return;
    }
    requestAnimationFrame(frame);
  };
  // The first slice and frame come at once: a small model is then on the
  // screen without waiting for the next animation frame.
  if (decodeSlice()) repeatInTasks(decodeSlice);
  frame();
}

window.addEventListener('error', (event) => fail(event.error ?? event.message));
window.addEventListener('unhandledrejection', (event) => fail(event.reason));
try {
  if (isLivePage(document.getElementById('qx-model-data').textContent)) startLive({ overlay, times, signal, fail });
  else start();
} catch (err) {
  fail(err);
}
