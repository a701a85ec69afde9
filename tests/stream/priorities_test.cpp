// What decides the order of the stream: the camera's matrices, the bucket
// queue, and the priorities given to items with and without a camera.
#include "stream/Priorities.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <numbers>
#include <optional>
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

// The scales of the projection for each kind of camera and aspect (0: not
// given), and its depth terms (2 2, 2 3, 3 2, 3 3) where they are fixed.
TEST(ViewState, ProjectionOfEachCamera) {
  struct Case {
    double code, width, height, aspect;
    float x_scale, y_scale;
    std::optional<std::array<float, 4>> depth;
  } const cases[] = {{0, 2, 2, 1, 1, 1, {{-0.1f, -0.02f, -0.1f, 0}}},
                     {1, 2, 2, 0, 0.5625f, 1, {{float(-0.01 * 0.1), -0.01f, 0, 1}}},
                     {1, 2, 2, 2, 1, 0.5f, {}},
                     {2, 2, 4, 3, 1, 0.5f, {}}};
  for (Case const& c : cases) {
    SCOPED_TRACE(testing::Message() << "code " << c.code << ", aspect " << c.aspect);
    ViewState v;
    StreamCamera camera;
    ASSERT_TRUE(v.Update(Request(camera, c.code, c.width, c.height, 10, c.aspect)));
    Matrix4f const& p = v.projection_matrix;
    EXPECT_EQ(p[0], c.x_scale);
    EXPECT_EQ(p[5], c.y_scale);
    if (c.depth) {
      EXPECT_EQ((std::array<float, 4>{p[10], p[14], p[11], p[15]}), *c.depth);
    }
    EXPECT_EQ(v.view_matrix, (Matrix4f{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, -10, 1}));
  }
}

// Changes under 1e-4 keep the frustum; turns above ten degrees count.
TEST(ViewState, SmallChangesKeepTheFrustumAndTheSerial) {
  ViewState v;
  StreamCamera camera;
  ASSERT_TRUE(v.Update(Request(camera, 0)));
  EXPECT_FALSE(v.Update(Request(camera, 0, 10, 10, 10.0005)));
  for (double degrees : {5.0, 15.0}) {
    camera.position[0] = 10 * std::sin(degrees * std::numbers::pi / 180);
    EXPECT_TRUE(v.Update(Request(camera, 0, 10, 10, 10 * std::cos(degrees * std::numbers::pi / 180))));
    EXPECT_EQ(v.view_serial, degrees < 10 ? 1u : 2u);
  }
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

// Priority 0 ends the queue unless culled; culled, the cutoff still holds.
TEST(PriorityBuckets, RunsDryOnZeroUnlessCulledAndBelowTheCutoff) {
  PriorityBuckets q;
  q.SetRange(0.1f, 0);
  StreamInstance items[2];
  q.Push(&items[0], 0);
  q.Push(&items[1], 0);
  PriorityEntry e;
  EXPECT_FALSE(q.TakeNext(false, -1, e));
  ASSERT_TRUE(q.TakeNext(true, -1, e));
  EXPECT_EQ(e.item, &items[0]);
  q.SetRange(10, 1);
  q.Push(&items[0], 5);
  EXPECT_FALSE(q.TakeNext(true, 6, e));
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

// A culled camera that sees nothing falls back to sizes; an orthographic
// one gives no weight to the centring.
TEST_F(PrioritiesTest, CamerasThatSeeNothingOrNoDepth) {
  StreamInstance* a = Add(0, 40, 1);
  StreamInstance* b = Add(0, 50, 2);
  StreamCamera camera;
  ASSERT_TRUE(view_.Update(Request(camera, 0)));
  EXPECT_EQ(Order(true), (Items{b, a}));
  EXPECT_EQ(a->priority, a->diagonal2);

  StreamInstance* centre = Add(0, 0, 0.5f);
  StreamInstance* edge = Add(4, 0, 0.5f);
  Order(false);
  EXPECT_GT(centre->priority, edge->priority * 1.5f);
  ASSERT_TRUE(view_.Update(Request(camera, 1)));
  Order(false);
  EXPECT_EQ(centre->priority, edge->priority);
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
