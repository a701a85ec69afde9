import { Box3, Color, ColorManagement, LinearSRGBColorSpace, PerspectiveCamera, Raycaster, Scene, Sphere, Vector2,
  Vector3, WebGLRenderer } from 'three';
import { OrbitControls } from 'three/addons/controls/OrbitControls.js';
import { boxCorners, fitDistance, flatNormal } from './framing.js';

// Colours are handled by the viewer's own shaders; three.js passes them on
// unchanged, the clear colour and the colours of its own basic materials
// (see the renderer's output colour space) included.
ColorManagement.enabled = false;

// While loading, frames are drawn at most this often: each one costs the
// decoding time, most of it after the draw call returns when rendering is
// in software, so a frame's cost is taken as the time until the next
// animation frame.
const LOADING_FRAME_GAP_MS = 500;

// A mid-tone background, against which white lines and black lines both read.
export const DEFAULT_BACKGROUND = [0.56, 0.6, 0.66];
// Without a view camera: y up, as in most interchange formats, looking from
// the front right and above.
const DEFAULT_DIRECTION = new Vector3(0.6, 0.45, 1).normalize();
const FILL = 0.9; // share of the view that a fitted box covers, across its narrower side
const FLAT = 1e-3; // a box this thin, against its largest side, is seen face on
const FOCUS_ZOOM = 0.5; // a double-click halves the distance to the point it picks
const DOUBLE_TAP_MS = 350;
const DOUBLE_TAP_PX = 24;

// True when WebGL runs on the CPU, where multisampling costs too much.
function softwareRendering(renderer) {
  const gl = renderer.getContext();
  const info = gl.getExtension('WEBGL_debug_renderer_info');
  const name = info ? gl.getParameter(info.UNMASKED_RENDERER_WEBGL) : '';
  return /swiftshader|llvmpipe|software/i.test(name);
}

// A renderer with multisampling on graphics hardware, without on the CPU.
// The first context, made early by the page if it could, tells which it
// is; only hardware, where contexts are cheap, gets a second one.
function makeRenderer() {
  const early = window.qxEarlyContext;
  const plain = new WebGLRenderer(early ? { canvas: early.canvas, context: early.gl } : { antialias: false });
  if (softwareRendering(plain)) return plain;
  plain.dispose();
  plain.forceContextLoss();
  return new WebGLRenderer({ antialias: true });
}

// Renderer, camera and orbit controls; draws only when something changed.
export class ViewerApp {
  constructor(container) {
    this.renderer = makeRenderer();
    this.renderer.outputColorSpace = LinearSRGBColorSpace;
    this.renderer.setPixelRatio(window.devicePixelRatio);
    container.appendChild(this.renderer.domElement);
    this.scene = new Scene();
    this.scene.background = new Color(...DEFAULT_BACKGROUND);
    this.camera = new PerspectiveCamera(45, 1, 0.1, 1000);
    this.scene.add(this.camera);
    this.controls = new OrbitControls(this.camera, this.renderer.domElement);
    this.controls.addEventListener('change', () => this.invalidate());
    this.sphere = new Sphere(new Vector3(), 1);
    this.beforeRender = []; // (camera, size in device pixels, orbit target) => void, before each frame
    this.pickRoot = null; // what a double-click may focus on
    this.dirty = true;
    this.lastFrameEnd = -Infinity;
    this.frameCost = 0;
    this.drawnAt = null; // start of the last frame, until the next animation frame
    this.lastWeight = 1;
    window.addEventListener('resize', () => this.resize());
    this.renderer.domElement.addEventListener('dblclick', (event) => this.focusAt(event));
    this.renderer.domElement.addEventListener('pointerup', (event) => this.doubleTap(event));
    this.lastTap = null;
    this.resize();
  }

  invalidate() { this.dirty = true; }

  resize() {
    const { clientWidth: w, clientHeight: h } = this.renderer.domElement.parentElement;
    this.renderer.setSize(w, h);
    this.camera.aspect = w / Math.max(h, 1);
    this.camera.updateProjectionMatrix();
    this.invalidate();
  }

  // A colour [r, g, b] (-1 for the default of a component) or a texture
  // that fills the view.
  setBackground(value) {
    this.scene.background = value.isTexture ? value : new Color(...value.map((c, i) => (c < 0 ? DEFAULT_BACKGROUND[i] : c)));
    this.invalidate();
  }

  // Remembers the scene box [min x, y, z, max x, y, z], which sets the clip planes.
  setBounds(bounds) {
    new Box3(new Vector3(...bounds.slice(0, 3)), new Vector3(...bounds.slice(3))).getBoundingSphere(this.sphere);
    this.sphere.radius = Math.max(this.sphere.radius, 1e-6);
  }

  // Takes the stream's view camera: its eye, target and up vector, and the
  // field of view that its height spans at the target.
  showView(bounds, view) {
    this.setBounds(bounds);
    const eye = new Vector3(...view.position);
    const target = new Vector3(...view.target);
    const distance = eye.distanceTo(target);
    if (!(distance > 0) || !(view.height > 0)) return this.fit(bounds, view);
    const fov = (2 * Math.atan(view.height / 2 / distance) * 180) / Math.PI;
    this.camera.fov = Math.min(Math.max(fov, 1), 120);
    this.camera.up.copy(new Vector3(...view.up).normalize());
    this.camera.position.copy(eye);
    this.controls.target.copy(target);
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.invalidate();
    return true;
  }

