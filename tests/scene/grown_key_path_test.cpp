// A grown key path answers every net query as the key path of the same keys
// does, though it works each segment and prefix out once and keeps it.
// Random scenes, walked and grown by hand, compare the two at every step.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "SceneFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/Definitions.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/SceneWalker.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/TextAttributeKit.h"
#include "scene/TextureOptionsKit.h"
#include "scene/VisibilityKit.h"

using namespace KZV;
using KZVI::Helpers::GrownKeyPath;
using KZVI::Helpers::SceneWalker;

namespace {

// Floats print exactly, so that equal text means equal bits.
void Add(std::string& out, float v) {
  char text[32];
  std::snprintf(text, sizeof text, " %a", double(v));
  out += text;
}

void Add(std::string& out, MatrixKit const& m) {
  FloatArray e;
  m.ShowElements(e);
  out += m.Empty() ? " empty" : "";
  for (float v : e) Add(out, v);
}

void AddSetting(std::string& out, bool shown, Material::Type type, RGBAColor const& c, float value) {
  out += shown ? " " + std::to_string(int(type)) : " -";
  if (shown)
    for (float v : {c.red, c.green, c.blue, c.alpha, value}) Add(out, v);
}

// Everything the net queries of a path tell, as text.
template <typename Path>
std::string NetText(Path const& path) {
  std::string out;
  VisibilityKit visibility;
  bool on = false;
  out += "visibility";
  if (path.ShowNetVisibility(visibility))
    for (bool shown : {visibility.ShowFaces(on), visibility.ShowLines(on), visibility.ShowMarkerLights(on)})
      out += shown ? (on ? " on" : " off") : " -";
  DrawingAttributeKit drawing;
  Drawing::Handedness handedness{};
  out += "\ndrawing ";
  out += path.ShowNetDrawingAttribute(drawing) && drawing.ShowPolygonHandedness(handedness)
             ? std::to_string(int(handedness))
             : "-";
  TextAttributeKit text;
  float size = 0;
  Text::SizeUnits units{};
  UTF8 font;
  Vector direction;
  out += "\ntext";
  if (path.ShowNetTextAttribute(text)) {
    if (text.ShowSize(size, units)) Add(out, size);
    if (text.ShowFont(font)) out += " " + font.str();
    if (text.ShowPath(direction))
      for (float v : {direction.x, direction.y, direction.z}) Add(out, v);
  }
  MaterialMappingKit mapping;
  Material::Type type{};
  RGBAColor color;
  UTF8 name;
  float value = 0;
  out += "\nmapping";
  if (path.ShowNetMaterialMapping(mapping)) {
    AddSetting(out, mapping.ShowFaceChannel(Material::Channel::DiffuseColor, type, color, name, value), type, color,
               value);
    AddSetting(out, mapping.ShowLineColor(type, color, value), type, color, value);
  }
  UTF8 palette;
  out += "\npalette " + (path.ShowNetMaterialPalette(palette) ? palette.str() : std::string("-"));
  MatrixKit matrix;
  out += "\nmatrix";
  if (path.ShowNetModellingMatrix(matrix)) Add(out, matrix);
  UTF8Array conditions;
  out += "\nconditions";
  if (path.ShowNetConditions(conditions))
    for (auto const& c : conditions) out += " " + c.str();
  std::vector<PointArrayArray> regions;
  std::vector<Drawing::ClipSpace> spaces;
  std::vector<Drawing::ClipOperation> operations;
  std::vector<MatrixKit> matrices;
  out += "\nclip " + std::to_string(path.ShowNetClipRegions(regions, spaces, operations, matrices));
  for (size_t i = 0; i < regions.size(); ++i) {
    Add(out, regions[i].at(0).at(0).x);
    out += " " + std::to_string(int(spaces.at(i))) + " " + std::to_string(int(operations.at(i)));
    Add(out, matrices.at(i));
  }
  MaterialPaletteDefinition palette_definition;
  TextureDefinition texture;
  for (char const* name : {"p1", "p2"})
    if (path.ShowEffectiveMaterialPaletteDefinition(name, palette_definition))
      out += "\n" + std::string(name) + " " + std::to_string(palette_definition.GetInstanceID());
  if (path.ShowEffectiveTextureDefinition("t1", texture)) out += "\nt1 " + std::to_string(texture.GetInstanceID());
  return out;
}

// A scene of random segments, each with a random share of the settings
// that segments pass on, and random includes of a library's segments.
class RandomScene {
 public:
  RandomScene(SegmentKey const& root, SegmentKey const& library, uint32_t seed) : random_(seed) {
    segments_.push_back(root);
    library_.push_back(library);
    for (int i = 0; i < 12; ++i) library_.push_back(Decorate(Pick(library_).Subsegment()));
    for (int i = 0; i < 30; ++i) segments_.push_back(Decorate(Pick(segments_).Subsegment()));
    // Library segments include only later ones, so that no include loops.
    for (size_t i = 1; i + 1 < library_.size(); ++i)
      if (Chance(3)) Include(library_[i], library_[i + 1 + Below(library_.size() - i - 1)]);
    for (int i = 0; i < 15; ++i) Include(Pick(segments_), Pick(library_));
  }

