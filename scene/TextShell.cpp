#include "scene/TextShell.h"

#include <mutex>

#include "scene/GlyphOutlines.h"
#include "scene/TextKit.h"

namespace KZV::detail {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kTabSpaces = 4;

// The code point that starts at `i`, which is moved behind it.
char32_t NextCodePoint(std::string const& s, size_t& i) {
  auto const byte = [&s](size_t k) { return static_cast<unsigned char>(s[k]); };
  unsigned char const lead = byte(i++);
  if (lead < 0x80) return lead;
  int length = 0;
  char32_t code = 0, minimum = 0;
  if ((lead & 0xE0) == 0xC0) length = 1, code = lead & 0x1F, minimum = 0x80;
  else if ((lead & 0xF0) == 0xE0) length = 2, code = lead & 0x0F, minimum = 0x800;
  else if ((lead & 0xF8) == 0xF0) length = 3, code = lead & 0x07, minimum = 0x10000;
  else return kReplacement;
  for (int k = 0; k < length; ++k) {
    if (i >= s.size() || (byte(i) & 0xC0) != 0x80) return kReplacement;
    code = (code << 6) | (byte(i++) & 0x3F);
  }
  bool const valid = code >= minimum && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  return valid ? code : kReplacement;
}

void AddGlyph(GlyphShell const& glyph, float x, float y, float size, Faces& out) {
  int const base = int(out.points.size());
  for (auto const& p : glyph.points) out.points.push_back({x + p[0] * size, y + p[1] * size, 0});
  for (auto const& t : glyph.triangles) out.face_list.insert(out.face_list.end(), {3, base + t[0], base + t[1], base + t[2]});
}

}  // namespace

std::u32string DecodeUTF8(std::string const& bytes) {
  std::u32string out;
  out.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size();) out.push_back(NextCodePoint(bytes, i));
  return out;
}

Faces TextFaces(TextKit const& kit) {
  UTF8 text, font = "stroked";
  kit.ShowText(text);
  kit.ShowFont(font);
  bool bold = false, italic = false;
  kit.ShowBold(bold);
  kit.ShowItalic(italic);
  float size = 1;
  Text::SizeUnits units{};
  kit.ShowSize(size, units);
  Point position(0, 0, 0);
  kit.ShowPosition(position);

  Faces out;
  std::u32string const codes = DecodeUTF8(text.str());
  if (codes.empty()) return out;
  std::lock_guard const lock(FontMutex());
  GlyphFont& glyphs = FindFont(font.str(), (bold ? kFontBold : 0) | (italic ? kFontItalic : 0));
  float x = 0, y = 0;
  GlyphShell const* previous = nullptr;
  for (char32_t code : codes) {
    if (code == '\n') {
      x = 0, y -= glyphs.LineSpacing();
      previous = nullptr;
    } else if (code == '\t') {
      x += kTabSpaces * glyphs.Glyph(' ').advance;
      previous = nullptr;
    } else if (code >= 0x20) {
      GlyphShell const& glyph = glyphs.Glyph(code);
      if (previous) x += glyphs.Kerning(previous->index, glyph.index);
      AddGlyph(glyph, position.x + x * size, position.y + y * size, size, out);
      x += glyph.advance;
      previous = &glyph;
    }
  }
  for (auto& p : out.points) p.z = position.z;
  return out;
}

}  // namespace KZV::detail
