// A stream state before its first pass: its attachment thread, and the
// setters of flags, limits, levels and scales.
#include "stream/StreamState.h"

#include <cmath>

#include "stream/ControlFlags.h"
#include "tests/store/StoreFixture.h"

namespace QX::Store {
namespace {

uint32_t const kStandAlone = ControlFlag::StandAlone;

class StreamStateTest : public qx_store_test::StoreTest {
 protected:
  StreamStateTest() : model_(Open("scene")) {}

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
  log.lines.clear();
  for (uint32_t flags : {0x417u, 0x417u, kStandAlone, 0u, 0x3E8u}) state.SetControlFlags(flags);
  state.SetLimitMiB(0x3FFFFF);
  StreamInstance item;
  state.level_overrides[&item] = 2;  // a new level drops every override
  state.SetMeshLevel(3);
  EXPECT_TRUE(state.level_overrides.empty());
  for (float scale : {1.0f, -1.0f, 3.0f, std::nanf("")}) state.SetStreamCutoffScale(scale);
  EXPECT_EQ(log.lines, (std::vector<std::string>{
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

// Only some changes invalidate what the next pass knows: a cutoff scale of
// 1, mesh level 0 and flags of compression and limits don't.
TEST_F(StreamStateTest, OnlySomeChangesInvalidate) {
  StreamState state(model_, &kStandAlone);
  state.SetStreamCutoffScale(1.0f);
  state.SetMeshLevel(0);
  state.SetControlFlags(kStandAlone | ControlFlag::NoStreamLimit | ControlFlag::AggressiveCompression |
                        ControlFlag::StreamSetupOnly);
  StateBits const& bits = state.bits;
  EXPECT_FALSE(bits.cutoff_changed || bits.mesh_level_changed || bits.culling_changed || bits.model_previews_changed ||
               bits.instance_previews_changed || bits.ejected_previews_changed);
  state.SetControlFlags(state.control_flags | ControlFlag::StreamInstancesOnDemand);
  EXPECT_TRUE(bits.culling_changed);
  state.SetControlFlags(state.control_flags | ControlFlag::StreamModelBoundingPreviews |
                        ControlFlag::StreamInstanceBoundingPreviews | ControlFlag::StreamEjectedBoundingPreviews);
  EXPECT_TRUE(bits.model_previews_changed && bits.instance_previews_changed && bits.ejected_previews_changed);
}

// The limit is a 32-bit product in KiB, less what is reserved.
TEST_F(StreamStateTest, LimitIsA32BitProductInKiB) {
  StreamState state(model_, &kStandAlone);
  struct Case {
    uint32_t mib;
    uint64_t reserved, limit, available;
  } const cases[] = {
      {0x3FFFFF, 0, 0xFFFFFC00u, 0xFFFFFC00u}, {0x400000, 0, 0, 0}, {1, 100, 1024, 924}, {1, 5000, 1024, 0}};
  for (Case const& c : cases) {
    state.budget.reserved = c.reserved;
    state.SetLimitMiB(c.mib);
    EXPECT_EQ(state.budget.limit, c.limit) << c.mib;
    EXPECT_EQ(state.budget.available, c.available) << c.mib;
  }
}

}  // namespace
}  // namespace QX::Store
