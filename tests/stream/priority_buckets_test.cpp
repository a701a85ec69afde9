#include "stream/PriorityBuckets.h"

#include <gtest/gtest.h>

#include <random>

namespace QX::Store {
namespace {

// Items are told apart by address only; the queue never looks into them.
StreamInstance* Item(uintptr_t n) { return reinterpret_cast<StreamInstance*>(n * 8); }
uintptr_t Id(StreamInstance* item) { return reinterpret_cast<uintptr_t>(item) / 8; }

std::vector<PriorityEntry> Drain(PriorityBuckets& q, bool culled = true, float cutoff = -1) {
  std::vector<PriorityEntry> out;
  PriorityEntry e;
  while (q.TakeNext(culled, cutoff, e)) out.push_back(e);
  return out;
}

TEST(PriorityBuckets, ThresholdsSpanTheLowerHalfOfTheLogRange) {
  PriorityBuckets q;
  q.SetRange(1e6f, 1.0f);
  EXPECT_EQ(q.Threshold(0), 1.0f);
  EXPECT_EQ(q.Threshold(15), 1e6f);
  EXPECT_NEAR(q.Threshold(1), std::pow(1e6, 3.0 / 31), 1e-3);
  EXPECT_NEAR(q.Threshold(14), std::pow(1e6, 16.0 / 31), 1.0);
  for (int k = 1; k < 15; ++k) EXPECT_LT(q.Threshold(k - 1), q.Threshold(k));
  // A zero low end becomes the smallest normal float.
  q.SetRange(0, 0);
  EXPECT_EQ(q.Threshold(0), std::numeric_limits<float>::min());
  EXPECT_EQ(q.Threshold(15), std::numeric_limits<float>::min());
}

TEST(PriorityBuckets, TakesBucketsFromTheTopExactlyAndBucketZeroInOrder) {
  PriorityBuckets q;
  q.SetRange(1000, 1);
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> dist(1, 1000);
  std::vector<float> pushed;
  for (uintptr_t i = 1; i <= 500; ++i) {
    float const p = i % 5 == 0 ? 0.5f : dist(rng);  // every fifth below the range
    pushed.push_back(p);
    q.Push(Item(i), p);
  }
  auto const out = Drain(q);
  ASSERT_EQ(out.size(), 500u);
  EXPECT_EQ(q.Count(), 0u);
  // Above bucket 0 each bucket is heapified when reached: descending order.
  for (size_t i = 1; i < 400; ++i) EXPECT_GE(out[i - 1].priority, out[i].priority) << i;
  // Bucket 0 last, first in, first out.
  for (size_t i = 400; i < 500; ++i) EXPECT_EQ(Id(out[i].item), (i - 399) * 5);
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
  auto const out = Drain(q, false);
  std::vector<uintptr_t> ids;
  for (auto const& x : out) ids.push_back(Id(x.item));
  EXPECT_EQ(ids, (std::vector<uintptr_t>{4, 3, 5, 2}));
}

TEST(PriorityBuckets, RunsDryOnZeroUnlessCulledAndBelowTheCutoff) {
  PriorityBuckets q;
  q.SetRange(0.1f, 0);
  q.Push(Item(1), 0);
  q.Push(Item(2), 0);
  PriorityEntry e;
  EXPECT_FALSE(q.TakeNext(false, -1, e));
  EXPECT_EQ(q.Count(), 2u);
  EXPECT_TRUE(q.TakeNext(true, -1, e));
  EXPECT_EQ(Id(e.item), 1u);
  EXPECT_TRUE(q.TakeNext(true, -1, e));
  EXPECT_EQ(Id(e.item), 2u);
  EXPECT_FALSE(q.TakeNext(true, -1, e));
  // Bucket 0 was emptied on reaching its end: new entries start afresh.
  q.Push(Item(3), 0);
  EXPECT_TRUE(q.TakeNext(true, -1, e));
  EXPECT_EQ(Id(e.item), 3u);

  q.SetRange(10, 1);
  q.Push(Item(4), 5);
  EXPECT_FALSE(q.TakeNext(true, 6, e));
  EXPECT_TRUE(q.TakeNext(true, 5, e));
}

TEST(PriorityBuckets, ResetEmptiesButKeepsTheRange) {
  PriorityBuckets q;
  q.SetRange(100, 1);
  for (uintptr_t i = 1; i < 10; ++i) q.Push(Item(i), float(i * 10));
  q.Reset();
  EXPECT_TRUE(q.Empty());
  EXPECT_EQ(q.Threshold(15), 100.0f);
  PriorityEntry e;
  EXPECT_FALSE(q.TakeNext(true, -1, e));
  q.Push(Item(42), 50);
  EXPECT_TRUE(q.TakeNext(true, -1, e));
  EXPECT_EQ(Id(e.item), 42u);
}

}  // namespace
}  // namespace QX::Store
