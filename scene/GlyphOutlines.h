#pragma once
// Glyphs of a font as small shells of triangles. FreeType gives each
// glyph's outline; its curves are cut into chords that keep within 1/200
// of each curve's extent (the rule of the other curves of the scene), and
// the GLU tessellator fills the contours by the font's own winding rule,
// so that the holes of "o", "B" or "8" stay open. A glyph is made once per
// font and style and kept for the life of the process.
#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "scene/FontResolver.h"

namespace KZV::detail {

struct GlyphShell {
  std::vector<std::array<float, 2>> points;   // em units, baseline at y = 0
  std::vector<std::array<int, 3>> triangles;  // clockwise seen from +z
  float advance = 0;                          // em units
  uint32_t index = 0;                         // the glyph's number in its font
};

// One face of a font file with the glyphs made from it so far.
class GlyphFont {
 public:
  // Throws InvalidOperationException when the file can't be read as a
  // scalable font.
  explicit GlyphFont(FontFile const& file);
  ~GlyphFont();
  GlyphFont(GlyphFont const&) = delete;
  GlyphFont& operator=(GlyphFont const&) = delete;

  // The glyph of a code point; the font's missing-glyph box for one that it
  // lacks.
  GlyphShell const& Glyph(char32_t code);
  // The change of advance between two glyphs that follow each other.
  float Kerning(uint32_t left, uint32_t right) const;
  // The distance from one baseline to the next.
  float LineSpacing() const;

 private:
  struct Face;
  GlyphShell MakeGlyph(uint32_t index) const;

  std::unique_ptr<Face> face_;
  FontFile file_;
  std::unordered_map<uint32_t, GlyphShell> by_index_;
  std::unordered_map<char32_t, GlyphShell const*> by_code_;
};

// The font of a name and style, resolved and loaded once per process.
// Fonts and their glyphs are shared: callers hold FontMutex() for as long
// as they use them.
std::mutex& FontMutex();
GlyphFont& FindFont(std::string const& name, uint32_t style);

}  // namespace KZV::detail