  std::vector<SegmentKey> const& Segments() const { return segments_; }
  std::vector<SegmentKey> const& Library() const { return library_; }
  size_t Below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random_); }
  bool Chance(int one_in) { return Below(size_t(one_in)) == 0; }
  SegmentKey const& Pick(std::vector<SegmentKey> const& from) { return from[Below(from.size())]; }

 private:
  float Value() { return float(int(Below(200)) - 100) * 0.173f; }

  void Include(SegmentKey const& by, SegmentKey const& target) {
    static char const* const kConditions[] = {"a", "b", "a | b", "!a"};
    if (Chance(3)) by.IncludeSegment(target, ConditionalExpression(kConditions[Below(4)]));
    else by.IncludeSegment(target);
  }

  SegmentKey Decorate(SegmentKey const& s) {
    if (Chance(3)) {
      VisibilityKit kit;
      if (Chance(2)) kit.SetFaces(Chance(2));
      if (Chance(2)) kit.SetLines(Chance(2));
      if (Chance(3)) kit.SetMarkerLights(Chance(2));
      s.SetVisibility(kit);
    }
    if (Chance(6)) s.SetAttributeLock(AttributeLockKit().SetLock(AttributeLock::Type::Visibility, Chance(4) == false));
    if (Chance(4)) s.SetDrawingAttribute(DrawingAttributeKit().SetPolygonHandedness(Drawing::Handedness(Below(3))));
    if (Chance(4)) {
      TextAttributeKit kit;
      if (Chance(2)) kit.SetSize(Value(), Text::SizeUnits::WorldSpace);
      if (Chance(2)) kit.SetFont(Chance(2) ? "serif" : "mono");
      if (Chance(3)) kit.SetPath({Value(), 1, 0});
      s.SetTextAttribute(kit);
    }
    if (Chance(3)) {
      MaterialMappingKit kit;
      if (Chance(2)) kit.SetFaceColor({Value(), 0.5f, 0.25f, 1});
      if (Chance(2)) kit.SetLineColor(MaterialSetting::Index(float(Below(8))));
      s.SetMaterialMapping(kit);
    }
    if (Chance(5)) s.SetMaterialPalette(Chance(2) ? "p1" : "p2");
    if (Chance(5)) s.DefineMaterialPalette(Chance(2) ? "p1" : "p2", {MaterialKit()});
    if (Chance(6)) s.DefineTexture("t1", "image", TextureOptionsKit());
    if (Chance(2)) {
      MatrixKit kit;
      switch (Below(3)) {
        case 0: kit.Translate(Value(), Value(), Value()); break;
        case 1: kit.Rotate(Value(), Value(), Value()); break;
        default: kit.Scale(Value(), 1.5f, Value()); break;
      }
      s.SetModellingMatrix(kit);
    }
    if (Chance(4)) s.SetConditions(Chance(2) ? UTF8Array{UTF8("a")} : UTF8Array{UTF8("b"), UTF8("a")});
    if (Chance(6))
      s.SetClipRegion({{{Value(), 0, 0}, {1, 0, 0}, {0, 1, 0}}},
                      Chance(2) ? Drawing::ClipSpace::World : Drawing::ClipSpace::Window,
                      Drawing::ClipOperation::Keep);
    return s;
  }

  std::mt19937 random_;
  std::vector<SegmentKey> segments_, library_;
};

