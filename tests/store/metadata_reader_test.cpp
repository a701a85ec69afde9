#include "store/MetadataReader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "files/ByteOrder.h"

using namespace QX::Store;

namespace {

// A block built item by item, as a writer of such blocks would.
struct Block {
  Bytes bytes;
  Block& U8(uint8_t v) { return bytes.push_back(v), *this; }
  Block& U32(uint32_t v) { return PutU32(bytes, v), *this; }
  Block& U64(uint64_t v) { return PutU64(bytes, v), *this; }
  Block& F32(float v) { return PutF32(bytes, v), *this; }
  Block& F64(double v) { return PutF64(bytes, v), *this; }
  Block& Text(std::string const& s) { return PutBytes(bytes, s.c_str(), s.size() + 1), *this; }
  Block& Words(std::vector<uint32_t> const& w) {
    U32(uint32_t(w.size()));
    for (uint32_t v : w) U32(v);
    return *this;
  }
  std::span<uint8_t const> Span() const { return bytes; }
};

constexpr uint32_t B(unsigned n) { return 1u << n; }

Block Head(uint32_t format, uint32_t major, uint32_t minor, uint32_t patch) {
  Block b;
  b.U32(0x40800000).U32(format);
  if (format >= 4) b.U32(major).U32(minor).U32(patch);
  b.U32(64).U32(7).U8(0).U8(0);
  if (format >= 3) b.U32(0);
  return b;
}

// A leaf record as the assembly tree writes it for a body.
void Leaf(Block& b, InstanceKey instance) {
  b.U32(0x40000000 | B(0) | B(2) | B(18)).U32(0).U32(9).U8(2).U32(instance);
}

// The box, tagged words and filters stand behind the unit, all else before.
Block NodeWithUnit(uint32_t f, std::function<void(Block&)> const& items, double unit) {
  Block b;
  b.U32(f | B(14));
  bool const behind = (f & (B(24) | B(27) | B(28))) != 0;
  if (!behind) items(b);
  b.F64(unit);
  if (behind) items(b);
  return b;
}

}  // namespace

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
    EXPECT_EQ(ParseHead(Head(c.format, c.major, c.minor, c.patch).Span(), head), c.good);
    EXPECT_EQ(head.root_key, c.good ? 7u : 0u);
  }
}

TEST(MetadataReaderTest, HeadOptionalItems) {
  MetadataHead head;
  // Format 0: no version, no second switch (true), no text, no last word.
  Block zero;
  zero.U32(0x800000).U32(0).U32(12).U8(1);
  ASSERT_TRUE(ParseHead(zero.Span(), head));
  EXPECT_EQ(head.root_key, 12u);
  EXPECT_TRUE(head.first_switch);
  EXPECT_TRUE(head.second_switch);
  // Format 3 with bit 2 of G: a text before the last word.
  Block text;
  text.U32(0x40800000).U32(3).U32(4).U32(5).U8(0).U8(1).Text("tree").U32(0);
  ASSERT_TRUE(ParseHead(text.Span(), head));
  EXPECT_EQ(head.text, "tree");
  EXPECT_TRUE(head.second_switch);
  // Without bit 23 the block has no head.
  Block node;
  node.U32(0x40000000).U32(0);
  EXPECT_FALSE(ParseHead(node.Span(), head));
  EXPECT_FALSE(ParseHead({}, head));
  Block const full = Head(5, 22, 1, 2);
  for (size_t n = 0; n < full.bytes.size(); ++n)
    EXPECT_FALSE(ParseHead(std::span(full.bytes.data(), n), head)) << n;
}

