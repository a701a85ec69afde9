// A live stream state under the conditions a server meets: sinks that die
// or throw, included models that are damaged or include each other, models
// included twice, and what the live form changes in the records.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using qx_store_test::ThrownText;

class LiveSafety : public LiveTest {};

// A sink that throws from its n-th Write on.
class ThrowingSink : public RecordingSink {
 public:
  bool Write(uint8_t* data, size_t size) override {
    if (++writes >= throw_from) throw std::runtime_error("connection reset");
    return RecordingSink::Write(data, size);
  }
  int writes = 0;
  int throw_from = 1;
};

TEST_F(LiveSafety, SinkThatThrowsLeavesTheStateUsable) {
  Model model = GridModel("throws", {4, 4});
  StreamState state(model, &kLiveFlags);
  ThrowingSink throwing;
  throwing.chunk_size = 0x20000;
  StreamRequest request;
  request.kind = RequestKind::Version;  // only the T of FinishPass is written
  EXPECT_THROW(state.Stream(throwing, request), std::runtime_error);
  EXPECT_FALSE(state.bits.in_stream);

  request.kind = RequestKind::Stream;
  throwing.writes = 0;
  EXPECT_THROW(state.Stream(throwing, request), std::runtime_error);
  EXPECT_FALSE(state.bits.in_stream);
  // Not "Stream() can not be called recursively.": the next pass runs.
  EXPECT_NO_THROW(Pass(state, RequestKind::Stream));
}

TEST_F(LiveSafety, WeightComesFromTheMeshNotFromWhatTheInstanceShows) {
  Model model = GridModel("weight", {4}, true, 2);  // the instance shows lines only
  StreamState state(model, &kLiveFlags);
  Pass(state, RequestKind::Stream);
  StreamInstance const* item = ItemOf(state, model, 1);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->flags.classes, 2u);
  EXPECT_FLOAT_EQ(item->weight, 1.0f);
}

TEST_F(LiveSafety, DefaultViewCameraBecomesTheStreamsCamera) {
  Model model = Open("camera");
  model.Include(model, 0);
  View view;
  view.projection = 2;
  view.position = {0, 0, 10};
  view.target = {0, 0, 0};
  view.up = {0, 1, 0};
  view.width = 4;
  view.height = 3;
  model.Impl().views.Insert(0, view);
  qx_test::TestMesh grid = qx_test::GridMesh(4);
  model.InsertInstance(model.InsertMesh(grid.Data()), 0, kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0,
                       {});
  model.PrepareStream(1);
  StreamState state(model, &kLiveFlags);
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Stream);
  EXPECT_EQ(Count(records, Tag::Camera), 1u);
  EXPECT_EQ(state.view.projection, Projection::Orthographic);
  EXPECT_DOUBLE_EQ(state.view.position[2], 10.0);
  EXPECT_DOUBLE_EQ(state.view.field_width, 4.0);
  EXPECT_DOUBLE_EQ(state.view.view_width, 4.0);
}

TEST_F(LiveSafety, IdleMarkerIsALiveTextInLiveMode) {
  Model model = GridModel("marker", {4});
  StreamState state(model, &kLiveFlags);
  RunUntilIdle(state);
  state.bits.idle_marker_wanted = true;
  std::vector<ReadRecord> const records = Pass(state, RequestKind::Stream);
  ASSERT_EQ(Count(records, Tag::LiveText), 1u);
  EXPECT_EQ(Count(records, Tag::Text), 0u);
  EXPECT_EQ(TextOf(Only(records, Tag::LiveText)[0]), "<IDLE_MARKER>");
}

TEST_F(LiveSafety, IncludeCycleEndsAtTheModelThatStartedIt) {
  Model a = GridModel("cycle_a", {4});
  Model b = GridModel("cycle_b", {5});
  a.Include(b, 0);
  b.Include(a, 0);
  StreamState state(a, &kLiveFlags);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  EXPECT_EQ(state.attached.size(), 2u);
  EXPECT_EQ(Count(records, Tag::Instance), 2u);
}

TEST_F(LiveSafety, ModelIncludedTwiceSendsItsInstancesOnce) {
  Model part = GridModel("twice_part", {4, 5, 6}, false);
  Model host = GridModel("twice_host", {4});
  double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 100, 0};
  host.Include(part, 0);
  host.Include(part, host.InsertMatrix(shift));
  StreamState state(host, &kLiveFlags);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  EXPECT_EQ(state.attached.size(), 3u);
  EXPECT_EQ(Count(records, Tag::LiveInclusion), 3u);
  EXPECT_EQ(Count(records, Tag::Instance), 4u);  // 1 of the host, 3 of the part
  EXPECT_EQ(state.counters.instances_sent, 7u);       // every item counts as sent
}

TEST_F(LiveSafety, DamagedIncludedModelBecomesAMissingModel) {
  {
    Model part = GridModel("damaged_part", {4}, false);
    Model host = GridModel("damaged_host", {4});
    host.Include(part, 0);
  }
  // Garbage where the part's digest was: opening it fails on the attachment thread.
  std::ofstream(FileOf("damaged_part", kDigestName), std::ios::binary | std::ios::trunc)
      << std::string(200, '\x7f');
  Model host = Open("damaged_host");
  StreamState state(host, &kLiveFlags);
  std::vector<ReadRecord> const records = RunUntilIdle(state);
  std::vector<ReadRecord> const texts = Only(records, Tag::LiveText);
  ASSERT_FALSE(texts.empty());
  EXPECT_TRUE(TextOf(texts[0]).starts_with("<MISSING_MODEL data="));
  EXPECT_EQ(Count(records, Tag::Instance), 1u);  // the host's own goes on
}

}  // namespace
