#include "scene/detail/PathSegments.h"

#include "scene/detail/Entities.h"

namespace KZV::detail {

namespace {

// The type code of a key names the class of its entity, so no dynamic cast
// is needed.
std::shared_ptr<SegmentData> SegmentOf(Key const& key) {
  if (key.Type() != TypeCode::Segment) return nullptr;
  return std::static_pointer_cast<SegmentData>(KeyAccess::Lock(key));
}

void PushSegment(SegmentList& out, std::shared_ptr<SegmentData> segment) {
  if (segment && (out.empty() || out.back() != segment)) out.push_back(std::move(segment));
}

// Adds the owners above the last segment of `out` up to `stop`, without
// `stop` itself; adds nothing if `stop` isn't among them. An owner right
// above is the common case and costs no list.
void Climb(SegmentList& out, SegmentData const* stop) {
  if (out.empty()) return;
  auto s = out.back()->owner.lock();
  if (!s || s.get() == stop) return;
  SegmentList chain;
  for (; s; s = s->owner.lock()) {
    if (s.get() == stop) {
      out.insert(out.end(), chain.begin(), chain.end());
      return;
    }
    chain.push_back(s);
  }
}

}  // namespace

void PathSegments(Key const* keys, size_t count, SegmentList& out) {
  out.clear();
  for (size_t i = 0; i < count; ++i) {
    Key const& key = keys[i];
    if (key.Type() == TypeCode::Segment) {
      auto segment = SegmentOf(key);
      if (!segment) continue;
      PushSegment(out, std::move(segment));
    } else if (key.Type() == TypeCode::Include) {
      auto entity = KeyAccess::Lock(key);
      if (!entity) continue;
      PushSegment(out, entity->owner.lock());
    } else {
      continue;
    }
    if (i + 1 == count) break;
    if (auto next = SegmentOf(keys[i + 1])) Climb(out, next.get());
  }
}

bool LocksVisibility(SegmentData const& segment) {
  bool locked = false;
  return segment.attributes.lock && segment.attributes.lock->ShowLock(AttributeLock::Type::Visibility, locked) &&
         locked;
}

}  // namespace KZV::detail
