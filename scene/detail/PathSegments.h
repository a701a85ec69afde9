#pragma once
// The segments that a key path passes through, from which every net
// attribute of the path is merged.
#include <cstddef>
#include <memory>
#include <vector>

#include "scene/Key.h"

namespace KZV::detail {

struct SegmentData;
using SegmentList = std::vector<std::shared_ptr<SegmentData>>;

// The segments of `count` keys, leaf first, into `out`: a segment key gives
// its segment, an include the segment that holds it, and the owners that
// the path leaves out between a key and the segment key above it are filled
// in. A segment is never listed twice in a row; keys of dead entities and of
// anything else add nothing.
void PathSegments(Key const* keys, size_t count, SegmentList& out);

// True if the segment locks visibility, so that lower segments can't change it.
bool LocksVisibility(SegmentData const& segment);

}  // namespace KZV::detail
