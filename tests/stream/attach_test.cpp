// Attaching models to a stream, stand-alone and live: models that include
// themselves, others, each other or one model twice; units; included models
// that are gone or damaged; and sinks that throw.
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "geometry/bounding/BoundingTree.h"
#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

constexpr uint32_t kStandAloneFlags = ControlFlag::StreamCulled | ControlFlag::NoStreamLimit |
                                      ControlFlag::StandAlone | ControlFlag::StreamKeyedDataOnIdle;

using Attach = LiveTest;

// A host that includes itself makes one inclusion in model space; an
// included model gets its own stream id, and its matrix composed into the
// scene root. Without includes, a model stands as its own root.
TEST_F(Attach, InclusionsGetStreamIdsAndComposedMatrices) {
  Model part = GridModel("part", {4}, false);
  Model host = GridModel("host", {4, 4});
  host.Include(part, Shifted(host, 0, 100));
  StreamState state(host, &kStandAloneFlags);
  Records const records = Pass(state, RequestKind::Digest);
  EXPECT_EQ(state.StreamIdOf(host.Impl()), 0xFFFFFFFDu);
  ASSERT_EQ(state.attached.size(), 2u);
  for (StreamInstance const* item : state.items) {
    if (item->model == &host.Impl()) {
      EXPECT_EQ(item->bounds, host.Impl().instances.Find(item->instance->key)->bounds);
    }
  }
  // Inclusion ids -2 and -3 of stream models -3 and -4, with matrix keys
  // -2 and -3 in the scene root.
  Records const inclusions = Only(records, Tag::Inclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].bytes, Words({Tag::Inclusion, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFE}));
  EXPECT_EQ(inclusions[1].bytes, Words({Tag::Inclusion, 0xFFFFFFFD, 0xFFFFFFFC, 0xFFFFFFFD}));
  Matrix const* placed = host.Impl().matrices.Find(0xFFFFFFFDu);
  ASSERT_NE(placed, nullptr);
  EXPECT_DOUBLE_EQ((*placed)[10], 100.0);
  ASSERT_NE(ItemOf(state, part, 1), nullptr);
  EXPECT_FLOAT_EQ(ItemOf(state, part, 1)->bounds.min_y, 100.0f);
  EXPECT_EQ(Count(records, Tag::Instance), 3u);
  EXPECT_EQ(Count(records, Tag::TreeHead), 2u);
  EXPECT_EQ(log.Count("Processed 2 models in "), 1);

  Model alone = GridModel("alone", {4}, false);
  StreamState without(alone, &kStandAloneFlags);
  EXPECT_EQ(Count(Pass(without, RequestKind::Digest), Tag::Instance), 1u);
  EXPECT_TRUE(without.scene_root == alone);
}

// A live stream announces inclusions as x records with their attach id, and
// its texts as live texts.
TEST_F(Attach, LiveStreamAnnouncesInclusionsWithTheirAttachId) {
  Model part = GridModel("live_part", {4}, false);
  Model host = GridModel("live_host", {4});
  host.Include(part, 0);
  StreamState state(host, &kLiveFlags);
  Records const records = RunUntilIdle(state);
  EXPECT_EQ(Count(records, Tag::Inclusion), 0u);
  Records const inclusions = Only(records, Tag::LiveInclusion);
  ASSERT_EQ(inclusions.size(), 2u);
  EXPECT_EQ(inclusions[0].Word(1), 0u);  // attach id
  EXPECT_EQ(inclusions[0].Word(5), 0u);  // not hidden
  EXPECT_EQ(Count(records, Tag::Instance), 2u);
  EXPECT_EQ(Count(records, Tag::SmallMesh), 2u);
  EXPECT_EQ(Count(records, Tag::Text), 0u);
  Records const texts = Only(records, Tag::LiveText);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(TextOf(texts[0]), "<PRIORITY_KEYED_DATA_SENT count=\"2\">");

  state.bits.idle_marker_wanted = true;
  Records const marker = Pass(state, RequestKind::Stream);
  ASSERT_EQ(Count(marker, Tag::LiveText), 1u);
  EXPECT_EQ(TextOf(Only(marker, Tag::LiveText)[0]), "<IDLE_MARKER>");
}

// A part authored in millimetres, included in a host in metres, is scaled
// into the host's unit in a live stream; a stand-alone stream leaves units be.
TEST_F(Attach, IncludedModelIsScaledIntoTheHostsUnit) {
  Model part = GridModel("mm_part", {4}, false);
  Model host = GridModel("m_host", {4});
  for (auto [model, unit] : {std::pair{&part, 0.001}, std::pair{&host, 1.0}}) {
    Bytes node;  // a metadata block that holds only the unit
    PutU32(node, 0x4000);
    PutF64(node, unit);
    model->SetKeyedData(kMetadataKey, uint32_t(node.size()), node.data());
  }
  host.Include(part, 0);
  BoundingBox const own = part.Impl().bounding_tree->root->bounds;
  ASSERT_GT(own.max_x - own.min_x, 0.5f);
  for (uint32_t flags : {kLiveFlags, kStandAloneFlags}) {
    StreamState state(host, &flags);
    RunUntilIdle(state);
    ASSERT_NE(ItemOf(state, part, 1), nullptr);
    BoundingBox const box = ItemOf(state, part, 1)->bounds;
    float const scale = flags == kLiveFlags ? 0.001f : 1.0f;
    EXPECT_FLOAT_EQ(box.max_x - box.min_x, (own.max_x - own.min_x) * scale);
    EXPECT_FLOAT_EQ(box.max_y, own.max_y * scale);
  }
}

