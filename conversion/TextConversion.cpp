#include "conversion/TextConversion.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "conversion/EdgeStitching.h"
#include "conversion/SceneConverter.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"

namespace KZV {
namespace {

using QX::Store::MeshData;

// A vector of unit length; length in double precision, rounded to float,
// and none at all for a length of 1e-30 or less.
Vector Normalised(Vector const& v) {
  float const length = float(std::sqrt(double(v.x) * v.x + double(v.y) * v.y + double(v.z) * v.z));
  if (length <= 1e-30f) return Vector(0, 0, 0);
  return Vector(v.x / length, v.y / length, v.z / length);
}

MatrixKit Elements(std::array<float, 16> const& e) {
  MatrixKit kit;
  kit.SetElements(e.size(), e.data());
  return kit;
}

// The transpose of the text's own matrix block, scaled by the size, and
// its translation.
std::array<float, 12> TextMatrix(MatrixKit const& kit, float size) {
  FloatArray e;
  kit.ShowElements(e);
  std::swap(e[1], e[4]);
  std::swap(e[2], e[8]);
  std::swap(e[6], e[9]);
  for (int i = 0; i < 12; ++i) e[i] *= size;
  return {e[0], e[1], e[2], e[4], e[5], e[6], e[8], e[9], e[10], e[12], e[13], e[14]};
}

// The offset that brings the anchor of an alignment to the origin.
Vector AlignmentOffset(Text::Alignment alignment, float w, float h) {
  switch (alignment) {
    case Text::Alignment::TopLeft: return {0, -h, 0};
    case Text::Alignment::CenterLeft: return {0, -h / 2, 0};
    case Text::Alignment::BottomLeft: return {0, 0, 0};
    case Text::Alignment::TopCenter: return {-w / 2, -h, 0};
    case Text::Alignment::Center: return {-w / 2, -h / 2, 0};
    case Text::Alignment::BottomCenter: return {-w / 2, 0, 0};
    case Text::Alignment::TopRight: return {-w, -h, 0};
    case Text::Alignment::CenterRight: return {-w, -h / 2, 0};
    case Text::Alignment::BottomRight: return {-w, 0, 0};
  }
  return {0, 0, 0};
}

// Region points as the text will use them: from the text's position when
// relative, and three of them, a missing third one a quarter turn from
// the first along the region's direction. False for a region in window
// space; no points for a region that doesn't count.
bool ReadRegion(TextKit const& kit, TextSettings& out) {
  PointArray points;
  Text::RegionAlignment region_alignment{};
  bool flag = false, relative = false, in_window = false;
  out.region_points.clear();
  if (!kit.ShowRegion(points, region_alignment, out.region_fitting, flag, relative, in_window)) return true;
  if (points.size() != 2 && points.size() != 3) return true;
  if (in_window) return false;
  if (relative)
    for (auto& p : points) p = p + Vector(out.position.x, out.position.y, out.position.z);
  out.position = points[0];
  if (points.size() == 2) {
    Point const q0 = QuarterTurn().Transform(points[0]), q1 = QuarterTurn().Transform(points[1]);
    points.push_back(points[0] + (q1 - q0));
  }
  out.region_points = std::move(points);
  return true;
}

// Fits the placed points into a region of three points.
void PlaceInRegion(TextSettings const& text, float w, PointArray& points) {
  Point const &p0 = text.region_points[0], &p1 = text.region_points[1], &p2 = text.region_points[2];
  Vector const d = p1 - p0;
  float const t = d.Dot(p2 - p0) / d.Dot(d);
  Vector const q = p2 - (p0 + d * t);
  Vector const u = Normalised(d), v = Normalised(q), n = u.Cross(v);
  MatrixKit const frame = Elements({u.x, u.y, u.z, 0, v.x, v.y, v.z, 0, n.x, n.y, n.z, 0, p0.x, p0.y, p0.z, 1});
  std::array<float, 16> stretch{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  if (text.region_fitting == Text::RegionFitting::Stretch && w > 0)
    stretch[0] = float(std::sqrt(double(d.x) * d.x + double(d.y) * d.y + double(d.z) * d.z)) / w;
  points = Elements(stretch).Multiply(frame).Transform(points);
}

// Aligns the placed points to the origin, turns them to the path and moves
// them to the position.
void PlaceAlongPath(TextSettings const& text, float w, float h, PointArray& points) {
  Vector path = text.path;
  float const largest = std::max({std::fabs(path.x), std::fabs(path.y), std::fabs(path.z)});
  if (largest > 1e10f) path = path * (1 / largest);
  float const x = Normalised(path).x;
  float const angle = x > 1 ? 0.0f : x < -1 ? 180.0f : float(std::acos(x) * 57.29578);
  MatrixKit rotation;
  if (std::fabs(angle) >= 1e-5f) rotation.Rotate(0, 0, angle);
  MatrixKit const align = MatrixKit().Translate(AlignmentOffset(text.alignment, w, h));
  MatrixKit const move = MatrixKit().Translate(text.position.x, text.position.y, text.position.z);
  points = align.Multiply(rotation).Multiply(move).Transform(points);
}

std::vector<uint32_t>& NewElement(QX::Store::ElementWords& list, QX::Store::ElementWords& pool) {
  if (pool.empty()) return list.emplace_back();
  list.push_back(std::move(pool.back()));
  pool.pop_back();
  return list.back();
}

// The triangles of the strips, every second one turned back to the strip's
// winding.
void AddFaces(IntArray const& strips, std::vector<uint32_t>& element) {
  for (size_t i = 0; i < strips.size();) {
    int const count = strips[i++];
    if (count < 0 || i + size_t(count) > strips.size()) break;
    int const* s = &strips[i];
    for (int k = 2; k < count; ++k) {
      uint32_t tri[3] = {uint32_t(s[k - 2]), uint32_t(s[k - 1]), uint32_t(s[k])};
      if (k % 2 == 1) std::swap(tri[0], tri[1]);
      element.insert(element.end(), tri, tri + 3);
    }
    i += size_t(count);
  }
}

constexpr uint32_t kNone = 0xFFFFFFFFu;

// For each point, the first point of the mesh at exactly its position, by
// a table of open addressing: a glyph shell's points come by the thousand.
std::vector<uint32_t> FirstOfPosition(PointArray const& points) {
  size_t const mask = std::bit_ceil(2 * points.size() + 1) - 1;
  std::vector<uint32_t> slots(mask + 1, kNone), first(points.size());
  for (uint32_t i = 0; i < points.size(); ++i) {
    Point const& p = points[i];
    uint64_t h = 0;
    for (float c : {p.x, p.y, p.z}) h = (h ^ std::bit_cast<uint32_t>(c + 0.0f)) * 0x9E3779B97F4A7C15ull;
    size_t slot = (h >> 32) & mask;
    while (slots[slot] != kNone && !(points[slots[slot]] == p)) slot = (slot + 1) & mask;
    if (slots[slot] == kNone) slots[slot] = i;
    first[i] = slots[slot];
  }
  return first;
}

// The edges that only one triangle has, as the triangles run along them.
// Undirected edges are counted in a table of open addressing, keyed by
// their smaller and larger vertex.
std::vector<Edge> BoundaryEdges(std::vector<uint32_t> const& same, std::vector<uint32_t> const& triangles) {
  std::vector<Edge> all;
  all.reserve(triangles.size());
  for (size_t t = 0; t + 2 < triangles.size(); t += 3) {
    uint32_t const v[3] = {same[triangles[t]], same[triangles[t + 1]], same[triangles[t + 2]]};
    if (v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) continue;
    for (int k = 0; k < 3; ++k) all.emplace_back(v[k], v[(k + 1) % 3]);
  }
  size_t const mask = std::bit_ceil(2 * all.size() + 1) - 1;
  std::vector<uint64_t> keys(mask + 1, ~uint64_t{0});
  std::vector<uint8_t> counts(mask + 1, 0);
  auto const slot_of = [&](Edge const& e) {
    auto const [low, high] = std::minmax(e.first, e.second);
    uint64_t const key = uint64_t(low) << 32 | high;
    size_t slot = size_t((key * 0x9E3779B97F4A7C15ull) >> 32) & mask;
    while (keys[slot] != key && keys[slot] != ~uint64_t{0}) slot = (slot + 1) & mask;
    keys[slot] = key;
    return slot;
  };
  std::vector<uint32_t> slots;
  slots.reserve(all.size());
  for (Edge const& e : all) {
    slots.push_back(uint32_t(slot_of(e)));
    counts[slots.back()] = uint8_t(std::min(counts[slots.back()] + 1, 2));
  }
  std::vector<Edge> boundary;
  for (size_t i = 0; i < all.size(); ++i)
    if (counts[slots[i]] == 1) boundary.push_back(all[i]);
  return boundary;
}

// The edges in the order of the loops they make, each following the one
// that ends where it begins, so that joining them is a walk.
std::vector<Edge> InLoopOrder(std::vector<Edge> const& edges, size_t vertex_count) {
  std::vector<uint32_t> head(vertex_count, kNone), link(edges.size());
  for (uint32_t e = uint32_t(edges.size()); e-- > 0;) {
    link[e] = head[edges[e].first];
    head[edges[e].first] = e;
  }
  std::vector<bool> used(edges.size(), false);
  std::vector<Edge> ordered;
  ordered.reserve(edges.size());
  for (uint32_t start = 0; start < edges.size(); ++start) {
    for (uint32_t e = start; e != kNone && !used[e];) {
      used[e] = true;
      ordered.push_back(edges[e]);
      uint32_t next = head[edges[e].second];
      while (next != kNone && used[next]) next = link[next];
      e = next;
    }
  }
  return ordered;
}

// The outline of the glyphs: their boundary edges, with points of equal
// position taken as one, joined into polylines.
void AddOutline(PointArray const& points, std::vector<uint32_t> const& triangles, std::vector<uint32_t>& element) {
  std::vector<Edge> const edges = InLoopOrder(BoundaryEdges(FirstOfPosition(points), triangles), points.size());
  for (Polyline const& polyline : StitchEdges(edges)) {
    element.push_back(QX::Store::kNoIndex);
    for (Edge const& edge : polyline) element.push_back(edge.first);
    element.push_back(polyline.back().second);
  }
}

// Empties the scratch segment when the conversion of a text ends, however
// it ends.
struct ScratchFlush {
  SegmentKey const& scratch;
  ~ScratchFlush() { scratch.Flush(Search::Type::Everything, Search::Space::SegmentOnly); }
};

}  // namespace

MatrixKit const& QuarterTurn() {
  static MatrixKit const turn = MatrixKit().Rotate(0, 0, -90);
  return turn;
}

bool ReadTextSettings(TextKit const& kit, TextAttributeKit const& attributes, TextSettings& out) {
  Text::ReferenceFrame frame = Text::ReferenceFrame::WorldAligned;
  Text::Justification justification{};
  out.alignment = Text::Alignment::BottomCenter;
  if (!kit.ShowAlignment(out.alignment, frame, justification))
    attributes.ShowAlignment(out.alignment, frame, justification);
  if (frame != Text::ReferenceFrame::WorldAligned) return false;

  Text::Transform transform = Text::Transform::Transformable;
  if (!kit.ShowTransform(transform)) attributes.ShowTransform(transform);
  if (transform != Text::Transform::Transformable) return false;

  float size = 1;
  Text::SizeUnits units = Text::SizeUnits::WorldSpace;
  if (!kit.ShowSize(size, units)) attributes.ShowSize(size, units);
  if (units != Text::SizeUnits::ObjectSpace && units != Text::SizeUnits::WorldSpace) return false;

  if (!kit.ShowText(out.string)) return false;
  out.font = "stroked";
  if (!kit.ShowFont(out.font)) attributes.ShowFont(out.font);
  bool bold = false, italic = false;
  if (!kit.ShowBold(bold)) attributes.ShowBold(bold);
  if (!kit.ShowItalic(italic)) attributes.ShowItalic(italic);
  out.style = (bold ? 1u : 0u) | (italic ? 2u : 0u);
  out.position = Point(0, 0, 0);
  kit.ShowPosition(out.position);
  MatrixKit matrix;
  kit.ShowModellingMatrix(matrix);
  out.matrix = TextMatrix(matrix, size);

  if (!ReadRegion(kit, out)) return false;
  bool const has_path = kit.ShowPath(out.path) || attributes.ShowPath(out.path);
  return !out.region_points.empty() || has_path;
}

bool TextToMesh(TextSettings const& text, SegmentKey const& scratch, PointArray& work_points, MeshData& mesh,
                QX::Store::ElementWords& element_pool) {
  ScratchFlush const flush{scratch};
  TextKit kit;
  kit.SetText(text.string).SetPosition({0, 0, 0}).SetFont(text.font);
  kit.SetBold(text.style & 1).SetItalic(text.style & 2).SetSize(1.0f, Text::SizeUnits::ObjectSpace);
  ShellKey const shell = scratch.InsertShellFromGeometry(scratch.InsertText(kit));

  IntArray strips;
  if (!shell.ShowTristrips(strips) || strips.empty()) return false;
  if (!shell.ShowPoints(work_points) || work_points.empty()) return false;

  std::array<float, 12> const& m = text.matrix;
  work_points = Elements({m[0], m[1], m[2], 0, m[3], m[4], m[5], 0, m[6], m[7], m[8], 0, m[9], m[10], m[11], 1})
                    .Transform(work_points);
  auto const [min_x, max_x] = std::minmax_element(work_points.begin(), work_points.end(),
                                                  [](Point const& a, Point const& b) { return a.x < b.x; });
  auto const [min_y, max_y] = std::minmax_element(work_points.begin(), work_points.end(),
                                                  [](Point const& a, Point const& b) { return a.y < b.y; });
  float const w = max_x->x - min_x->x, h = max_y->y - min_y->y;
  if (text.region_points.size() == 3) PlaceInRegion(text, w, work_points);
  else PlaceAlongPath(text, w, h, work_points);

  mesh.flags = 6;
  mesh.points = reinterpret_cast<QX::Store::Point const*>(work_points.data());
  mesh.point_count = static_cast<uint32_t>(work_points.size());
  std::vector<uint32_t>& faces = NewElement(mesh.face_elements, element_pool);
  AddFaces(strips, faces);
  AddOutline(work_points, faces, NewElement(mesh.line_elements, element_pool));
  return true;
}

MeshData* SceneConverter::ConvertText(uint32_t visibility, TextKey const& text, TextAttributeKit const& attributes,
                                      uint64_t handedness) {
  if (options_.HonorVisibility && !(visibility & 8)) return nullptr;
  TextKit kit;
  text.Show(kit);
  TextSettings settings;
  if (!ReadTextSettings(kit, attributes, settings)) return nullptr;
  MeshData& mesh = PrepareWorkMesh(handedness);
  if (!TextToMesh(settings, scratch_, work_points_, mesh, element_pool_)) {
    PrepareWorkMesh(handedness);
    return nullptr;
  }
  return &mesh;
}

}  // namespace KZV
