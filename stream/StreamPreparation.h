#pragma once
// Stream preparation: everything a stream copies later is computed here once
// (image blocks, stream mesh records, instance boxes and weights, the
// bounding tree) and written into the model's files.
#include <cstdint>

#include "geometry/image/StreamImage.h"
#include "geometry/mesh/StoredMesh.h"

namespace QX::Store {

class ModelImpl;

// Buffers that serve every mesh and image of one preparation run.
struct PrepareScratch {
  StoredMesh mesh;
  StreamImageScratch images;
};

// The work of preparation without the read-only test and without the digest.
// Does nothing when the model has its bounding tree in memory. `quiet` keeps
// the timing line of the whole run out of the log.
void PrepareCore(ModelImpl& model, PrepareScratch& scratch, bool quiet, uint32_t effort);

}  // namespace QX::Store
