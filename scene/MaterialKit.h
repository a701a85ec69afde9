#pragma once
// One entry of a material palette.
#include <optional>

#include "scene/Enums.h"
#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"
#include "scene/UTF8.h"

namespace KZV {

class MaterialKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !color_ && !alpha_ && !texture_; }

  MaterialKit& SetDiffuse(RGBColor const& c);
  MaterialKit& SetDiffuse(RGBAColor const& c) { color_ = c; return *this; }
  MaterialKit& SetDiffuseAlpha(float alpha) { alpha_ = alpha; return *this; }
  MaterialKit& SetDiffuseTexture(char const* name) { texture_ = UTF8(name); return *this; }

  bool ShowDiffuseColor(RGBAColor& out) const;
  bool ShowDiffuseAlpha(float& out) const;
  bool ShowDiffuseTexture(Material::Type& type, RGBAColor& rgba, UTF8& name) const;

 private:
  std::optional<RGBAColor> color_;
  std::optional<float> alpha_;
  std::optional<UTF8> texture_;
};

}  // namespace KZV
