#include "scene/GlyphOutlines.h"

#include <GL/glu.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>

#include "export/value_types/Exceptions.h"

namespace KZV::detail {
namespace {

using Vertex = std::array<double, 2>;
using Contour = std::vector<Vertex>;

constexpr double kRelativeDeviation = 1.0 / 200;
constexpr int kMaxChords = 64;

// The slant of a face made italic by shearing, as tan of its angle.
constexpr double kSlant = 0.2;

// One FreeType library for the process; it lives as long as the process.
FT_Library Library() {
  static FT_Library library = [] {
    FT_Library made = nullptr;
    if (FT_Init_FreeType(&made) != 0) throw InvalidOperationException("The font engine could not be started.");
    return made;
  }();
  return library;
}

// Flattening of an outline into closed contours of points.
struct Flattener {
  std::vector<Contour> contours;

  static Flattener& Of(void* user) { return *static_cast<Flattener*>(user); }
  static Vertex At(FT_Vector const* v) { return {double(v->x), double(v->y)}; }
  Vertex const& Last() const { return contours.back().back(); }

  // Chords that keep a Bézier segment within 1/200 of its control polygon's
  // extent. `bend` bounds the second difference of the control points.
  template <size_t N>
  void AddCurve(std::array<Vertex, N> const& c, double bend_factor) {
    double min_x = c[0][0], max_x = min_x, min_y = c[0][1], max_y = min_y;
    for (auto const& p : c) {
      min_x = std::min(min_x, p[0]), max_x = std::max(max_x, p[0]);
      min_y = std::min(min_y, p[1]), max_y = std::max(max_y, p[1]);
    }
    double bend = 0;
    for (size_t i = 0; i + 2 < N; ++i)
      bend = std::max(bend, std::hypot(c[i][0] - 2 * c[i + 1][0] + c[i + 2][0], c[i][1] - 2 * c[i + 1][1] + c[i + 2][1]));
    double const deviation = std::max(max_x - min_x, max_y - min_y) * kRelativeDeviation;
    int chords = 1;
    if (deviation > 0) chords = std::clamp(int(std::ceil(std::sqrt(bend * bend_factor / deviation))), 1, kMaxChords);
    for (int k = 1; k <= chords; ++k) contours.back().push_back(Evaluate(c, double(k) / chords));
  }

  template <size_t N>
  static Vertex Evaluate(std::array<Vertex, N> c, double t) {  // de Casteljau
    for (size_t n = N - 1; n > 0; --n)
      for (size_t i = 0; i < n; ++i)
        for (int d = 0; d < 2; ++d) c[i][d] += (c[i + 1][d] - c[i][d]) * t;
    return c[0];
  }

  static int MoveTo(FT_Vector const* to, void* user) {
    Of(user).contours.push_back({At(to)});
    return 0;
  }
  static int LineTo(FT_Vector const* to, void* user) {
    Of(user).contours.back().push_back(At(to));
    return 0;
  }
  // A quadratic's chord error is |P0 - 2 P1 + P2| / (4 n^2).
  static int ConicTo(FT_Vector const* control, FT_Vector const* to, void* user) {
    Flattener& f = Of(user);
    f.AddCurve<3>({f.Last(), At(control), At(to)}, 0.25);
    return 0;
  }
  // A cubic's chord error is at most 3/4 of its largest second difference
  // over n^2.
  static int CubicTo(FT_Vector const* c1, FT_Vector const* c2, FT_Vector const* to, void* user) {
    Flattener& f = Of(user);
    f.AddCurve<4>({f.Last(), At(c1), At(c2), At(to)}, 0.75);
    return 0;
  }

  // Decomposition repeats a contour's first point at its end.
  void DropClosingPoints() {
    for (auto& contour : contours)
      while (contour.size() > 1 && contour.back() == contour.front()) contour.pop_back();
    std::erase_if(contours, [](Contour const& c) { return c.size() < 3; });
  }
};

// Triangulation of the flattened contours by the GLU tessellator.
struct Filler {
  std::vector<Vertex> points;
  std::vector<int> corners;       // every three make a triangle
  std::deque<int> made_indices;   // stable homes of points made at crossings
  bool failed = false;

