#pragma once
// A shell: points and faces, with optional vertex normals, parameters and
// colors, face colors and a material mapping of its own. Ranges are given
// as first index and count; a range beyond the end throws
// IndexOutOfRangeException.
#include "scene/Enums.h"
#include "scene/GeometryKey.h"

namespace KZV {

class MaterialMappingKit;
using MaterialTypeArray = std::vector<Material::Type>;

class ShellKey : public GeometryKey {
 public:
  ShellKey() = default;
  explicit ShellKey(Key const& key) : GeometryKey(key) {}

  size_t GetPointCount() const;
  size_t GetFaceCount() const;
  bool ShowPoints(PointArray& out) const;
  // Words of the faces: n, then n point indices, again and again.
  bool ShowFacelist(IntArray& out) const;
  // Triangles as strips: a count, then that many point indices, again and
  // again. Every face is triangulated with its own winding; concave faces
  // included. `face_indices` gets the face of each triangle.
  bool ShowTristrips(IntArray& strips) const;
  bool ShowTristrips(IntArray& strips, IntArray& face_indices) const;

  ShellKey& SetMaterialMapping(MaterialMappingKit const& kit);
  bool ShowMaterialMapping(MaterialMappingKit& out) const;

  ShellKey& SetVertexNormalsByRange(size_t first, VectorArray const& normals);
  bool ShowVertexNormalsByRange(size_t first, size_t count, BoolArray& valid, VectorArray& normals) const;
  // A normal for every point: the explicit one, or else the normalised sum
  // of the area-weighted normals of the faces around the point. Under
  // Right (and None) a face's normal follows the right-hand rule of its
  // vertex order, under Left the left-hand rule.
  bool ShowNetVertexNormalsByRange(size_t first, size_t count, VectorArray& normals,
                                   Drawing::Handedness handedness) const;

  ShellKey& SetVertexParametersByRange(size_t first, size_t count, FloatArray const& params, size_t stride);
  bool ShowVertexParametersByRange(size_t first, size_t count, BoolArray& valid, FloatArray& params,
                                   size_t& stride) const;

  ShellKey& SetVertexRGBColorsByRange(Shell::Component component, size_t first, RGBColorArray const& colors);
  ShellKey& SetVertexRGBAColorsByRange(Shell::Component component, size_t first, RGBAColorArray const& colors);
  ShellKey& SetVertexIndexColorsByRange(Shell::Component component, size_t first, FloatArray const& indices);
  // Every list gets an entry for each point; `types` says which one holds
  // the point's color (None for a point without).
  bool ShowVertexColorsByRange(size_t first, size_t count, Shell::Component component, MaterialTypeArray& types,
                               RGBColorArray& rgb, RGBAColorArray& rgba, FloatArray& indices) const;

  ShellKey& SetFaceRGBColorsByRange(size_t first, RGBColorArray const& colors);
  ShellKey& SetFaceIndexColorsByRange(size_t first, FloatArray const& indices);
  bool ShowFaceColorsByRange(size_t first, size_t count, MaterialTypeArray& types, RGBColorArray& rgb,
                             FloatArray& values) const;
};

}  // namespace KZV
