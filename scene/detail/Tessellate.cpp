#include "scene/detail/Tessellate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>

#include "export/value_types/Exceptions.h"
#include "scene/TextShell.h"
#include "scene/detail/Entities.h"

namespace KZV::detail {
namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kDefaultRelativeDeviation = 1.0 / 200;
constexpr int kMaxChords = 4096;

using Homogeneous = std::array<double, 4>;  // x w, y w, z w, w

Vector Unit(Vector v) { return v.Normalize(); }

// Chords for a sweep of a circle of `radius` that keep within `deviation`.
int ChordCount(double sweep, double radius, double deviation) {
  if (!(deviation > 0)) deviation = radius * kDefaultRelativeDeviation;
  double const ratio = std::clamp(1.0 - deviation / radius, -1.0, 1.0);
  double const step = 2 * std::acos(ratio);
  if (!(step > 0)) return kMaxChords;
  int const n = int(std::ceil(std::fabs(sweep) / step));
  return std::clamp(n, 1, kMaxChords);
}

PointArray SampleArc(std::function<Point(double)> const& at, double sweep, int chords) {
  PointArray out;
  out.reserve(size_t(chords) + 1);
  for (int i = 0; i <= chords; ++i) out.push_back(at(sweep * i / chords));
  return out;
}

PointArray TessellateThreePoint(ThreePointData const& curve, float deviation) {
  Circle c;
  if (!CircleThroughPoints(curve.start, curve.middle, curve.end, c))
    throw InvalidSpecificationException("The three points of a circle lie on one line.");
  auto at = [&c](double t) { return c.center + (c.u * float(std::cos(t)) + c.v * float(std::sin(t))) * c.radius; };
  double const sweep = curve.type == TypeCode::Circle ? kTwoPi : c.sweep;
  PointArray points = SampleArc(at, sweep, std::max(ChordCount(sweep, c.radius, deviation), 3));
  if (curve.type == TypeCode::Circle) points.back() = points.front();
  if (curve.type == TypeCode::CircularWedge) {
    points.insert(points.begin(), c.center);
    points.push_back(c.center);
  }
  return points;
}

PointArray TessellateEllipse(EllipseData const& curve, float deviation) {
  Vector const a = curve.major - curve.center;
  Vector const b = curve.minor - curve.center;
  auto at = [&](double t) { return curve.center + a * float(std::cos(t)) + b * float(std::sin(t)); };
  bool const full = curve.type == TypeCode::Ellipse;
  double const start = full ? 0 : kTwoPi * curve.start;
  double const sweep = full ? kTwoPi : kTwoPi * (curve.end - curve.start);
  double const radius = std::max(a.Length(), b.Length());
  if (!(radius > 0)) throw InvalidSpecificationException("An ellipse needs axes of some length.");
  PointArray points = SampleArc([&](double t) { return at(start + t); }, sweep,
                                std::max(ChordCount(sweep, radius, deviation), 3));
  if (full) points.back() = points.front();
  return points;
}

// NURBS evaluation by de Boor's algorithm in homogeneous coordinates.
struct Spline {
  size_t degree;
  std::vector<Homogeneous> control;
  std::vector<double> knots;

  double First() const { return knots[degree]; }
  double Last() const { return knots[control.size()]; }

