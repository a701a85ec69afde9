#include "scene/KitSetting.h"
#include "scene/TextAttributeKit.h"
#include "scene/TextKit.h"

namespace KZV {

using detail::MergeSetting;
using detail::ShowSetting;

bool TextAttributeKit::Empty() const {
  return !alignment_ && !bold_ && !italic_ && !size_ && !font_ && !transform_ && !path_;
}

TextAttributeKit& TextAttributeKit::SetAlignment(Text::Alignment alignment, Text::ReferenceFrame frame,
                                                 Text::Justification justification) {
  alignment_ = AlignmentSetting{alignment, frame, justification};
  return *this;
}

TextAttributeKit& TextAttributeKit::SetSize(float size, Text::SizeUnits units) {
  size_ = SizeSetting{size, units};
  return *this;
}

bool TextAttributeKit::ShowAlignment(Text::Alignment& alignment, Text::ReferenceFrame& frame,
                                     Text::Justification& justification) const {
  if (!alignment_) return false;
  alignment = alignment_->alignment;
  frame = alignment_->frame;
  justification = alignment_->justification;
  return true;
}

bool TextAttributeKit::ShowBold(bool& out) const { return ShowSetting(bold_, out); }
bool TextAttributeKit::ShowItalic(bool& out) const { return ShowSetting(italic_, out); }

bool TextAttributeKit::ShowSize(float& size, Text::SizeUnits& units) const {
  if (!size_) return false;
  size = size_->size;
  units = size_->units;
  return true;
}

bool TextAttributeKit::ShowFont(UTF8& out) const { return ShowSetting(font_, out); }
bool TextAttributeKit::ShowTransform(Text::Transform& out) const { return ShowSetting(transform_, out); }
bool TextAttributeKit::ShowPath(Vector& out) const { return ShowSetting(path_, out); }

TextAttributeKit& TextAttributeKit::Merge(TextAttributeKit const& other) {
  MergeSetting(alignment_, other.alignment_);
  MergeSetting(bold_, other.bold_);
  MergeSetting(italic_, other.italic_);
  MergeSetting(size_, other.size_);
  MergeSetting(font_, other.font_);
  MergeSetting(transform_, other.transform_);
  MergeSetting(path_, other.path_);
  return *this;
}

bool TextKit::Empty() const { return !text_ && !position_ && !matrix_ && !region_ && attributes_.Empty(); }

TextKit& TextKit::SetRegion(PointArray const& points, Text::RegionAlignment alignment,
                            Text::RegionFitting fitting, bool adjust_direction, bool relative_coordinates,
                            bool window_space) {
  region_ = Region{points, alignment, fitting, adjust_direction, relative_coordinates, window_space};
  return *this;
}

TextKit& TextKit::SetAlignment(Text::Alignment alignment, Text::ReferenceFrame frame,
                               Text::Justification justification) {
  attributes_.SetAlignment(alignment, frame, justification);
  return *this;
}

bool TextKit::ShowText(UTF8& out) const { return ShowSetting(text_, out); }
bool TextKit::ShowPosition(Point& out) const { return ShowSetting(position_, out); }
bool TextKit::ShowModellingMatrix(MatrixKit& out) const { return ShowSetting(matrix_, out); }

bool TextKit::ShowRegion(PointArray& points, Text::RegionAlignment& alignment, Text::RegionFitting& fitting,
                         bool& adjust_direction, bool& relative_coordinates, bool& window_space) const {
  if (!region_) return false;
  points = region_->points;
  alignment = region_->alignment;
  fitting = region_->fitting;
  adjust_direction = region_->adjust_direction;
  relative_coordinates = region_->relative_coordinates;
  window_space = region_->window_space;
  return true;
}

}  // namespace KZV
