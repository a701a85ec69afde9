// Mesh insertion through the Model handle: the order of the checks, the
// key handling, duplicates across a reopen, and encoding that survives one.
#include <limits>

#include "files/File.h"
#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
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
  MeshRecord const* spent = impl().FindMesh(1);
  ASSERT_NE(nullptr, spent);
  EXPECT_EQ(-1, spent->stored_offset);

  mesh.points[5].z = 0;  // a NaN normal is no reason to refuse
  EXPECT_EQ(2u, model.InsertMesh(mesh.Data()));
}

TEST_F(ModelMeshesTest, EveryClassAndBothFormsSurviveEncodingAndReopen) {
  TestMesh faces = GridMesh(5);
  faces.normals = {{0, 0, 1}, {0, 1, 0}};
  faces.uvs = {{0.5f, 0.25f}};
  faces.data.flags = kFaceNormals | kFaceUvs | 3;
  std::vector<uint32_t> words;
  for (uint32_t p : faces.data.face_elements[0]) words.insert(words.end(), {p, p % 2, 0});
  faces.data.face_elements = {words};

  TestMesh lines;
  lines.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
  lines.colors = {{255, 0, 0, 128}};
  lines.data.flags = kLineColors;
  lines.data.line_elements = {{0, 0, 1, 0, 2, kNoIndex}};

  TestMesh cloud;
  std::vector<uint32_t> all;
  for (uint32_t i = 0; i < 70000; ++i) {
    cloud.points.push_back({float(i % 301), float(i / 301), 1});
    all.push_back(i);
  }
  cloud.data.flags = 0;
  cloud.data.point_elements = {all};

  std::vector<MeshKey> keys;
  for (TestMesh* m : {&faces, &lines, &cloud}) keys.push_back(model.InsertMesh(m->Data()));
  StoredMesh scratch;
  for (MeshKey key : keys) {
    MeshEntry const* entry = impl().meshes.Find(key);
    impl().EncodeStreamMesh(impl().mesh_records[entry->index], scratch, 1);
  }
  std::vector<std::vector<MeshTocEntry>> tocs;
  for (MeshKey key : keys) tocs.push_back(impl().FindMesh(key)->toc);
  EXPECT_EQ(1u, tocs[0].size());
  EXPECT_EQ(kExpandedHeaderKind, tocs[2][0].kind);

  Reopen();
  std::vector<uint32_t> const classes = {1, 2, 4};
  std::vector<uint64_t> const counts = {faces.data.face_elements[0].size() / 3, 4, 70000};
  File& stream = *impl().EnsureOpen(*impl().stream_meshes_file, kStreamMeshesName, true);
  for (size_t i = 0; i < keys.size(); ++i) {
    MeshRecord const& record = *impl().FindMesh(keys[i]);
    EXPECT_EQ(tocs[i], record.toc);
    EXPECT_EQ(classes[i], record.classes);
    std::vector<uint8_t> extra, records;
    ASSERT_TRUE(ReadStreamMesh(stream, record, extra, records));
    std::vector<std::array<double, 3>> positions;
    std::array<uint64_t, 2> split{};
    ASSERT_TRUE(ParseMeshPositions(records, positions, split));
    EXPECT_EQ(counts[i], positions.size());
  }
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
