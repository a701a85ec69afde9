// Attaching models to a stream: a model that includes itself, a model that
// includes another one, and an included model that can't be found.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "geometry/bounding/BoundingTree.h"
#include "store/ModelImpl.h"
#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "stream/StreamState.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/RecordingSink.h"
#include "tests/stream/StreamRecords.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using qx_store_test::StoreTest;

constexpr uint32_t kStandAloneFlags = ControlFlag::StreamCulled | ControlFlag::NoStreamLimit |
                                      ControlFlag::StandAlone | ControlFlag::StreamKeyedDataOnIdle;

class Attach : public StoreTest {
 protected:
  Attach() { sink.chunk_size = 0x20000; }

  // A model with one grid mesh placed once at `x`, including itself.
  Model GridModel(std::string const& name, double x, bool include_self = true) {
    Model model = Open(name);
    if (include_self) model.Include(model, 0);
    qx_test::TestMesh grid = qx_test::GridMesh(4);
    double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, x, 0, 0};
    model.InsertInstance(model.InsertMesh(grid.Data()), model.InsertMatrix(matrix), kNoKey,
                         kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    model.PrepareStream(1);
    return model;
  }

  // Gives the model a metadata block that holds only its unit.
  static void SetUnit(Model& model, double unit) {
    Bytes node;
    PutU32(node, 0x4000);
    PutF64(node, unit);
    model.SetKeyedData(kMetadataKey, uint32_t(node.size()), node.data());
  }

  // The box of the part's one item once a stream of the host has run through.
  BoundingBox PartBoxInStream(Model& host, Model& part, uint32_t flags) {
    StreamState state(host, &flags);
    for (int pass = 0; pass < 50 && (pass == 0 || sink.status != 2); ++pass) Pass(state, RequestKind::Stream);
    auto const item = std::find_if(state.items.begin(), state.items.end(),
                                   [&](auto* i) { return i->model == &part.Impl(); });
    return item == state.items.end() ? BoundingBox{} : (*item)->bounds;
  }

  std::vector<ReadRecord> Pass(StreamState& state, RequestKind kind) {
    StreamRequest request;
    request.kind = kind;
    sink.chunks.clear();
    state.Stream(sink, request);
    return ReadRecords(sink.Payloads());
  }

  static std::vector<ReadRecord> Only(std::vector<ReadRecord> const& records, uint32_t tag) {
    std::vector<ReadRecord> out;
    std::copy_if(records.begin(), records.end(), std::back_inserter(out),
                 [&](ReadRecord const& r) { return r.tag == tag; });
    return out;
  }

  static std::string TextOf(ReadRecord const& r) {
    return std::string(reinterpret_cast<char const*>(r.bytes.data() + 8), r.Word(1) - 1);
  }

  RecordingSink sink;
};

TEST_F(Attach, SelfIncludeMakesOneInclusionInModelSpace) {
  Model model = GridModel("self", 5);
  uint32_t const flags = kStandAloneFlags;
  StreamState state(model, &flags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  ASSERT_EQ(state.attached.size(), 1u);
  StreamAttachedModel const& attached = state.attached.begin()->second;
  EXPECT_EQ(attached.inclusion_id, 0xFFFFFFFEu);
  ASSERT_EQ(attached.instances.size(), 1u);
  StreamInstance const& item = attached.instances.begin()->second;
  EXPECT_FLOAT_EQ(item.bounds.min_x, 5.0f);  // model space is scene space
  EXPECT_EQ(item.flags.classes, 7u);
  EXPECT_EQ(state.StreamIdOf(model.Impl()), 0xFFFFFFFDu);
  std::vector<ReadRecord> const inclusions = Only(records, Tag::Inclusion);
  ASSERT_EQ(inclusions.size(), 1u);
  EXPECT_EQ(inclusions[0].Word(3), 0xFFFFFFFEu);
  EXPECT_EQ(Only(records, Tag::TreeHead).size(), 1u);
  EXPECT_EQ(log.Count("Processed 1 model in "), 1);
  EXPECT_EQ(log.Count("Attached 1 model in "), 1);
}

TEST_F(Attach, ModelWithoutIncludesStandsAsItsOwnRoot) {
  Model model = GridModel("alone", 0, false);
  uint32_t const flags = kStandAloneFlags;
  StreamState state(model, &flags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);
  EXPECT_EQ(Only(records, Tag::Instance).size(), 1u);
  EXPECT_TRUE(state.scene_root == model);
}

TEST_F(Attach, ForeignModelGetsItsOwnStreamIdAndComposedMatrix) {
  Model part = GridModel("part", 0, false);
  Model host = GridModel("host", 0);
  double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 100, 0};
  host.Include(part, host.InsertMatrix(shift));
  uint32_t const flags = kStandAloneFlags;
  StreamState state(host, &flags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  std::vector<ReadRecord> const inclusions = Only(records, Tag::Inclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].Word(2), 0xFFFFFFFDu);  // the host model: -3
  EXPECT_EQ(inclusions[1].Word(1), 0xFFFFFFFDu);  // second inclusion id: -3
  EXPECT_EQ(inclusions[1].Word(2), 0xFFFFFFFCu);  // the part: -4
  EXPECT_EQ(inclusions[1].Word(3), 0xFFFFFFFDu);  // its matrix key in the root: -3
  Matrix const* placed = host.Impl().matrices.Find(0xFFFFFFFDu);
  ASSERT_NE(placed, nullptr);
  EXPECT_DOUBLE_EQ((*placed)[10], 100.0);

  auto const part_item = std::find_if(state.items.begin(), state.items.end(), [&](auto* item) {
    return item->model == &part.Impl();
  });
  ASSERT_NE(part_item, state.items.end());
  EXPECT_FLOAT_EQ((*part_item)->bounds.min_y, 100.0f);
  EXPECT_EQ(Only(records, Tag::Instance).size(), 2u);
  EXPECT_EQ(Only(records, Tag::TreeHead).size(), 2u);
}

