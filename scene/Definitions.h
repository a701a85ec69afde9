#pragma once
// Named resources defined on segments: images, textures and material
// palettes. A definition is a handle: copies share one resource, compare
// equal and give the same instance id. A default-constructed one is empty.
#include <memory>
#include <vector>

#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/UTF8.h"

namespace KZV {

class ImageKit;
class MaterialKit;
class TextureOptionsKit;

namespace detail {
struct DefinitionData;
}

class Definition : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Definition; }
  bool Empty() const override { return data_ == nullptr; }
  int64_t GetInstanceID() const override;
  UTF8 Name() const;
  bool operator==(Definition const& other) const { return data_ == other.data_; }
  bool operator!=(Definition const& other) const { return data_ != other.data_; }

  explicit Definition(std::shared_ptr<detail::DefinitionData const> data = nullptr);

 protected:
  std::shared_ptr<detail::DefinitionData const> data_;
};

class ImageDefinition : public Definition {
 public:
  using Definition::Definition;
  bool Show(ImageKit& out) const;
};

class TextureDefinition : public Definition {
 public:
  using Definition::Definition;
  bool ShowSource(ImageDefinition& out) const;  // the image the texture holds itself
  bool ShowSource(UTF8& out) const;             // else the name of its image
  bool ShowOptions(TextureOptionsKit& out) const;
};

class MaterialPaletteDefinition : public Definition {
 public:
  using Definition::Definition;
  bool Show(std::vector<MaterialKit>& out) const;
};

}  // namespace KZV
