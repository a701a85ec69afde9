#pragma once
// Matrices of the store (four rows of three, row-vector convention) and
// their 4 x 4 column-vector form.
#include <array>
#include <cstdint>

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

// Row-major 4 x 4: element (r, c) at [r * 4 + c]; acts on column vectors.
using Matrix4 = std::array<double, 16>;

// The matrix that applies `a` first and then `b`.
Matrix Concat(Matrix const& a, Matrix const& b);

// The 4 x 4 form: element (r, c) is component r of row c for r below 3, and
// the last row is 0, 0, 0, 1.
Matrix4 Expand(Matrix const& m);

// Carries points through the matrix, in place.
void TransformPoints(Matrix const& m, PointD* points, uint64_t count);
void TransformPoints(Matrix const& m, Point* points, uint64_t count);

// Carries a camera through `m` (the Expand layout) so that it shows the same
// picture of the transformed scene. Changes nothing if `m` is the identity.
void TransformCamera(PointD& position, PointD& target, PointD& up, double& width,
                     double& height, Matrix4 const& m);

}  // namespace QX::Store
