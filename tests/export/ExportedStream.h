#pragma once
// Exports a scene to a page and reads the page's stream back as records.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "export/HtmlExport.h"
#include "scene/KeyPath.h"
#include "scene/SegmentKey.h"
#include "stream/WireTags.h"
#include "tests/export/Base64Reference.h"
#include "tests/stream/StreamRecords.h"
#include "tests/support/TempDir.h"

namespace qx_test {

using QX::Store::test::ReadRecord;

// The stream that the export of the scene below `root` puts into its page;
// empty, with a failure, where the page holds no stream.
inline std::vector<uint8_t> ExportStream(KZV::SegmentKey const& root) {
  TempDir dir;
  WriteText(dir / "template.html", "<html><!-- QX_MODEL_DATA --></html>");
  KZV::HTML::File::Export(KZV::KeyPath({root}), (dir / "page.html").c_str(), (dir / "template.html").c_str());
  std::string const page = ReadText(dir / "page.html");
  EXPECT_TRUE(page.starts_with("<html>") && page.ends_with("</html>"));
  auto const stream = DecodeBase64(page.substr(6, page.size() - 13));
  EXPECT_TRUE(stream.has_value() && !stream->empty());
  return stream.value_or(std::vector<uint8_t>{});
}

inline std::vector<ReadRecord> ExportRecords(KZV::SegmentKey const& root) {
  return QX::Store::test::ReadRecords(ExportStream(root));
}

inline std::vector<ReadRecord> RecordsOf(std::vector<ReadRecord> records, uint32_t tag) {
  std::erase_if(records, [tag](ReadRecord const& r) { return r.tag != tag; });
  return records;
}

// One vertex of an indexed mesh record as a viewer sees it.
struct StreamVertex {
  float position[3];
  uint8_t color[4];  // 0 where the vertex has none
  auto operator<=>(StreamVertex const&) const = default;
};

// The vertices that the point indices of an indexed mesh record (Q) draw,
// in index order.
inline std::vector<StreamVertex> PointVertices(ReadRecord const& q) {
  uint32_t const flags = q.Word(2), faces = q.Word(4), lines = q.Word(5), points = q.Word(6);
  size_t const stride = 12 + (flags & 0x10000000 ? 12 : 0) + (flags & 0x20000000 ? 8 : 0) +
                        (flags & 0x40000000 ? 4 : 0);
  uint8_t const* const vertices = q.bytes.data() + 40;
  uint8_t const* const indices = vertices + q.Word(3) * stride;
  std::vector<StreamVertex> out;
  for (uint32_t i = faces + lines; i < faces + lines + points; ++i) {
    uint8_t const* v = vertices + size_t{QX::Store::GetU16(indices + 2 * i)} * stride;
    StreamVertex& vertex = out.emplace_back();
    std::memcpy(vertex.position, v, 12);
    if (flags & 0x40000000) std::memcpy(vertex.color, v + stride - 4, 4);
  }
  return out;
}

}  // namespace qx_test
