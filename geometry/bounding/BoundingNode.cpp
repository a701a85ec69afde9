#include "geometry/bounding/BoundingNode.h"

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

namespace {

void MakeOctants(BoundingNode& node) {
  BoundingBox const& b = node.bounds;
  float const cx = (b.min_x + b.max_x) * 0.5f;
  float const cy = (b.min_y + b.max_y) * 0.5f;
  float const cz = (b.min_z + b.max_z) * 0.5f;
  node.octants = std::make_unique<std::array<BoundingNode, 8>>();
  auto& o = *node.octants;
  o[0].bounds = {cx, cy, cz, b.max_x, b.max_y, b.max_z};
  o[1].bounds = {b.min_x, cy, cz, cx, b.max_y, b.max_z};
  o[2].bounds = {b.min_x, b.min_y, cz, cx, cy, b.max_z};
  o[3].bounds = {cx, b.min_y, cz, b.max_x, cy, b.max_z};
  o[4].bounds = {cx, cy, b.min_z, b.max_x, b.max_y, cz};
  o[5].bounds = {b.min_x, cy, b.min_z, cx, b.max_y, cz};
  o[6].bounds = {b.min_x, b.min_y, b.min_z, cx, cy, cz};
  o[7].bounds = {cx, b.min_y, b.min_z, b.max_x, cy, cz};
}

bool InsertIntoOctants(BoundingNode& node, BoundingItem* item, uint32_t depth) {
  for (auto& octant : *node.octants) {
    if (InsertItem(octant, item, depth + 1)) return true;
  }
  return false;
}

void Split(BoundingNode& node, uint32_t depth) {
  MakeOctants(node);
  std::vector<BoundingItem*> offered;
  offered.swap(node.items);
  for (BoundingItem* item : offered) {
    if (!InsertIntoOctants(node, item, depth)) node.items.push_back(item);
  }
}

template <size_t N>
void PruneChildren(std::unique_ptr<std::array<BoundingNode, N>>& children, BoundingNode& node) {
  if (!children) return;
  bool all_empty = true;
  for (auto& child : *children) {
    PruneTree(child, &node);
    all_empty = all_empty && child.Empty();
  }
  if (all_empty) children.reset();
}

template <size_t N>
void FindNonEmpty(std::unique_ptr<std::array<BoundingNode, N>> const& children,
                  BoundingNode*& found, int& count) {
  if (!children) return;
  for (auto& child : *children) {
    if (!child.Empty()) {
      found = &child;
      ++count;
    }
  }
}

// A node without items and with exactly one non-empty child becomes that child.
void CollapseSingleChild(BoundingNode& node) {
  if (!node.items.empty()) return;
  BoundingNode* only = nullptr;
  int count = 0;
  FindNonEmpty(node.octants, only, count);
  FindNonEmpty(node.clusters, only, count);
  if (count != 1) return;
  BoundingNode taken = std::move(*only);  // `only` lives in the arrays replaced below
  node.bounds = taken.bounds;
  node.items = std::move(taken.items);
  node.octants = std::move(taken.octants);
  node.clusters = std::move(taken.clusters);
}

void DissolveIntoParent(BoundingNode& node, BoundingNode* parent) {
  if (!parent || node.items.empty() || node.items.size() >= 32) return;
  uint64_t weight = 0;
  for (BoundingItem const* item : node.items) weight += item->weight;
  if (weight >= 256) return;
  parent->items.insert(parent->items.end(), node.items.begin(), node.items.end());
  node.items.clear();
}

template <size_t N>
void VisitChildren(std::unique_ptr<std::array<BoundingNode, N>> const& children, uint64_t path,
                   uint32_t depth, uint32_t& k, TreeVisitor const& visitor) {
  if (!children) return;
  for (auto const& child : *children) {
    if (child.Empty()) continue;
    VisitTree(child, ChildPath(path, depth, k++), depth + 1, visitor);
  }
}

}  // namespace

bool InsertItem(BoundingNode& node, BoundingItem* item, uint32_t depth) {
  if (!Contains(node.bounds, item->bounds)) return false;
  if (node.octants) {
    if (!InsertIntoOctants(node, item, depth)) node.items.push_back(item);
    return true;
  }
  node.items.push_back(item);
  if (depth >= kMaxTreeDepth || node.items.size() <= kMaxLeafItems) return true;
  Split(node, depth);
  return true;
}

void PruneTree(BoundingNode& node, BoundingNode* parent) {
  PruneChildren(node.octants, node);
  PruneChildren(node.clusters, node);
  CollapseSingleChild(node);
  DissolveIntoParent(node, parent);
}

uint64_t ChildPath(uint64_t parent_path, uint32_t depth, uint32_t k) {
  // Paths have room for 16 levels; deeper nodes share their parent's path.
  if (depth >= 16) return parent_path;
  uint32_t const shift = depth * 4;
  return (parent_path & ~(uint64_t{0xF} << shift)) | (uint64_t{k & 0xF} << shift);
}

void VisitTree(BoundingNode const& node, uint64_t path, uint32_t depth, TreeVisitor const& visitor) {
  visitor(path, node.bounds, node.items);
  uint32_t k = 0;
  VisitChildren(node.octants, path, depth, k, visitor);
  VisitChildren(node.clusters, path, depth, k, visitor);
}

}  // namespace QX::Store
