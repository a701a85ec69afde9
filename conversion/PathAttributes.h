#pragma once
// The inherited attributes of one visit of a segment path, each fetched from
// the scene only when a geometry first needs it.
#include <cstdint>
#include <vector>

#include "conversion/ConverterMaterial.h"
#include "conversion/Lazy.h"
#include "scene/Enums.h"
#include "scene/MaterialKit.h"
#include "scene/MatrixKit.h"
#include "scene/TextAttributeKit.h"
#include "scene/Types.h"

namespace KZVI::Helpers {
class GrownKeyPath;
}  // namespace KZVI::Helpers

namespace KZV {

// elements: 1 faces, 2 lines, 4 vertices, 8 text. lights: 1 faces, 2 edges,
// 4 markers, 8 always set.
struct VisibilityMasks {
  uint32_t elements = 15;
  uint32_t lights = 15;
};

// The clip regions in force on a path, and their store key once inserted.
struct ClipRegionSet {
  std::vector<PointArrayArray> regions;
  std::vector<Drawing::ClipSpace> spaces;
  std::vector<Drawing::ClipOperation> operations;
  std::vector<MatrixKit> matrices;
  uint32_t key = 0;
};

using MaterialPalette = std::vector<MaterialKit>;

class SceneConverter;

struct PathAttributes {
  PathAttributes(SceneConverter& converter, KZVI::Helpers::GrownKeyPath const& path);
  PathAttributes(PathAttributes const&) = delete;
  PathAttributes& operator=(PathAttributes const&) = delete;

  Lazy<MatrixKit> NetMatrix;
  Lazy<uint32_t> MatrixId;
  Lazy<TextAttributeKit> TextAttributes;
  Lazy<MaterialPalette> Palette;
  Lazy<MaterialSet> Materials;
  Lazy<VisibilityMasks> Visibility;
  Lazy<uint64_t> Handedness;
  Lazy<ClipRegionSet> ClipRegions;
};

}  // namespace KZV
