// What decides the order of the stream: the camera's matrices, the bucket
// queue, and the priorities given to items with and without a camera.
#include "stream/Priorities.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/StreamRequest.h"
#include "stream/ViewState.h"

namespace QX::Store {
namespace {

// A camera at (0, 0, z) looking at the origin.
StreamRequest Request(StreamCamera& c, double code, double width = 10, double height = 10, double z = 10,
                      double aspect = 1) {
  c.projection = code;
  c.position[2] = z;
  c.up[1] = 1;
  c.width = width;
  c.height = height;
  StreamRequest r;
  r.camera = &c;
  r.aspect = aspect;
  return r;
}

// Without a camera, or with an unknown projection, only the screen is
// taken and the last projection stays; degenerate cameras give identities.
TEST(ViewState, UnknownAndDegenerateCameras) {
  ViewState v;
  StreamRequest screen;
  screen.screen_width = 800;
  screen.screen_height = 0.5;
  EXPECT_FALSE(v.Update(screen));
  EXPECT_EQ(v.screen_height, 1);
  StreamCamera camera;
  EXPECT_FALSE(v.Update(Request(camera, 7)));
  EXPECT_FALSE(v.frustum_valid);
  EXPECT_TRUE(v.Update(Request(camera, 1)));
  EXPECT_TRUE(v.Update(Request(camera, -5, 20)));
  EXPECT_EQ(v.projection, Projection::Orthographic);
  Matrix4f const identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  EXPECT_TRUE(v.Update(Request(camera, 0, 10, 10, 0)));  // at the target
  EXPECT_EQ(v.view_matrix, identity);
  EXPECT_TRUE(v.Update(Request(camera, 0, 0, 10)));  // no width
  EXPECT_EQ(v.projection_matrix, identity);
}

// Above bucket 0 each bucket is heapified when reached: priorities come out
// descending, and a new top bucket goes first while draining; bucket 0
// comes last, first in, first out. Items are told apart by address only.
TEST(PriorityBuckets, TakesBucketsFromTheTopExactlyAndBucketZeroInOrder) {
  PriorityBuckets q;
  q.SetRange(1000, 1);
  auto const item = [](uintptr_t n) { return reinterpret_cast<StreamInstance*>(n * 8); };
  auto const drain = [&] {
    std::vector<uintptr_t> out;
    for (PriorityEntry e; q.TakeNext(true, -1, e);) out.push_back(reinterpret_cast<uintptr_t>(e.item) / 8);
    return out;
  };
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> dist(1, 1000);
  std::vector<float> priority(501);
  for (uintptr_t i = 1; i <= 500; ++i) q.Push(item(i), priority[i] = i % 5 == 0 ? 0.5f : dist(rng));
  std::vector<uintptr_t> const out = drain();
  ASSERT_EQ(out.size(), 500u);
  for (size_t i = 1; i < 400; ++i) EXPECT_GE(priority[out[i - 1]], priority[out[i]]) << i;
  for (size_t i = 400; i < 500; ++i) EXPECT_EQ(out[i], (i - 399) * 5);

  for (auto [n, p] : {std::pair{1, 900.0f}, {2, 2.0f}, {3, 3.0f}}) q.Push(item(n), p);
  PriorityEntry e;
  ASSERT_TRUE(q.TakeNext(false, -1, e));
  q.Push(item(4), 800);
  q.Push(item(5), 2.5f);
  EXPECT_EQ(drain(), (std::vector<uintptr_t>{4, 3, 5, 2}));
}

// Items, each in a tree node of its own, seen without a camera or by one at
// (0, 0, 10) looking at the origin.
class PrioritiesTest : public ::testing::Test {
 protected:
  PrioritiesTest() { attached_.nodes.reserve(8); }

  StreamInstance* Add(float x, float z, float half, uint32_t classes = 1) {
    BoundingBox const box{x - half, -half, z - half, x + half, half, z + half};
    StreamInstance& item = items_.emplace_back();
    SetShape(item, box);
    item.bounds = box;
    item.flags.classes = classes;
    item.attached = &attached_;
    item.node = uint32_t(attached_.nodes.size());
    SetShape(attached_.nodes.emplace_back(), box);
    list_.push_back(&item);
    return &item;
  }

  // The items in the order the queue gives them.
  std::vector<StreamInstance*> Order(bool culled, bool mark_all = false) {
    ++view_.frame_serial;
    BuildPriorities(view_, culled, mark_all, list_, &queue_);
    std::vector<StreamInstance*> out;
    PriorityEntry e;
    while (queue_.TakeNext(culled, view_.cutoff_priority, e)) out.push_back(e.item);
    return out;
  }

  ViewState view_;
  PriorityBuckets queue_;
  StreamAttachedModel attached_;
  std::deque<StreamInstance> items_;
  std::vector<StreamInstance*> list_;
};

using Items = std::vector<StreamInstance*>;

TEST_F(PrioritiesTest, OutsideAndTinyItemsEndTheQueueUnlessCulled) {
  StreamInstance* seen = Add(0, 0, 1);
  StreamInstance* behind = Add(0, 30, 1);
  StreamInstance* tiny = Add(2, 0, 0.01f);
  StreamCamera camera;
  ASSERT_TRUE(view_.Update(Request(camera, 0)));
  EXPECT_EQ(Order(false), Items{seen});
  EXPECT_EQ(behind->priority + tiny->priority, 0);
  Items const culled = Order(true);
  ASSERT_EQ(culled.size(), 3u);
  EXPECT_EQ(culled[0], seen);
  EXPECT_GT(tiny->priority, 0);
}

// Pinned items and, with a queue, marked ones are lifted above the others.
TEST_F(PrioritiesTest, PinnedAndMarkedItemsAreLiftedEvenFromZero) {
  StreamInstance* seen = Add(0, 0, 1);
  StreamInstance* other = Add(0, 30, 1);
  other->flags.pinned = 1;
  StreamCamera camera;
  ASSERT_TRUE(view_.Update(Request(camera, 0)));
  view_.cutoff_priority = 5;
  EXPECT_EQ(Order(false), (Items{other, seen}));
  EXPECT_EQ(view_.cutoff_priority, -1.0f);
  float const high = seen->priority;
  EXPECT_EQ(other->priority, high + 1);

  other->flags.pinned = 0;
  BuildPriorities(view_, false, true, list_, nullptr);
  EXPECT_EQ(other->priority, 0);
  EXPECT_EQ(Order(false, true), (Items{seen, other}));
  EXPECT_EQ(seen->priority, 2 * high + 1);
  EXPECT_EQ(other->priority, high + 1);
}

}  // namespace
}  // namespace QX::Store
