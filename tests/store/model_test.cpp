// Insertion into a model's tables: the checks in their order, keys from one
// counter per kind, folding of equal poly polygons and clip regions, images
// and keyed data in their files, group blocks, instance extensions and the
// tree file a new instance makes stale.
#include <limits>
#include <stdexcept>

#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/ImageRecord.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

using MaterialsTest = ModelTest;

// The first broken rule in check order names the error; counts come before
// the read-only test, and no key is spent.
TEST_F(MaterialsTest, MaterialChecksRunInOrder) {
  ImageKey const image = impl().next.image++;
  impl().images.Insert(image, ImageRecord{.toc = {}, .key = image});
  Material good;
  good.textures = {TextureRef{image, 0, 7}, TextureRef{image, 0, 0}};
  good.environment.assign(6, image);
  EXPECT_EQ(model.InsertMaterial(good), 1u);
  std::vector<std::pair<Material, char const*>> cases(6, {good, "Invalid environment image count."});
  cases[0].first.textures.resize(3);  // bad environment too, but the textures are counted first
  cases[0].second = "Invalid diffuse texture count.";
  cases[1].first.environment.resize(2);
  cases[2].first.environment.resize(5);
  cases[3].first.environment = {99};
  cases[3].second = "Used an invalid ImageKey";
  cases[4].first.textures[1].matrix = 42;
  cases[4].second = "Used an invalid MatrixKey";
  cases[5].first.line_pattern = 0;
  cases[5].second = "Used an invalid LinePatternKey";
  for (auto const& [material, error] : cases) EXPECT_EQ(ThrownText([&] { model.InsertMaterial(material); }), error);
  // A material set to a colour becomes one.
  model.SetMaterial(1, RGBAColor{0, 0, 1, 1});
  EXPECT_EQ(impl().simple_colors[impl().materials.Find(1)->index], (RGBAColor{0, 0, 1, 1}));
  EXPECT_EQ(ThrownText([&] { model.SetMaterial(77, RGBAColor{}); }), "Used an invalid MaterialKey");
  EXPECT_EQ(model.InsertMaterialMap({5, 77}), 1u);  // keys aren't checked
  float const f[12] = {2, 0, 0, 0, 2, 0, 0, 0, 2, 1e30f, -2, 3};
  double d[12];
  impl().GetMatrix(model.InsertMatrix(f), d);
  EXPECT_EQ(d[9], double(1e30f));
  EXPECT_EQ(ThrownText([&] { impl().GetMatrix(3, d); }), "Used an invalid MatrixKey");
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(cases[0].first); }), "Invalid diffuse texture count.");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(RGBAColor{}); }), "Attempted to modify a read only model.");
}

struct InstanceArgs {
  MeshKey mesh = 0;
  std::array<MaterialKey, 3> materials{kNoKey, kNoKey, kNoKey};
  std::array<MaterialMapKey, 3> maps{};
  uint32_t modifiers = 0;
  ClipRegionKey clip = 0;
  InstanceExtensionData extension;
};

InstanceKey Insert(Model& model, InstanceArgs const& a) {
  return model.InsertInstance(a.mesh, 0, a.materials[0], a.materials[1], a.materials[2], a.maps[0], a.maps[1],
                              a.maps[2], 0xFF, a.modifiers, a.clip, a.extension);
}

using InstanceTest = ModelTest;

// Each refused call breaks one or two rules; the first rule in check order
// names the error, and nothing of the model changes.
TEST_F(InstanceTest, RefusedInstancesChangeNothing) {
  InstanceExtensionData const extension{{1, 2, 3, 4}, 9};
  struct Case {
    InstanceArgs args;
    char const* error;
  } const cases[] = {
      {{.mesh = 9, .modifiers = 0x300, .extension = extension}, "Used an invalid MeshKey"},
      {{.materials = {kNoKey, kNoKey, 9}, .modifiers = 0x300, .extension = extension},
       "More than one ScreenSpace modifier specified."},
      {{.materials = {kNoKey, kNoKey, 9}, .maps = {1, 0, 0}, .extension = extension}, "Used an invalid MaterialKey"},
      {{.maps = {0, 4, 0}, .clip = 2, .extension = extension}, "Used an invalid MaterialMapKey"},
      {{.clip = 2, .extension = extension}, "Used an invalid ClipRegionKey"},
  };
  for (Case const& c : cases) EXPECT_EQ(ThrownText([&] { Insert(model, c.args); }), c.error);
  EXPECT_TRUE(impl().instances.empty());
  EXPECT_EQ(impl().instances.Find(Insert(model, {.modifiers = 0xA00, .clip = 0, .extension = {}}))->flags, 7u);
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Attempted to modify a read only model.");
  EXPECT_EQ(impl().next.instance, 2u);
}

