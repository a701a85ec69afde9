// Geometry dispatch and the conversion of shells into the work mesh.
#include <algorithm>
#include <type_traits>

#include "conversion/SceneConverter.h"
#include "scene/ShellKey.h"

namespace KZV {

namespace {

using QX::Store::MeshData;

static_assert(sizeof(Point) == sizeof(QX::Store::Point) && std::is_standard_layout_v<Point>);
static_assert(sizeof(Vector) == sizeof(QX::Store::Point) && std::is_standard_layout_v<Vector>);

QX::Store::Point const* StorePoints(PointArray const& points) {
  return reinterpret_cast<QX::Store::Point const*>(points.data());
}

void AppendTuple(std::vector<uint32_t>& element, uint32_t index, uint32_t stride) {
  element.insert(element.end(), stride, index);
}

Drawing::Handedness ToolkitHandedness(uint64_t code) {
  switch (code) {
    case 0: return Drawing::Handedness::Left;
    case 1: return Drawing::Handedness::Right;
    default: return Drawing::Handedness::None;
  }
}

}  // namespace

MeshData* SceneConverter::ConvertGeometry(uint32_t visibility, GeometryKey const& geometry, LazyPalette& palette,
                                          Lazy<TextAttributeKit>& text_attributes, Path const& path,
                                          uint64_t handedness, bool& is_text) {
  is_text = false;
  auto through = [&](bool surface) {
    return ConvertThroughScratch(visibility, geometry, surface, palette, text_attributes, path, handedness);
  };
  switch (geometry.Type()) {
    case TypeCode::Circle:
    case TypeCode::CircularArc:
    case TypeCode::CircularWedge:
    case TypeCode::Ellipse:
    case TypeCode::EllipticalArc:
    case TypeCode::NURBSCurve:
      return through(false);
    case TypeCode::Cylinder:
    case TypeCode::Mesh:
    case TypeCode::NURBSSurface:
    case TypeCode::Polygon:
    case TypeCode::Sphere:
      return through(true);
    case TypeCode::Line:
      return ConvertLine(visibility, LineKey(geometry), handedness);
    case TypeCode::Shell:
      return ConvertShell(visibility, ShellKey(geometry), palette, path, handedness);
    case TypeCode::Text:
      is_text = true;
      return ConvertText(visibility, TextKey(geometry), text_attributes.Get(), handedness);
    default:
      return nullptr;
  }
}

void SceneConverter::AddElements(QX::Store::ElementWords& elements, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (element_pool_.empty()) {
      elements.emplace_back();
    } else {
      elements.push_back(std::move(element_pool_.back()));
      element_pool_.pop_back();
    }
  }
}

MeshData& SceneConverter::PrepareWorkMesh(uint64_t handedness) {
  for (auto* list : {&work_mesh_.face_elements, &work_mesh_.line_elements, &work_mesh_.point_elements}) {
    for (auto& element : *list) {
      element.clear();
      element_pool_.push_back(std::move(element));
    }
  }
  work_mesh_.Reset();
  if (handedness == 0 || (handedness == 1 && options_.NormalizeHandedness)) work_mesh_.flags |= 2;
  else if (handedness == 1) work_mesh_.flags |= 1;
  if (options_.MeshFlag16) work_mesh_.flags |= QX::Store::kMeshFlag16;
  return work_mesh_;
}

uint32_t SceneConverter::Stride(MeshData const& mesh) const {
  return 1 + (mesh.normal_count > 0) + (mesh.uv_count > 0) + (mesh.color_count > 0);
}

MeshData* SceneConverter::ConvertShell(uint32_t visibility, ShellKey const& shell, LazyPalette& palette,
                                       Path const& path, uint64_t handedness) {
  shell.ShowPoints(work_points_);
  if (work_points_.empty()) return nullptr;

  IntArray face_list;
  shell.ShowFacelist(face_list);
  if (!face_list.empty()) {
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    bool line_shell = true;
    for (size_t i = 0; i < face_list.size() && line_shell; i += face_list[i] + 1) {
      line_shell = face_list[i] == 2 && i + 2 < face_list.size();
      if (line_shell) pairs.emplace_back(face_list[i + 1], face_list[i + 2]);
    }
    if (line_shell) return ConvertLineShell(visibility, palette, shell, pairs, handedness);
  }

  IntArray strips, face_indices;
  shell.ShowTristrips(strips, face_indices);
  bool const points_only = strips.empty();
  if (options_.HonorVisibility && (points_only ? !(visibility & 4) : !(visibility & 1))) return nullptr;

  MeshData& mesh = PrepareWorkMesh(handedness);
  mesh.points = StorePoints(work_points_);
  mesh.point_count = static_cast<uint32_t>(work_points_.size());
  // Point tuples carry a point and a color, never a normal or a uv (the
  // mesh flags say so), so a point cloud takes neither array.
  if (!points_only && ConvertNormals(shell, ToolkitHandedness(handedness))) {
    mesh.normals = reinterpret_cast<QX::Store::Point const*>(work_normals_.data());
    mesh.normal_count = static_cast<uint32_t>(work_normals_.size());
  }
  if (!points_only && ConvertTextureCoordinates(shell)) {
    mesh.uvs = reinterpret_cast<QX::Store::UV const*>(work_uvs_.data());
    mesh.uv_count = static_cast<uint32_t>(work_uvs_.size() / 2);
  }
  if (ConvertVertexColors(shell, palette, points_only ? Shell::Component::Vertices : Shell::Component::Faces)) {
    mesh.colors = work_colors_.data();
    mesh.color_count = static_cast<uint32_t>(work_colors_.size());
  }
  uint32_t const stride = Stride(mesh);

  if (points_only) {
    AddElements(mesh.point_elements, 1);
    for (uint32_t i = 0; i < mesh.point_count; ++i) AppendTuple(mesh.point_elements[0], i, stride);
    Log("Inserting point mesh.");
    return &mesh;
  }
  ConvertFaceColors(shell, path, mesh);
  ExpandStrips(mesh, strips, face_indices, handedness);
  if (options_.FaceOutlines) AddFaceOutlines(shell, mesh);
  Log("Inserting face mesh.");
  return &mesh;
}

