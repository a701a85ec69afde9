// Stand-alone stream files of models built by hand: what they hold, in
// which order, and that every reference is sent before it is used, once.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "store/ModelImpl.h"
#include "stream/StreamSummary.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/StreamRecords.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using Records = std::vector<ReadRecord>;
using namespace std::string_literals;

Bytes ReadFile(std::filesystem::path const& path) {
  Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(bytes.data()), bytes.size());
  return bytes;
}

ReadRecord const& First(Records const& records, uint32_t tag) {
  return *std::ranges::find_if(records, [&](ReadRecord const& r) { return r.tag == tag; });
}

// Checks that every reference of meshes, instances, materials and clip
// regions names an object sent before in its model, and that no object is
// sent twice.
class ReferenceLedger {
 public:
  void Walk(Records const& records) {
    for (ReadRecord const& r : records) Record(r);
  }

  std::vector<std::string> problems;
  std::map<uint32_t, int> counts;
  std::vector<uint32_t> keyed_keys;           // in stream order
  std::map<uint64_t, int> mesh_data_records;  // by (stream model, mesh key)

 private:
  using Set = std::set<uint64_t>;
  static uint64_t Pair(uint32_t model, uint32_t key) { return uint64_t(model) << 32 | key; }

  void Define(Set& set, uint32_t model, uint32_t key, char const* what) {
    if (!set.insert(Pair(model, key)).second) problems.push_back(what + " sent twice: "s + std::to_string(key));
  }
  void Need(Set const& set, uint32_t model, uint32_t key, char const* what) {
    if (!set.contains(Pair(model, key))) problems.push_back(what + " used before sent: "s + std::to_string(key));
  }
  // Three material keys (kNoKey: none) and three material maps (0: none).
  void NeedMaterials(ReadRecord const& r, uint32_t model, size_t word) {
    for (size_t i = word; i < word + 3; ++i)
      if (r.Word(i) != kNoKey) Need(materials_, model, r.Word(i), "material");
    for (size_t i = word + 3; i < word + 6; ++i)
      if (r.Word(i) != 0) Need(maps_, model, r.Word(i), "material map");
  }

  void Record(ReadRecord const& r) {
    ++counts[r.tag];
    switch (r.tag) {
      case Tag::Material:
        for (uint32_t i = 0; i < r.Word(9); ++i) Need(images_, r.context, r.Word(12 + i), "image");
        for (uint32_t i = 0; i < r.Word(10); ++i) {
          size_t const at = 12 + r.Word(9) + 3 * i;
          Need(images_, r.context, r.Word(at), "texture image");
          Need(matrices_, r.context, r.Word(at + 1), "texture matrix");
        }
        return Define(materials_, r.context, r.Word(1), "material");
      case Tag::SimpleColor: case Tag::FullMaterial: return Define(materials_, r.context, r.Word(1), "material");
      case Tag::Image: return Define(images_, r.context, r.Word(1), "image");
      case Tag::ImageReuse:
        Need(images_, r.context, r.Word(2), "reused image");
        return Define(images_, r.context, r.Word(1), "image");
      case Tag::PolyPolygon: return Define(polygons_, r.context, r.Word(1), "poly polygon");
      case Tag::KeyedData: return keyed_keys.push_back(r.Word(2));
      case Tag::MaterialMap:
        for (uint32_t i = 0; r.Word(2) == 0 && i < r.Word(3); ++i) {
          Need(materials_, r.context, r.Word(4 + i), "material");
        }
        return Define(maps_, r.context, r.Word(1), "material map");
      case Tag::Matrix: return Define(matrices_, r.context, r.Word(1), "matrix");
      case Tag::ClipRegion:
        for (size_t loop = 0, at = 4; loop < r.Word(3); ++loop, at += 3 + r.Word(at)) {
          Need(matrices_, r.context, r.Word(at + 1), "clip matrix");
          for (uint32_t i = 0; i < r.Word(at); ++i) Need(polygons_, r.context, r.Word(at + 3 + i), "poly polygon");
        }
        return Define(clips_, r.context, r.Word(1), "clip region");
      case Tag::Inclusion:
        Need(matrices_, r.context, r.Word(3), "inclusion matrix");
        inclusions_[r.Word(1)] = r.Word(2);
        return;
      case Tag::MeshDef:
        NeedMaterials(r, r.Word(1), 5);
        if (r.Word(3) != 0) Need(meshes_, r.Word(1), r.Word(3), "duplicated mesh");
        return Define(meshes_, r.Word(1), r.Word(2), "mesh");
      case Tag::SmallMesh: case Tag::LargeMesh:
        ++mesh_data_records[Pair(r.context, r.Word(1))];
        return Need(meshes_, r.context, r.Word(1), "mesh of data");
      case Tag::Instance: {
        uint32_t const model = inclusions_.at(r.Word(1));
        Need(meshes_, model, r.Word(6), "mesh");
        Need(matrices_, model, r.Word(7), "matrix");
        NeedMaterials(r, model, 8);
        if (r.Word(14) != 0) Need(clips_, model, r.Word(14), "clip region");
        return Define(instances_, r.Word(1), r.Word(2), "instance");
      }
      default: return;
    }
  }

