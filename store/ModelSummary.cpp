#include "store/ModelSummary.h"

#include <algorithm>
#include <cstdio>

#include "files/Bundle.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace {

template <class Table>
ModelSummary::Kind KindOf(char const* name, Table const& table) {
  ModelSummary::Kind kind{name, table.size()};
  if (table.empty()) return kind;
  kind.ranged = true;
  kind.first = kind.last = table.begin()->key;
  for (auto const& entry : table) {
    kind.first = std::min(kind.first, entry.key);
    kind.last = std::max(kind.last, entry.key);
  }
  return kind;
}

int64_t BundleEntrySize(Bundle const* bundle, char const* name) {
  size_t const entry = bundle ? bundle->Find(name) : Bundle::npos;
  return entry == Bundle::npos ? -1 : int64_t(bundle->Entries()[entry].size);
}

// Size of a model file: in its bundle, or through the model's own handle when that is open,
// since a file open for writing can't be opened a second time.
int64_t SizeOf(ModelImpl const& model, File const* own, char const* name) {
  if (own && own->IsOpen()) return const_cast<File*>(own)->Size();
  if (model.bundle) return BundleEntrySize(model.file_set.LoadedBundle(), name);
  std::filesystem::path const path = model.FilePath(name);
  if (!model.file_system->IsRegularFile(path)) return -1;
  std::unique_ptr<File> file = model.file_system->NewFile(path);
  file->OpenRead(false);
  return file->IsOpen() ? file->Size() : -1;
}

class Checker {
 public:
  Checker(ModelImpl const& model, std::vector<std::string>& problems)
      : m_(model), problems_(problems) {}

  void Run(int64_t meshes_size, int64_t images_size, int64_t data_size) {
    Instances();
    Materials();
    for (auto const& [key, map] : m_.material_maps)
      for (MaterialKey material : map.keys) Material("Material map", key, material);
    ClipRegions();
    Includes();
    Meshes(meshes_size);
    for (auto const& [key, image] : m_.images) {
      if (image.stored_offset >= 0)
        InFile(image.stored_offset, 1, images_size, "Image", key, kImagesName);
    }
    for (auto const& [key, group] : m_.groups)
      InFile(group.position, group.size, data_size, "Group", key, kDataName);
    for (auto const& [key, data] : m_.keyed_data) {
      if (data.size != 0) InFile(data.position, data.size, data_size, "Keyed data", key, kDataName);
    }
  }

 private:
  void Known(bool known, char const* owner, uint32_t owner_key, char const* kind, uint32_t key) {
    if (known) return;
    Add("%s %u: unknown %s %u", owner, owner_key, kind, key);
  }
  void Material(char const* owner, uint32_t owner_key, MaterialKey key) {
    Known(m_.materials.Contains(key), owner, owner_key, "MaterialKey", key);
  }
  void MaterialMap(char const* owner, uint32_t owner_key, MaterialMapKey key) {
    Known(m_.material_maps.Contains(key), owner, owner_key, "MaterialMapKey", key);
  }
  void Matrix(char const* owner, uint32_t owner_key, MatrixKey key) {
    Known(m_.matrices.Contains(key), owner, owner_key, "MatrixKey", key);
  }
  void Image(char const* owner, uint32_t owner_key, ImageKey key) {
    Known(m_.images.Contains(key), owner, owner_key, "ImageKey", key);
  }

  void Instances() {
    for (auto const& [key, i] : m_.instances) {
      Known(m_.meshes.Contains(i.mesh), "Instance", key, "MeshKey", i.mesh);
      Matrix("Instance", key, i.matrix);
      for (MaterialKey material : {i.face_material, i.line_material, i.point_material})
        if (material != kNoKey) Material("Instance", key, material);
      for (MaterialMapKey map : {i.face_material_map, i.line_material_map, i.point_material_map})
        if (map != 0) MaterialMap("Instance", key, map);
      if (i.clip != 0)
        Known(m_.clip_regions.Contains(i.clip), "Instance", key, "ClipRegionKey", i.clip);
    }
  }

  void Materials() {
    for (auto const& [key, entry] : m_.materials) {
      if (entry.kind != MaterialKind::Material) continue;
      MaterialRecord const& record = m_.material_records[entry.index];
      for (TextureRef const& texture : record.textures) {
        Image("Material", key, texture.image);
        Matrix("Material", key, texture.matrix);
      }
      for (ImageKey image : record.environment) Image("Material", key, image);
      if (record.line_pattern != kNoKey)
        Known(m_.line_patterns.Contains(record.line_pattern), "Material", key, "LinePatternKey",
              record.line_pattern);
    }
  }

