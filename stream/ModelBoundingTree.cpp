#include "stream/ModelBoundingTree.h"

#include "files/File.h"
#include "files/FileSystem.h"
#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "geometry/bounding/InstanceBounds.h"
#include "store/FileErrors.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace {

// The record whose data an instance shows: through a mesh list to its first
// mesh, then through duplicate_of to the owner of the data, with the
// duplicate's matrix as `extra`.
MeshRecord const* DataMesh(ModelImpl const& model, MeshKey key, Matrix& extra, bool& has_extra) {
  MeshEntry const* entry = model.meshes.Find(key);
  if (!entry) return nullptr;
  if (entry->kind == MeshKind::List) {
    auto const& list = model.mesh_lists[entry->index];
    if (list.empty()) return nullptr;
    key = list.front();
  }
  MeshRecord const* mesh = model.FindMesh(key);
  if (!mesh || mesh->duplicate_of == 0) return mesh;
  has_extra = mesh->duplicate_matrix != 0;
  if (has_extra) model.GetMatrix(mesh->duplicate_matrix, extra.data());
  return model.FindMesh(mesh->duplicate_of);
}

bool ComputeInstanceBounds(ModelImpl const& model, Instance& instance) {
  Matrix extra;
  bool has_extra = false;
  MeshRecord const* mesh = DataMesh(model, instance.mesh, extra, has_extra);
  if (!mesh) return false;
  MeshStreamData data;
  data.bounds = mesh->bounds;
  for (MeshTocEntry const& entry : mesh->toc) data.AddTocEntry(entry.offset, entry.size);
  if (!data.has_stream_data) return false;
  Matrix matrix;
  model.GetMatrix(instance.matrix, matrix.data());
  BoundingItem item{instance.key, instance.weight, instance.bounds};
  ComputeInstanceBounds(item, data, matrix, has_extra ? &extra : nullptr);
  instance.weight = item.weight;
  instance.bounds = item.bounds;
  return true;
}

// One item per instance, in list order, with the instance's weight and box.
std::vector<BoundingItem> ItemsOf(ModelImpl const& model) {
  std::vector<BoundingItem> items;
  items.reserve(model.instances.size());
  for (auto const& entry : model.instances) {
    items.push_back({entry.value.key, entry.value.weight, entry.value.bounds});
  }
  return items;
}

void ReadTreeFile(ModelImpl& model) {
  std::filesystem::path const path = model.FilePath(kStreamBoundingName);
  std::unique_ptr<File> file = model.file_system->NewFile();
  model.file_set.OpenFile(*file, kStreamBoundingName);
  std::unique_ptr<BoundingTree> tree;
  if (file->IsOpen()) tree = ReadBoundingTree(*file, ItemsOf(model));
  if (!tree) ThrowFileCorrupt(model.logger, path);
  for (BoundingItem const& item : tree->items) {
    Instance& instance = *model.instances.Find(item.key);
    instance.weight = item.weight;
    instance.bounds = item.bounds;
  }
  model.bounding_tree = std::move(tree);
}

void WriteTreeFile(ModelImpl& model) {
  std::vector<uint8_t> bytes;
  WriteTree(*model.bounding_tree->root, bytes);
  std::filesystem::path const path = model.FilePath(kStreamBoundingName);
  std::unique_ptr<File> file = model.file_system->NewFile(path);
  file->OpenWrite(true, true);
  if (file->State() == FileState::SharingFailure) ThrowUnableToShare(model.logger, path);
  if (!file->IsOpen()) ThrowUnableToOpen(model.logger, path);
  if (file->Write(bytes.data(), bytes.size()) != bytes.size()) {
    // Leave no partial tree that could pass for a whole one.
    file->Close();
    model.file_system->Remove(path);
    ThrowLogged(model.logger, "Unable to write data: " + PathToUtf8(path));
  }
  file->Close();
  model.bounding_valid = true;
}

}  // namespace

BoundingBox ComputeModelBounds(ModelImpl& model) {
  BoundingBox box;
  for (auto& entry : model.instances) {
    Instance& instance = entry.value;
    if (!instance.bounds.Valid() && !ComputeInstanceBounds(model, instance)) continue;
    Unite(box, instance.bounds);
  }
  return box;
}

void BuildBoundingTree(ModelImpl& model) {
  if (model.instances.empty() || model.bounding_tree) return;
  if (model.bounding_valid) {
    ReadTreeFile(model);
    return;
  }
  ComputeModelBounds(model);
  model.bounding_tree = MakeBoundingTree(ItemsOf(model), {0, model.cluster_seed});
  if (!model.read_only) WriteTreeFile(model);
}

}  // namespace QX::Store
