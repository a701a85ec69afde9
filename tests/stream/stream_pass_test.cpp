// Passes of a stream state: what each kind of request writes, how a pass
// ends, and the byte and memory budgets.
#include <regex>

#include "stream/AssetSending.h"
#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;
using qx_store_test::ThrownText;

constexpr uint32_t kFileFlags = ControlFlag::StreamCulled | ControlFlag::StreamKeyedDataOnIdle |
                                ControlFlag::NoStreamLimit | ControlFlag::AggressiveCompression |
                                ControlFlag::StandAlone;

using StreamPass = LiveTest;

TEST_F(StreamPass, VersionOnANewStateWritesOnlyItsEnd) {
  Model model = GridModel("v", {4});
  StreamState state(model, &kFileFlags);
  Records const records = Pass(state, RequestKind::Version, 9);
  EXPECT_EQ(TagsOf(records), std::vector<uint32_t>{Tag::PassEnd});
  EXPECT_EQ(records[0].Word(2), 9u);
  EXPECT_EQ(log.Count("Stream init."), 0);
  EXPECT_EQ(log.Count("i(0 0) d("), 1);
  EXPECT_TRUE(log.lines.back().ends_with(" VERSION -> E")) << log.lines.back();
}

TEST_F(StreamPass, FinishedStreamReportsIdleOnceThenStaysSilent) {
  Model model = GridModel("idle", {4, 5});
  StreamState state(model, &kFileFlags);
  Pass(state, RequestKind::Digest);
  EXPECT_EQ(Count(Pass(state, RequestKind::Stream), Tag::SmallMesh), 2u);
  EXPECT_EQ(sink.status, 0u);
  Records const idle = Pass(state, RequestKind::Stream);
  ASSERT_EQ(idle.size(), 1u);
  EXPECT_EQ(idle[0].Word(1), 2u);
  EXPECT_EQ(sink.status, 2u);
  std::regex const statistics(R"(i\(\d+ \d+\) d\(\d+ \d+\) b: \d+ Kb: \d+ bKib: \d+ mKib: \(\d+ \d+\) )"
                              R"(ms\(\d+ \d+ \d+\) \((\d+ ){10}\d+\) vs\(0 0\) T: \d+ F: \d+ STREAM -> I)");
  EXPECT_TRUE(std::regex_match(log.lines.back(), statistics)) << log.lines.back();
  EXPECT_TRUE(Pass(state, RequestKind::Stream).empty());
  EXPECT_TRUE(sink.chunks.empty());
  EXPECT_EQ(Pass(state, RequestKind::Stream, 4).size(), 1u);  // a request id always gets its answer
}

TEST_F(StreamPass, SetupOnlyStopsBeforeKeyedDataAndInstances) {
  Model model = GridModel("setup", {4});
  uint32_t const flags = kFileFlags | ControlFlag::StreamSetupOnly;
  StreamState state(model, &flags);
  Records const records = Pass(state, RequestKind::Digest);
  EXPECT_EQ(records.front().tag, Tag::Head);
  EXPECT_EQ(Count(records, Tag::Inclusion), 1u);
  EXPECT_GE(Count(records, Tag::Bounds), 1u);
  EXPECT_EQ(Count(records, Tag::Text) + Count(records, Tag::Instance), 0u);
  EXPECT_EQ(records.back().tag, Tag::PassEnd);
}

// A sink that calls back into its stream state once.
class ReenteringSink : public RecordingSink {
 public:
  bool Write(uint8_t* data, size_t size) override {
    if (StreamState* inner = std::exchange(state, nullptr)) inner->Stream(*this, StreamRequest{});
    return RecordingSink::Write(data, size);
  }
  StreamState* state = nullptr;
};

// A dead sink ends the pass in order, and a recursive call throws; either
// way the state takes the next pass.
TEST_F(StreamPass, DeadSinksAndRecursiveCallsLeaveTheStateUsable) {
  Model model = GridModel("dead", {4, 4, 4});
  StreamState state(model, &kFileFlags);
  sink.alive = false;
  Pass(state, RequestKind::Digest);
  EXPECT_EQ(sink.status, 1u);
  EXPECT_FALSE(state.bits.in_stream);
  EXPECT_TRUE(log.lines.back().ends_with(" DIGEST -> C")) << log.lines.back();
  sink.alive = true;

  ReenteringSink reentering;
  reentering.chunk_size = 0x20000;
  reentering.state = &state;
  StreamRequest request;
  request.kind = RequestKind::Digest;
  EXPECT_EQ(ThrownText([&] { state.Stream(reentering, request); }), "Stream() can not be called recursively.");
  EXPECT_FALSE(state.bits.in_stream);
  Pass(state, RequestKind::Stream);
  EXPECT_EQ(sink.status, 0u);
}