  void ClipRegions() {
    for (auto const& [key, region] : m_.clip_regions) {
      for (ClipLoop const& loop : region.loops) {
        for (PolyPolygonKey polygon : loop.polygons)
          Known(m_.poly_polygons.Contains(polygon), "Clip region", key, "PolyPolygonKey", polygon);
      }
    }
  }

  void Includes() {
    for (auto const& [key, include] : m_.includes) {
      if (include.attached_id != 0)
        Known(m_.attached_models.Contains(include.attached_id), "Include", key, "attached model",
              include.attached_id);
      Matrix("Include", key, include.matrix);
    }
    for (auto const& [pair, value] : m_.instance_overrides)
      Known(m_.includes.Contains(pair.include), "Override of instance", pair.key, "IncludeKey",
            pair.include);
  }

  void Meshes(int64_t meshes_size) {
    for (auto const& [key, entry] : m_.meshes) {
      if (entry.kind == MeshKind::List) {
        for (MeshKey part : m_.mesh_lists[entry.index])
          Known(m_.meshes.Contains(part), "Mesh list", key, "MeshKey", part);
      } else if (int64_t const offset = m_.mesh_records[entry.index].stored_offset; offset >= 0) {
        InFile(offset, 1, meshes_size, "Mesh", key, kMeshesName);
      }
    }
  }

  void InFile(int64_t position, uint64_t size, int64_t file_size, char const* owner, uint32_t key,
              char const* file) {
    if (position >= 0 && file_size >= 0 && uint64_t(position) + size <= uint64_t(file_size)) return;
    Add("%s %u: bytes not in %s", owner, key, file);
  }

  template <class... Args>
  void Add(char const* format, Args... args) {
    char line[256];
    std::snprintf(line, sizeof line, format, args...);
    problems_.emplace_back(line);
  }

  ModelImpl const& m_;
  std::vector<std::string>& problems_;
};

}  // namespace

ModelSummary SummarizeModel(ModelImpl& model) {
  ModelSummary summary;
  summary.path = PathToUtf8(model.Path());
  summary.kinds = {KindOf("meshes", model.meshes),
                   KindOf("materials", model.materials),
                   KindOf("material maps", model.material_maps),
                   KindOf("matrices", model.matrices),
                   KindOf("line patterns", model.line_patterns),
                   KindOf("images", model.images),
                   KindOf("keyed data", model.keyed_data),
                   KindOf("views", model.views),
                   KindOf("poly polygons", model.poly_polygons),
                   KindOf("clip regions", model.clip_regions),
                   KindOf("instances", model.instances),
                   KindOf("groups", model.groups),
                   KindOf("includes", model.includes),
                   KindOf("attached models", model.attached_models)};
  summary.kinds.push_back({"overrides", model.instance_overrides.size()});

  std::pair<char const*, File const*> const files[] = {
      {kDigestName, nullptr},
      {kMeshesName, model.meshes_file.get()},
      {kImagesName, model.images_file.get()},
      {kDataName, model.data_file.get()},
      {kStreamMeshesName, model.stream_meshes_file.get()},
      {kStreamMeshesTocName, model.stream_meshes_toc_file.get()},
      {kStreamImagesName, model.stream_images_file.get()},
      {kStreamImagesTocName, model.stream_images_toc_file.get()},
      {kStreamBoundingName, nullptr}};
  for (auto const& [name, own] : files) summary.files.push_back({name, SizeOf(model, own, name)});

  Checker(model, summary.problems)
      .Run(summary.files[1].size, summary.files[2].size, summary.files[3].size);
  return summary;
}

std::string FormatModelSummary(ModelSummary const& summary) {
  std::string text = "Model: " + summary.path + "\nObjects:\n";
  char line[128];
  for (ModelSummary::Kind const& kind : summary.kinds) {
    int n = std::snprintf(line, sizeof line, "  %-16s %8zu", kind.name.c_str(), kind.count);
    if (kind.ranged)
      std::snprintf(line + n, sizeof line - n, "  keys %u..%u", kind.first, kind.last);
    text += line;
    text += '\n';
  }
  text += "Files:\n";
  for (ModelSummary::FileSize const& file : summary.files) {
    if (file.size < 0) std::snprintf(line, sizeof line, "  %-24s missing", file.name.c_str());
    else std::snprintf(line, sizeof line, "  %-24s %lld bytes", file.name.c_str(),
                       static_cast<long long>(file.size));
    text += line;
    text += '\n';
  }
  text += "Problems:\n";
  if (summary.problems.empty()) text += "  none\n";
  for (std::string const& problem : summary.problems) text += "  " + problem + '\n';
  return text;
}

}  // namespace QX::Store
