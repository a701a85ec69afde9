#pragma once
// A sink that keeps every chunk it is given, for tests.
#include <vector>

#include "files/ByteOrder.h"
#include "stream/Streamer.h"

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
    for (auto const& c : chunks)
      all.insert(all.end(), c.begin() + header_reserve, c.end() - footer_reserve);
    return all;
  }

  std::vector<Bytes> chunks;
  bool alive = true;
};

}  // namespace QX::Store::test
