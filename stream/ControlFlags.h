#pragma once
// The control flags of a stream state.
#include <cstdint>
#include <string>

namespace QX::Store {

namespace ControlFlag {
inline constexpr uint32_t StreamCulled = 1;
inline constexpr uint32_t StreamKeyedDataOnIdle = 2;
inline constexpr uint32_t NoStreamLimit = 4;
inline constexpr uint32_t StreamInstancesOnDemand = 8;
inline constexpr uint32_t AggressiveCompression = 16;
inline constexpr uint32_t StreamModelBoundingPreviews = 32;
inline constexpr uint32_t StreamInstanceBoundingPreviews = 64;
inline constexpr uint32_t StreamOnlyInterestingBoundingPreviews = 128;
inline constexpr uint32_t StreamEjectedBoundingPreviews = 256;
inline constexpr uint32_t StreamSetupOnly = 512;
inline constexpr uint32_t StandAlone = 1024;
}  // namespace ControlFlag

// The names of the set flags as the log shows them: " StreamCulled,
// NoStreamLimit" and so on, " Default" for none. StandAlone has no name.
std::string ControlFlagNames(uint32_t flags);

}  // namespace QX::Store
