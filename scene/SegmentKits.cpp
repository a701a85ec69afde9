#include "scene/SegmentKits.h"

#include "scene/KitSetting.h"

namespace KZV {

using detail::ShowSetting;

CullingKit& CullingKit::SetVector(bool state, Vector const& direction) {
  vector_ = VectorCulling{state, direction};
  return *this;
}

bool CullingKit::ShowVector(bool& state, Vector& direction) const {
  if (!vector_) return false;
  state = vector_->state;
  direction = vector_->direction;
  return true;
}

bool BoundingKit::ShowExclusion(bool& out) const { return ShowSetting(exclusion_, out); }

AttributeLockKit& AttributeLockKit::SetLock(AttributeLock::Type type, bool on) {
  locks_[type] = on;
  return *this;
}

bool AttributeLockKit::ShowLock(AttributeLock::Type type, bool& out) const {
  auto it = locks_.find(type);
  if (it == locks_.end()) return false;
  out = it->second;
  return true;
}

bool CameraKit::ShowPosition(Point& out) const { return ShowSetting(position_, out); }
bool CameraKit::ShowTarget(Point& out) const { return ShowSetting(target_, out); }
bool CameraKit::ShowUpVector(Vector& out) const { return ShowSetting(up_, out); }

bool DrawingAttributeKit::ShowPolygonHandedness(Drawing::Handedness& out) const {
  return ShowSetting(handedness_, out);
}

DrawingAttributeKit& DrawingAttributeKit::Merge(DrawingAttributeKit const& other) {
  detail::MergeSetting(handedness_, other.handedness_);
  return *this;
}

}  // namespace KZV
