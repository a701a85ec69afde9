#include "stream/PriorityBuckets.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QX::Store {

namespace {

bool Lower(PriorityEntry const& a, PriorityEntry const& b) { return a.priority < b.priority; }

}  // namespace

PriorityBuckets::PriorityBuckets() { SetRange(std::numeric_limits<float>::max(), 0.0f); }

void PriorityBuckets::Reset() {
  for (auto& bucket : buckets_) bucket.clear();
  count_ = 0;
  top_ = 0;
  head_ = 0;
}

void PriorityBuckets::SetRange(float high, float low) {
  if (low == 0) {
    low = std::numeric_limits<float>::min();
    high = std::max(high, low);
  }
  // With a step of 1/31 of the log range, the fourteen thresholds above the
  // first cover the lower half; the upper half is all the last bucket.
  float const g = std::exp((std::log(high) - std::log(low)) * 0.032258064f);
  thresholds_[0] = low;
  thresholds_[1] = low * g * g * g;
  for (int k = 2; k < kBuckets - 1; ++k) thresholds_[k] = thresholds_[k - 1] * g;
  thresholds_[kBuckets - 1] = high;
}

void PriorityBuckets::Push(StreamInstance* item, float priority) {
  ++count_;
  uint64_t k = 0;
  while (k < kBuckets - 1 && priority >= thresholds_[k]) ++k;
  auto& bucket = buckets_[k];
  bucket.push_back({item, priority});
  if (k > top_)
    top_ = k;
  else if (k == top_ && k != 0)
    std::push_heap(bucket.begin(), bucket.end(), Lower);
}

PriorityEntry const& PriorityBuckets::Peek() {
  while (top_ != 0 && buckets_[top_].empty()) {
    --top_;
    auto& bucket = buckets_[top_];
    if (top_ != 0 && !bucket.empty()) std::make_heap(bucket.begin(), bucket.end(), Lower);
  }
  return top_ != 0 ? buckets_[top_].front() : buckets_[0][head_];
}

void PriorityBuckets::Pop() {
  --count_;
  if (top_ != 0) {
    auto& bucket = buckets_[top_];
    std::pop_heap(bucket.begin(), bucket.end(), Lower);
    bucket.pop_back();
    return;
  }
  if (++head_ == buckets_[0].size()) {
    buckets_[0].clear();
    head_ = 0;
  }
}

bool PriorityBuckets::TakeNext(bool stream_culled, float cutoff_priority, PriorityEntry& out) {
  if (count_ == 0) return false;
  PriorityEntry const& next = Peek();
  if (next.priority == 0 && !stream_culled) return false;
  if (!(next.priority >= cutoff_priority)) return false;
  out = next;
  Pop();
  return true;
}

}  // namespace QX::Store
