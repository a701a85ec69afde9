#include "geometry/bounding/InstanceBounds.h"

#include <gtest/gtest.h>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/MatrixMath.h"

namespace QX::Store {
namespace {

MeshStreamData Mesh(std::initializer_list<std::pair<uint64_t, uint32_t>> toc) {
  MeshStreamData mesh;
  mesh.bounds = {0, 0, 0, 1, 2, 3};
  for (auto [offset, size] : toc) mesh.AddTocEntry(offset, size);
  return mesh;
}

TEST(ComputeInstanceBounds, WeightIsKibibytesOfValidEntriesAndAtLeastOne) {
  BoundingItem item;
  EXPECT_TRUE(ComputeInstanceBounds(item, Mesh({{0, 100}}), kIdentityMatrix, nullptr));
  EXPECT_EQ(item.weight, 1u);
  EXPECT_EQ(item.bounds, (BoundingBox{0, 0, 0, 1, 2, 3}));
  EXPECT_TRUE(ComputeInstanceBounds(
      item, Mesh({{0, 2048}, {~0ull, 4096}, {10, ~0u}, {4000, 1023}}), kIdentityMatrix, nullptr));
  EXPECT_EQ(item.weight, 2u);  // (2048 + 1023) >> 10

  BoundingItem no_data;
  EXPECT_FALSE(ComputeInstanceBounds(no_data, Mesh({{~0ull, ~0u}}), kIdentityMatrix, nullptr));
  EXPECT_FALSE(no_data.bounds.Valid());
}

TEST(ComputeModelBounds, UnitesKnownAndComputedBoxesSkippingFailures) {
  std::vector<BoundingItem> items(3);
  items[0].bounds = {-5, 0, 0, -4, 1, 1};  // already known: not recomputed
  std::vector<BoundingItem*> pointers = {&items[0], &items[1], &items[2]};
  std::vector<uint32_t> computed;
  BoundingBox const box = ComputeModelBounds(pointers, [&](BoundingItem& item) {
    computed.push_back(static_cast<uint32_t>(&item - items.data()));
    if (&item == &items[2]) return false;
    item.bounds = {1, 1, 1, 2, 2, 2};
    return true;
  });
  EXPECT_EQ(computed, (std::vector<uint32_t>{1, 2}));
  EXPECT_EQ(box, (BoundingBox{-5, 0, 0, 2, 2, 2}));
  EXPECT_FALSE(items[2].bounds.Valid());
}

void ExpectNear(PointD a, PointD b) {
  EXPECT_NEAR(a.x, b.x, 1e-9);
  EXPECT_NEAR(a.y, b.y, 1e-9);
  EXPECT_NEAR(a.z, b.z, 1e-9);
}

TEST(TransformCamera, FollowsRotationScaleAndTranslationKeepingSigns) {
  // A quarter turn about z (x -> y, y -> -x), scale 2, then a move by (10, 0, 0).
  Matrix const m = {0, 2, 0, -2, 0, 0, 0, 0, 2, 10, 0, 0};
  PointD position{0, -5, 0}, target{0, 0, 0}, up{0, 0, 3};
  double width = -1.5, height = 2;
  TransformCamera(position, target, up, width, height, Expand(m));
  ExpectNear(position, {20, 0, 0});
  ExpectNear(target, {10, 0, 0});
  ExpectNear(up, {0, 0, 1});
  EXPECT_NEAR(height, 4, 1e-12);
  EXPECT_NEAR(width, -3, 1e-12);

  // Within 1e-12 of the identity nothing changes, not even the length of up.
  Matrix4 near_identity = Expand(kIdentityMatrix);
  near_identity[0] = 1 + 1e-13;
  up = {0, 0, 3};
  TransformCamera(position, target, up, width, height, near_identity);
  EXPECT_EQ(up, (PointD{0, 0, 3}));
}

}  // namespace
}  // namespace QX::Store