// Extensions are counted, replaced and removed; a new instance removes the
// stale tree file, and stays when a directory in its place can't be removed.
TEST_F(InstanceTest, ExtensionsAndTheStaleTreeFile) {
  ModelImpl& m = impl();
  fs::path const tree = FilePath(kStreamBoundingName);
  qx_test::WriteText(tree, "old tree");
  m.bounding_valid = true;
  InstanceKey const plain = Insert(model, {});
  InstanceKey const extended = Insert(model, {.extension = {{1, 2, 3, 4}, 9}});
  EXPECT_FALSE(m.bounding_valid || fs::exists(tree));
  EXPECT_EQ(log.Count("Removed: "), 1);
  m.SetInstanceExtension(extended, {{5, 6, 7, 8}, 3});
  m.SetInstanceExtension(plain, {{0, 0, 0, 0}, 1});
  EXPECT_EQ(m.instances.Find(extended)->extension->data.values, (std::array<float, 4>{5, 6, 7, 8}));
  m.SetInstanceExtension(extended, {});
  EXPECT_EQ(m.instances.Find(extended)->extension, nullptr);
  EXPECT_EQ(m.instance_extension_count, 1u);
  EXPECT_EQ(ThrownText([&] { m.SetInstanceExtension(7, {{}, 1}); }), "Used an invalid InstanceKey");
  fs::create_directories(tree / "inside");
  m.bounding_valid = true;
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Unable to remove: " + tree.string());
  EXPECT_TRUE(m.instances.Contains(3));
}

class ModelImagesTest : public ModelTest {
 protected:
  ImageRecord const& Image(ImageKey key) { return *impl().images.Find(key); }
  // Files a key under another content hash, as a hash collision would.
  void ForceCandidate(uint64_t hash, ImageKey key) { (*impl().image_candidates)[hash].push_back(key); }
};

// Duplicates are found in this open and, from the stored hashes, after a
// reopen; under one hash, other bytes or another format are no duplicate.
TEST_F(ModelImagesTest, EqualImagesAreStoredOnce) {
  std::vector<uint8_t> const pixels = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  ImageKey const first = model.InsertImageRGB(2, 2, pixels.data());
  EXPECT_EQ(Image(model.InsertImageRGB(2, 2, pixels.data())).duplicate_of, first);
  Reopen();
  EXPECT_EQ(Image(model.InsertImageRGB(2, 2, pixels.data())).duplicate_of, first);
  ForceCandidate(ImageContentHash(6, 2, kImageGray, pixels.data(), 12), first);
  EXPECT_EQ(Image(model.InsertImageGray(6, 2, pixels.data())).duplicate_of, 0u);
  ImageKey const rgba = model.InsertImageRGBA(2, 2, pixels.data());
  ForceCandidate(ImageContentHash(2, 2, kImageRGBA, pixels.data() + 1, 16), rgba);
  EXPECT_EQ(Image(model.InsertImageRGBA(2, 2, pixels.data() + 1)).duplicate_of, 0u);
}

TEST_F(ModelImagesTest, EncodedImagesAndFailures) {
  // The head of a PNG file: signature and an IHDR chunk of a 2 x 3 RGB image,
  // with a CRC that a header scan doesn't check.
  std::vector<uint8_t> const png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D',
                                    'R', 0, 0, 0, 2, 0, 0, 0, 3, 8, 2, 0, 0, 0, 0x12, 0x34, 0x56, 0x78};
  auto const size = static_cast<uint32_t>(png.size());
  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(model.InsertEncodedImage(size, png.data(), 0)), out));
  EXPECT_EQ(out.bytes, png);
  ImageKey const next = impl().next.image;
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(size, png.data(), 3); }), "Invalid ImageFormat.");
  std::vector<uint8_t> const junk(64, 0x42);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(64, junk.data(), 0); }),
            "Image validation failed: unknown image type");
  EXPECT_THROW(model.InsertEncodedImage(0, nullptr, 0), Exception);
  EXPECT_THROW(model.InsertImageRGB(2, 2, nullptr), std::invalid_argument);
  EXPECT_THROW(model.InsertImageRGBA(0x10000, 0x4000, nullptr), std::length_error);
  EXPECT_EQ(impl().next.image, next);
  // A record whose head claims far more bytes than the file has.
  ImageRecord record = Image(model.InsertImageRGB(2, 2, png.data()));
  record.stored_offset += 8;
  EXPECT_FALSE(impl().ReadImage(record, out));
  EXPECT_EQ(log.Count("Failed reading ImageId (" + std::to_string(impl().id) + " , " + std::to_string(record.key)), 1);
  Reopen(true);  // a read-only model refuses before it looks at the format
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(0, nullptr, 3); }), "Attempted to modify a read only model.");
}