TEST_F(Attach, MissingModelIsReportedWithItsNameEscaped) {
  std::string const name = "gone\"\x01";
  {
    Model part = GridModel(name, 0, false);
    Model host = GridModel("keeps", 0);
    host.Include(part, 0);
  }
  std::filesystem::remove_all(dir.Path() / name);
  Model host = Open("keeps");
  uint32_t const flags = kStandAloneFlags;
  StreamState state(host, &flags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Digest);

  std::vector<ReadRecord> const texts = Only(records, Tag::Text);
  ASSERT_FALSE(texts.empty());
  EXPECT_EQ(TextOf(texts[0]), "<MISSING_MODEL data=\"../gone\\\"\\u0001\">");
  EXPECT_EQ(log.Count("Failed to find attached model in search path: ../gone"), 1);
  EXPECT_EQ(Only(records, Tag::Instance).size(), 1u);  // the host's own goes on
}

TEST_F(Attach, LiveStreamAnnouncesInclusionsWithTheirAttachId) {
  Model part = GridModel("live_part", 0, false);
  Model host = GridModel("live_host", 0);
  host.Include(part, 0);
  uint32_t const flags = ControlFlag::StreamCulled;
  StreamState state(host, &flags);
  std::vector<ReadRecord> records;
  for (int pass = 0; pass < 50 && (pass == 0 || sink.status != 2); ++pass) {
    std::vector<ReadRecord> const more = Pass(state, RequestKind::Stream);
    records.insert(records.end(), more.begin(), more.end());
  }
  EXPECT_EQ(sink.status, 2u);
  EXPECT_EQ(Only(records, Tag::Inclusion).size(), 0u);
  std::vector<ReadRecord> const inclusions = Only(records, Tag::LiveInclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].Word(1), 0u);  // attach id
  EXPECT_EQ(inclusions[0].Word(5), 0u);  // not hidden
  EXPECT_EQ(Only(records, Tag::Instance).size(), 2u);
  EXPECT_EQ(Only(records, Tag::SmallMesh).size(), 2u);  // one mesh in each model
  EXPECT_EQ(Only(records, Tag::Text).size(), 0u);
  std::vector<ReadRecord> const texts = Only(records, Tag::LiveText);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(std::string(reinterpret_cast<char const*>(texts[0].bytes.data() + 12)),
            "<PRIORITY_KEYED_DATA_SENT count=\"2\">");
}

// A part authored in millimetres, included in a host in metres, is scaled
// into the host's unit in a live stream; a stand-alone stream leaves units be.
TEST_F(Attach, IncludedModelIsScaledIntoTheHostsUnit) {
  Model part = GridModel("mm_part", 0, false);
  SetUnit(part, 0.001);
  Model host = GridModel("m_host", 0);
  SetUnit(host, 1.0);
  host.Include(part, 0);
  BoundingBox const own = part.Impl().bounding_tree->root->bounds;
  ASSERT_GT(own.max_x - own.min_x, 0.5f);

  BoundingBox const live = PartBoxInStream(host, part, ControlFlag::StreamCulled);
  EXPECT_EQ(sink.status, 2u);
  EXPECT_FLOAT_EQ(live.max_x - live.min_x, (own.max_x - own.min_x) * 0.001f);
  EXPECT_FLOAT_EQ(live.max_y, own.max_y * 0.001f);

  BoundingBox const alone = PartBoxInStream(host, part, kStandAloneFlags);
  EXPECT_FLOAT_EQ(alone.max_x - alone.min_x, own.max_x - own.min_x);
}

}  // namespace
