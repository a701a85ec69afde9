#pragma once
// Triangulation of single polygon faces.
#include <array>
#include <vector>

#include "scene/Types.h"

namespace KZV::detail {

using Triangle = std::array<int, 3>;

// The normal of a loop of points by Newell's rule: it follows the
// right-hand rule of the loop's order and its length is twice the area.
Vector NewellNormal(PointArray const& points, int const* indices, size_t count);

// Appends the triangles of a simple polygon, convex or concave, given by
// point indices. Each triangle keeps the polygon's winding.
void TriangulateFace(PointArray const& points, int const* indices, size_t count, std::vector<Triangle>& out);

}  // namespace KZV::detail