  static Filler& Of(void* data) { return *static_cast<Filler*>(data); }
  static void GLAPIENTRY OnBegin(GLenum, void*) {}
  static void GLAPIENTRY OnEdgeFlag(GLboolean, void*) {}  // asks for plain triangles
  static void GLAPIENTRY OnVertex(void* vertex, void* data) {
    Of(data).corners.push_back(*static_cast<int const*>(vertex));
  }
  static void GLAPIENTRY OnCombine(GLdouble coords[3], void*[4], GLfloat[4], void** out, void* data) {
    Filler& f = Of(data);
    f.points.push_back({coords[0], coords[1]});
    f.made_indices.push_back(int(f.points.size()) - 1);
    *out = &f.made_indices.back();
  }
  static void GLAPIENTRY OnError(GLenum, void* data) { Of(data).failed = true; }
};

struct TessDeleter {
  void operator()(GLUtesselator* t) const { gluDeleteTess(t); }
};

void Fill(std::vector<Contour> const& contours, bool even_odd, GlyphShell& glyph, double scale) {
  std::unique_ptr<GLUtesselator, TessDeleter> tess(gluNewTess());
  if (!tess) throw InvalidOperationException("The polygon tessellator could not be created.");
  gluTessCallback(tess.get(), GLU_TESS_BEGIN_DATA, reinterpret_cast<_GLUfuncptr>(&Filler::OnBegin));
  gluTessCallback(tess.get(), GLU_TESS_VERTEX_DATA, reinterpret_cast<_GLUfuncptr>(&Filler::OnVertex));
  gluTessCallback(tess.get(), GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<_GLUfuncptr>(&Filler::OnEdgeFlag));
  gluTessCallback(tess.get(), GLU_TESS_COMBINE_DATA, reinterpret_cast<_GLUfuncptr>(&Filler::OnCombine));
  gluTessCallback(tess.get(), GLU_TESS_ERROR_DATA, reinterpret_cast<_GLUfuncptr>(&Filler::OnError));
  gluTessProperty(tess.get(), GLU_TESS_WINDING_RULE, even_odd ? GLU_TESS_WINDING_ODD : GLU_TESS_WINDING_NONZERO);
  gluTessNormal(tess.get(), 0, 0, 1);

  Filler filler;
  size_t total = 0;
  for (auto const& c : contours) total += c.size();
  std::vector<std::array<GLdouble, 3>> coords;
  std::vector<int> indices(total);
  coords.reserve(total);
  gluTessBeginPolygon(tess.get(), &filler);
  for (auto const& contour : contours) {
    gluTessBeginContour(tess.get());
    for (auto const& p : contour) {
      indices[coords.size()] = int(coords.size());
      coords.push_back({p[0], p[1], 0});
      filler.points.push_back(p);
      gluTessVertex(tess.get(), coords.back().data(), &indices[coords.size() - 1]);
    }
    gluTessEndContour(tess.get());
  }
  gluTessEndPolygon(tess.get());
  if (filler.failed) return;

  for (auto const& p : filler.points) glyph.points.push_back({float(p[0] * scale), float(p[1] * scale)});
  for (size_t i = 0; i + 2 < filler.corners.size(); i += 3) {
    std::array<int, 3> t{filler.corners[i], filler.corners[i + 1], filler.corners[i + 2]};
    auto const &a = filler.points[t[0]], &b = filler.points[t[1]], &c = filler.points[t[2]];
    double const twice_area = (b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]);
    if (twice_area == 0) continue;  // collinear corners cover nothing
    if (twice_area > 0) std::swap(t[1], t[2]);
    glyph.triangles.push_back(t);
  }
}

}  // namespace

struct GlyphFont::Face {
  FT_Face face = nullptr;
  double em = 1;  // outline units of one em
  ~Face() {
    if (face) FT_Done_Face(face);
  }
};

