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

// The stream form of one image, computed from its stored bytes into the
// scratch, without touching the model.
class ImageOptimizer {
 public:
  ImageOptimizer(uint32_t key, StreamImageScratch& scratch, uint32_t effort)
      : key_(key), s_(scratch), effort_(effort) {}

  ~ImageOptimizer() {
    if (decoded_.pixels) FreeDecodedImage(decoded_);
  }

  void Run() {
    if (s_.stored.bytes.empty()) return;
    if (!LoadPixels()) return Fail();
    StripOpaqueAlpha();
    bool const resized = width_ > kMaxSide || height_ > kMaxSide;
    if (resized && !Resize()) return Fail();
    if (IsSmall(width_, height_)) {
      WriteRawMain();
    } else {
      WritePreview();
      WriteMain(resized);
    }
  }

 private:
  size_t PixelBytes() const { return size_t{width_} * height_ * channels_; }

  void Fail() { s_.no_data = true; }

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
      if (decoded_.too_large) NoteTooLarge();
      return false;
    }
    width_ = decoded_.width, height_ = decoded_.height, channels_ = decoded_.channels;
    pixels_ = decoded_.pixels;
    return channels_ >= 1 && channels_ <= 4;
  }

  void NoteTooLarge() {
    char line[160];
    std::snprintf(line, sizeof line, "Image %u of %u x %u pixels is too large to decode in memory.",
                  key_, decoded_.width, decoded_.height);
    s_.note = line;
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
    EncodeImageBlock({key_, RawCode(), RawCode(), width_, height_}, Pixels(), s_.block);
    bool const packed =
        s_.block.size() > kRawBlockLimit &&
        s_.compressor.Compress(s_.block, s_.packed, kZstdMethod, effort_);
    s_.pieces.push_back({kImageTocMain, RawCode(), packed ? &s_.packed : &s_.block});
  }

  void WritePreview() {
    s_.scaled.resize(size_t{kPreviewSide} * kPreviewSide * channels_);
    if (!ResizeImage(pixels_, width_, height_, s_.scaled.data(), kPreviewSide, kPreviewSide,
                     channels_)) {
      return;
    }
    EncodeImageBlock({key_, RawCode(), RawCode() | kPreviewFlag, kPreviewSide, kPreviewSide},
                     s_.scaled, s_.preview);
    s_.pieces.push_back({kImageTocPreview, RawCode(), &s_.preview});
  }

  // A PNG or JPEG file that keeps its size is sent as stored.
  void WriteMain(bool resized) {
    uint32_t const stored = s_.stored.format;
    if (!resized && (stored == kImageFileUnchanged || stored == kImageFilePng)) {
      s_.pieces.push_back({kImageTocStored, stored, nullptr});
      return;
    }
    if (!EncodePng(pixels_, width_, height_, channels_, s_.encoded)) return;
    uint32_t const size = uint32_t(s_.encoded.size());
    EncodeImageBlock({key_, kImageFilePng, RawCode(), size, 1}, s_.encoded, s_.block);
    s_.pieces.push_back({kImageTocMain, RawCode(), &s_.block});
  }

  uint32_t const key_;
  StreamImageScratch& s_;
  uint32_t const effort_;
  DecodedImage decoded_;
  uint8_t* pixels_ = nullptr;  // the work image: in s_.pixels or decoded_
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t channels_ = 0;
};

// Appends a block at the end of the stream file and returns its offset.
uint64_t Append(std::vector<uint8_t> const& block, StreamImageModel& model) {
  File& file = model.StreamImages();
  int64_t const offset = file.Seek(0, kSeekEnd);
  if (offset < 0 || file.Write(block.data(), block.size()) != block.size()) {
    std::string const text = "Unable to write data: " + PathToUtf8(file.Path());
    if (Logger* log = model.Log()) log->Message(text.c_str());
    throw Exception(text);
  }
  return uint64_t(offset);
}

void Clear(StreamImageScratch& s) {
  for (auto* buffer : {&s.stored.bytes, &s.pixels, &s.scaled, &s.encoded, &s.preview, &s.block,
                       &s.packed}) {
    buffer->clear();
  }
  s.pieces.clear();
  s.no_data = false;
  s.note.clear();
}

}  // namespace

void ReadStreamImage(ImageRecord const& image, StreamImageScratch& scratch, StreamImageModel& model) {
  Clear(scratch);
  if (!model.ReadImage(image, scratch.stored)) {
    scratch.stored.bytes.clear();
    scratch.no_data = true;
  }
}

void ComputeStreamImage(uint32_t key, StreamImageScratch& scratch, uint32_t effort) {
  if (scratch.no_data) return;
  ImageOptimizer(key, scratch, effort).Run();
}

void WriteStreamImage(ImageRecord& image, StreamImageScratch& scratch, StreamImageModel& model) {
  if (!scratch.note.empty()) {
    if (Logger* log = model.Log()) log->Message(scratch.note.c_str());
  }
  for (StreamImagePiece const& piece : scratch.pieces) {
    if (piece.block == nullptr) {
      image.toc.push_back({0, 0, piece.kind, piece.format, 0});
      continue;
    }
    uint64_t const offset = Append(*piece.block, model);
    image.toc.push_back({offset, uint32_t(piece.block->size()), piece.kind, piece.format, 0});
  }
  if (scratch.no_data) image.toc.push_back(kNoImageData);
  model.WriteImageToc(image);
  Clear(scratch);
}

void OptimizeStreamImage(ImageRecord& image, StreamImageScratch& scratch, uint32_t effort,
                         StreamImageModel& model) {
  if (!image.toc.empty()) return;
  if (model.IsReadOnly()) {
    image.toc.push_back(kNoImageData);
    return;
  }
  ReadStreamImage(image, scratch, model);
  ComputeStreamImage(image.key, scratch, effort);
  WriteStreamImage(image, scratch, model);
}

}  // namespace QX::Store
