#include "scene/ShellKey.h"

#include "export/value_types/Exceptions.h"
#include "scene/MaterialMappingKit.h"
#include "scene/detail/Entities.h"
#include "scene/detail/Triangulate.h"

namespace KZV {

using detail::ColorEntry;
using detail::ShellData;

namespace {

std::shared_ptr<ShellData> Live(ShellKey const& key) { return detail::KeyAccess::As<ShellData>(key); }

void CheckRange(size_t first, size_t count, size_t size) {
  if (first > size || count > size - first) throw IndexOutOfRangeException("The range lies beyond the end.");
}

template <typename T>
void Store(std::vector<T>& into, size_t size, size_t first, size_t count) {
  CheckRange(first, count, size);
  into.resize(size);
}

// Calls f(face_number, first_index_word, vertex_count) for every face.
template <typename F>
void ForEachFace(IntArray const& face_list, F&& f) {
  size_t face = 0;
  for (size_t i = 0; i < face_list.size(); i += size_t(face_list[i]) + 1)
    f(face++, &face_list[i + 1], size_t(face_list[i]));
}

void SetVertexColors(ShellKey const& key, Shell::Component component, size_t first, size_t count,
                     auto&& make_entry) {
  auto shell = detail::Require<ShellData>(key);
  auto& colors = shell->vertex_colors[static_cast<size_t>(component) % 3];
  Store(colors, shell->points.size(), first, count);
  for (size_t i = 0; i < count; ++i) colors[first + i] = make_entry(i);
}

}  // namespace

size_t ShellKey::GetPointCount() const {
  auto shell = Live(*this);
  return shell ? shell->points.size() : 0;
}

size_t ShellKey::GetFaceCount() const {
  auto shell = Live(*this);
  return shell ? shell->face_count : 0;
}

bool ShellKey::ShowPoints(PointArray& out) const {
  auto shell = Live(*this);
  if (!shell) return false;
  out = shell->points;
  return true;
}

bool ShellKey::ShowFacelist(IntArray& out) const {
  auto shell = Live(*this);
  if (!shell) return false;
  out = shell->face_list;
  return true;
}

bool ShellKey::ShowTristrips(IntArray& strips) const {
  IntArray face_indices;
  return ShowTristrips(strips, face_indices);
}

bool ShellKey::ShowTristrips(IntArray& strips, IntArray& face_indices) const {
  strips.clear();
  face_indices.clear();
  auto shell = Live(*this);
  if (!shell) return false;
  std::vector<detail::Triangle> triangles;
  ForEachFace(shell->face_list, [&](size_t face, int const* indices, size_t count) {
    size_t const before = triangles.size();
    detail::TriangulateFace(shell->points, indices, count, triangles);
    face_indices.insert(face_indices.end(), triangles.size() - before, int(face));
  });
  for (auto const& t : triangles) strips.insert(strips.end(), {3, t[0], t[1], t[2]});
  return true;
}

ShellKey& ShellKey::SetMaterialMapping(MaterialMappingKit const& kit) {
  detail::Require<ShellData>(*this)->mapping = kit;
  return *this;
}

bool ShellKey::ShowMaterialMapping(MaterialMappingKit& out) const {
  auto shell = Live(*this);
  return shell && detail::ShowSetting(shell->mapping, out);
}

ShellKey& ShellKey::SetVertexNormalsByRange(size_t first, VectorArray const& normals) {
  auto shell = detail::Require<ShellData>(*this);
  Store(shell->normals, shell->points.size(), first, normals.size());
  for (size_t i = 0; i < normals.size(); ++i) shell->normals[first + i] = normals[i];
  return *this;
}

bool ShellKey::ShowVertexNormalsByRange(size_t first, size_t count, BoolArray& valid, VectorArray& normals) const {
  auto shell = Live(*this);
  if (!shell) return false;
  CheckRange(first, count, shell->points.size());
  valid.assign(count, false);
  normals.assign(count, Vector::Zero());
  bool any = false;
  for (size_t i = 0; i < count && first + i < shell->normals.size(); ++i)
    if (auto const& n = shell->normals[first + i]) {
      valid[i] = any = true;
      normals[i] = *n;
    }
  return any;
}

bool ShellKey::ShowNetVertexNormalsByRange(size_t first, size_t count, VectorArray& normals,
                                           Drawing::Handedness handedness) const {
  auto shell = Live(*this);
  if (!shell) return false;
  CheckRange(first, count, shell->points.size());
  VectorArray sums(shell->points.size(), Vector::Zero());
  ForEachFace(shell->face_list, [&](size_t, int const* indices, size_t n) {
    Vector const face_normal = detail::NewellNormal(shell->points, indices, n);
    for (size_t k = 0; k < n; ++k) sums[indices[k]] += face_normal;
  });
  float const sign = handedness == Drawing::Handedness::Left ? -1.0f : 1.0f;
  normals.resize(count);
  for (size_t i = 0; i < count; ++i) {
    size_t const p = first + i;
    if (p < shell->normals.size() && shell->normals[p]) {
      normals[i] = *shell->normals[p];
    } else {
      normals[i] = (sums[p] * sign).Normalize();
    }
  }
  return true;
}

ShellKey& ShellKey::SetVertexParametersByRange(size_t first, size_t count, FloatArray const& params,
                                               size_t stride) {
  auto shell = detail::Require<ShellData>(*this);
  if (stride == 0 || params.size() < count * stride)
    throw InvalidSpecificationException("Vertex parameters need stride values for each point.");
  if (shell->parameter_stride != 0 && shell->parameter_stride != stride)
    throw InvalidOperationException("Vertex parameters of a shell share one stride.");
  Store(shell->parameters, shell->points.size(), first, count);
  shell->parameter_stride = stride;
  for (size_t i = 0; i < count; ++i)
    shell->parameters[first + i] = FloatArray(params.begin() + i * stride, params.begin() + (i + 1) * stride);
  return *this;
}

bool ShellKey::ShowVertexParametersByRange(size_t first, size_t count, BoolArray& valid, FloatArray& params,
                                           size_t& stride) const {
  auto shell = Live(*this);
  if (!shell || shell->parameter_stride == 0) return false;
  CheckRange(first, count, shell->points.size());
  stride = shell->parameter_stride;
  valid.assign(count, false);
  params.assign(count * stride, 0.0f);
  for (size_t i = 0; i < count && first + i < shell->parameters.size(); ++i)
    if (auto const& p = shell->parameters[first + i]) {
      valid[i] = true;
      std::copy(p->begin(), p->end(), params.begin() + i * stride);
    }
  return true;
}

ShellKey& ShellKey::SetVertexRGBColorsByRange(Shell::Component component, size_t first,
                                              RGBColorArray const& colors) {
  SetVertexColors(*this, component, first, colors.size(), [&](size_t i) {
    return ColorEntry{Material::Type::RGBColor, {colors[i].red, colors[i].green, colors[i].blue, 1.0f}, 0};
  });
  return *this;
}

ShellKey& ShellKey::SetVertexRGBAColorsByRange(Shell::Component component, size_t first,
                                               RGBAColorArray const& colors) {
  SetVertexColors(*this, component, first, colors.size(),
                  [&](size_t i) { return ColorEntry{Material::Type::RGBAColor, colors[i], 0}; });
  return *this;
}

ShellKey& ShellKey::SetVertexIndexColorsByRange(Shell::Component component, size_t first,
                                                FloatArray const& indices) {
  SetVertexColors(*this, component, first, indices.size(),
                  [&](size_t i) { return ColorEntry{Material::Type::PaletteIndex, {}, indices[i]}; });
  return *this;
}

bool ShellKey::ShowVertexColorsByRange(size_t first, size_t count, Shell::Component component,
                                       MaterialTypeArray& types, RGBColorArray& rgb, RGBAColorArray& rgba,
                                       FloatArray& indices) const {
  auto shell = Live(*this);
  if (!shell) return false;
  CheckRange(first, count, shell->points.size());
  auto const& colors = shell->vertex_colors[static_cast<size_t>(component) % 3];
  types.assign(count, Material::Type::None);
  rgb.assign(count, RGBColor{});
  rgba.assign(count, RGBAColor{});
  indices.assign(count, 0.0f);
  bool any = false;
  for (size_t i = 0; i < count && first + i < colors.size(); ++i) {
    ColorEntry const& c = colors[first + i];
    types[i] = c.type;
    rgb[i] = {c.rgba.red, c.rgba.green, c.rgba.blue};
    rgba[i] = c.rgba;
    indices[i] = c.index;
    any = any || c.type != Material::Type::None;
  }
  return any;
}

ShellKey& ShellKey::SetFaceRGBColorsByRange(size_t first, RGBColorArray const& colors) {
  auto shell = detail::Require<ShellData>(*this);
  Store(shell->face_colors, shell->face_count, first, colors.size());
  for (size_t i = 0; i < colors.size(); ++i)
    shell->face_colors[first + i] = {Material::Type::RGBColor, {colors[i].red, colors[i].green, colors[i].blue, 1}, 0};
  return *this;
}

ShellKey& ShellKey::SetFaceIndexColorsByRange(size_t first, FloatArray const& indices) {
  auto shell = detail::Require<ShellData>(*this);
  Store(shell->face_colors, shell->face_count, first, indices.size());
  for (size_t i = 0; i < indices.size(); ++i)
    shell->face_colors[first + i] = {Material::Type::PaletteIndex, {}, indices[i]};
  return *this;
}

bool ShellKey::ShowFaceColorsByRange(size_t first, size_t count, MaterialTypeArray& types, RGBColorArray& rgb,
                                     FloatArray& values) const {
  auto shell = Live(*this);
  if (!shell) return false;
  CheckRange(first, count, shell->face_count);
  types.assign(count, Material::Type::None);
  rgb.assign(count, RGBColor{});
  values.assign(count, 0.0f);
  bool any = false;
  for (size_t i = 0; i < count && first + i < shell->face_colors.size(); ++i) {
    ColorEntry const& c = shell->face_colors[first + i];
    types[i] = c.type;
    rgb[i] = {c.rgba.red, c.rgba.green, c.rgba.blue};
    values[i] = c.index;
    any = any || c.type != Material::Type::None;
  }
  return any;
}

}  // namespace KZV
