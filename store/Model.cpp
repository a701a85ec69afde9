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

}  // namespace QX::Store
