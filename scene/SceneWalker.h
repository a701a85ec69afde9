#pragma once
// Depth-first walk of the segment tree below a key path.
#include <functional>

#include "scene/GrownKeyPath.h"

namespace KZVI::Helpers {

// Walks from the segment at the leaf end of a path: on entering a segment
// `segment_filter` decides whether to go in; the child segments are then
// walked in the order of creation, and after them the includes, each
// followed if `include_filter` allows it; on leaving the segment the
// visitor is called, after everything below it.
class SceneWalker {
 public:
  using Filter = std::function<bool(GrownKeyPath const&)>;
  using Visitor = std::function<void(GrownKeyPath const&)>;

  SceneWalker(Filter include_filter, Filter segment_filter, Visitor visitor)
      : include_filter_(std::move(include_filter)),
        segment_filter_(std::move(segment_filter)),
        visitor_(std::move(visitor)) {}

  void Walk(KZV::KeyPath const& start) const;

 private:
  void WalkSegment(GrownKeyPath& path) const;

  Filter include_filter_;
  Filter segment_filter_;
  Visitor visitor_;
};

}  // namespace KZVI::Helpers
