// Mesh insertion through the Model handle: the order of the checks, the
// key handling, duplicates across a reopen, and a read-only model.
#include <limits>

#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/StoredMesh.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using qx_test::GridMesh;
using qx_test::TestMesh;

class ModelMeshesTest : public ModelTest {
 protected:
  void ExpectThrow(MeshData const& mesh, char const* text) {
    EXPECT_EQ(ThrownText([&] { model.InsertMesh(mesh); }), text);
  }
};

TEST_F(ModelMeshesTest, ChecksComeInOrderAndChangeNothing) {
  // A new model holds the empty mesh first: four zero counts, flags, no
  // bits, three empty element lists.
  EXPECT_EQ(0, impl().FindMesh(0)->stored_offset);
  EXPECT_EQ(36u, FileSize(kMeshesName));
  TestMesh mesh = GridMesh(3);
  mesh.data.face_element_bits = {1, 2};  // one more than elements
  mesh.data.line_material_map = 77;
  mesh.data.point_material = 5;
  ExpectThrow(mesh.Data(), "Used an invalid MaterialKey");
  mesh.data.point_material = 0;
  ExpectThrow(mesh.Data(), "Used an invalid MaterialMapKey");
  mesh.data.line_material_map = 0;
  ExpectThrow(mesh.Data(), "More element bits provided than elements.");
  mesh.data.face_element_bits = {1};
  mesh.data.line_element_bits = {1};  // no line elements
  ExpectThrow(mesh.Data(), "More element bits provided than elements.");
  mesh.data.line_element_bits.clear();
  mesh.data.face_material_map = impl().InsertMaterialMap({0});
  EXPECT_EQ(1u, model.InsertMesh(mesh.Data()));
  EXPECT_EQ(mesh.data.face_material_map, impl().FindMesh(1)->face_material_map);
}

TEST_F(ModelMeshesTest, DuplicatesAreFoundInThisOpenAndAfterAReopen) {
  TestMesh first = GridMesh(6);
  MeshKey const a = model.InsertMesh(first.Data());
  uintmax_t const size = FileSize(kMeshesName);

  TestMesh moved = GridMesh(6, 4, 5, 6);
  MeshRecord const& rb = *impl().FindMesh(model.InsertMesh(moved.Data()));
  EXPECT_EQ(a, rb.duplicate_of);
  EXPECT_EQ(-1, rb.stored_offset);
  double matrix[12];
  impl().GetMatrix(rb.duplicate_matrix, matrix);
  EXPECT_NEAR(6, matrix[11], 1e-4);
  EXPECT_EQ(1u, impl().mesh_duplicate_count);

  // The hash of the first mesh survives in the digest.
  Reopen();
  TestMesh again = GridMesh(6);
  MeshRecord const& rc = *impl().FindMesh(model.InsertMesh(again.Data()));
  EXPECT_EQ(a, rc.duplicate_of);
  EXPECT_EQ(0u, rc.duplicate_matrix);
  EXPECT_EQ(size, FileSize(kMeshesName));
}

TEST_F(ModelMeshesTest, NonFinitePointSpendsTheKeyAndLeavesARecordWithoutData) {
  Reopen();  // a model whose digest is up to date
  ASSERT_FALSE(impl().dirty);
  TestMesh mesh = GridMesh(3);
  mesh.normals.assign(9, {std::numeric_limits<float>::quiet_NaN(), 0, 0});
  mesh.points[5].z = std::numeric_limits<float>::quiet_NaN();
  ExpectThrow(mesh.Data(), "NAN or INF in mesh point: 5");
  EXPECT_FALSE(impl().dirty);
  EXPECT_EQ(-1, impl().FindMesh(1)->stored_offset);

  mesh.points[5].z = 0;  // a NaN normal is no reason to refuse
  EXPECT_EQ(2u, model.InsertMesh(mesh.Data()));
}

TEST_F(ModelMeshesTest, ReadOnlyModelRefusesMeshesAndEncodesNothing) {
  TestMesh mesh = GridMesh(3);
  MeshKey const key = model.InsertMesh(mesh.Data());
  Reopen(true);
  ExpectThrow(GridMesh(2).Data(), "Attempted to modify a read only model.");
  StoredMesh scratch;
  MeshRecord& record = impl().mesh_records[impl().meshes.Find(key)->index];
  impl().EncodeStreamMesh(record, scratch, 1);
  EXPECT_EQ(std::vector<MeshTocEntry>{kNoDataTocEntry}, record.toc);
  EXPECT_FALSE(impl().stream_meshes_file->IsOpen());
}

}  // namespace
}  // namespace qx_store_test