  Homogeneous At(double t) const {
    size_t const n = control.size();
    size_t k = degree;
    while (k + 1 < n && knots[k + 1] <= t) ++k;
    std::vector<Homogeneous> d(control.begin() + (k - degree), control.begin() + (k + 1));
    for (size_t r = 1; r <= degree; ++r)
      for (size_t j = degree; j >= r; --j) {
        double const left = knots[j + k - degree];
        double const span = knots[j + 1 + k - r] - left;
        double const alpha = span > 0 ? (t - left) / span : 0;
        for (int c = 0; c < 4; ++c) d[j][c] = (1 - alpha) * d[j - 1][c] + alpha * d[j][c];
      }
    return d[degree];
  }
};

Point Project(Homogeneous const& h) {
  double const w = h[3] != 0 ? h[3] : 1;
  return {float(h[0] / w), float(h[1] / w), float(h[2] / w)};
}

std::vector<double> KnotVector(size_t count, size_t degree, FloatArray const& given) {
  size_t const size = count + degree + 1;
  if (!given.empty()) {
    if (given.size() != size || !std::is_sorted(given.begin(), given.end()) || !(given[degree] < given[count]))
      throw InvalidSpecificationException("A NURBS knot vector needs points plus degree plus 1 rising values.");
    return {given.begin(), given.end()};
  }
  std::vector<double> knots(size, 0.0);
  for (size_t i = 0; i < size; ++i) {
    if (i > count) knots[i] = 1.0;
    else if (i > degree) knots[i] = double(i - degree) / double(count - degree);
  }
  return knots;
}

std::vector<Homogeneous> Weighted(PointArray const& points, FloatArray const& weights, size_t first, size_t count,
                                  size_t step) {
  if (!weights.empty() && weights.size() != points.size())
    throw InvalidSpecificationException("A NURBS shape needs one weight for each point, or none.");
  std::vector<Homogeneous> out;
  for (size_t i = 0; i < count; ++i) {
    size_t const p = first + i * step;
    double const w = weights.empty() ? 1.0 : weights[p];
    out.push_back({points[p].x * w, points[p].y * w, points[p].z * w, w});
  }
  return out;
}

double Extent(PointArray const& points) {
  Point lo = points.front(), hi = points.front();
  for (Point const& p : points)
    for (int i = 0; i < 3; ++i) {
      lo[i] = std::min(lo[i], p[i]);
      hi[i] = std::max(hi[i], p[i]);
    }
  return (hi - lo).Length();
}

double DistanceToChord(Point const& p, Point const& a, Point const& b) {
  Vector const chord = b - a;
  double const length = chord.Length();
  if (length == 0) return (p - a).Length();
  return chord.Cross(p - a).Length() / length;
}

// Halves a parameter interval until the curve's middle lies within the
// deviation of the chord.
void Refine(Spline const& s, double t0, Point const& p0, double t1, Point const& p1, double deviation, int depth,
            PointArray& out) {
  double const tm = 0.5 * (t0 + t1);
  Point const pm = Project(s.At(tm));
  if (depth < 12 && DistanceToChord(pm, p0, p1) > deviation) {
    Refine(s, t0, p0, tm, pm, deviation, depth + 1, out);
    Refine(s, tm, pm, t1, p1, deviation, depth + 1, out);
  } else {
    out.push_back(p1);
  }
}

PointArray TessellateNURBSCurve(NURBSCurveData const& curve, float deviation) {
  NURBSCurveShape const& shape = curve.shape;
  Spline s{shape.degree, Weighted(shape.points, shape.weights, 0, shape.points.size(), 1),
           KnotVector(shape.points.size(), shape.degree, shape.knots)};
  // A deviation far below the curve's size would only multiply points.
  double const extent = Extent(shape.points);
  double const d = std::max(deviation > 0 ? double(deviation) : extent * kDefaultRelativeDeviation, extent * 1e-6);
  double const first = s.First() + (s.Last() - s.First()) * std::clamp(shape.start, 0.0f, 1.0f);
  double const last = s.First() + (s.Last() - s.First()) * std::clamp(shape.end, 0.0f, 1.0f);
  // Four pieces a span first, so that no wiggle hides between samples.
  int const pieces = int(4 * (shape.points.size() - shape.degree));
  PointArray out{Project(s.At(first))};
  for (int i = 0; i < pieces; ++i) {
    double const t0 = first + (last - first) * i / pieces;
    double const t1 = first + (last - first) * (i + 1) / pieces;
    Refine(s, t0, out.back(), t1, Project(s.At(t1)), d, 0, out);
  }
  return out;
}

void AddFace(Faces& f, std::initializer_list<int> corners) {
  f.face_list.push_back(int(corners.size()));
  f.face_list.insert(f.face_list.end(), corners);
}

// Quads of a grid of points, `columns` a row, each split in two triangles.
void AddGridFaces(Faces& f, size_t rows, size_t columns) {
  for (size_t r = 0; r + 1 < rows; ++r)
    for (size_t c = 0; c + 1 < columns; ++c) {
      int const a = int(r * columns + c), b = a + 1, d = int(a + columns), e = d + 1;
      AddFace(f, {a, b, e});
      AddFace(f, {a, e, d});
    }
}

Faces TessellateSphere(SphereData const& sphere) {
  Vector const w = Unit(sphere.axis);
  Vector const u = Unit(sphere.ortho - w * sphere.ortho.Dot(w));
  Vector const v = w.Cross(u);
  if (!(sphere.radius > 0) || w.LengthSquared() == 0 || u.LengthSquared() == 0)
    throw InvalidSpecificationException("A sphere needs a radius and two axes that aren't parallel.");
  int const around = std::max(ChordCount(kTwoPi, sphere.radius, 0), 8);
  int const bands = around / 2;
  Faces f;
  f.points.push_back(sphere.center + w * sphere.radius);
  for (int i = 1; i < bands; ++i) {
    double const phi = std::numbers::pi * i / bands;
    for (int j = 0; j < around; ++j) {
      double const theta = kTwoPi * j / around;
      Vector const dir = (u * float(std::cos(theta)) + v * float(std::sin(theta))) * float(std::sin(phi)) +
                         w * float(std::cos(phi));
      f.points.push_back(sphere.center + dir * sphere.radius);
    }
  }
  f.points.push_back(sphere.center - w * sphere.radius);
  int const south = int(f.points.size()) - 1;
  auto ring = [around](int i, int j) { return 1 + (i - 1) * around + (j % around); };
  // Corners a (ring i, j), b (i, j + 1), c (i + 1, j + 1), d (i + 1, j) run
  // clockwise seen from outside.
  for (int j = 0; j < around; ++j) AddFace(f, {0, ring(1, j + 1), ring(1, j)});
  for (int i = 1; i + 1 < bands; ++i)
    for (int j = 0; j < around; ++j) AddFace(f, {ring(i, j), ring(i, j + 1), ring(i + 1, j + 1), ring(i + 1, j)});
  for (int j = 0; j < around; ++j) AddFace(f, {ring(bands - 1, j), ring(bands - 1, j + 1), south});
  return f;
}

Faces TessellateCylinder(CylinderData const& cylinder) {
  Vector const axis = cylinder.second - cylinder.first;
  Vector const w = Unit(axis);
  Vector helper = std::fabs(w.x) < 0.9f ? Vector(1, 0, 0) : Vector(0, 1, 0);
  Vector const u = Unit(helper - w * helper.Dot(w));
  Vector const v = w.Cross(u);
  if (!(cylinder.radius > 0) || w.LengthSquared() == 0)
    throw InvalidSpecificationException("A cylinder needs a radius and two distinct end points.");
  int const around = std::max(ChordCount(kTwoPi, cylinder.radius, 0), 8);
  auto circle = [&](Point const& c, int j) {
    double const t = kTwoPi * j / around;
    return c + (u * float(std::cos(t)) + v * float(std::sin(t))) * cylinder.radius;
  };
  Faces f;
  for (Point const& end : {cylinder.first, cylinder.second})
    for (int j = 0; j < around; ++j) f.points.push_back(circle(end, j));
  for (int j = 0; j < around; ++j) {
    int const next = (j + 1) % around;
    AddFace(f, {j, around + j, around + next, next});
  }
  // Caps get points of their own, so that their normals stay axial.
  auto cap = [&](Point const& end, bool rising) {
    int const base = int(f.points.size());
    f.face_list.push_back(around);
    for (int j = 0; j < around; ++j) {
      f.points.push_back(circle(end, j));
      f.face_list.push_back(base + (rising ? j : around - 1 - j));
    }
  };
  auto const caps = static_cast<uint32_t>(cylinder.caps);
  if (caps & 1) cap(cylinder.first, true);
  if (caps & 2) cap(cylinder.second, false);
  return f;
}

Faces TessellateNURBSSurface(NURBSSurfaceData const& surface) {
  NURBSSurfaceShape const& s = surface.shape;
  std::vector<double> const u_knots = KnotVector(s.u_count, s.u_degree, s.u_knots);
  std::vector<double> const v_knots = KnotVector(s.v_count, s.v_degree, s.v_knots);
  size_t const u_samples = std::min<size_t>(8 * (s.u_count - s.u_degree) + 1, 257);
  size_t const v_samples = std::min<size_t>(8 * (s.v_count - s.v_degree) + 1, 257);
  std::vector<Spline> rows;  // one spline in u for each row of control points
  for (size_t j = 0; j < s.v_count; ++j)
    rows.push_back({s.u_degree, Weighted(s.points, s.weights, j * s.u_count, s.u_count, 1), u_knots});
  Faces f;
  for (size_t jv = 0; jv < v_samples; ++jv) {
    double const tv = v_knots[s.v_degree] + (v_knots[s.v_count] - v_knots[s.v_degree]) * jv / (v_samples - 1);
    for (size_t iu = 0; iu < u_samples; ++iu) {
      double const tu = u_knots[s.u_degree] + (u_knots[s.u_count] - u_knots[s.u_degree]) * iu / (u_samples - 1);
      Spline column{s.v_degree, {}, v_knots};
      for (Spline const& row : rows) column.control.push_back(row.At(tu));
      f.points.push_back(Project(column.At(tv)));
    }
  }
  AddGridFaces(f, v_samples, u_samples);
  return f;
}

}  // namespace

