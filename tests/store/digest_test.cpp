// The digest: every record kind through a write and a read, the older record
// forms, read units and truncation, and what a damaged digest or a failed
// write does; and the records of the stream tocs.
#include <filesystem>
#include <random>

#include "files/DiskFile.h"
#include "store/DigestFormat.h"
#include "store/ImageRecord.h"
#include "store/StreamToc.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

bool Contains(std::vector<uint8_t> const& haystack, std::vector<uint8_t> const& needle) {
  return std::ranges::search(haystack, needle).begin() != haystack.end();
}

// The default objects that every model has, as a current digest writes them.
Put Defaults() {
  Put b;
  b.U32({86, 72, 107, 0, 1});
  b.U32({49, 1, 83, 1, 83, 0}).F32({1, 0, 1, 1});
  b.U32({49, 1, 176, 1, 176, 0}).F64({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
  return b.U32({49, 1, 100, 1, 100, 1, kMetadataType, 0}).I64({-1});
}

// A full material with every byte distinct from its neighbours.
std::vector<uint8_t> FullMaterialRecord(uint32_t tag, uint32_t key, size_t size) {
  Put b;
  b.U32({tag, key});
  for (size_t i = 8; i < size; ++i) b.data.push_back(uint8_t(i * 7 + 3));
  return b.data;
}

// One object of every kind, through the insertion operations where they
// belong to the store core, else straight into the tables. Fields are
// distinct, so that two swapped alike in writer and reader show in the bytes.
void FillEveryKind(ModelImpl& m) {
  m.views.Insert(1, View{.key = 1, .projection = 2, .position = {1, 2, 3}, .target = {4, 5, 6}, .up = {0, 0, 1},
                         .width = 10, .height = 20, .background_images = {1}, .background = {0.5f, -1, -1}});
  m.InsertMaterialMap({0, 1});
  m.material_maps.Insert(2, MaterialMap{{}, {0.1f, 0.2f, 0.3f}});
  m.poly_polygons.Insert(1, PolyPolygon{1, {2, 1}, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}});
  m.clip_regions.Insert(1, ClipRegion{1, {ClipLoop{{1}, 0, 1, 5}, ClipLoop{{1, 1}, 3, 0, 1}}});
  m.images.Insert(1, ImageRecord{.stored_offset = 0x0102030405ll, .content_hash = 0x1122334455667788ull, .toc = {},
                                 .key = 1, .format = 5});
  m.line_pattern_records.push_back(LinePattern{{1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11}});
  m.line_patterns.Insert(0, 0);
  m.InsertMaterial(Material{.textures = {TextureRef{1, 0, 3}}, .color = {0.25f, 0.5f, 0.75f, 1}, .environment = {1},
                            .mirror = 0.5f, .specular = -1, .gloss = -1, .line_pattern = 0});
  m.InsertMaterial(RGBAColor{0, 1, 0, 1});
  FullMaterial full;
  for (size_t i = 0; i < full.size(); ++i) full[i] = uint8_t(i ^ 0x5A);
  m.full_materials.push_back(full);
  m.materials.Insert(m.next.material++, MaterialEntry{0, MaterialKind::Full});
  m.mesh_records.push_back(MeshRecord{.stored_offset = 40, .content_hash = 99, .toc = {}, .duplicate_of = 11,
                                      .duplicate_matrix = 12, .key = 1, .face_material = 1, .line_material = 13,
                                      .point_material = 14, .face_material_map = 15, .line_material_map = 16,
                                      .point_material_map = 17, .stream_kib = 3, .bounds = {0, 0, 0, 1, 1, 1}});
  m.meshes.Insert(1, MeshEntry{uint32_t(m.mesh_records.size() - 1), MeshKind::Record});
  m.mesh_lists.push_back({0, 1});
  m.meshes.Insert(2, MeshEntry{0, MeshKind::List});
  m.attached_models.Insert(7, AttachedModel{7, 0.001, "../other", BoundingBox{-1, -1, -1, 1, 1, 1}});
  m.includes.Insert(1, IncludeRecord{1, 0, 0});
  m.includes.Insert(2, IncludeRecord{2, 7, 1});
  auto extension = std::make_unique<InstanceExtension>(1, InstanceExtensionData{{1, 2, 3, 4}, 9});
  m.instances.Insert(1, Instance{.key = 1, .mesh = 1, .matrix = 12345, .face_material = 1, .line_material = 21,
                                 .point_material = 22, .face_material_map = 23, .line_material_map = 24,
                                 .point_material_map = 25, .clip = 1, .flags = 7, .modifiers = 0x800, .bounds = {},
                                 .extension = std::move(extension)});
  m.instance_extension_count = 1;
  m.InsertMatrix(std::array<double, 12>{0.5, 0, 0, 0, 0.5, 0, 0, 0, 0.5, 1e-300, 2, 3}.data());
  m.keyed_data.Insert(2, KeyedData{12, 34, 2, 5});
  m.groups.Insert(1, GroupEntry{56, 24, 1, {}});
  m.instance_overrides.Insert(InstanceInc{2, 1}, InstanceOverride{{1, 2, 3}, {4, 5, 6}, 7, 1, 2});
  m.dirty = true;
}

using DigestTest = StoreTest;

// Each record and table entry against bytes worked out by hand from its
// layout, then read and written again to the same bytes: a mistake made
// alike in the writer and the reader would pass the round trip alone.
TEST_F(DigestTest, EveryKindHasTheBytesOfItsLayoutAndSurvivesAReopen) {
  Model model = Open("m");
  FillEveryKind(model.Impl());
  model = Model();
  auto const digest = FileBytes("m", kDigestName);
  struct Expected {
    char const* record;
    Put bytes;
  } const cases[] = {
      {"99 camera", Put().U32({99, 1, 2, 0}).F64({1, 2, 3, 4, 5, 6, 0, 0, 1, 10, 20})},
      {"80 background", Put().U32({80, 1}).F32({0.5f, -1, -1}).U32({1, 1})},
      {"65 material map of colours", Put().U32({65, 2, 1, 3}).F32({0.1f, 0.2f, 0.3f})},
      {"89 poly polygon", Put().U32({89, 1, 2, 3, 2, 1}).F32({0, 0, 0, 1, 0, 0, 0, 1, 0})},
      // Loops: (n, matrix, bits, keys); bit 0 from the first flag being 1, bit 1 from the second.
      {"121 clip region", Put().U32({121, 1, 52, 2, 1, 0, 1, 1, 2, 3, 2, 1, 1})},
      {"156 line pattern",
       Put().U32({156, 0}).U8({1, 2, 3, 4, 5, 6, 7, 8}).U32({3, 0}).U8({9, 10, 11}).Add(std::vector<uint8_t>(21, 0))},
      {"50 mesh list", Put().U32({50, 2, 2, 0, 0, 1})},
      {"77 mesh",
       Put().U32({77, 1}).I64({40}).U64({99}).U32({11, 12, 1, 13, 14, 15, 16, 17, 3}).F32({0, 0, 0, 1, 1, 1}).U32({0})},
      {"69 image", Put().U32({69, 1}).U64({0x1122334455667788ull}).U32({0, 5}).I64({0x0102030405ll})},
      {"73 instance", Put().U32({73, 1, 1, 12345, 1, 21, 22, 23, 24, 25, 1, 7, 0x800})},
      {"71 group", Put().U32({71, 1, 24, 0}).I64({56})},
      {"118 instance override", Put().U32({118, 2, 1, 1, 2, 3, 4, 5, 6, 7, 1, 2})},
      {"54 instance extension", Put().U32({54, 1}).F32({1, 2, 3, 4}).U32({9})},
  };
  for (Expected const& c : cases) EXPECT_TRUE(Contains(digest, c.bytes.data)) << c.record;
  Model again = Open("m");
  ModelImpl& m = again.Impl();
  EXPECT_FALSE(m.dirty);
  EXPECT_EQ(m.next.material, 4u);  // counters stand above the highest key read
  EXPECT_EQ(m.next.mesh, 3u);
  EXPECT_EQ(m.clip_regions.Find(1)->loops[0].second_flag, 0u);  // a flag is read back as 0 or 1
  EXPECT_EQ(m.clip_regions.Find(1)->loops[1].second_flag, 1u);
  m.WriteDigest();
  EXPECT_EQ(FileBytes("m", kDigestName), digest);
}

TEST_F(DigestTest, OlderRecordFormsAreReadAndWrittenInTheCurrentForm) {
  Put old;
  old.U32({86, 66, 107, 0, 1});
  old.U32({49, 1, 88, 1, 88, 0}).F32({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
  old.U32({49, 1, 83, 1, 83, 0}).F32({1, 0, 1, 1});
  old.U32({49, 1, 88, 1, 88, 4}).F32({2, 0, 0, 0, 2, 0, 0, 0, 2, 0.5f, 0, 0});
  old.U32({115, 1}).F32({1, 1, 1, 1, 0.5f, -1, -1}).U32({1, 1, 0, 0, 0, 0});
  auto const old_full = FullMaterialRecord(56, 2, 132);
  old.Add(old_full).U32({75, 3, 5}).Text("other");
  WriteDigest("m", old.U32({49, 1, 105, 1, 105, 1, 3, 4}).data);
  Open("m").Impl().WriteDigest();
  auto const now = FileBytes("m", kDigestName);
  EXPECT_EQ(std::vector<uint8_t>(now.begin(), now.begin() + 8), Put().U32({86, 72}).data);
  Put const material = Put().U32({165, 1}).F32({1, 1, 1, 1, 0.5f, -1, -1}).U32({1, 1, kNoKey, 0, 0, 0, 0});
  EXPECT_TRUE(Contains(now, material.data));
  Put full;
  full.U32({57, 2}).Add({old_full.begin() + 8, old_full.begin() + 108}).U32({0, 0, 0}).F32({1.0f});
  EXPECT_TRUE(Contains(now, full.Add({old_full.begin() + 108, old_full.end()}).data));
  // An attached model of the old form has no unit and no box.
  Put attached;
  attached.U32({55, 3}).F64({-1}).U32({5}).F32({FLT_MAX, FLT_MAX, FLT_MAX, -FLT_MAX, -FLT_MAX, -FLT_MAX});
  EXPECT_TRUE(Contains(now, attached.U32({0}).Text("other").data));
  Put matrices;
  matrices.U32({49, 2, 176, 2, 176, 0}).F64({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
  EXPECT_TRUE(Contains(now, matrices.U32({176, 4}).F64({2, 0, 0, 0, 2, 0, 0, 0, 2, 0.5, 0, 0}).data));
}

TEST_F(DigestTest, VersionRules) {
  WriteDigest("old", Put().U32({86, 65}).data);
  EXPECT_EQ(ThrownText([&] { Open("old"); }),
            "Version mismatched: " + FileOf("old", kDigestName).string() + "; Expected 72; Actual 65");
  Put newer = Defaults();
  newer.data[4] = 73;
  WriteDigest("new", newer.data);
  EXPECT_NO_THROW(Open("new"));
}

// A full material is kept byte for byte; a cut inside it is corrupt.
TEST_F(DigestTest, CutInsideARecordFailsAndBetweenRecordsOpens) {
  auto const record = FullMaterialRecord(57, 1, 148);
  auto const whole = Defaults().Add(record).data;
  WriteDigest("between", whole);
  Model model = Open("between");
  model.Impl().WriteDigest();
  EXPECT_TRUE(Contains(FileBytes("between", kDigestName), record));
  for (size_t cut : {whole.size() - 1, whole.size() - 146, whole.size() - 147, size_t(5)}) {
    std::string const name = "cut" + std::to_string(cut);
    WriteDigest(name, std::vector<uint8_t>(whole.begin(), whole.begin() + cut));
    EXPECT_EQ(ThrownText([&] { Open(name); }), "File corrupt: " + FileOf(name, kDigestName).string()) << cut;
  }
}

// Records cross the 1 MiB units in which the digest is read.
TEST_F(DigestTest, RecordsMayStraddleReadUnits) {
  Put big = Defaults();
  big.U32({55, 9}).F64({1}).U32({5}).F32({0, 0, 0, 1, 1, 1}).U32({0}).Text("ab/cd");
  big.U32({49, 1, 105, 1, 105, 1, 9, 0});
  uint32_t const polygons = 40000;  // 32 bytes each: well over 1 MiB
  for (uint32_t k = 1; k <= polygons; ++k) big.U32({89, k, 1, 1, 1}).F32({float(k), 0, 0});
  ASSERT_GT(big.data.size(), 0x100000u);
  WriteDigest("m", big.data);
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  EXPECT_EQ(m.poly_polygons.size(), polygons);
  EXPECT_EQ(m.poly_polygons.Find(polygons)->points[0].x, float(polygons));
  EXPECT_EQ(m.attached_models.Find(9)->path, "ab/cd");
}

// Damaged copies of a full digest either open or fail with the store's
// exception; none may read out of bounds or allocate without limit.
TEST_F(DigestTest, GarbledDigestsNeverCrash) {
  Model model = Open("m");
  FillEveryKind(model.Impl());
  model = Model();
  auto const whole = FileBytes("m", kDigestName);
  std::mt19937 random(20261122);
  for (int round = 0; round < 300; ++round) {
    std::vector<uint8_t> bytes = whole;
    bytes.resize(8 + random() % (bytes.size() - 7));
    for (int flips = 1 + random() % 4; flips > 0; --flips) {
      size_t const at = 8 + random() % (bytes.size() - 7);
      if (at < bytes.size()) bytes[at] = uint8_t(random() % 3 == 0 ? 0xFF : random());
    }
    std::string const name = "g" + std::to_string(round);
    WriteDigest(name, bytes);
    try {
      Open(name, true);
    } catch (Exception const&) {
    }
  }
}

// The first read unit ends exactly behind a whole record, and the file goes
// on with 1 to 3 bytes of a tag that the next read brings alone.
TEST_F(DigestTest, TagCutAfterAReadUnitIsCorrupt) {
  uint32_t const includes = (0x100000 - 16) / 16;
  Put whole;
  whole.U32({86, 72, 49, includes, 105, includes});
  for (uint32_t k = 1; k <= includes; ++k) whole.U32({105, k, 0, 0});
  ASSERT_EQ(whole.data.size(), 8u + 0x100000u);
  for (size_t tail = 1; tail <= 3; ++tail) {
    std::string const name = "tail" + std::to_string(tail);
    std::vector<uint8_t> bytes = whole.data;
    bytes.insert(bytes.end(), tail, 0xFF);
    WriteDigest(name, bytes);
    EXPECT_EQ(ThrownText([&] { Open(name); }), "File corrupt: " + FileOf(name, kDigestName).string()) << tail;
  }
}

TEST_F(DigestTest, DamagedDigestsFailWithTheirText) {
  std::string const corrupt = "File corrupt: ";
  struct Case {
    char const* name;
    Put tail;
    std::string prefix;
  } const cases[] = {
      {"tag", Put().U32({12345}), "Unexpected code: "},
      {"view_twice", Put().U32({107, 0, 1}), corrupt},
      {"default_view_unknown", Put().U32({107, 5, 0}), corrupt},
      {"camera_unknown", Put().U32({99, 5, 1, 0}).F64({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1}), corrupt},
      {"extension_unknown", Put().U32({54, 1, 0, 0, 0, 0, 1}), corrupt},
      {"attached_empty_path", Put().U32({75, 3, 0}), corrupt},
      {"background_huge", Put().U32({80, 0, 0, 0, 0, 0xFFFFFFFF}), corrupt},
      {"table_huge", Put().U32({49, 0xFFFFFFFF, 73, 0xFFFFFFFF, 73}), corrupt},
      {"polygon_lengths", Put().U32({89, 1, 1, 2, 1}).F32({0, 0, 0, 0, 0, 0}), corrupt},
      {"clip_size_short", Put().U32({121, 1, 16, 1}), corrupt},
      {"clip_loop_long", Put().U32({121, 1, 32, 1, 9, 0, 0, 1, 1, 1, 1}), corrupt},
      {"include_outdated", Put().U32({49, 1, 105, 1, 105, 1, 4, 0}), "Outdated includes found: "},
  };
  for (Case const& c : cases) {
    WriteDigest(c.name, Defaults().Add(c.tail.data).data);
    EXPECT_EQ(ThrownText([&] { Open(c.name); }), c.prefix + FileOf(c.name, kDigestName).string()) << c.name;
  }
  // A table of an unknown kind is a bare head.
  WriteDigest("unknown_table", Defaults().U32({49, 3, 1234, 3}).data);
  EXPECT_NO_THROW(Open("unknown_table"));
}

TEST_F(DigestTest, LargeTableIsWrittenInChunks) {
  uint32_t const limit = digest::ChunkLimit(104);
  Model model = Open("m");
  double const shift[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  for (uint32_t i = 0; i < limit; ++i) model.InsertMatrix(shift);  // with matrix 0: limit + 1
  model = Model();
  auto const bytes = FileBytes("m", kDigestName);
  auto const first = Put().U32({49, limit + 1, 176, limit}).data;
  auto const at = std::search(bytes.begin(), bytes.begin() + 1000, first.begin(), first.end());
  ASSERT_NE(at, bytes.begin() + 1000);
  auto const second = Put().U32({49, limit + 1, 176, 1, 176}).data;
  EXPECT_TRUE(std::equal(second.begin(), second.end(), at + 16 + size_t(limit) * 104));
  EXPECT_EQ(Open("m").Impl().matrices.size(), limit + 1u);
}

TEST_F(DigestTest, FailedWritesKeepTheOldDigest) {
  Model model = Open("m");
  model.InsertMatrix(std::array<double, 12>{}.data());
  model.Impl().WriteDigest();
  auto const before = FileBytes("m", kDigestName);
  model.InsertMatrix(std::array<double, 12>{}.data());
  files.fail_new_files = true;
  EXPECT_EQ(ThrownText([&] { model.Impl().WriteDigest(); }),
            "Unable to open file: " + FileOf("m", kDigestName).string());
  files.fail_new_files = false;
  EXPECT_EQ(FileBytes("m", kDigestName), before);
  EXPECT_FALSE(fs::exists(FileOf("m", "_digest.qxi_old")));
  EXPECT_TRUE(model.Impl().dirty);
  fs::remove(FileOf("m", kDigestName));
  EXPECT_EQ(ThrownText([&] { model.Impl().WriteDigest(); }), "Unable to rename: " + FileOf("m", kDigestName).string());
  EXPECT_EQ(log.Count("Unable to rename: "), 1);
}

// The records of the stream tocs of images and meshes.
std::vector<uint8_t> ImageTocRecord(uint32_t key, std::vector<ImageTocEntry> const& entries) {
  auto const head = EncodeImageTocHead(key, static_cast<uint32_t>(entries.size()));
  return Put().Add({head.begin(), head.end()}).Add(EncodeImageTocEntries(entries)).data;
}

TEST(StreamTocLayoutTest, ImageRecordBytesAreExact) {
  ImageTocEntry const entry{0x0102030405060708ull, 0x11, 2, 5, 0};
  std::vector<uint8_t> const record = ImageTocRecord(7, {entry});
  EXPECT_EQ(record, Put().U32({69, 7, 1}).U64({0x0102030405060708ull}).U32({0x11, 2, 5, 0}).data);
  EXPECT_EQ(DecodeImageTocEntry(record.data() + 12), entry);
  auto const head = EncodeMeshTocHead(0x01020304, 2, 5);
  EXPECT_EQ(std::vector<uint8_t>(head.begin(), head.end()), Put().U32({77, 0x01020304, 2, 5}).data);
}

class StreamTocTest : public StoreTest {
 protected:
  // Reads `content` as an image toc file, counting its records.
  TocReadResult ReadImages(std::vector<uint8_t> const& content) {
    qx_test::WriteText(dir / "toc", std::string(content.begin(), content.end()));
    DiskFile file(dir / "toc");
    file.OpenRead(false);
    records = 0;
    return ReadTocFile(file, buffer, kImageTocLayout, [&](TocRecord const&) { ++records; });
  }

  int records = 0;
  std::vector<uint8_t> buffer;
};

TEST_F(StreamTocTest, DamagedFilesAreRefused) {
  std::vector<uint8_t> const good = ImageTocRecord(1, {{0, 1, 2, 3, 0}});
  std::vector<uint8_t> wrong_tag = Put().Add(good).Add(ImageTocRecord(2, {})).data;
  wrong_tag[good.size()] = 77;
  EXPECT_EQ(ReadImages(wrong_tag), TocReadResult::UnexpectedCode);
  EXPECT_EQ(records, 1);  // the record before the damage was taken
  for (size_t cut : {size_t{2}, size_t{8}, good.size() - 1})
    EXPECT_EQ(ReadImages({good.begin(), good.begin() + std::ptrdiff_t(cut)}), TocReadResult::Corrupt) << cut;
  auto const huge = EncodeImageTocHead(9, 0xFFFFFFFFu);  // far more entries than bytes
  EXPECT_EQ(ReadImages({huge.begin(), huge.end()}), TocReadResult::Corrupt);
}

}  // namespace
}  // namespace qx_store_test
