// The order of the stream: the bucket queue, and the order in which items
// seen by a camera come out of it.
#include "stream/Priorities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/StreamRequest.h"
#include "stream/ViewState.h"

namespace QX::Store {
namespace {

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

  q.Push(item(6), 5);  // below the cutoff: the queue is dry
  EXPECT_FALSE(q.TakeNext(true, 6, e));
}

// Items in tree nodes of their own, each a cube of half side `half` at
// (x, 0, z), seen by a perspective camera at (0, 0, 10) looking at the origin.
TEST(Priorities, QueueOrderOfItemsSeenByACamera) {
  struct Item {
    float x, z, half;
    bool pinned = false;
  };
  struct Case {
    char const* what;
    std::vector<Item> items;
    bool culled, mark_all;
    std::vector<size_t> order;
  } const cases[] = {
      {"items behind the camera or tiny end the queue", {{0, 0, 1}, {0, 30, 1}, {2, 0, 0.01f}}, false, false, {0}},
      {"culled, they follow the seen one", {{0, 0, 1}, {0, 30, 1}, {2, 0, 0.01f}}, true, false, {0, 2, 1}},
      {"culled and none seen: by size", {{0, 40, 1}, {0, 50, 2}}, true, false, {1, 0}},
      {"nearer the centre first", {{4, 0, 0.5f}, {0, 0, 0.5f}}, false, false, {1, 0}},
      {"pinned lifted even from zero", {{0, 0, 1}, {0, 30, 1, true}}, false, false, {1, 0}},
      {"all marked: lifted even from zero", {{0, 0, 1}, {0, 30, 1}}, false, true, {0, 1}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    StreamAttachedModel attached;
    attached.nodes.reserve(c.items.size());
    std::deque<StreamInstance> items;
    std::vector<StreamInstance*> list;
    for (Item const& i : c.items) {
      BoundingBox const box{i.x - i.half, -i.half, i.z - i.half, i.x + i.half, i.half, i.z + i.half};
      StreamInstance& item = items.emplace_back();
      SetShape(item, box);
      item.bounds = box;
      item.flags.classes = 1;
      item.flags.pinned = i.pinned;
      item.attached = &attached;
      item.node = uint32_t(attached.nodes.size());
      SetShape(attached.nodes.emplace_back(), box);
      list.push_back(&item);
    }
    StreamCamera camera;
    camera.position[2] = 10;
    camera.up[1] = 1;
    camera.width = camera.height = 10;
    StreamRequest request;
    request.camera = &camera;
    request.aspect = 1;
    ViewState view;
    ASSERT_TRUE(view.Update(request));
    view.cutoff_priority = 5;  // a new queue starts without a cutoff
    ++view.frame_serial;
    PriorityBuckets queue;
    BuildPriorities(view, c.culled, c.mark_all, list, &queue);
    std::vector<size_t> order;
    for (PriorityEntry e; queue.TakeNext(c.culled, view.cutoff_priority, e);) {
      order.push_back(size_t(std::ranges::find(list, e.item) - list.begin()));
    }
    EXPECT_EQ(order, c.order);
  }
}

}  // namespace
}  // namespace QX::Store
