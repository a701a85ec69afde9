#pragma once
// Boxes and points in double precision, and the box operations that carry
// float boxes through matrices. A box is empty when min exceeds max on an axis.
#include <array>
#include <cstddef>  // store/Types.h uses size_t without including it
#include <cstdint>
#include <limits>

#include "store/Types.h"

namespace QX::Store {

struct PointD {
  double x = 0, y = 0, z = 0;
  friend bool operator==(PointD const&, PointD const&) = default;
};

// The six values of a BoundingBox held as doubles, in the same order. The
// default is the empty box of the float form.
struct BoundingBoxD {
  double min_x = std::numeric_limits<float>::max();
  double min_y = std::numeric_limits<float>::max();
  double min_z = std::numeric_limits<float>::max();
  double max_x = -std::numeric_limits<float>::max();
  double max_y = -std::numeric_limits<float>::max();
  double max_z = -std::numeric_limits<float>::max();

  bool Valid() const { return min_x <= max_x && min_y <= max_y && min_z <= max_z; }
  friend bool operator==(BoundingBoxD const&, BoundingBoxD const&) = default;
};

BoundingBoxD ToDouble(BoundingBox const& box);
BoundingBox ToFloat(BoundingBoxD const& box);

// Box of an array of points. Doubles are narrowed to float first. For no
// points every value is 0, which is a (point) box and not the empty one.
BoundingBox ScanPoints(Point const* points, uint64_t count);
BoundingBox ScanPoints(PointD const* points, uint64_t count);

// The eight corners, x varying fastest, then y, then z.
std::array<PointD, 8> BoxCorners(BoundingBoxD const& box);

// Corners through the matrix, and the double box of their images.
BoundingBoxD TransformBox(BoundingBoxD const& box, Matrix const& matrix);

// Widens `into` to hold `box`: min of mins and max of maxes per axis.
void Unite(BoundingBox& into, BoundingBox const& box);

// True when `inner` lies wholly inside `outer`, boundaries included.
bool Contains(BoundingBox const& outer, BoundingBox const& inner);

}  // namespace QX::Store
