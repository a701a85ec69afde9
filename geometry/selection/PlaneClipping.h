#pragma once
// Cutting segments and triangles with a plane given by its plain row
// (a, b, c, d): the positive side is where a x + b y + c z + d >= 0.
#include <array>
#include <optional>
#include <vector>

#include "geometry/bounding/VolumePlane.h"
#include "geometry/selection/PointMath.h"

namespace QX::Store {

using Triangle = std::array<PointD, 3>;

// Where the plane cuts the segment p q, if it does within a parameter
// tolerance of 1e-7 at both ends. The ends are ordered first, so the
// result doesn't depend on the segment's direction.
std::optional<PointD> CutSegment(PlaneRow const& plane, PointD p, PointD q);

// Appends to `out` what of the triangle lies on the negative side of the
// plane: the whole triangle, nothing, one triangle or two. Windings are kept.
void ClipTriangle(PlaneRow const& plane, Triangle const& triangle, std::vector<Triangle>& out);

}  // namespace QX::Store
