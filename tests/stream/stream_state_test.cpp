// A stream state before its first pass: what construction sets up, the
// control flags, limits and scales and what they invalidate, and the camera.
#include "stream/StreamState.h"

#include <cmath>

#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "tests/store/StoreFixture.h"

namespace QX::Store {
namespace {

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

uint32_t const kStandAlone = ControlFlag::StandAlone;

TEST_F(StreamStateTest, ConstructionEntersTheModelUnderTheHost) {
  uint32_t const flags = kStandAlone;
  StreamState state(model_, &flags);
  EXPECT_EQ(state.main_model.Impl().id, kEmptyModelId);
  EXPECT_EQ(state.stream_model_ids.at(kEmptyModelId), kRootStreamModel);
  ASSERT_EQ(state.resolved.size(), 1u);
  AttachRequest const& request = state.resolved.front();
  EXPECT_TRUE(request.model == model_);
  EXPECT_EQ(request.group->attach_id, 0u);
  // The model includes nothing, so it stands as its own root, final at once.
  EXPECT_TRUE(request.root && request.matrix_final);
  EXPECT_EQ(request.matrix, kIdentityMatrix);
  EXPECT_TRUE(state.waiting.empty());
  EXPECT_FALSE(state.attach_thread.joinable());

  EXPECT_FALSE(state.bounds.Valid());
  EXPECT_EQ(state.view.cutoff_scale, 1.0f);
  EXPECT_EQ(state.view.cutoff_priority, -1.0f);
  EXPECT_EQ(state.budget.limit, ~uint64_t(0));
  EXPECT_TRUE(state.bits.faces_shown && state.bits.lines_shown && state.bits.points_shown);
  EXPECT_EQ(state.stream_model_ids.at(model_.Impl().id), 0xFFFFFFFDu);
  EXPECT_EQ(state.next_stream_model, 0xFFFFFFFCu);
  EXPECT_EQ(state.next_inclusion, 0xFFFFFFFEu);
}

TEST_F(StreamStateTest, LiveStateRunsAndJoinsItsAttachmentThread) {
  auto state = std::make_unique<StreamState>(model_, nullptr);
  EXPECT_TRUE(state->attach_thread.joinable());
  AttachRequest extra;
  extra.name = "other";
  state->EnterAttachRequest(std::move(extra), 5, 6, 1);
  state.reset();  // must not hang
}

TEST_F(StreamStateTest, ControlFlagsAreLoggedByName) {
  StreamState state(model_, nullptr);
  Logged();
  state.SetControlFlags(0x417);
  state.SetControlFlags(0x417);
  state.SetControlFlags(kStandAlone);
  state.SetControlFlags(0);
  state.SetControlFlags(0x3E8);
  EXPECT_EQ(Logged(),
            (std::vector<std::string>{
                "StreamState::SetControlFlags: StreamCulled, StreamKeyedDataOnIdle, "
                "NoStreamLimit, AggressiveCompression",
                "StreamState::SetControlFlags:",
                "StreamState::SetControlFlags: Default",
                "StreamState::SetControlFlags: StreamInstancesOnDemand, "
                "StreamModelBoundingPreviews, StreamInstanceBoundingPreviews, "
                "StreamOnlyInterestingBoundingPreviews, StreamEjectedBoundingPreviews, "
                "StreamSetupOnly"}));
}

TEST_F(StreamStateTest, OnlySomeFlagsInvalidate) {
  StreamState state(model_, &kStandAlone);
  state.SetControlFlags(kStandAlone | ControlFlag::NoStreamLimit |
                        ControlFlag::AggressiveCompression | ControlFlag::StreamSetupOnly);
  StateBits const untouched;
  EXPECT_FALSE(state.bits.culling_changed || state.bits.model_previews_changed ||
               state.bits.instance_previews_changed || state.bits.ejected_previews_changed);
  EXPECT_EQ(state.bits.cutoff_changed, untouched.cutoff_changed);

  state.SetControlFlags(state.control_flags | ControlFlag::StreamInstancesOnDemand);
  EXPECT_TRUE(state.bits.culling_changed);
  state.SetControlFlags(state.control_flags | ControlFlag::StreamModelBoundingPreviews |
                        ControlFlag::StreamInstanceBoundingPreviews |
                        ControlFlag::StreamEjectedBoundingPreviews);
  EXPECT_TRUE(state.bits.model_previews_changed);
  EXPECT_TRUE(state.bits.instance_previews_changed);
  EXPECT_TRUE(state.bits.ejected_previews_changed);
}

TEST_F(StreamStateTest, LimitIsA32BitProductInKiB) {
  StreamState state(model_, &kStandAlone);
  Logged();
  state.SetLimitMiB(0x3FFFFF);
  EXPECT_EQ(state.budget.limit, 0xFFFFFC00u);
  EXPECT_EQ(state.budget.available, 0xFFFFFC00u);
  state.SetLimitMiB(0x400000);
  EXPECT_EQ(state.budget.limit, 0u);
  state.budget.reserved = 100;
  state.SetLimitMiB(1);
  EXPECT_EQ(state.budget.available, 924u);
  state.budget.reserved = 5000;
  state.SetLimitMiB(1);
  EXPECT_EQ(state.budget.available, 0u);
  EXPECT_EQ(Logged().front(), "StreamState::SetLimitMiB: 4194303");
}

TEST_F(StreamStateTest, MeshLevelAlwaysClearsOverridesAndLogs) {
  StreamState state(model_, &kStandAlone);
  Logged();
  StreamInstance item;
  state.level_overrides[&item] = 2;
  state.SetMeshLevel(0);
  EXPECT_FALSE(state.bits.mesh_level_changed);
  EXPECT_TRUE(state.level_overrides.empty());
  state.SetMeshLevel(3);
  EXPECT_TRUE(state.bits.mesh_level_changed);
  EXPECT_EQ(state.mesh_level, 3u);
  EXPECT_EQ(Logged(), (std::vector<std::string>{"StreamState::SetMeshLevel: 0",
                                                "StreamState::SetMeshLevel: 3"}));
}

TEST_F(StreamStateTest, CutoffScaleIsClampedAndLogged) {
  StreamState state(model_, &kStandAlone);
  Logged();
  state.SetStreamCutoffScale(1.0f);
  EXPECT_FALSE(state.bits.cutoff_changed);
  state.SetStreamCutoffScale(-1.0f);
  EXPECT_EQ(state.view.cutoff_scale, 0.0f);
  EXPECT_TRUE(state.bits.cutoff_changed);
  state.SetStreamCutoffScale(3.0f);
  EXPECT_EQ(state.view.cutoff_scale, 2.0f);
  state.SetStreamCutoffScale(std::nanf(""));
  EXPECT_EQ(state.view.cutoff_scale, 0.0f);
  EXPECT_EQ(Logged(), (std::vector<std::string>{"StreamState::SetStreamCutoffScale: 1.000000",
                                                "StreamState::SetStreamCutoffScale: 0.000000",
                                                "StreamState::SetStreamCutoffScale: 2.000000",
                                                "StreamState::SetStreamCutoffScale: 0.000000"}));
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
