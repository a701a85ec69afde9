// The metadata reader isn't part of the store yet. Until it is, no block has
// a head and none parses, so every model has the unknown unit scale 0.
#include "store/MetadataUnit.h"

namespace QX::Store {

bool ParseMetadataHead(std::span<uint8_t const>, DataKey&) { return false; }

bool ParseMetadataUnit(std::span<uint8_t const>, double&) { return false; }

}  // namespace QX::Store
