#include "geometry/bounding/CloudNode.h"

#include <algorithm>
#include <random>

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {
namespace {

struct Cloud {
  Point const* points;

  Point const& At(uint32_t i) const { return points[i]; }
};

bool Holds(BoundingBox const& b, Point const& p) {
  // Inclusive at both ends; a NaN fails every comparison and drops out.
  return p.x >= b.min_x && p.x <= b.max_x && p.y >= b.min_y && p.y <= b.max_y && p.z >= b.min_z && p.z <= b.max_z;
}

void Grow(BoundingBox& b, Point const& p) {
  b.min_x = std::min(b.min_x, p.x);
  b.min_y = std::min(b.min_y, p.y);
  b.min_z = std::min(b.min_z, p.z);
  b.max_x = std::max(b.max_x, p.x);
  b.max_y = std::max(b.max_y, p.y);
  b.max_z = std::max(b.max_z, p.z);
}

// The eight octants; a point on a dividing plane goes to the earlier child.
void MakeChildren(CloudNode& node) {
  BoundingBox const& b = node.box;
  float const cx = (b.min_x + b.max_x) * 0.5f, cy = (b.min_y + b.max_y) * 0.5f, cz = (b.min_z + b.max_z) * 0.5f;
  struct Span {
    float from, to;
  };
  Span const x_hi{cx, b.max_x}, x_lo{b.min_x, cx}, y_hi{cy, b.max_y}, y_lo{b.min_y, cy}, z_hi{cz, b.max_z},
      z_lo{b.min_z, cz};
  std::array<std::array<Span, 3>, 8> const octants{{{x_hi, y_hi, z_hi}, {x_lo, y_hi, z_hi}, {x_lo, y_lo, z_hi},
                                                    {x_hi, y_lo, z_hi}, {x_hi, y_hi, z_lo}, {x_lo, y_hi, z_lo},
                                                    {x_lo, y_lo, z_lo}, {x_hi, y_lo, z_lo}}};
  node.children = std::make_unique<std::array<CloudNode, 8>>();
  for (size_t c = 0; c < 8; ++c) {
    auto const& o = octants[c];
    (*node.children)[c].box = {o[0].from, o[1].from, o[2].from, o[0].to, o[1].to, o[2].to};
  }
}

// The first child whose box holds `p`. The octants tile the node's box, so
// the child follows from the middle planes (a point on a plane goes to the
// earlier child); only a box too large for float halves needs the search.
CloudNode* ChildFor(CloudNode& node, Point const& p) {
  auto& children = *node.children;
  BoundingBox const& b = node.box;
  float const cx = (b.min_x + b.max_x) * 0.5f, cy = (b.min_y + b.max_y) * 0.5f, cz = (b.min_z + b.max_z) * 0.5f;
  size_t c = p.y >= cy ? (p.x >= cx ? 0 : 1) : (p.x <= cx ? 2 : 3);
  if (!(p.z >= cz)) c += 4;
  if (Holds(children[c].box, p)) return &children[c];
  for (CloudNode& child : children)
    if (Holds(child.box, p)) return &child;
  return nullptr;
}

bool InsertPoint(Cloud const& cloud, CloudNode& root, uint32_t i, uint32_t depth) {
  Point const& p = cloud.At(i);
  if (!Holds(root.box, p)) return false;
  CloudNode* node = &root;
  for (++node->count; node->children; ++node->count, ++depth) {
    node = ChildFor(*node, p);
    if (!node) return true;
  }
  node->indices.push_back(i);
  if (depth >= kCloudMaxDepth || node->indices.size() <= kCloudNodeTarget) return true;
  MakeChildren(*node);
  std::vector<uint32_t> const held = std::move(node->indices);
  node->indices = {};
  for (uint32_t index : held)
    for (CloudNode& child : *node->children)
      if (InsertPoint(cloud, child, index, depth + 1)) break;
  return true;
}

void Compact(Cloud const& cloud, CloudNode& node, CloudNode* parent) {
  if (node.children) {
    CloudNode* used = nullptr;
    size_t used_count = 0;
    for (CloudNode& child : *node.children) {
      Compact(cloud, child, &node);
      if (child.Used()) used = &child, ++used_count;
    }
    if (used_count == 0) {
      node.children.reset();
    } else if (used_count == 1 && node.indices.size() < kCloudNodeMinimum) {
      // A chain of single children folds into one node.
      for (uint32_t index : node.indices) {
        used->indices.push_back(index);
        Grow(used->box, cloud.At(index));
      }
      node.box = used->box;
      node.indices = std::move(used->indices);
      auto grandchildren = std::move(used->children);
      node.children = std::move(grandchildren);
    }
  }
  if (parent && !node.indices.empty() && node.indices.size() < kCloudNodeMinimum) {
    node.count -= node.indices.size();
    parent->indices.insert(parent->indices.end(), node.indices.begin(), node.indices.end());
    node.indices.clear();
  }
}

// Hands points upwards, so that each node keeps a sample of what lies below it.
void Spread(CloudNode& node, CloudNode* parent, uint64_t amount) {
  uint64_t const own = node.indices.size();
  uint64_t needed = amount + kCloudNodeTarget > own ? amount + kCloudNodeTarget - own : 0;
  needed = std::min(needed, node.count);
  uint64_t const others = node.count - own;
  if (node.children) {
    bool any_left = false;
    for (CloudNode& child : *node.children) {
      if (child.count == 0) continue;
      float const fraction = static_cast<float>(child.count) / static_cast<float>(others);
      auto const share = static_cast<uint64_t>(static_cast<float>(needed) * fraction);
      if (share != 0) Spread(child, &node, share);
    }
    for (CloudNode const& child : *node.children) any_left = any_left || child.Used();
    if (!any_left) node.children.reset();
  }
  if (amount == 0) return;
  amount = std::min<uint64_t>(amount, node.indices.size());
  if (amount == 0) return;
  ShuffleCloudIndices(node.indices);
  for (uint64_t k = 0; k < amount; ++k) {
    parent->indices.push_back(node.indices.back());
    node.indices.pop_back();
    --node.count;
  }
}

}  // namespace

void ShuffleCloudIndices(std::vector<uint32_t>& list) {
  std::mt19937 generator(kCloudSeed);
  constexpr uint64_t kMax = 0xFFFFFFFFu;
  for (uint64_t i = 1; i < list.size(); ++i) {
    uint64_t const m = i + 1, q = kMax / m, r = kMax % m;
    uint64_t v = generator();
    while (v / m >= q && r != m - 1) v = generator();
    std::swap(list[i], list[v % m]);
  }
}

CloudNode BuildCloudTree(Point const* points, uint32_t count) {
  Cloud const cloud{points};
  CloudNode root;
  root.box = ScanPoints(points, count);
  std::vector<uint32_t> order(count);
  for (uint32_t i = 0; i < count; ++i) order[i] = i;
  ShuffleCloudIndices(order);
  for (uint32_t i : order) InsertPoint(cloud, root, i, 0);
  order = {};
  Compact(cloud, root, nullptr);
  Spread(root, nullptr, 0);
  Compact(cloud, root, nullptr);
  return root;
}

}  // namespace QX::Store
