#include "geometry/selection/MeshHitTest.h"

#include <gtest/gtest.h>

#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

using namespace VolumeTest;

ElementClasses const kAll{true, true, true};

std::array<uint64_t, 2> FacesOnly(std::vector<PointD> const& p) { return {p.size(), p.size()}; }

// A triangle in the plane z = `z` around (x, y).
void AddTriangle(std::vector<PointD>& p, double x, double y, double z) {
  double const size = 0.1;
  p.push_back({x - size, y - size, z});
  p.push_back({x + size, y - size, z});
  p.push_back({x, y + size, z});
}

TEST(MeshHitTest, OnlyClassesThatCountAreTested) {
  auto box = BoxVolume({0, 0, 0}, {1, 1, 1});
  // A triangle far away, a segment through the box, a point inside.
  std::vector<PointD> mesh;
  AddTriangle(mesh, 5, 5, 5);
  mesh.push_back({-1, 0.5, 0.5});
  mesh.push_back({2, 0.5, 0.5});
  mesh.push_back({0.5, 0.5, 0.5});
  std::array<uint64_t, 2> const split{3, 5};
  MeshHitTest test;
  EXPECT_EQ(test.Run(box, {}, false, {true, false, false}, mesh, split), Outside);
  EXPECT_EQ(test.Run(box, {}, false, {false, true, false}, mesh, split), Crossing);
  EXPECT_EQ(test.Run(box, {}, false, {false, false, true}, mesh, split), Inside);
  EXPECT_EQ(test.Run(box, {}, false, {false, false, false}, mesh, split), None);
}

TEST(MeshHitTest, RayKeepsTheNearestHitOverAllClasses) {
  auto ray = RayAlongZ({0, 0, 0}, 0.25);
  std::vector<PointD> mesh;
  AddTriangle(mesh, 0, 0, 9);
  AddTriangle(mesh, 0, 0, 4);  // nearer, but tested later
  AddTriangle(mesh, 0, 0, 6);
  mesh.push_back({0, 0, 3});  // a point in the tube, nearer still
  MeshHitTest test;
  EXPECT_EQ(test.Run(ray, {}, false, {true, false, false}, mesh, {9, 9}), Crossing);
  ASSERT_TRUE(test.HasNearest());
  EXPECT_EQ(test.Nearest(), (PointD{0, 0, 4}));
  EXPECT_EQ(test.Run(ray, {}, false, kAll, mesh, {9, 9}), Crossing);
  EXPECT_EQ(test.Nearest(), (PointD{0, 0, 3}));
}

TEST(MeshHitTest, ClipCellsCutAwayWhatTheyHold) {
  auto box = BoxVolume({0, 0, 0}, {1, 1, 1});
  std::vector<PointD> mesh;
  AddTriangle(mesh, 0.5, 0.5, 0.5);
  MeshHitTest test;
  std::vector<ClipCell> const around{BoxRows({0, 0, 0}, {1, 1, 1})};
  EXPECT_EQ(test.Run(box, around, false, kAll, mesh, FacesOnly(mesh)), None);
  // A half-space x >= -0.05 cuts away the part of a long triangle that lies
  // in the box; the rest lies outside it.
  std::vector<PointD> long_one{{0.5, 0.5, 0.5}, {-3, 0.4, 0.5}, {-3, 0.6, 0.5}};
  std::vector<ClipCell> const half{{{1, 0, 0, 0.05}}};
  EXPECT_EQ(test.Run(box, {}, false, kAll, long_one, FacesOnly(long_one)), Crossing);
  EXPECT_EQ(test.Run(box, half, false, kAll, long_one, FacesOnly(long_one)), Outside);
  // A segment through the box with the box's middle cut away still
  // reaches in at both ends.
  std::vector<PointD> segment{{-1, 0.5, 0.5}, {2, 0.5, 0.5}};
  std::vector<ClipCell> const middle{BoxRows({0.2, 0, 0}, {0.8, 1, 1})};
  EXPECT_EQ(test.Run(box, middle, false, kAll, segment, {0, 2}), Crossing);
  // Points in a cell are not tested.
  std::vector<PointD> point{{0.5, 0.5, 0.5}};
  EXPECT_EQ(test.Run(box, around, false, kAll, point, {0, 0}), None);
}

}  // namespace
}  // namespace QX::Store
