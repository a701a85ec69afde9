// What decides the order of the stream: the camera's matrices, the bucket
// queue, and the priorities given to items with and without a camera.
#include "stream/Priorities.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <numbers>
#include <random>

#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/StreamRequest.h"
#include "stream/ViewState.h"

namespace QX::Store {
namespace {

float At(Matrix4f const& m, int row, int col) { return m[col * 4 + row]; }

// A camera at (0, 0, z) looking at the origin.
StreamCamera Camera(double code, double width = 10, double height = 10, double z = 10) {
  StreamCamera c;
  c.projection = code;
  c.position[2] = z;
  c.up[1] = 1;
  c.width = width;
  c.height = height;
  return c;
}

StreamRequest Request(StreamCamera const* camera, double aspect = 1) {
  StreamRequest r;
  r.camera = camera;
  r.aspect = aspect;
  r.screen_width = 800;
  r.screen_height = 0.5;
  return r;
}

TEST(ViewState, ProjectionOfEachCamera) {
  float const any = NAN;
  struct Case {
    char const* what;
    StreamCamera camera;
    double aspect;
    float p00, p11, p22, p23, p32, p33;
  } const cases[] = {
      {"perspective", Camera(0, 2, 2), 1, 1, 1, -0.1f, -0.02f, -0.1f, 0},
      {"orthographic, aspect not given: 0.5625", Camera(1, 2, 2), 0, 0.5625f, 1, float(-0.01 * 0.1), -0.01f, 0, 1},
      {"orthographic, wide", Camera(1, 2, 2), 2, 1, 0.5f, any, any, any, any},
      {"stretched", Camera(2, 2, 4), 3, 1, 0.5f, any, any, any, any},
      {"position at the target", Camera(0, 10, 10, 0), 1, any, any, -1, any, any, any},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    ViewState v;
    ASSERT_TRUE(v.Update(Request(&c.camera, c.aspect)));
    float const want[] = {c.p00, c.p11, c.p22, c.p23, c.p32, c.p33};
    int const at[][2] = {{0, 0}, {1, 1}, {2, 2}, {2, 3}, {3, 2}, {3, 3}};
    for (int i = 0; i < 6; ++i) {
      if (!std::isnan(want[i])) {
        EXPECT_EQ(At(v.projection_matrix, at[i][0], at[i][1]), want[i]) << i;
      }
    }
  }
  ViewState v;
  StreamCamera const cam = Camera(0, 2, 2);
  v.Update(Request(&cam));
  EXPECT_EQ(v.view_matrix, (Matrix4f{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, -10, 1}));
  EXPECT_EQ(At(v.projection_matrix, 0, 1) + At(v.projection_matrix, 0, 2) + At(v.projection_matrix, 3, 0), 0.0f);
}

TEST(ViewState, DegenerateCamerasGiveIdentities) {
  Matrix4f const identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  ViewState at_target, flat;
  StreamCamera const still = Camera(0, 10, 10, 0), no_width = Camera(0, 0, 10);
  ASSERT_TRUE(at_target.Update(Request(&still)));
  EXPECT_EQ(at_target.view_matrix, identity);
  ASSERT_TRUE(flat.Update(Request(&no_width)));
  EXPECT_EQ(flat.projection_matrix, identity);
}

// Changes below 1e-4 keep the frustum; turns above ten degrees count.
TEST(ViewState, SmallChangesKeepTheFrustumAndTheSerial) {
  ViewState v;
  StreamCamera cam = Camera(0);
  ASSERT_TRUE(v.Update(Request(&cam)));
  EXPECT_EQ(v.view_serial, 1u);
  Matrix4f const before = v.view_matrix;
  cam.position[2] = 10.0005;
  EXPECT_FALSE(v.Update(Request(&cam)));
  EXPECT_EQ(v.view_matrix, before);
  for (double degrees : {5.0, 15.0}) {
    cam.position[0] = 10 * std::sin(degrees * std::numbers::pi / 180);
    cam.position[2] = 10 * std::cos(degrees * std::numbers::pi / 180);
    EXPECT_TRUE(v.Update(Request(&cam)));
    EXPECT_EQ(v.view_serial, degrees < 10 ? 1u : 2u);
  }
}

// Without a camera, or with an unknown projection, only the screen is taken.
TEST(ViewState, NoCameraOrUnknownProjectionKeepsTheLastOne) {
  ViewState v;
  EXPECT_FALSE(v.Update(Request(nullptr)));
  EXPECT_EQ(v.screen_width, 800);
  EXPECT_EQ(v.screen_height, 1);
  StreamCamera cam = Camera(7);
  EXPECT_FALSE(v.Update(Request(&cam)));
  EXPECT_EQ(v.projection, Projection::None);
  EXPECT_FALSE(v.frustum_valid);
  cam.projection = 1;
  EXPECT_TRUE(v.Update(Request(&cam)));
  cam.projection = -5;
  cam.width = 20;
  EXPECT_TRUE(v.Update(Request(&cam)));
  EXPECT_EQ(v.projection, Projection::Orthographic);
}

// Queue entries are told apart by address only; the queue never looks into them.
StreamInstance* Item(uintptr_t n) { return reinterpret_cast<StreamInstance*>(n * 8); }
uintptr_t Id(StreamInstance* item) { return reinterpret_cast<uintptr_t>(item) / 8; }

std::vector<uintptr_t> Drain(PriorityBuckets& q, bool culled = true, float cutoff = -1) {
  std::vector<uintptr_t> out;
  PriorityEntry e;
  while (q.TakeNext(culled, cutoff, e)) out.push_back(Id(e.item));
  return out;
}

TEST(PriorityBuckets, ThresholdsSpanTheLowerHalfOfTheLogRange) {
  PriorityBuckets q;
  q.SetRange(1e6f, 1.0f);
  EXPECT_EQ(q.Threshold(0), 1.0f);
  EXPECT_EQ(q.Threshold(15), 1e6f);
  EXPECT_NEAR(q.Threshold(1), std::pow(1e6, 3.0 / 31), 1e-3);
  EXPECT_NEAR(q.Threshold(14), std::pow(1e6, 16.0 / 31), 1.0);
  q.SetRange(0, 0);  // a zero low end becomes the smallest normal float
  EXPECT_EQ(q.Threshold(0), std::numeric_limits<float>::min());
}

// Above bucket 0 each bucket is heapified when reached: priorities come out
// descending; bucket 0 comes last, first in, first out.
TEST(PriorityBuckets, TakesBucketsFromTheTopExactlyAndBucketZeroInOrder) {
  PriorityBuckets q;
  q.SetRange(1000, 1);
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> dist(1, 1000);
  std::vector<float> priority(501);
  for (uintptr_t i = 1; i <= 500; ++i) q.Push(Item(i), priority[i] = i % 5 == 0 ? 0.5f : dist(rng));
  std::vector<uintptr_t> const out = Drain(q);
  ASSERT_EQ(out.size(), 500u);
  EXPECT_TRUE(q.Empty());
  for (size_t i = 1; i < 400; ++i) EXPECT_GE(priority[out[i - 1]], priority[out[i]]) << i;
  for (size_t i = 400; i < 500; ++i) EXPECT_EQ(out[i], (i - 399) * 5);

  // Reset keeps the range.
  q.Push(Item(1), 900);
  q.Reset();
  EXPECT_TRUE(q.Empty());
  EXPECT_EQ(q.Threshold(15), 1000.0f);
}

TEST(PriorityBuckets, NewTopBucketGoesFirstWhileDraining) {
  PriorityBuckets q;
  q.SetRange(1000, 1);
  q.Push(Item(1), 900);
  q.Push(Item(2), 2);
  q.Push(Item(3), 3);
  PriorityEntry e;
  ASSERT_TRUE(q.TakeNext(false, -1, e));
  EXPECT_EQ(Id(e.item), 1u);
  q.Push(Item(4), 800);
  q.Push(Item(5), 2.5f);
  EXPECT_EQ(Drain(q, false), (std::vector<uintptr_t>{4, 3, 5, 2}));
}

// Priority 0 ends the queue unless culled; culled, the cutoff still holds.
TEST(PriorityBuckets, RunsDryOnZeroUnlessCulledAndBelowTheCutoff) {
  PriorityBuckets q;
  q.SetRange(0.1f, 0);
  q.Push(Item(1), 0);
  q.Push(Item(2), 0);
  EXPECT_TRUE(Drain(q, false).empty());
  EXPECT_EQ(q.Count(), 2u);
  EXPECT_EQ(Drain(q), (std::vector<uintptr_t>{1, 2}));
  q.Push(Item(3), 0);  // bucket 0 was emptied on reaching its end
  EXPECT_EQ(Drain(q), std::vector<uintptr_t>{3});
  q.SetRange(10, 1);
  q.Push(Item(4), 5);
  EXPECT_TRUE(Drain(q, true, 6).empty());
  EXPECT_EQ(Drain(q, true, 5), std::vector<uintptr_t>{4});
}

// Items, each in a tree node of its own, seen by an optional camera at
// (0, 0, 10) looking at the origin.
class PrioritiesTest : public ::testing::Test {
 protected:
  PrioritiesTest() { attached_.nodes.reserve(64); }

