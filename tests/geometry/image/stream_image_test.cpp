#include "geometry/image/StreamImage.h"

#include <gtest/gtest.h>
#include <stb_image.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>
#undef STB_IMAGE_WRITE_IMPLEMENTATION  // TestImages.h includes the header again

#include <map>
#include <memory>
#include <string>

#include "TestImages.h"
#include "files/DiskFile.h"
#include "geometry/image/ImageBlock.h"
#include "geometry/image/ImageCodec.h"
#include "geometry/mesh/CompressedRecord.h"
#include "store/Logger.h"
#include "tests/support/TempDir.h"

namespace QX::Store {
namespace {

using test::Bytes;
uint32_t LoadU32(uint8_t const* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

class RecordingLogger final : public Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

// A model in memory: stored images by key, a real stream file in a temporary
// directory, and the toc records as they were written.
class FakeModel final : public StreamImageModel {
 public:
  FakeModel() {
    file_ = std::make_unique<DiskFile>(dir_ / "_stream_images.qxd");
    file_->OpenWrite(true, true);
  }

  bool IsReadOnly() override { return read_only; }
  Logger* Log() override { return &log; }
  bool ReadImage(ImageRecord const& image, ImagePixels& out) override {
    auto found = stored.find(image.key);
    if (found == stored.end()) return false;
    out = found->second;
    return true;
  }
  File& StreamImages() override { return *file_; }
  void WriteImageToc(ImageRecord const& image) override { tocs.push_back({image.key, image.toc}); }

  // The bytes of one entry's block, unwrapped if it was compressed.
  Bytes Block(ImageTocEntry const& entry) {
    Bytes bytes(entry.size);
    file_->Seek(int64_t(entry.offset), kSeekBegin);
    EXPECT_EQ(file_->Read(bytes.data(), bytes.size()), bytes.size());
    if (LoadU32(bytes.data()) != kCompressedTag) return bytes;
    Bytes plain;
    EXPECT_TRUE(DecompressRecord(bytes, plain));
    return plain;
  }

  // Later appends to the stream file fail.
  void BreakStreamFile() { file_->Close(); }

  bool read_only = false;
  RecordingLogger log;
  std::map<ImageKey, ImagePixels> stored;
  std::vector<std::pair<ImageKey, std::vector<ImageTocEntry>>> tocs;

 private:
  qx_test::TempDir dir_;
  std::unique_ptr<DiskFile> file_;
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

struct Png {
  int width = 0, height = 0, channels = 0;
  Bytes pixels;
};

// Decodes a PNG block's data with the channel count of the pixel code.
Png DecodePng(Bytes const& data, int channels) {
  Png png;
  uint8_t* p = stbi_load_from_memory(data.data(), int(data.size()), &png.width, &png.height,
                                     &png.channels, channels);
  EXPECT_NE(p, nullptr);
  if (p) png.pixels.assign(p, p + size_t(png.width) * png.height * channels);
  stbi_image_free(p);
  return png;
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
    Png const png = DecodePng(main.data, 1);
    return {uint32_t(png.width), uint32_t(png.height)};
  }

  FakeModel model_;
  StreamImageScratch scratch_;
  ImageKey last_key_ = 0;
};

TEST_F(StreamImageTest, LimitsTheLongSideTo2048) {
  struct Case {
    uint32_t width, height, out_width, out_height;
    bool preview;
  } const cases[] = {
      {2048, 100, 2048, 100, true}, {2049, 100, 2048, 99, true},   {100, 3000, 68, 2048, true},
      {10000, 10, 2048, 2, false},  {100000, 10, 2048, 1, false}, {64, 1000, 64, 1000, false},
      {65, 100, 65, 100, false},    {65, 192, 65, 192, true},
  };
  for (auto const& c : cases) {
    ImageRecord const image =
        Optimize({c.width, c.height, kImageGray, Gradient(c.width, c.height, 1)});
    EXPECT_EQ(MainSize(image), std::make_pair(c.out_width, c.out_height)) << c.width << "x" << c.height;
    EXPECT_EQ(Find(image, kImageTocPreview) != nullptr, c.preview) << c.width << "x" << c.height;
    EXPECT_EQ(model_.tocs.back().second, image.toc);
  }
}

TEST_F(StreamImageTest, SmallImageIsOneRawBlockWithExactBytes) {
  ImageRecord const image = Optimize({3, 2, kImageGray, {1, 2, 3, 4, 5, 6}});
  ASSERT_EQ(image.toc.size(), 1u);
  EXPECT_EQ(image.toc[0], (ImageTocEntry{0, 36, kImageTocMain, kImageGray, 0}));
  Bytes const expected = {69, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 2, 0,
                          0, 0, 6, 0, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0};
  EXPECT_EQ(model_.Block(image.toc[0]), expected);
}

TEST_F(StreamImageTest, LargeRawBlockIsCompressedWhenThatPays) {
  Bytes const pixels = Gradient(64, 1000, 3);
  ImageRecord const image = Optimize({64, 1000, kImageRGB, pixels});
  ASSERT_EQ(image.toc.size(), 1u);
  Bytes const plain = model_.Block(image.toc[0]);
  EXPECT_LT(image.toc[0].size, plain.size());  // what lies in the file is the wrapper
  Block const block = ParseBlock(plain);
  EXPECT_EQ(block.data, pixels);
  EXPECT_EQ(block.data_format, kImageRGB);
}

TEST_F(StreamImageTest, OpaqueAlphaIsStripped) {
  Bytes pixels = Gradient(150, 130, 4);
  for (size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 255;
  ImageRecord const image = Optimize({150, 130, kImageRGBA, pixels});
  Block const preview = BlockOf(image, kImageTocPreview);
  EXPECT_EQ(preview.data_format, kImageRGB);
  EXPECT_EQ(preview.pixel_format, kImageRGB | kPreviewFlag);
  EXPECT_EQ(preview.width, 64u);
  EXPECT_EQ(preview.data.size(), 64u * 64 * 3);
  Block const main = BlockOf(image, kImageTocMain);
  EXPECT_EQ(main.data_format, kImageFilePng);
  EXPECT_EQ(main.pixel_format, kImageRGB);
  EXPECT_EQ(main.width, main.data.size());
  EXPECT_EQ(main.height, 1u);
  EXPECT_LE(main.data[25], 2);  // the PNG's color type has no alpha
  Bytes rgb;
  for (size_t i = 0; i < pixels.size(); i += 4) rgb.insert(rgb.end(), {pixels[i], pixels[i + 1], pixels[i + 2]});
  EXPECT_EQ(DecodePng(main.data, 3).pixels, rgb);
  for (auto const& e : image.toc) EXPECT_EQ(e.format, kImageRGB);
}

TEST_F(StreamImageTest, TranslucentImageKeepsItsAlphaAndPixels) {
  Bytes const pixels = test::Pattern(70, 200, 4);
  ImageRecord const image = Optimize({70, 200, kImageRGBA, pixels});
  Block const main = BlockOf(image, kImageTocMain);
  EXPECT_EQ(main.pixel_format, kImageRGBA);
  EXPECT_EQ(DecodePng(main.data, 4).pixels, pixels);
  EXPECT_EQ(BlockOf(image, kImageTocPreview).data.size(), 64u * 64 * 4);
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
}

TEST_F(StreamImageTest, PngThatOnlyTheFallbackReadsIsSentAsStored) {
  Bytes const pixels = test::Pattern(150, 150, 4);
  Bytes const png = test::DamageSignature(test::MakePng(pixels, 150, 150, {}));
  ImageRecord const image = Optimize(FileImage(png, kImageFilePng));
  ASSERT_EQ(image.toc.size(), 2u);
  EXPECT_EQ(BlockOf(image, kImageTocPreview).data_format, kImageRGBA);
  EXPECT_EQ(image.toc[1], (ImageTocEntry{0, 0, kImageTocStored, kImageFilePng, 0}));
}

// 16400 x 4100 pixels, more than 2^26: decoded, scaled and sent as PNG.
TEST_F(StreamImageTest, FileImageOfSixtySevenMillionPixelsIsScaled) {
  ImageRecord const image = Optimize(FileImage(test::MakeLargeGrayPng(16400, 4100), kImageFilePng));
  ASSERT_NE(image.toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_EQ(MainSize(image), std::make_pair(2048u, 512u));
  EXPECT_EQ(BlockOf(image, kImageTocPreview).data.size(), 64u * 64);
  EXPECT_TRUE(model_.log.lines.empty());
}

TEST_F(StreamImageTest, BadOrMissingDataGivesTheNoDataEntry) {
  Bytes const huge = test::WithDeclaredSize(test::MakePng(test::Pattern(8, 8, 4), 8, 8, {}), 100000, 100000);
  ImageRecord const images[] = {
      Optimize(FileImage(test::Pattern(500, 1, 1), kImageFileConverted)),
      Optimize(FileImage(huge, kImageFilePng)),
      Optimize({10, 10, kImageRGB, Bytes(7)}),  // fewer bytes than the pixels need
  };
  for (auto const& image : images) {
    EXPECT_EQ(image.toc, std::vector<ImageTocEntry>{kNoImageData});
    EXPECT_EQ(model_.tocs[image.key - 1].second, image.toc);
  }
  EXPECT_TRUE(model_.log.lines.empty());  // a header bigger than its file is damaged data
}

// A file whose pixels need more memory than decoding may take is refused,
// and says so.
TEST_F(StreamImageTest, ImageBeyondTheMemoryLimitIsLoggedAndLeftOut) {
  uint64_t const pixels = DecodeMemoryLimit() / 8 + 1;
  uint32_t const width = 1u << 16, height = uint32_t(pixels / width + 1);
  Bytes const declared = test::WithDeclaredSize(test::MakePng(test::Pattern(8, 8, 4), 8, 8, {}), width, height);
  ImageRecord const image = Optimize(FileImage(test::WithPadding(declared, pixels / 8000), kImageFilePng));
  EXPECT_EQ(image.toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_EQ(model_.log.lines, std::vector<std::string>{"Image 1 of 65536 x " + std::to_string(height) +
                                                       " pixels is too large to decode in memory."});
  ImageRecord unreadable;
  unreadable.key = 99;
  OptimizeStreamImage(unreadable, scratch_, 1, model_);
  EXPECT_EQ(unreadable.toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_EQ(model_.tocs.back().first, 99u);
}

TEST_F(StreamImageTest, EmptyImageWritesATocRecordWithoutEntries) {
  ImageRecord const image = Optimize({0, 0, kImageRGB, {}});
  EXPECT_TRUE(image.toc.empty());
  ASSERT_EQ(model_.tocs.size(), 1u);
  EXPECT_TRUE(model_.tocs[0].second.empty());
}

TEST_F(StreamImageTest, ReadOnlyModelsAndDoneImagesWriteNothing) {
  ImageRecord done = Optimize({3, 2, kImageGray, Bytes(6)});
  OptimizeStreamImage(done, scratch_, 1, model_);
  EXPECT_EQ(done.toc.size(), 1u);
  EXPECT_EQ(model_.tocs.size(), 1u);

  model_.read_only = true;
  ImageRecord const image = Optimize({3, 2, kImageGray, Bytes(6)});
  EXPECT_EQ(image.toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_EQ(model_.tocs.size(), 1u);
}

TEST_F(StreamImageTest, PreparationSkipsDuplicatesAndLogsTheCount) {
  KeyTable<ImageRecord> images;
  model_.stored[1] = {2, 2, kImageGray, Bytes(4)};
  images.Insert(1, Record(1));
  images.Insert(2, Record(2, 1));
  OptimizeStreamImages(images, scratch_, 1, model_, std::chrono::steady_clock::now(), 1);
  EXPECT_EQ(images.Find(1)->toc.size(), 1u);
  EXPECT_TRUE(images.Find(2)->toc.empty());
  ASSERT_EQ(model_.log.lines.size(), 1u);
  EXPECT_EQ(model_.log.lines[0].rfind("Optimized 2 stream images in ", 0), 0u);

  KeyTable<ImageRecord> one;
  one.Insert(1, Record(1));
  OptimizeStreamImages(one, scratch_, 1, model_, std::chrono::steady_clock::now(), 1);
  EXPECT_EQ(model_.log.lines.back().rfind("Optimized 1 stream image in ", 0), 0u);
}

// Images computed on several threads: a write that fails ends the step with
// its error, after the workers still computing have finished.
TEST_F(StreamImageTest, FailedWriteStopsTheThreadsWithItsError) {
  KeyTable<ImageRecord> images;
  for (ImageKey key = 1; key <= 12; ++key) {
    model_.stored[key] = {300, 200, kImageRGB, Gradient(300, 200, 3)};
    images.Insert(key, Record(key));
  }
  model_.BreakStreamFile();
  EXPECT_THROW(OptimizeStreamImages(images, scratch_, 1, model_, std::chrono::steady_clock::now(), 4),
               Exception);
  ASSERT_FALSE(model_.log.lines.empty());
  EXPECT_EQ(model_.log.lines.back().rfind("Unable to write data: ", 0), 0u);
  EXPECT_TRUE(model_.tocs.empty());
}

}  // namespace
}  // namespace QX::Store
