// Images of a model: equal images stored once, hash collisions and formats
// told apart, encoded images, refused calls and unreadable records.
#include <numeric>
#include <stdexcept>

#include "store/ImageRecord.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

std::vector<uint8_t> Pixels(size_t n, uint8_t first = 0) {
  std::vector<uint8_t> bytes(n);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

class ModelImagesTest : public ModelTest {
 protected:
  ImageRecord const& Image(ImageKey key) { return *impl().images.Find(key); }
  // Files a key under another content hash, as a hash collision would.
  void ForceCandidate(uint64_t hash, ImageKey key) { (*impl().image_candidates)[hash].push_back(key); }
};

// Duplicates are found in this open and, from the stored hashes, after a reopen.
TEST_F(ModelImagesTest, EqualImagesAreStoredOnce) {
  std::vector<uint8_t> const pixels = Pixels(4 * 3 * 3);
  ImageKey const first = model.InsertImageRGB(4, 3, pixels.data());
  uintmax_t const size = FileSize(kImagesName);
  EXPECT_EQ(size, 12u + pixels.size());
  ImageKey const second = model.InsertImageRGB(4, 3, pixels.data());
  EXPECT_EQ(FileSize(kImagesName), size);
  EXPECT_EQ(Image(second).duplicate_of, first);
  EXPECT_EQ(Image(second).stored_offset, -1);
  EXPECT_EQ(Image(second).content_hash, 0u);
  EXPECT_EQ(Image(first).content_hash, ImageContentHash(4, 3, kImageRGB, pixels.data(), 36));
  EXPECT_EQ(impl().image_duplicate_count, 1u);

  Reopen();
  EXPECT_EQ(Image(second).duplicate_of, first);
  ImageKey const third = model.InsertImageRGB(4, 3, pixels.data());
  EXPECT_EQ(Image(third).duplicate_of, first);
  EXPECT_EQ((*impl().image_duplicates)[first], (std::vector<uint32_t>{second, third}));
}

TEST_F(ModelImagesTest, HashCollisionsAndOtherFormatsKeepBothImages) {
  std::vector<uint8_t> const a = Pixels(24, 0);
  std::vector<uint8_t> const b = Pixels(16, 1);
  ImageKey const rgb = model.InsertImageRGB(4, 2, a.data());
  // Even under one hash the gray image of three times the width differs.
  ForceCandidate(ImageContentHash(12, 2, kImageGray, a.data(), 24), rgb);
  ImageKey const gray = model.InsertImageGray(12, 2, a.data());
  EXPECT_EQ(Image(gray).duplicate_of, 0u);
  EXPECT_GE(Image(gray).stored_offset, 0);
  EXPECT_EQ(Image(gray).format, kImageGray);

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

TEST_F(ModelImagesTest, EncodedImagesFormatsAndFailures) {
  // The head of a PNG file: signature and an IHDR chunk of a 2 x 3 RGB image,
  // with a CRC that a header scan doesn't check.
  std::vector<uint8_t> const png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D',
                                    'R', 0, 0, 0, 2, 0, 0, 0, 3, 8, 2, 0, 0, 0, 0x12, 0x34, 0x56, 0x78};
  auto const size = static_cast<uint32_t>(png.size());
  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(model.InsertEncodedImage(size, png.data(), 0)), out));
  EXPECT_EQ(out.width, png.size());  // stored as its bytes
  EXPECT_EQ(out.height, 1u);
  EXPECT_EQ(out.format, kImageFilePng);
  EXPECT_EQ(out.bytes, png);
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 1)).format, kImageFileUnchanged);
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 2)).format, kImageFileConverted);

  ImageKey const next = impl().next.image;
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(size, png.data(), 3); }), "Invalid ImageFormat.");
  std::vector<uint8_t> const junk(64, 0x42);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(64, junk.data(), 0); }),
            "Image validation failed: unknown image type");
  EXPECT_EQ(log.Count("Image validation failed: unknown image type"), 1);
  EXPECT_THROW(model.InsertEncodedImage(0, nullptr, 0), Exception);
  EXPECT_THROW(model.InsertImageRGB(2, 2, nullptr), std::invalid_argument);
  EXPECT_THROW(model.InsertImageRGBA(0x10000, 0x4000, nullptr), std::length_error);
  EXPECT_EQ(impl().next.image, next);

  // A record whose head claims far more bytes than the file has.
  ImageRecord record = Image(model.InsertImageRGB(2, 2, Pixels(12).data()));
  record.stored_offset += 8;
  EXPECT_FALSE(impl().ReadImage(record, out));
  EXPECT_TRUE(out.bytes.empty());
  EXPECT_EQ(log.Count("Failed reading ImageId (" + std::to_string(impl().id) + " , " + std::to_string(record.key) +
                      ")"), 1);
  // A read-only model refuses before it looks at the format.
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(0, nullptr, 3); }), "Attempted to modify a read only model.");
}

}  // namespace
}  // namespace qx_store_test