class GrownKeyPathTest : public SceneTest {
 protected:
  void TearDown() override {
    library.Delete();
    SceneTest::TearDown();
  }

  // Compares the two at every call of a walk from `start`; the counting
  // goes by the number of comparisons.
  size_t CompareAlongWalk(KeyPath const& start) {
    size_t compared = 0;
    auto compare = [&](GrownKeyPath const& path) {
      EXPECT_EQ(NetText(path.KeyPath()), NetText(path));
      ++compared;
      return true;
    };
    auto follow = [&](GrownKeyPath const& path) {
      compare(path);
      ConditionalExpression condition;
      UTF8Array conditions;
      path.ShowNetConditions(conditions);
      return !IncludeKey(path.Peek()).ShowConditionalExpression(condition) || condition.IsSatisfiedBy(conditions);
    };
    SceneWalker(follow, compare, [&](GrownKeyPath const& path) { compare(path); }).Walk(start);
    return compared;
  }

  SegmentKey library = Database::CreateRootSegment("library");
};

TEST_F(GrownKeyPathTest, WalksOfRandomScenesAnswerAsTheirKeyPaths) {
  for (uint32_t seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    RandomScene scene(root, library, seed);
    EXPECT_GT(CompareAlongWalk(KeyPath({root})), 60u);
    // A start path that leaves out owners between its keys, and one that
    // starts inside the library.
    SegmentKey const& inner = scene.Segments()[scene.Below(scene.Segments().size())];
    CompareAlongWalk(KeyPath({inner, root}));
    CompareAlongWalk(KeyPath({scene.Library().back(), library}));
    root.UnsetEverything();
    for (SegmentKey s : scene.Segments())
      if (s != root) s.Delete();
    for (SegmentKey s : scene.Library())
      if (s != library) s.Delete();
  }
}

// Keys pushed and popped at random, not as a walk pushes them: segments far
// below the leaf, segments elsewhere, includes, geometry and deleted keys.
TEST_F(GrownKeyPathTest, RandomPushesAndPopsAnswerAsTheirKeyPaths) {
  RandomScene scene(root, library, 99);
  std::vector<Key> keys(scene.Segments().begin(), scene.Segments().end());
  keys.insert(keys.end(), scene.Library().begin(), scene.Library().end());
  for (auto const& s : scene.Segments()) {
    IncludeKeyArray includes;
    s.ShowIncludes(includes);
    keys.insert(keys.end(), includes.begin(), includes.end());
  }
  keys.push_back(scene.Segments().back().InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2}));
  SegmentKey gone = root.Subsegment();
  gone.SetModellingMatrix(MatrixKit().Translate(1, 2, 3));
  keys.push_back(gone);
  gone.Delete();

  GrownKeyPath path(KeyPath({scene.Segments()[1], root}));
  for (int step = 0; step < 400; ++step) {
    if (path.KeyPath().Keys().size() > 2 && scene.Chance(3)) path.Pop();
    else path.Push(keys[scene.Below(keys.size())]);
    ASSERT_EQ(NetText(path.KeyPath()), NetText(path)) << "step " << step;
  }
}

}  // namespace
