#pragma once
// A camera as a viewer sends it.

namespace QX::Store {

struct StreamCamera {
  // Truncated to an integer: 0 perspective, 1 orthographic, 2 stretched;
  // any other value keeps the projection that was in force.
  double projection = 0;
  double position[3] = {0, 0, 0};
  double target[3] = {0, 0, 0};
  double up[3] = {0, 0, 0};
  double width = 0;   // extent of the view plane in model units
  double height = 0;
};

}  // namespace QX::Store