  Set materials_, maps_, matrices_, clips_, meshes_, instances_, images_, polygons_;
  std::map<uint32_t, uint32_t> inclusions_;
};

class StreamFile : public qx_store_test::StoreTest {
 protected:
  // A model that includes itself, with `count` grid meshes of sides 5, 6, ..
  // (or one of side 5, placed `count` times).
  Model SimpleModel(std::string const& name, int count, bool distinct_meshes = false) {
    Model model = Open(name);
    model.Include(model, 0);
    MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
    MeshKey mesh = 0;
    for (int i = 0; i < count; ++i) {
      if (i == 0 || distinct_meshes) mesh = model.InsertMesh(qx_test::GridMesh(5 + i).Data());
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10.0 * i, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), red, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    }
    model.PrepareStream(1);
    return model;
  }

  Records Generate(Model& model) { return ReadRecords(ReadFile(model.GenerateStreamFile(nullptr))); }
};

TEST_F(StreamFile, OneInstanceFollowsTheFixedSequence) {
  Model model = SimpleModel("one", 1);
  char const* written = model.GenerateStreamFile(nullptr);
  EXPECT_EQ(std::filesystem::path(written), dir.Path() / "one" / "one.qxs");
  EXPECT_EQ(log.Count("Generated .qxs file: "), 1);
  Records const records = ReadRecords(ReadFile(written));
  std::vector<uint32_t> const expected = {
      Tag::Head,     Tag::Event,       Tag::KeyProperty, Tag::Event,     Tag::Event,       Tag::Matrix,
      Tag::Inclusion, Tag::KeyProperty, Tag::TreeHead,   Tag::TreeNode,  Tag::Bounds,      Tag::Bounds,
      Tag::KeyedData, Tag::Text,        Tag::SimpleColor, Tag::MeshDef,  Tag::SimpleColor, Tag::Matrix,
      Tag::Instance, Tag::PassEnd,     Tag::SmallMesh,   Tag::PassEnd};
  EXPECT_EQ(TagsOf(records), expected);
  EXPECT_EQ(records.front().Word(3), kRootStreamModel);
  // Inclusion id -2 of stream model -3, with matrix key -2 in the scene root.
  ReadRecord const& inclusion = First(records, Tag::Inclusion);
  EXPECT_EQ(Bytes(inclusion.bytes.begin() + 4, inclusion.bytes.end()), Words({0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFE}));
  EXPECT_EQ(inclusion.context, 0xFFFFFFFDu);
  ReadRecord const& root = First(records, Tag::KeyProperty);
  EXPECT_EQ(Bytes(root.bytes.begin() + 4, root.bytes.end()), Words({kRootStreamModel, 0xFFFFFFFD, 0, 3}));
  EXPECT_EQ(First(records, Tag::Instance).Word(1), 0xFFFFFFFEu);
  EXPECT_EQ(First(records, Tag::PassEnd).Word(1), 0u);
  EXPECT_EQ(records.back().Word(1), 0u);
}

