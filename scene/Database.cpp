#include "scene/Database.h"

#include "scene/KitSetting.h"
#include "scene/detail/Entities.h"

namespace KZV {

bool OffScreenWindowOptionsKit::ShowDriver(Window::Driver& out) const { return detail::ShowSetting(driver_, out); }

SegmentKey Database::CreateRootSegment(char const* name) {
  auto segment = std::make_shared<detail::SegmentData>();
  segment->name = name ? name : "";
  detail::RootSegments().push_back(segment);
  return detail::KeyAccess::Make<SegmentKey>(segment);
}

size_t Database::ShowRootSegments(SegmentKeyArray& out) {
  out.clear();
  for (auto const& root : detail::RootSegments()) out.push_back(detail::KeyAccess::Make<SegmentKey>(root));
  return out.size();
}

OffScreenWindowKey Database::CreateOffScreenWindow(unsigned, unsigned, OffScreenWindowOptionsKit const&) {
  auto window = std::make_shared<detail::SegmentData>();
  detail::WindowSegments().push_back(window);
  return detail::KeyAccess::Make<OffScreenWindowKey>(window);
}

}  // namespace KZV
