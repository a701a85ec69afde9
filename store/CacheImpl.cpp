#include "store/CacheImpl.h"

#include <string_view>

#include "files/BundleReader.h"
#include "files/FileSystem.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"

namespace QX::Store {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kBundleExtension = ".qxz";

bool HasBundleExtension(std::string_view text) {
  return text.size() > kBundleExtension.size() && text.ends_with(kBundleExtension);
}

}  // namespace

CacheImpl::CacheImpl(Logger* logger, FileSystem* file_system)
    : logger(logger), file_system(file_system) {
  auto empty = std::make_shared<ModelImpl>(this, logger, file_system);
  empty->InitEmpty();
  empty->id = next_model_id++;
  Register(kEmptyModelName, "", empty->id);
  models[empty->id] = empty;
  empty_model = std::move(empty);
}

CacheImpl::~CacheImpl() {
  empty_model.reset();
  for (auto& [id, model] : models) {
    if (!model) continue;
    model->cache = nullptr;  // handles that outlive the cache must not call back
    model.reset();
  }
  if (!workspace.empty()) {
    try {
      file_system->RemoveAll(workspace);
    } catch (...) {
    }
    if (logger) logger->Message(("Removed workspace: " + PathToUtf8(workspace)).c_str());
  }
  if (logger) {
    std::string const line = "Closing cache: (" + std::to_string(unsigned(files_opened)) + ", " +
                             std::to_string(unsigned(models_opened)) + ")";
    logger->Message(line.c_str());
  }
}

// A trailing separator doesn't make another key.
std::string CacheImpl::Key(fs::path const& path) const {
  fs::path normal = file_system->Normalize(path);
  if (normal.has_relative_path() && normal.filename().empty()) normal = normal.parent_path();
  return PathToUtf8(normal);
}

CacheImpl::RegistryEntry const* CacheImpl::FindEntry(std::string const& key) const {
  auto const it = registry.find(key);
  return it == registry.end() ? nullptr : &*it->second;
}

CacheImpl::RegistryEntry& CacheImpl::Register(std::string const& key, std::string const& location,
                                              ModelId id) {
  if (auto const it = registry.find(key); it != registry.end()) {
    *it->second = RegistryEntry{key, location, id};
    return *it->second;
  }
  registry_list.push_back(RegistryEntry{key, location, id});
  auto const entry = std::prev(registry_list.end());
  registry.emplace(key, entry);
  return *entry;
}

void CacheImpl::Unregister(std::string const& key) {
  auto const it = registry.find(key);
  if (it == registry.end()) return;
  registry_list.erase(it->second);
  registry.erase(it);
}

bool CacheImpl::IsModelDirectory(fs::path const& path) {
  std::string const key = Key(path);
  RegistryEntry const* entry = FindEntry(key);
  if (entry && !entry->location.empty()) return true;
  if (file_system->IsDirectory(path) && file_system->Exists(path / kDigestName)) {
    if (!entry) {
      ModelId const id = next_model_id++;
      Register(key, "", id);
      models.emplace(id, nullptr);
    }
    return true;
  }
  if (entry) {
    models.erase(entry->id);
    Unregister(key);
  }
  return false;
}

// A bundle of the new form is registered to be read in place, under its
// own path and under that path without the extension. One of the old form
// is unpacked once, into the directory of its name or below the workspace,
// and found there from then on. Any failure leaves the name unresolved.
bool CacheImpl::BundleStep(fs::path const& bundle, fs::path const& directory, fs::path& hit) {
  uint32_t form = 0;
  try {
    form = QueryBundleForm(bundle, *file_system, logger);
  } catch (std::exception const&) {
    return false;
  }
  if (form == kNewBundleForm) {
    std::string const location = Key(bundle);
    ModelId const id = next_model_id++;
    Register(location, location, id);
    Register(location.substr(0, location.size() - kBundleExtension.size()), location, id);
    models.emplace(id, nullptr);
    hit = PathFromUtf8(location.substr(0, location.size() - kBundleExtension.size()));
    return true;
  }
  fs::path const target = UnpackTargetOf(directory);
  if (!file_system->Exists(target) && !UnpackOnce(bundle, target)) return false;
  if (!IsModelDirectory(target)) return false;
  hit = directory;
  std::string const target_key = Key(target);
  if (target_key != Key(directory))
    Register(Key(directory), target_key, FindEntry(target_key)->id);
  return true;
}

// Where an old-form bundle of the model `directory` is unpacked: the
// directory itself, or its place below the workspace.
fs::path CacheImpl::UnpackTargetOf(fs::path const& directory) const {
  if (workspace.empty()) return directory;
  fs::path target = workspace;
  for (fs::path const& part : directory.relative_path()) target /= part;
  return target;
}

// Unpacks beside the target and renames the whole into place, so that a
// failed unpack never leaves a directory that passes for the model.
bool CacheImpl::UnpackOnce(fs::path const& bundle, fs::path const& target) {
  fs::path const partial = PathFromUtf8(PathToUtf8(target) + ".unpacking");
  try {
    file_system->RemoveAll(partial);
    if (target.has_parent_path()) file_system->CreateDirectories(target.parent_path());
    UnpackBundle(PathToUtf8(bundle), PathToUtf8(partial), *file_system, logger);
    if (file_system->Rename(partial, target)) return true;
  } catch (std::exception const&) {
  }
  try {
    file_system->RemoveAll(partial);
  } catch (std::exception const&) {
  }
  return false;
}

