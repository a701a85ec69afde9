#pragma once
// Helpers outside the scene: strings, files and warnings.
#include <string>
#include <vector>

#include "scene/Enums.h"

namespace KZVI::String {

// The wide form of a UTF-8 string, zero-terminated; empty for no string.
std::vector<wchar_t> UTF8_To_WCharArray(char const* text);

}  // namespace KZVI::String

namespace KZVI::Helpers::File {

bool checkExistence(wchar_t const* path);
// Makes a new, empty directory under the system's temporary directory and
// returns its path, zero-terminated.
std::vector<wchar_t> generateTemporaryDirectory();

}  // namespace KZVI::Helpers::File

namespace KZVI::DBI {

// Reports a warning to the user. Warnings are kept in order until taken.
void Warning(char const* text, KZV::Info::Code code);
struct ReportedWarning {
  std::string text;
  KZV::Info::Code code;
};
std::vector<ReportedWarning> TakeWarnings();

}  // namespace KZVI::DBI
