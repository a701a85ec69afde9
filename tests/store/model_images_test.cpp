// Images of a model: equal images stored once, hash collisions and formats
// told apart, encoded images, refused calls and unreadable records.
#include <stdexcept>

#include "store/ImageRecord.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

class ModelImagesTest : public ModelTest {
 protected:
  ImageRecord const& Image(ImageKey key) { return *impl().images.Find(key); }
  // Files a key under another content hash, as a hash collision would.
  void ForceCandidate(uint64_t hash, ImageKey key) { (*impl().image_candidates)[hash].push_back(key); }
};

// Duplicates are found in this open and, from the stored hashes, after a
// reopen; under one hash, other bytes or another format are no duplicate.
TEST_F(ModelImagesTest, EqualImagesAreStoredOnce) {
  std::vector<uint8_t> const pixels = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  ImageKey const first = model.InsertImageRGB(2, 2, pixels.data());
  uintmax_t const size = FileSize(kImagesName);
  ImageKey const second = model.InsertImageRGB(2, 2, pixels.data());
  EXPECT_EQ(FileSize(kImagesName), size);
  EXPECT_EQ(Image(second).duplicate_of, first);
  EXPECT_EQ(Image(second).stored_offset, -1);
  EXPECT_EQ(Image(first).content_hash, ImageContentHash(2, 2, kImageRGB, pixels.data(), 12));
  Reopen();
  ImageKey const third = model.InsertImageRGB(2, 2, pixels.data());
  EXPECT_EQ((*impl().image_duplicates)[first], (std::vector<uint32_t>{second, third}));

  ForceCandidate(ImageContentHash(6, 2, kImageGray, pixels.data(), 12), first);
  EXPECT_EQ(Image(model.InsertImageGray(6, 2, pixels.data())).duplicate_of, 0u);
  ImageKey const rgba = model.InsertImageRGBA(2, 2, pixels.data());
  uint64_t const other_hash = ImageContentHash(2, 2, kImageRGBA, pixels.data() + 1, 16);
  ForceCandidate(other_hash, rgba);
  ImageKey const other = model.InsertImageRGBA(2, 2, pixels.data() + 1);
  EXPECT_EQ(Image(other).duplicate_of, 0u);
  EXPECT_EQ((*impl().image_candidates)[other_hash], (std::vector<uint32_t>{rgba, other}));
  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(other), out));
  EXPECT_EQ(out.bytes, std::vector<uint8_t>(pixels.begin() + 1, pixels.end()));
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
  EXPECT_EQ(out.format, kImageFilePng);
  EXPECT_EQ(out.bytes, png);
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 1)).format, kImageFileUnchanged);
  EXPECT_EQ(Image(model.InsertEncodedImage(size, png.data(), 2)).format, kImageFileConverted);

  ImageKey const next = impl().next.image;
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(size, png.data(), 3); }), "Invalid ImageFormat.");
  std::vector<uint8_t> const junk(64, 0x42);
  std::string const unknown = "Image validation failed: unknown image type";
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(64, junk.data(), 0); }), unknown);
  EXPECT_EQ(log.Count(unknown), 1);
  EXPECT_THROW(model.InsertEncodedImage(0, nullptr, 0), Exception);
  EXPECT_THROW(model.InsertImageRGB(2, 2, nullptr), std::invalid_argument);
  EXPECT_THROW(model.InsertImageRGBA(0x10000, 0x4000, nullptr), std::length_error);
  EXPECT_EQ(impl().next.image, next);

  // A record whose head claims far more bytes than the file has.
  ImageRecord record = Image(model.InsertImageRGB(2, 2, png.data()));
  record.stored_offset += 8;
  EXPECT_FALSE(impl().ReadImage(record, out));
  EXPECT_TRUE(out.bytes.empty());
  EXPECT_EQ(log.Count("Failed reading ImageId (" + std::to_string(impl().id) + " , " + std::to_string(record.key)), 1);
  // A read-only model refuses before it looks at the format.
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertEncodedImage(0, nullptr, 3); }), "Attempted to modify a read only model.");
}

}  // namespace
}  // namespace qx_store_test
