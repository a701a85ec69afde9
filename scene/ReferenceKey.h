#pragma once
// A geometry-like entry of a segment that points at a segment or at one
// geometry, with an optional condition and modelling matrix.
#include "scene/GeometryKey.h"

namespace KZV {

class ConditionalExpression;
class MatrixKit;

class ReferenceKey : public GeometryKey {
 public:
  ReferenceKey() = default;
  explicit ReferenceKey(Key const& key) : GeometryKey(key) {}

  // The one target, as a key of a segment or geometry; returns the count.
  // A target deleted since is left out.
  size_t ShowTargets(KeyArray& out, bool = true) const;
  bool ShowConditionalExpression(ConditionalExpression& out) const;
  ReferenceKey& SetConditionalExpression(ConditionalExpression const& condition);
  bool ShowModellingMatrix(MatrixKit& out) const;
  ReferenceKey& SetModellingMatrix(MatrixKit const& matrix);
};

}  // namespace KZV
