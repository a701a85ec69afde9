#pragma once
// How a texture is applied.
#include <optional>

#include "scene/Enums.h"
#include "scene/MatrixKit.h"

namespace KZV {

class TextureOptionsKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override;

  TextureOptionsKit& SetTiling(Material::Texture::Tiling t) { tiling_ = t; return *this; }
  TextureOptionsKit& SetInterpolationFilter(Material::Texture::Interpolation i) { interpolation_ = i; return *this; }
  TextureOptionsKit& SetDecimationFilter(Material::Texture::Decimation d) { decimation_ = d; return *this; }
  TextureOptionsKit& SetParameterizationSource(Material::Texture::Parameterization p) { source_ = p; return *this; }
  TextureOptionsKit& SetDecal(bool on) { decal_ = on; return *this; }
  TextureOptionsKit& SetTransformMatrix(MatrixKit const& m) { matrix_ = m; return *this; }

  bool ShowTiling(Material::Texture::Tiling& out) const;
  bool ShowInterpolationFilter(Material::Texture::Interpolation& out) const;
  bool ShowDecimationFilter(Material::Texture::Decimation& out) const;
  bool ShowParameterizationSource(Material::Texture::Parameterization& out) const;
  bool ShowDecal(bool& out) const;
  bool ShowTransformMatrix(MatrixKit& out) const;

 private:
  std::optional<Material::Texture::Tiling> tiling_;
  std::optional<Material::Texture::Interpolation> interpolation_;
  std::optional<Material::Texture::Decimation> decimation_;
  std::optional<Material::Texture::Parameterization> source_;
  std::optional<bool> decal_;
  std::optional<MatrixKit> matrix_;
};

}  // namespace KZV
