#include "scene/Definitions.h"

#include "scene/ImageKit.h"
#include "scene/MaterialKit.h"
#include "scene/TextureOptionsKit.h"
#include "scene/detail/Entities.h"

namespace KZV {
namespace {

template <typename T>
T const* ContentAs(std::shared_ptr<detail::DefinitionData const> const& data) {
  return data ? static_cast<T const*>(data->content.get()) : nullptr;
}

}  // namespace

Definition::Definition(std::shared_ptr<detail::DefinitionData const> data) : data_(std::move(data)) {}

int64_t Definition::GetInstanceID() const { return reinterpret_cast<intptr_t>(data_.get()); }

UTF8 Definition::Name() const { return data_ ? UTF8(data_->name) : UTF8(); }

bool ImageDefinition::Show(ImageKit& out) const {
  auto const* image = ContentAs<ImageKit>(data_);
  if (!image) return false;
  out = *image;
  return true;
}

bool TextureDefinition::ShowSource(ImageDefinition& out) const {
  auto const* texture = ContentAs<detail::TextureContent>(data_);
  if (!texture || texture->image.Empty()) return false;
  out = texture->image;
  return true;
}

bool TextureDefinition::ShowSource(UTF8& out) const {
  auto const* texture = ContentAs<detail::TextureContent>(data_);
  if (!texture || !texture->image.Empty()) return false;
  out = UTF8(texture->image_name);
  return true;
}

bool TextureDefinition::ShowOptions(TextureOptionsKit& out) const {
  auto const* texture = ContentAs<detail::TextureContent>(data_);
  if (!texture) return false;
  out = *texture->options;
  return true;
}

bool MaterialPaletteDefinition::Show(std::vector<MaterialKit>& out) const {
  auto const* palette = ContentAs<std::vector<MaterialKit>>(data_);
  if (!palette) return false;
  out = *palette;
  return true;
}

}  // namespace KZV
