#include "store/ModelImpl.h"

#include <cstdarg>
#include <cstdio>

#include "files/File.h"
#include "files/FileSystem.h"
#include "geometry/mesh/MeshData.h"
#include "store/CacheImpl.h"
#include "store/FileErrors.h"
#include "store/Logger.h"
#include "store/StreamPagedFiles.h"

namespace QX::Store {

namespace fs = std::filesystem;

namespace {

constexpr RGBAColor kDefaultMaterialColor{1, 0, 1, 1};

// The last part of a path, ignoring a trailing separator.
std::string LastPart(fs::path const& path) {
  fs::path name = path.filename();
  if (name.empty()) name = path.parent_path().filename();
  return PathToUtf8(name);
}

}  // namespace

ModelImpl::ModelImpl(CacheImpl* cache, Logger* logger, FileSystem* file_system)
    : logger(logger),
      cache(cache),
      file_system(file_system),
      file_set(file_system, {}, false, false),
      meshes_file(file_system->NewFile()),
      images_file(file_system->NewFile()),
      data_file(file_system->NewFile()),
      stream_meshes_file(file_system->NewFile()),
      stream_meshes_toc_file(file_system->NewFile()),
      stream_images_file(file_system->NewFile()),
      stream_images_toc_file(file_system->NewFile()),
      stream_mesh_pages(std::make_unique<StreamMeshPages>(this)),
      stream_image_pages(std::make_unique<StreamImagePages>(this)) {}

ModelImpl::~ModelImpl() { Close(); }

void ModelImpl::Log(char const* format, ...) const {
  if (!logger) return;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int const n = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(n > 0 ? size_t(n) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  logger->Message(text.c_str());
}

fs::path ModelImpl::FilePath(char const* file_name) const { return path / file_name; }

void ModelImpl::TestWritable() const {
  if (read_only) throw Exception("Attempted to modify a read only model.");
}

bool ModelImpl::Open(fs::path const& model_path, bool open_read_only, bool open_quiet,
                     bool create, bool open_bundle) {
  path = model_path;
  name = LastPart(path);
  read_only = open_read_only;
  quiet = open_quiet;
  bundle = open_bundle;
  std::string const text = PathToUtf8(path);

  file_set = ModelFileSet(file_system, path, read_only, bundle);
  bool const loaded = file_set.Load();
  bool is_new = false;
  if (!bundle) {
    // A file in the directory's place is no failure to create, just no directory.
    bool created = false;
    if (!file_system->Exists(path) || file_system->IsDirectory(path)) {
      try {
        created = file_system->CreateDirectory(path);
      } catch (std::exception const&) {
        throw Exception("Unable to open model: " + text);
      }
    }
    if (created || create) {
      if (!created && !file_system->IsDirectory(path)) throw Exception("Could not create: " + text);
      is_new = true;
      Log("Created model directory: %s", text.c_str());
    }
  } else if (!loaded) {
    throw Exception("Unable to open model (.qxz bundle): " + text);
  }

  std::unique_ptr<File> digest = file_system->NewFile();
  EnsureOpen(*digest, kDigestName, true);
  if (!quiet) Log("Opened model: %s", text.c_str());
  ReadDigest(*digest);
  opened = true;
  digest->Close();

  EnsureDefaultObjects();

  fs::path const tree = FilePath(kStreamBoundingName);
  if (bundle) {
    bounding_valid = file_set.BundleHas(kStreamBoundingName);
  } else if (file_system->Exists(tree)) {
    if (file_system->IsRegularFile(tree)) bounding_valid = true;
    else Log("Invalid bounding tree file found: %s", PathToUtf8(tree).c_str());
  }
  return is_new;
}

void ModelImpl::InitEmpty() {
  path = kEmptyModelName;
  name = kEmptyModelName;
  quiet = true;
  read_only = true;
  simple_colors.push_back(kDefaultMaterialColor);
  materials.Insert(0, MaterialEntry{0, MaterialKind::SimpleColor});
  matrices.Insert(0, kIdentityMatrix);
  views.Insert(0, View{});
  next.material = 1;
  next.matrix = 1;
  next.view = 1;
}

// Objects that every model has. They are inserted under their fixed keys,
// as the insertion operations would on a new model.
void ModelImpl::EnsureDefaultObjects() {
  if (!materials.Contains(0)) {
    TestWritable();
    simple_colors.push_back(kDefaultMaterialColor);
    materials.Insert(0, MaterialEntry{uint32_t(simple_colors.size() - 1), MaterialKind::SimpleColor});
    next.material = std::max(next.material, 1u);
    dirty = true;
  }
  if (!matrices.Contains(0)) {
    TestWritable();
    matrices.Insert(0, kIdentityMatrix);
    next.matrix = std::max(next.matrix, 1u);
    dirty = true;
  }
  if (!meshes.Contains(0)) {
    TestWritable();
    EnsureDefaultMesh();
  }
  if (!views.Contains(0)) {
    TestWritable();
    views.Insert(0, View{});
    next.view = std::max(next.view, 1u);
    dirty = true;
  }
  if (!keyed_data.Contains(kMetadataKey)) {
    TestWritable();
    keyed_data.Insert(kMetadataKey, KeyedData{-1, 0, kMetadataKey, kMetadataType});
    next.keyed_data = std::max(next.keyed_data, kMetadataKey + 1);
    dirty = true;
  }
}

// The model's empty mesh: no points, no elements, the default material,
// with a stored record of zero counts.
void ModelImpl::EnsureDefaultMesh() {
  MeshKey const after = std::max(next.mesh, 1u);
  next.mesh = 0;
  InsertMesh(MeshData{});
  next.mesh = after;
}

File* ModelImpl::EnsureOpen(File& file, char const* file_name, bool required) {
  if (file.IsOpen()) return &file;
  file_set.OpenFile(file, file_name);
  if (file.IsOpen()) {
    if (cache) ++cache->files_opened;
    return &file;
  }
  if (!required) return nullptr;
  if (file.State() == FileState::SharingFailure) ThrowUnableToShare(logger, FilePath(file_name));
  ThrowUnableToOpen(logger, FilePath(file_name));
}

void ModelImpl::CloseFiles() {
  for (File* file : {meshes_file.get(), images_file.get(), data_file.get(),
                     stream_meshes_file.get(), stream_meshes_toc_file.get(),
                     stream_images_file.get(), stream_images_toc_file.get()})
    file->Close();
}

void ModelImpl::Close() noexcept {
  if (!opened) return;
  if (dirty) {
    if (mesh_duplicate_count) Log("Mesh duplicates found : %u", mesh_duplicate_count);
    if (image_duplicate_count) Log("Image duplicates found : %u", image_duplicate_count);
    if (read_only) {
      Log("Unable to write digest model is read only.");
    } else {
      try {
        WriteDigest();
      } catch (std::exception const&) {
        // A failed write was logged where it happened; the close goes on.
      }
    }
  }
  if (!quiet) Log("Closing model directory: %s", PathToUtf8(path).c_str());
  CloseFiles();
}

void ModelImpl::InvalidateBoundingTree() {
  bounding_tree.reset();
  if (!bounding_valid) return;
  fs::path const tree = FilePath(kStreamBoundingName);
  if (!file_system->Remove(tree)) ThrowUnableToRemove(logger, tree);
  Log("Removed: %s", PathToUtf8(tree).c_str());
  bounding_valid = false;
}

MeshRecord const* ModelImpl::FindMesh(MeshKey key) const {
  MeshEntry const* entry = meshes.Find(key);
  if (!entry || entry->kind != MeshKind::Record) return nullptr;
  return &mesh_records[entry->index];
}

void ModelImpl::CheckMeshKey(MeshKey key) const {
  if (!meshes.Contains(key)) throw Exception("Used an invalid MeshKey");
}
void ModelImpl::CheckMaterialKey(MaterialKey key) const {
  if (!materials.Contains(key)) throw Exception("Used an invalid MaterialKey");
}
void ModelImpl::CheckMaterialMapKey(MaterialMapKey key) const {
  if (!material_maps.Contains(key)) throw Exception("Used an invalid MaterialMapKey");
}
void ModelImpl::CheckImageKey(ImageKey key) const {
  if (!images.Contains(key)) throw Exception("Used an invalid ImageKey");
}
void ModelImpl::CheckMatrixKey(MatrixKey key) const {
  if (!matrices.Contains(key)) throw Exception("Used an invalid MatrixKey");
}
void ModelImpl::CheckLinePatternKey(LinePatternKey key) const {
  if (!line_patterns.Contains(key)) throw Exception("Used an invalid LinePatternKey");
}
void ModelImpl::CheckClipRegionKey(ClipRegionKey key) const {
  if (!clip_regions.Contains(key)) throw Exception("Used an invalid ClipRegionKey");
}
void ModelImpl::CheckPolyPolygonKey(PolyPolygonKey key) const {
  if (!poly_polygons.Contains(key)) throw Exception("Used an invalid PolyPolygonKey");
}
void ModelImpl::CheckDataKey(DataKey key) const {
  if (!keyed_data.Contains(key)) throw Exception("Used an invalid DataKey");
}
void ModelImpl::CheckGroupKey(GroupKey key) const {
  if (!groups.Contains(key)) throw Exception("Used an invalid GroupKey");
}
void ModelImpl::CheckInstanceKey(InstanceKey key) const {
  if (!instances.Contains(key)) throw Exception("Used an invalid InstanceKey");
}

}  // namespace QX::Store
