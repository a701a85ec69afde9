#include "store/MetadataReader.h"

#include <functional>

#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

constexpr uint32_t B(unsigned n) { return 1u << n; }

Put Head(uint32_t format, uint32_t major, uint32_t minor, uint32_t patch) {
  Put b;
  b.U32({0x40800000, format});
  if (format >= 4) b.U32({major, minor, patch});
  b.U32({64, 7}).U8({0, 0});
  if (format >= 3) b.U32({0});
  return b;
}

// A leaf record as the assembly tree writes it for a body.
void Leaf(Put& b, InstanceKey instance) { b.U32({0x40000000 | B(0) | B(2) | B(18), 0, 9}).U8({2}).U32({instance}); }

// The box, tagged words and filters stand behind the unit, all else before.
Put NodeWithUnit(uint32_t f, std::function<void(Put&)> const& items, double unit) {
  Put b;
  b.U32({f | B(14)});
  bool const behind = (f & (B(24) | B(27) | B(28))) != 0;
  if (!behind) items(b);
  b.F64({unit});
  if (behind) items(b);
  return b;
}

// Version 22.1.2 is the newest the reader knows; the patch only counts in
// the head. The head names the root's block.
TEST(MetadataReaderTest, HeadFormatsAndVersions) {
  struct Case {
    uint32_t format, major, minor, patch;
    bool good;
  } const cases[] = {
      {5, 22, 1, 2, true},  {5, 22, 1, 3, false}, {5, 22, 2, 0, false}, {5, 23, 0, 0, false},
      {5, 21, 9, 9, true},  {4, 22, 0, 99, true}, {3, 0, 0, 0, true},    {6, 22, 1, 2, false},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(testing::Message() << c.format << " " << c.major << "." << c.minor << "." << c.patch);
    MetadataHead head;
    EXPECT_EQ(ParseHead(Head(c.format, c.major, c.minor, c.patch).data, head), c.good);
    EXPECT_EQ(head.root_key, c.good ? 7u : 0u);
  }
}

TEST(MetadataReaderTest, HeadOptionalItems) {
  MetadataHead head;
  // Format 0: no version, no second switch (true), no text, no last word.
  ASSERT_TRUE(ParseHead(Put().U32({0x800000, 0, 12}).U8({1}).data, head));
  EXPECT_EQ(head.root_key, 12u);
  EXPECT_TRUE(head.first_switch);
  EXPECT_TRUE(head.second_switch);
  // Format 3 with bit 2 of G: a text before the last word.
  ASSERT_TRUE(ParseHead(Put().U32({0x40800000, 3, 4, 5}).U8({0, 1}).CText("tree").U32({0}).data, head));
  EXPECT_EQ(head.text, "tree");
  // Without bit 23 the block has no head.
  EXPECT_FALSE(ParseHead(Put().U32({0x40000000, 0}).data, head));
  std::vector<uint8_t> const full = Head(5, 22, 1, 2).data;
  for (size_t n = 0; n < full.size(); ++n) EXPECT_FALSE(ParseHead(std::span(full.data(), n), head)) << n;
}

// Each optional item of a node has to be stepped over exactly for the unit
// behind it to be read right. Lists are a count and their items.
TEST(MetadataReaderTest, EveryOptionalItemIsSteppedOver) {
  struct Case {
    char const* what;
    uint32_t f;
    std::function<void(Put&)> items;
  } const cases[] = {
      {"nothing", 0, [](Put&) {}},
      {"version", B(21), [](Put& b) { b.U32({22, 1}); }},
      {"named numbers", B(30), [](Put& b) { b.U32({B(3), 2}).CText("a").U32({1}).CText("bc").U32({2}); }},
      {"id and name", B(0) | B(1), [](Put& b) { b.U32({4}).CText("gear"); }},
      {"state", B(2), [](Put& b) { b.U8({3}); }},
      {"f32 matrix", B(3), [](Put& b) { b.F32({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}); }},
      {"head words and texts", B(8) | B(25) | B(26) | B(30),
       [](Put& b) { b.U32({B(4) | B(5), 1}).CText("x").U32({2, 3}).CText("y"); }},
      {"attributes", B(29), [](Put& b) { b.U32({2}).U64({1}).U32({3}).U8({1, 2, 3}).U64({1}).U32({0}); }},
      {"kind", B(22), [](Put& b) { b.U8({2}); }},
      {"children", B(4), [](Put& b) { b.U32({3, 2, 3, 4}); }},
      {"reference", B(5), [](Put& b) { b.U32({1}); }},
      {"reference pair", B(5) | B(6), [](Put& b) { b.U32({1, 2, 3}); }},
      {"leaves", B(7), [](Put& b) { b.U32({2}), Leaf(b, 1), Leaf(b, 2); }},
      {"leaf with extra word", B(7), [](Put& b) { b.U32({1, B(17) | B(18), 5, 6}); }},
      {"pairs", B(19) | B(9), [](Put& b) { b.U32({1, 2, 3, 4}); }},
      {"part", B(16),
       [](Put& b) {
         b.U32({1, B(0) | B(1) | B(2) | B(4), 8}).CText("p").U32({1, 2});
         Leaf(b, 1), Leaf(b, 2);
         b.U32({0, 0, 1, 5}).U8({1}).U32({6});
       }},
      {"box", B(24), [](Put& b) { b.F64({0, 1, 2, 3, 4, 5}); }},
      {"tagged words", B(27), [](Put& b) { b.U32({2, 1, 5}).CText("t").U32({0, 6}); }},
      {"filters", B(28), [](Put& b) { b.U32({1, 7}).U8({1}).CText("f").U8({0, 1}).U32({1, 1}).U8({0}).U32({0}); }},
      {"view", B(15),
       [](Put& b) {
         b.U32({1, 0xFF, 3}).CText("v").F32({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}).U32({1, 1});
         Leaf(b, 4);
         b.U32({0, 1, 2, 1, 9}).F32({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}).U32({1}).F32({0, 0, 1, -2});
       }},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<uint8_t> const block = NodeWithUnit(c.f, c.items, 0.001).data;
    MetadataNode node;
    ASSERT_TRUE(ParseNode(block, node));
    EXPECT_EQ(node.unit, 0.001);
    // Any block cut short fails as a whole and leaves nothing behind.
    for (size_t n = 0; n < block.size(); ++n) {
      MetadataNode partial;
      ASSERT_FALSE(ParseNode(std::span(block.data(), n), partial)) << n;
      EXPECT_EQ(partial.unit, 0.0);
      EXPECT_TRUE(partial.name.empty());
    }
  }
}

