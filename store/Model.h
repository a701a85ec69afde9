#pragma once
// The handle through which callers work on one model of a cache. Copies share
// the model; the model closes when the last handle and the cache let go of it.
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class ModelImpl;
struct MeshData;

// A diffuse texture of a material: image, texture matrix, texture word.
struct TextureRef {
  ImageKey image = 0;
  MatrixKey matrix = 0;
  uint32_t word = 0;
  friend bool operator==(TextureRef const&, TextureRef const&) = default;
};

// The argument of Model::InsertMaterial for a textured or shaded material.
struct Material {
  std::vector<TextureRef> textures;   // 0, 1 or 2
  RGBAColor color;
  std::vector<ImageKey> environment;  // 0, 1 or 6
  float mirror = -1;
  float specular = -1;
  float gloss = -1;
  LinePatternKey line_pattern = kNoKey;
};

// One element of a clip region: sets of loops given in the space of `matrix`.
struct ClipLoop {
  std::vector<PolyPolygonKey> polygons;
  MatrixKey matrix = 0;
  uint32_t first_flag = 0;
  uint32_t second_flag = 0;
  friend bool operator==(ClipLoop const&, ClipLoop const&) = default;
};

// The five fields of an instance extension; a `word` of 0 means none.
struct InstanceExtensionData {
  std::array<float, 4> values{};
  uint32_t word = 0;
};

// Encoded image files: 0 PNG, 1 and 2 other decodable files.
using ImageFormat = uint32_t;

class Model {
 public:
  Model() = default;
  Model(Model const& other) = default;
  Model(Model&& other) noexcept = default;
  Model& operator=(Model const& other);
  Model& operator=(Model&& other) noexcept;
  ~Model();

  explicit operator bool() const { return impl_ != nullptr; }
  friend bool operator==(Model const& a, Model const& b) { return a.impl_ == b.impl_; }

  char const* Name() const;

  // Materials, material maps and matrices.
  MaterialKey InsertMaterial(RGBAColor const& color);
  MaterialKey InsertMaterial(Material const& material);
  void SetMaterial(MaterialKey key, RGBAColor const& color);
  MaterialMapKey InsertMaterialMap(std::vector<MaterialKey> const& keys);
  MatrixKey InsertMatrix(double const* twelve);
  MatrixKey InsertMatrix(float const* twelve);

  // Meshes.
  MeshKey InsertMesh(MeshData const& mesh);

  // Instances, groups and includes.
  InstanceKey InsertInstance(MeshKey mesh, MatrixKey matrix, MaterialKey face, MaterialKey line,
                             MaterialKey point, MaterialMapKey face_map, MaterialMapKey line_map,
                             MaterialMapKey point_map, uint32_t flags, uint32_t modifiers,
                             ClipRegionKey clip, InstanceExtensionData const& extension);
  GroupKey InsertGroup(std::vector<InstanceInc> const& instances,
                       std::vector<GroupInc> const& groups);
  void SetGroup(GroupKey key, std::vector<InstanceInc> const& instances,
                std::vector<GroupInc> const& groups);
  IncludeKey Include(Model const& other, MatrixKey matrix);

  // Images and keyed data.
  ImageKey InsertImageRGBA(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertImageRGB(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertImageGray(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertEncodedImage(uint32_t size, void const* bytes, ImageFormat format);
  DataKey InsertKeyedData(uint32_t size, void const* bytes, uint32_t type);
  void SetKeyedData(DataKey key, uint32_t size, void const* bytes);

  // Clip regions.
  PolyPolygonKey InsertPolyPolygon(uint32_t loop_count, uint32_t const* lengths,
                                   float const* points);
  ClipRegionKey InsertClipRegion(std::vector<ClipLoop> const& loops);

  // Streaming.
  void PrepareStream(uint32_t effort);
  char const* GenerateStreamFile(char const* path);

  // Inside the store: the implementation; throws on an empty handle.
  ModelImpl& Impl() const;

 private:
  friend class CacheImpl;
  explicit Model(std::shared_ptr<ModelImpl> impl) : impl_(std::move(impl)) {}
  void Release();

  std::shared_ptr<ModelImpl> impl_;
};

}  // namespace QX::Store
