#pragma once
// Text settings that segments pass on to the texts below them.
#include <optional>

#include "scene/Enums.h"
#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"
#include "scene/UTF8.h"

namespace KZV {

class TextAttributeKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override;

  TextAttributeKit& SetAlignment(Text::Alignment alignment,
                                 Text::ReferenceFrame frame = Text::ReferenceFrame::WorldAligned,
                                 Text::Justification justification = Text::Justification::Left);
  TextAttributeKit& SetBold(bool on) { bold_ = on; return *this; }
  TextAttributeKit& SetItalic(bool on) { italic_ = on; return *this; }
  TextAttributeKit& SetSize(float size, Text::SizeUnits units);
  TextAttributeKit& SetFont(char const* name) { font_ = UTF8(name); return *this; }
  TextAttributeKit& SetTransform(Text::Transform t) { transform_ = t; return *this; }
  TextAttributeKit& SetPath(Vector const& path) { path_ = path; return *this; }

  bool ShowAlignment(Text::Alignment& alignment, Text::ReferenceFrame& frame,
                     Text::Justification& justification) const;
  bool ShowBold(bool& out) const;
  bool ShowItalic(bool& out) const;
  bool ShowSize(float& size, Text::SizeUnits& units) const;
  bool ShowFont(UTF8& out) const;
  bool ShowTransform(Text::Transform& out) const;
  bool ShowPath(Vector& out) const;

  TextAttributeKit& Merge(TextAttributeKit const& other);

 private:
  struct AlignmentSetting {
    Text::Alignment alignment;
    Text::ReferenceFrame frame;
    Text::Justification justification;
  };
  struct SizeSetting {
    float size;
    Text::SizeUnits units;
  };
  std::optional<AlignmentSetting> alignment_;
  std::optional<bool> bold_, italic_;
  std::optional<SizeSetting> size_;
  std::optional<UTF8> font_;
  std::optional<Text::Transform> transform_;
  std::optional<Vector> path_;
};

}  // namespace KZV
