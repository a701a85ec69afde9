#pragma once
// The stream form of a model's images, made once by stream preparation: the
// size limited to 2048 pixels on the long side, an opaque alpha channel
// removed, a 64x64 preview block, and the main level as a PNG block, as the
// stored file itself, or, for small images, as raw pixels. The blocks go to
// _stream_images.qxd and each image's entries to _stream_images_toc.qxd.
#include <chrono>
#include <cstdint>
#include <vector>

#include "store/ImageRecord.h"
#include "store/KeyTable.h"

namespace QX::Store {

class File;
class Logger;

// What preparing images needs from the model that holds them.
class StreamImageModel {
 public:
  virtual ~StreamImageModel() = default;
  virtual bool IsReadOnly() = 0;
  virtual Logger* Log() = 0;
  // Reads the stored image from _images.qxi. A failed read has logged
  // "Failed reading ImageId (%u , %u)" by the time this returns false.
  virtual bool ReadImage(ImageRecord const& image, ImagePixels& out) = 0;
  // _stream_images.qxd, opened for writing if it isn't open.
  virtual File& StreamImages() = 0;
  // Appends the image's table of contents record to _stream_images_toc.qxd.
  virtual void WriteImageToc(ImageRecord const& image) = 0;
};

// Buffers that serve every image of one preparation run.
struct StreamImageScratch {
  ImagePixels stored;
  std::vector<uint8_t> pixels;  // the work image
  std::vector<uint8_t> scaled;
  std::vector<uint8_t> encoded;
  std::vector<uint8_t> block;
  std::vector<uint8_t> packed;
};

// Gives an image its stream form, unless its table of contents says that it
// has one. Bad image data ends in the no-data entry; only a failed write to
// the stream file throws ("Unable to write data: " + path, logged first).
// `effort` chooses the compressor's strategy for raw blocks.
void OptimizeStreamImage(ImageRecord& image, StreamImageScratch& scratch, uint32_t effort,
                         StreamImageModel& model);

// The image step of stream preparation: every image that holds bytes of its
// own, then the timing line, counted from `start`.
void OptimizeStreamImages(KeyTable<ImageRecord>& images, StreamImageScratch& scratch,
                          uint32_t effort, StreamImageModel& model,
                          std::chrono::steady_clock::time_point start);

}  // namespace QX::Store
