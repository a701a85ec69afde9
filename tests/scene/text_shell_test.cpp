#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <mutex>

#include "SceneFixture.h"
#include "scene/GlyphOutlines.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"
#include "scene/TextShell.h"

using namespace KZV;
using detail::FindFont;
using detail::FontMutex;
using detail::GlyphShell;
using detail::ResolveFont;

namespace {

std::string FileName(std::string const& path) { return path.substr(path.rfind('/') + 1); }

// A glyph's outline as FreeType gives it, cut so finely that its polygon
// stands for the curves: the reference for the glyph's triangles.
struct Outline {
  double area = 0;       // em^2, holes subtracted
  double perimeter = 0;  // em
  double extent = 0;     // em, the larger side of the box
};

struct ReferenceTracer {
  std::vector<std::vector<std::array<double, 2>>> contours;
  static ReferenceTracer& Of(void* u) { return *static_cast<ReferenceTracer*>(u); }
  void Curve(std::vector<std::array<double, 2>> c) {
    for (int k = 1; k <= 1000; ++k) {
      auto p = c;
      for (size_t n = p.size() - 1; n > 0; --n)
        for (size_t i = 0; i < n; ++i)
          for (int d = 0; d < 2; ++d) p[i][d] += (p[i + 1][d] - p[i][d]) * (k / 1000.0);
      contours.back().push_back(p[0]);
    }
  }
  static std::array<double, 2> V(FT_Vector const* v) { return {double(v->x), double(v->y)}; }
};

Outline FreeTypeOutline(std::string const& path, char32_t code) {
  FT_Library library;
  FT_Face face;
  EXPECT_EQ(0, FT_Init_FreeType(&library));
  EXPECT_EQ(0, FT_New_Face(library, path.c_str(), 0, &face));
  EXPECT_EQ(0, FT_Load_Glyph(face, FT_Get_Char_Index(face, code), FT_LOAD_NO_SCALE));
  FT_Outline_Funcs const funcs{
      [](FT_Vector const* to, void* u) { return ReferenceTracer::Of(u).contours.push_back({ReferenceTracer::V(to)}), 0; },
      [](FT_Vector const* to, void* u) { return ReferenceTracer::Of(u).contours.back().push_back(ReferenceTracer::V(to)), 0; },
      [](FT_Vector const* c, FT_Vector const* to, void* u) {
        auto& t = ReferenceTracer::Of(u);
        return t.Curve({t.contours.back().back(), ReferenceTracer::V(c), ReferenceTracer::V(to)}), 0;
      },
      [](FT_Vector const* c1, FT_Vector const* c2, FT_Vector const* to, void* u) {
        auto& t = ReferenceTracer::Of(u);
        return t.Curve({t.contours.back().back(), ReferenceTracer::V(c1), ReferenceTracer::V(c2), ReferenceTracer::V(to)}), 0;
      },
      0, 0};
  ReferenceTracer tracer;
  EXPECT_EQ(0, FT_Outline_Decompose(&face->glyph->outline, &funcs, &tracer));
  double const em = face->units_per_EM;
  Outline out;
  double signed_area = 0, min_x = 1e9, max_x = -1e9, min_y = 1e9, max_y = -1e9;
  for (auto const& c : tracer.contours)
    for (size_t i = 0; i < c.size(); ++i) {
      auto const &a = c[i], &b = c[(i + 1) % c.size()];
      signed_area += (a[0] * b[1] - b[0] * a[1]) / 2;
      out.perimeter += std::hypot(b[0] - a[0], b[1] - a[1]) / em;
      min_x = std::min(min_x, a[0]), max_x = std::max(max_x, a[0]);
      min_y = std::min(min_y, a[1]), max_y = std::max(max_y, a[1]);
    }
  out.area = std::fabs(signed_area) / (em * em);
  out.extent = std::max(max_x - min_x, max_y - min_y) / em;
  FT_Done_Face(face);
  FT_Done_FreeType(library);
  return out;
}

double TwiceSignedArea(GlyphShell const& g, std::array<int, 3> const& t) {
  auto const &a = g.points[t[0]], &b = g.points[t[1]], &c = g.points[t[2]];
  return double(b[0] - a[0]) * (c[1] - a[1]) - double(c[0] - a[0]) * (b[1] - a[1]);
}

bool Covers(GlyphShell const& g, float x, float y) {
  for (auto const& t : g.triangles) {
    int sides = 0;
    for (int k = 0; k < 3; ++k) {
      auto const &a = g.points[t[k]], &b = g.points[t[(k + 1) % 3]];
      sides += (b[0] - a[0]) * (y - a[1]) - (x - a[0]) * (b[1] - a[1]) < 0;
    }
    if (sides == 3) return true;  // inside a clockwise triangle
  }
  return false;
}

GlyphShell const& SansGlyph(char32_t code, uint32_t style = 0) {
  std::lock_guard const lock(FontMutex());
  return FindFont("DejaVu Sans", style).Glyph(code);
}

detail::Faces Layout(char const* text, char const* font = "DejaVu Sans") {
  TextKit kit;
  kit.SetText(text).SetFont(font);
  return detail::TextFaces(kit);
}

std::pair<float, float> XRange(detail::Faces const& faces) {
  float lo = 1e9f, hi = -1e9f;
  for (auto const& p : faces.points) lo = std::min(lo, p.x), hi = std::max(hi, p.x);
  return {lo, hi};
}

}  // namespace

