#include "scene/VisibilityKit.h"

#include "scene/KitSetting.h"

namespace KZV {

using detail::MergeSetting;
using detail::ShowSetting;

bool VisibilityKit::Empty() const {
  return !faces_ && !lines_ && !vertices_ && !text_ && !face_lights_ && !edge_lights_ && !marker_lights_;
}

VisibilityKit& VisibilityKit::SetEverything(bool on) {
  faces_ = lines_ = vertices_ = text_ = face_lights_ = edge_lights_ = marker_lights_ = on;
  return *this;
}

bool VisibilityKit::ShowFaces(bool& out) const { return ShowSetting(faces_, out); }
bool VisibilityKit::ShowLines(bool& out) const { return ShowSetting(lines_, out); }
bool VisibilityKit::ShowVertices(bool& out) const { return ShowSetting(vertices_, out); }
bool VisibilityKit::ShowText(bool& out) const { return ShowSetting(text_, out); }
bool VisibilityKit::ShowFaceLights(bool& out) const { return ShowSetting(face_lights_, out); }
bool VisibilityKit::ShowEdgeLights(bool& out) const { return ShowSetting(edge_lights_, out); }
bool VisibilityKit::ShowMarkerLights(bool& out) const { return ShowSetting(marker_lights_, out); }

VisibilityKit& VisibilityKit::Merge(VisibilityKit const& other) {
  MergeSetting(faces_, other.faces_);
  MergeSetting(lines_, other.lines_);
  MergeSetting(vertices_, other.vertices_);
  MergeSetting(text_, other.text_);
  MergeSetting(face_lights_, other.face_lights_);
  MergeSetting(edge_lights_, other.edge_lights_);
  MergeSetting(marker_lights_, other.marker_lights_);
  return *this;
}

}  // namespace KZV