// Each optional item of a node has to be stepped over exactly for the unit
// behind it to be read right.
TEST(MetadataReaderTest, EveryOptionalItemIsSteppedOver) {
  struct Case {
    char const* what;
    uint32_t f;
    std::function<void(Block&)> items;
  } const cases[] = {
      {"nothing", 0, [](Block&) {}},
      {"version", B(21), [](Block& b) { b.U32(22).U32(1); }},
      {"named numbers", B(30), [](Block& b) { b.U32(B(3)).U32(2).Text("a").U32(1).Text("bc").U32(2); }},
      {"id and name", B(0) | B(1), [](Block& b) { b.U32(4).Text("gear"); }},
      {"state", B(2), [](Block& b) { b.U8(3); }},
      {"f32 matrix", B(3), [](Block& b) { for (int i = 0; i < 12; ++i) b.F32(1); }},
      {"head words and texts", B(8) | B(25) | B(26) | B(30),
       [](Block& b) { b.U32(B(4) | B(5)).U32(1).Text("x").U32(2).U32(3).Text("y"); }},
      {"attributes", B(29), [](Block& b) { b.U32(2).U64(1).U32(3).U8(1).U8(2).U8(3).U64(1).U32(0); }},
      {"kind", B(22), [](Block& b) { b.U8(2); }},
      {"children", B(4), [](Block& b) { b.Words({2, 3, 4}); }},
      {"reference", B(5), [](Block& b) { b.U32(1); }},
      {"reference pair", B(5) | B(6), [](Block& b) { b.U32(1).U32(2).U32(3); }},
      {"leaves", B(7), [](Block& b) { b.U32(2), Leaf(b, 1), Leaf(b, 2); }},
      {"leaf with extra word", B(7), [](Block& b) { b.U32(1).U32(B(17) | B(18)).U32(5).U32(6); }},
      {"pairs", B(19) | B(9), [](Block& b) { b.U32(1).U32(2).U32(3).U32(4); }},
      {"part", B(16),
       [](Block& b) {
         b.U32(1).U32(B(0) | B(1) | B(2) | B(4)).U32(8).Text("p").U32(1).U32(2);
         Leaf(b, 1), Leaf(b, 2);
         b.U32(0).U32(0).U32(1).U32(5).U8(1).U32(6);
       }},
      {"box", B(24), [](Block& b) { for (int i = 0; i < 6; ++i) b.F64(i); }},
      {"tagged words", B(27), [](Block& b) { b.U32(2).U32(1).U32(5).Text("t").U32(0).U32(6); }},
      {"filters", B(28),
       [](Block& b) { b.U32(1).U32(7).U8(1).Text("f").U8(0).U8(1).Words({1}).U8(0).Words({}); }},
      {"view", B(15),
       [](Block& b) {
         b.U32(1).U32(0xFF).U32(3).Text("v");
         for (int i = 0; i < 11; ++i) b.F32(1);
         b.Words({1}), Leaf(b, 4), b.Words({}), b.Words({2});
         b.U32(1).U32(9);
         for (int i = 0; i < 12; ++i) b.F32(0);
         b.U32(1).F32(0).F32(0).F32(1).F32(-2);
       }},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    Block const block = NodeWithUnit(c.f, c.items, 0.001);
    MetadataNode node;
    ASSERT_TRUE(ParseNode(block.Span(), node));
    EXPECT_EQ(node.unit, 0.001);
    // Any block cut short fails as a whole and leaves nothing behind.
    for (size_t n = 0; n < block.bytes.size(); ++n) {
      std::vector<uint8_t> const cut(block.bytes.begin(), block.bytes.begin() + long(n));
      MetadataNode partial;
      ASSERT_FALSE(ParseNode(cut, partial)) << n;
      EXPECT_EQ(partial.unit, 0.0);
      EXPECT_TRUE(partial.name.empty());
    }
  }
}

TEST(MetadataReaderTest, NodeFields) {
  Block b;
  b.U32(0x40000000 | B(0) | B(1) | B(2) | B(22) | B(4) | B(7) | B(24)).U32(0).U32(3).Text("housing").U8(1).U8(6);
  b.Words({5, 6}).U32(1), Leaf(b, 42);
  for (double v : {-1.0, -2.0, -3.0, 1.0, 2.0, 3.0}) b.F64(v);
  b.U32(0xDEADBEEF);  // what a writer puts behind isn't looked at
  MetadataNode node;
  ASSERT_TRUE(ParseNode(b.Span(), node));
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
  ASSERT_TRUE(ParseNode(b.Span(), node, {.wide_matrices = false, .new_kinds = true}));
  EXPECT_EQ(node.kind, 6);
}