bool SceneConverter::ConvertNormals(ShellKey const& shell, Drawing::Handedness toolkit_handedness) {
  work_normals_.clear();
  if (options_.SkipNormals) return false;
  size_t const n = shell.GetPointCount();
  BoolArray valid;
  bool const found = shell.ShowVertexNormalsByRange(0, n, valid, work_normals_);
  bool const any = std::find(valid.begin(), valid.end(), true) != valid.end();
  if (!options_.ForceNormals && (!found || !any)) return false;
  bool const all = !valid.empty() && std::find(valid.begin(), valid.end(), false) == valid.end();
  if (!all) shell.ShowNetVertexNormalsByRange(0, n, work_normals_, toolkit_handedness);
  return work_normals_.size() == n && n > 0;
}

bool SceneConverter::ConvertTextureCoordinates(ShellKey const& shell) {
  work_uvs_.clear();
  if (options_.SkipTextureCoordinates) return false;
  size_t const n = shell.GetPointCount();
  BoolArray valid;
  FloatArray params;
  size_t stride = 0;
  if (!shell.ShowVertexParametersByRange(0, n, valid, params, stride) || stride == 0) return false;
  if (valid.size() != n || std::find(valid.begin(), valid.end(), false) != valid.end()) return false;
  if (params.size() < n * stride) return false;
  if (stride == 2) {
    work_uvs_.swap(params);
  } else {
    work_uvs_.resize(2 * n);
    for (size_t i = 0; i < n; ++i) {
      work_uvs_[2 * i] = params[i * stride];
      work_uvs_[2 * i + 1] = stride > 1 ? params[i * stride + 1] : 0.0f;
    }
  }
  return n > 0;
}

void SceneConverter::ExpandStrips(MeshData& mesh, IntArray const& strips, IntArray const& face_indices,
                                  uint64_t handedness) {
  std::vector<uint32_t> const& groups = face_groups_;
  bool const grouped = !groups.empty();
  uint32_t const swap = (handedness == 1 && options_.NormalizeHandedness) ? 0 : 1;
  uint32_t const stride = Stride(mesh);
  size_t t = 0;
  for (size_t i = 0; i < strips.size();) {
    int const count = strips[i++];
    if (count < 0 || i + size_t(count) > strips.size()) break;
    int const* s = &strips[i];
    for (int k = 2; k < count; ++k, ++t) {
      uint32_t tri[3] = {uint32_t(s[k - 2]), uint32_t(s[k - 1]), uint32_t(s[k])};
      if (uint32_t(k % 2) == swap) std::swap(tri[0], tri[1]);
      size_t element = 0;
      if (grouped && t < face_indices.size() && size_t(face_indices[t]) < groups.size())
        element = groups[face_indices[t]];
      for (uint32_t v : tri) AppendTuple(mesh.face_elements[element], v, stride);
    }
    i += count;
  }
}

void SceneConverter::AddFaceOutlines(ShellKey const& shell, MeshData& mesh) {
  std::vector<uint32_t> const& groups = face_groups_;
  bool const grouped = !groups.empty();
  AddElements(mesh.line_elements, mesh.face_elements.size());
  uint32_t const stride = Stride(mesh);
  IntArray face_list;
  shell.ShowFacelist(face_list);
  size_t face = 0;
  for (size_t i = 0; i < face_list.size(); i += face_list[i] + 1, ++face) {
    int const n = face_list[i];
    if (n <= 0 || i + n >= face_list.size()) break;
    auto& element = mesh.line_elements[grouped && face < groups.size() ? groups[face] : 0];
    element.push_back(QX::Store::kNoIndex);
    for (int k = 1; k <= n; ++k) AppendTuple(element, uint32_t(face_list[i + k]), stride);
    AppendTuple(element, uint32_t(face_list[i + 1]), stride);
  }
}

}  // namespace KZV
