#pragma once
// A summary of a stream for people: what it holds, how well it compressed,
// and any record that refers to something the stream hadn't sent before it.
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

struct StreamSummary {
  std::map<uint32_t, uint64_t> records_per_tag;  // Z and D blocks included
  uint64_t records = 0;
  uint64_t instances = 0;
  uint64_t mesh_definitions = 0;
  uint64_t mesh_records = 0;  // Q and R
  uint64_t triangles = 0;
  uint64_t images = 0;
  uint64_t keyed_data = 0;
  std::optional<BoundingBox> bounds;  // from the last B
  uint32_t bounds_weight = 0;
  uint64_t input_bytes = 0;
  uint64_t compressed_bytes = 0;  // bytes of Z blocks
  uint64_t expanded_bytes = 0;    // what they expanded to
  std::vector<std::string> dangling;  // one line per unresolved reference
  std::string error;                  // empty if the whole input was read
};

class FileSystem;

StreamSummary SummarizeStream(std::span<uint8_t const> stream);
// Reads a whole .qxs file; an empty result if it can't be read.
std::optional<StreamSummary> SummarizeStreamFile(FileSystem& files,
                                                 std::filesystem::path const& path);
// The summary as lines of text.
std::string FormatSummary(StreamSummary const& summary);

}  // namespace QX::Store
