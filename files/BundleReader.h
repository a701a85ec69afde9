#pragma once
// Reading bundles, the .qxz files that hold all files of a model. The old
// form (1) is a run of records, compressed in parts, that must be unpacked
// into a directory; the new form (2) keeps the files uncompressed behind a
// table and is read in place. The first eight bytes tell them apart.
//
// Failures are logged to `logger` (which may be null) and thrown as
// QX::Store::Exception with the texts below.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "files/Bundle.h"

namespace QX::Store {

class File;
class FileSystem;
class Logger;

inline constexpr uint32_t kOldBundleForm = 1;
inline constexpr uint32_t kNewBundleForm = 2;

// The form of the bundle at `path`. Throws "Given .qxz input path invalid: ",
// "Unable to open file: ", "File corrupt: " or "Invalid qxz version: ".
uint32_t QueryBundleForm(std::filesystem::path const& path, FileSystem& file_system,
                         Logger* logger);

// Unpacks the bundle `input` of either form into the directory `output`,
// which must not exist yet. Files written before a failure stay.
void UnpackBundle(std::string const& input, std::string const& output, FileSystem& file_system,
                  Logger* logger);

// The in-place bundle at `path`, or null if it isn't a readable bundle of
// the new form. Never throws, never logs.
std::unique_ptr<Bundle> LoadBundleTable(std::filesystem::path const& path,
                                        FileSystem& file_system);

// The same readers on an open file; `path` names it in messages.
uint32_t BundleFormOf(File& bundle, std::filesystem::path const& path, Logger* logger);
std::vector<BundleEntry> ReadBundleTable(File& bundle, std::filesystem::path const& path,
                                         Logger* logger);
void UnpackBundleFile(File& bundle, std::filesystem::path const& path, FileSystem& file_system,
                      std::filesystem::path const& output, Logger* logger);

}  // namespace QX::Store
