// The summary of a stream: what it counts, the references it can't resolve,
// and streams read from compressed chunks, from files and broken ones.
#include "stream/StreamSummary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "files/FileSystem.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/StreamOutput.h"
#include "tests/stream/StreamRecords.h"

namespace QX::Store {
namespace {

uint32_t const kModel = 0xFFFFFFFD;
uint32_t const kInclusion = 0xFFFFFFFE;

void Append(Bytes& out, Bytes const& more) { out.insert(out.end(), more.begin(), more.end()); }

// One triangle, positions only: 40 + 3 × 12 + 8 (indices, padded) + 12.
Bytes SmallMesh(uint32_t key) {
  Bytes out = test::Words({81, key, 0, 3, 3, 0, 0, 1, 0, 0});
  for (int i = 0; i < 9; ++i) PutF32(out, float(i));
  Append(out, test::Words({0x00010000, 0xFFFF0002, 0, 3, 0}));
  return out;
}

Bytes Instance(uint32_t key, uint32_t mesh) {
  return test::Words({73, kInclusion, key, 0, 0xFFFFFFFF, 0xFFFFFFFF, mesh, 2, kNoKey, kNoKey, kNoKey, 0, 0, 0, 0, 1,
                      0, 0});
}

// A scene with one material, matrix, mesh and two instances, the second of
// a mesh never defined.
Bytes SceneStream() {
  Bytes out;
  WriteStreamHead(out, kRootStreamModel);
  WriteModelContextRecord(out, kRootStreamModel);
  WriteBounds(out, BoundingBox{-1, -2, -3, 1, 2, 3}, 7);
  Append(out, test::Words({105, kInclusion, kModel, 0xFFFFFFFE}));
  WriteModelContextRecord(out, kModel);
  Append(out, test::Words({83, 4, 0, 0, 0, 0}));  // simple colour, material 4
  Append(out, test::Words({176, 2}));
  out.resize(out.size() + 12 * 8, 0);  // the matrix: 12 doubles of zero
  Append(out, test::Words({77, kModel, 1, 0, 0, 4, kNoKey, kNoKey, 0, 0, 0}));
  for (int i = 0; i < 6; ++i) PutF32(out, float(i));
  Append(out, SmallMesh(1));
  Append(out, Instance(10, 1));
  Append(out, Instance(11, 9));
  WritePassEnd(out, 2, 0, 0);
  return out;
}

TEST(StreamSummary, CountsContentAndFindsUndefinedReferences) {
  StreamSummary const s = SummarizeStream(SceneStream());
  EXPECT_TRUE(s.error.empty()) << s.error;
  EXPECT_EQ(s.instances, 2u);
  EXPECT_EQ(s.mesh_definitions, 1u);
  EXPECT_EQ(s.mesh_records, 1u);
  EXPECT_EQ(s.triangles, 1u);
  EXPECT_EQ(s.records_per_tag.at(78), 2u);
  ASSERT_TRUE(s.bounds.has_value());
  EXPECT_EQ(s.bounds->max_z, 3.0f);
  EXPECT_EQ(s.bounds_weight, 7u);
  ASSERT_EQ(s.dangling.size(), 1u);
  EXPECT_NE(s.dangling[0].find("mesh 9 of stream model -3"), std::string::npos);
  EXPECT_NE(FormatSummary(s).find("unresolved references: 1"), std::string::npos);

  Bytes broken = SmallMesh(1);
  Append(broken, test::Words({0xDEAD, 0}));
  StreamSummary const b = SummarizeStream(broken);
  EXPECT_EQ(b.dangling.size(), 2u);  // no context, and mesh 1 never defined
  EXPECT_NE(b.error.find("offset 96"), std::string::npos);
}

TEST(StreamSummary, ReadsCompressedChunksAndFiles) {
  Bytes const scene = SceneStream();
  test::RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, ControlFlag::AggressiveCompression);
  for (int i = 0; i < 4; ++i) Append(out.Buffer(), scene);
  out.FlushChunk(0);
  StreamSummary const s = SummarizeStream(sink.Payloads());
  EXPECT_TRUE(s.error.empty()) << s.error;
  EXPECT_EQ(s.records_per_tag.at(90), 1u);
  EXPECT_EQ(s.expanded_bytes, 4 * scene.size());
  EXPECT_LT(s.compressed_bytes, s.expanded_bytes);
  EXPECT_EQ(s.instances, 8u);

  auto const path = std::filesystem::temp_directory_path() / ("qx_inspect_" + std::to_string(::getpid()) + ".qxs");
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<char const*>(scene.data()), long(scene.size()));
  auto const summary = SummarizeStreamFile(DefaultFiles(), path);
  std::filesystem::remove(path);
  ASSERT_TRUE(summary.has_value());
  EXPECT_EQ(summary->input_bytes, scene.size());
  EXPECT_EQ(summary->instances, 2u);
  EXPECT_FALSE(SummarizeStreamFile(DefaultFiles(), path).has_value());
}

}  // namespace
}  // namespace QX::Store
