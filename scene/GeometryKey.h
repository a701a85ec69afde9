#pragma once
// Keys of geometry: the common base and the kinds without operations of
// their own beyond construction.
#include "scene/Key.h"
#include "scene/Types.h"

namespace KZV {

class ReferenceKey;
class TextKit;
using ReferenceKeyArray = std::vector<ReferenceKey>;

class GeometryKey : public Key {
 public:
  GeometryKey() = default;
  explicit GeometryKey(Key const& key) : Key(key) {}

  // The references that point at this geometry; returns their count.
  size_t ShowReferrers(ReferenceKeyArray& out) const;
  // User data: a list of byte strings, each under an index of its own.
  GeometryKey& SetUserData(int64_t index, ByteArray const& data);
  size_t ShowUserData(Int64Array& indices, ByteArrayArray& data) const;
};

#define KZV_GEOMETRY_KEY(Name)                             \
  class Name : public GeometryKey {                        \
   public:                                                 \
    Name() = default;                                      \
    explicit Name(Key const& key) : GeometryKey(key) {}    \
  }

KZV_GEOMETRY_KEY(CircleKey);
KZV_GEOMETRY_KEY(CircularArcKey);
KZV_GEOMETRY_KEY(CircularWedgeKey);
KZV_GEOMETRY_KEY(CylinderKey);
KZV_GEOMETRY_KEY(EllipseKey);
KZV_GEOMETRY_KEY(EllipticalArcKey);
KZV_GEOMETRY_KEY(MeshKey);
KZV_GEOMETRY_KEY(NURBSCurveKey);
KZV_GEOMETRY_KEY(NURBSSurfaceKey);
KZV_GEOMETRY_KEY(PolygonKey);
KZV_GEOMETRY_KEY(SphereKey);

#undef KZV_GEOMETRY_KEY

class LineKey : public GeometryKey {
 public:
  LineKey() = default;
  explicit LineKey(Key const& key) : GeometryKey(key) {}
  size_t ShowPoints(PointArray& out) const;
};

class TextKey : public GeometryKey {
 public:
  TextKey() = default;
  explicit TextKey(Key const& key) : GeometryKey(key) {}
  bool Show(TextKit& out) const;
};

}  // namespace KZV
