#include "geometry/image/StreamImage.h"

#include <gtest/gtest.h>
#include <stb_image.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>
#undef STB_IMAGE_WRITE_IMPLEMENTATION  // TestImages.h includes the header again

#include <map>
#include <string>

#include "TestImages.h"
#include "geometry/image/ImageBlock.h"
#include "geometry/image/ImageCodec.h"
#include "geometry/mesh/CompressedRecord.h"
#include "store/Logger.h"
#include "tests/geometry/mesh/MemoryFile.h"

namespace QX::Store {
namespace {

using test::Bytes;

uint32_t LoadU32(uint8_t const* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// A model in memory: stored images by key, the stream file, the toc records
// as they were written and the lines logged.
class FakeModel final : public StreamImageModel, public Logger {
 public:
  bool IsReadOnly() override { return read_only; }
  Logger* Log() override { return this; }
  void Message(char const* text) override { lines.emplace_back(text); }
  bool ReadImage(ImageRecord const& image, ImagePixels& out) override {
    auto found = stored.find(image.key);
    if (found == stored.end()) return false;
    out = found->second;
    return true;
  }
  File& StreamImages() override { return file; }
  void WriteImageToc(ImageRecord const& image) override { tocs.push_back({image.key, image.toc}); }

  // The bytes of one entry's block, unwrapped if it was compressed.
  Bytes Block(ImageTocEntry const& entry) {
    Bytes bytes(file.bytes.begin() + long(entry.offset), file.bytes.begin() + long(entry.offset + entry.size));
    if (LoadU32(bytes.data()) != kCompressedTag) return bytes;
    Bytes plain;
    EXPECT_TRUE(DecompressRecord(bytes, plain));
    return plain;
  }

  bool read_only = false;
  qx_test::MemoryFile file;
  std::vector<std::string> lines;
  std::map<ImageKey, ImagePixels> stored;
  std::vector<std::pair<ImageKey, std::vector<ImageTocEntry>>> tocs;
};

struct Block {
  uint32_t key, data_format, pixel_format, width, height;
  Bytes data;
};

Block ParseBlock(Bytes const& bytes) {
  EXPECT_GE(bytes.size(), kImageBlockHeadSize);
  EXPECT_EQ(LoadU32(&bytes[0]), kImageBlockTag);
  Block b{LoadU32(&bytes[4]), LoadU32(&bytes[8]), LoadU32(&bytes[12]), LoadU32(&bytes[16]),
          LoadU32(&bytes[20]), {}};
  uint32_t const n = LoadU32(&bytes[24]);
  EXPECT_EQ(bytes.size(), (kImageBlockHeadSize + n + 3) & ~3u);
  b.data.assign(bytes.begin() + kImageBlockHeadSize, bytes.begin() + kImageBlockHeadSize + n);
  return b;
}

// Decodes a PNG block's data with the channel count of the pixel code.
Bytes DecodePng(Bytes const& data, int channels, int* width = nullptr, int* height = nullptr) {
  int w = 0, h = 0, n = 0;
  uint8_t* p = stbi_load_from_memory(data.data(), int(data.size()), &w, &h, &n, channels);
  EXPECT_NE(p, nullptr);
  Bytes pixels;
  if (p) pixels.assign(p, p + size_t(w) * h * channels);
  stbi_image_free(p);
  if (width) *width = w, *height = h;
  return pixels;
}

// Smooth pixels, as real textures are, so that compression has something to do.
Bytes Gradient(uint32_t width, uint32_t height, uint32_t channels) {
  Bytes pixels(size_t{width} * height * channels);
  size_t i = 0;
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x)
      for (uint32_t c = 0; c < channels; ++c) pixels[i++] = uint8_t((x + 2 * y + 40 * c) / 3);
  return pixels;
}

Bytes Jpeg(uint32_t width, uint32_t height) { return test::Jpeg(Gradient(width, height, 3), width, height); }

ImageRecord Record(ImageKey key, ImageKey duplicate_of = 0) {
  ImageRecord image;
  image.key = key, image.duplicate_of = duplicate_of, image.format = kImageGray;
  return image;
}

ImagePixels FileImage(Bytes bytes, uint32_t code) {
  uint32_t const size = uint32_t(bytes.size());
  return {size, 1, code, std::move(bytes)};
}

class StreamImageTest : public testing::Test {
 protected:
  // Stores the image under a new key, optimizes it and returns its record.
  ImageRecord Optimize(ImagePixels pixels) {
    ImageRecord image;
    image.key = ++last_key_;
    image.format = pixels.format;
    model_.stored[image.key] = std::move(pixels);
    OptimizeStreamImage(image, scratch_, 1, model_);
    return image;
  }

