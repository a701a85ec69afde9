#include "stream/Priorities.h"

#include <gtest/gtest.h>

#include <deque>

#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/StreamRequest.h"
#include "stream/ViewState.h"

namespace QX::Store {
namespace {

// A scene of items, each in a tree node of its own, seen by an optional
// camera at (0, 0, 10) looking at the origin.
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
    TreeNodeEntry& node = attached_.nodes.emplace_back();
    SetShape(node, box);
    list_.push_back(&item);
    return &item;
  }

  void Look(double projection_code) {
    StreamCamera camera;
    camera.projection = projection_code;
    camera.position[2] = 10;
    camera.up[1] = 1;
    camera.width = camera.height = 10;
    StreamRequest request;
    request.camera = &camera;
    request.aspect = 1;
    ASSERT_TRUE(view_.Update(request));
  }

  void Run(bool culled, bool mark_all = false) {
    ++view_.frame_serial;
    BuildPriorities(view_, culled, mark_all, list_, &queue_);
  }

  std::vector<StreamInstance*> Order(bool culled) {
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

TEST_F(PrioritiesTest, WithoutCameraTheLargerDiagonalGoesFirst) {
  StreamInstance* small = Add(0, 0, 0, 1);
  StreamInstance* large = Add(50, 0, 0, 1.2f);
  StreamInstance* hidden = Add(0, 0, 0, 100, 0);
  Run(false);
  EXPECT_EQ(small->priority, small->diagonal2);
  EXPECT_EQ(hidden->priority, 0);
  EXPECT_EQ(Order(false), (std::vector<StreamInstance*>{large, small}));
  EXPECT_EQ(queue_.Count(), 1u);  // the hidden one stays: priority 0 ends the queue
}

TEST_F(PrioritiesTest, OneItemFallsIntoTheTopBucket) {
  StreamInstance* only = Add(0, 0, 0, 1);
  Run(false);
  EXPECT_LT(queue_.Threshold(14), only->priority);
  EXPECT_EQ(queue_.Threshold(15), only->priority);
  EXPECT_EQ(Order(false), (std::vector<StreamInstance*>{only}));
}

TEST_F(PrioritiesTest, ItemsInHigherBucketsComeFirst) {
  std::vector<StreamInstance*> by_size;
  for (int i = 1; i <= 20; ++i) by_size.insert(by_size.begin(), Add(float(i) * 10, 0, 0, float(i)));
  Run(false);
  EXPECT_EQ(Order(false), by_size);
}

TEST_F(PrioritiesTest, OutsideItemsEndTheQueueUnlessCulled) {
  StreamInstance* seen = Add(0, 0, 0, 1);
  StreamInstance* behind = Add(0, 0, 30, 1);
  Look(0);
  Run(false);
  EXPECT_GT(seen->priority, 0);
  EXPECT_EQ(behind->priority, 0);
  EXPECT_EQ(Order(false), (std::vector<StreamInstance*>{seen}));

  Run(true);
  EXPECT_EQ(Order(true), (std::vector<StreamInstance*>{seen, behind}));
}

TEST_F(PrioritiesTest, TinyItemsFallBelowTheCutoffUnlessCulled) {
  StreamInstance* tiny = Add(0, 0, 0, 0.01f);
  Add(2, 0, 0, 1);
  Look(0);
  Run(false);
  EXPECT_EQ(tiny->priority, 0);
  Run(true);
  EXPECT_GT(tiny->priority, 0);
}

TEST_F(PrioritiesTest, CulledCameraThatSeesNothingFallsBackToSizes) {
  StreamInstance* a = Add(0, 0, 40, 1);
  StreamInstance* b = Add(0, 0, 50, 2);
  Look(0);
  Run(true);
  EXPECT_EQ(a->priority, a->diagonal2);
  EXPECT_EQ(Order(true), (std::vector<StreamInstance*>{b, a}));
}

TEST_F(PrioritiesTest, OrthographicIgnoresTheCentring) {
  StreamInstance* centre = Add(0, 0, 0, 0.5f);
  StreamInstance* edge = Add(4, 0, 0, 0.5f);
  Look(0);
  Run(false);
  EXPECT_GT(centre->priority, edge->priority * 1.5f);
  Look(1);
  Run(false);
  EXPECT_EQ(centre->priority, edge->priority);
}

TEST_F(PrioritiesTest, NodeTestsAreCachedPerFrame) {
  StreamInstance* item = Add(0, 0, 0, 1);
  Look(0);
  Run(false);
  EXPECT_GT(item->priority, 0);
  // A node already tested in this frame is taken as it stands.
  attached_.nodes[0].priority = 0;
  BuildPriorities(view_, false, false, list_, nullptr);
  EXPECT_EQ(item->priority, 0);
  ++view_.frame_serial;
  BuildPriorities(view_, false, false, list_, nullptr);
  EXPECT_GT(item->priority, 0);
}

TEST_F(PrioritiesTest, PinnedItemsAreLiftedEvenFromZero) {
  StreamInstance* seen = Add(0, 0, 0, 1);
  StreamInstance* pinned = Add(0, 0, 30, 1);
  pinned->flags.pinned = 1;
  Look(0);
  view_.cutoff_priority = 5;
  Run(false);
  EXPECT_EQ(view_.cutoff_priority, -1.0f);
  EXPECT_EQ(pinned->priority, seen->priority + 1);
  EXPECT_EQ(Order(false), (std::vector<StreamInstance*>{pinned, seen}));
}

TEST_F(PrioritiesTest, MarkAllLiftsEveryItemButOnlyWithAQueue) {
  StreamInstance* a = Add(0, 0, 0, 1);
  StreamInstance* b = Add(0, 0, 30, 1);
  Look(0);
  BuildPriorities(view_, false, true, list_, nullptr);
  EXPECT_EQ(b->priority, 0);
  float const high = a->priority;
  Run(false, true);
  EXPECT_EQ(a->priority, 2 * high + 1);
  EXPECT_EQ(b->priority, high + 1);
  EXPECT_EQ(Order(false), (std::vector<StreamInstance*>{a, b}));
}

}  // namespace
}  // namespace QX::Store
