#pragma once
// Boxes that a viewer draws in place of what hasn't arrived: a few large
// boxes for the model as a whole, one for each of the next instances of the
// queue, and one for each instance that the memory budget holds out. Each
// list goes out as a p record whenever it changed.
#include <cstdint>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class PriorityBuckets;
class StreamState;
struct StreamInstance;

struct BoundingPreview {
  BoundingBox bounds;         // inverted: the preview is gone
  BoundingBox loaded_bounds;  // union of the members whose data arrived
  std::vector<StreamInstance*> members;
  float volume = 0;
  float threshold = 0;  // loaded volume at which the preview goes
};

struct PreviewList {
  std::vector<BoundingPreview> previews;
  uint32_t version = 0;
  uint32_t sent_version = 0;
};

struct PreviewSet {
  PreviewList models, instances, ejected;
  bool instances_stale = false;  // the instance list waits for a rebuild
};

// Volume of a box: 0 if all extents are 0, else the product of those above
// 0, 1.0 if none is.
float Volume(BoundingBox const& box);

// Keeps or rebuilds the lists as the flags and the pass ask; `invalid`
// tells that the queue of the pass was emptied. Drops the set when no
// preview flag is set.
void UpdatePreviews(StreamState& state, bool invalid);
// Before the emission: the instance previews of the queue's next items.
void RefreshInstancePreviews(StreamState& state, bool camera_changed);
// After an emission: the previews of ejected items, if they changed.
void RefreshEjectedPreviews(StreamState& state);
// An item's data went out: its previews shrink or go.
void PreviewLoaded(StreamState& state, StreamInstance& item);
// Writes a p record for each list that changed.
void SendPreviews(StreamState& state);
// Clears the instance and ejected lists, tells the viewer, drops the set.
void DropPreviews(StreamState& state);

// The model previews of the items whose data hasn't gone out, grouped in a
// spatial tree within `bounds`; the number of previews.
uint32_t BuildModelPreviews(PreviewList& list, std::vector<StreamInstance*> const& items,
                            BoundingBox const& bounds, bool only_interesting);
// One preview for each of the queue's next (at most 128) items.
void BuildInstancePreviews(PreviewList& list, PriorityBuckets const& queue);

}  // namespace QX::Store
