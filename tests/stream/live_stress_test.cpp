// Live passes while another thread keeps entering attach requests for the
// stream's own model, for models it includes, and for a damaged one: the
// attachment thread and the passes must never meet in a model.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/stream/LiveFixture.h"

namespace {

using namespace QX::Store;
using namespace QX::Store::test;

using LiveStress = LiveTest;

TEST_F(LiveStress, PassesRunWhileAttachRequestsArrive) {
  GridModel("stress_broken", {4}, false);  // closed at once, then damaged
  std::ofstream(FileOf("stress_broken", kDigestName), std::ios::binary | std::ios::trunc) << std::string(64, '\x55');
  Model leaf = GridModel("stress_leaf", {6, 7}, false);
  Model middle = GridModel("stress_middle", {5});
  middle.Include(leaf, 0);
  Model host = GridModel("stress_host", {4, 4, 4});
  host.Include(middle, 0);
  host.Include(leaf, Shifted(host, 0, 50));
  std::string const names[] = {PathOf("stress_host"), PathOf("stress_middle"), PathOf("stress_leaf"),
                               PathOf("stress_broken"), PathOf("stress_nowhere")};
  StreamState state(host, &kLiveFlags);
  constexpr uint32_t kRequests = 40;
  std::atomic<bool> entered{false};
  std::thread requester([&] {
    for (uint32_t i = 1; i <= kRequests; ++i) {
      AttachRequest request;
      request.name = names[i % std::size(names)];
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 20.0 * i, 0, 0};
      std::copy(std::begin(matrix), std::end(matrix), request.own_matrix.begin());
      state.EnterAttachRequest(std::move(request), i, 1000 + i, uint8_t(i % 2));
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    entered = true;
  });

  size_t instances = 0, missing = 0;
  StreamCamera camera;
  camera.position[2] = 100;
  camera.up[1] = 1;
  camera.width = camera.height = 100;
  for (int pass = 0; pass < 2000; ++pass) {
    camera.position[0] = camera.target[0] = 10.0 * (pass % 7);
    StreamRequest request;
    request.kind = RequestKind::Stream;
    request.camera = &camera;
    Records const records = Pass(state, request);
    instances += Count(records, Tag::Instance);
    for (ReadRecord const& text : Only(records, Tag::LiveText)) missing += TextOf(text).starts_with("<MISSING_MODEL");
    if (entered && sink.status == 2) break;
  }
  requester.join();
  EXPECT_EQ(sink.status, 2u);
  // The host's own 3, the middle's 1 and the leaf's 2: each model once.
  EXPECT_EQ(instances, 6u);
  // Every fifth request names the damaged model, every fifth no model at all.
  EXPECT_EQ(missing, 2 * kRequests / std::size(names));
  EXPECT_GT(state.attached.size(), kRequests / 2);
}

}  // namespace