TEST(MetadataReaderTest, NodeFields) {
  Put b;
  b.U32({0x40000000 | B(0) | B(1) | B(2) | B(22) | B(4) | B(7) | B(24), 0, 3}).CText("housing").U8({1, 6});
  b.U32({2, 5, 6, 1}), Leaf(b, 42);
  b.F64({-1, -2, -3, 1, 2, 3}).U32({0xDEADBEEF});  // what a writer puts behind isn't looked at
  MetadataNode node;
  ASSERT_TRUE(ParseNode(b.data, node));
  EXPECT_EQ(node.id, 3u);
  EXPECT_EQ(node.name, "housing");
  EXPECT_FALSE(node.active);
  EXPECT_TRUE(node.marked);
  EXPECT_EQ(node.kind, 0x20);  // bits 1 and 2 together are the older form of 0x20
  EXPECT_EQ(node.children, (std::vector<DataKey>{5, 6}));
  ASSERT_EQ(node.leaves.size(), 1u);
  EXPECT_EQ(node.leaves[0].instance, 42u);
  EXPECT_TRUE(node.has_box);
  EXPECT_EQ(node.box[3], 1.0);
  EXPECT_EQ(node.unit, 0.0);  // no unit: unknown
  ASSERT_TRUE(ParseNode(b.data, node, {.wide_matrices = false, .new_kinds = true}));
  EXPECT_EQ(node.kind, 6);
  // A text that runs into the end of the block loses its last byte.
  ASSERT_TRUE(ParseNode(Put().U32({B(1)}).Text("gearX").data, node));
  EXPECT_EQ(node.name, "gear");
  // Matrices of doubles, with the option that says so.
  Put wide;
  wide.U32({B(3) | B(14)}).F64({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0.01});
  ASSERT_TRUE(ParseNode(wide.data, node, {.wide_matrices = true}));
  EXPECT_EQ(node.unit, 0.01);
}

MetadataView OneView(uint32_t e, char const* name, std::function<void(Put&)> const& tail = {}) {
  Put b;
  b.U32({B(15), 1, e | (name ? 1u : 0u), 8});
  if (name) b.CText(name);
  if (tail) tail(b);
  MetadataNode node;
  EXPECT_TRUE(ParseNode(b.data, node));
  return node.views.empty() ? MetadataView{} : node.views[0];
}

TEST(MetadataReaderTest, AnnotationViews) {
  struct Case {
    uint32_t e;
    char const* name;
    char const* expected;
    bool annotation;
  } const cases[] = {
      {0x100, "Front", "Front # Annotation View", true},
      {0, "Front", "Front", false},
      {0, "x# Annotation Viewy", "x# Annotation Viewy", true},
      {0x100, "Front # Annotation View", "Front # Annotation View # Annotation View", true},
      {0x100, nullptr, " # Annotation View", true},
      {0, nullptr, "", false},
  };
  for (Case const& c : cases) {
    MetadataView const view = OneView(c.e, c.name);
    EXPECT_EQ(view.name, c.expected);
    EXPECT_EQ((view.view_flags & kAnnotationView) != 0, c.annotation) << c.expected;
  }
}

TEST(MetadataReaderTest, ViewFlagsAndCamera) {
  auto camera = [](float width, float height) {
    return [=](Put& b) { b.F32({0, 1, 2, 3, 4, 5, 6, 7, 8, width, height}); };
  };
  MetadataView own = OneView(B(1) | 0x8000, nullptr, camera(2, 3));
  EXPECT_EQ(own.projection, 1u);
  EXPECT_EQ(own.camera[4], 4.0);
  EXPECT_EQ(own.view_flags, kOwnCamera | 0x2000000 | 0x1000000 | 0x800000 | 0x400000 | 0x100000);
  MetadataView bad = OneView(B(1) | 0x3C00 | 0x4000 | 0x10000, nullptr, camera(-1, 3));
  EXPECT_EQ(bad.projection, 2u);
  EXPECT_EQ(bad.view_flags, kOwnCamera | kBadCameraSize | 0x200000 | 0x100);
  MetadataView dropped = OneView(B(1) | 0x200 | 0x3C00, nullptr, camera(-1, -1));
  EXPECT_FALSE(dropped.has_camera);
  EXPECT_EQ(dropped.view_flags, 0u);
}

}  // namespace
}  // namespace qx_store_test