// A part that is gone (reported with its name escaped) or whose digest is
// garbage (failing on the attachment thread) becomes a missing model; the
// host's own instance goes on.
TEST_F(Attach, MissingOrDamagedModelIsReported) {
  std::string const name = "gone\"\x01";
  for (bool const live : {false, true}) {
    {
      Model part = GridModel(name, {4}, false);
      Model host = GridModel(live ? "keeps_live" : "keeps", {4});
      host.Include(part, 0);
    }
    if (live)
      std::ofstream(FileOf(name, kDigestName), std::ios::binary | std::ios::trunc) << std::string(200, '\x7f');
    else
      std::filesystem::remove_all(dir.Path() / name);
    Model host = Open(live ? "keeps_live" : "keeps");
    log.lines.clear();
    StreamState state(host, live ? &kLiveFlags : &kStandAloneFlags);
    Records const records = RunUntilIdle(state);
    Records const texts = Only(records, live ? Tag::LiveText : Tag::Text);
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(TextOf(texts[0]), "<MISSING_MODEL data=\"../gone\\\"\\u0001\">");
    EXPECT_EQ(Count(records, Tag::Instance), 1u);
    EXPECT_EQ(log.Count("Failed to find attached model in search path: ../gone"), 1);
  }
}

TEST_F(Attach, IncludeCycleEndsAtTheModelThatStartedIt) {
  Model a = GridModel("cycle_a", {4});
  Model b = GridModel("cycle_b", {5});
  a.Include(b, 0);
  b.Include(a, 0);
  StreamState state(a, &kLiveFlags);
  Records const records = RunUntilIdle(state);
  EXPECT_EQ(state.attached.size(), 2u);
  EXPECT_EQ(Count(records, Tag::Instance), 2u);
}

TEST_F(Attach, ModelIncludedTwiceSendsItsInstancesOnce) {
  Model part = GridModel("twice_part", {4, 5, 6}, false);
  Model host = GridModel("twice_host", {4});
  host.Include(part, 0);
  host.Include(part, Shifted(host, 0, 100));
  StreamState state(host, &kLiveFlags);
  Records const records = RunUntilIdle(state);
  EXPECT_EQ(state.attached.size(), 3u);
  EXPECT_EQ(Count(records, Tag::LiveInclusion), 3u);
  EXPECT_EQ(Count(records, Tag::Instance), 4u);  // 1 of the host, 3 of the part
  EXPECT_EQ(state.counters.instances_sent, 7u);  // every item counts as sent
}

// A sink whose connection is gone: every write throws.
class ThrowingSink : public RecordingSink {
 public:
  bool Write(uint8_t*, size_t) override { throw std::runtime_error("connection reset"); }
};

// A sink that throws leaves the state out of its pass: the next pass runs
// instead of failing as a recursive call.
TEST_F(Attach, SinkThatThrowsLeavesTheStateUsable) {
  Model model = GridModel("throws", {4, 4});
  StreamState state(model, &kLiveFlags);
  ThrowingSink throwing;
  throwing.chunk_size = 0x20000;
  StreamRequest request;
  for (RequestKind kind : {RequestKind::Version, RequestKind::Stream}) {  // VERSION writes only its T
    request.kind = kind;
    EXPECT_THROW(state.Stream(throwing, request), std::runtime_error);
    EXPECT_FALSE(state.bits.in_stream);
  }
  EXPECT_NO_THROW(Pass(state, RequestKind::Stream));
}

TEST_F(Attach, WeightComesFromTheMeshNotFromWhatTheInstanceShows) {
  Model model = GridModel("weight", {4}, true, 2);  // the instance shows lines only
  StreamState state(model, &kLiveFlags);
  Pass(state, RequestKind::Stream);
  ASSERT_NE(ItemOf(state, model, 1), nullptr);
  EXPECT_EQ(ItemOf(state, model, 1)->flags.classes, 2u);
  EXPECT_FLOAT_EQ(ItemOf(state, model, 1)->weight, 1.0f);
}

TEST_F(Attach, DefaultViewCameraBecomesTheStreamsCamera) {
  Model model = Open("camera");
  model.Include(model, 0);
  View view;
  view.projection = 2;
  view.position = {0, 0, 10};
  view.up = {0, 1, 0};
  view.width = 4;
  view.height = 3;
  model.Impl().views.Insert(0, view);
  qx_test::TestMesh grid = qx_test::GridMesh(4);
  model.InsertInstance(model.InsertMesh(grid.Data()), 0, kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
  model.PrepareStream(1);
  StreamState state(model, &kLiveFlags);
  EXPECT_EQ(Count(Pass(state, RequestKind::Stream), Tag::Camera), 1u);
  EXPECT_EQ(state.view.projection, Projection::Orthographic);
  EXPECT_DOUBLE_EQ(state.view.position[2], 10.0);
  EXPECT_DOUBLE_EQ(state.view.view_width, 4.0);
}

}  // namespace
