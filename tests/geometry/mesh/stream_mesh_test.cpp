#include "geometry/mesh/StreamMesh.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

#include "MemoryFile.h"
#include "TestMesh.h"
#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StoredMesh.h"

using namespace QX::Store;
using qx_test::MemoryFile;
using qx_test::TestMesh;

namespace {

constexpr uint32_t X = kNoIndex;

struct Bytes {
  std::vector<uint8_t> b;
  Bytes& U32(uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
    return *this;
  }
  Bytes& U16(uint16_t v) { return b.push_back(uint8_t(v)), b.push_back(uint8_t(v >> 8)), *this; }
  Bytes& F32(float v) { return U32(std::bit_cast<uint32_t>(v)); }
  Bytes& Point3(float x, float y, float z) { return F32(x).F32(y).F32(z); }
};

uint32_t U32At(std::vector<uint8_t> const& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24;
}

// The stored, stream and toc files of one model, and one scratch.
struct Encoder {
  MemoryFile stored, stream, toc;
  StoredMesh scratch;

  MeshRecord Encode(TestMesh& mesh, MeshKey key = 3, uint32_t effort = 1) {
    MeshRecord record;
    record.key = key;
    WriteStoredMesh(stored, mesh.Data(), record, nullptr);
    EncodeStreamMesh(stored, stream, toc, record, scratch, effort, nullptr);
    return record;
  }

  // All records of the mesh, decompressed.
  std::vector<uint8_t> Records(MeshRecord const& record) {
    std::vector<uint8_t> extra, out;
    EXPECT_TRUE(ReadStreamMesh(stream, record, extra, out));
    return out;
  }

  std::vector<std::array<double, 3>> Positions(MeshRecord const& record,
                                               std::array<uint64_t, 2>& split) {
    std::vector<std::array<double, 3>> positions;
    EXPECT_TRUE(ParseMeshPositions(Records(record), positions, split));
    return positions;
  }
};

std::vector<std::array<double, 3>> Expected(TestMesh const& mesh,
                                            std::vector<uint32_t> const& order) {
  std::vector<std::array<double, 3>> out;
  for (uint32_t i : order) out.push_back({mesh.points[i].x, mesh.points[i].y, mesh.points[i].z});
  return out;
}

TestMesh Triangle() {
  TestMesh m;
  m.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}};
  m.normals = {{0, 0, 1}, {0, 0, 1}};
  m.data.flags = 0x10 | 0x7 | 0x10000 | 0x4000;  // face normals; point colours unused
  m.data.face_elements = {{0, 0, 1, 1, 2, X}};
  return m;
}

// A mesh of n points and one point element using them all in order.
TestMesh PointCloud(uint32_t n, bool normals) {
  TestMesh m;
  m.data.flags = normals ? kPointNormals : 0;
  std::vector<uint32_t> words;
  for (uint32_t i = 0; i < n; ++i) {
    m.points.push_back({float(i), float(i % 7), -float(i)});
    words.push_back(i);
    if (normals) {
      m.normals.push_back({0, 0, float(i)});
      words.push_back(i);
    }
  }
  m.data.point_elements = {std::move(words)};
  return m;
}

std::vector<uint32_t> Kinds(MeshRecord const& r) {
  std::vector<uint32_t> kinds;
  for (auto const& e : r.toc) kinds.push_back(e.kind);
  return kinds;
}

}  // namespace

TEST(StreamMesh, IndexedRecordAndTocRecordBytes) {
  Encoder enc;
  TestMesh m = Triangle();
  MeshRecord const r = enc.Encode(m, 3);
  // Equal normal values weld into one vertex each; the unused point 3 goes.
  Bytes q;
  q.U32(81).U32(3).U32(0x10010017).U32(3).U32(3).U32(0).U32(0).U32(1).U32(0).U32(0);
  q.Point3(0, 0, 0).Point3(0, 0, 1);
  q.Point3(1, 0, 0).Point3(0, 0, 1);
  q.Point3(0, 1, 0).Point3(-1, -1, -1);
  q.U16(0).U16(1).U16(2).U16(0xFFFF);
  q.U32(0).U32(3).U32(0);
  EXPECT_EQ(q.b, enc.stream.bytes);
  ASSERT_EQ(1u, r.toc.size());
  EXPECT_EQ((MeshTocEntry{0, uint32_t(q.b.size()), kIndexedMeshKind}), r.toc[0]);
  EXPECT_EQ(1u, r.classes);
  EXPECT_EQ(0u, r.stream_kib);

  Bytes toc;
  toc.U32(77).U32(3).U32(1).U32(1).U32(0).U32(0).U32(uint32_t(q.b.size())).U32(1);
  EXPECT_EQ(toc.b, enc.toc.bytes);
  EXPECT_TRUE(enc.scratch.points.empty() && enc.scratch.work.empty());

  // A second pass leaves the mesh alone.
  MeshRecord again = r;
  EncodeStreamMesh(enc.stored, enc.stream, enc.toc, again, enc.scratch, 1, nullptr);
  EXPECT_EQ(q.b.size(), enc.stream.bytes.size());
  EXPECT_EQ(toc.b.size(), enc.toc.bytes.size());
}

