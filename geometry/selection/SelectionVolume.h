#pragma once
// The shape of a volume selection: what the engine tests boxes, spheres,
// triangles, segments and points against, in double precision.
//
// A test result has two bits: bit 0 says that some of the tested thing lies
// outside, bit 1 that some of it lies inside; results of parts combine by OR.
#include <cstdint>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/BoundingSphere.h"

namespace QX::Store {

namespace VolumeTest {
inline constexpr uint32_t None = 0;  // nothing was tested
inline constexpr uint32_t Outside = 1;
inline constexpr uint32_t Inside = 2;
inline constexpr uint32_t Crossing = 3;
}  // namespace VolumeTest

class SelectionVolume {
 public:
  virtual ~SelectionVolume() = default;

  // True: a hit ends the search in a mesh. False: the nearest hit is wanted.
  virtual bool StopsAtFirstHit() const = 0;
  // -1 if the sphere can't touch the volume, else DistanceSquared of its
  // centre. May derive the sphere's radius.
  virtual double Rate(BoundingSphere& sphere) const = 0;
  // Squared distance of a point to the volume's reference point.
  virtual double DistanceSquared(PointD const& point) const = 0;
  virtual bool ContainsPoint(PointD const& point) const = 0;
  virtual uint32_t TestBox(BoundingBoxD const& box) const = 0;
  virtual uint32_t TestSphere(BoundingSphere& sphere) const = 0;
  // Three points; `hit` becomes a point of the triangle in the volume.
  virtual uint32_t TestTriangle(PointD const* points, PointD& hit) = 0;
  // Two points; `hit` becomes a point of the segment in the volume.
  virtual uint32_t TestSegment(PointD const* points, PointD& hit) = 0;
};

}  // namespace QX::Store
