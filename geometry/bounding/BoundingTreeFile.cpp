#include "geometry/bounding/BoundingTreeFile.h"

#include <bit>
#include <cstring>

#include "files/ByteOrder.h"
#include "files/File.h"
#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

namespace {

constexpr size_t kHeadSize = 16;
constexpr size_t kFileNodeSize = 44;
constexpr size_t kItemSize = 32;

void PutBox(std::vector<uint8_t>& out, BoundingBox const& b) {
  for (float f : {b.min_x, b.min_y, b.min_z, b.max_x, b.max_y, b.max_z}) {
    PutU32(out, std::bit_cast<uint32_t>(f));
  }
}
void PatchBox(std::vector<uint8_t>& out, size_t at, BoundingBox const& b) {
  size_t i = 0;
  for (float f : {b.min_x, b.min_y, b.min_z, b.max_x, b.max_y, b.max_z}) {
    SetU32(out, at + 4 * i++, std::bit_cast<uint32_t>(f));
  }
}

BoundingBox GetBox(uint8_t const* p) {
  auto f = [&](int i) { return std::bit_cast<float>(GetU32(p + 4 * i)); };
  return {f(0), f(1), f(2), f(3), f(4), f(5)};
}

uint32_t ItemWeight(BoundingNode const& node) {
  uint32_t weight = 0;
  for (BoundingItem const* item : node.items) weight += item->weight;
  return weight;
}

// Node count and weight sum of the head, from a walk of the written nodes.
void PatchHead(BoundingNode const& root, std::vector<uint8_t>& bytes, size_t start) {
  uint32_t count = 0;
  uint32_t weight = 0;
  VisitTree(root, kRootPath, 0, [&](uint64_t, BoundingBox const&, std::span<BoundingItem* const> items) {
    ++count;
    for (BoundingItem const* item : items) weight += item->weight;
  });
  SetU32(bytes, start + 4, static_cast<uint32_t>(bytes.size() - start));
  SetU32(bytes, start + 8, count);
  SetU32(bytes, start + 12, weight);
}

void PutHeadPlaceholder(std::vector<uint8_t>& bytes) {
  PutU32(bytes, kTreeTag);
  PutU32(bytes, 0);
  PutU32(bytes, 0);
  PutU32(bytes, 0);
}

// Writes the node and its non-empty children; returns the tight box, the
// union of the items and of the children's tight boxes.
BoundingBox WriteFileNode(BoundingNode& node, std::vector<uint8_t>& bytes) {
  node.weight = ItemWeight(node);
  size_t const at = bytes.size();
  PutU32(bytes, kNodeTag);
  PutU32(bytes, static_cast<uint32_t>(node.items.size()));
  PutU32(bytes, node.weight);
  PutU32(bytes, 0);
  PutU32(bytes, 0);
  PutBox(bytes, BoundingBox{});
  BoundingBox tight;
  for (BoundingItem const* item : node.items) {
    PutU32(bytes, item->key);
    PutU32(bytes, item->weight);
    PutBox(bytes, item->bounds);
    Unite(tight, item->bounds);
  }
  auto write_children = [&](auto& children, size_t count_at) {
    if (!children) return;
    uint32_t written = 0;
    for (auto& child : *children) {
      if (child.Empty()) continue;
      Unite(tight, WriteFileNode(child, bytes));
      ++written;
    }
    SetU32(bytes, count_at, written);
  };
  write_children(node.octants, at + 12);
  write_children(node.clusters, at + 16);
  PatchBox(bytes, at + 20, tight);
  return tight;
}

BoundingBox WriteStreamNode(BoundingNode& node, uint64_t path, uint32_t depth,
                            std::vector<uint8_t>& bytes) {
  node.weight = ItemWeight(node);
  size_t const at = bytes.size();
  PutU32(bytes, kNodeTag);
  PutU32(bytes, static_cast<uint32_t>(node.items.size()));
  PutU32(bytes, node.weight);
  PutU32(bytes, 0);
  PutU64(bytes, path);
  PutBox(bytes, BoundingBox{});
  BoundingBox tight;
  for (BoundingItem const* item : node.items) Unite(tight, item->bounds);
  uint32_t k = 0;
  auto write_children = [&](auto& children) {
    if (!children) return;
    for (auto& child : *children) {
      if (child.Empty()) continue;
      Unite(tight, WriteStreamNode(child, ChildPath(path, depth, k++), depth + 1, bytes));
    }
  };
  write_children(node.octants);
  write_children(node.clusters);
  SetU32(bytes, at + 12, k);
  PatchBox(bytes, at + 24, tight);
  return tight;
}

class TreeReader {
 public:
  TreeReader(std::span<uint8_t const> bytes, ItemLookup const& lookup)
      : bytes_(bytes), lookup_(lookup) {}

