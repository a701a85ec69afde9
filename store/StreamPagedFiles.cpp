#include "store/StreamPagedFiles.h"

#include "files/File.h"
#include "store/ModelImpl.h"

namespace QX::Store {

File* StreamMeshPages::OpenFile() { return model_->EnsureOpen(FileSlot(), FileName(), false); }
File& StreamMeshPages::FileSlot() { return *model_->stream_meshes_file; }
char const* StreamMeshPages::FileName() const { return kStreamMeshesName; }

File* StreamImagePages::OpenFile() { return model_->EnsureOpen(FileSlot(), FileName(), false); }
File& StreamImagePages::FileSlot() { return *model_->stream_images_file; }
char const* StreamImagePages::FileName() const { return kStreamImagesName; }

}  // namespace QX::Store
