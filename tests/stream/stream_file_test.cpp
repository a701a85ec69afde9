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
#include "stream/ControlFlags.h"
#include "stream/StreamSummary.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/StreamRecords.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using qx_store_test::StoreTest;
using Records = std::vector<ReadRecord>;

Bytes ReadFile(std::filesystem::path const& path) {
  Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(bytes.data()), bytes.size());
  return bytes;
}

uint64_t Pair(uint32_t model, uint32_t key) { return uint64_t(model) << 32 | key; }

Records::const_iterator Find(Records::const_iterator from, Records const& records, uint32_t tag) {
  return std::find_if(from, records.end(), [&](ReadRecord const& r) { return r.tag == tag; });
}

// Checks that every reference of meshes and instances names an object sent
// before, and that no object is sent twice.
class ReferenceLedger {
 public:
  void Walk(std::vector<ReadRecord> const& records) {
    for (ReadRecord const& r : records) Record(r);
  }

  std::vector<std::string> problems;
  std::map<uint32_t, int> counts;
  std::vector<uint32_t> keyed_keys;          // in stream order
  std::map<uint64_t, int> mesh_data_records;  // by (stream model, mesh key)

 private:
  void Define(std::set<uint64_t>& set, uint32_t model, uint32_t key, char const* what) {
    if (!set.insert(Pair(model, key)).second)
      problems.push_back(std::string(what) + " sent twice: " + std::to_string(key));
  }
  void Need(std::set<uint64_t> const& set, uint32_t model, uint32_t key, char const* what) {
    if (!set.contains(Pair(model, key)))
      problems.push_back(std::string(what) + " used before it was sent: " + std::to_string(key));
  }
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
      case Tag::SimpleColor: case Tag::FullMaterial:
        return Define(materials_, r.context, r.Word(1), "material");
      case Tag::Image: return Define(images_, r.context, r.Word(1), "image");
      case Tag::ImageReuse:
        Need(images_, r.context, r.Word(2), "reused image");
        return Define(images_, r.context, r.Word(1), "image");
      case Tag::PolyPolygon: return Define(polygons_, r.context, r.Word(1), "poly polygon");
      case Tag::KeyedData: return keyed_keys.push_back(r.Word(2));
      case Tag::MaterialMap:
        for (uint32_t i = 0; r.Word(2) == 0 && i < r.Word(3); ++i)
          Need(materials_, r.context, r.Word(4 + i), "material");
        return Define(maps_, r.context, r.Word(1), "material map");
      case Tag::Matrix: return Define(matrices_, r.context, r.Word(1), "matrix");
      case Tag::ClipRegion: {
        size_t at = 4;
        for (uint32_t loop = 0; loop < r.Word(3); ++loop) {
          uint32_t const polygons = r.Word(at);
          Need(matrices_, r.context, r.Word(at + 1), "clip matrix");
          for (uint32_t i = 0; i < polygons; ++i)
            Need(polygons_, r.context, r.Word(at + 3 + i), "poly polygon");
          at += 3 + polygons;
        }
        return Define(clips_, r.context, r.Word(1), "clip region");
      }
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
        auto const inclusion = inclusions_.find(r.Word(1));
        if (inclusion == inclusions_.end()) return problems.push_back("instance without inclusion");
        uint32_t const model = inclusion->second;
        Need(meshes_, model, r.Word(6), "mesh");
        Need(matrices_, model, r.Word(7), "matrix");
        NeedMaterials(r, model, 8);
        if (r.Word(14) != 0) Need(clips_, model, r.Word(14), "clip region");
        return Define(instances_, r.Word(1), r.Word(2), "instance");
      }
      default:
        return;
    }
  }

  std::set<uint64_t> materials_, maps_, matrices_, clips_, meshes_, instances_, images_, polygons_;
  std::map<uint32_t, uint32_t> inclusions_;
};

class StreamFile : public StoreTest {
 protected:
  // A model that includes itself, with one grid mesh placed `count` times.
  Model SimpleModel(char const* name, int count) {
    Model model = Open(name);
    model.Include(model, 0);
    qx_test::TestMesh grid = qx_test::GridMesh(5);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
    for (int i = 0; i < count; ++i) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10.0 * i, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), red, kNoKey, kNoKey, 0, 0, 0, 7, 0,
                           0, {});
    }
    model.PrepareStream(1);
    return model;
  }

  std::vector<ReadRecord> Generate(Model& model) {
    std::filesystem::path const path = model.GenerateStreamFile(nullptr);
    return ReadRecords(ReadFile(path));
  }
};