using ModelDataFileTest = ModelTest;

// A replacement is appended and read from there; empty data has no bytes.
TEST_F(ModelDataFileTest, KeyedDataIsReplacedAtTheEnd) {
  uint8_t const data[5] = {1, 2, 3, 4, 5};
  DataKey const key = model.InsertKeyedData(5, data, 3);
  model.SetKeyedData(key, 3, data + 2);
  std::vector<uint8_t> out;
  ASSERT_TRUE(impl().ReadKeyedData(key, out));
  EXPECT_EQ(out, (std::vector<uint8_t>{3, 4, 5}));
  EXPECT_EQ(impl().keyed_data.Find(key)->position, int64_t(FileSize(kDataName)) - 3);
  model.SetKeyedData(key, 0, nullptr);
  ASSERT_TRUE(impl().ReadKeyedData(key, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(impl().keyed_data.Find(model.InsertKeyedData(0, nullptr, 7))->position, -1);
  std::string const invalid = "Keyed data invalid: byte_data ptr";
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(1, nullptr, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(0, data, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(kMetadataKey, 0, data); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(999, 1, data); }), "Used an invalid DataKey");
  EXPECT_FALSE(impl().ReadKeyedData(999, out));
  impl().keyed_data.Find(key)->size = 0xFFFFFFF0u;  // as a damaged digest could say
  impl().keyed_data.Find(key)->position = 0;
  EXPECT_FALSE(impl().ReadKeyedData(key, out));
  EXPECT_EQ(log.Count("Failed reading KeyedData " + std::to_string(key)), 1);
}

// A group block: instance pairs sorted and made unique, group pairs in the
// order given; its words in memory lead with their count.
TEST_F(ModelDataFileTest, GroupBlockBytesAndWords) {
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}, {1, 1}, {3, 1}, {3, 1}};
  std::vector<uint8_t> const block = EncodeGroupBlock(instances, groups);
  EXPECT_EQ(block, Put().U32({2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}).data);
  EXPECT_EQ(block.size(), GroupBlockSize(2, 3));
  EXPECT_EQ(GroupWordsFromBlock(block), (std::vector<uint32_t>{12, 2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}));
  std::vector<GroupInc> const one_group = {{3, 1}};
  GroupEntry group{.position = -1, .size = 0, .key = 4, .words = {}};
  WriteGroupBlock(impl(), group, instances, one_group);
  impl().LoadGroup(group);
  EXPECT_EQ(group.words, (std::vector<uint32_t>{8, 2, 1, 9, 2, 5, 1, 3, 1}));
  GroupEntry broken{.position = group.position + 8, .size = 32, .key = 5, .words = {}};
  impl().LoadGroup(broken);
  EXPECT_EQ(broken.words, std::vector<uint32_t>{0});
  EXPECT_EQ(log.Count("Failed reading Group (5)"), 1);
  model.InsertGroup({}, {{0, model.InsertGroup({{0, 2}, {0, 1}}, {})}});
  EXPECT_EQ(ThrownText([&] { model.SetGroup(9, {}, {}); }), "Used an invalid GroupKey");
}

using ModelMeshesTest = ModelTest;

