#include "store/Cache.h"

#include "files/FileSystem.h"
#include "store/CacheImpl.h"
#include "store/Logger.h"

namespace QX::Store {

Cache::Cache() = default;
Cache::Cache(Cache&& other) noexcept = default;
Cache& Cache::operator=(Cache&& other) noexcept = default;
Cache::~Cache() = default;

Cache Cache::Open(Logger* logger, FileSystem* file_system) {
  Cache cache;
  cache.impl_ = std::make_unique<CacheImpl>(logger, file_system ? file_system : &DefaultFiles());
  return cache;
}

CacheImpl& Cache::Impl() const {
  if (!impl_) throw Exception("Used an invalid Cache");
  return *impl_;
}

Model Cache::OpenModel(char const* path, bool read_only) { return Impl().OpenModel(path, read_only); }

void Cache::SetSearchPaths(std::vector<std::string> const& paths) {
  CacheImpl& cache = Impl();
  cache.search_paths.clear();
  for (std::string const& path : paths) cache.search_paths.push_back(PathFromUtf8(path));
}

void Cache::SetWorkspace(char const* path) { Impl().workspace = PathFromUtf8(path ? path : ""); }

}  // namespace QX::Store
