#include "stream/StreamPreparation.h"

#include <chrono>

#include "geometry/image/ModelStreamImages.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "stream/ModelBoundingTree.h"

namespace QX::Store {
namespace {

using Clock = std::chrono::steady_clock;

unsigned MillisecondsSince(Clock::time_point start) {
  return static_cast<unsigned>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// Writes the stream records of every mesh that holds data of its own: mesh
// lists and duplicates stream through the meshes they name. Returns whether
// any mesh got its records now.
bool EncodeStreamMeshes(ModelImpl& model, PrepareScratch& scratch, uint32_t effort) {
  bool encoded = false;
  for (auto& entry : model.meshes) {
    if (entry.value.kind != MeshKind::Record) continue;
    MeshRecord& mesh = model.mesh_records[entry.value.index];
    if (mesh.duplicate_of != 0 || !mesh.toc.empty()) continue;
    model.EncodeStreamMesh(mesh, scratch.mesh, effort);
    encoded = true;
  }
  return encoded;
}

}  // namespace

void PrepareCore(ModelImpl& model, PrepareScratch& scratch, bool quiet, uint32_t effort) {
  if (model.bounding_tree) return;
  Clock::time_point const start = Clock::now();
  model.EnsureOpen(*model.stream_meshes_file, kStreamMeshesName, true);
  model.EnsureOpen(*model.stream_meshes_toc_file, kStreamMeshesTocName, true);
  model.EnsureOpen(*model.stream_images_file, kStreamImagesName, true);
  model.EnsureOpen(*model.stream_images_toc_file, kStreamImagesTocName, true);

  if (!model.images.empty()) {
    ModelStreamImages images(model);
    OptimizeStreamImages(model.images, scratch.images, effort, images, start);
  }
  if (!model.instances.empty()) {
    if (!model.bounding_valid) {
      // Meshes record their stream sizes, and the tree file becomes valid:
      // both live in the digest.
      EncodeStreamMeshes(model, scratch, effort);
      if (!model.read_only) model.dirty = true;
    }
    BuildBoundingTree(model);
  }
  if (!quiet) model.Log("preparing stream took %u ms", MillisecondsSince(start));
  model.CloseFiles();
}

void ModelImpl::PrepareStream(uint32_t effort) {
  TestWritable();
  PrepareScratch scratch;
  PrepareCore(*this, scratch, false, effort);
  if (!bounding_tree) Log("PrepareStream seems invalid - possible empty Model?");
  if (dirty) WriteDigest();
  CloseFiles();
}

void Model::PrepareStream(uint32_t effort) { Impl().PrepareStream(effort); }

}  // namespace QX::Store