TEST(StreamMesh, WeldingSharesByValueWithinAnElementOnly) {
  TestMesh m;
  m.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
  m.normals = {{0, 0, 1}, {0, 0, 1}, {0, 1, 0}};
  m.data.flags = kFaceNormals;
  m.data.face_elements = {
      {0, 0, 1, 0, 2, 0, 0, 1, 2, 0, 3, 0},  // point 0 twice, equal normal values
      {0, 2, 1, 0, 2, 0},                    // point 0 with another normal, new element
      {1, 0, 3, 0, 2, 0}};                   // equal attributes as element 1, new element
  Encoder enc;
  MeshRecord const r = enc.Encode(m);
  std::vector<uint8_t> const q = enc.Records(r);
  EXPECT_EQ(4u + 3u + 3u, U32At(q, 12));  // V
  std::array<uint64_t, 2> split{};
  EXPECT_EQ(Expected(m, {0, 1, 2, 0, 2, 3, 0, 1, 2, 1, 3, 2}), enc.Positions(r, split));
  EXPECT_EQ((std::array<uint64_t, 2>{12, 12}), split);

  // Different normal values on one point in one element: two vertices.
  m.data.face_elements = {{0, 0, 1, 0, 2, 0, 0, 2, 2, 0, 3, 0}};
  EXPECT_EQ(5u, U32At(enc.Records(enc.Encode(m)), 12));
}

TEST(StreamMesh, LineStripsSeparatorsAndCyclicBits) {
  TestMesh m;
  for (int i = 0; i < 7; ++i) m.points.push_back({float(i), 0, 0});
  m.data.flags = 0;
  m.data.line_elements = {{0, 1, 2, X, 3, 4}, {5}, {X, 6, 0, X}};
  m.data.line_element_bits = {9};
  m.data.point_elements = {{6}, {5}, {4}};
  m.data.point_element_bits = {1, 2};
  Encoder enc;
  MeshRecord const r = enc.Encode(m);
  EXPECT_EQ(6u, r.classes);
  std::array<uint64_t, 2> split{};
  EXPECT_EQ(Expected(m, {0, 1, 1, 2, 3, 4, 6, 0, 6, 5, 4}), enc.Positions(r, split));
  EXPECT_EQ((std::array<uint64_t, 2>{0, 8}), split);

  std::vector<uint8_t> const q = enc.Records(r);
  uint32_t const v = U32At(q, 12);
  size_t const table = 40 + size_t(v) * 12 + 12 * 2;  // 11 indices and the pad
  std::vector<uint32_t> entries;
  for (size_t at = table; at < q.size(); at += 4) entries.push_back(U32At(q, at));
  EXPECT_EQ((std::vector<uint32_t>{0, 6, 9, 6, 0, 9, 6, 2, 9,  //
                                   0, 1, 1, 1, 1, 2, 2, 1, 1}),
            entries);
}

TEST(StreamMesh, ColorsFillAndTheAlphaBitFollowWhatIsWritten) {
  TestMesh m;
  m.points = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
  m.colors = {{10, 20, 30, 255}, {0, 0, 0, 17}};
  m.data.flags = kPointColors;
  m.data.point_elements = {{0, 0, 1, X}};
  Encoder enc;
  std::vector<uint8_t> q = enc.Records(enc.Encode(m));
  EXPECT_EQ(0x40004000u, U32At(q, 8));
  Bytes vertices;
  vertices.Point3(0, 0, 0).U32(0xFF1E140A).Point3(1, 0, 0).U32(0xBF800000);
  EXPECT_TRUE(std::equal(vertices.b.begin(), vertices.b.end(), q.begin() + 40));

  m.data.point_elements = {{2, 1}};
  q = enc.Records(enc.Encode(m));
  EXPECT_EQ(0xC0004000u, U32At(q, 8));
}

