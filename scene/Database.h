#pragma once
// The database of root segments and off-screen windows.
#include <optional>

#include "scene/Enums.h"
#include "scene/SegmentKey.h"
#include "scene/TypeCodes.h"

namespace KZV {

class OffScreenWindowOptionsKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !driver_; }
  OffScreenWindowOptionsKit& SetDriver(Window::Driver d) { driver_ = d; return *this; }
  bool ShowDriver(Window::Driver& out) const;

 private:
  std::optional<Window::Driver> driver_;
};

class Database {
 public:
  Database() = delete;
  static SegmentKey CreateRootSegment(char const* name = nullptr);
  static size_t ShowRootSegments(SegmentKeyArray& out);
  // A segment outside every scene, which is never drawn here.
  static OffScreenWindowKey CreateOffScreenWindow(unsigned width, unsigned height,
                                                  OffScreenWindowOptionsKit const& options);
};

}  // namespace KZV
