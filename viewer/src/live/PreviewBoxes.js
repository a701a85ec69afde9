import { Box3, Box3Helper, Color, Group, Vector3 } from 'three';

// Colours of the three kinds of preview: the next instances, parts of the
// model, and instances that the memory budget holds out.
const COLORS = [new Color(0.2, 0.45, 0.9), new Color(0.55, 0.6, 0.7), new Color(0.9, 0.55, 0.2)];

// The wire boxes that stand in for what hasn't arrived yet. Each `p` record
// replaces the boxes of its kind.
export class PreviewBoxes {
  constructor(onChange) {
    this.root = new Group();
    this.kinds = [new Group(), new Group(), new Group()];
    this.root.add(...this.kinds);
    this.onChange = onChange;
  }

  get count() {
    return this.kinds.reduce((n, group) => n + group.children.length, 0);
  }

  set(kind, boxes) {
    const group = this.kinds[kind];
    if (!group) return;
    for (const helper of group.children) helper.geometry.dispose();
    group.clear();
    for (const b of boxes) {
      if (b[0] > b[3] || b[1] > b[4] || b[2] > b[5]) continue;
      const box = new Box3(new Vector3(b[0], b[1], b[2]), new Vector3(b[3], b[4], b[5]));
      group.add(new Box3Helper(box, COLORS[kind]));
    }
    this.onChange();
  }

  clear() {
    for (let kind = 0; kind < 3; kind++) this.set(kind, []);
  }
}