TEST(StreamMesh, MeshesWithNothingToSendGetTheNoDataEntry) {
  TestMesh no_elements;
  no_elements.points = {{0, 0, 0}};
  TestMesh past_points;  // a word past the point array
  past_points.points = {{0, 0, 0}, {1, 1, 1}};
  past_points.data.face_elements = {{0, 1, 2}};
  TestMesh past_normals = Triangle();
  past_normals.data.face_elements = {{0, 0, 1, 0, 2, 2}};
  TestMesh cut_tuple = Triangle();
  cut_tuple.data.face_elements = {{0, 0, 1, 0, 2}};
  TestMesh no_points;
  no_points.data.point_elements = {{}};

  for (TestMesh* m : {&no_elements, &past_points, &past_normals, &cut_tuple, &no_points}) {
    Encoder enc;
    MeshRecord const r = enc.Encode(*m, 8);
    ASSERT_EQ(1u, r.toc.size());
    EXPECT_EQ(kNoDataTocEntry, r.toc[0]);
    EXPECT_EQ(0u, r.classes);
    EXPECT_TRUE(enc.stream.bytes.empty());
    Bytes toc;
    toc.U32(77).U32(8).U32(1).U32(0).U32(X).U32(X).U32(X).U32(0);
    EXPECT_EQ(toc.b, enc.toc.bytes);
    std::vector<uint8_t> extra, out;
    EXPECT_FALSE(ReadStreamMesh(enc.stream, r, extra, out));
  }

  // A duplicate or a mesh that failed insertion has no stored record.
  Encoder enc;
  MeshRecord r;
  EncodeStreamMesh(enc.stored, enc.stream, enc.toc, r, enc.scratch, 1, nullptr);
  EXPECT_EQ(kNoDataTocEntry, r.toc.at(0));
}

// Up to 65535 vertices a mesh is one indexed record; from 65536 on it is an
// expanded head and its chunks.
TEST(StreamMesh, SixteenBitIndicesUpTo65535Vertices) {
  for (uint32_t n : {65535u, 65536u}) {
    Encoder enc;
    TestMesh m = PointCloud(n, false);
    MeshRecord const r = enc.Encode(m);
    std::vector<uint32_t> const kinds = Kinds(r);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(n == 65535 ? kIndexedMeshKind : kExpandedHeaderKind, kinds[0]) << n;
    EXPECT_EQ(n == 65535, kinds.size() == 1) << n;
    EXPECT_EQ(4u, r.classes);
    MeshTocEntry const& large = r.toc.back();  // the head of an expanded mesh stays raw
    EXPECT_EQ(90, enc.stream.bytes[large.offset]);
  }
}

// Whole 24-byte vertices in equal chunks; the last takes the rest, up to one
// and a half chunks, rather than leaving a small one behind. The positions
// read back in order, and a cut or mislabelled chunk is refused.
TEST(StreamMesh, ExpandedChunksHoldWholeVerticesAndTheLastUpToOneAndAHalf) {
  uint32_t const n = 5461 * 13 + 2000;
  Encoder enc;
  TestMesh m = PointCloud(n, true);
  MeshRecord const r = enc.Encode(m);
  std::vector<uint32_t> const kinds = Kinds(r);
  EXPECT_EQ(std::vector<uint32_t>(kinds.size() - 1, kExpandedChunkKind),
            std::vector(kinds.begin() + 1, kinds.end()));
  std::vector<uint8_t> all = enc.Records(r);
  EXPECT_EQ(82u, U32At(all, 0));
  EXPECT_EQ(0x10001000u, U32At(all, 8));
  std::vector<uint32_t> chunk_sizes;
  for (size_t at = 44 + 12; at < all.size(); at += 12 + U32At(all, at + 8)) {
    EXPECT_EQ(114u, U32At(all, at));
    chunk_sizes.push_back(U32At(all, at + 8));
  }
  ASSERT_GT(chunk_sizes.size(), 2u);
  uint64_t total = 0, kib = 0;
  for (uint32_t size : chunk_sizes) {
    EXPECT_EQ(0u, size % 24);
    total += size;
    kib += (12 + size) >> 10;
  }
  EXPECT_EQ(uint64_t{n} * 24, total);
  EXPECT_EQ(std::vector<uint32_t>(chunk_sizes.size() - 1, chunk_sizes[0]),
            std::vector(chunk_sizes.begin(), chunk_sizes.end() - 1));
  EXPECT_GT(chunk_sizes.back(), chunk_sizes[0]);
  EXPECT_LE(chunk_sizes.back(), chunk_sizes[0] * 3 / 2);
  EXPECT_EQ(kib, r.stream_kib);  // each record adds its own size >> 10

  std::vector<uint32_t> order(n);
  for (uint32_t i = 0; i < n; ++i) order[i] = i;
  std::array<uint64_t, 2> split{};
  EXPECT_EQ(Expected(m, order), enc.Positions(r, split));
  EXPECT_EQ((std::array<uint64_t, 2>{0, 0}), split);
  std::vector<std::array<double, 3>> positions;
  EXPECT_FALSE(ParseMeshPositions({all.data(), all.size() - 12}, positions, split));
  all[56] = 81;  // first chunk's tag
  EXPECT_FALSE(ParseMeshPositions(all, positions, split));
}

