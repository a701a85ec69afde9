#pragma once
// The size of a stream record, told from its tag and the counts in its head.
#include <cstdint>
#include <span>

namespace QX::Store {

enum class RecordSizeStatus {
  Ok,          // `size` holds the record's length
  UnknownTag,  // no record has this tag
  ShortHead,   // fewer bytes remain than the record's fixed head
  BadCount,    // the head's counts give no valid length
};

struct RecordExtent {
  RecordSizeStatus status = RecordSizeStatus::Ok;
  uint64_t size = 0;  // whole record length, padding included (when Ok)
  uint32_t head = 0;  // length of the fixed head that was needed
};

// Measures the record that begins at `rest`. Counts are taken in 64 bits,
// so a hostile count gives a large size rather than a wrapped one.
RecordExtent MeasureRecord(std::span<uint8_t const> rest);

}  // namespace QX::Store
