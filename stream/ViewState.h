#pragma once
// What the stream knows of the viewer's camera, and the matrices made from it.
#include <array>
#include <cstdint>

namespace QX::Store {

struct StreamRequest;

using Matrix4f = std::array<float, 16>;  // column-major: element (r, c) at [c * 4 + r]

enum class Projection : uint32_t { None = 0, Perspective = 1, Orthographic = 2, Stretched = 3 };

struct ViewState {
  Projection projection = Projection::None;
  std::array<double, 3> position{};
  std::array<double, 3> target{};
  std::array<double, 3> up{};
  double field_width = 0;
  double field_height = 0;
  double view_width = 0;  // field_width, 0 while there is no projection
  double screen_width = 1;
  double screen_height = 1;
  std::array<double, 3> last_direction{};
  uint32_t view_serial = 0;   // counts turns of more than 10 degrees
  uint32_t frame_serial = 0;  // raised by the caller before each priority run of a pass
  Matrix4f view_matrix{};
  Matrix4f projection_matrix{};
  float cutoff_scale = 1.0f;
  float cutoff_priority = -1.0f;
  bool frustum_valid = false;

  // Takes the camera and screen of a request. True if the frustum changed:
  // the caller then empties the queue of the pass.
  bool Update(StreamRequest const& request);
};

// The matrices as a camera gives them; `aspect` 0 means not given.
Matrix4f MakeViewMatrix(ViewState const& view);
Matrix4f MakeProjectionMatrix(ViewState const& view, double aspect);

// Product a × b of two column-major matrices.
Matrix4f Multiply(Matrix4f const& a, Matrix4f const& b);

// Squared extent, in view space where w = 1, of the screen offset `r` in
// normalised device coordinates.
float ProjectedPixel(Matrix4f const& projection, float r);

}  // namespace QX::Store