TEST(MetadataReaderTest, MalformedNodes) {
  MetadataNode node;
  Block newer;
  newer.U32(B(21)).U32(22).U32(2);
  EXPECT_FALSE(ParseNode(newer.Span(), node));
  Block leaf_without_key;
  leaf_without_key.U32(B(7)).U32(1).U32(B(0)).U32(1);
  EXPECT_FALSE(ParseNode(leaf_without_key.Span(), node));
  Block no_leaves_in_part;
  no_leaves_in_part.U32(B(16)).U32(1).U32(B(4)).U32(1).U32(0).U32(0).U32(0);
  EXPECT_FALSE(ParseNode(no_leaves_in_part.Span(), node));
  Block huge_list;
  huge_list.U32(B(4)).U32(0xFFFFFFFF).U32(1);
  EXPECT_FALSE(ParseNode(huge_list.Span(), node));
  Block huge_attribute;
  huge_attribute.U32(B(29)).U32(1).U64(1).U32(0xFFFFFFF0).U32(0);
  EXPECT_FALSE(ParseNode(huge_attribute.Span(), node));
}

// A text that runs into the end of the block loses its last byte.
TEST(MetadataReaderTest, TextCutByTheEnd) {
  Block b;
  b.U32(B(1));
  PutBytes(b.bytes, "gearX", 5);
  MetadataNode node;
  ASSERT_TRUE(ParseNode(b.Span(), node));
  EXPECT_EQ(node.name, "gear");
  Block empty_text;
  empty_text.U32(B(1));
  EXPECT_FALSE(ParseNode(empty_text.Span(), node));
}

TEST(MetadataReaderTest, WideMatrices) {
  Block b;
  b.U32(B(3) | B(14));
  for (int i = 0; i < 12; ++i) b.F64(1);
  b.F64(0.01);
  MetadataNode node;
  ASSERT_TRUE(ParseNode(b.Span(), node, {.wide_matrices = true}));
  EXPECT_EQ(node.unit, 0.01);
  ASSERT_TRUE(ParseNode(b.Span(), node));
  EXPECT_NE(node.unit, 0.01);
}

namespace {

MetadataView OneView(uint32_t e, std::string const* name, std::function<void(Block&)> const& tail = {}) {
  Block b;
  b.U32(B(15)).U32(1).U32(e | (name ? 1u : 0u)).U32(8);
  if (name) b.Text(*name);
  if (tail) tail(b);
  MetadataNode node;
  EXPECT_TRUE(ParseNode(b.Span(), node));
  return node.views.empty() ? MetadataView{} : node.views[0];
}

}  // namespace

TEST(MetadataReaderTest, AnnotationViews) {
  std::string const plain = "Front";
  std::string const marked = "Front # Annotation View";
  std::string const inside = "x# Annotation Viewy";
  struct Case {
    uint32_t e;
    std::string const* name;
    char const* expected;
    bool annotation;
  } const cases[] = {
      {0x100, &plain, "Front # Annotation View", true},
      {0, &plain, "Front", false},
      {0, &inside, "x# Annotation Viewy", true},
      {0x100, &marked, "Front # Annotation View # Annotation View", true},
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
    return [=](Block& b) {
      for (int i = 0; i < 9; ++i) b.F32(float(i));
      b.F32(width).F32(height);
    };
  };
  MetadataView own = OneView(B(1) | 0x8000, nullptr, camera(2, 3));
  EXPECT_TRUE(own.has_camera);
  EXPECT_EQ(own.projection, 1u);
  EXPECT_EQ(own.camera[4], 4.0);
  EXPECT_EQ(own.view_flags, kOwnCamera | 0x2000000 | 0x1000000 | 0x800000 | 0x400000 | 0x100000);
  MetadataView bad = OneView(B(1) | 0x3C00 | 0x4000 | 0x10000, nullptr, camera(-1, 3));
  EXPECT_EQ(bad.projection, 2u);
  EXPECT_EQ(bad.view_flags, kOwnCamera | kBadCameraSize | 0x200000 | 0x100);
  MetadataView dropped = OneView(B(1) | 0x200 | 0x3C00, nullptr, camera(-1, -1));
  EXPECT_FALSE(dropped.has_camera);
  EXPECT_EQ(dropped.projection, 0u);
  EXPECT_EQ(dropped.view_flags, 0u);
}
