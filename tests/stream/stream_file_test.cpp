// Stand-alone stream files of models built by hand: what they hold, in
// which order, and that every reference is sent before it is used, once.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "store/ModelImpl.h"
#include "stream/ControlFlags.h"
#include "stream/StreamInspector.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/StreamRecords.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using qx_store_test::StoreTest;

Bytes ReadFile(std::filesystem::path const& path) {
  Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(bytes.data()), bytes.size());
  return bytes;
}

uint64_t Pair(uint32_t model, uint32_t key) { return uint64_t(model) << 32 | key; }

// Checks that every reference of meshes and instances names an object sent
// before, and that no object is sent twice.
class ReferenceLedger {
 public:
  void Walk(std::vector<ReadRecord> const& records) {
    for (ReadRecord const& r : records) Record(r);
  }

  std::vector<std::string> problems;
  std::map<uint32_t, int> counts;

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
      case Tag::SimpleColor: case Tag::Material: case Tag::FullMaterial:
        return Define(materials_, r.context, r.Word(1), "material");
      case Tag::MaterialMap:
        for (uint32_t i = 0; r.Word(2) == 0 && i < r.Word(3); ++i)
          Need(materials_, r.context, r.Word(4 + i), "material");
        return Define(maps_, r.context, r.Word(1), "material map");
      case Tag::Matrix: return Define(matrices_, r.context, r.Word(1), "matrix");
      case Tag::ClipRegion: return Define(clips_, r.context, r.Word(1), "clip region");
      case Tag::Inclusion:
        Need(matrices_, r.context, r.Word(3), "inclusion matrix");
        inclusions_[r.Word(1)] = r.Word(2);
        return;
      case Tag::MeshDef:
        NeedMaterials(r, r.Word(1), 5);
        if (r.Word(3) != 0) Need(meshes_, r.Word(1), r.Word(3), "duplicated mesh");
        return Define(meshes_, r.Word(1), r.Word(2), "mesh");
      case Tag::SmallMesh: case Tag::LargeMesh:
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

  std::set<uint64_t> materials_, maps_, matrices_, clips_, meshes_, instances_;
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

TEST_F(StreamFile, ManyInstancesShareTheirObjectsAndResolveEveryReference) {
  Model model = SimpleModel("many", 40);
  std::vector<ReadRecord> const records = Generate(model);
  ReferenceLedger ledger;
  ledger.Walk(records);
  EXPECT_TRUE(ledger.problems.empty()) << ledger.problems.front();
  EXPECT_EQ(ledger.counts[Tag::Instance], 40);
  EXPECT_EQ(ledger.counts[Tag::MeshDef], 1);
  EXPECT_EQ(ledger.counts[Tag::SimpleColor], 2);  // the mesh's default and the instances' red
  EXPECT_EQ(ledger.counts[Tag::SmallMesh], 1);
  EXPECT_EQ(ledger.counts[Tag::Matrix], 41);  // 40 instances and the inclusion
  StreamSummary const summary = SummarizeStream(ReadFile(dir.Path() / "many" / "many.qxs"));
  EXPECT_TRUE(summary.dangling.empty());
  EXPECT_TRUE(summary.error.empty()) << summary.error;
}

TEST_F(StreamFile, TwoCallsGiveTheSameBytes) {
  Model model = SimpleModel("twice", 12);
  std::filesystem::path const path = model.GenerateStreamFile(nullptr);
  Bytes const first = ReadFile(path);
  model.GenerateStreamFile("");
  EXPECT_EQ(ReadFile(path), first);
}

}  // namespace
