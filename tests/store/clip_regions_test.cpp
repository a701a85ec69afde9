// Poly polygons and clip regions: folding of equal ones within one open of
// a model, the equality rules behind a hash hit, and the checks of a region.
#include <limits>

#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using ClipRegionTest = StoreTest;

float const kSquare[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
uint32_t const kOneLoop[1] = {4};

// Points the content hash under which `from` was entered at `to`, as if the
// two had the same hash.
template <class Table>
void Collide(Table& table, uint32_t from, uint32_t to) {
  for (auto& [hash, key] : table)
    if (key == from) key = to;
}

TEST_F(ClipRegionTest, EqualPolyPolygonsFoldAndHashHitsComparePoints) {
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  uint32_t const two[2] = {2, 2};
  PolyPolygonKey const square = model.InsertPolyPolygon(1, kOneLoop, kSquare);
  EXPECT_EQ(model.InsertPolyPolygon(1, kOneLoop, kSquare), square);
  EXPECT_EQ(model.InsertPolyPolygon(2, two, kSquare), 2u);
  EXPECT_EQ(m.poly_polygons.Find(2)->points.size(), 4u);
  PolyPolygonKey const none = model.InsertPolyPolygon(0, nullptr, nullptr);
  EXPECT_EQ(model.InsertPolyPolygon(0, nullptr, nullptr), none);
  EXPECT_TRUE(m.poly_polygons.Find(none)->lengths.empty());

  uint32_t const one[1] = {1};
  float const point[3] = {1, 2, 3};
  float const unknown[3] = {std::numeric_limits<float>::quiet_NaN(), 2, 3};
  float const other[3] = {1, 2, 4};
  PolyPolygonKey const plain = model.InsertPolyPolygon(1, one, point);
  PolyPolygonKey const with_nan = model.InsertPolyPolygon(1, one, unknown);
  EXPECT_EQ(model.InsertPolyPolygon(1, one, unknown), with_nan);  // NaN equals NaN
  Collide(m.poly_polygon_hashes, with_nan, plain);
  EXPECT_EQ(model.InsertPolyPolygon(1, one, unknown), plain);  // and any number
  PolyPolygonKey const moved = model.InsertPolyPolygon(1, one, other);
  Collide(m.poly_polygon_hashes, moved, plain);
  PolyPolygonKey const again = model.InsertPolyPolygon(1, one, other);
  EXPECT_EQ(again, moved + 1);
  EXPECT_EQ(model.InsertPolyPolygon(1, one, other), again + 1);  // the first key keeps its hash
}

TEST_F(ClipRegionTest, EqualRegionsFoldAndHashHitsCompareLoopCounts) {
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  EXPECT_EQ(ThrownText([&] { model.InsertClipRegion({ClipLoop{{1}, 0, 0, 0}}); }), "Used an invalid PolyPolygonKey");
  EXPECT_EQ(m.next.clip_region, 1u);
  EXPECT_TRUE(m.clip_regions.empty() && m.clip_region_hashes.empty());

  PolyPolygonKey const square = model.InsertPolyPolygon(1, kOneLoop, kSquare);
  std::vector<ClipLoop> const loops = {ClipLoop{{square}, 0, 1, 0}};
  ClipRegionKey const region = model.InsertClipRegion(loops);
  EXPECT_EQ(model.InsertClipRegion(loops), region);
  ClipRegionKey const empty = model.InsertClipRegion({});
  EXPECT_EQ(model.InsertClipRegion({}), empty);
  std::vector<ClipLoop> const other = {ClipLoop{{square}, 3, 0, 1}};
  ClipRegionKey const shifted = model.InsertClipRegion(other);
  EXPECT_NE(shifted, region);
  Collide(m.clip_region_hashes, shifted, region);
  EXPECT_EQ(model.InsertClipRegion(other), region);  // as many loops: taken as equal
  std::vector<ClipLoop> const twice = {loops[0], loops[0]};
  ClipRegionKey const doubled = model.InsertClipRegion(twice);
  Collide(m.clip_region_hashes, doubled, region);
  EXPECT_EQ(model.InsertClipRegion(twice), doubled + 1);
}

TEST_F(ClipRegionTest, FoldingEndsWithTheOpen) {
  std::vector<ClipLoop> const loops = {ClipLoop{{1}, 2, 1, 1}};
  {
    Model model = Open("m");
    model.InsertPolyPolygon(1, kOneLoop, kSquare);
    model.InsertClipRegion(loops);
  }
  {
    Model model = Open("m", true);
    EXPECT_EQ(model.Impl().clip_regions.Find(1)->loops, loops);
    EXPECT_EQ(ThrownText([&] { model.InsertPolyPolygon(1, kOneLoop, kSquare); }),
              "Attempted to modify a read only model.");
    EXPECT_EQ(ThrownText([&] { model.InsertClipRegion(loops); }), "Attempted to modify a read only model.");
  }
  Model model = Open("m");
  EXPECT_EQ(model.InsertPolyPolygon(1, kOneLoop, kSquare), 2u);
  EXPECT_EQ(model.InsertClipRegion(loops), 2u);
}

}  // namespace
}  // namespace qx_store_test
