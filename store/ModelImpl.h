#pragma once
// One open model: the tables of all its objects, its open data files and its
// counters. Handles (Model) forward to it; the cache creates and registers it.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "files/ModelFileSet.h"
#include "geometry/mesh/MeshRecord.h"
#include "store/ClipRegion.h"
#include "store/ImageRecord.h"
#include "store/Instance.h"
#include "store/KeyTable.h"
#include "store/KeyedData.h"
#include "store/MaterialRecord.h"
#include "store/Model.h"
#include "store/View.h"

namespace QX::Store {

class CacheImpl;
class File;
class FileSystem;
class Logger;
class PagedFile;
struct BoundingTree;
struct StoredMesh;

// Where a MeshKey's payload lies: a MeshRecord, or a list of mesh keys.
enum class MeshKind : uint32_t { Record = 0, List = 1 };

struct MeshEntry {
  uint32_t index = 0;
  MeshKind kind = MeshKind::Record;
};

// The next key of each kind. Keys are never reused within a model.
struct KeyCounters {
  MeshKey mesh = 0;
  MaterialKey material = 0;
  LinePatternKey line_pattern = 0;
  MatrixKey matrix = 0;
  InstanceKey instance = 1;
  IncludeKey include = 1;
  ImageKey image = 1;
  DataKey keyed_data = 1;
  GroupKey group = 1;
  MaterialMapKey material_map = 1;
  PolyPolygonKey poly_polygon = 1;
  ClipRegionKey clip_region = 1;
  ViewKey view = 0;
};

// Content hash to the keys inserted under it, or key to its duplicates.
using ContentTable = std::unordered_map<uint64_t, std::vector<uint32_t>>;

// File names of a model.
inline constexpr char kDigestName[] = "_digest.qxi";
inline constexpr char kMeshesName[] = "_meshes.qxi";
inline constexpr char kImagesName[] = "_images.qxi";
inline constexpr char kDataName[] = "_data.qxi";
inline constexpr char kStreamMeshesName[] = "_stream_meshes.qxd";
inline constexpr char kStreamMeshesTocName[] = "_stream_meshes_toc.qxd";
inline constexpr char kStreamImagesName[] = "_stream_images.qxd";
inline constexpr char kStreamImagesTocName[] = "_stream_images_toc.qxd";
inline constexpr char kStreamBoundingName[] = "_stream_bounding.qxd";

inline constexpr char kEmptyModelName[] = "_empty";
inline constexpr uint32_t kDigestVersion = 72;

class ModelImpl {
 public:
  ModelImpl(CacheImpl* cache, Logger* logger, FileSystem* file_system);
  ~ModelImpl();
  ModelImpl(ModelImpl const&) = delete;
  ModelImpl& operator=(ModelImpl const&) = delete;

  // --- Lifecycle (ModelImpl.cpp) ---

  // Opens or creates the model at `path`; true if the model is new to the cache.
  bool Open(std::filesystem::path const& path, bool read_only, bool quiet, bool create,
            bool bundle);
  // Sets this object up as the cache's built-in model `_empty`, without files.
  void InitEmpty();
  // Opens `file` as the model file `name` unless it is open. Null if it can't
  // be opened and not `required`; throws if `required`.
  File* EnsureOpen(File& file, char const* name, bool required);
  // Closes the seven data and stream files.
  void CloseFiles();
  // Throws "Attempted to modify a read only model." on a read-only model.
  void TestWritable() const;
  // Drops the in-memory tree and the stale _stream_bounding.qxd.
  void InvalidateBoundingTree();
  std::filesystem::path const& Path() const { return path; }
  // Path of one file of the model.
  std::filesystem::path FilePath(char const* name) const;
  // The base of relative includes: the logical path if set, else the path.
  std::filesystem::path const& Base() const { return logical_path.empty() ? path : logical_path; }
  // Writes one line to the logger, printf style.
  void Log(char const* format, ...) const __attribute__((format(printf, 2, 3)));

