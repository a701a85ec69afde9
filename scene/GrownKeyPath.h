#pragma once
// A key path that grows at its leaf end as a walk goes down, and shrinks
// as it comes back up. Its net attributes answer as those of KeyPath() do,
// but each segment and path prefix is worked out once, not at every query.
#include "scene/KeyPath.h"
#include "scene/NetAttributeStack.h"

namespace KZVI::Helpers {

class GrownKeyPath {
 public:
  explicit GrownKeyPath(KZV::KeyPath const& start) : path_(start), net_(start) {}

  KZV::Key const& Peek() const { return path_.Keys().front(); }
  KZV::KeyPath const& KeyPath() const { return path_; }
  KZV::KeyPath const* operator->() const { return &path_; }

  void Push(KZV::Key const& key);
  void Pop();

  bool ShowNetVisibility(KZV::VisibilityKit& out) const { return net_.ShowNetVisibility(out); }
  bool ShowNetDrawingAttribute(KZV::DrawingAttributeKit& out) const { return net_.ShowNetDrawingAttribute(out); }
  bool ShowNetTextAttribute(KZV::TextAttributeKit& out) const { return net_.ShowNetTextAttribute(out); }
  bool ShowNetMaterialMapping(KZV::MaterialMappingKit& out) const { return net_.ShowNetMaterialMapping(out); }
  bool ShowNetMaterialPalette(KZV::UTF8& out) const { return net_.ShowNetMaterialPalette(out); }
  bool ShowNetModellingMatrix(KZV::MatrixKit& out) const { return net_.ShowNetModellingMatrix(out); }
  bool ShowNetConditions(KZV::UTF8Array& out) const { return net_.ShowNetConditions(out); }
  bool ShowNetClipRegions(std::vector<KZV::PointArrayArray>& regions, std::vector<KZV::Drawing::ClipSpace>& spaces,
                          std::vector<KZV::Drawing::ClipOperation>& operations,
                          std::vector<KZV::MatrixKit>& matrices) const {
    return net_.ShowNetClipRegions(regions, spaces, operations, matrices);
  }
  bool ShowEffectiveTextureDefinition(char const* name, KZV::TextureDefinition& out) const {
    return net_.ShowEffectiveTextureDefinition(name, out);
  }
  bool ShowEffectiveImageDefinition(char const* name, KZV::ImageDefinition& out) const {
    return net_.ShowEffectiveImageDefinition(name, out);
  }
  bool ShowEffectiveMaterialPaletteDefinition(char const* name, KZV::MaterialPaletteDefinition& out) const {
    return net_.ShowEffectiveMaterialPaletteDefinition(name, out);
  }

 private:
  KZV::KeyPath path_;
  NetAttributeStack net_;
};

}  // namespace KZVI::Helpers
