#include "geometry/bounding/VolumePlane.h"

namespace QX::Store {

std::vector<VolumePlane> PreparePlanes(std::span<PlaneRow const> rows) {
  std::vector<VolumePlane> planes;
  planes.reserve(rows.size());
  for (auto const& row : rows) planes.push_back(PreparePlane(row));
  return planes;
}

}  // namespace QX::Store
