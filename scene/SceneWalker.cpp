#include "scene/SceneWalker.h"

#include "scene/IncludeKey.h"
#include "scene/SegmentKey.h"

namespace KZVI::Helpers {

void SceneWalker::Walk(KZV::KeyPath const& start) const {
  if (start.Empty()) return;
  GrownKeyPath path(start);
  WalkSegment(path);
}

// The path ends in the segment to walk. Children and includes are listed
// before anything is walked, so that visits may change the segment.
void SceneWalker::WalkSegment(GrownKeyPath& path) const {
  if (!segment_filter_(path)) return;
  KZV::SegmentKey const segment(path.Peek());
  KZV::SegmentKeyArray children;
  KZV::IncludeKeyArray includes;
  segment.ShowSubsegments(children);
  segment.ShowIncludes(includes);
  for (auto const& child : children) {
    path.Push(child);
    WalkSegment(path);
    path.Pop();
  }
  for (auto const& include : includes) {
    path.Push(include);
    if (include_filter_(path)) {
      KZV::SegmentKey const target = include.GetTarget();
      if (!target.Empty()) {
        path.Push(target);
        WalkSegment(path);
        path.Pop();
      }
    }
    path.Pop();
  }
  visitor_(path);
}

}  // namespace KZVI::Helpers
