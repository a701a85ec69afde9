#pragma once
// A stored view: an optional camera and a background.
#include <array>
#include <cstdint>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

struct View {
  ViewKey key = 0;
  uint32_t projection = 0;  // 0: the view has no camera
  std::array<double, 3> position{};
  std::array<double, 3> target{};
  std::array<double, 3> up{};
  double width = 0;
  double height = 0;
  std::vector<ImageKey> background_images;
  std::array<float, 3> background{-1, -1, -1};
};

}  // namespace QX::Store