GlyphFont::GlyphFont(FontFile const& file) : face_(std::make_unique<Face>()), file_(file) {
  if (FT_New_Face(Library(), file.path.c_str(), file.index, &face_->face) != 0 || !FT_IS_SCALABLE(face_->face))
    throw InvalidOperationException("The font file " + file.path + " could not be read.");
  FT_Face const f = face_->face;
  // One pixel an em unit: outlines come in 1/64 of the font's own units.
  if (FT_Set_Char_Size(f, 0, FT_F26Dot6(f->units_per_EM) * 64, 72, 72) != 0)
    throw InvalidOperationException("The font file " + file.path + " could not be scaled.");
  face_->em = 64.0 * f->units_per_EM;
}

GlyphFont::~GlyphFont() = default;

GlyphShell GlyphFont::MakeGlyph(uint32_t index) const {
  FT_Face const f = face_->face;
  GlyphShell glyph;
  glyph.index = index;
  if (FT_Load_Glyph(f, index, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) != 0) return glyph;
  FT_GlyphSlot const slot = f->glyph;
  glyph.advance = float(slot->advance.x / face_->em);
  if (slot->format != FT_GLYPH_FORMAT_OUTLINE) return glyph;
  FT_Outline& outline = slot->outline;
  if (file_.embolden) {
    FT_Pos const strength = FT_Pos(face_->em / 24);
    FT_Outline_EmboldenXY(&outline, strength, 0);
    glyph.advance += float(strength / face_->em);
  }
  if (file_.slant) {
    FT_Matrix shear{0x10000, FT_Fixed(kSlant * 0x10000), 0, 0x10000};
    FT_Outline_Transform(&outline, &shear);
  }
  Flattener flattener;
  FT_Outline_Funcs const funcs{&Flattener::MoveTo, &Flattener::LineTo, &Flattener::ConicTo, &Flattener::CubicTo,
                               0, 0};
  if (FT_Outline_Decompose(&outline, &funcs, &flattener) != 0) return glyph;
  flattener.DropClosingPoints();
  if (!flattener.contours.empty())
    Fill(flattener.contours, (outline.flags & FT_OUTLINE_EVEN_ODD_FILL) != 0, glyph, 1.0 / face_->em);
  return glyph;
}

GlyphShell const& GlyphFont::Glyph(char32_t code) {
  if (auto found = by_code_.find(code); found != by_code_.end()) return *found->second;
  uint32_t const index = FT_Get_Char_Index(face_->face, FT_ULong(code));
  auto at = by_index_.find(index);
  if (at == by_index_.end()) at = by_index_.emplace(index, MakeGlyph(index)).first;
  by_code_.emplace(code, &at->second);
  return at->second;
}

float GlyphFont::Kerning(uint32_t left, uint32_t right) const {
  if (!FT_HAS_KERNING(face_->face)) return 0;
  FT_Vector delta{0, 0};
  if (FT_Get_Kerning(face_->face, left, right, FT_KERNING_UNSCALED, &delta) != 0) return 0;
  return float(delta.x / double(face_->face->units_per_EM));
}

float GlyphFont::LineSpacing() const { return float(face_->face->height / double(face_->face->units_per_EM)); }

std::mutex& FontMutex() {
  static std::mutex mutex;
  return mutex;
}

namespace {

GlyphFont& LoadFont(FontFile const& file) {
  static std::map<std::string, std::unique_ptr<GlyphFont>> by_file;
  std::string id = file.path;
  id += ':' + std::to_string(file.index) + (file.embolden ? " bold" : "") + (file.slant ? " slanted" : "");
  auto at = by_file.find(id);
  if (at == by_file.end()) at = by_file.emplace(id, std::make_unique<GlyphFont>(file)).first;
  return *at->second;
}

}  // namespace

GlyphFont& FindFont(std::string const& name, uint32_t style) {
  static std::map<std::pair<std::string, uint32_t>, GlyphFont*> by_name;
  auto const key = std::make_pair(name, style);
  if (auto found = by_name.find(key); found != by_name.end()) return *found->second;
  GlyphFont* font = nullptr;
  try {
    font = &LoadFont(ResolveFont(name, style));
  } catch (InvalidOperationException const&) {
    // A file that fontconfig lists but FreeType can't read.
    font = &LoadFont(FallbackFont(style));
  }
  by_name.emplace(key, font);
  return *font;
}

}  // namespace KZV::detail
