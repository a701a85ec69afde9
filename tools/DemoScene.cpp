#include "tools/DemoScene.h"

#include <cmath>
#include <numbers>

#include "scene/ConditionalExpression.h"
#include "scene/Database.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/ReferenceKey.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"
#include "scene/TextureOptionsKit.h"

namespace qx_tool {
namespace {

using KZV::Point;
using KZV::RGBAColor;
using KZV::SegmentKey;

void Paint(SegmentKey const& segment, RGBAColor const& color) {
  KZV::MaterialMappingKit mapping;
  mapping.SetFaceColor(color).SetLineColor(KZV::MaterialSetting::Color(color));
  segment.SetMaterialMapping(mapping);
}

SegmentKey Placed(SegmentKey const& owner, char const* name, float x, float y, float z) {
  SegmentKey const segment = owner.Subsegment(name);
  segment.SetModellingMatrix(KZV::MatrixKit().Translate(x, y, z));
  return segment;
}

// A unit cube whose six faces have six colors.
KZV::ShellKey AddColoredCube(SegmentKey const& owner) {
  KZV::PointArray const points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                               {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  KZV::IntArray const faces{4, 0, 3, 2, 1, 4, 4, 5, 6, 7, 4, 0, 1, 5, 4,
                            4, 2, 3, 7, 6, 4, 0, 4, 7, 3, 4, 1, 2, 6, 5};
  KZV::ShellKey cube = Placed(owner, "colored cube", 0, 0, 0).InsertShell(points, faces);
  cube.SetFaceRGBColorsByRange(0, {{0.9f, 0.2f, 0.2f}, {0.2f, 0.8f, 0.2f}, {0.2f, 0.3f, 0.9f},
                                   {0.9f, 0.8f, 0.1f}, {0.8f, 0.2f, 0.8f}, {0.1f, 0.8f, 0.8f}});
  return cube;
}

// A hexagonal fan whose colors blend from corner to corner.
void AddVertexColoredFan(SegmentKey const& owner) {
  KZV::PointArray points{{0, 0, 0}};
  KZV::RGBAColorArray colors{{1, 1, 1, 1}};
  KZV::IntArray faces;
  for (int i = 0; i < 6; ++i) {
    float const angle = static_cast<float>(i) * std::numbers::pi_v<float> / 3;
    points.push_back({std::cos(angle), std::sin(angle), 0});
    colors.push_back({i % 3 == 0 ? 1.0f : 0.1f, i % 3 == 1 ? 1.0f : 0.1f, i % 3 == 2 ? 1.0f : 0.1f, 1});
    faces.insert(faces.end(), {3, 0, i + 1, (i + 1) % 6 + 1});
  }
  KZV::ShellKey fan = Placed(owner, "vertex colored fan", 3, 0.5f, 0.5f).InsertShell(points, faces);
  fan.SetVertexRGBAColorsByRange(KZV::Shell::Component::Faces, 0, colors);
}

// A checkerboard with a color gradient, made pixel by pixel.
KZV::ImageKit CheckerImage() {
  constexpr uint32_t kSize = 64;
  KZV::ByteArray pixels;
  pixels.reserve(kSize * kSize * 3);
  for (uint32_t y = 0; y < kSize; ++y) {
    for (uint32_t x = 0; x < kSize; ++x) {
      bool const dark = ((x / 8) + (y / 8)) % 2 == 1;
      pixels.push_back(static_cast<uint8_t>(dark ? 40 : 4 * x));
      pixels.push_back(static_cast<uint8_t>(dark ? 40 : 4 * y));
      pixels.push_back(static_cast<uint8_t>(dark ? 90 : 220));
    }
  }
  KZV::ImageKit image;
  image.SetFormat(KZV::Image::Format::RGB).SetSize(kSize, kSize).SetData(pixels);
  return image;
}

void AddTexturedPlate(SegmentKey const& root, SegmentKey const& owner) {
  KZV::TextureOptionsKit options;
  options.SetParameterizationSource(KZV::Material::Texture::Parameterization::UV)
      .SetTiling(KZV::Material::Texture::Tiling::Repeat);
  root.DefineTexture("checker", root.DefineImage("checker image", CheckerImage()), options);

  SegmentKey const plate = Placed(owner, "textured plate", 5, 0, 0);
  KZV::MaterialMappingKit mapping;
  mapping.SetFaceChannel(KZV::Material::Channel::DiffuseTexture, KZV::MaterialSetting::TextureName("checker"));
  plate.SetMaterialMapping(mapping);
  KZV::ShellKey shell = plate.InsertShell({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}}, {4, 0, 1, 2, 3});
  shell.SetVertexParametersByRange(0, 4, {0, 0, 2, 0, 2, 2, 0, 2}, 2);
}

// A star as one polyline and a square of four separate strokes that meet
// end to end.
void AddDrawing(SegmentKey const& owner) {
  SegmentKey const drawing = Placed(owner, "drawing", 8, 0, 0);
  Paint(drawing, {0.1f, 0.1f, 0.1f, 1});
  KZV::PointArray star;
  for (int i = 0; i <= 10; ++i) {
    float const angle = static_cast<float>(i) * std::numbers::pi_v<float> / 5;
    float const radius = i % 2 == 0 ? 1.0f : 0.4f;
    star.push_back({1 + radius * std::sin(angle), 1 + radius * std::cos(angle), 0});
  }
  drawing.InsertLine(star);
  KZV::PointArray const corners{{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}};
  for (size_t i = 0; i < corners.size(); ++i) drawing.InsertLine({corners[i], corners[(i + 1) % corners.size()]});
}

void AddPrimitives(SegmentKey const& owner) {
  SegmentKey const spheres = Placed(owner, "spheres", 0, 4, 0);
  Paint(spheres, {0.95f, 0.6f, 0.1f, 1});
  for (int i = 0; i < 3; ++i)
    spheres.InsertSphere({static_cast<float>(i) * 1.5f, 0, 0.5f}, 0.3f + 0.15f * static_cast<float>(i), {0, 0, 1},
                         {1, 0, 0});
  SegmentKey const cylinders = Placed(owner, "cylinders", 5, 4, 0);
  Paint(cylinders, {0.3f, 0.5f, 0.9f, 1});
  cylinders.InsertCylinder({0, 0, 0}, {0, 0, 1.5f}, 0.4f, KZV::CylinderCaps::Both);
  cylinders.InsertCylinder({1.2f, 0, 0}, {1.2f, 0, 0.8f}, 0.3f, KZV::CylinderCaps::None);
}

// A wavy 4 by 4 patch.
void AddNurbsSurface(SegmentKey const& owner) {
  SegmentKey const segment = Placed(owner, "nurbs surface", 8, 4, 0);
  Paint(segment, {0.5f, 0.85f, 0.5f, 1});
  KZV::NURBSSurfaceShape shape;
  shape.u_count = shape.v_count = 4;
  for (int v = 0; v < 4; ++v)
    for (int u = 0; u < 4; ++u)
      shape.points.push_back({static_cast<float>(u) * 0.7f, static_cast<float>(v) * 0.7f, (u + v) % 2 ? 0.6f : 0.0f});
  segment.InsertNURBSSurface(shape);
}

// One bolt part placed eight times in a ring: one mesh, many instances.
void AddAssembly(SegmentKey const& owner, SegmentKey const& parts) {
  SegmentKey const bolt = parts.Subsegment("bolt");
  Paint(bolt, {0.7f, 0.7f, 0.75f, 1});
  bolt.InsertCylinder({0, 0, 0}, {0, 0, 0.8f}, 0.08f, KZV::CylinderCaps::Both);
  bolt.InsertCylinder({0, 0, 0.8f}, {0, 0, 0.95f}, 0.16f, KZV::CylinderCaps::Both);

  SegmentKey const assembly = Placed(owner, "assembly", 1, 8, 0);
  for (int i = 0; i < 8; ++i) {
    float const angle = static_cast<float>(i) * 45;
    SegmentKey const place = assembly.Subsegment(("bolt " + std::to_string(i + 1)).c_str());
    place.SetModellingMatrix(KZV::MatrixKit().Translate(1, 0, 0).Rotate(0, 0, angle));
    place.IncludeSegment(bolt);
  }
}

// A half-size copy of the cube by reference, a part shown only under a
// condition that the root sets, and a plate cut by a clip region.
void AddReferenceConditionAndClip(SegmentKey const& root, SegmentKey const& owner, SegmentKey const& parts,
                                  KZV::ShellKey const& cube) {
  KZV::ReferenceKey reference = Placed(owner, "cube reference", 5, 8, 0).ReferenceGeometry(cube);
  reference.SetModellingMatrix(KZV::MatrixKit().Scale(0.5f, 0.5f, 0.5f));

  SegmentKey const flag = parts.Subsegment("flag");
  Paint(flag, {0.9f, 0.1f, 0.3f, 1});
  flag.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 0, 1.5f}, {0, 0, 1.5f}}, {4, 0, 1, 2, 3});
  root.SetConditions({"show_flag"});
  Placed(owner, "conditional flag", 7, 8, 0).IncludeSegment(flag, KZV::ConditionalExpression("show_flag"));

  SegmentKey const clipped = Placed(owner, "clipped plate", 9, 8, 0);
  Paint(clipped, {0.6f, 0.4f, 0.2f, 1});
  clipped.SetClipRegion({{{0, 0, 0}, {1.5f, 0, 0}, {1.5f, 1.5f, 0}, {0, 1.5f, 0}}}, KZV::Drawing::ClipSpace::World,
                        KZV::Drawing::ClipOperation::Keep);
  clipped.InsertShell({{-0.5f, -0.5f, 0}, {2, -0.5f, 0}, {2, 2, 0}, {-0.5f, 2, 0}}, {4, 0, 1, 2, 3});
}

