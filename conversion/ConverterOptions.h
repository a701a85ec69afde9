#pragma once
// What a SceneConverter converts and how.
#include <array>
#include <cstdint>
#include <functional>

#include "scene/SegmentKey.h"

namespace KZV {

// Counts added up over a conversion when ConverterOptions::Statistics is set.
struct ConversionStatistics {
  uint64_t meshes = 0;
  uint64_t faces = 0;  // triangles
  uint64_t lines = 0;  // line elements' polylines
  uint64_t points = 0;
  uint64_t instances = 0;
};

struct ConverterOptions {
  // Which segments get a node of the assembly tree.
  std::function<bool(SegmentKey const&)> SegmentFilter = [](SegmentKey const&) { return true; };
  ConversionStatistics* Statistics = nullptr;
  std::array<float, 4> DefaultColor = {1.0f, 0.0f, 1.0f, 1.0f};
  // 0: a mesh set per geometry; 1: the same with the lines of a segment
  // merged first; 2: the geometry of a segment path pooled in buckets.
  uint32_t GeometryMode = 1;
  bool HonorVisibility = true;
  bool SkipLines = false;
  bool SkipNormals = false;
  bool SkipTextureCoordinates = false;
  bool SkipVertexColors = false;
  bool FaceOutlines = false;
  bool ForceNormals = false;
  bool Verbose = false;
  bool ExportUserData = false;
  bool NormalizeHandedness = true;
  bool GroupAllInstances = false;
  bool MeshFlag16 = false;
  // A tree of named nodes mirrors the walked segments (product structure).
  bool BuildAssemblyTree = false;
  bool SplitPointClouds = false;
};

}  // namespace KZV
