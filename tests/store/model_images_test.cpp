// Images of a model: equal images stored once, hash collisions and formats
// told apart, encoded images, refused calls and unreadable records.
#include <numeric>
#include <stdexcept>

#include "store/ImageRecord.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Pixels(size_t n, uint8_t first = 0) {
  Bytes bytes(n);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

// The head of a PNG file: signature and an IHDR chunk of a 2 x 3 RGB image.
Bytes PngHead() {
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R',
               0, 0, 0, 2, 0, 0, 0, 3, 8, 2, 0, 0, 0};
  png.insert(png.end(), {0x12, 0x34, 0x56, 0x78});  // CRC, not checked by a header scan
  return png;
}

class ModelImagesTest : public ModelTest {
 protected:
  ImageRecord const& Image(ImageKey key) { return *impl().images.Find(key); }
  // Files a key under another content hash, as a hash collision would.
  void ForceCandidate(uint64_t hash, ImageKey key) { (*impl().image_candidates)[hash].push_back(key); }
};

TEST_F(ModelImagesTest, EqualImagesAreStoredOnce) {
  Bytes const pixels = Pixels(4 * 3 * 3);
  ImageKey const first = model.InsertImageRGB(4, 3, pixels.data());
  uintmax_t const size = FileSize("_images.qxi");
  EXPECT_EQ(size, 12u + pixels.size());
  ImageKey const second = model.InsertImageRGB(4, 3, pixels.data());

  EXPECT_NE(first, second);
  EXPECT_EQ(FileSize("_images.qxi"), size);
  EXPECT_EQ(Image(second).duplicate_of, first);
  EXPECT_EQ(Image(second).stored_offset, -1);
  EXPECT_EQ(Image(second).content_hash, 0u);
  EXPECT_EQ(Image(first).content_hash, ImageContentHash(4, 3, kImageRGB, pixels.data(), 36));
  EXPECT_EQ(impl().image_duplicate_count, 1u);
  EXPECT_EQ((*impl().image_duplicates)[first], std::vector<uint32_t>{second});
}

TEST_F(ModelImagesTest, SameBytesInAnotherFormatNeverMatch) {
  Bytes const pixels = Pixels(4 * 2 * 3);
  ImageKey const rgb = model.InsertImageRGB(4, 2, pixels.data());
  // Even under one hash the gray image of three times the width differs.
  ForceCandidate(ImageContentHash(12, 2, kImageGray, pixels.data(), 24), rgb);
  ImageKey const gray = model.InsertImageGray(12, 2, pixels.data());
  EXPECT_EQ(Image(gray).duplicate_of, 0u);
  EXPECT_GE(Image(gray).stored_offset, 0);
  EXPECT_EQ(Image(gray).format, kImageGray);
}

TEST_F(ModelImagesTest, HashCollisionKeepsBothImages) {
  Bytes const a = Pixels(16, 0);
  Bytes const b = Pixels(16, 1);
  ImageKey const first = model.InsertImageRGBA(2, 2, a.data());
  uint64_t const hash_b = ImageContentHash(2, 2, kImageRGBA, b.data(), 16);
  ForceCandidate(hash_b, first);
  ImageKey const second = model.InsertImageRGBA(2, 2, b.data());
  EXPECT_EQ(Image(second).duplicate_of, 0u);
  EXPECT_EQ(Image(second).content_hash, hash_b);
  EXPECT_EQ((*impl().image_candidates)[hash_b], (std::vector<uint32_t>{first, second}));

  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(second), out));
  EXPECT_EQ(out.bytes, b);
}

TEST_F(ModelImagesTest, EncodedImageIsStoredAsItsBytes) {
  Bytes const png = PngHead();
  ImageKey const key = model.InsertEncodedImage(static_cast<uint32_t>(png.size()), png.data(), 0);
  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(key), out));
  EXPECT_EQ(out.width, png.size());
  EXPECT_EQ(out.height, 1u);
  EXPECT_EQ(out.format, kImageFilePng);
  EXPECT_EQ(out.bytes, png);
}

TEST_F(ModelImagesTest, EncodedImageFormatsAndFailures) {
  Bytes const png = PngHead();
  auto const size = static_cast<uint32_t>(png.size());
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 1)).format, kImageFileUnchanged);
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 2)).format, kImageFileConverted);

  ImageKey const next = impl().next.image;
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(size, png.data(), 3); }), "Invalid ImageFormat.");
  Bytes const junk(64, 0x42);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(64, junk.data(), 0); }),
            "Image validation failed: unknown image type");
  EXPECT_TRUE(log.Saw("Image validation failed: unknown image type"));
  EXPECT_THROW(model.InsertEncodedImage(0, nullptr, 0), Exception);
  EXPECT_THROW(model.InsertImageRGB(2, 2, nullptr), std::invalid_argument);
  EXPECT_THROW(model.InsertImageRGBA(0x10000, 0x4000, nullptr), std::length_error);
  EXPECT_EQ(impl().next.image, next);
  // A read-only model refuses before it looks at the format.
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(0, nullptr, 3); }),
            "Attempted to modify a read only model.");
}

TEST_F(ModelImagesTest, DuplicatesSurviveAReopen) {
  Bytes const pixels = Pixels(9);
  ImageKey const first = model.InsertImageGray(3, 3, pixels.data());
  ImageKey const second = model.InsertImageGray(3, 3, pixels.data());
  Reopen();
  EXPECT_EQ(Image(second).duplicate_of, first);
  // The content tables are rebuilt from the stored hashes.
  ImageKey const third = model.InsertImageGray(3, 3, pixels.data());
  EXPECT_EQ(Image(third).duplicate_of, first);
  EXPECT_EQ((*impl().image_duplicates)[first], (std::vector<uint32_t>{second, third}));
}

TEST_F(ModelImagesTest, UnreadableImageIsLogged) {
  Bytes const pixels = Pixels(12);
  ImageRecord record = Image(model.InsertImageRGB(2, 2, pixels.data()));
  record.stored_offset += 8;  // the head now claims far more bytes than the file has
  ImagePixels out;
  EXPECT_FALSE(impl().ReadImage(record, out));
  EXPECT_TRUE(out.bytes.empty());
  EXPECT_TRUE(log.Saw("Failed reading ImageId (" + std::to_string(impl().id) + " , " +
                         std::to_string(record.key) + ")"));
}

}  // namespace
}  // namespace qx_store_test
