#pragma once
// A rough priority queue: sixteen buckets on a logarithmic scale between a
// low and a high priority. Only the highest bucket in use is kept as a heap;
// bucket 0 is first-in, first-out; the others stay unordered until reached.
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace QX::Store {

struct StreamInstance;

struct PriorityEntry {
  StreamInstance* item = nullptr;
  float priority = 0;
};

class PriorityBuckets {
 public:
  static constexpr int kBuckets = 16;

  // Starts with the range from 0 to the largest float.
  PriorityBuckets();

  // Empties the queue; the range stays.
  void Reset();
  // Spreads the thresholds between `low` and `high`.
  void SetRange(float high, float low);
  void Push(StreamInstance* item, float priority);

  // Takes the next entry into `out`, unless the queue is dry: empty, or its
  // next priority is 0 while culled items aren't streamed, or the next
  // priority is below `cutoff_priority`. Entries stay in a dry queue.
  bool TakeNext(bool stream_culled, float cutoff_priority, PriorityEntry& out);

  uint64_t Count() const { return count_; }
  bool Empty() const { return count_ == 0; }
  float Threshold(int bucket) const { return thresholds_[bucket]; }
  // The entries still waiting in a bucket, in no promised order.
  std::span<PriorityEntry const> Waiting(int bucket) const {
    std::span<PriorityEntry const> all(buckets_[bucket]);
    return bucket == 0 ? all.subspan(head_) : all;
  }

 private:
  PriorityEntry const& Peek();
  void Pop();

  uint64_t count_ = 0;
  uint64_t top_ = 0;   // highest bucket in use
  uint64_t head_ = 0;  // read position in bucket 0
  std::array<float, kBuckets> thresholds_{};
  std::array<std::vector<PriorityEntry>, kBuckets> buckets_;
};

}  // namespace QX::Store
