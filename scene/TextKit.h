#pragma once
// The settings of one text: its string and place, and text attributes of
// its own that override the inherited ones.
#include <optional>

#include "scene/MatrixKit.h"
#include "scene/TextAttributeKit.h"

namespace KZV {

class TextKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override;

  TextKit& SetText(char const* text) { text_ = UTF8(text); return *this; }
  TextKit& SetPosition(Point const& p) { position_ = p; return *this; }
  TextKit& SetModellingMatrix(MatrixKit const& m) { matrix_ = m; return *this; }
  TextKit& SetRegion(PointArray const& points, Text::RegionAlignment alignment,
                     Text::RegionFitting fitting, bool adjust_direction, bool relative_coordinates,
                     bool window_space);
  TextKit& SetAlignment(Text::Alignment alignment,
                        Text::ReferenceFrame frame = Text::ReferenceFrame::WorldAligned,
                        Text::Justification justification = Text::Justification::Left);
  TextKit& SetBold(bool on) { attributes_.SetBold(on); return *this; }
  TextKit& SetItalic(bool on) { attributes_.SetItalic(on); return *this; }
  TextKit& SetSize(float size, Text::SizeUnits units) { attributes_.SetSize(size, units); return *this; }
  TextKit& SetFont(char const* name) { attributes_.SetFont(name); return *this; }
  TextKit& SetTransform(Text::Transform t) { attributes_.SetTransform(t); return *this; }
  TextKit& SetPath(Vector const& path) { attributes_.SetPath(path); return *this; }

  bool ShowText(UTF8& out) const;
  bool ShowPosition(Point& out) const;
  bool ShowModellingMatrix(MatrixKit& out) const;
  bool ShowRegion(PointArray& points, Text::RegionAlignment& alignment, Text::RegionFitting& fitting,
                  bool& adjust_direction, bool& relative_coordinates, bool& window_space) const;
  bool ShowAlignment(Text::Alignment& alignment, Text::ReferenceFrame& frame,
                     Text::Justification& justification) const {
    return attributes_.ShowAlignment(alignment, frame, justification);
  }
  bool ShowBold(bool& out) const { return attributes_.ShowBold(out); }
  bool ShowItalic(bool& out) const { return attributes_.ShowItalic(out); }
  bool ShowSize(float& size, Text::SizeUnits& units) const { return attributes_.ShowSize(size, units); }
  bool ShowFont(UTF8& out) const { return attributes_.ShowFont(out); }
  bool ShowTransform(Text::Transform& out) const { return attributes_.ShowTransform(out); }
  bool ShowPath(Vector& out) const { return attributes_.ShowPath(out); }

 private:
  struct Region {
    PointArray points;
    Text::RegionAlignment alignment;
    Text::RegionFitting fitting;
    bool adjust_direction, relative_coordinates, window_space;
  };
  std::optional<UTF8> text_;
  std::optional<Point> position_;
  std::optional<MatrixKit> matrix_;
  std::optional<Region> region_;
  TextAttributeKit attributes_;
};

}  // namespace KZV