TEST_F(StreamFile, OneInstanceFollowsTheFixedSequence) {
  Model model = SimpleModel("one", 1);
  char const* written = model.GenerateStreamFile(nullptr);
  EXPECT_EQ(std::filesystem::path(written), dir.Path() / "one" / "one.qxs");
  EXPECT_EQ(log.Count("Generated .qxs file: "), 1);
  Bytes const bytes = ReadFile(written);
  ASSERT_EQ(bytes.size() % 4, 0u);
  std::vector<ReadRecord> const records = ReadRecords(bytes);

  std::vector<uint32_t> const expected = {
      Tag::Head,     Tag::Event,    Tag::KeyProperty, Tag::Event,    Tag::Event,
      Tag::Matrix,   Tag::Inclusion, Tag::KeyProperty, Tag::TreeHead, Tag::TreeNode,
      Tag::Bounds,   Tag::Bounds,   Tag::KeyedData,   Tag::Text,      Tag::SimpleColor,
      Tag::MeshDef,  Tag::SimpleColor, Tag::Matrix,   Tag::Instance,  Tag::PassEnd,
      Tag::SmallMesh, Tag::PassEnd};
  std::vector<uint32_t> tags = TagsOf(records);
  EXPECT_EQ(tags, expected);

  ReadRecord const& head = records.front();
  EXPECT_EQ(head.Word(3), kRootStreamModel);
  auto const find = [&](uint32_t tag) {
    return *std::find_if(records.begin(), records.end(), [&](auto const& r) { return r.tag == tag; });
  };
  ReadRecord const inclusion = find(Tag::Inclusion);
  EXPECT_EQ(inclusion.Word(1), 0xFFFFFFFEu);  // inclusion id -2
  EXPECT_EQ(inclusion.Word(2), 0xFFFFFFFDu);  // stream model -3
  EXPECT_EQ(inclusion.Word(3), 0xFFFFFFFEu);  // matrix key -2 in the scene root
  EXPECT_EQ(inclusion.context, 0xFFFFFFFDu);
  ReadRecord const root = find(Tag::KeyProperty);
  EXPECT_EQ(root.Word(1), kRootStreamModel);
  EXPECT_EQ(root.Word(2), 0xFFFFFFFDu);
  EXPECT_EQ(root.Word(4), 3u);
  ReadRecord const instance = find(Tag::Instance);
  EXPECT_EQ(instance.Word(1), 0xFFFFFFFEu);
  EXPECT_EQ(find(Tag::PassEnd).Word(1), 0u);
  EXPECT_EQ(records.back().Word(1), 0u);
}

TEST_F(StreamFile, GivenPathIsUsedAndAnUnopenablePathThrows) {
  Model model = SimpleModel("paths", 2);
  std::string const target = (dir.Path() / "elsewhere.qxs").string();
  EXPECT_EQ(std::string(model.GenerateStreamFile(target.c_str())), target);
  EXPECT_GT(std::filesystem::file_size(target), 0u);
  std::string const bad = (dir.Path() / "no" / "such" / "dir.qxs").string();
  EXPECT_EQ(qx_store_test::ThrownText([&] { model.GenerateStreamFile(bad.c_str()); }),
            "Unable to open file: " + bad);
  EXPECT_EQ(log.Count("Unable to open file: "), 1);
}