TEST_F(StreamPass, MeshLargerThanTheBudgetIsReportedAndItsInstanceStillSent) {
  Model model = GridModel("large", {330, 4});
  MeshRecord const* big = model.Impl().FindMesh(1);
  ASSERT_GT(big->stream_kib, 1024u);
  StreamState state(model, &kFileFlags);
  state.SetLimitMiB(1);
  Pass(state, RequestKind::Digest);
  Records const records = Pass(state, RequestKind::Stream);
  auto const missing = std::ranges::find_if(
      records, [](ReadRecord const& r) { return r.tag == Tag::Missing && r.Word(3) == 0x28000007u; });
  ASSERT_NE(missing, records.end());
  EXPECT_EQ(missing->Word(2), big->key);
  EXPECT_EQ(Count(records, Tag::LargeMesh), 0u);
  EXPECT_EQ(Count(records, Tag::SmallMesh), 1u);  // the small mesh fits
  EXPECT_EQ(state.counters.instances_sent, 2u);
  EXPECT_EQ(state.ejected_items.size(), 1u);
}

TEST_F(StreamPass, LimitedPassesStayWithinTheirByteBudgetAndFinish) {
  Model model = GridModel("live", {60, 61, 62, 63, 64, 65});
  uint32_t const flags = ControlFlag::StreamCulled | ControlFlag::StandAlone;
  StreamState state(model, &flags);
  Records all;
  int passes = 0;
  for (RequestKind kind : {RequestKind::Digest, RequestKind::Stream}) {
    do {
      ++passes;
      Records const records = Pass(state, kind);
      all.insert(all.end(), records.begin(), records.end());
      uint64_t largest = 0;
      for (Bytes const& chunk : sink.chunks) largest = std::max<uint64_t>(largest, chunk.size());
      EXPECT_LE(sink.bytes_sent, 0x40000u + 2 * largest);
    } while (sink.status == 0 && passes < 100);
  }
  EXPECT_GT(passes, 3);
  for (uint32_t tag : {Tag::Instance, Tag::MeshDef, Tag::SmallMesh}) EXPECT_EQ(Count(all, tag), 6u) << tag;
}

// Two meshes of some 600 KiB each under a limit of 1 MiB; the second
// instance is drawn larger, so it outranks the first once both are known.
TEST_F(StreamPass, ABetterMeshEvictsAResidentOne) {
  Model model = GridModel("evict", {200, 201});
  ModelImpl& impl = model.Impl();
  MeshRecord const& first = *impl.FindMesh(1);
  MeshRecord const& second = *impl.FindMesh(2);
  ASSERT_GT(first.stream_kib, 512u);
  ASSERT_LT(first.stream_kib, 1024u);
  StreamState state(model, &kFileFlags);
  state.SetLimitMiB(1);
  Pass(state, RequestKind::Digest);

  state.output.BeginPass(sink, state.control_flags);
  sink.chunks.clear();
  ++state.view.frame_serial;
  EXPECT_TRUE(SendMeshData(state, impl, first, ~uint64_t{0}, 1.0f));
  ++state.view.frame_serial;
  EXPECT_TRUE(SendMeshData(state, impl, second, ~uint64_t{0}, 2.0f));
  state.output.FlushChunk(0);
  state.output.EndPass();
  Records const ejected = Only(ReadRecords(sink.Payloads()), Tag::StateChange);
  ASSERT_FALSE(ejected.empty());
  EXPECT_EQ(ejected[0].Word(2), first.key);
  EXPECT_EQ(ejected[0].Word(3), 0x20000007u);
  EXPECT_EQ(state.budget.resident, second.stream_kib);
  EXPECT_EQ(state.budget.ejected, first.stream_kib);
  EXPECT_EQ(state.mesh_progress.at(&first).next_chunk, 0u);
}

}  // namespace
