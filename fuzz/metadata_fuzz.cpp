// The metadata block (keyed data 1) and the node blocks it leads to: read as
// a head and as a node, the node in each of the byte forms the reader knows.
#include <cstdint>
#include <span>

#include "store/MetadataReader.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::span<uint8_t const> const block(data, size);
  QX::Store::MetadataHead head;
  QX::Store::ParseHead(block, head);
  for (bool const wide : {false, true}) {
    for (bool const new_kinds : {false, true}) {
      QX::Store::MetadataNode node;
      QX::Store::ParseNode(block, node, {wide, new_kinds});
    }
  }
  return 0;
}
