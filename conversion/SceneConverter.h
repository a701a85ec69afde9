#pragma once
// Turns visited segment paths of a scene into objects of a store model:
// meshes once per geometry, instances once per path.
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "conversion/AssemblyTree.h"
#include "conversion/ConverterOptions.h"
#include "conversion/PathAttributes.h"
#include "geometry/mesh/MeshData.h"
#include "scene/GeometryKey.h"
#include "scene/MaterialMappingKit.h"
#include "scene/SceneWalker.h"
#include "scene/SegmentKey.h"

namespace QX::Store {
class Logger;
class Model;
struct Material;
}  // namespace QX::Store

namespace KZV {

class ImageDefinition;
class ReferenceKey;

// A geometry as the mesh table knows it: the same geometry seen under other
// visibility or handedness converts to other meshes.
struct GeometryMeshKey {
  uint32_t visibility = 0;
  uint64_t handedness = 0;
  Key key;
  bool operator==(GeometryMeshKey const& o) const {
    return visibility == o.visibility && handedness == o.handedness && key == o.key;
  }
};

struct GeometryMeshKeyHash {
  size_t operator()(GeometryMeshKey const& k) const { return k.visibility + k.handedness + k.key.GetHash(); }
};

struct GeometryMeshes {
  std::vector<uint32_t> mesh_keys;
  uint32_t classes = 0;  // 1 faces, 2 lines, 4 points, 8 text faces
};

// A pool of geometry of one segment path, with arrays of its own.
struct MeshBucket {
  QX::Store::MeshData mesh;
  PointArray points;
  std::vector<QX::Store::Point> normals;
  std::vector<QX::Store::UV> uvs;
  std::vector<QX::Store::RGBA32> colors;
  bool is_text = false;
};

class SceneConverter {
 public:
  using Path = KZVI::Helpers::GrownKeyPath;

  SceneConverter(SegmentKey const& root, ConverterOptions const& options, QX::Store::Logger& logger,
                 QX::Store::Model& model, uint32_t inclusion);
  ~SceneConverter() noexcept(false);
  SceneConverter(SceneConverter const&) = delete;
  SceneConverter& operator=(SceneConverter const&) = delete;

  bool ShouldEnter(Path const& path);
  void Visit(Path const& path);
  void UpdateBySegPath(Path const& path, SegmentKey segment, bool follow_references);

 private:
  friend struct PathAttributes;
  using LazyPalette = Lazy<MaterialPalette>;

  // Walk of a segment's contents.
  void FollowReference(Path const& path, ReferenceKey const& reference,
                       PathAttributes& attributes);
  void ConvertEntry(Path const& path, GeometryKey const& geometry, PathAttributes& cells,
                    Lazy<uint32_t>& matrix_id, uint32_t mode, bool& pooled);
  VisibilityMasks ComputeVisibility(Path const& path) const;
  uint64_t ComputeHandedness(Path const& path) const;
  ClipRegionSet ComputeClipRegions(Path const& path) const;
  void Log(char const* text) const;
  void LogPath(KeyPath const& key_path) const;

  // Geometry to the work mesh.
  QX::Store::MeshData* ConvertGeometry(uint32_t visibility, GeometryKey const& geometry, LazyPalette& palette,
                                       Lazy<TextAttributeKit>& text_attributes, Path const& path,
                                       uint64_t handedness, bool& is_text);
  QX::Store::MeshData* ConvertThroughScratch(uint32_t visibility, GeometryKey const& geometry, bool surface,
                                             LazyPalette& palette, Lazy<TextAttributeKit>& text_attributes,
                                             Path const& path, uint64_t handedness);
  QX::Store::MeshData& PrepareWorkMesh(uint64_t handedness);
  void AddElements(QX::Store::ElementWords& elements, size_t count);
  QX::Store::MeshData* ConvertShell(uint32_t visibility, ShellKey const& shell, LazyPalette& palette,
                                    Path const& path, uint64_t handedness);
  bool ConvertNormals(ShellKey const& shell, Drawing::Handedness toolkit_handedness);
  bool ConvertTextureCoordinates(ShellKey const& shell);
  bool ConvertVertexColors(ShellKey const& shell, LazyPalette& palette, Shell::Component component);
  void ConvertFaceColors(ShellKey const& shell, Path const& path, QX::Store::MeshData& mesh);
  void ExpandStrips(QX::Store::MeshData& mesh, IntArray const& strips, IntArray const& face_indices,
                    uint64_t handedness);
  void AddFaceOutlines(ShellKey const& shell, QX::Store::MeshData& mesh);
  uint32_t Stride(QX::Store::MeshData const& mesh) const;
  QX::Store::MeshData* ConvertText(uint32_t visibility, TextKey const& text, TextAttributeKit const& attributes,
                                   uint64_t handedness);

