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
    OptimizeStreamImages(model.images, scratch.images, effort, images, start, model.prepare_threads);
  }
  if (!model.instances.empty()) {
    if (!model.bounding_valid) {
      // Meshes record their stream sizes, and the tree file becomes valid:
      // both live in the digest.
      model.EncodeStreamMeshes(scratch.mesh, effort);
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