char const* CacheImpl::ResolveModelPath(char const* name) {
  if (!name || !*name) return nullptr;
  std::string plain = name;
  if (plain == kEmptyModelName) {
    RegistryEntry const* entry = FindEntry(plain);
    return entry ? entry->key.c_str() : nullptr;
  }
  if (HasBundleExtension(plain)) plain.resize(plain.size() - kBundleExtension.size());
  fs::path const plain_path = PathFromUtf8(plain);

  fs::path hit;
  if (plain_path.is_absolute()) {
    if (IsModelDirectory(plain_path)) hit = plain_path;
  } else {
    for (fs::path const& search : search_paths) {
      if (IsModelDirectory(search / plain_path)) {
        hit = search / plain_path;
        break;
      }
    }
  }
  if (hit.empty()) {
    fs::path const bundle = file_system->Normalize(PathFromUtf8(plain + ".qxz"));
    if (bundle.is_relative()) {
      for (fs::path const& search : search_paths) {
        if (file_system->Exists(search / bundle) &&
            BundleStep(search / bundle, search / plain_path, hit))
          break;
      }
    } else if (file_system->Exists(bundle)) {
      BundleStep(bundle, plain_path, hit);
    }
  }
  if (hit.empty()) return nullptr;
  RegistryEntry const* entry = FindEntry(Key(hit));
  return entry ? entry->key.c_str() : nullptr;
}

Model CacheImpl::OpenModel(char const* path, bool read_only) {
  uint32_t const look_up = kOpenLookUp | (read_only ? kOpenReadOnly : 0);
  if (char const* key = ResolveModelPath(path)) return OpenWithMode(std::string(key), look_up);
  std::string const given = path ? path : "";
  if (given.empty()) throw Exception("Unable to open model: ");

  fs::path const relative = PathFromUtf8(given);
  fs::path const absolute = fs::absolute(relative);
  fs::path const parent = absolute.parent_path();
  if (!file_system->IsDirectory(parent))
    throw Exception("Creating model requires parent path exist: " + PathToUtf8(parent));
  if (relative.is_relative()) {
    if (char const* key = ResolveModelPath(PathToUtf8(absolute).c_str()))
      return OpenWithMode(std::string(key), look_up);
  }
  if (read_only) throw Exception("Creating model attempted with read only: " + given);
  return OpenWithMode(PathToUtf8(absolute), kOpenCreate);
}

bool CacheImpl::InWorkspace(fs::path const& path) const {
  if (workspace.empty()) return false;
  fs::path const base = file_system->Normalize(workspace);
  auto part = path.begin();
  for (fs::path const& ws : base) {
    if (ws.empty()) continue;  // a trailing separator
    if (part == path.end() || *part != ws) return false;
    ++part;
  }
  return true;
}

Model CacheImpl::OpenWithMode(std::string const& path, uint32_t mode) {
  std::string key = Key(PathFromUtf8(path));
  std::string logical;
  if (mode & kOpenLookUp) {
    if (RegistryEntry const* entry = FindEntry(key)) {
      if (auto const it = models.find(entry->id); it != models.end() && it->second)
        return Model(it->second);
      if (!entry->location.empty()) {
        logical = entry->key;
        std::string const location = entry->location;
        key = Key(PathFromUtf8(location));
        if (HasBundleExtension(key)) {
          if (!(mode & kOpenReadOnly))
            throw Exception("Opening a .qxz bundle requires read only: " + location);
          mode |= kOpenBundle;
        }
      }
    }
  }
  fs::path const model_path = PathFromUtf8(key);
  if ((mode & kOpenReadOnly) && !(mode & kOpenBundle)) {
    if (!file_system->Exists(model_path))
      throw Exception("Creating model attempted with read only cache: " + key);
    if (!file_system->Exists(model_path / kDigestName))
      throw Exception("Model missing digest: " + key);
  }

  ++models_opened;
  auto model = std::make_shared<ModelImpl>(this, logger, file_system);
  bool const is_new = model->Open(model_path, mode & kOpenReadOnly, mode & kOpenQuiet,
                                  mode & kOpenCreate, mode & kOpenBundle);
  RegistryEntry const* entry = is_new ? nullptr : FindEntry(key);
  if (entry) {
    model->id = entry->id;
  } else {
    model->id = next_model_id++;
    Register(key, "", model->id);
  }

  if (logical.empty() && InWorkspace(model_path)) {
    for (RegistryEntry const& candidate : registry_list) {
      if (!candidate.location.empty() && candidate.id == model->id) {
        logical = candidate.key;
        break;
      }
    }
  }
  if (!logical.empty()) model->logical_path = PathFromUtf8(logical);
  models[model->id] = model;
  return Model(std::move(model));
}

Model CacheImpl::FindModel(ModelId id) {
  if (auto const it = models.find(id); it != models.end() && it->second) return Model(it->second);
  for (RegistryEntry const& entry : registry_list) {
    if (entry.id != id) continue;
    if (HasBundleExtension(entry.location))
      return OpenWithMode(entry.location, kOpenReadOnly | kOpenQuiet | kOpenBundle);
    if (entry.location.empty()) return OpenWithMode(entry.key, kOpenReadOnly | kOpenQuiet);
  }
  return Model();
}

void CacheImpl::ForgetModel(ModelId id) {
  if (auto const it = models.find(id); it != models.end()) it->second.reset();
}

}  // namespace QX::Store