// The given path is used, an unopenable one throws, and a second call and a
// reopened model write the same bytes.
TEST_F(StreamFile, PathsAndRepeats) {
  Bytes first;
  {
    Model model = SimpleModel("again", 7);
    std::filesystem::path const path = model.GenerateStreamFile(nullptr);
    first = ReadFile(path);
    model.GenerateStreamFile("");
    EXPECT_EQ(ReadFile(path), first);
    std::string const target = (dir.Path() / "elsewhere.qxs").string();
    EXPECT_EQ(std::string(model.GenerateStreamFile(target.c_str())), target);
    EXPECT_EQ(ReadFile(target), first);
    std::string const bad = (dir.Path() / "no" / "such" / "dir.qxs").string();
    EXPECT_EQ(qx_store_test::ThrownText([&] { model.GenerateStreamFile(bad.c_str()); }), "Unable to open file: " + bad);
    EXPECT_EQ(log.Count("Unable to open file: "), 1);
  }
  Cache other = Cache::Open(&log, &files);
  Model model = other.OpenModel(PathOf("again").c_str(), false);
  EXPECT_EQ(ReadFile(model.GenerateStreamFile(nullptr)), first);
}

// A model of random content: meshes of several sizes with duplicates,
// textured materials, material maps, clip regions, groups, keyed data of
// several types, and many instances drawing on all of them.
class GeneratedModel {
 public:
  GeneratedModel(Model& model, uint32_t seed) : model_(model), random_(seed) {
    model_.Include(model_, 0);
    std::vector<MeshKey> meshes;
    for (int i = 0; i < 12; ++i) {
      qx_test::TestMesh grid = qx_test::GridMesh(3 + Pick(20));
      meshes.push_back(model_.InsertMesh(grid.Data()));
      if (Pick(3) == 0) meshes.push_back(model_.InsertMesh(grid.Data()));  // a duplicate
    }
    std::vector<MaterialKey> materials;
    for (int i = 0; i < 6; ++i) materials.push_back(model_.InsertMaterial(RGBAColor{0.1f * i, 0, 0, 1}));
    for (int i = 0; i < 4; ++i) materials.push_back(TexturedMaterial(8 + 8 * i));
    std::vector<MaterialMapKey> maps;
    for (int i = 0; i < 3; ++i) maps.push_back(model_.InsertMaterialMap({materials[Pick(10)], materials[Pick(10)]}));
    std::vector<ClipRegionKey> const clips = {0, ClipRegion(), ClipRegion()};
    std::vector<InstanceInc> placed;
    for (int i = 0; i < 150; ++i) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, double(Pick(500)), double(Pick(500)), double(Pick(50))};
      MaterialKey const face = Pick(4) == 0 ? kNoKey : materials[Pick(10)];
      MaterialMapKey const map = Pick(3) == 0 ? maps[Pick(3)] : 0;
      placed.push_back({1, model_.InsertInstance(meshes[Pick(meshes.size())], model_.InsertMatrix(matrix), face,
                                                 kNoKey, kNoKey, map, 0, 0, 7, 0, clips[Pick(3)], {})});
    }
    for (int i = 0; i < 3; ++i) model_.InsertGroup({placed[Pick(placed.size())], placed[Pick(placed.size())]}, {});
    for (uint32_t type : {0u, 5u, 2u, 0xFFFFFFFFu, 9u, 0u, 2u}) {
      std::vector<uint8_t> bytes(1 + Pick(3000), uint8_t(type));
      model_.InsertKeyedData(uint32_t(bytes.size()), bytes.data(), type);
    }
    for (auto const& entry : model_.Impl().keyed_data) keyed_types[entry.key] = entry.value.type;
  }

  std::map<DataKey, uint32_t> keyed_types;

 private:
  uint32_t Pick(size_t n) { return uint32_t(random_() % n); }

  MaterialKey TexturedMaterial(uint32_t side) {
    std::vector<uint8_t> pixels(side * side * 4);
    for (uint8_t& p : pixels) p = uint8_t(Pick(256));
    double const scale[12] = {2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0};
    Material material;
    material.color = {1, 1, 1, 1};
    material.textures.push_back({model_.InsertImageRGBA(side, side, pixels.data()), model_.InsertMatrix(scale), 0});
    return model_.InsertMaterial(material);
  }

  ClipRegionKey ClipRegion() {
    uint32_t const lengths[1] = {3};
    float const points[9] = {0, 0, 0, float(1 + Pick(9)), 0, 0, 0, 1, 0};
    PolyPolygonKey const polygon = model_.InsertPolyPolygon(1, lengths, points);
    double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, double(Pick(9))};
    return model_.InsertClipRegion({ClipLoop{{polygon}, model_.InsertMatrix(shift), 1, 0}});
  }

  Model& model_;
  std::mt19937 random_;
};

