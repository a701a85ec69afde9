#pragma once
// The cache behind a Cache handle: the registry of known model paths, the
// model ids, the strong reference to each open model and the built-in model.
#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class FileSystem;
class Logger;
class ModelImpl;
class Model;

// Mode bits of OpenWithMode.
inline constexpr uint32_t kOpenLookUp = 2;     // return a model that is open already
inline constexpr uint32_t kOpenReadOnly = 4;
inline constexpr uint32_t kOpenQuiet = 8;      // no open, close and timing lines
inline constexpr uint32_t kOpenCreate = 16;    // the directory is to be created
inline constexpr uint32_t kOpenBundle = 32;    // a bundle file read in place

class CacheImpl {
 public:
  // A path known to the cache. `location` is empty for a plain directory, else
  // the normalised path where the model's files lie.
  struct RegistryEntry {
    std::string key;
    std::string location;
    ModelId id = kNoModel;
  };

  CacheImpl(Logger* logger, FileSystem* file_system);
  ~CacheImpl();
  CacheImpl(CacheImpl const&) = delete;
  CacheImpl& operator=(CacheImpl const&) = delete;

  Model OpenModel(char const* path, bool read_only);
  // The registry key for a model name or path, or null if there is none.
  char const* ResolveModelPath(char const* name);
  // Whether `path` denotes a model; registers it if so.
  bool IsModelDirectory(std::filesystem::path const& path);
  Model OpenWithMode(std::string const& path, uint32_t mode);
  // The model of an id, opened read only if it is known but closed; empty if unknown.
  Model FindModel(ModelId id);
  // Drops the cache's reference to a model, keeping it known.
  void ForgetModel(ModelId id);

  RegistryEntry const* FindEntry(std::string const& key) const;
  // The normalised text of a path: the form of every registry key.
  std::string Key(std::filesystem::path const& path) const;

  Logger* logger;
  std::vector<std::filesystem::path> search_paths;
  std::filesystem::path workspace;
  ModelId next_model_id = 1;
  uint64_t files_opened = 0;
  uint64_t models_opened = 0;
  std::list<RegistryEntry> registry_list;
  std::unordered_map<std::string, std::list<RegistryEntry>::iterator> registry;
  std::unordered_map<ModelId, std::shared_ptr<ModelImpl>, KeyHasher> models;
  std::shared_ptr<ModelImpl> empty_model;
  FileSystem* file_system;
  // Held by a live stream's pass and by its attachment thread while they
  // touch the cache or its models, so that the two never meet in a model.
  std::mutex stream_lock;

 private:
  RegistryEntry& Register(std::string const& key, std::string const& location, ModelId id);
  void Unregister(std::string const& key);
  bool BundleStep(std::filesystem::path const& bundle, std::filesystem::path const& directory,
                  std::filesystem::path& hit);
  std::filesystem::path UnpackTargetOf(std::filesystem::path const& directory) const;
  bool UnpackOnce(std::filesystem::path const& bundle, std::filesystem::path const& target);
  bool InWorkspace(std::filesystem::path const& path) const;
};

}  // namespace QX::Store
