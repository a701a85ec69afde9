#pragma once
// File errors of the store: the text is logged to the model's logger, then
// thrown as a QX::Store::Exception.
#include <filesystem>
#include <string>

namespace QX::Store {

class Logger;

[[noreturn]] void ThrowFileCorrupt(Logger* logger, std::filesystem::path const& path);
[[noreturn]] void ThrowUnableToOpen(Logger* logger, std::filesystem::path const& path);
[[noreturn]] void ThrowUnableToRemove(Logger* logger, std::filesystem::path const& path);
[[noreturn]] void ThrowUnableToRename(Logger* logger, std::filesystem::path const& path);
[[noreturn]] void ThrowUnableToShare(Logger* logger, std::filesystem::path const& path);
[[noreturn]] void ThrowUnexpectedCode(Logger* logger, std::filesystem::path const& path);
// Any other logged failure: `text` is the whole message.
[[noreturn]] void ThrowLogged(Logger* logger, std::string const& text);

}  // namespace QX::Store
