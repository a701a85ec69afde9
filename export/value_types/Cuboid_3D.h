#pragma once
// An axis-aligned box. The empty box has min at the largest finite value
// and max at its negative, so that merging any point makes it that point.
#include <cstddef>
#include <limits>

#include "export/value_types/Point_3D.h"

namespace KZV {

template <typename F>
struct Cuboid_3D {
  Point_3D<F> min = Limit_Point();
  Point_3D<F> max = -Limit_Point();

  Cuboid_3D() = default;
  Cuboid_3D(Point_3D<F> const& min_, Point_3D<F> const& max_) : min(min_), max(max_) {}
  Cuboid_3D(size_t count, Point_3D<F> const* points) {
    if (count == 0) return;
    min = max = points[0];
    Merge(count - 1, points + 1);
  }

  // A NaN coordinate replaces min and leaves max alone.
  Cuboid_3D& Merge(Point_3D<F> const& p) {
    for (int i = 0; i < 3; ++i)
      if (!(p[i] >= min[i])) min[i] = p[i];
    for (int i = 0; i < 3; ++i)
      if (p[i] > max[i]) max[i] = p[i];
    return *this;
  }

  // Takes the points in pairs: per axis only the smaller of a pair is tested
  // against min and only the larger against max.
  Cuboid_3D& Merge(size_t count, Point_3D<F> const* points) {
    size_t i = 0;
    for (; i + 1 < count; i += 2) merge2(points[i], points[i + 1]);
    if (i < count) Merge(points[i]);
    return *this;
  }

  Cuboid_3D& Expand(F d) {
    min -= Vector_3D<F>(d, d, d);
    max += Vector_3D<F>(d, d, d);
    return *this;
  }

  // Writes the 8 corners, z running fastest, then y, then x.
  void Generate_Cuboid_Points(Point_3D<F>* out) const {
    for (int i = 0; i < 8; ++i)
      out[i] = {(i & 4) ? max.x : min.x, (i & 2) ? max.y : min.y, (i & 1) ? max.z : min.z};
  }

  bool operator==(Cuboid_3D const& c) const { return min == c.min && max == c.max; }
  bool operator!=(Cuboid_3D const& c) const { return !(*this == c); }

 private:
  static Point_3D<F> Limit_Point() {
    F const m = std::numeric_limits<F>::max();
    return {m, m, m};
  }

  void merge2(Point_3D<F> const& p, Point_3D<F> const& q) {
    for (int i = 0; i < 3; ++i) {
      bool const p_smaller = p[i] < q[i];
      F const lo = p_smaller ? p[i] : q[i];
      F const hi = p_smaller ? q[i] : p[i];
      if (!(lo >= min[i])) min[i] = lo;
      if (hi > max[i]) max[i] = hi;
    }
  }
};

}  // namespace KZV