void PaintText(SegmentKey const& segment, RGBAColor const& color) {
  KZV::MaterialMappingKit mapping;
  mapping.SetTextColor(KZV::MaterialSetting::Color(color));
  segment.SetMaterialMapping(mapping);
}

// Three texts: a title on the ground in front of the parts, a caption
// stretched into a region along the textured plate, and a line of Greek
// and Cyrillic running up along the left side.
void AddTexts(SegmentKey const& owner) {
  SegmentKey const title = owner.Subsegment("title");
  title.SetModellingMatrix(KZV::MatrixKit().Translate(5.5f, -2.2f, 0));
  PaintText(title, {0.15f, 0.25f, 0.6f, 1});
  title.InsertText(KZV::TextKit()
                       .SetText("qx demo scene")
                       .SetFont("DejaVu Sans")
                       .SetBold(true)
                       .SetSize(0.9f, KZV::Text::SizeUnits::WorldSpace));

  SegmentKey const caption = owner.Subsegment("caption");
  PaintText(caption, {0.5f, 0.2f, 0.1f, 1});
  caption.InsertText(KZV::TextKit()
                         .SetText("textured plate")
                         .SetFont("serif")
                         .SetRegion({{5, -0.7f, 0}, {7, -0.7f, 0}, {5, 0, 0}}, KZV::Text::RegionAlignment::Bottom,
                                    KZV::Text::RegionFitting::Stretch, false, false, false));

  SegmentKey const side = owner.Subsegment("side note");
  PaintText(side, {0.1f, 0.45f, 0.2f, 1});
  side.SetTextAttribute(KZV::TextAttributeKit().SetPath({0, 1, 0}).SetItalic(true));
  side.InsertText(KZV::TextKit()
                      .SetText("Ωμέγα · Жизнь")
                      .SetPosition({-1.2f, 4, 0})
                      .SetAlignment(KZV::Text::Alignment::Center)
                      .SetSize(0.6f, KZV::Text::SizeUnits::WorldSpace));
}

}  // namespace

DemoScene BuildDemoScene() {
  DemoScene demo{KZV::Database::CreateRootSegment("demo"), KZV::Database::CreateRootSegment("demo parts")};
  SegmentKey const shapes = demo.root.Subsegment("shapes");
  KZV::ShellKey const cube = AddColoredCube(shapes);
  AddVertexColoredFan(shapes);
  AddTexturedPlate(demo.root, shapes);
  AddDrawing(shapes);
  AddPrimitives(shapes);
  AddNurbsSurface(shapes);
  AddAssembly(shapes, demo.parts);
  AddReferenceConditionAndClip(demo.root, shapes, demo.parts, cube);
  AddTexts(shapes);
  return demo;
}

}  // namespace qx_tool
