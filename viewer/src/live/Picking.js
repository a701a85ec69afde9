import { Raycaster, Vector2, Vector3 } from 'three';
import { partId } from './LiveBuilder.js';

const CLICK_SLOP_PX = 4;
// Lines and points count within this many pixels of the ray.
const RAY_PIXELS = 3;

// Picking in the live viewer. A click tests what is drawn and asks the
// server, by a ray selection, for what isn't there yet; a shift-drag does
// the same with the box's planes. Results of either kind are highlighted.
export class Picking {
  // `host`: { app, builder(), send(message), nextId() }.
  constructor(host, rectangle) {
    this.host = host;
    this.rectangle = rectangle;
    this.pending = new Map(); // request id -> { local: [parts], keepLocal: bool }
    this.selection = 0;
    const canvas = host.app.renderer.domElement;
    canvas.addEventListener('pointerdown', (e) => this.down(e), { capture: true });
    canvas.addEventListener('pointermove', (e) => this.move(e));
    canvas.addEventListener('pointerup', (e) => this.up(e));
  }

  down(event) {
    this.start = { x: event.offsetX, y: event.offsetY, box: event.shiftKey };
    // A shift-drag draws a box instead of panning.
    if (event.shiftKey) this.host.app.controls.enabled = false;
  }

  move(event) {
    if (!this.start?.box) return;
    const r = this.rect(event);
    Object.assign(this.rectangle.style, { left: `${r.x}px`, top: `${r.y}px`, width: `${r.w}px`, height: `${r.h}px` });
    this.rectangle.hidden = false;
  }

  up(event) {
    const start = this.start;
    this.start = null;
    this.rectangle.hidden = true;
    this.host.app.controls.enabled = true;
    if (!start) return;
    const r = this.rect(event, start);
    if (r.w < CLICK_SLOP_PX && r.h < CLICK_SLOP_PX) this.click(event.offsetX, event.offsetY);
    else if (start.box) this.box(r);
  }

  rect(event, start = this.start) {
    const x = Math.min(start.x, event.offsetX);
    const y = Math.min(start.y, event.offsetY);
    return { x, y, w: Math.abs(event.offsetX - start.x), h: Math.abs(event.offsetY - start.y) };
  }

  ndc(x, y) {
    const canvas = this.host.app.renderer.domElement;
    return new Vector2((x / canvas.clientWidth) * 2 - 1, 1 - (y / canvas.clientHeight) * 2);
  }

  click(x, y) {
    const { app } = this.host;
    const raycaster = new Raycaster();
    raycaster.setFromCamera(this.ndc(x, y), app.camera);
    const hit = raycaster.intersectObject(this.host.builder().root, true).find((h) => h.object.userData.part);
    const local = hit ? [hit.object.userData.part] : [];
    this.host.builder().highlight(local);
    const { origin, direction } = raycaster.ray;
    const pixel = (2 * Math.tan((app.camera.fov * Math.PI) / 360)) / app.renderer.domElement.clientHeight;
    const radius = RAY_PIXELS * pixel * (hit ? hit.distance : app.camera.position.distanceTo(app.controls.target));
    // The server answers for what isn't drawn; a drawn hit stays the pick.
    this.ask({ shape: 'ray', origin: origin.toArray(), direction: direction.toArray(), radius }, 1, local, !hit);
  }

  box(r) {
    const { app } = this.host;
    const corners = [[r.x, r.y], [r.x + r.w, r.y], [r.x + r.w, r.y + r.h], [r.x, r.y + r.h]]
      .map(([x, y]) => new Vector3(...this.ndc(x, y).toArray(), 0.5).unproject(app.camera));
    const eye = app.camera.position;
    const inside = new Vector3(...this.ndc(r.x + r.w / 2, r.y + r.h / 2).toArray(), 0.5).unproject(app.camera);
    const planes = corners.map((a, i) => plane(eye, a, corners[(i + 1) % 4], inside));
    const forward = app.camera.getWorldDirection(new Vector3());
    planes.push([...forward.toArray(), -forward.dot(eye)]);
    const local = [];
    for (const object of this.host.builder().root.children) {
      const centre = object.geometry.boundingSphere ?? (object.geometry.computeBoundingSphere(), object.geometry.boundingSphere);
      const p = centre.center.clone().applyMatrix4(object.matrixWorld);
      if (planes.every(([a, b, c, d]) => a * p.x + b * p.y + c * p.z + d >= 0)) local.push(object.userData.part);
    }
    this.host.builder().highlight(local);
    this.ask({ shape: 'planes', planes, reference: eye.toArray() }, 1000, local, true);
  }

  ask(volume, maxResults, local, useResults) {
    const selection_id = ++this.selection;
    const open = this.host.nextId();
    const next = this.host.nextId();
    this.pending.set(next, { local, useResults });
    this.host.send({ type: 'select', request_id: open, selection_id, ...volume });
    this.host.send({ type: 'next_results', request_id: next, selection_id, max_results: maxResults });
    this.host.send({ type: 'end_selection', request_id: this.host.nextId(), selection_id });
  }

  // A record 53: the parts that the server found for one of our selections.
  results(record) {
    const pick = this.pending.get(record.request);
    if (!pick) return;
    this.pending.delete(record.request);
    if (!pick.useResults) return;
    const found = [];
    for (let i = 0; i < record.results.length; i += 2) found.push(partId(record.results[i], record.results[i + 1]));
    this.host.builder().highlight([...pick.local, ...found]);
  }
}

// The plane through the eye and two points, facing `inside`.
function plane(eye, a, b, inside) {
  const n = new Vector3().subVectors(a, eye).cross(new Vector3().subVectors(b, eye)).normalize();
  let d = -n.dot(eye);
  if (n.dot(inside) + d < 0) {
    n.negate();
    d = -d;
  }
  return [...n.toArray(), d];
}
