#pragma once
// The bounding tree as bytes: the file form with item lists, which the
// model keeps in _stream_bounding.qxd, and the stream form with node paths
// and no items, which clients receive. Both are little-endian records of a
// 16-byte head (tag 111, length, node count, weight sum) and the nodes
// depth first, empty children left out.
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "geometry/bounding/BoundingNode.h"

namespace QX::Store {

class File;

inline constexpr uint32_t kTreeTag = 111;  // 'o'
inline constexpr uint32_t kNodeTag = 79;   // 'O'

// Appends the file form. Sets each written node's weight.
void WriteTree(BoundingNode& root, std::vector<uint8_t>& bytes);

// Appends the stream form. Sets each written node's weight.
void WriteStreamTree(BoundingNode& root, std::vector<uint8_t>& bytes);

// Finds the item of an instance key; null if there is none.
using ItemLookup = std::function<BoundingItem*(uint32_t key)>;

// Reads a tree in file form from the start of `file`, or from `bytes` (the
// whole record). Each item found receives its stored weight and bounds.
// Null if the record is short, has a wrong tag or count, nests deeper than
// a built tree can, names an unknown key, or has bytes left over.
std::unique_ptr<BoundingNode> ReadTree(File& file, ItemLookup const& lookup);
std::unique_ptr<BoundingNode> ReadTree(std::span<uint8_t const> bytes, ItemLookup const& lookup);

// Reads only the head and the root's box of a tree file.
bool ReadRootBox(File& file, BoundingBox& out);

}  // namespace QX::Store
