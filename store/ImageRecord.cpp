#include "store/ImageRecord.h"

#include <xxhash.h>

#include "store/DataBlocks.h"

namespace QX::Store {

uint64_t ImageContentHash(uint32_t width, uint32_t height, uint32_t format, void const* bytes,
                          uint32_t size) {
  // The head enters the hash in its file form, so equal records hash equally
  // on every host.
  auto const head = EncodeImageHead(width, height, format);
  XXH64_state_t* state = XXH64_createState();
  XXH64_reset(state, kImageHashSeed);
  XXH64_update(state, head.data(), head.size());
  if (size > 0) XXH64_update(state, bytes, size);
  uint64_t const hash = XXH64_digest(state);
  XXH64_freeState(state);
  return hash;
}

}  // namespace QX::Store
