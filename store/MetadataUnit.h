#pragma once
// What the unit scale of a model needs of its metadata block (keyed data 1):
// whether the block is a head that keeps the tree under another key, and the
// unit of the tree's root node.
#include <cstdint>
#include <span>

#include "store/Types.h"

namespace QX::Store {

// True if `block` is a head; `root` receives the key of the block that holds
// the tree.
bool ParseMetadataHead(std::span<uint8_t const> block, DataKey& root);

// True if `block` is a whole node; `unit` receives its unit, 0 for unknown.
bool ParseMetadataUnit(std::span<uint8_t const> block, double& unit);

}  // namespace QX::Store
