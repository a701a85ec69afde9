#include "geometry/mesh/MeshDuplicates.h"

#include <gtest/gtest.h>

#include <limits>

#include "MemoryFile.h"
#include "TestMesh.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StoredMesh.h"
#include "store/Logger.h"

using namespace QX::Store;
using qx_test::GridMesh;
using qx_test::MemoryFile;
using qx_test::TestMesh;

namespace {

// Mesh keys start here, so that "a duplicate of the first mesh" can't be
// mistaken for "not a duplicate" (0).
constexpr MeshKey kFirst = 100;

// A model's worth of what duplicate detection works on: inserts like the
// store does, storing the mesh unless it is a duplicate.
struct Meshes {
  MemoryFile stored;
  StoredMesh scratch;
  MeshKeyLists candidates;
  MeshKeyLists duplicates;
  std::vector<MeshRecord> records;
  std::vector<Matrix> matrices;
  DuplicateSearch search{candidates, duplicates, stored, scratch,
                         [this](MeshKey key) -> MeshRecord const* {
                           return key >= kFirst && key - kFirst < records.size() ? &records[key - kFirst]
                                                                                 : nullptr;
                         },
                         [this](Matrix const& m) {
                           matrices.push_back(m);
                           return MatrixKey(matrices.size());
                         }};

  MeshRecord const& Insert(TestMesh& mesh) {
    MeshRecord& record = records.emplace_back();
    record.key = kFirst + MeshKey(records.size() - 1);
    if (!FindDuplicate(mesh.Data(), record, search))
      WriteStoredMesh(stored, mesh.Data(), record, nullptr);
    return record;
  }
};

}  // namespace

TEST(MeshDuplicates, FewerThan32PointsAreNeverCompared) {
  Meshes model;
  TestMesh small = GridMesh(5);  // 25 points
  small.points.resize(31, {0, 0, 0});
  small.points.back() = {3, 9, -1};
  TestMesh small_again = small;
  model.Insert(small);
  MeshRecord const r = model.Insert(small_again);
  EXPECT_EQ(0u, r.duplicate_of);
  EXPECT_EQ(0u, r.content_hash);
  EXPECT_TRUE(model.candidates.empty());

  small.points.push_back({4, 4, 4});
  TestMesh thirty_two = small;
  model.Insert(small);
  EXPECT_EQ(kFirst + 2, model.Insert(thirty_two).duplicate_of);

  TestMesh empty;
  EXPECT_EQ((BoundingBox{0, 0, 0, 0, 0, 0}), model.Insert(empty).bounds);
}

TEST(MeshDuplicates, SameHashOtherShapeStaysAndTheSeventhIsNotCompared) {
  Meshes model;
  // Points that keep the signature (first, middle and last point) but
  // change the shape give one hash and distinct meshes.
  for (int k = 0; k < 7; ++k) {
    TestMesh m = GridMesh(6);
    m.points[7].z += float(k + 1);
    MeshRecord const r = model.Insert(m);
    EXPECT_EQ(0u, r.duplicate_of) << k;
    EXPECT_NE(0u, r.content_hash);
  }
  uint64_t const hash = model.records[0].content_hash;
  EXPECT_EQ((std::vector<MeshKey>{kFirst, kFirst + 1, kFirst + 2, kFirst + 3, kFirst + 4, kFirst + 5,
                                   kFirst + 6}),
            model.candidates[hash]);

  // The eighth is equal to the first, but six keys are there already.
  TestMesh m = GridMesh(6);
  m.points[7].z += 1;
  EXPECT_EQ(0u, model.Insert(m).duplicate_of);
  EXPECT_EQ(8u, model.candidates[hash].size());
}

TEST(MeshDuplicates, NonFinitePointsThrowNormalsDoNot) {
  Meshes model;
  TestMesh m = GridMesh(6);
  m.normals.assign(36, {0, 0, 1});
  m.normals[3].y = std::numeric_limits<float>::quiet_NaN();
  EXPECT_NO_THROW(model.Insert(m));

  m.points[17].y = std::numeric_limits<float>::infinity();
  try {
    model.Insert(m);
    FAIL();
  } catch (Exception const& e) {
    EXPECT_STREQ("NAN or INF in mesh point: 17", e.what());
  }
}

TEST(MeshDuplicates, FlatMeshesAreFoundLinesAreNot) {
  Meshes model;
  TestMesh flat = GridMesh(6);
  for (auto& p : flat.points) p.z = 2;
  TestMesh flat_moved = flat;
  for (auto& p : flat_moved.points) p.x += 3;
  model.Insert(flat);
  EXPECT_EQ(kFirst, model.Insert(flat_moved).duplicate_of);
  EXPECT_EQ(1u, model.matrices.size());

  TestMesh line = GridMesh(6);
  for (auto& p : line.points) p.y = p.z = 0;
  TestMesh line_again = line;
  model.Insert(line);
  MeshRecord const r = model.Insert(line_again);
  EXPECT_EQ(0u, r.duplicate_matrix);
  EXPECT_EQ(0u, r.content_hash);
  EXPECT_EQ(0u, r.duplicate_of);
  EXPECT_NE(-1, r.stored_offset);
}
