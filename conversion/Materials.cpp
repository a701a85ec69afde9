// Materials, textures, images, material maps and matrices into the model,
// each inserted once and found again by its content.
#include <cmath>

#include "conversion/SceneConverter.h"
#include "scene/ImageKit.h"
#include "scene/KeyPath.h"
#include "scene/TextureOptionsKit.h"
#include "store/Model.h"

namespace KZV {

bool ConverterMaterial::operator==(ConverterMaterial const& other) const {
  float const a[7] = {color[0], color[1], color[2], color[3], mirror, specular, gloss};
  float const b[7] = {other.color[0], other.color[1], other.color[2], other.color[3],
                      other.mirror, other.specular, other.gloss};
  return detail::FloatsEqual(a, b, 7) && texture == other.texture;
}

size_t ConverterMaterialHash::operator()(ConverterMaterial const& m) const {
  float const scalars[3] = {m.mirror, m.specular, m.gloss};
  uint64_t h = detail::FloatHash(m.color.data(), 4) + detail::FloatHash(scalars, 3);
  if (!m.texture.Empty()) h += m.texture.Name().GetHash();
  return static_cast<size_t>(h);
}

size_t MaterialMapHash::operator()(std::vector<uint32_t> const& keys) const {
  uint32_t sum = 0;
  for (uint32_t k : keys) {
    uint32_t x = ((k ^ 0x3D0000u) >> 16) ^ k;
    x *= 9;
    x = (x >> 4) ^ x;
    x *= 668265261u;
    x = (x >> 15) ^ x;
    sum += x;
  }
  return sum;
}

namespace {

MaterialPalette const& DefaultPalette() {
  static MaterialPalette const palette = [] {
    float const colors[10][3] = {{0, 0, 0}, {1, 1, 1},       {0, 1, 0},     {1, 0, 0},   {0, 0, 1},
                                 {0, 1, 1}, {1, 0, 0.61f}, {0.9f, 1, 0}, {0.5f, 0.5f, 0.5f},
                                 {0.675f, 0.675f, 0.675f}};
    MaterialPalette entries(10);
    for (int i = 0; i < 10; ++i) entries[i].SetDiffuse(RGBColor{colors[i][0], colors[i][1], colors[i][2]});
    return entries;
  }();
  return palette;
}

std::array<float, 4> ToArray(RGBAColor const& c) { return {c.red, c.green, c.blue, c.alpha}; }

// The image of a texture: its own, or the one its name finds on the path.
bool FindImage(TextureDefinition const& texture, SceneConverter::Path const& path, ImageDefinition& image) {
  if (texture.ShowSource(image) && !image.Empty()) return true;
  UTF8 name;
  return texture.ShowSource(name) && path.ShowEffectiveImageDefinition(name, image) && !image.Empty();
}

uint32_t TextureWord(TextureOptionsKit const& options) {
  uint32_t word = 0;
  Material::Texture::Tiling tiling{};
  Material::Texture::Interpolation interpolation{};
  Material::Texture::Decimation decimation{};
  bool decal = false;
  if (options.ShowTiling(tiling) && tiling == Material::Texture::Tiling::Clamp) word |= 0x1;
  if (options.ShowInterpolationFilter(interpolation) && interpolation == Material::Texture::Interpolation::None)
    word |= 0x10;
  if (options.ShowDecimationFilter(decimation) && decimation == Material::Texture::Decimation::None) word |= 0x100;
  if (options.ShowDecal(decal) && decal) word |= 0x10000;
  return word;
}

}  // namespace

ConverterMaterial SceneConverter::DefaultMaterial() const {
  ConverterMaterial material;
  material.color = options_.DefaultColor;
  return material;
}

MaterialPalette SceneConverter::MakePalette(Path const& path) const {
  UTF8 name;
  if (!path.ShowNetMaterialPalette(name)) return DefaultPalette();
  MaterialPaletteDefinition definition;
  MaterialPalette entries;
  if (path.ShowEffectiveMaterialPaletteDefinition(name, definition)) definition.Show(entries);
  return entries;
}

MaterialSet SceneConverter::MakeMaterialSet(Path const& path, LazyPalette& palette) const {
  MaterialMappingKit kit;
  path.ShowNetMaterialMapping(kit);
  ConverterMaterial const base = DefaultMaterial();
  MaterialSet set{base, base, base, base};
  ApplyMapping(set, path, kit, palette);
  return set;
}

void SceneConverter::ApplyMapping(MaterialSet& set, Path const& path, MaterialMappingKit const& kit,
                                  LazyPalette& palette) const {
  auto resolve = [&](Material::Type type, RGBAColor const& rgba, float value, std::array<float, 4>& color) {
    if (type == Material::Type::RGBColor || type == Material::Type::RGBAColor) {
      color = ToArray(rgba);
    } else if (type == Material::Type::PaletteIndex) {
      MaterialPalette const& entries = palette.Get();
      // An index outside the palette leaves the color as it is.
      if (!(value >= 0) || value >= float(entries.size())) return;
      MaterialKit const& entry = entries[static_cast<size_t>(value)];
      RGBAColor c;
      float alpha = 0;
      Material::Type texture_type{};
      UTF8 name;
      if (entry.ShowDiffuseColor(c)) color = ToArray(c);
      else if (entry.ShowDiffuseAlpha(alpha)) color[3] = alpha;
      else if (entry.ShowDiffuseTexture(texture_type, c, name))
        path.ShowEffectiveTextureDefinition(name, set.face.texture);
    }
  };
  Material::Type type{};
  RGBAColor rgba;
  UTF8 name;
  float value = 0;
  auto face = [&](Material::Channel channel) { return kit.ShowFaceChannel(channel, type, rgba, name, value); };
  auto average = [&] { return (rgba.blue + rgba.red + rgba.green) * 0.33333334f; };

  if (face(Material::Channel::DiffuseColor) && type != Material::Type::None)
    resolve(type, rgba, value, set.face.color);
  if (face(Material::Channel::DiffuseTexture)) {
    if (type == Material::Type::PaletteIndex) resolve(type, rgba, value, set.face.color);
    else path.ShowEffectiveTextureDefinition(name, set.face.texture);
  }
  if (face(Material::Channel::Gloss)) set.face.gloss = value;
  if (face(Material::Channel::Specular)) set.face.specular = average();
  if (face(Material::Channel::Mirror)) set.face.mirror = average();
  if (kit.ShowLineColor(type, rgba, value)) resolve(type, rgba, value, set.line.color);
  if (kit.ShowVertexChannel(Material::Channel::DiffuseColor, type, rgba, name, value))
    resolve(type, rgba, value, set.point.color);
  if (kit.ShowTextColor(type, rgba, value)) resolve(type, rgba, value, set.text.color);
  else set.text.color = set.face.color;
}

uint32_t SceneConverter::InsertMaterial(ConverterMaterial const& material, Path const& path) {
  auto found = materials_.find(material);
  if (found != materials_.end()) return found->second;
  auto const& c = material.color;
  QX::Store::RGBAColor const color{c[0], c[1], c[2], c[3]};
  uint32_t key = 0;
  if (material.Plain()) {
    key = model_->InsertMaterial(color);
  } else {
    QX::Store::Material full;
    full.color = color;
    full.mirror = material.mirror;
    full.specular = material.specular;
    full.gloss = material.gloss;
    full.line_pattern = QX::Store::kNoKey;
    key = FillTextures(full, material.texture, path) ? model_->InsertMaterial(full)
                                                         : model_->InsertMaterial(color);
  }
  materials_.emplace(material, key);
  return key;
}

bool SceneConverter::FillTextures(QX::Store::Material& material, TextureDefinition const& texture,
                                  Path const& path) {
  bool added = false;
  MaterialMappingKit kit;
  Material::Type type{};
  RGBAColor rgba;
  UTF8 name;
  float value = 0;
  if (path.ShowNetMaterialMapping(kit) &&
      kit.ShowFaceChannel(Material::Channel::EnvironmentTexture, type, rgba, name, value)) {
    TextureDefinition environment;
    ImageDefinition image;
    if (!path.ShowEffectiveTextureDefinition(name, environment) || !FindImage(environment, path, image))
      return false;
    material.environment.push_back(InsertImage(image));
    added = true;
  }
  if (texture.Empty()) return added;

  TextureOptionsKit options;
  texture.ShowOptions(options);
  uint32_t const word = TextureWord(options);
  Material::Texture::Parameterization source{};
  if (options.ShowParameterizationSource(source) && source != Material::Texture::Parameterization::UV) return added;
  MatrixKit transform;
  uint32_t const matrix = options.ShowTransformMatrix(transform) ? InsertMatrix(transform) : 0;
  ImageDefinition image;
  if (!FindImage(texture, path, image)) return added;
  material.textures.push_back({InsertImage(image), matrix, word});
  return true;
}

uint32_t SceneConverter::InsertImage(ImageDefinition const& definition) {
  int64_t const id = definition.GetInstanceID();
  auto found = images_.find(id);
  if (found != images_.end()) return found->second;
  ImageKit kit;
  definition.Show(kit);
  Image::Format format{};
  kit.ShowFormat(format);
  uint32_t const code = static_cast<uint32_t>(format);
  if (code == 2 || code == 3 || code >= 8) {
    kit.Convert(Image::Format::RGBA);
    format = Image::Format::RGBA;
  }
  uint32_t width = 0, height = 0;
  ByteArray bytes;
  if (!kit.ShowSize(width, height) || width == 0 || height == 0) return 0;
  if (!kit.ShowData(bytes) || bytes.empty()) return 0;
  uint32_t const size = static_cast<uint32_t>(bytes.size());
  uint32_t key = 0;
  switch (format) {
    case Image::Format::RGB: key = model_->InsertImageRGB(width, height, bytes.data()); break;
    case Image::Format::RGBA: key = model_->InsertImageRGBA(width, height, bytes.data()); break;
    case Image::Format::Grayscale: key = model_->InsertImageGray(width, height, bytes.data()); break;
    case Image::Format::Bmp: key = model_->InsertEncodedImage(size, bytes.data(), 2); break;
    case Image::Format::Jpeg: key = model_->InsertEncodedImage(size, bytes.data(), 1); break;
    case Image::Format::Png: key = model_->InsertEncodedImage(size, bytes.data(), 0); break;
    default: return 0;
  }
  images_.emplace(id, key);
  return key;
}

uint32_t SceneConverter::InsertMatrix(MatrixKit const& kit) {
  if (kit.Empty()) return 0;
  FloatArray e;
  kit.ShowElements(e);
  MatrixFloats m;
  m.values = {e[0], e[1], e[2], e[4], e[5], e[6], e[8], e[9], e[10], e[12], e[13], e[14]};
  // One hash for the look-up and the entry: every path of an assembly
  // brings a matrix of its own.
  auto [entry, added] = matrices_.try_emplace(m, 0);
  if (!added) return entry->second;
  try {
    entry->second = model_->InsertMatrix(m.values.data());
  } catch (...) {
    matrices_.erase(entry);
    throw;
  }
  return entry->second;
}

uint32_t SceneConverter::InsertMaterialMap(std::vector<uint32_t> const& keys) {
  auto found = material_maps_.find(keys);
  if (found != material_maps_.end()) return found->second;
  uint32_t const key = model_->InsertMaterialMap(keys);
  material_maps_.emplace(keys, key);
  return key;
}

}  // namespace KZV