  // --- Digest (DigestReader.cpp, DigestWriter.cpp) ---
  void ReadDigest(File& file);
  void WriteDigest();

  // --- Key checks (ModelImpl.cpp): throw "Used an invalid ..." ---
  void CheckMeshKey(MeshKey key) const;
  void CheckMaterialKey(MaterialKey key) const;
  void CheckMaterialMapKey(MaterialMapKey key) const;
  void CheckImageKey(ImageKey key) const;
  void CheckMatrixKey(MatrixKey key) const;
  void CheckLinePatternKey(LinePatternKey key) const;
  void CheckClipRegionKey(ClipRegionKey key) const;
  void CheckPolyPolygonKey(PolyPolygonKey key) const;
  void CheckDataKey(DataKey key) const;
  void CheckGroupKey(GroupKey key) const;
  void CheckInstanceKey(InstanceKey key) const;

  // --- Materials, material maps, matrices (Materials.cpp) ---
  MaterialKey InsertMaterial(RGBAColor const& color);
  MaterialKey InsertMaterial(Material const& material);
  void SetMaterial(MaterialKey key, RGBAColor const& color);
  MaterialMapKey InsertMaterialMap(std::vector<MaterialKey> const& keys);
  MatrixKey InsertMatrix(double const* twelve);
  MatrixKey InsertMatrix(float const* twelve);
  // Copies the matrix; throws "Used an invalid MatrixKey".
  void GetMatrix(MatrixKey key, double* twelve) const;

  // --- Meshes ---
  MeshKey InsertMesh(MeshData const& mesh);
  // The record of a mesh of the record kind; null otherwise.
  MeshRecord const* FindMesh(MeshKey key) const;
  // Writes the stream records and toc record of one mesh (ModelMeshes.cpp);
  // nothing if its toc is filled, the no-data entry on a read-only model.
  void EncodeStreamMesh(MeshRecord& mesh, StoredMesh& scratch, uint32_t effort);
  // The same for every mesh with data of its own whose toc is empty, with
  // the compression on `prepare_threads` threads; the files get the bytes
  // that one thread writes. True if any mesh got its records now.
  bool EncodeStreamMeshes(StoredMesh& scratch, uint32_t effort);

  // --- Instances, groups, includes ---
  InstanceKey InsertInstance(MeshKey mesh, MatrixKey matrix, MaterialKey face, MaterialKey line,
                             MaterialKey point, MaterialMapKey face_map, MaterialMapKey line_map,
                             MaterialMapKey point_map, uint32_t flags, uint32_t modifiers,
                             ClipRegionKey clip, InstanceExtensionData const& extension);
  void SetInstanceExtension(InstanceKey key, InstanceExtensionData const& extension);
  GroupKey InsertGroup(std::vector<InstanceInc> const& instances,
                       std::vector<GroupInc> const& groups);
  void SetGroup(GroupKey key, std::vector<InstanceInc> const& instances,
                std::vector<GroupInc> const& groups);
  IncludeKey Include(ModelImpl& other, MatrixKey matrix);
  double UnitScale(std::vector<uint8_t>& buffer);

