#include "scene/KitSetting.h"
#include "scene/MaterialKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/TextureOptionsKit.h"

namespace KZV {
namespace {

bool ShowChannel(std::map<Material::Channel, MaterialSetting> const& channels, Material::Channel channel,
                 Material::Type& type, RGBAColor& rgba, UTF8& name, float& value) {
  auto it = channels.find(channel);
  if (it == channels.end()) return false;
  type = it->second.type;
  rgba = it->second.rgba;
  name = it->second.name;
  value = it->second.value;
  return true;
}

bool ShowColor(std::optional<MaterialSetting> const& setting, Material::Type& type, RGBAColor& rgba,
               float& value) {
  if (!setting) return false;
  type = setting->type;
  rgba = setting->rgba;
  value = setting->value;
  return true;
}

}  // namespace

MaterialSetting MaterialSetting::Color(RGBColor const& c) {
  MaterialSetting s;
  s.type = Material::Type::RGBColor;
  s.rgba = {c.red, c.green, c.blue, 1.0f};
  return s;
}

MaterialSetting MaterialSetting::Color(RGBAColor const& c) {
  MaterialSetting s;
  s.type = Material::Type::RGBAColor;
  s.rgba = c;
  return s;
}

MaterialSetting MaterialSetting::Index(float index) {
  MaterialSetting s;
  s.type = Material::Type::PaletteIndex;
  s.value = index;
  return s;
}

MaterialSetting MaterialSetting::TextureName(char const* texture) {
  MaterialSetting s;
  s.type = Texture;
  s.name = UTF8(texture);
  return s;
}

MaterialSetting MaterialSetting::Number(float value) {
  MaterialSetting s;
  s.type = Material::Type::Value;
  s.value = value;
  return s;
}

bool MaterialMappingKit::Empty() const { return face_.empty() && vertex_.empty() && !line_ && !text_; }

MaterialMappingKit& MaterialMappingKit::SetFaceChannel(Material::Channel channel, MaterialSetting const& setting) {
  face_[channel] = setting;
  return *this;
}

MaterialMappingKit& MaterialMappingKit::SetVertexChannel(Material::Channel channel,
                                                         MaterialSetting const& setting) {
  vertex_[channel] = setting;
  return *this;
}

MaterialMappingKit& MaterialMappingKit::SetFaceColor(RGBAColor const& c) {
  return SetFaceChannel(Material::Channel::DiffuseColor, MaterialSetting::Color(c));
}

MaterialMappingKit& MaterialMappingKit::SetLineColor(MaterialSetting const& setting) {
  line_ = setting;
  return *this;
}

MaterialMappingKit& MaterialMappingKit::SetTextColor(MaterialSetting const& setting) {
  text_ = setting;
  return *this;
}

bool MaterialMappingKit::ShowFaceChannel(Material::Channel channel, Material::Type& type, RGBAColor& rgba,
                                         UTF8& name, float& value) const {
  return ShowChannel(face_, channel, type, rgba, name, value);
}

bool MaterialMappingKit::ShowVertexChannel(Material::Channel channel, Material::Type& type, RGBAColor& rgba,
                                           UTF8& name, float& value) const {
  return ShowChannel(vertex_, channel, type, rgba, name, value);
}

bool MaterialMappingKit::ShowLineColor(Material::Type& type, RGBAColor& rgba, float& value) const {
  return ShowColor(line_, type, rgba, value);
}

bool MaterialMappingKit::ShowTextColor(Material::Type& type, RGBAColor& rgba, float& value) const {
  return ShowColor(text_, type, rgba, value);
}

MaterialMappingKit& MaterialMappingKit::Merge(MaterialMappingKit const& other) {
  for (auto const& [channel, setting] : other.face_) face_[channel] = setting;
  for (auto const& [channel, setting] : other.vertex_) vertex_[channel] = setting;
  detail::MergeSetting(line_, other.line_);
  detail::MergeSetting(text_, other.text_);
  return *this;
}

MaterialKit& MaterialKit::SetDiffuse(RGBColor const& c) {
  color_ = RGBAColor{c.red, c.green, c.blue, 1.0f};
  return *this;
}

bool MaterialKit::ShowDiffuseColor(RGBAColor& out) const { return detail::ShowSetting(color_, out); }
bool MaterialKit::ShowDiffuseAlpha(float& out) const { return detail::ShowSetting(alpha_, out); }

bool MaterialKit::ShowDiffuseTexture(Material::Type& type, RGBAColor& rgba, UTF8& name) const {
  if (!texture_) return false;
  type = MaterialSetting::Texture;
  rgba = RGBAColor{};
  name = *texture_;
  return true;
}

bool TextureOptionsKit::Empty() const {
  return !tiling_ && !interpolation_ && !decimation_ && !source_ && !decal_ && !matrix_;
}

bool TextureOptionsKit::ShowTiling(Material::Texture::Tiling& out) const {
  return detail::ShowSetting(tiling_, out);
}
bool TextureOptionsKit::ShowInterpolationFilter(Material::Texture::Interpolation& out) const {
  return detail::ShowSetting(interpolation_, out);
}
bool TextureOptionsKit::ShowDecimationFilter(Material::Texture::Decimation& out) const {
  return detail::ShowSetting(decimation_, out);
}
bool TextureOptionsKit::ShowParameterizationSource(Material::Texture::Parameterization& out) const {
  return detail::ShowSetting(source_, out);
}
bool TextureOptionsKit::ShowDecal(bool& out) const { return detail::ShowSetting(decal_, out); }
bool TextureOptionsKit::ShowTransformMatrix(MatrixKit& out) const { return detail::ShowSetting(matrix_, out); }

}  // namespace KZV
