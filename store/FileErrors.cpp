#include "store/FileErrors.h"

#include <string>

#include "files/FileSystem.h"
#include "store/Logger.h"

namespace QX::Store {

void ThrowLogged(Logger* logger, std::string const& text) {
  if (logger) logger->Message(text.c_str());
  throw Exception(text);
}

namespace {
[[noreturn]] void ThrowFileError(Logger* logger, char const* what, std::filesystem::path const& path) {
  ThrowLogged(logger, what + PathToUtf8(path));
}
}  // namespace

void ThrowFileCorrupt(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "File corrupt: ", path);
}
void ThrowUnableToOpen(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "Unable to open file: ", path);
}
void ThrowUnableToRemove(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "Unable to remove: ", path);
}
void ThrowUnableToRename(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "Unable to rename: ", path);
}
void ThrowUnableToShare(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "Unable to share file: ", path);
}
void ThrowUnexpectedCode(Logger* logger, std::filesystem::path const& path) {
  ThrowFileError(logger, "Unexpected code: ", path);
}

}  // namespace QX::Store
