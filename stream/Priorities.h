#pragma once
// Priorities of stream items: with a camera from their size and place on the
// screen, without one from their size alone.
#include <span>

namespace QX::Store {

class PriorityBuckets;
struct StreamInstance;
struct ViewState;

// Computes the priority of each item of `list`. With a queue, also lifts the
// pinned items (all items if `mark_all`) above the others, resets
// `view.cutoff_priority` and refills the queue in list order. Tree nodes
// are tested once per `view.frame_serial`.
void BuildPriorities(ViewState& view, bool stream_culled, bool mark_all,
                     std::span<StreamInstance* const> list, PriorityBuckets* queue);

}  // namespace QX::Store
