#pragma once
// The common base of the scene's keys, kits and definitions.
#include <cstdint>

namespace KZV {

class Object {
 public:
  virtual ~Object() = default;
  virtual uint32_t Type() const = 0;
  bool HasType(uint32_t code) const { return Type() == code; }
  // Identifies what stands behind the object; copies of one key or
  // definition give the same value.
  virtual int64_t GetInstanceID() const { return reinterpret_cast<intptr_t>(this); }
  virtual bool Empty() const = 0;
};

}  // namespace KZV
