// Image insertion with duplicate detection, and reading stored images back.
#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "files/File.h"
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/FileErrors.h"
#include "store/ImageValidation.h"
#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {
namespace {

struct ImageInput {
  uint32_t width;
  uint32_t height;
  uint32_t format;
  uint8_t const* bytes;
  uint32_t size;
};

// Fills the content tables from the records, once per open.
void BuildImageContentTables(ModelImpl& model) {
  if (model.image_candidates) return;
  model.image_candidates = std::make_unique<ContentTable>();
  model.image_duplicates = std::make_unique<ContentTable>();
  for (auto const& [key, image] : model.images) {
    if (image.content_hash != 0) (*model.image_candidates)[image.content_hash].push_back(key);
    if (image.duplicate_of != 0) (*model.image_duplicates)[image.duplicate_of].push_back(key);
  }
}

bool SameImage(ModelImpl& model, ImageKey candidate_key, ImageInput const& input) {
  ImageRecord const* candidate = model.images.Find(candidate_key);
  if (!candidate || candidate->format != input.format) return false;
  ImagePixels stored;
  if (!model.ReadImage(*candidate, stored)) return false;
  return stored.width == input.width && stored.height == input.height &&
         stored.format == input.format && stored.bytes.size() == input.size &&
         (input.size == 0 || std::memcmp(stored.bytes.data(), input.bytes, input.size) == 0);
}

// The first stored image with equal content, or 0. A hash match alone never
// counts: every candidate is compared byte for byte.
ImageKey FindDuplicate(ModelImpl& model, std::vector<uint32_t> const& candidates,
                       ImageInput const& input) {
  for (ImageKey candidate : candidates) {
    if (SameImage(model, candidate, input)) return candidate;
  }
  return 0;
}

ImageKey InsertImage(ModelImpl& model, ImageInput const& input) {
  BuildImageContentTables(model);
  ImageRecord record;
  record.key = model.next.image;
  record.format = input.format;

  File& file = *model.images_file;
  model.EnsureOpen(file, kImagesName, true);
  uint64_t const hash = ImageContentHash(input.width, input.height, input.format, input.bytes,
                                         input.size);
  std::vector<uint32_t>& candidates = (*model.image_candidates)[hash];
  if (ImageKey const original = FindDuplicate(model, candidates, input)) {
    record.duplicate_of = original;
    ++model.image_duplicate_count;
    (*model.image_duplicates)[original].push_back(record.key);
  } else {
    auto const head = EncodeImageHead(input.width, input.height, input.format);
    record.stored_offset =
        AppendToFile(model, file, kImagesName, {head, std::span(input.bytes, input.size)});
    record.content_hash = hash;
    candidates.push_back(record.key);
  }
  ImageKey const key = model.next.image++;
  model.images.Insert(key, std::move(record));
  model.dirty = true;
  return key;
}

ImageKey InsertRawImage(ModelImpl& model, uint32_t width, uint32_t height, void const* pixels,
                        uint32_t format) {
  model.TestWritable();
  if (!ImageFitsRecord(width, height, format)) {
    throw std::length_error("image of more than 4 GiB of pixels");
  }
  uint32_t const size = ImageByteCount(width, height, format);
  if (size > 0 && !pixels) throw std::invalid_argument("image without pixels");
  return InsertImage(model, {width, height, format, static_cast<uint8_t const*>(pixels), size});
}

uint32_t EncodedImageCode(ImageFormat format) {
  static constexpr std::array<uint32_t, 3> kCodes = {kImageFilePng, kImageFileUnchanged,
                                                     kImageFileConverted};
  if (format >= kCodes.size()) throw Exception("Invalid ImageFormat.");
  return kCodes[format];
}

}  // namespace

ImageKey ModelImpl::InsertImageRGBA(uint32_t width, uint32_t height, void const* pixels) {
  return InsertRawImage(*this, width, height, pixels, kImageRGBA);
}

ImageKey ModelImpl::InsertImageRGB(uint32_t width, uint32_t height, void const* pixels) {
  return InsertRawImage(*this, width, height, pixels, kImageRGB);
}

ImageKey ModelImpl::InsertImageGray(uint32_t width, uint32_t height, void const* pixels) {
  return InsertRawImage(*this, width, height, pixels, kImageGray);
}

ImageKey ModelImpl::InsertEncodedImage(uint32_t size, void const* bytes, ImageFormat format) {
  TestWritable();
  uint32_t const code = EncodedImageCode(format);
  std::string reason;
  if (!ValidateEncodedImage(size, bytes, code, reason)) {
    ThrowLogged(logger, "Image validation failed: " + reason);
  }
  return InsertImage(*this, {size, 1, code, static_cast<uint8_t const*>(bytes), size});
}

bool ModelImpl::ReadImage(ImageRecord const& image, ImagePixels& out) {
  File* file = EnsureOpen(*images_file, kImagesName, false);
  std::vector<uint8_t> head;
  bool good = ReadAt(file, image.stored_offset, kImageHeadSize, head);
  if (good) {
    DecodeImageHead(head.data(), out);
    good = ReadAt(file, image.stored_offset + kImageHeadSize,
                  ImageByteCount(out.width, out.height, out.format), out.bytes);
  }
  if (!good) {
    out.bytes.clear();
    Log("Failed reading ImageId (%u , %u)", id, image.key);
  }
  return good;
}

}  // namespace QX::Store
