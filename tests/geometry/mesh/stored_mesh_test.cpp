#include "geometry/mesh/StoredMesh.h"

#include <gtest/gtest.h>

#include "MemoryFile.h"
#include "TestMesh.h"
#include "geometry/mesh/MeshRecord.h"
#include "store/Logger.h"

using namespace QX::Store;
using qx_test::MemoryFile;
using qx_test::TestMesh;

namespace {

std::vector<std::vector<uint32_t>> Lists(ElementList const& list) {
  std::vector<std::vector<uint32_t>> out;
  for (uint32_t i = 0; i < list.size(); ++i) out.emplace_back(list[i].begin(), list[i].end());
  return out;
}

void ExpectEqual(MeshData const& in, StoredMesh const& out) {
  EXPECT_EQ(std::vector<Point>(in.points, in.points + in.point_count), out.points);
  EXPECT_EQ(std::vector<Point>(in.normals, in.normals + in.normal_count), out.normals);
  EXPECT_EQ(std::vector<UV>(in.uvs, in.uvs + in.uv_count), out.uvs);
  EXPECT_EQ(std::vector<RGBA32>(in.colors, in.colors + in.color_count), out.colors);
  EXPECT_EQ(in.flags, out.flags);
  EXPECT_EQ(in.face_element_bits, out.face_element_bits);
  EXPECT_EQ(in.line_element_bits, out.line_element_bits);
  EXPECT_EQ(in.point_element_bits, out.point_element_bits);
  EXPECT_EQ(in.face_elements, Lists(out.face_elements));
  EXPECT_EQ(in.line_elements, Lists(out.line_elements));
  EXPECT_EQ(in.point_elements, Lists(out.point_elements));
}

TestMesh FullMesh() {
  TestMesh m;
  m.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  m.normals = {{0, 0, 1}};
  m.uvs = {{0, 0}, {1, 1}};
  m.colors = {{1, 2, 3, 4}};
  m.data.face_elements = {{0, 0, 0, 0, 1, 0, 1, 0, 2, 0, 0, 0}};
  m.data.line_elements = {{0, 1, 0xFFFFFFFF, 1, 2}, {}};
  m.data.point_elements = {{2}};
  m.data.face_element_bits = {7};
  m.data.point_element_bits = {1};
  m.data.flags = 0x4472 | 0x10 | 0x30000;
  return m;
}

}  // namespace

TEST(StoredMesh, ExactBytesOfSmallRecord) {
  TestMesh m;
  m.points = {{1, 0, 0}};
  m.data.flags = 0x12;
  m.data.line_element_bits = {9};
  m.data.line_elements = {{0}};
  MemoryFile file;
  MeshRecord record;
  WriteStoredMesh(file, m.Data(), record, nullptr);
  std::vector<uint8_t> const expected = {
      1, 0, 0, 0, 0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0,  // one point
      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,                    // no normals, uvs, colors
      0x12, 0, 0, 0, 1, 0, 0, 0,                             // flags, bit total
      0, 0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0, 0,                 // three bit lists
      0, 0, 0, 0,                                            // no face elements
      1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0,                    // one line element
      0, 0, 0, 0};                                           // no point elements
  EXPECT_EQ(expected, file.bytes);
}

// Every part of a mesh, and arrays above the writer's block size, read back
// as written; records are appended behind what the file holds. A cut or
// corrupt record reads as false.
TEST(StoredMesh, RoundTripsAndRefusesCutOrCorruptRecords) {
  TestMesh full = FullMesh();
  TestMesh big = qx_test::GridMesh(300);
  MemoryFile file;
  file.bytes.assign(5, 0xAA);
  StoredMesh out;
  for (TestMesh* mesh : {&big, &full}) {
    MeshRecord record;
    int64_t const end = file.Size();
    WriteStoredMesh(file, mesh->Data(), record, nullptr);
    EXPECT_EQ(end, record.stored_offset);
    ASSERT_TRUE(ReadStoredMesh(file, record, out));
    ExpectEqual(mesh->Data(), out);
  }
  MeshRecord record;
  file.bytes.clear();
  WriteStoredMesh(file, full.Data(), record, nullptr);
  std::vector<uint8_t> const whole = file.bytes;
  for (size_t size = 0; size < whole.size(); ++size) {
    file.bytes.assign(whole.begin(), whole.begin() + long(size));
    EXPECT_FALSE(ReadStoredMesh(file, record, out)) << size;
  }
  // A count far beyond the file is refused before anything is allocated.
  file.bytes = whole;
  file.bytes[3] = 0x7F;
  EXPECT_FALSE(ReadStoredMesh(file, record, out));

  MeshRecord no_data;  // stored_offset -1
  EXPECT_FALSE(ReadStoredMesh(file, no_data, out));
}

TEST(StoredMesh, FailedWriteIsLoggedAndThrown) {
  struct Lines : Logger {
    void Message(char const* text) override { seen.push_back(text); }
    std::vector<std::string> seen;
  } logger;
  TestMesh full = FullMesh();
  MemoryFile file;
  file.fail_writes = true;
  MeshRecord record;
  EXPECT_THROW(WriteStoredMesh(file, full.Data(), record, &logger), Exception);
  ASSERT_EQ(1u, logger.seen.size());
  EXPECT_EQ("Unable to write data: memory", logger.seen[0]);
  EXPECT_EQ(-1, record.stored_offset);
}
