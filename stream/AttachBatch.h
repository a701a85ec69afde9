#pragma once
// Attaching the resolved requests that a pass took: stream ids, inclusions,
// the set-up records of roots, the trees, and the items of each inclusion.
#include <cstdint>
#include <vector>

#include "stream/AttachRequest.h"

namespace QX::Store {

class StreamState;

// Attaches `batch` in order and returns the number of models attached.
uint32_t AttachBatch(StreamState& state, std::vector<AttachRequest>& batch);

// Sorts the priority keyed data of every attach group by type word.
void SortKeyedLists(StreamState& state);

}  // namespace QX::Store
