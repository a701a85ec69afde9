#include "scene/NetAttributeStack.h"

#include <algorithm>
#include <optional>

#include "scene/KeyPath.h"
#include "scene/detail/Entities.h"

namespace KZVI::Helpers {

using namespace KZV;
using detail::Attributes;
using detail::SegmentData;

namespace {

constexpr int32_t kUnknown = -2;  // not worked out yet
constexpr int32_t kNowhere = -1;  // set by no segment of the prefix

// One net attribute at one entry. Where the entry's segment doesn't change
// the attribute, `from` names the entry above whose value holds here, so
// that a value is stored only where it changes.
template <typename Value>
struct Cell {
  int32_t from = kUnknown;
  Value value{};
};

struct Unit {};

}  // namespace

struct NetEntry {
  explicit NetEntry(std::shared_ptr<SegmentData> s) : segment(std::move(s)) {}
  std::shared_ptr<SegmentData> segment;
  Cell<VisibilityKit> visibility;
  bool visibility_locked = false;  // by this segment or one above
  Cell<DrawingAttributeKit> drawing;
  Cell<TextAttributeKit> text;
  Cell<MaterialMappingKit> mapping;
  Cell<Unit> palette;
  Cell<UTF8Array> conditions;  // names in force, top first, each once
  Cell<MatrixKit> matrix;      // this segment's coordinates to the top's
};

namespace {

using Entries = std::vector<NetEntry>;

template <typename Value>
int32_t Above(Entries const& entries, size_t i, Cell<Value> NetEntry::*cell) {
  return i == 0 ? kNowhere : (entries[i - 1].*cell).from;
}

// Works out `cell` at entry `index`, first at the entries above it that
// lack it, top down: `step` computes an entry from the one above.
template <typename Value, typename Step>
Cell<Value> const& Resolve(Entries& entries, size_t index, Cell<Value> NetEntry::*cell, Step step) {
  size_t first = index + 1;
  while (first > 0 && (entries[first - 1].*cell).from == kUnknown) --first;
  for (size_t i = first; i <= index; ++i) step(entries, i);
  return entries[index].*cell;
}

// The kit above with this segment's settings merged over it.
template <typename Kit>
auto MergeStep(Cell<Kit> NetEntry::*cell, std::optional<Kit> Attributes::*field) {
  return [cell, field](Entries& entries, size_t i) {
    Cell<Kit>& here = entries[i].*cell;
    int32_t const above = Above(entries, i, cell);
    auto const& own = entries[i].segment->attributes.*field;
    if (!own) {
      here.from = above;
      return;
    }
    here.value = above >= 0 ? (entries[above].*cell).value : Kit();
    here.value.Merge(*own);
    here.from = int32_t(i);
  };
}

// Below a segment that locks visibility, nothing changes it.
void VisibilityStep(Entries& entries, size_t i) {
  NetEntry& here = entries[i];
  if (i > 0 && entries[i - 1].visibility_locked) {
    here.visibility.from = entries[i - 1].visibility.from;
    here.visibility_locked = true;
    return;
  }
  MergeStep(&NetEntry::visibility, &Attributes::visibility)(entries, i);
  here.visibility_locked = detail::LocksVisibility(*here.segment);
}

void PaletteStep(Entries& entries, size_t i) {
  entries[i].palette.from = entries[i].segment->attributes.palette ? int32_t(i) : Above(entries, i, &NetEntry::palette);
}

void ConditionsStep(Entries& entries, size_t i) {
  Cell<UTF8Array>& here = entries[i].conditions;
  int32_t const above = Above(entries, i, &NetEntry::conditions);
  auto const& own = entries[i].segment->attributes.conditions;
  if (!own) {
    here.from = above;
    return;
  }
  here.value = above >= 0 ? entries[above].conditions.value : UTF8Array();
  for (UTF8 const& name : *own)
    if (std::find(here.value.begin(), here.value.end(), name) == here.value.end()) here.value.push_back(name);
  here.from = int32_t(i);
}

// The product runs from this segment's matrix up to the top's, in the order
// in which KeyPath multiplies, so that the floats come out the same: a
// segment with a matrix can't reuse the product of the one above.
void MatrixStep(Entries& entries, size_t i) {
  Cell<MatrixKit>& here = entries[i].matrix;
  if (!entries[i].segment->attributes.matrix) {
    here.from = Above(entries, i, &NetEntry::matrix);
    return;
  }
  MatrixKit net;
  for (size_t k = i + 1; k-- > 0;)
    if (auto const& own = entries[k].segment->attributes.matrix) net.MultiplyAndAssign(*own);
  here.value = net;
  here.from = int32_t(i);
}

template <typename Definition>
bool FindDefinition(Entries const& entries, std::map<std::string, Definition> SegmentData::*table, char const* name,
                    Definition& out) {
  if (!name) return false;
  for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
    auto const& definitions = (*it->segment).*table;
    auto found = definitions.find(name);
    if (found != definitions.end()) {
      out = found->second;
      return true;
    }
  }
  return false;
}

// The net kit of the path's leaf, if any segment sets one.
template <typename Kit, typename Step>
bool ShowNetKit(Entries& entries, Cell<Kit> NetEntry::*cell, Step step, Kit& out) {
  if (entries.empty()) return false;
  int32_t const from = Resolve(entries, entries.size() - 1, cell, step).from;
  if (from < 0) return false;
  out = (entries[from].*cell).value;
  return true;
}

}  // namespace

