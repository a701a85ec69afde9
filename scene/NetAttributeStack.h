#pragma once
// The net attributes of a key path that grows and shrinks at its leaf end,
// as a walk goes down the tree and back up. The path's segments are kept
// top first, one entry each; every entry works out its net attributes from
// the entry above it the first time they are asked for, and keeps them while
// it stays on the path. So a net attribute costs one step per segment and
// path prefix, however many paths below share that prefix, and the answers
// are those that KeyPath gives for the same keys.
#include <cstddef>
#include <vector>

#include "scene/Enums.h"
#include "scene/Key.h"
#include "scene/Types.h"
#include "scene/UTF8.h"
#include "scene/detail/PathSegments.h"

namespace KZV {
class DrawingAttributeKit;
class ImageDefinition;
class KeyPath;
class MaterialMappingKit;
class MaterialPaletteDefinition;
class MatrixKit;
class TextAttributeKit;
class TextureDefinition;
class VisibilityKit;
}  // namespace KZV

namespace KZVI::Helpers {

struct NetEntry;

class NetAttributeStack {
 public:
  explicit NetAttributeStack(KZV::KeyPath const& start);
  ~NetAttributeStack();
  NetAttributeStack(NetAttributeStack const& other);
  NetAttributeStack& operator=(NetAttributeStack const& other);

  // `key` joins the path in front of `leaf`, the key that was its leaf.
  void Push(KZV::Key const& key, KZV::Key const& leaf);
  // Undoes the last Push.
  void Pop();

  bool ShowNetVisibility(KZV::VisibilityKit& out) const;
  bool ShowNetDrawingAttribute(KZV::DrawingAttributeKit& out) const;
  bool ShowNetTextAttribute(KZV::TextAttributeKit& out) const;
  bool ShowNetMaterialMapping(KZV::MaterialMappingKit& out) const;
  bool ShowNetMaterialPalette(KZV::UTF8& out) const;
  bool ShowNetModellingMatrix(KZV::MatrixKit& out) const;
  bool ShowNetConditions(KZV::UTF8Array& out) const;
  bool ShowNetClipRegions(std::vector<KZV::PointArrayArray>& regions, std::vector<KZV::Drawing::ClipSpace>& spaces,
                          std::vector<KZV::Drawing::ClipOperation>& operations,
                          std::vector<KZV::MatrixKit>& matrices) const;
  bool ShowEffectiveTextureDefinition(char const* name, KZV::TextureDefinition& out) const;
  bool ShowEffectiveImageDefinition(char const* name, KZV::ImageDefinition& out) const;
  bool ShowEffectiveMaterialPaletteDefinition(char const* name, KZV::MaterialPaletteDefinition& out) const;

 private:
  // Top first; the cells inside are filled on demand, hence mutable.
  mutable std::vector<NetEntry> entries_;
  std::vector<size_t> marks_;  // the entry count before each Push
  KZV::detail::SegmentList scratch_;
};

}  // namespace KZVI::Helpers
