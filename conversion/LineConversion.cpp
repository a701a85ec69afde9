// Lines, curves and surfaces that aren't shells, into the work mesh.
#include "conversion/EdgeStitching.h"
#include "conversion/SceneConverter.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"

namespace KZV {

using QX::Store::MeshData;

// Analytic geometry is tessellated by the scene into the scratch segment and
// converted from there; the temporary object goes right after.
MeshData* SceneConverter::ConvertThroughScratch(uint32_t visibility, GeometryKey const& geometry, bool surface,
                                                LazyPalette& palette, Lazy<TextAttributeKit>& text_attributes,
                                                Path const& path, uint64_t handedness) {
  GeometryKey temporary = surface ? GeometryKey(scratch_.InsertShellFromGeometry(geometry))
                                  : GeometryKey(scratch_.InsertLineFromGeometry(geometry, -1.0f));
  bool is_text = false;
  MeshData* mesh = nullptr;
  try {
    mesh = ConvertGeometry(visibility, temporary, palette, text_attributes, path, handedness, is_text);
  } catch (...) {
    temporary.Delete();
    throw;
  }
  temporary.Delete();
  return mesh;
}

MeshData* SceneConverter::ConvertLine(uint32_t visibility, LineKey const& line, uint64_t handedness) {
  if (options_.SkipLines || (options_.HonorVisibility && !(visibility & 2))) return nullptr;
  line.ShowPoints(work_points_);
  if (work_points_.empty()) return nullptr;
  MeshData& mesh = PrepareWorkMesh(handedness);
  mesh.points = reinterpret_cast<QX::Store::Point const*>(work_points_.data());
  mesh.point_count = static_cast<uint32_t>(work_points_.size());
  AddElements(mesh.line_elements, 1);
  auto& element = mesh.line_elements[0];
  for (uint32_t i = 0; i < mesh.point_count; ++i) element.push_back(i);
  Log("Inserting line mesh.");
  return &mesh;
}

MeshData* SceneConverter::ConvertLineShell(uint32_t visibility, LazyPalette& palette, ShellKey const& shell,
                                           std::vector<std::pair<uint32_t, uint32_t>> const& pairs,
                                           uint64_t handedness) {
  if (options_.SkipLines || (options_.HonorVisibility && !(visibility & 2))) return nullptr;
  MeshData& mesh = PrepareWorkMesh(handedness);
  mesh.points = reinterpret_cast<QX::Store::Point const*>(work_points_.data());
  mesh.point_count = static_cast<uint32_t>(work_points_.size());
  if (ConvertVertexColors(shell, palette, Shell::Component::Edges) && work_colors_.size() == work_points_.size()) {
    mesh.colors = work_colors_.data();
    mesh.color_count = static_cast<uint32_t>(work_colors_.size());
  }
  uint32_t const stride = mesh.color_count ? 2 : 1;
  AddElements(mesh.line_elements, 1);
  auto& element = mesh.line_elements[0];
  for (Polyline const& polyline : StitchEdges(pairs)) {
    element.push_back(QX::Store::kNoIndex);
    for (Edge const& edge : polyline) element.insert(element.end(), stride, edge.first);
    element.insert(element.end(), stride, polyline.back().second);
  }
  Log("Inserting line mesh.");
  return &mesh;
}

// The lines of a segment become one shell of two-vertex faces, for good;
// lines that a reference points at stay as they are.
void SceneConverter::MergeLines(SegmentKey const& segment) {
  SearchResults found;
  if (segment.Find(Search::Type::Lines, Search::Space::SegmentOnly, found) < 2) return;
  PointIndex index;
  IntArray face_list;
  ReferenceKeyArray referrers;
  PointArray points;
  for (auto it = found.GetIterator(); it.IsValid(); it.Next()) {
    LineKey line(it.GetItem());
    if (line.ShowReferrers(referrers) > 0) continue;
    line.ShowPoints(points);
    uint32_t previous = 0;
    for (size_t i = 0; i < points.size(); ++i) {
      uint32_t const current = index.Add(points[i]);
      if (i > 0) face_list.insert(face_list.end(), {2, int(previous), int(current)});
      previous = current;
    }
    line.Delete();
  }
  if (!index.Points().empty()) segment.InsertShell(index.Points(), face_list);
}

}  // namespace KZV