  ImageTocEntry const* Find(ImageRecord const& image, uint32_t kind) {
    for (auto const& e : image.toc)
      if (e.kind == kind) return &e;
    return nullptr;
  }

  Block BlockOf(ImageRecord const& image, uint32_t kind) {
    ImageTocEntry const* entry = Find(image, kind);
    EXPECT_NE(entry, nullptr);
    return entry ? ParseBlock(model_.Block(*entry)) : Block{};
  }

  // Width and height of the main level, from a raw block or the PNG inside it.
  std::pair<uint32_t, uint32_t> MainSize(ImageRecord const& image) {
    Block const main = BlockOf(image, kImageTocMain);
    if (main.data_format != kImageFilePng) return {main.width, main.height};
    int width = 0, height = 0;
    DecodePng(main.data, 1, &width, &height);
    return {uint32_t(width), uint32_t(height)};
  }

  FakeModel model_;
  StreamImageScratch scratch_;
  ImageKey last_key_ = 0;
};

TEST_F(StreamImageTest, SmallImageIsOneRawBlockWithExactBytes) {
  ImageRecord const image = Optimize({3, 2, kImageGray, {1, 2, 3, 4, 5, 6}});
  ASSERT_EQ(image.toc.size(), 1u);
  EXPECT_EQ(image.toc[0], (ImageTocEntry{0, 36, kImageTocMain, kImageGray, 0}));
  Bytes const expected = {69, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 2, 0,
                          0, 0, 6, 0, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0};
  EXPECT_EQ(model_.Block(image.toc[0]), expected);
}

// Pixels with opaque alpha are sent as RGB.
TEST_F(StreamImageTest, OpaqueAlphaIsStripped) {
  Bytes pixels = Gradient(150, 130, 4);
  for (size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 255;
  ImageRecord const image = Optimize({150, 130, kImageRGBA, pixels});
  Block const main = BlockOf(image, kImageTocMain);
  EXPECT_EQ(main.pixel_format, kImageRGB);
  EXPECT_LE(main.data[25], 2);  // the PNG's color type has no alpha
  for (auto const& e : image.toc) EXPECT_EQ(e.format, kImageRGB);
}

TEST_F(StreamImageTest, FileImagesKeepTheirBytesUnlessResizedOrAlwaysConverted) {
  ImageRecord const big = Optimize(FileImage(Jpeg(4096, 256), kImageFileUnchanged));
  EXPECT_EQ(MainSize(big), std::make_pair(2048u, 128u));
  EXPECT_EQ(BlockOf(big, kImageTocPreview).data_format, kImageRGB);

  Bytes const jpeg = Jpeg(200, 200);
  ImageRecord const kept = Optimize(FileImage(jpeg, kImageFileUnchanged));
  ASSERT_EQ(kept.toc.size(), 2u);
  EXPECT_EQ(kept.toc[0].kind, kImageTocPreview);
  EXPECT_EQ(kept.toc[1], (ImageTocEntry{0, 0, kImageTocStored, kImageFileUnchanged, 0}));

  ImageRecord const converted = Optimize(FileImage(jpeg, kImageFileConverted));
  EXPECT_EQ(MainSize(converted), std::make_pair(200u, 200u));
  EXPECT_EQ(BlockOf(converted, kImageTocMain).data_format, kImageFilePng);

  ImageRecord const small = Optimize(FileImage(Jpeg(40, 40), kImageFileUnchanged));
  ASSERT_EQ(small.toc.size(), 1u);
  Block const raw = BlockOf(small, kImageTocMain);
  EXPECT_EQ(raw.data_format, kImageRGB);
  EXPECT_EQ(raw.data.size(), 40u * 40 * 3);

  // A PNG that only the fallback reads is sent as stored.
  Bytes const png = test::DamageSignature(test::MakePng(test::Pattern(150, 150, 4), 150, 150));
  ImageRecord const fallback = Optimize(FileImage(png, kImageFilePng));
  ASSERT_EQ(fallback.toc.size(), 2u);
  EXPECT_EQ(BlockOf(fallback, kImageTocPreview).data_format, kImageRGBA);
  EXPECT_EQ(fallback.toc[1], (ImageTocEntry{0, 0, kImageTocStored, kImageFilePng, 0}));
}

// Bad or missing data gives the no-data entry, silently: a header bigger
// than its file is damaged data. A file whose pixels need more memory than
// decoding may take is refused too, and says so.
TEST_F(StreamImageTest, BadOrMissingDataGivesTheNoDataEntry) {
  Bytes const small = test::MakePng(test::Pattern(8, 8, 4), 8, 8);
  uint64_t const pixels = DecodeMemoryLimit() / 8 + 1;
  uint32_t const width = 1u << 16, height = uint32_t(pixels / width + 1);
  Bytes const beyond_memory = test::WithPadding(test::WithDeclaredSize(small, width, height), pixels / 8000);
  ImageRecord unreadable;
  unreadable.key = 99;
  OptimizeStreamImage(unreadable, scratch_, 1, model_);
  ImageRecord const images[] = {
      unreadable,
      Optimize(FileImage(test::Pattern(500, 1, 1), kImageFileConverted)),
      Optimize(FileImage(test::WithDeclaredSize(small, 100000, 100000), kImageFilePng)),
      Optimize({10, 10, kImageRGB, Bytes(7)}),  // fewer bytes than the pixels need
      Optimize(FileImage(beyond_memory, kImageFilePng)),
  };
  ASSERT_EQ(model_.tocs.size(), std::size(images));
  for (size_t i = 0; i < std::size(images); ++i) {
    EXPECT_EQ(images[i].toc, std::vector<ImageTocEntry>{kNoImageData}) << i;
    EXPECT_EQ(model_.tocs[i], std::make_pair(images[i].key, images[i].toc)) << i;
  }
  EXPECT_EQ(model_.lines, std::vector<std::string>{"Image 4 of 65536 x " + std::to_string(height) +
                                                       " pixels is too large to decode in memory."});
}

// An empty image writes a toc record without entries; an image that has its
// entries, or one in a read-only model, writes nothing.
TEST_F(StreamImageTest, EmptyDoneAndReadOnlyImages) {
  ImageRecord const empty = Optimize({0, 0, kImageRGB, {}});
  EXPECT_TRUE(empty.toc.empty());
  ASSERT_EQ(model_.tocs.size(), 1u);
  EXPECT_TRUE(model_.tocs[0].second.empty());

  ImageRecord done = Optimize({3, 2, kImageGray, Bytes(6)});
  OptimizeStreamImage(done, scratch_, 1, model_);
  EXPECT_EQ(done.toc.size(), 1u);
  EXPECT_EQ(model_.tocs.size(), 2u);

  model_.read_only = true;
  ImageRecord const image = Optimize({3, 2, kImageGray, Bytes(6)});
  EXPECT_EQ(image.toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_EQ(model_.tocs.size(), 2u);
}

TEST_F(StreamImageTest, PreparationSkipsDuplicatesAndLogsTheCount) {
  KeyTable<ImageRecord> images;
  model_.stored[1] = {2, 2, kImageGray, Bytes(4)};
  images.Insert(1, Record(1));
  images.Insert(2, Record(2, 1));
  OptimizeStreamImages(images, scratch_, 1, model_, std::chrono::steady_clock::now(), 1);
  EXPECT_EQ(images.Find(1)->toc.size(), 1u);
  EXPECT_TRUE(images.Find(2)->toc.empty());
  ASSERT_EQ(model_.lines.size(), 1u);
  EXPECT_EQ(model_.lines[0].rfind("Optimized 2 stream images in ", 0), 0u);

  KeyTable<ImageRecord> one;
  one.Insert(1, Record(1));
  OptimizeStreamImages(one, scratch_, 1, model_, std::chrono::steady_clock::now(), 1);
  EXPECT_EQ(model_.lines.back().rfind("Optimized 1 stream image in ", 0), 0u);
}

// Images computed on several threads: a write that fails ends the step with
// its error, after the workers still computing have finished.
TEST_F(StreamImageTest, FailedWriteStopsTheThreadsWithItsError) {
  KeyTable<ImageRecord> images;
  for (ImageKey key = 1; key <= 12; ++key) {
    model_.stored[key] = {300, 200, kImageRGB, Gradient(300, 200, 3)};
    images.Insert(key, Record(key));
  }
  model_.file.fail_writes = true;
  EXPECT_THROW(OptimizeStreamImages(images, scratch_, 1, model_, std::chrono::steady_clock::now(), 4),
               Exception);
  ASSERT_FALSE(model_.lines.empty());
  EXPECT_EQ(model_.lines.back().rfind("Unable to write data: ", 0), 0u);
  EXPECT_TRUE(model_.tocs.empty());
}

}  // namespace
}  // namespace QX::Store
