#include "scene/Key.h"

#include <algorithm>

#include "export/value_types/Exceptions.h"
#include "scene/GeometryKey.h"
#include "scene/IncludeKey.h"
#include "scene/ReferenceKey.h"
#include "scene/SegmentKey.h"
#include "scene/detail/Entities.h"

namespace KZV {
namespace detail {
namespace {

uint64_t next_entity_id = 1;

template <typename T>
void RemoveFrom(std::vector<std::shared_ptr<T>>& list, Entity const* entity) {
  std::erase_if(list, [entity](auto const& e) { return e.get() == entity; });
}

}  // namespace

// Ids are never reused, so a deleted entity's handles match nothing live.
Entity::Entity(uint32_t type_code) : id(next_entity_id++), type(type_code) {}

void ThrowInvalidKey() { throw InvalidObjectException("The key doesn't refer to a live entity of its kind."); }

std::vector<std::shared_ptr<SegmentData>>& RootSegments() {
  static std::vector<std::shared_ptr<SegmentData>> roots;
  return roots;
}

std::vector<std::shared_ptr<SegmentData>>& WindowSegments() {
  static std::vector<std::shared_ptr<SegmentData>> windows;
  return windows;
}

}  // namespace detail

Key::Key(std::shared_ptr<detail::Entity> const& entity)
    : entity_(entity), id_(entity ? entity->id : 0), type_(entity ? entity->type : 0) {}

// splitmix64 of the id.
uint64_t Key::GetHash() const {
  uint64_t z = id_ + 0x9E3779B97F4A7C15ull;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

void Key::Delete() {
  auto entity = entity_.lock();
  if (!entity) return;
  auto owner = entity->owner.lock();
  if (!owner) {
    detail::RemoveFrom(detail::RootSegments(), entity.get());
    detail::RemoveFrom(detail::WindowSegments(), entity.get());
    return;
  }
  detail::RemoveFrom(owner->children, entity.get());
  detail::RemoveFrom(owner->includes, entity.get());
  detail::RemoveFrom(owner->geometry, entity.get());
}

size_t GeometryKey::ShowReferrers(ReferenceKeyArray& out) const {
  out.clear();
  auto geometry = detail::KeyAccess::As<detail::GeometryData>(*this);
  if (!geometry) return 0;
  std::erase_if(geometry->referrers, [](auto const& r) { return r.expired(); });
  for (auto const& r : geometry->referrers)
    out.push_back(detail::KeyAccess::Make<ReferenceKey>(r.lock()));
  return out.size();
}

GeometryKey& GeometryKey::SetUserData(int64_t index, ByteArray const& data) {
  detail::Require<detail::GeometryData>(*this)->user_data[index] = data;
  return *this;
}

size_t GeometryKey::ShowUserData(Int64Array& indices, ByteArrayArray& data) const {
  indices.clear();
  data.clear();
  auto geometry = detail::KeyAccess::As<detail::GeometryData>(*this);
  if (!geometry) return 0;
  for (auto const& [index, bytes] : geometry->user_data) {
    indices.push_back(index);
    data.push_back(bytes);
  }
  return indices.size();
}

size_t LineKey::ShowPoints(PointArray& out) const {
  auto line = detail::KeyAccess::As<detail::PointsData>(*this);
  if (!line || line->type != TypeCode::Line) return 0;
  out = line->points;
  return out.size();
}

bool TextKey::Show(TextKit& out) const {
  auto text = detail::KeyAccess::As<detail::TextData>(*this);
  if (!text) return false;
  out = text->kit;
  return true;
}

SegmentKey IncludeKey::GetTarget() const {
  auto include = detail::KeyAccess::As<detail::IncludeData>(*this);
  if (!include) return SegmentKey();
  return detail::KeyAccess::Make<SegmentKey>(include->target.lock());
}

bool IncludeKey::ShowConditionalExpression(ConditionalExpression& out) const {
  auto include = detail::KeyAccess::As<detail::IncludeData>(*this);
  return include && detail::ShowSetting(include->condition, out);
}

IncludeKey& IncludeKey::SetConditionalExpression(ConditionalExpression const& condition) {
  detail::Require<detail::IncludeData>(*this)->condition = condition;
  return *this;
}

size_t ReferenceKey::ShowTargets(KeyArray& out, bool) const {
  out.clear();
  auto reference = detail::KeyAccess::As<detail::ReferenceData>(*this);
  if (!reference) return 0;
  if (auto target = reference->target.lock()) out.push_back(detail::KeyAccess::Make<Key>(target));
  return out.size();
}

bool ReferenceKey::ShowConditionalExpression(ConditionalExpression& out) const {
  auto reference = detail::KeyAccess::As<detail::ReferenceData>(*this);
  return reference && detail::ShowSetting(reference->condition, out);
}

ReferenceKey& ReferenceKey::SetConditionalExpression(ConditionalExpression const& condition) {
  detail::Require<detail::ReferenceData>(*this)->condition = condition;
  return *this;
}

bool ReferenceKey::ShowModellingMatrix(MatrixKit& out) const {
  auto reference = detail::KeyAccess::As<detail::ReferenceData>(*this);
  return reference && detail::ShowSetting(reference->matrix, out);
}

ReferenceKey& ReferenceKey::SetModellingMatrix(MatrixKit const& matrix) {
  detail::Require<detail::ReferenceData>(*this)->matrix = matrix;
  return *this;
}

}  // namespace KZV
