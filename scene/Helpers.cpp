#include "scene/Helpers.h"

#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "export/value_types/Exceptions.h"
#include "scene/UTF8.h"

namespace KZVI::String {

std::vector<wchar_t> UTF8_To_WCharArray(char const* text) {
  if (!text) return {};
  std::vector<wchar_t> out;
  auto const* p = reinterpret_cast<unsigned char const*>(text);
  while (*p) {
    uint32_t c = *p++;
    int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (extra) c &= 0x3F >> extra;
    for (; extra > 0 && (*p & 0xC0) == 0x80; --extra) c = (c << 6) | (*p++ & 0x3F);
    if (sizeof(wchar_t) == 2 && c >= 0x10000) {
      c -= 0x10000;
      out.push_back(wchar_t(0xD800 + (c >> 10)));
      c = 0xDC00 + (c & 0x3FF);
    }
    out.push_back(wchar_t(c));
  }
  out.push_back(L'\0');
  return out;
}

}  // namespace KZVI::String

namespace KZVI::Helpers::File {

bool checkExistence(wchar_t const* path) {
  if (!path) return false;
  std::error_code error;
  return std::filesystem::exists(std::filesystem::path(KZV::UTF8(path).str()), error);
}

std::vector<wchar_t> generateTemporaryDirectory() {
  namespace fs = std::filesystem;
  fs::path const base = fs::temp_directory_path();
  std::random_device seed;
  std::mt19937_64 random(seed());
  for (int attempt = 0; attempt < 100; ++attempt) {
    char name[32];
    std::snprintf(name, sizeof name, "kzv-%016llx", static_cast<unsigned long long>(random()));
    fs::path const dir = base / name;
    std::error_code error;
    // create_directory reports false when the directory was there already.
    if (fs::create_directory(dir, error)) {
      std::vector<wchar_t> out = String::UTF8_To_WCharArray(dir.string().c_str());
      return out;
    }
  }
  throw KZV::IOException("Unable to create a temporary directory.", 1);
}

}  // namespace KZVI::Helpers::File

namespace KZVI::DBI {
namespace {

std::vector<ReportedWarning>& Warnings() {
  static std::vector<ReportedWarning> warnings;
  return warnings;
}

}  // namespace

void Warning(char const* text, KZV::Info::Code code) { Warnings().push_back({text ? text : "", code}); }

std::vector<ReportedWarning> TakeWarnings() { return std::exchange(Warnings(), {}); }

}  // namespace KZVI::DBI
