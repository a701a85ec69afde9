#pragma once
// The table of every object kind of a model: a 32-bit key (or a key pair) to
// a value. Open addressing over a power-of-two slot array with the store's
// key hash; entries live in one vector in insertion order, so iteration is
// cheap and a table costs no allocation per entry.
#include <cstdint>
#include <utility>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

inline uint64_t TableHash(uint32_t key) { return KeyHash(key); }
inline uint64_t TableHash(IncludedKey key) {
  return KeyHash(key.include) ^ (KeyHash(key.key) * 0x9E3779B97F4A7C15ull);
}

template <class V, class K = uint32_t>
class KeyTable {
 public:
  struct Entry {
    K key;
    V value;
  };

  V* Find(K key) {
    uint32_t const slot = SlotOf(key);
    return slot == kEmpty ? nullptr : &entries_[slots_[slot] - 1].value;
  }
  V const* Find(K key) const { return const_cast<KeyTable*>(this)->Find(key); }
  bool Contains(K key) const { return Find(key) != nullptr; }

  // Adds the entry, or replaces the value of an existing key.
  V& Insert(K key, V value) {
    if (V* existing = Find(key)) return *existing = std::move(value);
    if ((entries_.size() + 1) * 2 > slots_.size()) Rehash(entries_.size() + 1);
    entries_.push_back(Entry{key, std::move(value)});
    Place(key, static_cast<uint32_t>(entries_.size()));
    return entries_.back().value;
  }

  // Makes room for `count` entries in all.
  void Reserve(size_t count) {
    entries_.reserve(count);
    if (count * 2 > slots_.size()) Rehash(count);
  }

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

 private:
  static constexpr uint32_t kEmpty = 0xFFFFFFFFu;

  // The slot that holds `key`, or kEmpty.
  uint32_t SlotOf(K key) const {
    if (slots_.empty()) return kEmpty;
    size_t const mask = slots_.size() - 1;
    for (size_t i = TableHash(key) & mask;; i = (i + 1) & mask) {
      if (slots_[i] == 0) return kEmpty;
      if (entries_[slots_[i] - 1].key == key) return static_cast<uint32_t>(i);
    }
  }

  void Place(K key, uint32_t entry_number) {
    size_t const mask = slots_.size() - 1;
    size_t i = TableHash(key) & mask;
    while (slots_[i] != 0) i = (i + 1) & mask;
    slots_[i] = entry_number;
  }

  void Rehash(size_t count) {
    size_t size = 16;
    while (size < count * 2) size *= 2;
    slots_.assign(size, 0);
    for (size_t i = 0; i < entries_.size(); ++i)
      Place(entries_[i].key, static_cast<uint32_t>(i + 1));
  }

  std::vector<Entry> entries_;
  std::vector<uint32_t> slots_;  // entry number + 1; 0 for an empty slot
};

}  // namespace QX::Store
