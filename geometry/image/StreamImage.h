#pragma once
// The stream form of a model's images, made once by stream preparation: the
// size limited to 2048 pixels on the long side, an opaque alpha channel
// removed, a 64x64 preview block, and the main level as a PNG block, as the
// stored file itself, or, for small images, as raw pixels. The blocks go to
// _stream_images.qxd and each image's entries to _stream_images_toc.qxd.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "geometry/mesh/CompressedRecord.h"
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

// One piece of an image's stream form, in the order of its entries: a block
// for _stream_images.qxd, or, without bytes, the stored file itself.
struct StreamImagePiece {
  uint32_t kind;
  uint32_t format;
  std::vector<uint8_t> const* block;  // in the scratch; null for the stored file
};

// The buffers of one image on its way through the steps below, reused from
// image to image. A worker that computes images owns one of them.
struct StreamImageScratch {
  ImagePixels stored;
  std::vector<uint8_t> pixels;  // the work image
  std::vector<uint8_t> scaled;
  std::vector<uint8_t> encoded;
  std::vector<uint8_t> preview;
  std::vector<uint8_t> block;
  std::vector<uint8_t> packed;
  RecordCompressor compressor;  // a zstd context of the scratch's own thread
  // What the computation leaves to be written.
  std::vector<StreamImagePiece> pieces;
  bool no_data = false;
  std::string note;  // a line for the log, or empty
};

// Gives an image its stream form, unless its table of contents says that it
// has one. Bad image data ends in the no-data entry; only a failed write to
// the stream file throws ("Unable to write data: " + path, logged first).
// `effort` chooses the compressor's strategy for raw blocks.
void OptimizeStreamImage(ImageRecord& image, StreamImageScratch& scratch, uint32_t effort,
                         StreamImageModel& model);

// The three steps of OptimizeStreamImage for an image whose table of
// contents is empty, in a writable model. Reading and writing touch the
// model and run on its thread; the computation uses nothing but the scratch
// and may run on any thread, one scratch a thread.
void ReadStreamImage(ImageRecord const& image, StreamImageScratch& scratch, StreamImageModel& model);
void ComputeStreamImage(uint32_t key, StreamImageScratch& scratch, uint32_t effort);
void WriteStreamImage(ImageRecord& image, StreamImageScratch& scratch, StreamImageModel& model);

// The image step of stream preparation: every image that holds bytes of its
// own, then the timing line, counted from `start`. The images are computed
// on `threads` threads (0: one a hardware thread) and written in the order
// of the table, so that the files hold the bytes that one thread writes.
void OptimizeStreamImages(KeyTable<ImageRecord>& images, StreamImageScratch& scratch,
                          uint32_t effort, StreamImageModel& model,
                          std::chrono::steady_clock::time_point start, unsigned threads);

}  // namespace QX::Store