  // Places the camera so that the box fills most of the view, looking along
  // the direction of `view` (a stream camera) if one is given: the distance
  // is the least at which every corner of the box is inside the view.
  fit(bounds, view = null) {
    this.setBounds(bounds);
    let direction = DEFAULT_DIRECTION.clone();
    if (view) {
      const d = new Vector3(...view.position).sub(new Vector3(...view.target));
      if (d.lengthSq() > 0) direction = d.normalize();
      const up = new Vector3(...view.up);
      if (up.lengthSq() > 0) this.camera.up.copy(up.normalize());
    } else {
      direction = flatNormal(bounds, FLAT) ?? direction;
      this.camera.up.set(0, 1, 0);
      if (Math.abs(direction.y) > 0.99) this.camera.up.set(0, 0, 1);
    }
    const center = this.sphere.center;
    const distance = fitDistance(bounds, center, direction, this.camera.up, this.camera.fov, this.camera.aspect, FILL);
    this.camera.position.copy(center).addScaledVector(direction, distance);
    this.controls.target.copy(center);
    this.controls.update();
    this.invalidate();
    return true;
  }

  // Moves the camera along its present line of sight so that the box
  // [min x, y, z, max x, y, z], a part of the scene, fills most of the view.
  // The clip planes still follow the whole scene.
  frame(bounds) {
    const center = new Vector3(...bounds.slice(0, 3)).add(new Vector3(...bounds.slice(3))).multiplyScalar(0.5);
    const direction = this.camera.position.clone().sub(this.controls.target).normalize();
    if (direction.lengthSq() === 0) direction.copy(DEFAULT_DIRECTION);
    const distance = fitDistance(bounds, center, direction, this.camera.up, this.camera.fov, this.camera.aspect, FILL);
    this.camera.position.copy(center).addScaledVector(direction, distance);
    this.controls.target.copy(center);
    this.controls.update();
    this.invalidate();
  }

  // Two taps of a finger in quick succession at one place focus like a double-click.
  doubleTap(event) {
    if (event.pointerType !== 'touch') return;
    const tap = { time: event.timeStamp, x: event.clientX, y: event.clientY };
    const last = this.lastTap;
    this.lastTap = tap;
    if (!last || tap.time - last.time > DOUBLE_TAP_MS || Math.hypot(tap.x - last.x, tap.y - last.y) > DOUBLE_TAP_PX) return;
    this.lastTap = null;
    this.focusAt(event);
  }

  // Moves the orbit centre to the surface under the pointer and closer to it.
  focusAt(event) {
    if (!this.pickRoot) return;
    const rect = this.renderer.domElement.getBoundingClientRect();
    const pointer = new Vector2(((event.clientX - rect.left) / rect.width) * 2 - 1, 1 - ((event.clientY - rect.top) / rect.height) * 2);
    const raycaster = new Raycaster();
    raycaster.params.Line.threshold = this.sphere.radius * 0.005;
    raycaster.params.Points.threshold = this.sphere.radius * 0.005;
    raycaster.setFromCamera(pointer, this.camera);
    const hit = raycaster.intersectObject(this.pickRoot, true).find((h) => h.object.visible);
    if (!hit) return;
    const offset = this.camera.position.clone().sub(hit.point).multiplyScalar(FOCUS_ZOOM);
    this.controls.target.copy(hit.point);
    this.camera.position.copy(hit.point).add(offset);
    this.controls.update();
    this.invalidate();
  }

  // Draws if something changed. While `loading`, frames are spaced out: the
  // pause before a frame is three times what it is expected to cost, the
  // cost of the last frame scaled by the growth of `weight` (what there is
  // to draw) since. To be called once per animation frame.
  render(loading = false, weight = 1) {
    const start = performance.now();
    if (this.drawnAt !== null) {
      this.frameCost = start - this.drawnAt;
      this.drawnAt = null;
    }
    if (!this.dirty) return false;
    const expected = (this.frameCost * weight) / Math.max(this.lastWeight, 1);
    if (loading && start - this.lastFrameEnd < Math.max(LOADING_FRAME_GAP_MS, 3 * expected)) return false;
    this.lastWeight = weight;
    this.dirty = false;
    const d = this.camera.position.distanceTo(this.sphere.center);
    const r = this.sphere.radius;
    this.camera.near = Math.max(d - 2 * r, r * 1e-3, d * 1e-4);
    this.camera.far = d + 2 * r;
    this.camera.updateProjectionMatrix();
    this.camera.updateMatrixWorld();
    const size = this.renderer.getDrawingBufferSize(new Vector2());
    for (const hook of this.beforeRender) hook(this.camera, size, this.controls.target);
    this.renderer.render(this.scene, this.camera);
    this.lastFrameEnd = performance.now();
    this.drawnAt = start;
    return true;
  }

  // The screen rectangle, in CSS pixels, that the box covers; it may reach
  // past the canvas.
  projectedRect(bounds) {
    const canvas = this.renderer.domElement;
    const points = boxCorners(bounds).map((p) => p.project(this.camera));
    const xs = points.map((p) => ((p.x + 1) / 2) * canvas.clientWidth);
    const ys = points.map((p) => ((1 - p.y) / 2) * canvas.clientHeight);
    const x = Math.min(...xs);
    const y = Math.min(...ys);
    return { x, y, width: Math.max(...xs) - x, height: Math.max(...ys) - y };
  }
}