TEST(StreamMesh, CorruptRecordsAreRefused) {
  Encoder enc;
  TestMesh m = Triangle();
  MeshRecord r = enc.Encode(m);
  std::vector<uint8_t> const q = enc.Records(r);
  std::vector<std::array<double, 3>> positions;
  std::array<uint64_t, 2> split{};
  for (size_t cut : {size_t(0), size_t(39), size_t(40 + 72)})
    EXPECT_FALSE(ParseMeshPositions({q.data(), cut}, positions, split)) << cut;
  std::vector<uint8_t> bad_index = q;
  bad_index[40 + 72 + 2] = 3;  // index 3 of 3 vertices
  EXPECT_FALSE(ParseMeshPositions(bad_index, positions, split));

  std::vector<uint8_t> extra, out;
  MeshRecord beyond = r;
  beyond.toc[0].offset = 100;
  EXPECT_FALSE(ReadStreamMesh(enc.stream, beyond, extra, out));
  enc.stream.bytes[0] = 7;
  EXPECT_FALSE(ReadStreamMesh(enc.stream, r, extra, out));
}

// An expanded head's counts promise positions that its bytes don't hold: it
// is refused before anything is reserved for them.
TEST(StreamMesh, ExpandedCountsBeyondTheRecordReserveNothing) {
  for (uint32_t count : {10000000u, 0xFFFFFFFFu}) {
    std::vector<uint8_t> head(44, 0);
    head[0] = 82;
    for (size_t field : {12, 16, 20})
      for (int i = 0; i < 4; ++i) head[field + i] = uint8_t(count >> (8 * i));
    std::vector<std::array<double, 3>> positions;
    std::array<uint64_t, 2> split{};
    EXPECT_FALSE(ParseMeshPositions(head, positions, split));
    EXPECT_LT(positions.capacity(), 1000u);
  }
}

// Stored records with a few bits flipped encode to the no-data entry or to
// records that parse.
TEST(StreamMesh, GarbledStoredRecordsEncodeSafelyOrNotAtAll) {
  TestMesh m = Triangle();
  m.uvs = {{0, 1}};
  m.colors = {{1, 2, 3, 4}};
  m.data.flags |= kLineUvs | kPointColors;
  m.data.line_elements = {{0, 0, 1, X, X, 2, 0, 3, 0}};
  m.data.point_elements = {{3, 0, 2, X}};
  m.data.point_element_bits = {5};
  Encoder clean;
  clean.Encode(m);
  std::mt19937 random(11);
  for (int round = 0; round < 400; ++round) {
    Encoder enc;
    enc.stored.bytes = clean.stored.bytes;
    for (int k = 0; k < 3; ++k) enc.stored.bytes[random() % enc.stored.bytes.size()] ^= uint8_t(1u << (random() % 8));
    MeshRecord r;
    r.stored_offset = 0;
    EncodeStreamMesh(enc.stored, enc.stream, enc.toc, r, enc.scratch, 1, nullptr);
    ASSERT_FALSE(r.toc.empty());
    std::array<uint64_t, 2> split{};
    EXPECT_TRUE(r.toc[0] == kNoDataTocEntry || !enc.Positions(r, split).empty()) << round;
  }
}
