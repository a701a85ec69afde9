#include "scene/detail/Triangulate.h"

#include <GL/glu.h>

#include <memory>

#include "export/value_types/Exceptions.h"

namespace KZV::detail {
namespace {

struct TessState {
  std::vector<int> corners;  // every three make a triangle
  int const* indices = nullptr;
};

// GLU hands vertices through as pointers into the index list.
void GLAPIENTRY OnVertex(void* vertex, void* data) {
  static_cast<TessState*>(data)->corners.push_back(*static_cast<int const*>(vertex));
}

// Asking for edge flags makes GLU emit plain triangles only.
void GLAPIENTRY OnEdgeFlag(GLboolean, void*) {}
void GLAPIENTRY OnBegin(GLenum, void*) {}

// A self-touching face needs a new vertex; the heaviest of the four
// neighbours stands in for it, as a shell can't grow points here.
void GLAPIENTRY OnCombine(GLdouble[3], void* vertices[4], GLfloat weights[4], void** out, void*) {
  int best = 0;
  for (int i = 1; i < 4; ++i)
    if (vertices[i] && weights[i] > weights[best]) best = i;
  *out = vertices[best];
}

bool IsConvex(PointArray const& points, int const* indices, size_t count, Vector const& normal) {
  for (size_t i = 0; i < count; ++i) {
    Point const& a = points[indices[i]];
    Point const& b = points[indices[(i + 1) % count]];
    Point const& c = points[indices[(i + 2) % count]];
    if ((b - a).Cross(c - b).Dot(normal) < 0) return false;
  }
  return true;
}

struct TessDeleter {
  void operator()(GLUtesselator* t) const { gluDeleteTess(t); }
};

void TessellateWithGlu(PointArray const& points, int const* indices, size_t count, Vector const& normal,
                       std::vector<Triangle>& out) {
  std::unique_ptr<GLUtesselator, TessDeleter> tess(gluNewTess());
  if (!tess) throw InvalidOperationException("The polygon tessellator could not be created.");
  gluTessCallback(tess.get(), GLU_TESS_BEGIN_DATA, reinterpret_cast<_GLUfuncptr>(&OnBegin));
  gluTessCallback(tess.get(), GLU_TESS_VERTEX_DATA, reinterpret_cast<_GLUfuncptr>(&OnVertex));
  gluTessCallback(tess.get(), GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<_GLUfuncptr>(&OnEdgeFlag));
  gluTessCallback(tess.get(), GLU_TESS_COMBINE_DATA, reinterpret_cast<_GLUfuncptr>(&OnCombine));
  gluTessProperty(tess.get(), GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
  gluTessNormal(tess.get(), normal.x, normal.y, normal.z);
  TessState state;
  std::vector<std::array<GLdouble, 3>> coords(count);
  gluTessBeginPolygon(tess.get(), &state);
  gluTessBeginContour(tess.get());
  for (size_t i = 0; i < count; ++i) {
    Point const& p = points[indices[i]];
    coords[i] = {p.x, p.y, p.z};
    gluTessVertex(tess.get(), coords[i].data(), const_cast<int*>(indices + i));
  }
  gluTessEndContour(tess.get());
  gluTessEndPolygon(tess.get());
  // Collinear vertices can give triangles without area; they cover nothing.
  for (size_t i = 0; i + 2 < state.corners.size(); i += 3) {
    Triangle const t{state.corners[i], state.corners[i + 1], state.corners[i + 2]};
    if (NewellNormal(points, t.data(), 3).LengthSquared() > 0) out.push_back(t);
  }
}

}  // namespace

Vector NewellNormal(PointArray const& points, int const* indices, size_t count) {
  double nx = 0, ny = 0, nz = 0;
  for (size_t i = 0; i < count; ++i) {
    Point const& a = points[indices[i]];
    Point const& b = points[indices[(i + 1) % count]];
    nx += (double(a.y) - b.y) * (double(a.z) + b.z);
    ny += (double(a.z) - b.z) * (double(a.x) + b.x);
    nz += (double(a.x) - b.x) * (double(a.y) + b.y);
  }
  return {float(nx), float(ny), float(nz)};
}

void TriangulateFace(PointArray const& points, int const* indices, size_t count, std::vector<Triangle>& out) {
  if (count < 3) return;
  if (count == 3) {
    out.push_back({indices[0], indices[1], indices[2]});
    return;
  }
  Vector const normal = NewellNormal(points, indices, count);
  if (normal.LengthSquared() == 0) return;  // a face without area
  if (IsConvex(points, indices, count, normal)) {
    for (size_t i = 1; i + 1 < count; ++i) out.push_back({indices[0], indices[i], indices[i + 1]});
    return;
  }
  TessellateWithGlu(points, indices, count, normal, out);
}

}  // namespace KZV::detail
