#include "scene/KeyPath.h"

#include <algorithm>

#include "scene/detail/Entities.h"
#include "scene/detail/PathSegments.h"

namespace KZV {

using detail::SegmentData;
using detail::SegmentList;
using detail::LocksVisibility;

namespace {

SegmentList Segments(KeyArray const& keys) {
  SegmentList out;
  detail::PathSegments(keys.data(), keys.size(), out);
  return out;
}

// Net modelling matrix of segments[first..]: each one's own first.
MatrixKit NetMatrix(SegmentList const& segments, size_t first) {
  MatrixKit net;
  for (size_t i = first; i < segments.size(); ++i)
    if (segments[i]->attributes.matrix) net.MultiplyAndAssign(*segments[i]->attributes.matrix);
  return net;
}

// Merges an inherited kit from the top down.
template <typename Kit>
bool NetKit(SegmentList const& segments, std::optional<Kit> detail::Attributes::*field, Kit& out) {
  Kit net;
  bool found = false;
  for (auto it = segments.rbegin(); it != segments.rend(); ++it)
    if (auto const& kit = (*it)->attributes.*field) {
      net.Merge(*kit);
      found = true;
    }
  if (found) out = net;
  return found;
}

template <typename Definition>
bool FindDefinition(SegmentList const& segments, std::map<std::string, Definition> SegmentData::*table,
                    char const* name, Definition& out) {
  if (!name) return false;
  for (auto const& segment : segments) {
    auto it = (segment.get()->*table).find(name);
    if (it != (segment.get()->*table).end()) {
      out = it->second;
      return true;
    }
  }
  return false;
}

}  // namespace

KeyPath& KeyPath::PushFront(Key const& key) {
  keys_.insert(keys_.begin(), key);
  return *this;
}

KeyPath& KeyPath::PopFront() {
  if (!keys_.empty()) keys_.erase(keys_.begin());
  return *this;
}

bool KeyPath::ShowKeys(KeyArray& out) const {
  out = keys_;
  return !keys_.empty();
}

bool KeyPath::ShowNetVisibility(VisibilityKit& out) const {
  SegmentList const segments = Segments(keys_);
  VisibilityKit net;
  bool found = false;
  for (auto it = segments.rbegin(); it != segments.rend(); ++it) {
    if (auto const& kit = (*it)->attributes.visibility) {
      net.Merge(*kit);
      found = true;
    }
    if (LocksVisibility(**it)) break;
  }
  if (found) out = net;
  return found;
}

bool KeyPath::ShowNetDrawingAttribute(DrawingAttributeKit& out) const {
  return NetKit(Segments(keys_), &detail::Attributes::drawing, out);
}

// Every text has a direction: the toolkit's default path runs along +x
// until a segment of the path sets another.
bool KeyPath::ShowNetTextAttribute(TextAttributeKit& out) const {
  TextAttributeKit net;
  net.SetPath({1, 0, 0});
  TextAttributeKit set;
  if (NetKit(Segments(keys_), &detail::Attributes::text, set)) net.Merge(set);
  out = net;
  return true;
}

bool KeyPath::ShowNetMaterialMapping(MaterialMappingKit& out) const {
  return NetKit(Segments(keys_), &detail::Attributes::mapping, out);
}

bool KeyPath::ShowNetMaterialPalette(UTF8& out) const {
  for (auto const& segment : Segments(keys_))
    if (segment->attributes.palette) {
      out = *segment->attributes.palette;
      return true;
    }
  return false;
}

bool KeyPath::ShowNetModellingMatrix(MatrixKit& out) const {
  MatrixKit const net = NetMatrix(Segments(keys_), 0);
  if (net.Empty()) return false;
  out = net;
  return true;
}

bool KeyPath::ShowNetConditions(UTF8Array& out) const {
  SegmentList const segments = Segments(keys_);
  UTF8Array names;
  for (auto it = segments.rbegin(); it != segments.rend(); ++it)
    if (auto const& conditions = (*it)->attributes.conditions)
      for (UTF8 const& name : *conditions)
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  if (names.empty()) return false;
  out = std::move(names);
  return true;
}

bool KeyPath::ShowNetClipRegions(std::vector<PointArrayArray>& regions, std::vector<Drawing::ClipSpace>& spaces,
                                 std::vector<Drawing::ClipOperation>& operations,
                                 std::vector<MatrixKit>& matrices) const {
  SegmentList const segments = Segments(keys_);
  regions.clear();
  spaces.clear();
  operations.clear();
  matrices.clear();
  for (size_t i = segments.size(); i-- > 0;)
    if (auto const& clip = segments[i]->attributes.clip) {
      regions.push_back(clip->loops);
      spaces.push_back(clip->space);
      operations.push_back(clip->operation);
      matrices.push_back(NetMatrix(segments, i));
    }
  return !regions.empty();
}

bool KeyPath::ShowEffectiveTextureDefinition(char const* name, TextureDefinition& out) const {
  return FindDefinition(Segments(keys_), &SegmentData::textures, name, out);
}

bool KeyPath::ShowEffectiveImageDefinition(char const* name, ImageDefinition& out) const {
  return FindDefinition(Segments(keys_), &SegmentData::images, name, out);
}

bool KeyPath::ShowEffectiveMaterialPaletteDefinition(char const* name, MaterialPaletteDefinition& out) const {
  return FindDefinition(Segments(keys_), &SegmentData::palettes, name, out);
}

}  // namespace KZV