  std::unique_ptr<BoundingNode> Read() {
    if (bytes_.size() < kHeadSize || GetU32(bytes_.data()) != kTreeTag) return nullptr;
    if (GetU32(bytes_.data() + 4) != bytes_.size()) return nullptr;
    pos_ = kHeadSize;
    auto root = std::make_unique<BoundingNode>();
    if (!ReadNode(*root, 0) || pos_ != bytes_.size()) return nullptr;
    return root;
  }

 private:
  size_t Left() const { return bytes_.size() - pos_; }

  bool ReadNode(BoundingNode& node, uint32_t depth) {
    if (depth > kMaxTreeDepth || Left() < kFileNodeSize) return false;
    uint8_t const* head = bytes_.data() + pos_;
    if (GetU32(head) != kNodeTag) return false;
    uint32_t const items = GetU32(head + 4);
    uint32_t const octants = GetU32(head + 12);
    uint32_t const clusters = GetU32(head + 16);
    if (octants > 8 || clusters > 7) return false;
    node.weight = GetU32(head + 8);
    node.bounds = GetBox(head + 20);
    pos_ += kFileNodeSize;
    if (Left() / kItemSize < items) return false;
    node.items.reserve(items);
    for (uint32_t i = 0; i < items; ++i) {
      if (!ReadItem(node)) return false;
    }
    return ReadChildren(node.octants, octants, depth) && ReadChildren(node.clusters, clusters, depth);
  }

  bool ReadItem(BoundingNode& node) {
    uint8_t const* p = bytes_.data() + pos_;
    BoundingItem* item = lookup_(GetU32(p));
    if (!item) return false;
    item->weight = GetU32(p + 4);
    item->bounds = GetBox(p + 8);
    node.items.push_back(item);
    pos_ += kItemSize;
    return true;
  }

  template <size_t N>
  bool ReadChildren(std::unique_ptr<std::array<BoundingNode, N>>& children, uint32_t count,
                    uint32_t depth) {
    if (count == 0) return true;
    children = std::make_unique<std::array<BoundingNode, N>>();
    for (uint32_t i = 0; i < count; ++i) {
      if (!ReadNode((*children)[i], depth + 1)) return false;
    }
    return true;
  }

  std::span<uint8_t const> bytes_;
  ItemLookup const& lookup_;
  size_t pos_ = 0;
};

// The whole record from the start of the file, or nothing if the file is
// shorter than its head says or doesn't begin with a tree head.
std::vector<uint8_t> ReadRecord(File& file) {
  std::vector<uint8_t> bytes(kHeadSize);
  if (file.Seek(0, kSeekBegin) != 0 || file.Read(bytes.data(), kHeadSize) != kHeadSize) return {};
  uint32_t const length = GetU32(bytes.data() + 4);
  int64_t const size = file.Size();
  if (GetU32(bytes.data()) != kTreeTag || length < kHeadSize + 4 || size < int64_t{length}) {
    return {};
  }
  bytes.resize(length);
  uint64_t const rest = length - kHeadSize;
  if (file.Read(bytes.data() + kHeadSize, rest) != rest) return {};
  if (GetU32(bytes.data() + kHeadSize) != kNodeTag) return {};
  return bytes;
}

}  // namespace

void WriteTree(BoundingNode& root, std::vector<uint8_t>& bytes) {
  size_t const start = bytes.size();
  PutHeadPlaceholder(bytes);
  WriteFileNode(root, bytes);
  PatchHead(root, bytes, start);
}

void WriteStreamTree(BoundingNode& root, std::vector<uint8_t>& bytes) {
  size_t const start = bytes.size();
  PutHeadPlaceholder(bytes);
  WriteStreamNode(root, kRootPath, 0, bytes);
  PatchHead(root, bytes, start);
}

std::unique_ptr<BoundingNode> ReadTree(std::span<uint8_t const> bytes, ItemLookup const& lookup) {
  return TreeReader(bytes, lookup).Read();
}

std::unique_ptr<BoundingNode> ReadTree(File& file, ItemLookup const& lookup) {
  std::vector<uint8_t> const bytes = ReadRecord(file);
  if (bytes.empty()) return nullptr;
  return ReadTree(bytes, lookup);
}

bool ReadRootBox(File& file, BoundingBox& out) {
  std::vector<uint8_t> const bytes = ReadRecord(file);
  if (bytes.size() < kHeadSize + kFileNodeSize) return false;
  out = GetBox(bytes.data() + kHeadSize + 20);
  return true;
}

}  // namespace QX::Store
