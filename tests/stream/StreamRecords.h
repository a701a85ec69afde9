#pragma once
// Streams for tests: a sink that keeps its chunks, and a stream read back
// as records with the model context each stands in, blocks expanded.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "files/ByteOrder.h"
#include "stream/StreamReader.h"
#include "stream/Streamer.h"
#include "stream/WireTags.h"

namespace QX::Store::test {

class RecordingSink : public Streamer {
 public:
  bool Write(uint8_t* data, size_t size) override {
    chunks.emplace_back(data, data + size);
    return alive;
  }

  // The chunks without their reserves, laid end to end.
  Bytes Payloads() const {
    Bytes all;
    for (auto const& c : chunks) all.insert(all.end(), c.begin() + header_reserve, c.end() - footer_reserve);
    return all;
  }

  std::vector<Bytes> chunks;
  bool alive = true;
};

inline Bytes Words(std::initializer_list<uint32_t> words) {
  Bytes out;
  for (uint32_t w : words) PutU32(out, w);
  return out;
}

struct ReadRecord {
  uint32_t tag = 0;
  uint32_t context = kNoContext;
  Bytes bytes;
  uint32_t Word(size_t index) const { return GetU32(bytes.data() + 4 * index); }
};

inline std::vector<ReadRecord> ReadRecords(std::span<uint8_t const> stream) {
  std::vector<ReadRecord> records;
  StreamReader reader(stream);
  StreamRecord r;
  uint32_t context = kNoContext;
  while (reader.Next(r)) {
    if (r.is_block) continue;
    if (r.tag == Tag::Context) context = GetU32(r.bytes.data() + 4);
    records.push_back({r.tag, context, Bytes(r.bytes.begin(), r.bytes.end())});
  }
  EXPECT_FALSE(reader.Failed()) << reader.Error() << " at " << reader.ErrorOffset();
  return records;
}

// The tags of the records, without N.
inline std::vector<uint32_t> TagsOf(std::vector<ReadRecord> const& records) {
  std::vector<uint32_t> tags;
  for (ReadRecord const& r : records)
    if (r.tag != Tag::Context) tags.push_back(r.tag);
  return tags;
}

}  // namespace QX::Store::test
