#pragma once
// A path through the scene: segments and includes, the leaf first and the
// top last. An include stands right behind the segment it brings in.
// Owners missing between two keys are filled in; nothing above the last
// key counts, so a path cut short leaves out the attributes above its top.
#include "scene/Enums.h"
#include "scene/Key.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"
#include "scene/UTF8.h"

namespace KZV {

class DrawingAttributeKit;
class ImageDefinition;
class MaterialMappingKit;
class MaterialPaletteDefinition;
class MatrixKit;
class TextAttributeKit;
class TextureDefinition;
class VisibilityKit;

class KeyPath : public Object {
 public:
  KeyPath() = default;
  explicit KeyPath(KeyArray keys) : keys_(std::move(keys)) {}
  KeyPath(size_t count, Key const* keys) : keys_(keys, keys + count) {}

  uint32_t Type() const override { return TypeCode::KeyPath; }
  bool Empty() const override { return keys_.empty(); }
  bool ShowKeys(KeyArray& out) const;
  KeyArray const& Keys() const { return keys_; }
  KeyPath& Append(Key const& key) { keys_.push_back(key); return *this; }
  KeyPath& PushFront(Key const& key);
  KeyPath& PopFront();

  // Inherited attributes at the leaf: the settings of the segments merged
  // from the top down, lower ones overriding higher ones. A lock of
  // visibility on a segment keeps lower segments from changing it.
  bool ShowNetVisibility(VisibilityKit& out) const;
  bool ShowNetDrawingAttribute(DrawingAttributeKit& out) const;
  bool ShowNetTextAttribute(TextAttributeKit& out) const;
  bool ShowNetMaterialMapping(MaterialMappingKit& out) const;
  bool ShowNetMaterialPalette(UTF8& out) const;
  // The leaf's matrix times its owner's and so on up to the top's: it takes
  // leaf coordinates to top coordinates. False when no segment has one.
  bool ShowNetModellingMatrix(MatrixKit& out) const;
  // All condition names set on the path, top first, each once.
  bool ShowNetConditions(UTF8Array& out) const;
  // Every clip region on the path, top first, with the net matrix of the
  // segment that holds it.
  bool ShowNetClipRegions(std::vector<PointArrayArray>& regions, std::vector<Drawing::ClipSpace>& spaces,
                          std::vector<Drawing::ClipOperation>& operations, std::vector<MatrixKit>& matrices) const;

  bool ShowEffectiveTextureDefinition(char const* name, TextureDefinition& out) const;
  bool ShowEffectiveImageDefinition(char const* name, ImageDefinition& out) const;
  bool ShowEffectiveMaterialPaletteDefinition(char const* name, MaterialPaletteDefinition& out) const;

 private:
  KeyArray keys_;
};

}  // namespace KZV
