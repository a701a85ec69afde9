#pragma once
// The inclusion of a segment into another one, with an optional condition.
#include "scene/Key.h"

namespace KZV {

class ConditionalExpression;
class SegmentKey;

class IncludeKey : public Key {
 public:
  IncludeKey() = default;
  explicit IncludeKey(Key const& key) : Key(key) {}

  SegmentKey GetTarget() const;
  bool ShowConditionalExpression(ConditionalExpression& out) const;
  IncludeKey& SetConditionalExpression(ConditionalExpression const& condition);
};

}  // namespace KZV