TEST_F(StreamFile, GeneratedModelsSendEveryObjectOnceBeforeItsUse) {
  for (uint32_t seed : {1u, 2u, 3u}) {
    std::string const name = "generated" + std::to_string(seed);
    SCOPED_TRACE(name);
    Model model = Open(name);
    GeneratedModel const generated(model, seed);
    model.PrepareStream(1);
    Bytes const stream = ReadFile(model.GenerateStreamFile(nullptr));
    StreamSummary const summary = SummarizeStream(stream);
    EXPECT_TRUE(summary.dangling.empty());
    EXPECT_TRUE(summary.error.empty()) << summary.error;

    ReferenceLedger ledger;
    ledger.Walk(ReadRecords(stream));
    for (std::string const& problem : ledger.problems) ADD_FAILURE() << problem;
    EXPECT_EQ(ledger.counts[Tag::Instance], 150);
    EXPECT_EQ(ledger.counts[Tag::Group], 3);
    for (uint32_t tag : {Tag::Image, Tag::Material, Tag::MaterialMap, Tag::ClipRegion, Tag::PolyPolygon})
      EXPECT_GT(ledger.counts[tag], 0) << "no record " << tag;
    for (auto const& [mesh, count] : ledger.mesh_data_records) EXPECT_EQ(count, 1) << "mesh " << uint32_t(mesh);

    // Keyed data: all but the type never streamed, priority data highest
    // type first, then the idle data.
    std::vector<uint32_t> types;
    for (DataKey key : ledger.keyed_keys) types.push_back(generated.keyed_types.at(key));
    EXPECT_EQ(types.size(), generated.keyed_types.size() - 1);
    auto const idle = std::ranges::find(types, 0u);
    EXPECT_TRUE(std::is_sorted(types.begin(), idle, std::greater<>()));
    EXPECT_TRUE(std::all_of(idle, types.end(), [](uint32_t t) { return t == 0; }));
  }
}

