#pragma once
// The two paged readers of a model: over _stream_meshes.qxd and over
// _stream_images.qxd. They differ only in the model file they serve.
#include "store/PagedFile.h"

namespace QX::Store {

class StreamMeshPages final : public PagedFile {
 public:
  using PagedFile::PagedFile;
  File* OpenFile() override;
  File& FileSlot() override;
  char const* FileName() const override;
};

class StreamImagePages final : public PagedFile {
 public:
  using PagedFile::PagedFile;
  File* OpenFile() override;
  File& FileSlot() override;
  char const* FileName() const override;
};

}  // namespace QX::Store