bool CircleThroughPoints(Point const& start, Point const& middle, Point const& end, Circle& out) {
  Vector const a = start - end, b = middle - end;
  Vector const axb = a.Cross(b);
  double const denominator = 2 * axb.LengthSquared();
  if (!(denominator > 1e-30)) return false;
  Vector const offset = (b * float(a.LengthSquared()) - a * float(b.LengthSquared())).Cross(axb);
  out.center = end + offset * float(1.0 / denominator);
  out.radius = float((start - out.center).Length());
  Vector const n = Unit((middle - start).Cross(end - middle));
  out.u = Unit(start - out.center);
  out.v = n.Cross(out.u);
  Vector const e = end - out.center;
  double sweep = std::atan2(e.Dot(out.v), e.Dot(out.u));
  if (sweep <= 0) sweep += kTwoPi;
  out.sweep = sweep;
  return out.radius > 0;
}

PointArray TessellateCurve(Entity const& curve, float deviation) {
  switch (curve.type) {
    case TypeCode::Circle:
    case TypeCode::CircularArc:
    case TypeCode::CircularWedge:
      return TessellateThreePoint(static_cast<ThreePointData const&>(curve), deviation);
    case TypeCode::Ellipse:
    case TypeCode::EllipticalArc:
      return TessellateEllipse(static_cast<EllipseData const&>(curve), deviation);
    case TypeCode::NURBSCurve:
      return TessellateNURBSCurve(static_cast<NURBSCurveData const&>(curve), deviation);
    default:
      throw InvalidSpecificationException("Only curves can be turned into lines.");
  }
}

Faces TessellateSurface(Entity const& surface) {
  switch (surface.type) {
    case TypeCode::Polygon: {
      auto const& polygon = static_cast<PointsData const&>(surface);
      Faces f{polygon.points, {}};
      if (polygon.points.size() >= 3) {
        f.face_list.push_back(int(polygon.points.size()));
        for (size_t i = 0; i < polygon.points.size(); ++i) f.face_list.push_back(int(i));
      }
      return f;
    }
    case TypeCode::Mesh: {
      auto const& mesh = static_cast<MeshData const&>(surface);
      Faces f{mesh.points, {}};
      AddGridFaces(f, mesh.rows, mesh.columns);
      return f;
    }
    case TypeCode::Sphere:
      return TessellateSphere(static_cast<SphereData const&>(surface));
    case TypeCode::Cylinder:
      return TessellateCylinder(static_cast<CylinderData const&>(surface));
    case TypeCode::NURBSSurface:
      return TessellateNURBSSurface(static_cast<NURBSSurfaceData const&>(surface));
    case TypeCode::Text:
      return TextFaces(static_cast<TextData const&>(surface).kit);
    default:
      throw InvalidSpecificationException("Only surfaces and texts can be turned into shells.");
  }
}

}  // namespace KZV::detail
