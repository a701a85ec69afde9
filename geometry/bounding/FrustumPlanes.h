#pragma once
// The six planes of a camera, in float, and the box test against them.
#include <array>
#include <cstddef>  // store/Types.h uses size_t without including it

#include "geometry/bounding/VolumePlane.h"
#include "store/Types.h"

namespace QX::Store {

struct FrustumPlanes {
  std::array<PlaneOf<float>, 6> planes;
};

// `m` is the combined camera matrix as stored, column after column. The
// planes are not normalised.
FrustumPlanes MakeFrustumPlanes(std::array<float, 16> const& m);

// True unless the box (centre, half extents) lies wholly behind a plane:
// each plane is tested at the box corner furthest along its normal.
bool BoxInFrustum(FrustumPlanes const& planes, Point const& center, Point const& half);

}  // namespace QX::Store
