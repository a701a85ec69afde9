#include "stream/ControlFlags.h"

#include <utility>

namespace QX::Store {

std::string ControlFlagNames(uint32_t flags) {
  if (flags == 0) return " Default";
  static constexpr std::pair<uint32_t, char const*> kNames[] = {
      {ControlFlag::StreamCulled, "StreamCulled"},
      {ControlFlag::StreamKeyedDataOnIdle, "StreamKeyedDataOnIdle"},
      {ControlFlag::NoStreamLimit, "NoStreamLimit"},
      {ControlFlag::StreamInstancesOnDemand, "StreamInstancesOnDemand"},
      {ControlFlag::AggressiveCompression, "AggressiveCompression"},
      {ControlFlag::StreamModelBoundingPreviews, "StreamModelBoundingPreviews"},
      {ControlFlag::StreamInstanceBoundingPreviews, "StreamInstanceBoundingPreviews"},
      {ControlFlag::StreamOnlyInterestingBoundingPreviews, "StreamOnlyInterestingBoundingPreviews"},
      {ControlFlag::StreamEjectedBoundingPreviews, "StreamEjectedBoundingPreviews"},
      {ControlFlag::StreamSetupOnly, "StreamSetupOnly"},
  };
  std::string text;
  for (auto const& [bit, name] : kNames) {
    if ((flags & bit) == 0) continue;
    text += ' ';
    text += name;
    text += ',';
  }
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace QX::Store
