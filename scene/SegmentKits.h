#pragma once
// Settings that belong to one segment and aren't inherited: culling,
// bounding, attribute locks and the camera; and the drawing attributes.
#include <map>
#include <optional>

#include "scene/Enums.h"
#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"

namespace KZV {

class CullingKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !vector_; }
  CullingKit& SetVector(bool state, Vector const& direction);
  bool ShowVector(bool& state, Vector& direction) const;

 private:
  struct VectorCulling {
    bool state;
    Vector direction;
  };
  std::optional<VectorCulling> vector_;
};

class BoundingKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !exclusion_; }
  BoundingKit& SetExclusion(bool on) { exclusion_ = on; return *this; }
  bool ShowExclusion(bool& out) const;

 private:
  std::optional<bool> exclusion_;
};

class AttributeLockKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return locks_.empty(); }
  AttributeLockKit& SetLock(AttributeLock::Type type, bool on);
  bool ShowLock(AttributeLock::Type type, bool& out) const;

 private:
  std::map<AttributeLock::Type, bool> locks_;
};

// A camera; the scene only cares whether a segment has one.
class CameraKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !position_ && !target_ && !up_; }
  CameraKit& SetPosition(Point const& p) { position_ = p; return *this; }
  CameraKit& SetTarget(Point const& p) { target_ = p; return *this; }
  CameraKit& SetUpVector(Vector const& v) { up_ = v; return *this; }
  bool ShowPosition(Point& out) const;
  bool ShowTarget(Point& out) const;
  bool ShowUpVector(Vector& out) const;

 private:
  std::optional<Point> position_, target_;
  std::optional<Vector> up_;
};

class DrawingAttributeKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !handedness_; }
  DrawingAttributeKit& SetPolygonHandedness(Drawing::Handedness h) { handedness_ = h; return *this; }
  bool ShowPolygonHandedness(Drawing::Handedness& out) const;
  DrawingAttributeKit& Merge(DrawingAttributeKit const& other);

 private:
  std::optional<Drawing::Handedness> handedness_;
};

}  // namespace KZV
