#include "store/Model.h"

#include "store/CacheImpl.h"
#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {

Model& Model::operator=(Model const& other) {
  if (this != &other) {
    std::shared_ptr<ModelImpl> keep = other.impl_;
    Release();
    impl_ = std::move(keep);
  }
  return *this;
}

Model& Model::operator=(Model&& other) noexcept {
  if (this != &other) {
    Release();
    impl_ = std::move(other.impl_);
  }
  return *this;
}

Model::~Model() { Release(); }

// When only this handle and the cache's table hold the model, the cache lets
// go first, so that dropping this handle closes the model.
void Model::Release() {
  if (impl_ && impl_.use_count() == 2 && impl_->cache) impl_->cache->ForgetModel(impl_->id);
  impl_.reset();
}

ModelImpl& Model::Impl() const {
  if (!impl_) throw Exception("Used an invalid Model");
  return *impl_;
}

char const* Model::Name() const { return Impl().name.c_str(); }

MaterialKey Model::InsertMaterial(RGBAColor const& color) { return Impl().InsertMaterial(color); }

MaterialKey Model::InsertMaterial(Material const& material) {
  return Impl().InsertMaterial(material);
}

void Model::SetMaterial(MaterialKey key, RGBAColor const& color) { Impl().SetMaterial(key, color); }

MaterialMapKey Model::InsertMaterialMap(std::vector<MaterialKey> const& keys) {
  return Impl().InsertMaterialMap(keys);
}

MatrixKey Model::InsertMatrix(double const* twelve) { return Impl().InsertMatrix(twelve); }

MatrixKey Model::InsertMatrix(float const* twelve) { return Impl().InsertMatrix(twelve); }

GroupKey Model::InsertGroup(std::vector<InstanceInc> const& instances,
                            std::vector<GroupInc> const& groups) {
  return Impl().InsertGroup(instances, groups);
}

void Model::SetGroup(GroupKey key, std::vector<InstanceInc> const& instances,
                     std::vector<GroupInc> const& groups) {
  Impl().SetGroup(key, instances, groups);
}

ImageKey Model::InsertImageRGBA(uint32_t width, uint32_t height, void const* pixels) {
  return Impl().InsertImageRGBA(width, height, pixels);
}

ImageKey Model::InsertImageRGB(uint32_t width, uint32_t height, void const* pixels) {
  return Impl().InsertImageRGB(width, height, pixels);
}

ImageKey Model::InsertImageGray(uint32_t width, uint32_t height, void const* pixels) {
  return Impl().InsertImageGray(width, height, pixels);
}

ImageKey Model::InsertEncodedImage(uint32_t size, void const* bytes, ImageFormat format) {
  return Impl().InsertEncodedImage(size, bytes, format);
}

DataKey Model::InsertKeyedData(uint32_t size, void const* bytes, uint32_t type) {
  return Impl().InsertKeyedData(size, bytes, type);
}

void Model::SetKeyedData(DataKey key, uint32_t size, void const* bytes) {
  Impl().SetKeyedData(key, size, bytes);
}

}  // namespace QX::Store
