#pragma once
// Which colors, textures and values the material channels of faces,
// vertices, lines and text take. Segments pass it on; shells may hold one
// of their own.
#include <map>
#include <optional>

#include "scene/Enums.h"
#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"
#include "scene/UTF8.h"

namespace KZV {

// One channel's value. Its type says which field holds it: a color, the
// name of a texture (type Texture) or a number (a palette index or a
// plain value).
struct MaterialSetting {
  static constexpr Material::Type Texture = Material::Type(1);

  Material::Type type = Material::Type::None;
  RGBAColor rgba;
  UTF8 name;
  float value = 0;

  static MaterialSetting Color(RGBColor const& c);
  static MaterialSetting Color(RGBAColor const& c);
  static MaterialSetting Index(float index);
  static MaterialSetting TextureName(char const* texture);
  static MaterialSetting Number(float value);
};

class MaterialMappingKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override;

  MaterialMappingKit& SetFaceChannel(Material::Channel channel, MaterialSetting const& setting);
  MaterialMappingKit& SetVertexChannel(Material::Channel channel, MaterialSetting const& setting);
  MaterialMappingKit& SetFaceColor(RGBAColor const& c);
  MaterialMappingKit& SetLineColor(MaterialSetting const& setting);
  MaterialMappingKit& SetTextColor(MaterialSetting const& setting);

  bool ShowFaceChannel(Material::Channel channel, Material::Type& type, RGBAColor& rgba, UTF8& name,
                       float& value) const;
  bool ShowVertexChannel(Material::Channel channel, Material::Type& type, RGBAColor& rgba, UTF8& name,
                         float& value) const;
  bool ShowLineColor(Material::Type& type, RGBAColor& rgba, float& value) const;
  bool ShowTextColor(Material::Type& type, RGBAColor& rgba, float& value) const;

  // Takes over every channel that `other` sets.
  MaterialMappingKit& Merge(MaterialMappingKit const& other);

 private:
  std::map<Material::Channel, MaterialSetting> face_, vertex_;
  std::optional<MaterialSetting> line_, text_;
};

}  // namespace KZV
