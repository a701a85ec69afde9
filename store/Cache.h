#pragma once
// The root of the store: opens models by path or name and owns the built-in
// empty model. It must outlive every Model handle of its models.
#include <memory>
#include <string>
#include <vector>

#include "store/Model.h"

namespace QX::Store {

class CacheImpl;
class FileSystem;
class Logger;

class Cache {
 public:
  Cache();
  Cache(Cache&& other) noexcept;
  Cache& operator=(Cache&& other) noexcept;
  ~Cache();

  // A null logger says nothing; a null file system selects the default one.
  static Cache Open(Logger* logger, FileSystem* file_system = nullptr);

  // Opens the model at `path`, or creates it there unless `read_only`.
  Model OpenModel(char const* path, bool read_only);

  // Directories in which a relative model name is looked for, in order.
  void SetSearchPaths(std::vector<std::string> const& paths);
  // Directory in which bundles of the old form are unpacked.
  void SetWorkspace(char const* path);

  explicit operator bool() const { return impl_ != nullptr; }

  // Inside the store: the implementation; throws on an empty handle.
  CacheImpl& Impl() const;

 private:
  std::unique_ptr<CacheImpl> impl_;
};

}  // namespace QX::Store
