#pragma once
// Which classes of elements are drawn. Every setting is optional; the net
// visibility of a path merges the kits of its segments, the lower ones
// overriding the higher.
#include <optional>

#include "scene/Object.h"
#include "scene/TypeCodes.h"

namespace KZV {

class VisibilityKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override;
  bool operator==(VisibilityKit const&) const = default;

  VisibilityKit& SetEverything(bool on);
  VisibilityKit& SetFaces(bool on) { faces_ = on; return *this; }
  VisibilityKit& SetLines(bool on) { lines_ = on; return *this; }
  VisibilityKit& SetVertices(bool on) { vertices_ = on; return *this; }
  VisibilityKit& SetText(bool on) { text_ = on; return *this; }
  VisibilityKit& SetFaceLights(bool on) { face_lights_ = on; return *this; }
  VisibilityKit& SetEdgeLights(bool on) { edge_lights_ = on; return *this; }
  VisibilityKit& SetMarkerLights(bool on) { marker_lights_ = on; return *this; }

  bool ShowFaces(bool& out) const;
  bool ShowLines(bool& out) const;
  bool ShowVertices(bool& out) const;
  bool ShowText(bool& out) const;
  bool ShowFaceLights(bool& out) const;
  bool ShowEdgeLights(bool& out) const;
  bool ShowMarkerLights(bool& out) const;

  // Takes over every setting that `other` holds.
  VisibilityKit& Merge(VisibilityKit const& other);

 private:
  std::optional<bool> faces_, lines_, vertices_, text_, face_lights_, edge_lights_, marker_lights_;
};

}  // namespace KZV
