#pragma once
// Commands of volume selection that wait in a stream state for the next pass.
#include <array>
#include <cstdint>
#include <vector>

namespace QX::Store {

using PlaneRowD = std::array<double, 4>;  // a, b, c, d

struct PlaneSelectionCommand {
  std::vector<PlaneRowD> rows;
  std::array<float, 3> reference{};
  uint32_t request_id = 0;
  uint32_t selection_id = 0;
  uint32_t flags = 0;
};

struct RaySelectionCommand {
  std::array<PlaneRowD, 5> rows{};
  std::array<float, 3> origin{};
  std::array<float, 3> direction{};
  uint32_t request_id = 0;
  uint32_t selection_id = 0;
  uint32_t flags = 0;
};

struct SphereSelectionCommand {
  std::array<float, 3> center{};
  uint32_t request_id = 0;
  uint32_t selection_id = 0;
  uint32_t flags = 0;
  float radius = 0;
};

struct NextResultsCommand {
  uint32_t request_id = 0;
  uint32_t selection_id = 0;
  uint32_t max_results = 0;
};

struct EndSelectionCommand {
  uint32_t request_id = 0;
  uint32_t selection_id = 0;
};

struct SelectionCommands {
  std::vector<PlaneSelectionCommand> planes;
  std::vector<RaySelectionCommand> rays;
  std::vector<SphereSelectionCommand> spheres;
  std::vector<NextResultsCommand> next_results;
  std::vector<EndSelectionCommand> ends;
};

}  // namespace QX::Store
