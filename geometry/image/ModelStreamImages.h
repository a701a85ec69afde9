#pragma once
// A model's images as stream preparation sees them: its read-only flag, its
// logger, _images.qxi, _stream_images.qxd and the image toc writer. Stream
// preparation of a model runs
//   ModelStreamImages images(model);
//   OptimizeStreamImages(model.images, scratch, effort, images, start, threads);
// Header only, so that the image library needn't link the store.
#include "geometry/image/StreamImage.h"
#include "store/ModelImpl.h"

namespace QX::Store {

class ModelStreamImages final : public StreamImageModel {
 public:
  explicit ModelStreamImages(ModelImpl& model) : model_(model) {}

  bool IsReadOnly() override { return model_.read_only; }
  Logger* Log() override { return model_.logger; }
  bool ReadImage(ImageRecord const& image, ImagePixels& out) override {
    return model_.ReadImage(image, out);
  }
  File& StreamImages() override {
    return *model_.EnsureOpen(*model_.stream_images_file, kStreamImagesName, true);
  }
  void WriteImageToc(ImageRecord const& image) override { model_.WriteImageToc(image); }

 private:
  ModelImpl& model_;
};

}  // namespace QX::Store
