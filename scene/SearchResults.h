#pragma once
// The keys found by SegmentKey::Find, in the order of the segment's
// entries. The results are a snapshot: they stay valid while the segment
// changes.
#include <memory>

#include "scene/Key.h"

namespace KZV {

class SearchResultsIterator {
 public:
  SearchResultsIterator() = default;
  bool IsValid() const { return keys_ && index_ < keys_->size(); }
  Key GetItem() const { return (*keys_)[index_]; }
  void Next() { ++index_; }

 private:
  friend class SearchResults;
  explicit SearchResultsIterator(std::shared_ptr<KeyArray const> keys) : keys_(std::move(keys)) {}
  std::shared_ptr<KeyArray const> keys_;
  size_t index_ = 0;
};

class SearchResults {
 public:
  SearchResults() = default;
  explicit SearchResults(KeyArray keys) : keys_(std::make_shared<KeyArray const>(std::move(keys))) {}
  size_t GetCount() const { return keys_ ? keys_->size() : 0; }
  SearchResultsIterator GetIterator() const { return SearchResultsIterator(keys_); }

 private:
  std::shared_ptr<KeyArray const> keys_;
};

}  // namespace KZV
