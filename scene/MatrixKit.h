#pragma once
// A 4 by 4 modelling matrix. Points are row vectors: the translation is in
// elements 12 to 14 and, in a product, the left factor acts first. An empty
// kit stands for the identity.
#include <array>

#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"

namespace KZV {

class MatrixKit : public Object {
 public:
  MatrixKit() = default;
  static MatrixKit GetDefault();  // the identity, set explicitly

  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !set_; }
  bool operator==(MatrixKit const& other) const;
  bool operator!=(MatrixKit const& other) const { return !(*this == other); }

  bool ShowElements(FloatArray& out) const;
  MatrixKit& SetElements(FloatArray const& elements);
  MatrixKit& SetElements(size_t count, float const* elements);

  // Each of these sets the kit to the product of itself and the new
  // transform, the new one acting last; on an empty kit that is the
  // transform alone. Angles in degrees; Rotate(0, 0, a) turns +x to +y.
  MatrixKit& Rotate(float x, float y, float z);
  MatrixKit& Scale(float x, float y, float z);
  MatrixKit& Translate(float x, float y, float z);
  MatrixKit& Translate(Vector const& v) { return Translate(v.x, v.y, v.z); }

  MatrixKit Multiply(MatrixKit const& other) const;
  MatrixKit operator*(MatrixKit const& other) const { return Multiply(other); }
  MatrixKit& MultiplyAndAssign(MatrixKit const& other);
  MatrixKit& operator*=(MatrixKit const& other) { return MultiplyAndAssign(other); }

  bool ShowInverse(MatrixKit& out) const;
  float ShowDeterminant() const;

  Point Transform(Point const& p) const;
  PointArray Transform(PointArray const& points) const;
  Vector TransformDirection(Vector const& v) const;

 private:
  using Elements = std::array<float, 16>;
  Elements const& Values() const;

  Elements m_{};
  bool set_ = false;
};

}  // namespace KZV
