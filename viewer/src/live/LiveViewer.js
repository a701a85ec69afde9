import { SceneState } from '../SceneState.js';
import { ViewerApp } from '../ui/ViewerApp.js';
import { cameraMessage, throttle } from './CameraMessage.js';
import { FrameDecoder } from './FrameDecoder.js';
import { LiveBuilder } from './LiveBuilder.js';
import { LiveConnection, streamUrl } from './LiveConnection.js';
import { Picking } from './Picking.js';
import { PreviewBoxes } from './PreviewBoxes.js';

// What a page served by `qx serve` holds in place of stream data.
const LIVE_TOKEN = 'QX_LIVE';
const CAMERA_GAP_MS = 150;
const EJECTED = 0x20000007;

export function isLivePage(dataText) {
  return dataText.trim() === LIVE_TOKEN;
}

// The live viewer: the model comes from the server that served the page,
// pass by pass, in the order that the camera makes important. Previews
// stand in for what hasn't arrived; what the server ejects goes again.
// `page`: { overlay, times, signal(name, value), fail(error) }.
export function startLive(page) {
  const app = new ViewerApp(document.getElementById('qx-view'));
  const canvas = app.renderer.domElement;
  const previews = new PreviewBoxes(() => app.invalidate());
  app.scene.add(previews.root);
  const live = { status: 'Connecting', idle: false, passes: 0, previewsSeen: 0, previewsBeforeData: false, errors: [], session: null, fitted: false };
  let requestId = 0;

  const newSession = () => {
    if (live.session) app.scene.remove(live.session.builder.root);
    previews.clear();
    const state = new SceneState();
    const builder = new LiveBuilder(state, () => app.invalidate());
    app.scene.add(builder.root);
    live.session = { state, builder, decoder: new FrameDecoder() };
    live.fitted = false;
    live.idle = false;
  };
  const cameraNow = () => cameraMessage(app.camera, app.controls.target, canvas.clientWidth, canvas.clientHeight);
  let connection = null;
  const sendCamera = throttle((message) => connection.send(message), CAMERA_GAP_MS);
  const picking = new Picking({
    app,
    builder: () => live.session.builder,
    send: (message) => connection.send(message),
    nextId: () => ++requestId,
  }, selectionRectangle());

  const handle = (record) => {
    const { state, builder } = live.session;
    if (record.name === 'p') {
      previews.set(record.kind, record.boxes);
      if (live.previewsSeen === 0 && builder.drawn === 0 && record.boxes.length) live.previewsBeforeData = true;
      live.previewsSeen += record.boxes.length;
    } else if (record.name === 'T') {
      live.passes++;
      live.idle = record.status === 2;
    } else if (record.name === '0' && record.c === EJECTED) {
      builder.evict(record.a, record.b);
    } else if (record.name === '5') {
      picking.results(record);
    }
    state.apply(record);
  };

  connection = new LiveConnection(streamUrl(window.location), {
    open: () => {
      // A new connection is a new stream: what the last one sent goes.
      newSession();
      live.status = 'Streaming';
    },
    frame: (bytes) => {
      try {
        for (const record of live.session.decoder.records(bytes)) handle(record);
      } catch (err) {
        page.fail(err);
      }
    },
    error: (message) => live.errors.push(message),
    lost: (wait) => { live.status = `Connection lost; reconnecting in ${wait / 1000} s`; },
  });
  app.controls.addEventListener('change', () => { if (live.fitted) sendCamera(cameraNow()); });

  window.qxViewer = {
    get state() { return live.session?.state; },
    times: page.times,
    projectedRect: () => live.session?.state.bounds && app.projectedRect(live.session.state.bounds),
  };
  window.qxLive = {
    live,
    previews: () => previews.count,
    drawn: () => live.session?.builder.drawn ?? 0,
    highlighted: () => live.session?.builder.highlightedDrawn ?? [],
    camera: () => ({ position: app.camera.position.toArray(), target: app.controls.target.toArray() }),
  };

  const frame = () => {
    const session = live.session;
    if (session && !live.fitted && session.state.bounds) {
      live.fitted = true;
      app.fit(session.state.bounds, session.state.views[0]);
      if (session.state.background) app.setBackground(session.state.background);
      connection.send(cameraNow());
    }
    const drawn = session?.builder.drawn ?? 0;
    if (app.render(false) && page.times.firstFrame === null && (drawn > 0 || previews.count > 0)) {
      page.times.firstFrame = performance.now();
    }
    updateOverlay(page.overlay, live, drawn);
    if (live.idle && drawn > 0 && session.builder.textures.pending === 0 && page.times.loaded === null) {
      page.times.loaded = performance.now();
      page.signal('qxViewerReady', true);
    }
    requestAnimationFrame(frame);
  };
  requestAnimationFrame(frame);
}

function updateOverlay(overlay, live, drawn) {
  const counts = live.session?.state.counts;
  overlay.counts.textContent = counts
    ? `${counts.instances} instances · ${counts.meshData}/${counts.meshes} meshes · ${drawn} drawn`
    : '';
  overlay.status.textContent = live.status === 'Streaming' ? (live.idle ? 'Live · all here' : 'Live · streaming') : live.status;
  overlay.bar.style.width = live.idle ? '100%' : '50%';
}

// The rubber band of a shift-drag.
function selectionRectangle() {
  const band = document.createElement('div');
  band.hidden = true;
  Object.assign(band.style, {
    position: 'absolute', border: '1px dashed #3a6fd8', background: 'rgba(58, 111, 216, 0.12)', pointerEvents: 'none',
  });
  document.getElementById('qx-view').appendChild(band);
  return band;
}
