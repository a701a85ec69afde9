// The assembly tree of a walked scene: its node blocks byte for byte, what
// the nodes are called, and which segments get none.
#include <functional>
#include <string>

#include "ConversionFixture.h"
#include "conversion/AssemblyTree.h"
#include "files/ByteOrder.h"
#include "store/MetadataReader.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;
using QX::Store::Bytes;
using QX::Store::PutU32;

// A group node's block as a viewer reads it.
Bytes GroupBlock(uint32_t id, std::string const& name, std::vector<uint32_t> const& children,
                 std::vector<std::pair<uint32_t, uint32_t>> const& bodies = {}) {
  Bytes out;
  PutU32(out, 0x40400005 | (name.empty() ? 0 : 2) | (children.empty() ? 0 : 0x10) | (bodies.empty() ? 0 : 0x80));
  PutU32(out, 0);
  PutU32(out, id);
  if (!name.empty()) QX::Store::PutBytes(out, name.c_str(), name.size() + 1);
  out.insert(out.end(), {2, 2});
  if (!children.empty()) {
    PutU32(out, uint32_t(children.size()));
    for (uint32_t key : children) PutU32(out, key);
  }
  if (!bodies.empty()) {
    PutU32(out, uint32_t(bodies.size()));
    for (auto const& [body, instance] : bodies) {
      for (uint32_t word : {0x40040005u, 0u, body}) PutU32(out, word);
      out.push_back(2);
      PutU32(out, instance);
    }
  }
  return out;
}

Bytes HeadBlock(uint32_t root) {
  Bytes out;
  for (uint32_t word : {0x40800000u, 5u, 22u, 1u, 2u, 64u, root}) PutU32(out, word);
  out.insert(out.end(), {0, 0, 0, 0, 0, 0});
  return out;
}

class AssemblyTreeTest : public ConversionTest {
 protected:
  // Converts as the page export does: every segment but the root has a node.
  void ConvertWithTree() {
    ConverterOptions options;
    options.BuildAssemblyTree = true;
    options.SegmentFilter = [this](SegmentKey const& s) { return s != root; };
    Convert(options);
  }

  Bytes Block(QX::Store::DataKey key) {
    Bytes bytes;
    EXPECT_TRUE(impl().ReadKeyedData(key, bytes)) << key;
    return bytes;
  }

  uint32_t TypeOf(QX::Store::DataKey key) { return impl().keyed_data.Find(key)->type; }

  // The tree as the metadata reader sees it: name(children){instances}.
  std::string Outline() {
    QX::Store::MetadataHead head;
    if (!QX::Store::ParseHead(Block(QX::Store::kMetadataKey), head)) return "no head";
    std::function<std::string(QX::Store::DataKey)> outline = [&](QX::Store::DataKey key) {
      QX::Store::MetadataNode node;
      if (!QX::Store::ParseNode(Block(key), node)) return std::string("bad block");
      std::string text = node.name == model.Name() ? "top" : node.name;
      for (auto const& leaf : node.leaves) text += "{" + std::to_string(leaf.instance) + "}";
      if (node.children.empty()) return text;
      text += "(";
      for (size_t i = 0; i < node.children.size(); ++i) text += (i ? "," : "") + outline(node.children[i]);
      return text + ")";
    };
    return outline(head.root_key);
  }

  uint32_t InstanceKey(size_t i) { return Instances().at(i)->key; }
};

// Named and unnamed segments, and a branch without geometry that leaves no
// node. Keys are reserved parent first with types falling by depth.
TEST_F(AssemblyTreeTest, WalkedSceneGivesTheseBlocks) {
  InsertSquare(root.Subsegment("gear"));
  InsertSquare(root.Subsegment());
  root.Subsegment("empty").Subsegment("deeper");
  ConvertWithTree();
  ASSERT_EQ(Instances().size(), 2u);
  uint32_t const first = InstanceKey(0), second = InstanceKey(1);

  EXPECT_EQ(Block(1), HeadBlock(2));
  EXPECT_EQ(Block(2), GroupBlock(0, model.Name(), {3, 5}));
  EXPECT_EQ(Block(3), GroupBlock(1, "gear", {4}));
  EXPECT_EQ(Block(4), GroupBlock(2, "mesh-instance-" + std::to_string(first), {}, {{3, first}}));
  EXPECT_EQ(Block(5), GroupBlock(4, "unnamed-0", {6}));
  EXPECT_EQ(Block(6), GroupBlock(5, "mesh-instance-" + std::to_string(second), {}, {{6, second}}));
  EXPECT_EQ(impl().keyed_data.size(), 6u);
  for (auto [key, type] : {std::pair{2u, 1000u}, {3u, 999u}, {4u, 998u}, {5u, 999u}, {6u, 998u}})
    EXPECT_EQ(TypeOf(key), type) << key;
}

// A segment reached on two paths has a node on each, of one name; an
// unnamed one keeps its number on every path.
TEST_F(AssemblyTreeTest, SegmentsIncludedTwiceGiveTwoNodesOfOneName) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  SegmentKey anonymous = library.Subsegment();
  InsertSquare(anonymous);
  for (char const* name : {"a", "b"}) {
    SegmentKey holder = root.Subsegment(name);
    holder.IncludeSegment(part);
    holder.IncludeSegment(anonymous);
  }
  InsertSquare(root.Subsegment());
  ConvertWithTree();
  ASSERT_EQ(Instances().size(), 5u);
  std::string const m = "mesh-instance-";
  auto body = [&](size_t i) { return m + std::to_string(InstanceKey(i)) + "{" + std::to_string(InstanceKey(i)) + "}"; };
  EXPECT_EQ(Outline(), "top(a(part(" + body(0) + "),unnamed-0(" + body(1) + ")),b(part(" + body(2) +
                           "),unnamed-0(" + body(3) + ")),unnamed-1(" + body(4) + "))");
}

}  // namespace
}  // namespace qx_conversion_test
