#include "stream/StreamReader.h"

#include <cstdio>

#include "stream/ChunkCompression.h"
#include "stream/RecordSize.h"
#include "stream/WireTags.h"

namespace QX::Store {

namespace {

std::string Describe(RecordExtent const& extent, uint32_t tag, size_t remaining) {
  char text[160];
  switch (extent.status) {
    case RecordSizeStatus::UnknownTag:
      std::snprintf(text, sizeof text, "unknown record tag %u", tag);
      break;
    case RecordSizeStatus::ShortHead:
      std::snprintf(text, sizeof text, "record %u needs a head of %u bytes, %zu remain", tag,
                    extent.head, remaining);
      break;
    case RecordSizeStatus::BadCount:
      std::snprintf(text, sizeof text, "record %u has an invalid size %llu", tag,
                    static_cast<unsigned long long>(extent.size));
      break;
    case RecordSizeStatus::Ok:
      std::snprintf(text, sizeof text, "record %u of %llu bytes, %zu remain", tag,
                    static_cast<unsigned long long>(extent.size), remaining);
      break;
  }
  return text;
}

}  // namespace

StreamReader::StreamReader(std::span<uint8_t const> input, StreamReaderLimits limits)
    : limits_(limits) {
  Level top;
  top.data = input;
  levels_.push_back(std::move(top));
}

bool StreamReader::Fail(Level const& level, std::string const& what) {
  char where[96];
  if (level.expanded) {
    std::snprintf(where, sizeof where, " at byte %zu of the block expanded from offset %llu",
                  level.pos, static_cast<unsigned long long>(level.origin));
    error_offset_ = level.origin;
  } else {
    error_offset_ = level.origin + level.pos;
    std::snprintf(where, sizeof where, " at offset %llu",
                  static_cast<unsigned long long>(error_offset_));
  }
  error_ = what + where;
  levels_.clear();
  return false;
}

bool StreamReader::InsideCompressed() const {
  for (auto const& l : levels_)
    if (l.container == Container::Compressed) return true;
  return false;
}

bool StreamReader::InsideKeyed() const {
  for (auto const& l : levels_)
    if (l.container == Container::Keyed) return true;
  return false;
}

bool StreamReader::Next(StreamRecord& record) {
  while (!levels_.empty() && levels_.back().pos == levels_.back().data.size()) levels_.pop_back();
  if (levels_.empty()) return false;

  Level& level = levels_.back();
  std::span<uint8_t const> const rest = level.data.subspan(level.pos);
  RecordExtent const extent = MeasureRecord(rest);
  uint32_t const tag = rest.size() >= 4 ? GetU32(rest.data()) : 0;
  if (extent.status != RecordSizeStatus::Ok || extent.size > rest.size())
    return Fail(level, Describe(extent, tag, rest.size()));

  record.tag = tag;
  record.bytes = rest.first(size_t(extent.size));
  record.offset = level.expanded ? level.origin : level.origin + level.pos;
  record.depth = uint32_t(levels_.size() - 1);
  record.is_block = tag == Tag::Compressed || tag == Tag::KeyedBlock;

  bool const in_keyed = InsideKeyed();
  if (tag == Tag::KeyedData && !in_keyed) return Fail(level, "d record outside a D block");
  if (in_keyed && tag != Tag::KeyedData && tag != Tag::Compressed)
    return Fail(level, "record " + std::to_string(tag) + " inside a D block");
  if (!record.is_block) {
    level.pos += record.bytes.size();
    return true;
  }
  return Enter(level, record);
}

// Descends into a Z or D block; its records come next.
bool StreamReader::Enter(Level& level, StreamRecord const& record) {
  if (record.tag == Tag::Compressed) return EnterCompressed(level, record);
  if (levels_.size() > 1) return Fail(level, "D block inside another block");
  Level inner;
  inner.data = record.bytes.subspan(8);
  inner.container = Container::Keyed;
  inner.origin = level.origin + level.pos + 8;
  level.pos += record.bytes.size();
  if (!inner.data.empty()) levels_.push_back(std::move(inner));
  return true;
}

bool StreamReader::EnterCompressed(Level& level, StreamRecord const& record) {
  if (InsideCompressed()) return Fail(level, "Z block inside a Z block");
  uint8_t const* head = record.bytes.data();
  uint32_t const method = GetU32(head + 4);
  uint32_t const packed = GetU32(head + 8);
  uint32_t const expanded = GetU32(head + 12);
  std::span<uint8_t const> const data = record.bytes.subspan(16, packed);
  if (method != kMethodZstd && method != kMethodLz4)
    return Fail(level, "Z block of unknown method " + std::to_string(method));
  if (expanded > limits_.max_expanded || !PlausibleExpansion(method, data, expanded))
    return Fail(level, "Z block claims an implausible size " + std::to_string(expanded));

  Level inner;
  inner.owned.resize(expanded);
  if (!ExpandBlockData(method, data, inner.owned)) return Fail(level, "Z block doesn't expand");
  inner.data = inner.owned;
  inner.container = Container::Compressed;
  inner.origin = record.offset;
  inner.expanded = true;
  compressed_bytes_ += record.bytes.size();
  expanded_bytes_ += expanded;
  level.pos += record.bytes.size();
  if (!inner.data.empty()) levels_.push_back(std::move(inner));
  return true;
}

}  // namespace QX::Store
