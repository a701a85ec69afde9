// Fonts found by name, glyphs made into triangles, and text decoded.
#include <ft2build.h>
#include FT_FREETYPE_H
#include <gtest/gtest.h>

#include <mutex>

#include "scene/GlyphOutlines.h"
#include "scene/TextShell.h"

using namespace KZV;
using detail::FindFont;
using detail::FontMutex;
using detail::GlyphShell;
using detail::ResolveFont;

namespace {

std::string FileName(std::string const& path) { return path.substr(path.rfind('/') + 1); }

// A glyph's area in em^2 as FreeType's anti-aliased rasterizer covers it
// at 1024 pixels to the em: the reference for the glyph's triangles.
double RasterArea(std::string const& path, char32_t code) {
  FT_Library library;
  FT_Face face;
  EXPECT_EQ(0, FT_Init_FreeType(&library));
  EXPECT_EQ(0, FT_New_Face(library, path.c_str(), 0, &face));
  EXPECT_EQ(0, FT_Set_Pixel_Sizes(face, 1024, 1024));
  EXPECT_EQ(0, FT_Load_Char(face, code, FT_LOAD_RENDER | FT_LOAD_NO_HINTING));
  FT_Bitmap const& bitmap = face->glyph->bitmap;
  double covered = 0;
  for (unsigned row = 0; row < bitmap.rows; ++row)
    for (unsigned column = 0; column < bitmap.width; ++column) covered += bitmap.buffer[row * bitmap.pitch + column];
  FT_Done_Face(face);
  FT_Done_FreeType(library);
  return covered / 255 / (1024.0 * 1024.0);
}

double TwiceSignedArea(GlyphShell const& g, std::array<int, 3> const& t) {
  auto const &a = g.points[t[0]], &b = g.points[t[1]], &c = g.points[t[2]];
  return double(b[0] - a[0]) * (c[1] - a[1]) - double(c[0] - a[0]) * (b[1] - a[1]);
}

GlyphShell const& SansGlyph(char32_t code, uint32_t style = 0) {
  std::lock_guard const lock(FontMutex());
  return FindFont("DejaVu Sans", style).Glyph(code);
}

}  // namespace

TEST(FontResolver, NamesResolveAsOnTheDesktopAndUnknownOnesFallBackToDejaVuSans) {
  struct Case {
    char const* name;
    uint32_t style;
    char const* file;
  };
  Case const cases[] = {
      {"DejaVu Sans", 0, "DejaVuSans.ttf"},          {"dejavu sans", 0, "DejaVuSans.ttf"},
      {"DejaVu Sans", 1, "DejaVuSans-Bold.ttf"},     {"DejaVu Serif", 1, "DejaVuSerif-Bold.ttf"},
      {"DejaVu Sans Mono", 0, "DejaVuSansMono.ttf"}, {"monospace", 0, "DejaVuSansMono.ttf"},
      {"serif", 0, "DejaVuSerif.ttf"},               {"stroked", 0, "DejaVuSans.ttf"},
      {"stroked", 1, "DejaVuSans-Bold.ttf"},         {"", 0, "DejaVuSans.ttf"},
      {"No Such Family 4711", 0, "DejaVuSans.ttf"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.file, FileName(ResolveFont(c.name, c.style).path));
  }
}

TEST(FontResolver, ItalicPicksTheItalicFaceOrSlantsTheUprightOne) {
  auto const italic = ResolveFont("DejaVu Sans", detail::kFontItalic);
  auto const path = FileName(italic.path);
  if (path == "DejaVuSans.ttf") {
    EXPECT_TRUE(italic.slant) << "without an oblique face the upright one is sheared";
  } else {
    EXPECT_EQ("DejaVuSans-Oblique.ttf", path);
    EXPECT_FALSE(italic.slant);
  }
  EXPECT_FALSE(ResolveFont("DejaVu Sans", detail::kFontBold).embolden) << "the family has a bold face";
}

TEST(GlyphOutlines, TrianglesCoverTheGlyphAsFreeTypeRastersItHolesIncluded) {
  std::string const path = ResolveFont("DejaVu Sans", 0).path;
  for (char32_t code : {U'o', U'B', U'8', U'I', U'S', U'@', U'Ж', U'λ', U'Ω', U'é'}) {
    SCOPED_TRACE(uint32_t(code));
    GlyphShell const& glyph = SansGlyph(code);
    double area = 0;
    for (auto const& t : glyph.triangles) {
      double const twice = TwiceSignedArea(glyph, t);
      EXPECT_LT(twice, 0) << "clockwise seen from +z";
      area -= twice / 2;
    }
    EXPECT_GT(area, 0.01);
    EXPECT_NEAR(RasterArea(path, code), area, area * 0.01);
  }
}

TEST(TextShell, DecodesUtf8AndReplacesMalformedSequences) {
  EXPECT_EQ(U"aЖλ€😀", detail::DecodeUTF8("a\xD0\x96\xCE\xBB\xE2\x82\xAC\xF0\x9F\x98\x80"));
  EXPECT_EQ(U"\uFFFDx", detail::DecodeUTF8("\xC0\xAFx")) << "overlong";
  EXPECT_EQ(U"\uFFFD", detail::DecodeUTF8("\xED\xA0\x80").substr(0, 1)) << "surrogate";
  EXPECT_EQ(U"a\uFFFD", detail::DecodeUTF8("a\xE2\x82")) << "cut short";
  EXPECT_EQ(U"\uFFFD\uFFFD", detail::DecodeUTF8("\xFF\x80"));
}
