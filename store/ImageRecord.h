#pragma once
// An image as the model keeps it in memory: where its stored bytes lie in
// _images.qxi, its content hash, and the table of contents of its stream form.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// Format codes of stored images and of stream image blocks.
inline constexpr uint32_t kImageRGBA = 0;
inline constexpr uint32_t kImageRGB = 1;
inline constexpr uint32_t kImageGray = 2;
inline constexpr uint32_t kImageGrayAlpha = 3;
inline constexpr uint32_t kImageFileUnchanged = 4;  // sent as stored unless resized
inline constexpr uint32_t kImageFilePng = 5;
inline constexpr uint32_t kImageFileConverted = 6;  // always converted for the stream

// Bytes per pixel of a stored image by its format code; file images (and any
// unknown code) count one byte per "pixel", with the byte count as width.
inline uint32_t ImageBytesPerPixel(uint32_t format) {
  switch (format) {
    case kImageRGBA: return 4;
    case kImageRGB: return 3;
    case kImageGrayAlpha: return 2;
    default: return 1;
  }
}

// Where one level of an image's stream form lies in _stream_images.qxd.
struct ImageTocEntry {
  uint64_t offset = 0;
  uint32_t size = 0;
  uint32_t kind = 0;  // 1 preview, 2 main level in the stream file, 3 main level is the stored bytes
  uint32_t format = 0;
  uint32_t reserved = 0;
  friend bool operator==(ImageTocEntry const&, ImageTocEntry const&) = default;
};

inline constexpr uint32_t kImageTocPreview = 1;
inline constexpr uint32_t kImageTocMain = 2;
inline constexpr uint32_t kImageTocStored = 3;
// The image was tried and has nothing to send.
inline constexpr ImageTocEntry kNoImageData{~uint64_t{0}, ~uint32_t{0}, 0, 0, 0};

struct ImageRecord {
  int64_t stored_offset = -1;  // stays -1 for a duplicate
  uint64_t content_hash = 0;   // 0 until stored
  std::vector<ImageTocEntry> toc;
  ImageKey duplicate_of = 0;   // the image that holds the bytes; 0 for none
  ImageKey key = 0;
  uint32_t format = 0;
};

inline constexpr uint64_t kImageHashSeed = 0x8D06F00D;

// XXH64 with the store's seed of width, height and format (4 bytes each,
// little-endian) followed by the pixel bytes.
uint64_t ImageContentHash(uint32_t width, uint32_t height, uint32_t format, void const* bytes,
                          uint32_t size);

// One stored image as read back from _images.qxi.
struct ImagePixels {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t format = 0;
  std::vector<uint8_t> bytes;
};

}  // namespace QX::Store
