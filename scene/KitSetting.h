#pragma once
// Small helpers for the optional settings that kits hold.
#include <optional>

namespace KZV::detail {

template <typename T>
bool ShowSetting(std::optional<T> const& setting, T& out) {
  if (!setting) return false;
  out = *setting;
  return true;
}

// A setting present in `from` overrides the one in `into`.
template <typename T>
void MergeSetting(std::optional<T>& into, std::optional<T> const& from) {
  if (from) into = from;
}

}  // namespace KZV::detail
