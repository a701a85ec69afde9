// Includes: a model placed in another one, or in itself, under a matrix, and
// what the including model records of the models it includes.
#include "store/ModelIncludes.h"

#include "files/File.h"
#include "files/FileSystem.h"
#include "files/ModelFileSet.h"
#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "store/CacheImpl.h"
#include "store/MetadataReader.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace fs = std::filesystem;

namespace {

// The box of the root of a model's tree file, read from its directory, or
// from its bundle when the directory isn't there. Empty if that can't be read.
BoundingBox BoundsFromFiles(ModelImpl const& model) {
  BoundingBox box;
  FileSystem& files = *model.file_system;
  fs::path location = model.Base();
  bool bundle = false;
  if (!files.Exists(location)) {
    fs::path const packed = PathFromUtf8(PathToUtf8(location) + ".qxz");
    if (files.Exists(packed)) {
      location = packed;
      bundle = true;
    }
  }
  ModelFileSet set(&files, location, true, bundle);
  if (!set.Load()) return box;
  // Opening a missing file of a directory would create it in the other model.
  if (!bundle && !files.Exists(location / kStreamBoundingName)) return box;
  std::unique_ptr<File> tree = files.NewFile();
  set.OpenFile(*tree, kStreamBoundingName);
  if (tree->IsOpen()) {
    ReadRootBox(*tree, box);
    tree->Close();
  }
  return box;
}

// Relative paths of models are relative to the working directory, like
// every path that the file system opens.
fs::path AbsoluteBase(ModelImpl const& model) { return fs::absolute(model.Base()).lexically_normal(); }

// The path of `other` as seen from `model`: relative where one leads from
// the one to the other, else absolute, and never empty.
std::string AttachedPath(ModelImpl const& model, ModelImpl const& other) {
  fs::path const to = AbsoluteBase(other);
  fs::path const relative = to.lexically_relative(AbsoluteBase(model));
  return PathToUtf8(relative.empty() ? to : relative);
}

BoundingBox IncludedBounds(ModelImpl const& model) {
  if (model.bounding_tree && model.bounding_tree->root) return model.bounding_tree->root->bounds;
  return BoundsFromFiles(model);
}

}  // namespace

IncludeKey Model::Include(Model const& other, MatrixKey matrix) {
  ModelImpl& self = Impl();
  return self.Include(other.Impl(), matrix);
}

IncludeKey ModelImpl::Include(ModelImpl& other, MatrixKey matrix) {
  TestWritable();
  IncludeKey const key = next.include++;
  uint32_t attached_id = 0;
  if (other.id != id) {
    attached_id = other.id;
    if (!attached_models.Contains(other.id)) {
      std::vector<uint8_t> scratch;
      AttachedModel attached;
      attached.id = other.id;
      attached.path = AttachedPath(*this, other);
      attached.unit_scale = other.UnitScale(scratch);
      attached.bounds = IncludedBounds(other);
      attached_models.Insert(other.id, std::move(attached));
    }
  }
  includes.Insert(key, IncludeRecord{key, attached_id, matrix});
  dirty = true;
  return key;
}

// Cached after the first call. The metadata block may only be a head that
// names the block which holds the tree; the unit is read from that one.
double ModelImpl::UnitScale(std::vector<uint8_t>& buffer) {
  if (unit_scale != -1) return unit_scale;
  unit_scale = 0;
  if (ReadKeyedData(kMetadataKey, buffer) && !buffer.empty()) {
    MetadataHead head;
    bool readable = true;
    if (ParseHead(buffer, head)) readable = ReadKeyedData(head.root_key, buffer);
    MetadataNode node;
    if (readable && ParseNode(buffer, node)) unit_scale = node.unit;
  }
  buffer.clear();
  return unit_scale;
}

ModelId ResolveAttached(ModelImpl& model, uint32_t attached_id, std::string const& relative_path,
                        ResolvedAttachments& resolved) {
  CacheImpl* cache = model.cache;
  if (!cache) return kNoModel;
  auto known = resolved.find(attached_id);
  if (known == resolved.end()) {
    std::string const joined = PathToUtf8(AbsoluteBase(model) / PathFromUtf8(relative_path));
    char const* registry_key = cache->ResolveModelPath(joined.c_str());
    known = resolved.emplace(attached_id, registry_key ? registry_key : "").first;
  }
  if (known->second.empty()) return kNoModel;
  CacheImpl::RegistryEntry const* entry = cache->FindEntry(known->second);
  return entry ? entry->id : kNoModel;
}

}  // namespace QX::Store
