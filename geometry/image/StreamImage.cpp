#include "geometry/image/StreamImage.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "files/File.h"
#include "files/FileSystem.h"
#include "geometry/image/ImageBlock.h"
#include "geometry/image/ImageCodec.h"
#include "geometry/mesh/CompressedRecord.h"
#include "store/Logger.h"

namespace QX::Store {
namespace {

constexpr uint32_t kMaxSide = 2048;
constexpr uint32_t kPreviewSide = 64;
// Raw blocks up to this size aren't worth a compressor call.
constexpr size_t kRawBlockLimit = 32768;

// Raw pixel codes by channel count, and back.
constexpr uint32_t kRawCodeByChannels[] = {0, kImageGray, kImageGrayAlpha, kImageRGB, kImageRGBA};

uint32_t ChannelsOfRawCode(uint32_t code) {
  switch (code) {
    case kImageRGBA: return 4;
    case kImageRGB: return 3;
    case kImageGray: return 1;
    case kImageGrayAlpha: return 2;
    default: return 0;
  }
}

bool IsSmall(uint32_t width, uint32_t height) {
  return width < 65 || height < 65 || width + height < 257;
}

// The size within 2048 x 2048 that keeps the aspect ratio, the short side
// truncated and at least 1.
void LimitSize(uint32_t& width, uint32_t& height) {
  float const ratio = float(width) / float(height);
  if (ratio >= 1) {
    width = kMaxSide;
    height = std::max(1u, uint32_t(double(kMaxSide) / ratio));
  } else {
    height = kMaxSide;
    width = std::max(1u, uint32_t(ratio * double(kMaxSide)));
  }
}

// One image on its way through the steps; the pixels live in the scratch.
class ImageOptimizer {
 public:
  ImageOptimizer(ImageRecord& image, StreamImageScratch& scratch, uint32_t effort,
                 StreamImageModel& model)
      : image_(image), s_(scratch), effort_(effort), model_(model) {}

  void Run() {
    if (!model_.ReadImage(image_, s_.stored)) return Finish(true);
    if (s_.stored.bytes.empty()) return Finish(false);
    if (!LoadPixels()) return Finish(true);
    StripOpaqueAlpha();
    bool const resized = width_ > kMaxSide || height_ > kMaxSide;
    if (resized && !Resize()) return Finish(true);
    if (IsSmall(width_, height_)) {
      WriteRawMain();
    } else {
      WritePreview();
      WriteMain(resized);
    }
    Finish(false);
  }

 private:
  size_t PixelBytes() const { return size_t{width_} * height_ * channels_; }

  // Raw codes are taken as they are; file images are decoded. Decoded
  // pixels stay in the decoder's buffer, so that a large image exists once
  // in full size before it is scaled.
  bool LoadPixels() {
    ImagePixels& stored = s_.stored;
    if (uint32_t const channels = ChannelsOfRawCode(stored.format)) {
      width_ = stored.width, height_ = stored.height, channels_ = channels;
      s_.pixels.swap(stored.bytes);
      pixels_ = s_.pixels.data();
      return s_.pixels.size() == PixelBytes();
    }
    std::string reason;
    if (!DecodeImage(uint32_t(stored.bytes.size()), stored.bytes.data(), stored.format, decoded_,
                     reason)) {
      if (decoded_.too_large) LogTooLarge();
      return false;
    }
    width_ = decoded_.width, height_ = decoded_.height, channels_ = decoded_.channels;
    pixels_ = decoded_.pixels;
    return channels_ >= 1 && channels_ <= 4;
  }

  void LogTooLarge() const {
    Logger* log = model_.Log();
    if (log == nullptr) return;
    char line[160];
    std::snprintf(line, sizeof line, "Image %u of %u x %u pixels is too large to decode in memory.",
                  image_.key, decoded_.width, decoded_.height);
    log->Message(line);
  }

  // Compacts the pixels in place to 3 bytes each.
  void StripOpaqueAlpha() {
    if (channels_ != 4) return;
    uint8_t* const p = pixels_;
    size_t const count = size_t{width_} * height_;
    for (size_t i = 0; i < count; ++i) {
      if (p[4 * i + 3] != 255) return;
    }
    for (size_t i = 0; i < count; ++i) {
      p[3 * i] = p[4 * i], p[3 * i + 1] = p[4 * i + 1], p[3 * i + 2] = p[4 * i + 2];
    }
    channels_ = 3;
    if (pixels_ == s_.pixels.data()) s_.pixels.resize(PixelBytes());
  }

