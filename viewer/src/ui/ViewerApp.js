import { AmbientLight, Box3, ColorManagement, DirectionalLight, HemisphereLight, LinearSRGBColorSpace,
  PerspectiveCamera, Scene, Sphere, Vector3, WebGLRenderer, Color } from 'three';
import { OrbitControls } from 'three/addons/controls/OrbitControls.js';

// Colours reach the screen as the stream gives them, without conversion.
ColorManagement.enabled = false;

// While loading, frames are drawn at most this often: each one costs the
// decoding time, much of it outside the draw call when rendering is in software.
const LOADING_FRAME_GAP_MS = 500;

const DEFAULT_DIRECTION = new Vector3(0.6, 0.45, 1).normalize();

// True when WebGL runs on the CPU, where multisampling costs too much.
function softwareRendering() {
  const gl = document.createElement('canvas').getContext('webgl2');
  const info = gl?.getExtension('WEBGL_debug_renderer_info');
  const name = info ? gl.getParameter(info.UNMASKED_RENDERER_WEBGL) : '';
  gl?.getExtension('WEBGL_lose_context')?.loseContext();
  return /swiftshader|llvmpipe|software/i.test(name);
}

// Renderer, camera, lights and orbit controls; draws only when something changed.
export class ViewerApp {
  constructor(container) {
    this.renderer = new WebGLRenderer({ antialias: !softwareRendering() });
    this.renderer.outputColorSpace = LinearSRGBColorSpace;
    this.renderer.setPixelRatio(window.devicePixelRatio);
    container.appendChild(this.renderer.domElement);
    this.scene = new Scene();
    this.scene.background = new Color(0.93, 0.94, 0.96);
    this.camera = new PerspectiveCamera(45, 1, 0.1, 1000);
    this.scene.add(this.camera, new HemisphereLight(0xffffff, 0x667788, 1.2), new AmbientLight(0xffffff, 0.3));
    const headlight = new DirectionalLight(0xffffff, 1.4);
    headlight.position.set(0.5, 1, 1);
    this.camera.add(headlight);
    this.controls = new OrbitControls(this.camera, this.renderer.domElement);
    this.controls.addEventListener('change', () => this.invalidate());
    this.sphere = new Sphere(new Vector3(), 1);
    this.dirty = true;
    this.lastFrameEnd = -Infinity;
    this.frameCost = 0;
    window.addEventListener('resize', () => this.resize());
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

  setBackground([r, g, b]) {
    this.scene.background = new Color(Math.max(r, 0), Math.max(g, 0), Math.max(b, 0));
    this.invalidate();
  }

  // Places the camera so that the box [min x, y, z, max x, y, z] fills the view,
  // looking along `view` (a stream camera) if one is given.
  fit(bounds, view = null) {
    const box = new Box3(new Vector3(...bounds.slice(0, 3)), new Vector3(...bounds.slice(3)));
    if (box.isEmpty()) return;
    box.getBoundingSphere(this.sphere);
    this.sphere.radius = Math.max(this.sphere.radius, 1e-6);
    let direction = DEFAULT_DIRECTION.clone();
    if (view) {
      const d = new Vector3(...view.position).sub(new Vector3(...view.target));
      if (d.lengthSq() > 0) direction = d.normalize();
      const up = new Vector3(...view.up);
      if (up.lengthSq() > 0) this.camera.up.copy(up.normalize());
    }
    const distance = this.sphere.radius / Math.sin((this.camera.fov * Math.PI) / 360) * 1.05;
    this.camera.position.copy(this.sphere.center).addScaledVector(direction, distance);
    this.controls.target.copy(this.sphere.center);
    this.controls.update();
    this.invalidate();
  }

  // Draws if something changed. While `loading`, frames are spaced out, and a
  // frame that was slow to draw is followed by a pause three times as long.
  render(loading = false) {
    if (!this.dirty) return false;
    const start = performance.now();
    if (loading && start - this.lastFrameEnd < Math.max(LOADING_FRAME_GAP_MS, 3 * this.frameCost)) return false;
    this.dirty = false;
    const d = this.camera.position.distanceTo(this.sphere.center);
    const r = this.sphere.radius;
    this.camera.near = Math.max(d - 2 * r, r * 1e-3, d * 1e-4);
    this.camera.far = d + 2 * r;
    this.camera.updateProjectionMatrix();
    this.renderer.render(this.scene, this.camera);
    this.lastFrameEnd = performance.now();
    this.frameCost = this.lastFrameEnd - start;
    return true;
  }

  // The screen rectangle, in CSS pixels, that the box covers; it may reach
  // past the canvas.
  projectedRect(bounds) {
    const xs = [];
    const ys = [];
    const canvas = this.renderer.domElement;
    for (let i = 0; i < 8; i++) {
      const p = new Vector3(bounds[i & 1 ? 3 : 0], bounds[i & 2 ? 4 : 1], bounds[i & 4 ? 5 : 2]).project(this.camera);
      xs.push((p.x + 1) / 2 * canvas.clientWidth);
      ys.push((1 - p.y) / 2 * canvas.clientHeight);
    }
    const x = Math.min(...xs);
    const y = Math.min(...ys);
    return { x, y, width: Math.max(...xs) - x, height: Math.max(...ys) - y };
  }
}