TEST(FontResolver, NamesResolveAsOnTheDesktopAndUnknownOnesFallBackToDejaVuSans) {
  struct Case {
    char const* name;
    uint32_t style;
    char const* file;
  };
  for (Case const& c : std::initializer_list<Case>{{"DejaVu Sans", 0, "DejaVuSans.ttf"},
                                                   {"dejavu sans", 0, "DejaVuSans.ttf"},
                                                   {"DejaVu Sans", 1, "DejaVuSans-Bold.ttf"},
                                                   {"DejaVu Serif", 1, "DejaVuSerif-Bold.ttf"},
                                                   {"DejaVu Sans Mono", 0, "DejaVuSansMono.ttf"},
                                                   {"monospace", 0, "DejaVuSansMono.ttf"},
                                                   {"serif", 0, "DejaVuSerif.ttf"},
                                                   {"stroked", 0, "DejaVuSans.ttf"},
                                                   {"stroked", 1, "DejaVuSans-Bold.ttf"},
                                                   {"", 0, "DejaVuSans.ttf"},
                                                   {"No Such Family 4711", 0, "DejaVuSans.ttf"}}) {
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

TEST(GlyphOutlines, TrianglesCoverTheOutlineWithinTheChordDeviationHolesIncluded) {
  std::string const path = ResolveFont("DejaVu Sans", 0).path;
  for (char32_t code : {U'o', U'B', U'8', U'I', U'S', U'@', U'Ж', U'λ', U'Ω', U'é'}) {
    SCOPED_TRACE(uint32_t(code));
    GlyphShell const& glyph = SansGlyph(code);
    Outline const outline = FreeTypeOutline(path, code);
    double area = 0;
    for (auto const& t : glyph.triangles) {
      double const twice = TwiceSignedArea(glyph, t);
      EXPECT_LT(twice, 0) << "clockwise seen from +z";
      area -= twice / 2;
    }
    EXPECT_NEAR(outline.area, area, outline.perimeter * outline.extent / 200);
    EXPECT_GT(area, 0.01);
  }
}

TEST(GlyphOutlines, HolesStayOpen) {
  // The middle of "o" and the middles of the bowls of "8" and "B".
  struct Case {
    char32_t code;
    float x, y;  // em units
  };
  for (Case const& c : {Case{U'o', 0.31f, 0.27f}, Case{U'8', 0.32f, 0.2f}, Case{U'8', 0.32f, 0.55f},
                        Case{U'B', 0.33f, 0.18f}, Case{U'B', 0.33f, 0.55f}}) {
    GlyphShell const& glyph = SansGlyph(c.code);
    EXPECT_FALSE(Covers(glyph, c.x, c.y)) << char(c.code) << " at " << c.x << ", " << c.y;
  }
  EXPECT_TRUE(Covers(SansGlyph(U'I'), 0.15f, 0.3f));
}

TEST(GlyphOutlines, GlyphsAreMadeOncePerFontStyleAndCharacter) {
  GlyphShell const* a = &SansGlyph(U'a');
  EXPECT_EQ(a, &SansGlyph(U'a'));
  EXPECT_NE(a, &SansGlyph(U'a', detail::kFontBold));
  EXPECT_GT(SansGlyph(U'a', detail::kFontBold).advance, a->advance * 0.99f);
  // Code points that the font lacks share its missing-glyph box.
  GlyphShell const& missing = SansGlyph(char32_t(0xE000));
  EXPECT_EQ(0u, missing.index);
  EXPECT_FALSE(missing.triangles.empty()) << "the missing-glyph box is drawn";
  EXPECT_EQ(&missing, &SansGlyph(char32_t(0xE001)));
  for (char32_t code : {U'Ж', U'λ', U'ß'}) EXPECT_NE(0u, SansGlyph(code).index);
}

TEST(TextShell, LaysOutGlyphsAlongTheBaselineWithKerning) {
  GlyphShell const &a = SansGlyph(U'A'), &v = SansGlyph(U'V');
  float kerning;
  {
    std::lock_guard const lock(FontMutex());
    kerning = FindFont("DejaVu Sans", 0).Kerning(a.index, v.index);
  }
  EXPECT_LT(kerning, 0) << "A and V move together";
  auto const av = XRange(Layout("AV"));
  auto const v_alone = XRange(Layout("V"));
  EXPECT_NEAR(av.second, a.advance + kerning + v_alone.second, 1e-5);

  // Blanks take room but give no faces.
  EXPECT_TRUE(Layout("   ").face_list.empty());
  EXPECT_NEAR(XRange(Layout(" I")).first, SansGlyph(U' ').advance + XRange(Layout("I")).first, 1e-5);

  // A new line starts at x 0, lower by the line spacing.
  detail::Faces const two = Layout("I\nI");
  float lowest = 0;
  for (auto const& p : two.points) lowest = std::min(lowest, p.y);
  EXPECT_LT(lowest, -1.0f);
  EXPECT_NEAR(XRange(two).second, XRange(Layout("I")).second, 1e-6);
}

TEST(TextShell, SizeAndPositionOfTheKitPlaceTheGlyphs) {
  TextKit kit;
  kit.SetText("H").SetFont("DejaVu Sans").SetSize(2, Text::SizeUnits::ObjectSpace).SetPosition({10, 20, 3});
  detail::Faces const big = detail::TextFaces(kit);
  detail::Faces const unit = Layout("H");
  ASSERT_EQ(unit.points.size(), big.points.size());
  for (size_t i = 0; i < unit.points.size(); ++i) {
    EXPECT_NEAR(big.points[i].x, 10 + 2 * unit.points[i].x, 1e-4);
    EXPECT_NEAR(big.points[i].y, 20 + 2 * unit.points[i].y, 1e-4);
    EXPECT_EQ(3, big.points[i].z);
  }
}

TEST(TextShell, DecodesUtf8AndReplacesMalformedSequences) {
  EXPECT_EQ(U"aЖλ€😀", detail::DecodeUTF8("a\xD0\x96\xCE\xBB\xE2\x82\xAC\xF0\x9F\x98\x80"));
  EXPECT_EQ(U"\uFFFDx", detail::DecodeUTF8("\xC0\xAFx")) << "overlong";
  EXPECT_EQ(U"\uFFFD", detail::DecodeUTF8("\xED\xA0\x80").substr(0, 1)) << "surrogate";
  EXPECT_EQ(U"a\uFFFD", detail::DecodeUTF8("a\xE2\x82")) << "cut short";
  EXPECT_EQ(U"\uFFFD\uFFFD", detail::DecodeUTF8("\xFF\x80"));
}

using TextShellKeyTest = SceneTest;

TEST_F(TextShellKeyTest, ShellFromTextHoldsTheGlyphTriangles) {
  TextKit kit;
  kit.SetText("Qx 8").SetFont("serif").SetBold(true);
  ShellKey shell = root.InsertShellFromGeometry(root.InsertText(kit));
  IntArray strips;
  ASSERT_TRUE(shell.ShowTristrips(strips));
  EXPECT_GT(strips.size(), 100u);
  kit.SetText(" \t ");
  ShellKey blank = root.InsertShellFromGeometry(root.InsertText(kit));
  EXPECT_EQ(0u, blank.GetFaceCount());
  EXPECT_TRUE(blank.ShowTristrips(strips));
  EXPECT_TRUE(strips.empty());
}
