// A stream state before its first pass: what construction sets up, the
// control flags, limits and scales and what they invalidate, and the camera.
#include "stream/StreamState.h"

#include <cmath>

#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "tests/store/StoreFixture.h"

namespace QX::Store {
namespace {

uint32_t const kStandAlone = ControlFlag::StandAlone;

class StreamStateTest : public qx_store_test::StoreTest {
 protected:
  StreamStateTest() : model_(Open("scene")) {}

  // The lines logged since the last call.
  std::vector<std::string> Logged() {
    std::vector<std::string> out(log.lines.begin() + long(seen_), log.lines.end());
    seen_ = log.lines.size();
    return out;
  }

  size_t seen_ = 0;
  Model model_;
};

// A live state runs an attachment thread, joined on destruction even with
// a request still waiting.
TEST_F(StreamStateTest, LiveStateRunsAndJoinsItsAttachmentThread) {
  auto state = std::make_unique<StreamState>(model_, nullptr);
  EXPECT_TRUE(state->attach_thread.joinable());
  AttachRequest extra;
  extra.name = "other";
  state->EnterAttachRequest(std::move(extra), 5, 6, 1);
  state.reset();
}

TEST_F(StreamStateTest, SettersLogWhatTheyTake) {
  StreamState state(model_, nullptr);
  Logged();
  for (uint32_t flags : {0x417u, 0x417u, kStandAlone, 0u, 0x3E8u}) state.SetControlFlags(flags);
  state.SetLimitMiB(0x3FFFFF);
  state.SetMeshLevel(3);
  for (float scale : {1.0f, -1.0f, 3.0f, std::nanf("")}) state.SetStreamCutoffScale(scale);
  EXPECT_EQ(Logged(), (std::vector<std::string>{
                          "StreamState::SetControlFlags: StreamCulled, StreamKeyedDataOnIdle, "
                          "NoStreamLimit, AggressiveCompression",
                          "StreamState::SetControlFlags:",
                          "StreamState::SetControlFlags: Default",
                          "StreamState::SetControlFlags: StreamInstancesOnDemand, "
                          "StreamModelBoundingPreviews, StreamInstanceBoundingPreviews, "
                          "StreamOnlyInterestingBoundingPreviews, StreamEjectedBoundingPreviews, "
                          "StreamSetupOnly",
                          "StreamState::SetLimitMiB: 4194303",
                          "StreamState::SetMeshLevel: 3",
                          "StreamState::SetStreamCutoffScale: 1.000000",
                          "StreamState::SetStreamCutoffScale: 0.000000",
                          "StreamState::SetStreamCutoffScale: 2.000000",
                          "StreamState::SetStreamCutoffScale: 0.000000"}));
  EXPECT_TRUE(state.bits.mesh_level_changed);
  EXPECT_EQ(state.view.cutoff_scale, 0.0f);
}

TEST_F(StreamStateTest, OnlySomeChangesInvalidate) {
  StreamState state(model_, &kStandAlone);
  // A cutoff scale of 1 changes nothing; others are clamped to [0, 2].
  state.SetStreamCutoffScale(1.0f);
  EXPECT_FALSE(state.bits.cutoff_changed);
  state.SetStreamCutoffScale(3.0f);
  EXPECT_EQ(state.view.cutoff_scale, 2.0f);
  EXPECT_TRUE(state.bits.cutoff_changed);
  // A mesh level change always drops the overrides; level 0 changes nothing.
  StreamInstance item;
  state.level_overrides[&item] = 2;
  state.SetMeshLevel(0);
  EXPECT_FALSE(state.bits.mesh_level_changed);
  EXPECT_TRUE(state.level_overrides.empty());
  state.SetControlFlags(kStandAlone | ControlFlag::NoStreamLimit | ControlFlag::AggressiveCompression |
                        ControlFlag::StreamSetupOnly);
  EXPECT_FALSE(state.bits.culling_changed || state.bits.model_previews_changed ||
               state.bits.instance_previews_changed || state.bits.ejected_previews_changed);
  state.SetControlFlags(state.control_flags | ControlFlag::StreamInstancesOnDemand);
  EXPECT_TRUE(state.bits.culling_changed);
  state.SetControlFlags(state.control_flags | ControlFlag::StreamModelBoundingPreviews |
                        ControlFlag::StreamInstanceBoundingPreviews | ControlFlag::StreamEjectedBoundingPreviews);
  EXPECT_TRUE(state.bits.model_previews_changed && state.bits.instance_previews_changed &&
              state.bits.ejected_previews_changed);

}

// The limit is a 32-bit product in KiB, less what is reserved.
TEST_F(StreamStateTest, LimitIsA32BitProductInKiB) {
  StreamState state(model_, &kStandAlone);
  struct Case {
    uint32_t mib;
    uint64_t reserved, limit, available;
  } const cases[] = {{0x3FFFFF, 0, 0xFFFFFC00u, 0xFFFFFC00u}, {0x400000, 0, 0, 0}, {1, 100, 1024, 924}, {1, 5000, 1024, 0}};
  for (Case const& c : cases) {
    state.budget.reserved = c.reserved;
    state.SetLimitMiB(c.mib);
    EXPECT_EQ(state.budget.limit, c.limit) << c.mib;
    EXPECT_EQ(state.budget.available, c.available) << c.mib;
  }
}

TEST_F(StreamStateTest, CameraChangeEmptiesTheQueueOfThePass) {
  StreamState state(model_, &kStandAlone);
  StreamAttachedModel attached;
  BoundingBox const box{-1, -1, -1, 1, 1, 1};
  SetShape(attached.nodes.emplace_back(), box);
  StreamInstance item;
  SetShape(item, box);
  item.flags.classes = 1;
  item.attached = &attached;
  StreamInstance* const list[] = {&item};
  state.BuildPriorities(false, list, &state.queue);
  EXPECT_EQ(state.queue.Count(), 1u);

  StreamCamera camera;
  camera.position[2] = 10;
  camera.up[1] = 1;
  camera.width = camera.height = 10;
  StreamRequest request;
  request.camera = &camera;
  EXPECT_TRUE(state.UpdateView(request));
  EXPECT_TRUE(state.queue.Empty());
  state.BuildPriorities(false, list, &state.queue);
  camera.position[2] = 10.0001;
  EXPECT_FALSE(state.UpdateView(request));
  EXPECT_EQ(state.queue.Count(), 1u);
}

}  // namespace
}  // namespace QX::Store