NetAttributeStack::NetAttributeStack(KeyPath const& start) {
  KeyArray const& keys = start.Keys();
  detail::PathSegments(keys.data(), keys.size(), scratch_);
  for (auto it = scratch_.rbegin(); it != scratch_.rend(); ++it) entries_.emplace_back(*it);
}

NetAttributeStack::~NetAttributeStack() = default;
NetAttributeStack::NetAttributeStack(NetAttributeStack const& other) = default;
NetAttributeStack& NetAttributeStack::operator=(NetAttributeStack const& other) = default;

// The new key adds the segments that a path of it and the old leaf key
// gives, but for the old leaf's segment, which is already on top.
void NetAttributeStack::Push(Key const& key, Key const& leaf) {
  marks_.push_back(entries_.size());
  Key const pair[2] = {key, leaf};
  detail::PathSegments(pair, 2, scratch_);
  if (!scratch_.empty() && !entries_.empty() && scratch_.back() == entries_.back().segment) scratch_.pop_back();
  for (auto it = scratch_.rbegin(); it != scratch_.rend(); ++it) entries_.emplace_back(*it);
}

void NetAttributeStack::Pop() {
  if (marks_.empty()) return;
  entries_.erase(entries_.begin() + std::ptrdiff_t(marks_.back()), entries_.end());
  marks_.pop_back();
}

bool NetAttributeStack::ShowNetVisibility(VisibilityKit& out) const {
  return ShowNetKit(entries_, &NetEntry::visibility, VisibilityStep, out);
}

bool NetAttributeStack::ShowNetDrawingAttribute(DrawingAttributeKit& out) const {
  return ShowNetKit(entries_, &NetEntry::drawing, MergeStep(&NetEntry::drawing, &Attributes::drawing), out);
}

// Every text has a direction: the toolkit's default path runs along +x
// until a segment of the path sets another.
bool NetAttributeStack::ShowNetTextAttribute(TextAttributeKit& out) const {
  TextAttributeKit net;
  net.SetPath({1, 0, 0});
  TextAttributeKit set;
  if (ShowNetKit(entries_, &NetEntry::text, MergeStep(&NetEntry::text, &Attributes::text), set)) net.Merge(set);
  out = net;
  return true;
}

bool NetAttributeStack::ShowNetMaterialMapping(MaterialMappingKit& out) const {
  return ShowNetKit(entries_, &NetEntry::mapping, MergeStep(&NetEntry::mapping, &Attributes::mapping), out);
}

bool NetAttributeStack::ShowNetMaterialPalette(UTF8& out) const {
  if (entries_.empty()) return false;
  int32_t const from = Resolve(entries_, entries_.size() - 1, &NetEntry::palette, PaletteStep).from;
  if (from < 0) return false;
  out = *entries_[from].segment->attributes.palette;
  return true;
}

bool NetAttributeStack::ShowNetModellingMatrix(MatrixKit& out) const {
  MatrixKit net;
  if (!ShowNetKit(entries_, &NetEntry::matrix, MatrixStep, net) || net.Empty()) return false;
  out = net;
  return true;
}

bool NetAttributeStack::ShowNetConditions(UTF8Array& out) const {
  UTF8Array names;
  if (!ShowNetKit(entries_, &NetEntry::conditions, ConditionsStep, names) || names.empty()) return false;
  out = std::move(names);
  return true;
}

bool NetAttributeStack::ShowNetClipRegions(std::vector<PointArrayArray>& regions,
                                           std::vector<Drawing::ClipSpace>& spaces,
                                           std::vector<Drawing::ClipOperation>& operations,
                                           std::vector<MatrixKit>& matrices) const {
  regions.clear();
  spaces.clear();
  operations.clear();
  matrices.clear();
  for (size_t i = 0; i < entries_.size(); ++i)
    if (auto const& clip = entries_[i].segment->attributes.clip) {
      regions.push_back(clip->loops);
      spaces.push_back(clip->space);
      operations.push_back(clip->operation);
      int32_t const from = Resolve(entries_, i, &NetEntry::matrix, MatrixStep).from;
      matrices.push_back(from >= 0 ? entries_[from].matrix.value : MatrixKit());
    }
  return !regions.empty();
}

bool NetAttributeStack::ShowEffectiveTextureDefinition(char const* name, TextureDefinition& out) const {
  return FindDefinition(entries_, &SegmentData::textures, name, out);
}

bool NetAttributeStack::ShowEffectiveImageDefinition(char const* name, ImageDefinition& out) const {
  return FindDefinition(entries_, &SegmentData::images, name, out);
}

bool NetAttributeStack::ShowEffectiveMaterialPaletteDefinition(char const* name,
                                                               MaterialPaletteDefinition& out) const {
  return FindDefinition(entries_, &SegmentData::palettes, name, out);
}

}  // namespace KZVI::Helpers
