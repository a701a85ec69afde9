// The small panel with counts and progress, and the error message.
export class Overlay {
  constructor(doc) {
    this.counts = doc.getElementById('qx-counts');
    this.bar = doc.getElementById('qx-bar');
    this.status = doc.getElementById('qx-status');
    this.error = doc.getElementById('qx-error');
  }

  update(state, drawn, progress, done) {
    const c = state.counts;
    this.counts.textContent = `${c.instances} instances · ${c.meshData}/${c.meshes} meshes · ${c.images} images · ${drawn} drawn`;
    this.bar.style.width = `${Math.round(progress * 100)}%`;
    this.status.textContent = done ? 'Loaded' : `Loading ${Math.round(progress * 100)}%`;
  }

  fail(message) {
    this.status.textContent = 'Stopped';
    this.error.textContent = message;
    this.error.hidden = false;
  }
}
