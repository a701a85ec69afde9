#include "scene/FontResolver.h"

#include <fontconfig/fontconfig.h>

#include <cstdlib>
#include <memory>
#include <optional>

namespace KZV::detail {
namespace {

constexpr char kDefaultFontName[] = "stroked";
constexpr char kFallbackFamily[] = "DejaVu Sans";

struct PatternDeleter {
  void operator()(FcPattern* p) const { FcPatternDestroy(p); }
};
using Pattern = std::unique_ptr<FcPattern, PatternDeleter>;

FcChar8 const* Chars(char const* text) { return reinterpret_cast<FcChar8 const*>(text); }

bool IsGeneric(std::string const& name) {
  for (char const* generic : {"serif", "sans-serif", "sans", "monospace", "mono", "cursive", "fantasy",
                              "system-ui", "emoji", "math"})
    if (FcStrCmpIgnoreCase(Chars(name.c_str()), Chars(generic)) == 0) return true;
  return false;
}

bool HasFamily(FcPattern* font, std::string const& name) {
  FcChar8* family = nullptr;
  for (int i = 0; FcPatternGetString(font, FC_FAMILY, i, &family) == FcResultMatch; ++i)
    if (FcStrCmpIgnoreCase(family, Chars(name.c_str())) == 0) return true;
  return false;
}

// fontconfig, set up once; its configuration goes at the end of the process.
bool Started() {
  static bool const started = [] {
    if (!FcInit()) return false;
    std::atexit(FcFini);
    return true;
  }();
  return started;
}

// fontconfig's best scalable font for a family and style, after the
// configuration's substitutions (aliases, generic families).
Pattern BestMatch(std::string const& family, uint32_t style) {
  if (!Started()) return nullptr;
  Pattern pattern(FcPatternCreate());
  if (!pattern) return nullptr;
  FcPatternAddString(pattern.get(), FC_FAMILY, Chars(family.c_str()));
  FcPatternAddInteger(pattern.get(), FC_WEIGHT, (style & kFontBold) ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
  FcPatternAddInteger(pattern.get(), FC_SLANT, (style & kFontItalic) ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(pattern.get(), FC_OUTLINE, FcTrue);
  FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
  if (!FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern)) return nullptr;
  FcDefaultSubstitute(pattern.get());
  FcResult result = FcResultNoMatch;
  Pattern match(FcFontMatch(nullptr, pattern.get(), &result));
  if (!match || result != FcResultMatch) return nullptr;
  FcBool outline = FcFalse;
  if (FcPatternGetBool(match.get(), FC_OUTLINE, 0, &outline) != FcResultMatch || !outline) return nullptr;
  return match;
}

std::optional<FontFile> FileOf(FcPattern* font, uint32_t style) {
  FcChar8* path = nullptr;
  if (FcPatternGetString(font, FC_FILE, 0, &path) != FcResultMatch) return std::nullopt;
  FontFile file;
  file.path = reinterpret_cast<char const*>(path);
  FcPatternGetInteger(font, FC_INDEX, 0, &file.index);
  int weight = FC_WEIGHT_REGULAR, slant = FC_SLANT_ROMAN;
  FcPatternGetInteger(font, FC_WEIGHT, 0, &weight);
  FcPatternGetInteger(font, FC_SLANT, 0, &slant);
  file.embolden = (style & kFontBold) && weight < FC_WEIGHT_DEMIBOLD;
  file.slant = (style & kFontItalic) && slant == FC_SLANT_ROMAN;
  return file;
}

// Where fonts-dejavu-core puts its files; used when fontconfig finds nothing.
FontFile FixedFallback(uint32_t style) {
  FontFile file;
  file.path = (style & kFontBold) ? "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"
                                  : "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  file.slant = (style & kFontItalic) != 0;
  return file;
}

}  // namespace

FontFile FallbackFont(uint32_t style) {
  Pattern match = BestMatch(kFallbackFamily, style);
  if (match && HasFamily(match.get(), kFallbackFamily))
    if (auto file = FileOf(match.get(), style)) return *file;
  return FixedFallback(style);
}

FontFile ResolveFont(std::string const& name, uint32_t style) {
  if (name.empty() || name == kDefaultFontName) return FallbackFont(style);
  Pattern match = BestMatch(name, style);
  if (!match) return FallbackFont(style);
  // fontconfig answers every name; one that it only answers with its
  // default sans-serif face is a name it doesn't know.
  if (!IsGeneric(name) && !HasFamily(match.get(), name)) {
    Pattern unknown = BestMatch("sans-serif", style);
    FcChar8 *a = nullptr, *b = nullptr;
    if (!unknown || (FcPatternGetString(match.get(), FC_FILE, 0, &a) == FcResultMatch &&
                     FcPatternGetString(unknown.get(), FC_FILE, 0, &b) == FcResultMatch && FcStrCmp(a, b) == 0))
      return FallbackFont(style);
  }
  auto file = FileOf(match.get(), style);
  return file ? *file : FallbackFont(style);
}

}  // namespace KZV::detail
