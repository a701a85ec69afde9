#pragma once
// Descriptions of the curves and surfaces that need more than a few
// arguments to insert.
#include "scene/Types.h"

namespace KZV {

// A NURBS curve of `degree` over `points`. Empty weights mean all 1; empty
// knots mean a clamped uniform vector. The curve runs over the part
// [start, end] of its parameter range, both in 0 to 1.
struct NURBSCurveShape {
  size_t degree = 3;
  PointArray points;
  FloatArray weights;
  FloatArray knots;
  float start = 0, end = 1;
};

// A NURBS surface of u_count by v_count points, u running fastest.
struct NURBSSurfaceShape {
  size_t u_degree = 3, v_degree = 3;
  size_t u_count = 0, v_count = 0;
  PointArray points;
  FloatArray weights;
  FloatArray u_knots, v_knots;
};

enum class CylinderCaps : uint32_t { None = 0, First = 1, Second = 2, Both = 3 };

}  // namespace KZV
