#pragma once
// Text into a mesh: the triangles of its glyphs plus their outline, placed
// by alignment and path, or fitted into a region.
#include <array>
#include <cstdint>

#include "geometry/mesh/MeshData.h"
#include "scene/Enums.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKey.h"
#include "scene/UTF8.h"

namespace KZV {

class TextAttributeKit;
class TextKit;

// The fixed turn about z by -90 degrees that takes the direction of a
// two-point region to the direction of its third point.
MatrixKit const& QuarterTurn();

// Everything that places one text. `matrix` is its modelling matrix with
// the upper 3 by 3 block transposed and scaled by the size, as 12 values:
// three axes, then the translation. A region has 3 points or none.
struct TextSettings {
  Text::Alignment alignment = Text::Alignment::BottomCenter;
  Point position{0, 0, 0};
  Vector path{1, 0, 0};
  std::array<float, 12> matrix{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  UTF8 string;
  UTF8 font = "stroked";
  uint32_t style = 0;  // 1 bold, 2 italic
  PointArray region_points;
  Text::RegionFitting region_fitting = Text::RegionFitting::Left;
};

// The effective settings of a text: its own, else the inherited ones,
// else the defaults. False when the text can't stand in the model as a
// rigid object: another frame, transform or size units, no string, a
// region in window space, or neither region nor path.
bool ReadTextSettings(TextKit const& kit, TextAttributeKit const& attributes, TextSettings& out);

// Makes the text's glyph shell in `scratch` and fills `mesh` from it: flags
// 6, the placed points in `work_points`, one face element of triangles and
// one line element of the glyphs' outlines. New elements come from
// `element_pool` first. False when the text gives no faces. The scratch
// segment is emptied on every way out.
bool TextToMesh(TextSettings const& text, SegmentKey const& scratch, PointArray& work_points,
                QX::Store::MeshData& mesh, QX::Store::ElementWords& element_pool);

}  // namespace KZV