  // --- Images and keyed data, data files and tocs ---
  ImageKey InsertImageRGBA(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertImageRGB(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertImageGray(uint32_t width, uint32_t height, void const* pixels);
  ImageKey InsertEncodedImage(uint32_t size, void const* bytes, ImageFormat format);
  DataKey InsertKeyedData(uint32_t size, void const* bytes, uint32_t type);
  void SetKeyedData(DataKey key, uint32_t size, void const* bytes);
  bool ReadImage(ImageRecord const& image, ImagePixels& out);
  bool ReadKeyedData(DataKey key, std::vector<uint8_t>& out);
  void LoadGroup(GroupEntry& group);
  void ReadMeshTocs(std::vector<uint8_t>& buffer);
  void ReadImageTocs(std::vector<uint8_t>& buffer);
  void WriteMeshToc(MeshRecord const& mesh);
  void WriteImageToc(ImageRecord const& image);

  // --- Clip regions ---
  PolyPolygonKey InsertPolyPolygon(uint32_t loop_count, uint32_t const* lengths,
                                   float const* points);
  ClipRegionKey InsertClipRegion(std::vector<ClipLoop> const& loops);

  // --- Streaming ---
  void PrepareStream(uint32_t effort);
  char const* GenerateStreamFile(char const* path);

  // --- Fields ---
  Logger* logger = nullptr;
  std::string name;
  std::filesystem::path path;
  std::filesystem::path logical_path;
  CacheImpl* cache = nullptr;
  FileSystem* file_system = nullptr;
  ModelFileSet file_set;

  std::unique_ptr<File> meshes_file;
  std::unique_ptr<File> images_file;
  std::unique_ptr<File> data_file;
  std::unique_ptr<File> stream_meshes_file;
  std::unique_ptr<File> stream_meshes_toc_file;
  std::unique_ptr<File> stream_images_file;
  std::unique_ptr<File> stream_images_toc_file;

  // Readers of _stream_meshes.qxd and _stream_images.qxd.
  std::unique_ptr<PagedFile> stream_mesh_pages;
  std::unique_ptr<PagedFile> stream_image_pages;

  KeyCounters next;
  // Matrices of the stream engine's own count down from here.
  MatrixKey next_host_matrix = 0xFFFFFFFEu;

  KeyTable<MeshEntry> meshes;
  KeyTable<MaterialEntry> materials;
  KeyTable<uint32_t> line_patterns;  // index into line_pattern_records
  KeyTable<Matrix> matrices;
  KeyTable<View> views;
  KeyTable<ImageRecord> images;
  KeyTable<KeyedData> keyed_data;
  KeyTable<GroupEntry> groups;
  KeyTable<MaterialMap> material_maps;
  KeyTable<PolyPolygon> poly_polygons;
  KeyTable<ClipRegion> clip_regions;
  KeyTable<Instance> instances;
  KeyTable<IncludeRecord> includes;
  KeyTable<AttachedModel> attached_models;
  KeyTable<InstanceOverride, InstanceInc> instance_overrides;

  std::vector<RGBAColor> simple_colors;
  std::vector<MaterialRecord> material_records;
  std::vector<FullMaterial> full_materials;
  std::vector<LinePattern> line_pattern_records;
  std::vector<MeshRecord> mesh_records;
  std::vector<std::vector<MeshKey>> mesh_lists;

  // Duplicate detection, built on demand and freed at close.
  std::unique_ptr<ContentTable> mesh_candidates;
  std::unique_ptr<ContentTable> mesh_duplicates;
  std::unique_ptr<ContentTable> image_candidates;
  std::unique_ptr<ContentTable> image_duplicates;
  std::unordered_map<uint32_t, PolyPolygonKey> poly_polygon_hashes;
  std::unordered_map<uint32_t, ClipRegionKey> clip_region_hashes;

  uint32_t mesh_duplicate_count = 0;
  uint32_t image_duplicate_count = 0;
  uint32_t instance_extension_count = 0;
  ModelId id = kNoModel;
  ViewKey default_view = 0;
  // Root node and the items it points at; null when there is no tree.
  std::shared_ptr<BoundingTree> bounding_tree;
  double unit_scale = -1;
  unsigned prepare_threads = 0;  // threads that prepare the stream; 0: one a usable core
  // Seeds of the clustering of the bounding tree by thread and task; null
  // draws them at random. Fixed by tests that compare whole streams.
  std::function<uint32_t(uint32_t thread, uint64_t task)> cluster_seed;

  bool bounding_valid = false;
  bool dirty = false;
  bool opened = false;
  bool mesh_tocs_read = false;
  bool image_tocs_read = false;
  bool quiet = false;
  bool read_only = false;
  bool bundle = false;

 private:
  void EnsureDefaultObjects();
  void EnsureDefaultMesh();
  void Close() noexcept;
};

}  // namespace QX::Store