// A new model holds the empty mesh first: four zero counts, flags, no bits,
// three empty element lists. A mesh with a non-finite point spends its key
// and leaves a record without data; a NaN normal is no reason to refuse.
TEST_F(ModelMeshesTest, ChecksComeInOrderAndChangeNothing) {
  EXPECT_EQ(0, impl().FindMesh(0)->stored_offset);
  EXPECT_EQ(36u, FileSize(kMeshesName));
  Reopen();  // a model whose digest is up to date
  qx_test::TestMesh mesh = qx_test::GridMesh(3);
  auto const refusal = [&] { return ThrownText([&] { model.InsertMesh(mesh.Data()); }); };
  mesh.data.face_element_bits = {1, 2};  // one more than elements
  mesh.data.line_material_map = 77;
  mesh.data.point_material = 5;
  EXPECT_EQ(refusal(), "Used an invalid MaterialKey");
  mesh.data.point_material = 0;
  EXPECT_EQ(refusal(), "Used an invalid MaterialMapKey");
  mesh.data.line_material_map = 0;
  EXPECT_EQ(refusal(), "More element bits provided than elements.");
  mesh.data.face_element_bits = {1};
  mesh.data.line_element_bits = {1};  // no line elements
  EXPECT_EQ(refusal(), "More element bits provided than elements.");
  mesh.data.line_element_bits.clear();
  mesh.normals.assign(9, {std::numeric_limits<float>::quiet_NaN(), 0, 0});
  mesh.points[5].z = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(refusal(), "NAN or INF in mesh point: 5");
  EXPECT_FALSE(impl().dirty);
  EXPECT_EQ(-1, impl().FindMesh(1)->stored_offset);
  mesh.points[5].z = 0;
  mesh.data.face_material_map = impl().InsertMaterialMap({0});
  EXPECT_EQ(2u, model.InsertMesh(mesh.Data()));
  Reopen(true);
  EXPECT_EQ(refusal(), "Attempted to modify a read only model.");
}

// Faces with normals, uvs and element bits, coloured lines and a cloud big
// enough to be expanded: each is encoded for streaming and reads back the
// same after a reopen.
TEST_F(ModelMeshesTest, EveryClassAndBothFormsSurviveEncodingAndReopen) {
  qx_test::TestMesh faces = qx_test::GridMesh(5);
  faces.normals = {{0, 0, 1}, {0, 1, 0}};
  faces.uvs = {{0.5f, 0.25f}};
  faces.data.flags = kFaceNormals | kFaceUvs | 3;
  std::vector<uint32_t> words;
  for (uint32_t p : faces.data.face_elements[0]) words.insert(words.end(), {p, p % 2, 0});
  faces.data.face_elements = {words};

  qx_test::TestMesh lines;
  lines.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
  lines.colors = {{255, 0, 0, 128}};
  lines.data.flags = kLineColors;
  lines.data.line_elements = {{0, 0, 1, 0, 2, kNoIndex}};

  qx_test::TestMesh cloud;
  std::vector<uint32_t> all;
  for (uint32_t i = 0; i < 70000; ++i) {
    cloud.points.push_back({float(i % 301), float(i / 301), 1});
    all.push_back(i);
  }
  cloud.data.flags = 0;
  cloud.data.point_elements = {all};

  std::vector<MeshKey> keys;
  for (qx_test::TestMesh* m : {&faces, &lines, &cloud}) keys.push_back(model.InsertMesh(m->Data()));
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

// A read-only model refuses new meshes and leaves its stream files alone.
TEST_F(ModelMeshesTest, ReadOnlyModelEncodesNothing) {
  MeshKey const key = model.InsertMesh(qx_test::GridMesh(3).Data());
  Reopen(true);
  StoredMesh scratch;
  MeshRecord& record = impl().mesh_records[impl().meshes.Find(key)->index];
  impl().EncodeStreamMesh(record, scratch, 1);
  EXPECT_EQ(std::vector<MeshTocEntry>{kNoDataTocEntry}, record.toc);
  EXPECT_FALSE(impl().stream_meshes_file->IsOpen());
}

using ClipRegionTest = ModelTest;

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
  ModelImpl& m = impl();
  PolyPolygonKey const square = model.InsertPolyPolygon(1, kOneLoop, kSquare);
  EXPECT_EQ(model.InsertPolyPolygon(1, kOneLoop, kSquare), square);
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
  ModelImpl& m = impl();
  EXPECT_EQ(ThrownText([&] { model.InsertClipRegion({ClipLoop{{1}, 0, 0, 0}}); }), "Used an invalid PolyPolygonKey");
  EXPECT_EQ(m.next.clip_region, 1u);
  EXPECT_TRUE(m.clip_regions.empty() && m.clip_region_hashes.empty());
  PolyPolygonKey const square = model.InsertPolyPolygon(1, kOneLoop, kSquare);
  std::vector<ClipLoop> const loops = {ClipLoop{{square}, 0, 1, 0}};
  ClipRegionKey const region = model.InsertClipRegion(loops);
  EXPECT_EQ(model.InsertClipRegion(loops), region);
  EXPECT_EQ(model.InsertClipRegion({}), model.InsertClipRegion({}));
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

}  // namespace
}  // namespace qx_store_test
