#pragma once
// Font names to font files, the way a desktop resolves them: through
// fontconfig, with its aliases and generic families ("serif",
// "monospace"). The toolkit's default font "stroked", an empty name and a
// name that fontconfig can't tie to an installed family all fall back to
// DejaVu Sans, which the project installs.
#include <cstdint>
#include <string>

namespace KZV::detail {

// Style bits of a text's font.
inline constexpr uint32_t kFontBold = 1;
inline constexpr uint32_t kFontItalic = 2;

struct FontFile {
  std::string path;
  int index = 0;          // face within a font collection
  bool embolden = false;  // bold asked for, but the family has no bold face
  bool slant = false;     // italic asked for, but the family has no italic face
  bool operator==(FontFile const&) const = default;
};

// Never fails: the last resort is a DejaVu Sans file at its Debian path,
// which may then be missing; loading it reports that.
FontFile ResolveFont(std::string const& name, uint32_t style);

// The fallback alone, for the same style.
FontFile FallbackFont(uint32_t style);

}  // namespace KZV::detail