  bool Resize() {
    uint32_t width = width_, height = height_;
    LimitSize(width, height);
    s_.scaled.resize(size_t{width} * height * channels_);
    if (!ResizeImage(pixels_, width_, height_, s_.scaled.data(), width, height, channels_)) {
      return false;
    }
    s_.pixels.swap(s_.scaled);
    pixels_ = s_.pixels.data();
    width_ = width, height_ = height;
    FreeDecodedImage(decoded_);
    return true;
  }

  std::span<uint8_t const> Pixels() const { return {pixels_, PixelBytes()}; }

  uint32_t RawCode() const { return kRawCodeByChannels[channels_]; }

  // Small images go out as pixels, compressed when that pays.
  void WriteRawMain() {
    EncodeImageBlock({image_.key, RawCode(), RawCode(), width_, height_}, Pixels(), s_.block);
    s_.packed.clear();
    bool const packed =
        s_.block.size() > kRawBlockLimit && CompressRecord(s_.block, s_.packed, kZstdMethod, effort_);
    Append(packed ? s_.packed : s_.block, kImageTocMain);
  }

  void WritePreview() {
    s_.scaled.resize(size_t{kPreviewSide} * kPreviewSide * channels_);
    if (!ResizeImage(pixels_, width_, height_, s_.scaled.data(), kPreviewSide, kPreviewSide,
                     channels_)) {
      return;
    }
    EncodeImageBlock({image_.key, RawCode(), RawCode() | kPreviewFlag, kPreviewSide, kPreviewSide},
                     s_.scaled, s_.block);
    Append(s_.block, kImageTocPreview);
  }

  // A PNG or JPEG file that keeps its size is sent as stored.
  void WriteMain(bool resized) {
    uint32_t const stored = s_.stored.format;
    if (!resized && (stored == kImageFileUnchanged || stored == kImageFilePng)) {
      image_.toc.push_back({0, 0, kImageTocStored, stored, 0});
      return;
    }
    if (!EncodePng(pixels_, width_, height_, channels_, s_.encoded)) return;
    uint32_t const size = uint32_t(s_.encoded.size());
    EncodeImageBlock({image_.key, kImageFilePng, RawCode(), size, 1}, s_.encoded, s_.block);
    Append(s_.block, kImageTocMain);
  }

  // Appends a block at the end of the stream file and adds its entry.
  void Append(std::span<uint8_t const> block, uint32_t kind) {
    File& file = model_.StreamImages();
    int64_t const offset = file.Seek(0, kSeekEnd);
    if (offset < 0 || file.Write(block.data(), block.size()) != block.size()) {
      std::string const text = "Unable to write data: " + PathToUtf8(file.Path());
      if (Logger* log = model_.Log()) log->Message(text.c_str());
      throw Exception(text);
    }
    image_.toc.push_back({uint64_t(offset), uint32_t(block.size()), kind, RawCode(), 0});
  }

  void Finish(bool no_data) {
    if (decoded_.pixels) FreeDecodedImage(decoded_);
    if (no_data) image_.toc.push_back(kNoImageData);
    model_.WriteImageToc(image_);
    for (auto* buffer : {&s_.stored.bytes, &s_.pixels, &s_.scaled, &s_.encoded, &s_.block,
                         &s_.packed}) {
      buffer->clear();
    }
  }

  ImageRecord& image_;
  StreamImageScratch& s_;
  uint32_t const effort_;
  StreamImageModel& model_;
  DecodedImage decoded_;
  uint8_t* pixels_ = nullptr;  // the work image: in s_.pixels or decoded_
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t channels_ = 0;
};

void LogOptimized(Logger* log, size_t count, std::chrono::steady_clock::time_point start) {
  if (log == nullptr) return;
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - start)
                      .count();
  char line[96];
  if (count == 1) {
    std::snprintf(line, sizeof line, "Optimized 1 stream image in %u ms.", unsigned(ms));
  } else {
    std::snprintf(line, sizeof line, "Optimized %u stream images in %u ms.", unsigned(count),
                  unsigned(ms));
  }
  log->Message(line);
}

}  // namespace

void OptimizeStreamImage(ImageRecord& image, StreamImageScratch& scratch, uint32_t effort,
                         StreamImageModel& model) {
  if (!image.toc.empty()) return;
  if (model.IsReadOnly()) {
    image.toc.push_back(kNoImageData);
    return;
  }
  ImageOptimizer(image, scratch, effort, model).Run();
}

void OptimizeStreamImages(KeyTable<ImageRecord>& images, StreamImageScratch& scratch,
                          uint32_t effort, StreamImageModel& model,
                          std::chrono::steady_clock::time_point start) {
  if (images.empty()) return;
  for (auto& entry : images) {
    if (entry.value.duplicate_of == 0) OptimizeStreamImage(entry.value, scratch, effort, model);
  }
  LogOptimized(model.Log(), images.size(), start);
}

}  // namespace QX::Store