  // Lines.
  QX::Store::MeshData* ConvertLine(uint32_t visibility, LineKey const& line, uint64_t handedness);
  QX::Store::MeshData* ConvertLineShell(uint32_t visibility, LazyPalette& palette, ShellKey const& shell,
                                        std::vector<std::pair<uint32_t, uint32_t>> const& pairs,
                                        uint64_t handedness);
  void MergeLines(SegmentKey const& segment);

  // Materials, images and matrices.
  MaterialPalette MakePalette(Path const& path) const;
  MaterialSet MakeMaterialSet(Path const& path, LazyPalette& palette) const;
  void ApplyMapping(MaterialSet& set, Path const& path, MaterialMappingKit const& kit,
                    LazyPalette& palette) const;
  uint32_t InsertMaterial(ConverterMaterial const& material, Path const& path);
  bool FillTextures(QX::Store::Material& material, TextureDefinition const& texture, Path const& path);
  uint32_t InsertImage(ImageDefinition const& definition);
  uint32_t InsertMatrix(MatrixKit const& kit);
  uint32_t InsertMaterialMap(std::vector<uint32_t> const& keys);
  ConverterMaterial DefaultMaterial() const;

  // Meshes and instances.
  void InsertGeometryInstance(Path const& path, GeometryKey const& geometry, PathAttributes& cells,
                              Lazy<uint32_t>& matrix_id, MaterialMappingKit const* own_mapping);
  uint32_t FindOrConvertMeshes(uint32_t visibility, GeometryKey const& geometry, PathAttributes& cells,
                               Path const& path, uint64_t handedness, bool& is_text);
  void InsertWorkMesh(QX::Store::MeshData const& mesh);
  void SplitWorkPointCloud(QX::Store::MeshData const& mesh);
  static uint32_t ClassBits(QX::Store::MeshData const& mesh, bool is_text);
  void CreateInstances(uint32_t matrix_key, MaterialSet const& materials, uint32_t visibility, uint32_t lights,
                       bool is_text, ClipRegionSet& clip, Path const& path);
  uint32_t InsertClipRegion(ClipRegionSet& clip);
  void ExportUserData(GeometryKey const& geometry);
  void AddToBucket(QX::Store::MeshData const& mesh, bool is_text);
  void InsertSegmentInstances(Path const& path, SegmentKey const& segment, PathAttributes& cells);
  void FinishModel();

  // Nodes of the assembly tree.
  void OpenAssemblyNode(SegmentKey const& segment);
  void CloseAssemblyNode(SegmentKey const& segment);
  uint32_t MakeAssemblyNode(size_t parent, SegmentKey const& segment);
  void AddToAssembly(uint32_t instance);

  ConverterOptions options_;
  QX::Store::Logger* logger_;
  QX::Store::Model* model_;
  uint32_t inclusion_;
  SegmentKey root_;
  OffScreenWindowKey scratch_;
  std::vector<MeshBucket> buckets_;

  QX::Store::MeshData work_mesh_;
  std::vector<std::vector<uint32_t>> element_pool_;
  std::vector<uint64_t> sort_order_, inverse_order_;
  std::vector<uint32_t> face_groups_;  // element of each face of the current shell
  PointArray work_points_;
  VectorArray work_normals_;
  FloatArray work_uvs_;
  std::vector<QX::Store::RGBA32> work_colors_;
  std::vector<QX::Store::Point> cloud_points_;  // a point cloud on its way to the splitter
  std::vector<QX::Store::RGBA32> cloud_colors_;
  std::vector<uint32_t> mesh_keys_, instance_keys_;

  std::unordered_map<ConverterMaterial, uint32_t, ConverterMaterialHash> materials_;
  std::unordered_map<MatrixFloats, uint32_t, MatrixFloatsHash> matrices_;
  std::unordered_map<int64_t, uint32_t> images_;
  std::unordered_map<std::vector<uint32_t>, uint32_t, MaterialMapHash> material_maps_;
  std::unordered_map<GeometryMeshKey, GeometryMeshes, GeometryMeshKeyHash> geometry_meshes_;
  std::unordered_map<GeometryMeshKey, std::vector<std::pair<uint32_t, uint32_t>>, GeometryMeshKeyHash>
      segment_meshes_;
  uint32_t user_data_key_ = 0;
  std::vector<std::pair<uint32_t, uint32_t>> user_data_pairs_;
  uint32_t last_instance_ = 0;

  // With BuildAssemblyTree: the tree, a cell per open segment whose node is
  // made when geometry first needs it, and the numbers of unnamed segments.
  std::unique_ptr<AssemblyTree> assembly_tree_;
  std::deque<Lazy<uint32_t>> node_stack_;
  std::unordered_map<SegmentKey, uint64_t, std::hash<Key>> unnamed_segments_;
};

}  // namespace KZV
