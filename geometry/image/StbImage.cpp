// The one translation unit that compiles the stb decoders (JPEG, PNG and BMP
// only) and the stb resizer. The decoders allocate through a bound, so that
// a small hostile file (a deflate bomb in a PNG, say) can't make them ask
// for gigabytes.
#include <cstddef>
#include <cstdlib>

#include "geometry/image/ImageCodec.h"

namespace {

void* BoundedMalloc(size_t size) {
  return size <= QX::Store::DecodeMemoryLimit() ? std::malloc(size) : nullptr;
}

void* BoundedRealloc(void* block, size_t size) {
  return size <= QX::Store::DecodeMemoryLimit() ? std::realloc(block, size) : nullptr;
}

}  // namespace

#define STBI_MALLOC(size) BoundedMalloc(size)
#define STBI_REALLOC(block, size) BoundedRealloc(block, size)
#define STBI_FREE(block) std::free(block)
#define STBI_NO_STDIO
#define STBI_ONLY_JPEG
#define STBI_ONLY_PNG
#define STBI_ONLY_BMP
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#define STB_IMAGE_RESIZE_IMPLEMENTATION
#include <stb_image_resize.h>
