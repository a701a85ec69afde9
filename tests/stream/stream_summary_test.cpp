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

void Words(Bytes& out, std::initializer_list<uint32_t> words) {
  for (uint32_t w : words) PutU32(out, w);
}

void MeshDefinition(Bytes& out, uint32_t key, uint32_t material) {
  Words(out, {77, kModel, key, 0, 0, material, kNoKey, kNoKey, 0, 0, 0});
  for (int i = 0; i < 6; ++i) PutF32(out, float(i));
}

// One triangle, positions only: 40 + 3 × 12 + 8 (indices, padded) + 12.
void SmallMesh(Bytes& out, uint32_t key) {
  Words(out, {81, key, 0, 3, 3, 0, 0, 1, 0, 0});
  for (int i = 0; i < 9; ++i) PutF32(out, float(i));
  Words(out, {0x00010000, 0xFFFF0002, 0, 3, 0});
}

void Instance(Bytes& out, uint32_t key, uint32_t mesh, uint32_t matrix) {
  Words(out, {73, kInclusion, key, 0, 0xFFFFFFFF, 0xFFFFFFFF, mesh, matrix, kNoKey, kNoKey,
              kNoKey, 0, 0, 0, 0, 1, 0, 0});
}

Bytes SceneStream() {
  Bytes out;
  WriteStreamHead(out, kRootStreamModel);
  WriteModelContextRecord(out, kRootStreamModel);
  WriteBounds(out, BoundingBox{-1, -2, -3, 1, 2, 3}, 7);
  Words(out, {105, kInclusion, kModel, 0xFFFFFFFE});
  WriteModelContextRecord(out, kModel);
  Words(out, {83, 4, 0, 0, 0, 0});  // simple colour, material 4
  Words(out, {176, 2});
  for (int i = 0; i < 24; ++i) PutU32(out, 0);  // 12 doubles of zero
  MeshDefinition(out, 1, 4);
  SmallMesh(out, 1);
  Instance(out, 10, 1, 2);
  Instance(out, 11, 9, 2);  // mesh 9 was never defined
  WritePassEnd(out, 2, 0, 0);
  return out;
}

TEST(StreamSummary, CountsContentAndFindsUndefinedReferences) {
  Bytes const stream = SceneStream();
  StreamSummary const s = SummarizeStream(stream);
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
  std::string const text = FormatSummary(s);
  EXPECT_NE(text.find("unresolved references: 1"), std::string::npos);
}

TEST(StreamSummary, ReadsWhatTheOutputWroteInCompressedChunks) {
  Bytes scene = SceneStream();
  test::RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, ControlFlag::AggressiveCompression);
  for (int i = 0; i < 4; ++i) out.Buffer().insert(out.Buffer().end(), scene.begin(), scene.end());
  out.FlushChunk(0);
  StreamSummary const s = SummarizeStream(sink.Payloads());
  EXPECT_TRUE(s.error.empty()) << s.error;
  EXPECT_EQ(s.records_per_tag.at(90), 1u);
  EXPECT_EQ(s.expanded_bytes, 4 * scene.size());
  EXPECT_LT(s.compressed_bytes, s.expanded_bytes);
  EXPECT_EQ(s.instances, 8u);
}

TEST(StreamSummary, ReadsAStreamFile) {
  auto const path = std::filesystem::temp_directory_path() /
                    ("qx_inspect_" + std::to_string(::getpid()) + ".qxs");
  Bytes const scene = SceneStream();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<char const*>(scene.data()), std::streamsize(scene.size()));
  auto const summary = SummarizeStreamFile(DefaultFiles(), path);
  std::filesystem::remove(path);
  ASSERT_TRUE(summary.has_value());
  EXPECT_EQ(summary->input_bytes, scene.size());
  EXPECT_EQ(summary->instances, 2u);
  EXPECT_FALSE(SummarizeStreamFile(DefaultFiles(), path).has_value());
}

TEST(StreamSummary, ReportsRecordsWithoutContextAndReadErrors) {
  Bytes out;
  SmallMesh(out, 1);
  Words(out, {0xDEAD, 0});
  StreamSummary const s = SummarizeStream(out);
  EXPECT_EQ(s.dangling.size(), 2u);  // no context, and mesh 1 never defined
  EXPECT_NE(s.error.find("offset 96"), std::string::npos);
}

}  // namespace
}  // namespace QX::Store