// A camera, a background, an override on each instance, and a texture whose
// image repeats another: the first three stand outside any model context,
// and the reused image is reported without data after its reuse record.
TEST_F(StreamFile, ViewsOverridesAndReusedImages) {
  Model model = Open("views");
  IncludeKey const include = model.Include(model, 0);
  View& view = model.Impl().views.Insert(0, View{});
  view.projection = 1;
  view.position = {0, 0, 10};
  view.up = {0, 1, 0};
  view.width = view.height = 4;
  view.background = {0.5f, 0.5f, 0.5f};
  std::vector<uint8_t> const pixels(16 * 16 * 4, 200);
  ImageKey const first = model.InsertImageRGBA(16, 16, pixels.data());
  ImageKey const reused = model.InsertImageRGBA(16, 16, pixels.data());
  MeshKey const mesh = model.InsertMesh(qx_test::GridMesh(3).Data());
  for (ImageKey image : {first, reused}) {
    Material material;
    material.color = {1, 1, 1, 1};
    material.textures.push_back({image, 0, 0});
    InstanceKey const key =
        model.InsertInstance(mesh, 0, model.InsertMaterial(material), kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    model.Impl().instance_overrides.Insert(InstanceInc{include, key},
                                           InstanceOverride{{kNoKey, kNoKey, kNoKey}, {}, 0, 1, 0});
  }
  model.PrepareStream(1);
  ASSERT_EQ(model.Impl().images.Find(reused)->duplicate_of, first);

  Records const records = Generate(model);
  int seen = 0;
  for (size_t i = 1; i < records.size(); ++i) {
    uint32_t const tag = records[i].tag;
    if (tag != Tag::Camera && tag != Tag::Background && tag != Tag::Override) continue;
    ++seen;
    EXPECT_NE(records[i - 1].tag, Tag::Context) << "record " << tag << " at " << i;
  }
  EXPECT_EQ(seen, 4);  // c, P and a v for each instance
  auto const reuse = std::ranges::find_if(records, [](ReadRecord const& r) { return r.tag == Tag::ImageReuse; });
  ASSERT_NE(reuse, records.end());
  EXPECT_EQ(Bytes(reuse->bytes.begin() + 4, reuse->bytes.begin() + 12), Words({reused, first}));
  auto const missing = std::find_if(reuse, records.end(), [](ReadRecord const& r) { return r.tag == Tag::Missing; });
  ASSERT_NE(missing, records.end());
  EXPECT_EQ(missing->Word(2), reused);
  EXPECT_EQ(missing->Word(3), 0x8000008u);
  EXPECT_EQ(log.Count("Request for unknown ImageID ("), 1);
}

// A damaged digest may make duplicates a ring (each the base of the other,
// or a mesh its own base); sending their definitions recursed without end.
TEST_F(StreamFile, DuplicatesInARingAreEachDefinedOnce) {
  for (bool const self : {false, true}) {
    Model model = SimpleModel(self ? "self_ring" : "ring", 2, true);
    ModelImpl& impl = model.Impl();
    auto record = [&](MeshKey key) -> MeshRecord& { return impl.mesh_records[impl.meshes.Find(key)->index]; };
    record(1).duplicate_of = self ? 1 : 2;
    record(2).duplicate_of = 1;
    EXPECT_EQ(std::ranges::count(TagsOf(Generate(model)), Tag::MeshDef), 2) << (self ? "self" : "pair");
  }
}

// A toc entry of 1 to 3 bytes at the end of the stream mesh file: the stored
// record is sent as it is, without a look at 4 bytes past what was fetched.
TEST_F(StreamFile, TocEntriesShorterThanATagStayInsideTheFile) {
  for (uint32_t size : {1u, 2u, 3u}) {
    std::string const name = "short" + std::to_string(size);
    { SimpleModel(name, 1); }
    uint64_t const end = std::filesystem::file_size(FileOf(name, "_stream_meshes.qxd"));
    Bytes toc = FileBytes(name, "_stream_meshes_toc.qxd");
    for (size_t head = 0; head + 16 <= toc.size(); head += 16 + 16 * size_t(toc[head + 8])) {
      for (size_t at = head + 16; at < head + 16 + 16 * size_t(toc[head + 8]); at += 16) {
        for (int i = 0; i < 8; ++i) toc[at + i] = uint8_t((end - size) >> (8 * i));
        for (int i = 0; i < 4; ++i) toc[at + 8 + i] = uint8_t(size >> (8 * i));
      }
    }
    std::ofstream(FileOf(name, "_stream_meshes_toc.qxd"), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<char const*>(toc.data()), toc.size());
    Cache other = Cache::Open(&log, &files);
    Model model = other.OpenModel(PathOf(name).c_str(), false);
    EXPECT_GT(std::filesystem::file_size(model.GenerateStreamFile(nullptr)), 0u);
  }
}

}  // namespace