  StreamInstance* Add(float x, float y, float z, float half, uint32_t classes = 1) {
    BoundingBox const box{x - half, y - half, z - half, x + half, y + half, z + half};
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

  void Look(double projection_code) {
    StreamCamera const camera = Camera(projection_code);
    ASSERT_TRUE(view_.Update(Request(&camera)));
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

TEST_F(PrioritiesTest, WithoutCameraTheLargerDiagonalGoesFirst) {
  Items by_size;
  for (int i = 1; i <= 20; ++i) by_size.insert(by_size.begin(), Add(float(i) * 10, 0, 0, float(i)));
  StreamInstance* hidden = Add(0, 0, 0, 100, 0);
  EXPECT_EQ(Order(false), by_size);
  EXPECT_EQ(by_size[0]->priority, by_size[0]->diagonal2);
  EXPECT_EQ(queue_.Threshold(15), by_size[0]->priority);
  EXPECT_EQ(hidden->priority, 0);
  EXPECT_EQ(queue_.Count(), 1u);  // the hidden one stays: priority 0 ends the queue
}

TEST_F(PrioritiesTest, OutsideAndTinyItemsEndTheQueueUnlessCulled) {
  StreamInstance* seen = Add(0, 0, 0, 1);
  StreamInstance* behind = Add(0, 0, 30, 1);
  StreamInstance* tiny = Add(2, 0, 0, 0.01f);
  Look(0);
  EXPECT_EQ(Order(false), Items{seen});
  EXPECT_EQ(behind->priority, 0);
  EXPECT_EQ(tiny->priority, 0);
  Items const culled = Order(true);
  ASSERT_EQ(culled.size(), 3u);
  EXPECT_EQ(culled[0], seen);
  EXPECT_GT(tiny->priority, 0);
}

TEST_F(PrioritiesTest, CulledCameraThatSeesNothingFallsBackToSizes) {
  StreamInstance* a = Add(0, 0, 40, 1);
  StreamInstance* b = Add(0, 0, 50, 2);
  Look(0);
  EXPECT_EQ(Order(true), (Items{b, a}));
  EXPECT_EQ(a->priority, a->diagonal2);
}

TEST_F(PrioritiesTest, OrthographicIgnoresTheCentring) {
  StreamInstance* centre = Add(0, 0, 0, 0.5f);
  StreamInstance* edge = Add(4, 0, 0, 0.5f);
  Look(0);
  Order(false);
  EXPECT_GT(centre->priority, edge->priority * 1.5f);
  Look(1);
  Order(false);
  EXPECT_EQ(centre->priority, edge->priority);
}

// A node already tested in this frame is taken as it stands.
TEST_F(PrioritiesTest, NodeTestsAreCachedPerFrame) {
  StreamInstance* item = Add(0, 0, 0, 1);
  Look(0);
  Order(false);
  EXPECT_GT(item->priority, 0);
  attached_.nodes[0].priority = 0;
  BuildPriorities(view_, false, false, list_, nullptr);
  EXPECT_EQ(item->priority, 0);
  ++view_.frame_serial;
  BuildPriorities(view_, false, false, list_, nullptr);
  EXPECT_GT(item->priority, 0);
}

// Pinned items and, with a queue, marked ones are lifted above the others.
TEST_F(PrioritiesTest, PinnedAndMarkedItemsAreLiftedEvenFromZero) {
  StreamInstance* seen = Add(0, 0, 0, 1);
  StreamInstance* pinned = Add(0, 0, 30, 1);
  pinned->flags.pinned = 1;
  Look(0);
  view_.cutoff_priority = 5;
  EXPECT_EQ(Order(false), (Items{pinned, seen}));
  EXPECT_EQ(view_.cutoff_priority, -1.0f);
  float const high = seen->priority;
  EXPECT_EQ(pinned->priority, high + 1);

  pinned->flags.pinned = 0;
  BuildPriorities(view_, false, true, list_, nullptr);
  EXPECT_EQ(pinned->priority, 0);
  EXPECT_EQ(Order(false, true), (Items{seen, pinned}));
  EXPECT_EQ(seen->priority, 2 * high + 1);
  EXPECT_EQ(pinned->priority, high + 1);
}

}  // namespace
}  // namespace QX::Store
