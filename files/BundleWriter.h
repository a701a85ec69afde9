#pragma once
// Writes a bundle of the new form: a table of names and sizes, then the
// files themselves, uncompressed, so that the bundle can be read in place.
#include <filesystem>
#include <string>
#include <vector>

namespace QX::Store {

class FileSystem;
class Logger;

// Bundles the files `names` of the directory `source`, in this order, as
// `output`. The bundle is written beside `output` and renamed into place,
// so a failure leaves `output` as it was. Throws QX::Store::Exception with
// "Unable to open file: ", "Unable to share file: ", "File corrupt: " (a
// source changed while being copied), "Unable to write data: " or
// "Unable to rename: ", each logged first.
void WriteBundle(std::filesystem::path const& source, std::vector<std::string> const& names,
                 std::filesystem::path const& output, FileSystem& file_system, Logger* logger);

}  // namespace QX::Store
