import { Box3, Box3Helper } from 'three';
import { readAssemblyTree } from '../AssemblyTree.js';
import { PartsState } from './PartsState.js';

const ROW_PX = 22;
const INDENT_PX = 14;
const SPARE_ROWS = 8; // drawn above and below the visible ones, for smooth scrolling

// The panel of the model's parts: a foldable tree of names with a checkbox
// each. Clicking a row selects its branch and frames it; a checkbox hides
// and shows a branch; "Isolate" draws only the selected branch. Only the
// rows in sight exist in the page, so a long list costs no more than a
// short one.
//
// `scene` connects the panel to what is drawn: objectsOf(instance keys),
// everything() (all drawn objects), select(objects) (frames and marks them,
// or clears the mark if there are none) and changed().
export class PartsPanel {
  constructor(doc, state, scene) {
    this.doc = doc;
    this.state = state;
    this.scene = scene;
    this.root = doc.getElementById('qx-parts');
    this.list = doc.getElementById('qx-parts-list');
    this.rowsBox = doc.getElementById('qx-parts-rows');
    this.isolateButton = doc.getElementById('qx-parts-isolate');
    this.rows = state.rows();
    doc.getElementById('qx-parts-fold').addEventListener('click', (event) => this.fold(event.currentTarget));
    this.isolateButton.addEventListener('click', () => this.isolate());
    doc.getElementById('qx-parts-all').addEventListener('click', () => this.showAll());
    this.list.addEventListener('scroll', () => this.draw());
    doc.defaultView.addEventListener('resize', () => this.draw());
    this.rowsBox.addEventListener('click', (event) => this.click(event));
    this.rowsBox.addEventListener('change', (event) => this.check(event));
    this.root.hidden = false;
    this.applyVisibility();
    this.refresh();
  }

  fold(button) {
    const folded = this.root.classList.toggle('folded');
    button.setAttribute('aria-expanded', String(!folded));
    if (!folded) this.draw();
  }

  // Recomputes the open rows and draws those in sight.
  refresh() {
    this.rows = this.state.rows();
    this.rowsBox.style.height = `${this.rows.length * ROW_PX}px`;
    this.isolateButton.disabled = this.state.selected < 0;
    this.draw();
  }

  draw() {
    const first = Math.max(0, Math.floor(this.list.scrollTop / ROW_PX) - SPARE_ROWS);
    const last = Math.min(this.rows.length, Math.ceil((this.list.scrollTop + this.list.clientHeight) / ROW_PX) + SPARE_ROWS);
    const fragment = this.doc.createDocumentFragment();
    for (let r = first; r < last; r++) fragment.appendChild(this.row(this.rows[r], r));
    this.rowsBox.replaceChildren(fragment);
  }

  row(i, r) {
    const { state, doc } = this;
    const node = state.nodes[i];
    const row = doc.createElement('div');
    row.className = 'qx-row';
    if (i === state.selected) row.classList.add('selected');
    if (!state.chainShown(i) || !state.inIsolation(i)) row.classList.add('off');
    row.dataset.node = i;
    row.style.top = `${r * ROW_PX}px`;
    row.style.paddingLeft = `${node.depth * INDENT_PX}px`;
    const twisty = doc.createElement('span');
    twisty.className = 'qx-twisty';
    if (state.hasChildren(i)) twisty.textContent = state.open[i] ? '▾' : '▸';
    const box = doc.createElement('input');
    box.type = 'checkbox';
    box.checked = state.shown[i] === 1;
    box.title = 'Show or hide';
    const name = doc.createElement('span');
    name.className = 'qx-name';
    name.textContent = name.title = node.name || 'unnamed';
    row.append(twisty, box, name);
    return row;
  }

  click(event) {
    const row = event.target.closest('.qx-row');
    if (!row) return;
    const i = Number(row.dataset.node);
    if (event.target.classList.contains('qx-twisty')) {
      this.state.toggle(i);
      this.refresh();
    } else if (event.target.type !== 'checkbox') {
      this.select(i);
    }
  }

  check(event) {
    const row = event.target.closest('.qx-row');
    if (!row) return;
    this.state.setShown(Number(row.dataset.node), event.target.checked);
    this.applyVisibility();
    this.draw();
  }

  // Selects node i (or nothing, with -1) and frames its instances.
  select(i) {
    this.state.selected = i;
    if (i >= 0) this.state.reveal(i);
    this.scene.select(i >= 0 ? this.scene.objectsOf(this.state.branchInstances(i)) : []);
    this.refresh();
  }

  isolate() {
    if (this.state.selected < 0) return;
    this.state.isolate(this.state.selected);
    this.applyVisibility();
    this.draw();
  }

  showAll() {
    this.state.showAll();
    this.applyVisibility();
    this.draw();
  }

  // Objects outside the tree are drawn unless a branch is isolated.
  applyVisibility() {
    const outside = this.state.isolated < 0;
    for (const object of this.scene.everything()) object.visible = outside;
    this.state.forEachInstance((key, visible) => {
      for (const object of this.scene.objectsOf([key])) object.visible = visible;
    });
    this.scene.changed();
  }
}

// The panel of the first model that has a tree of parts with instances in
// it, once the stream is decoded; null if none has. A malformed tree leaves the panel out with a
// warning: the model itself is drawn all the same.
export function openPartsPanel(doc, sceneState, builder, app) {
  let tree = null;
  try {
    for (const model of sceneState.models.values()) {
      const nodes = readAssemblyTree(model.keyedData);
      if (nodes?.some((node) => node.instances.length)) {
        tree = { model, nodes };
        break;
      }
    }
  } catch (err) {
    console.warn(`No parts panel: ${err.message}`);
    return null;
  }
  if (!tree) return null;
  const marker = new Box3Helper(new Box3(), 0xffa000);
  marker.material.depthTest = false;
  marker.renderOrder = 1;
  marker.visible = false;
  app.scene.add(marker);
  return new PartsPanel(doc, new PartsState(tree.nodes), {
    objectsOf: (keys) => keys.flatMap((key) => builder.instanceObjects.get(`${tree.model.id}:${key}`) ?? []),
    everything: () => builder.root.children,
    select: (objects) => {
      builder.root.updateMatrixWorld(true);
      const box = marker.box.makeEmpty();
      for (const object of objects) box.expandByObject(object);
      marker.visible = !box.isEmpty();
      if (marker.visible) app.frame([...box.min.toArray(), ...box.max.toArray()]);
      app.invalidate();
    },
    changed: () => app.invalidate(),
  });
}