// A second call and a reopened model write the same bytes.
TEST_F(StreamFile, StreamFilesAreRepeatable) {
  Bytes first;
  {
    Model model = SimpleModel("again", 7);
    std::filesystem::path const path = model.GenerateStreamFile(nullptr);
    first = ReadFile(path);
    model.GenerateStreamFile("");
    EXPECT_EQ(ReadFile(path), first);
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
  GeneratedModel(Model& model, uint32_t seed) : model_(model), random_(seed) {}

  void Build() {
    model_.Include(model_, 0);
    std::vector<MeshKey> meshes;
    for (int i = 0; i < 12; ++i) {
      qx_test::TestMesh grid = qx_test::GridMesh(3 + Pick(20));
      meshes.push_back(model_.InsertMesh(grid.Data()));
      if (Pick(3) == 0) meshes.push_back(model_.InsertMesh(grid.Data()));  // a duplicate
    }
    std::vector<MaterialKey> materials;
    for (int i = 0; i < 6; ++i) materials.push_back(model_.InsertMaterial(RGBAColor{0.1f * i, 0, 0, 1}));
    for (int i = 0; i < 4; ++i) materials.push_back(TexturedMaterial(i));
    std::vector<MaterialMapKey> maps;
    for (int i = 0; i < 3; ++i)
      maps.push_back(model_.InsertMaterialMap({materials[Pick(10)], materials[Pick(10)]}));
    std::vector<ClipRegionKey> clips = {0, ClipRegion(), ClipRegion()};
    std::vector<InstanceInc> placed;
    for (int i = 0; i < 150; ++i) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, double(Pick(500)), double(Pick(500)), double(Pick(50))};
      MaterialKey const face = Pick(4) == 0 ? kNoKey : materials[Pick(10)];
      MaterialMapKey const map = Pick(3) == 0 ? maps[Pick(3)] : 0;
      placed.push_back({1, model_.InsertInstance(meshes[Pick(meshes.size())],
                                                 model_.InsertMatrix(matrix), face, kNoKey, kNoKey,
                                                 map, 0, 0, 7, 0, clips[Pick(3)], {})});
    }
    for (int i = 0; i < 3; ++i)
      model_.InsertGroup({placed[Pick(placed.size())], placed[Pick(placed.size())]}, {});
    for (uint32_t type : {0u, 5u, 2u, 0xFFFFFFFFu, 9u, 0u, 2u}) {
      std::vector<uint8_t> bytes(1 + Pick(3000), uint8_t(type));
      model_.InsertKeyedData(uint32_t(bytes.size()), bytes.data(), type);
    }
    for (auto const& entry : model_.Impl().keyed_data) keyed_types[entry.key] = entry.value.type;
  }

  std::map<DataKey, uint32_t> keyed_types;

 private:
  uint32_t Pick(size_t n) { return uint32_t(random_() % n); }

  MaterialKey TexturedMaterial(int i) {
    uint32_t const side = 8 + 8 * i;
    std::vector<uint8_t> pixels(side * side * 4);
    for (uint8_t& p : pixels) p = uint8_t(Pick(256));
    ImageKey const image = model_.InsertImageRGBA(side, side, pixels.data());
    double const scale[12] = {2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0};
    Material material;
    material.color = {1, 1, 1, 1};
    material.textures.push_back({image, model_.InsertMatrix(scale), 0});
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
    Model model = Open(name);
    GeneratedModel generated(model, seed);
    generated.Build();
    model.PrepareStream(1);
    std::filesystem::path const path = model.GenerateStreamFile(nullptr);
    std::vector<ReadRecord> const records = ReadRecords(ReadFile(path));
    StreamSummary const summary = SummarizeStream(ReadFile(path));
    EXPECT_TRUE(summary.dangling.empty()) << name;
    EXPECT_TRUE(summary.error.empty()) << summary.error;

    ReferenceLedger ledger;
    ledger.Walk(records);
    for (std::string const& problem : ledger.problems) ADD_FAILURE() << name << ": " << problem;
    EXPECT_EQ(ledger.counts[Tag::Instance], 150) << name;
    EXPECT_EQ(ledger.counts[Tag::Group], 3) << name;
    for (uint32_t tag : {Tag::Image, Tag::Material, Tag::MaterialMap, Tag::ClipRegion,
                         Tag::PolyPolygon, Tag::KeyProperty})
      EXPECT_GT(ledger.counts[tag], 0) << name << " has no record " << tag;
    for (auto const& [mesh, count] : ledger.mesh_data_records)
      EXPECT_EQ(count, 1) << name << " mesh " << uint32_t(mesh);

    // Keyed data: all but the type never streamed, priority data highest type
    // first, then the idle data.
    std::vector<uint32_t> types;
    for (DataKey key : ledger.keyed_keys) types.push_back(generated.keyed_types.at(key));
    EXPECT_EQ(types.size(), generated.keyed_types.size() - 1) << name;
    auto const idle = std::find(types.begin(), types.end(), 0u);
    EXPECT_TRUE(std::is_sorted(types.begin(), idle, std::greater<>())) << name;
    EXPECT_TRUE(std::all_of(idle, types.end(), [](uint32_t t) { return t == 0; })) << name;
  }
}

