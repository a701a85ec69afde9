// Vertex and face colors of shells: bytes per vertex, and elements with a
// material map per face color.
#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "conversion/SceneConverter.h"
#include "conversion/UnitToByte.h"
#include "scene/ShellKey.h"

namespace KZV {

using QX::Store::MeshData;

namespace {

struct RgbKey {
  float r, g, b;
  bool operator==(RgbKey const& o) const { return r == o.r && g == o.g && b == o.b; }
};
struct RgbKeyHash {
  size_t operator()(RgbKey const& k) const { return detail::FloatHash(&k.r, 3); }
};

}  // namespace

bool SceneConverter::ConvertVertexColors(ShellKey const& shell, LazyPalette& palette, Shell::Component component) {
  work_colors_.clear();
  if (options_.SkipVertexColors) return false;
  size_t const n = shell.GetPointCount();
  MaterialTypeArray types;
  RGBColorArray rgb;
  RGBAColorArray rgba;
  FloatArray indices;
  if (!shell.ShowVertexColorsByRange(0, n, component, types, rgb, rgba, indices) || types.empty()) return false;
  bool uses_palette = false;
  for (auto type : types) {
    if (type != Material::Type::RGBColor && type != Material::Type::RGBAColor && type != Material::Type::PaletteIndex)
      return false;
    uses_palette |= type == Material::Type::PaletteIndex;
  }
  MaterialPalette const* entries = uses_palette ? &palette.Get() : nullptr;
  if (uses_palette && entries->empty()) return false;

  work_colors_.resize(types.size());
  for (size_t i = 0; i < types.size(); ++i) {
    RGBAColor c;
    if (types[i] == Material::Type::RGBColor) {
      c = {rgb[i].red, rgb[i].green, rgb[i].blue, 1.0f};
    } else if (types[i] == Material::Type::RGBAColor) {
      c = rgba[i];
    } else {
      // Between two palette entries by the fraction of the index.
      float const f = indices[i];
      size_t const m = entries->size();
      auto const k = static_cast<int64_t>(std::floor(f));
      float const t = f - static_cast<float>(k);
      RGBAColor c0, c1;
      (*entries)[static_cast<size_t>(((k % int64_t(m)) + int64_t(m)) % int64_t(m))].ShowDiffuseColor(c0);
      (*entries)[static_cast<size_t>((((k + 1) % int64_t(m)) + int64_t(m)) % int64_t(m))].ShowDiffuseColor(c1);
      c = {c0.red + (c1.red - c0.red) * t, c0.green + (c1.green - c0.green) * t,
           c0.blue + (c1.blue - c0.blue) * t, c0.alpha + (c1.alpha - c0.alpha) * t};
    }
    work_colors_[i] = {UnitToByte(c.red), UnitToByte(c.green), UnitToByte(c.blue), UnitToByte(c.alpha)};
  }
  return true;
}

// Faces of one color form one element; the material map lists the colors'
// materials by ascending key, and uncolored faces come last, without entry.
void SceneConverter::ConvertFaceColors(ShellKey const& shell, Path const& path, MeshData& mesh) {
  face_groups_.clear();
  size_t const f = shell.GetFaceCount();
  MaterialTypeArray types;
  RGBColorArray rgb;
  FloatArray values;
  if (!shell.ShowFaceColorsByRange(0, f, types, rgb, values)) {
    AddElements(mesh.face_elements, 1);
    return;
  }
  constexpr uint32_t kUncolored = 0xFFFFFFFFu;
  constexpr uint32_t kUnconverted = 0xFFFFFFFEu;  // colored by palette index: element 0
  std::unordered_map<RgbKey, uint32_t, RgbKeyHash> groups_of;
  std::vector<uint32_t> keys;
  std::vector<uint32_t>& groups = face_groups_;
  groups.assign(types.size(), kUnconverted);
  bool any_uncolored = false;
  for (size_t i = 0; i < types.size(); ++i) {
    if (types[i] == Material::Type::None) {
      groups[i] = kUncolored;
      any_uncolored = true;
    } else if (types[i] == Material::Type::RGBColor) {
      RgbKey const key{rgb[i].red, rgb[i].green, rgb[i].blue};
      auto [it, added] = groups_of.emplace(key, static_cast<uint32_t>(keys.size()));
      if (added) {
        ConverterMaterial material = DefaultMaterial();
        material.color = {key.r, key.g, key.b, 1.0f};
        keys.push_back(InsertMaterial(material, path));
      }
      groups[i] = it->second;
    }
  }
  // Renumber by the rank of each group's key.
  sort_order_.resize(keys.size());
  for (size_t g = 0; g < keys.size(); ++g) sort_order_[g] = (uint64_t(keys[g]) << 32) | g;
  std::sort(sort_order_.begin(), sort_order_.end());
  inverse_order_.resize(keys.size());
  std::vector<uint32_t> sorted(keys.size());
  for (size_t rank = 0; rank < sort_order_.size(); ++rank) {
    inverse_order_[sort_order_[rank] & 0xFFFFFFFFu] = rank;
    sorted[rank] = static_cast<uint32_t>(sort_order_[rank] >> 32);
  }
  uint32_t const uncolored_group = static_cast<uint32_t>(keys.size());
  for (auto& g : groups) {
    if (g == kUncolored) g = uncolored_group;
    else if (g == kUnconverted) g = 0;
    else g = static_cast<uint32_t>(inverse_order_[g]);
  }
  // Faces colored by palette index alone stay in element 0, which must exist.
  AddElements(mesh.face_elements, std::max<size_t>(1, keys.size() + (any_uncolored ? 1 : 0)));
  mesh.face_material_map = InsertMaterialMap(sorted);
}

}  // namespace KZV
