// Block layouts. A group node's block: flags, second flags, id, name, kind
// and type bytes, the DataKeys of its child blocks, then its bodies as
// embedded leaf records. Each item is announced by a bit of the flags, so
// that a reader of the metadata can step over what it doesn't need.
#include "conversion/AssemblyTree.h"

#include "files/ByteOrder.h"
#include "store/Model.h"

namespace KZV {

namespace {

constexpr uint32_t kTwoFlagWords = 0x40000000;
constexpr uint32_t kHasId = 0x1;
constexpr uint32_t kHasName = 0x2;
constexpr uint32_t kHasKind = 0x4;
constexpr uint32_t kHasChildren = 0x10;
constexpr uint32_t kHasBodies = 0x80;
constexpr uint32_t kHasInstance = 0x40000;
constexpr uint32_t kHasType = 0x400000;
constexpr uint8_t kKindByte = 2;
constexpr uint8_t kTypeByte = 2;

// Type of the keyed data of a node block: falls by one with each level.
constexpr uint32_t kRootBlockType = 1000;

void AppendName(std::vector<uint8_t>& out, std::string const& name) {
  if (!name.empty()) QX::Store::PutBytes(out, name.c_str(), name.size() + 1);
}

// The metadata block that leads to the root's block: format 5, version
// 22.1.2, second flags 64, then the root's key and four unused bytes.
std::vector<uint8_t> HeadBlock(QX::Store::DataKey root) {
  std::vector<uint8_t> out;
  for (uint32_t word : {0x40800000u, 5u, 22u, 1u, 2u, 64u, root}) QX::Store::PutU32(out, word);
  out.insert(out.end(), {0, 0});
  QX::Store::PutU32(out, 0);
  return out;
}

}  // namespace

uint32_t AssemblyTree::NewNode() {
  uint32_t const id = next_id_++;
  nodes_.emplace(id, Node{});
  return id;
}

void AssemblyTree::CreateRoot(uint32_t& id) {
  id = NewNode();
  root_ = id;
}

void AssemblyTree::CreateChild(uint32_t parent, uint32_t& id) {
  id = NewNode();
  nodes_.at(parent).children.push_back(id);
}

void AssemblyTree::CreateBody(uint32_t parent, uint32_t& id) {
  id = NewNode();
  nodes_.at(parent).bodies.push_back(id);
}

void AssemblyTree::SetName(uint32_t id, char const* text) { nodes_.at(id).name = text; }

void AssemblyTree::SetBodyInstance(uint32_t id, QX::Store::InstanceInc instance) {
  nodes_.at(id).instance = instance.key;
}

void AssemblyTree::Write(QX::Store::Model& model) {
  if (root_ == 0xFFFFFFFFu) return;
  QX::Store::DataKey const root = WriteNode(model, root_, 0);
  if (root == 0) return;
  std::vector<uint8_t> const head = HeadBlock(root);
  model.SetKeyedData(QX::Store::kMetadataKey, uint32_t(head.size()), head.data());
}

// The node's key is reserved before its children's, so a parent's key is
// lower than theirs; its block is filled once theirs are.
QX::Store::DataKey AssemblyTree::WriteNode(QX::Store::Model& model, uint32_t id, uint32_t depth) {
  QX::Store::DataKey const key = model.InsertKeyedData(0, nullptr, kRootBlockType - depth);
  Node const& node = nodes_.at(id);
  uint32_t flags = kTwoFlagWords | kHasId | kHasKind | kHasType;
  if (!node.name.empty()) flags |= kHasName;
  if (!node.children.empty()) flags |= kHasChildren;
  if (!node.bodies.empty()) flags |= kHasBodies;

  std::vector<uint8_t> out;
  QX::Store::PutU32(out, flags);
  QX::Store::PutU32(out, 0);
  QX::Store::PutU32(out, id);
  AppendName(out, node.name);
  out.push_back(kKindByte);
  out.push_back(kTypeByte);
  if (!node.children.empty()) {
    QX::Store::PutU32(out, uint32_t(node.children.size()));
    for (uint32_t child : node.children) QX::Store::PutU32(out, WriteNode(model, child, depth + 1));
  }
  if (!node.bodies.empty()) {
    QX::Store::PutU32(out, uint32_t(node.bodies.size()));
    for (uint32_t body : node.bodies) AppendBody(out, body);
  }
  model.SetKeyedData(key, uint32_t(out.size()), out.data());
  return key;
}

void AssemblyTree::AppendBody(std::vector<uint8_t>& out, uint32_t id) const {
  Node const& body = nodes_.at(id);
  uint32_t flags = kTwoFlagWords | kHasId | kHasKind | kHasInstance;
  if (!body.name.empty()) flags |= kHasName;
  QX::Store::PutU32(out, flags);
  QX::Store::PutU32(out, 0);
  QX::Store::PutU32(out, id);
  AppendName(out, body.name);
  out.push_back(kKindByte);
  QX::Store::PutU32(out, body.instance);
}

}  // namespace KZV
