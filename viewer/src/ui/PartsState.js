// What the parts panel shows of a tree and what it lets the scene draw.
// `nodes` is the flat depth-first list of readAssemblyTree, so a branch is
// a run of indices and every walk here is a single pass over arrays: a tree
// of many thousands of nodes stays quick to fold, hide and isolate.
export class PartsState {
  constructor(nodes) {
    this.nodes = nodes;
    this.open = new Uint8Array(nodes.length);
    this.shown = Uint8Array.from(nodes, (node) => (node.active ? 1 : 0));
    this.isolated = -1; // the root of the branch that alone is drawn, if any
    this.selected = -1;
    // The root is open, and so is a node that is its parent's only child,
    // so that the first level with a choice of parts shows.
    for (let i = 0; i < nodes.length; i++) {
      this.open[i] = 1;
      if (nodes[i + 1]?.end !== nodes[i].end) break;
    }
  }

  hasChildren(i) { return this.nodes[i].end > i + 1; }

  // The rows of the panel: every node whose ancestors are all open.
  rows() {
    const out = [];
    for (let i = 0; i < this.nodes.length; i = this.open[i] ? i + 1 : this.nodes[i].end) out.push(i);
    return out;
  }

  toggle(i) { this.open[i] ^= 1; }

  // Opens the ancestors of a node, so that it has a row.
  reveal(i) {
    for (let p = this.nodes[i].parent; p >= 0; p = this.nodes[p].parent) this.open[p] = 1;
  }

  setShown(i, on) { this.shown[i] = on ? 1 : 0; }

  // True if the node's checkbox and those of all its ancestors are on.
  chainShown(i) {
    for (let p = i; p >= 0; p = this.nodes[p].parent) if (!this.shown[p]) return false;
    return true;
  }

  // Draws only the branch of node i, which is switched on with its ancestors.
  isolate(i) {
    this.isolated = i;
    for (let p = i; p >= 0; p = this.nodes[p].parent) this.shown[p] = 1;
  }

  showAll() {
    this.isolated = -1;
    this.shown.fill(1);
  }

  inIsolation(i) {
    return this.isolated < 0 || (i >= this.isolated && i < this.nodes[this.isolated].end);
  }

  // Calls fn(instance key, visible) for the instances of every node: an
  // instance is drawn if its node's checkbox and its ancestors' are on and
  // the node is in the isolated branch, if there is one.
  forEachInstance(fn) {
    const chain = new Uint8Array(this.nodes.length);
    this.nodes.forEach((node, i) => {
      chain[i] = this.shown[i] && (node.parent < 0 || chain[node.parent]) ? 1 : 0;
      const visible = chain[i] === 1 && this.inIsolation(i);
      for (const key of node.instances) fn(key, visible);
    });
  }

  // The instance keys of the branch of node i.
  branchInstances(i) {
    const out = [];
    for (let j = i; j < this.nodes[i].end; j++) out.push(...this.nodes[j].instances);
    return out;
  }
}