// A model with a camera, a background, an instance override and a texture
// whose image repeats another one.
class ViewsAndReusedImages : public StreamFile {
 protected:
  Model Build() {
    Model model = Open("views");
    IncludeKey const include = model.Include(model, 0);
    ModelImpl& m = model.Impl();
    View& view = m.views.Insert(0, View{});
    view.projection = 1;
    view.position = {0, 0, 10};
    view.up = {0, 1, 0};
    view.width = view.height = 4;
    view.background = {0.5f, 0.5f, 0.5f};

    std::vector<uint8_t> const pixels(16 * 16 * 4, 200);
    first_ = model.InsertImageRGBA(16, 16, pixels.data());
    reused_ = model.InsertImageRGBA(16, 16, pixels.data());
    qx_test::TestMesh grid = qx_test::GridMesh(3);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    for (ImageKey image : {first_, reused_}) {
      Material material;
      material.color = {1, 1, 1, 1};
      material.textures.push_back({image, 0, 0});
      InstanceKey const key = model.InsertInstance(mesh, 0, model.InsertMaterial(material), kNoKey, kNoKey, 0,
                                                   0, 0, 7, 0, 0, {});
      m.instance_overrides.Insert(InstanceInc{include, key}, InstanceOverride{{kNoKey, kNoKey, kNoKey}, {}, 0, 1, 0});
    }
    model.PrepareStream(1);
    return model;
  }

  ImageKey first_ = 0, reused_ = 0;
};

// Cameras, backgrounds and overrides stand outside any model context; a
// reused image is reported without data after its reuse record.
TEST_F(ViewsAndReusedImages, ComeAsTheViewerNeedsThem) {
  Model model = Build();
  ASSERT_EQ(model.Impl().images.Find(reused_)->duplicate_of, first_);
  Records const records = Generate(model);
  int seen = 0;
  for (size_t i = 1; i < records.size(); ++i) {
    uint32_t const tag = records[i].tag;
    if (tag != Tag::Camera && tag != Tag::Background && tag != Tag::Override) continue;
    ++seen;
    EXPECT_NE(records[i - 1].tag, Tag::Context) << "record " << tag << " at " << i;
  }
  EXPECT_EQ(seen, 4);  // c, P and a v for each instance
  auto const reuse = Find(records.begin(), records, Tag::ImageReuse);
  ASSERT_NE(reuse, records.end());
  EXPECT_EQ(reuse->Word(1), reused_);
  EXPECT_EQ(reuse->Word(2), first_);
  auto const missing = Find(reuse, records, Tag::Missing);
  ASSERT_NE(missing, records.end());
  EXPECT_EQ(missing->Word(2), reused_);
  EXPECT_EQ(missing->Word(3), 0x8000008u);
  EXPECT_EQ(log.Count("Request for unknown ImageID ("), 1);
}

// A damaged digest may make duplicates a ring (each the base of the other,
// or a mesh its own base); sending their definitions recursed without end.
TEST_F(StreamFile, DuplicatesInARingAreEachDefinedOnce) {
  for (bool const self : {false, true}) {
    Model model = Open(self ? "self_ring" : "ring");
    model.Include(model, 0);
    MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
    std::vector<MeshKey> meshes;
    for (int i = 0; i < 2; ++i) {
      meshes.push_back(model.InsertMesh(qx_test::GridMesh(4 + i).Data()));
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10.0 * i, 0, 0};
      model.InsertInstance(meshes.back(), model.InsertMatrix(matrix), red, kNoKey, kNoKey, 0, 0, 0,
                           7, 0, 0, {});
    }
    model.PrepareStream(1);
    ModelImpl& impl = model.Impl();
    auto record = [&](MeshKey key) -> MeshRecord& {
      return impl.mesh_records[impl.meshes.Find(key)->index];
    };
    record(meshes[0]).duplicate_of = self ? meshes[0] : meshes[1];
    record(meshes[1]).duplicate_of = meshes[0];
    std::vector<uint32_t> const tags = TagsOf(Generate(model));
    EXPECT_EQ(std::count(tags.begin(), tags.end(), Tag::MeshDef), 2) << (self ? "self" : "pair");
  }
}

}  // namespace

// A toc entry of 1 to 3 bytes at the end of the stream mesh file: the stored
// record is sent as it is, without a look at 4 bytes past what was fetched.
TEST_F(StreamFile, TocEntriesShorterThanATagStayInsideTheFile) {
  for (uint32_t size : {1u, 2u, 3u}) {
    std::string const name = "short" + std::to_string(size);
    { SimpleModel(name.c_str(), 1); }
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
