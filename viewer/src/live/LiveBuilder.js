import { SceneBuilder } from '../render/SceneBuilder.js';

const HIGHLIGHT = [1.0, 0.55, 0.1];

// The scene builder of a live stream: each drawn object knows its part
// (inclusion and instance key) and its mesh, so that the server's ejection
// of a mesh can take its objects away again, and picked parts can be
// highlighted, also ones that arrive after they were picked.
export class LiveBuilder extends SceneBuilder {
  constructor(state, onChange) {
    super(state, onChange);
    const drawInfo = state.drawInfo.bind(state);
    state.drawInfo = (model, instance) => ({ ...drawInfo(model, instance), instance });
    this.highlighted = new Set();
  }

  place(model, info) {
    const from = this.root.children.length;
    super.place(model, info);
    const part = partId(info.instance.inclusion, info.instance.key);
    for (const object of this.root.children.slice(from)) {
      object.userData = { part, mesh: `${model.id}:${info.dataKey}`, info };
      if (this.highlighted.has(part)) paint(object, true);
    }
  }

  // Drops the objects of a mesh whose data the server ejected; its
  // instances wait for the data to come again.
  evict(modelId, key) {
    const id = `${modelId}:${key}`;
    const infos = new Set();
    for (const object of [...this.root.children]) {
      if (object.userData.mesh !== id) continue;
      infos.add(object.userData.info);
      this.root.remove(object);
      this.drawn--;
    }
    for (const geometry of this.geometries.get(id) ?? []) geometry?.dispose();
    this.geometries.delete(id);
    this.state.models.get(modelId)?.meshData.delete(key);
    if (infos.size) this.waiting.set(id, [...(this.waiting.get(id) ?? []), ...infos]);
    this.onChange();
  }

  // Highlights exactly the parts in `parts` ("inclusion:key" strings).
  highlight(parts) {
    this.highlighted = new Set(parts);
    for (const object of this.root.children) paint(object, this.highlighted.has(object.userData.part));
    this.onChange();
  }

  get highlightedDrawn() {
    return this.root.children.filter((o) => o.userData.highlighted).map((o) => o.userData.part);
  }
}

export function partId(inclusion, key) {
  return `${inclusion}:${key}`;
}

// Swaps an object's material for a tinted copy, or back.
function paint(object, on) {
  const data = object.userData;
  if (on === Boolean(data.highlighted)) return;
  if (on) {
    data.material = object.material;
    const tint = (m) => {
      const copy = m.clone();
      if (copy.emissive) copy.emissive.setRGB(...HIGHLIGHT).multiplyScalar(0.6);
      else copy.color?.setRGB(...HIGHLIGHT);
      return copy;
    };
    object.material = Array.isArray(object.material) ? object.material.map(tint) : tint(object.material);
  } else {
    for (const m of [object.material].flat()) m.dispose();
    object.material = data.material;
  }
  data.highlighted = on;
}
