#include "stream/ViewState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "stream/StreamRequest.h"

namespace QX::Store {
namespace {

float At(Matrix4f const& m, int row, int col) { return m[col * 4 + row]; }

StreamCamera Camera(double code, double width = 10, double height = 10) {
  StreamCamera c;
  c.projection = code;
  c.position[2] = 10;
  c.up[1] = 1;
  c.width = width;
  c.height = height;
  return c;
}

StreamRequest Request(StreamCamera const* camera, double aspect = 1) {
  StreamRequest r;
  r.camera = camera;
  r.aspect = aspect;
  r.screen_width = 800;
  r.screen_height = 0.5;
  return r;
}

TEST(ViewState, PerspectiveMatricesAsTabled) {
  ViewState v;
  StreamCamera const cam = Camera(0, 2, 2);
  ASSERT_TRUE(v.Update(Request(&cam)));
  EXPECT_EQ(v.projection, Projection::Perspective);
  EXPECT_EQ(v.view_width, 2);
  Matrix4f const expected_view = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, -10, 1};
  EXPECT_EQ(v.view_matrix, expected_view);
  Matrix4f const& p = v.projection_matrix;
  EXPECT_EQ(At(p, 0, 0), 1.0f);
  EXPECT_EQ(At(p, 1, 1), 1.0f);
  EXPECT_EQ(At(p, 2, 2), -0.1f);
  EXPECT_EQ(At(p, 2, 3), -0.02f);
  EXPECT_EQ(At(p, 3, 2), -0.1f);
  EXPECT_EQ(At(p, 3, 3), 0.0f);
  EXPECT_EQ(At(p, 0, 1) + At(p, 0, 2) + At(p, 0, 3) + At(p, 1, 0) + At(p, 3, 0), 0.0f);
}

TEST(ViewState, OrthographicAndAspectCorrection) {
  ViewState v;
  StreamCamera const cam = Camera(1, 2, 2);
  ASSERT_TRUE(v.Update(Request(&cam, 0)));  // aspect not given: 0.5625 < H/W
  Matrix4f const& p = v.projection_matrix;
  EXPECT_EQ(v.projection, Projection::Orthographic);
  EXPECT_EQ(At(p, 0, 0), 0.5625f);
  EXPECT_EQ(At(p, 1, 1), 1.0f);
  EXPECT_EQ(At(p, 2, 2), float(-0.01 * 0.1));
  EXPECT_EQ(At(p, 2, 3), -0.01f);
  EXPECT_EQ(At(p, 3, 2), 0.0f);
  EXPECT_EQ(At(p, 3, 3), 1.0f);

  ViewState wide;
  ASSERT_TRUE(wide.Update(Request(&cam, 2)));
  EXPECT_EQ(At(wide.projection_matrix, 0, 0), 1.0f);
  EXPECT_EQ(At(wide.projection_matrix, 1, 1), 0.5f);

  ViewState stretched;
  StreamCamera const s = Camera(2, 2, 4);
  ASSERT_TRUE(stretched.Update(Request(&s, 3)));
  EXPECT_EQ(At(stretched.projection_matrix, 0, 0), 1.0f);
  EXPECT_EQ(At(stretched.projection_matrix, 1, 1), 0.5f);
}

TEST(ViewState, DegenerateCamerasGiveIdentities) {
  ViewState v;
  StreamCamera cam = Camera(0);
  cam.position[2] = 0;  // position equals target
  ASSERT_TRUE(v.Update(Request(&cam)));
  Matrix4f const identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  EXPECT_EQ(v.view_matrix, identity);
  EXPECT_EQ(At(v.projection_matrix, 2, 2), -1.0f);  // s = 1

  ViewState flat;
  StreamCamera no_width = Camera(0, 0, 10);
  ASSERT_TRUE(flat.Update(Request(&no_width)));
  EXPECT_EQ(flat.projection_matrix, identity);
}

TEST(ViewState, SmallChangesKeepTheFrustum) {
  ViewState v;
  StreamCamera cam = Camera(0);
  ASSERT_TRUE(v.Update(Request(&cam)));
  Matrix4f const before = v.view_matrix;
  EXPECT_FALSE(v.Update(Request(&cam)));
  cam.position[2] = 10.0005;  // 5e-5 relative
  EXPECT_FALSE(v.Update(Request(&cam)));
  EXPECT_EQ(v.view_matrix, before);
  cam.position[2] = 10.01;
  EXPECT_TRUE(v.Update(Request(&cam)));
  EXPECT_NE(v.view_matrix, before);
}

TEST(ViewState, ViewSerialCountsTurnsAboveTenDegrees) {
  ViewState v;
  StreamCamera cam = Camera(0);
  v.Update(Request(&cam));
  EXPECT_EQ(v.view_serial, 1u);
  double const small = 5 * std::numbers::pi / 180, large = 15 * std::numbers::pi / 180;
  cam.position[0] = 10 * std::sin(small);
  cam.position[2] = 10 * std::cos(small);
  v.Update(Request(&cam));
  EXPECT_EQ(v.view_serial, 1u);
  cam.position[0] = 10 * std::sin(large);
  cam.position[2] = 10 * std::cos(large);
  v.Update(Request(&cam));
  EXPECT_EQ(v.view_serial, 2u);
}

// Without a camera, or with an unknown projection, only the screen is taken.
TEST(ViewState, NoCameraOrUnknownProjectionKeepsTheLastOne) {
  ViewState v;
  EXPECT_FALSE(v.Update(Request(nullptr)));
  EXPECT_EQ(v.screen_width, 800);
  EXPECT_EQ(v.screen_height, 1);
  EXPECT_EQ(v.view_serial, 0u);
  StreamCamera cam = Camera(7);
  EXPECT_FALSE(v.Update(Request(&cam)));
  EXPECT_EQ(v.projection, Projection::None);
  EXPECT_EQ(v.view_width, 0);
  EXPECT_FALSE(v.frustum_valid);
  cam.projection = 1;
  EXPECT_TRUE(v.Update(Request(&cam)));
  cam.projection = -5;
  cam.width = 20;
  EXPECT_TRUE(v.Update(Request(&cam)));
  EXPECT_EQ(v.projection, Projection::Orthographic);
}

TEST(ProjectedPixel, IsTheSquaredViewExtentOfAScreenOffset) {
  ViewState v;
  StreamCamera const cam = Camera(2, 4, 2);
  v.Update(Request(&cam));
  // x extends 0.5 × 4 / 2, y 0.5 × 2 / 2: the smaller square wins.
  EXPECT_NEAR(ProjectedPixel(v.projection_matrix, 0.5f), 0.25f, 1e-5);

  ViewState p;
  StreamCamera const persp = Camera(0, 10, 10);
  p.Update(Request(&persp));
  EXPECT_NEAR(ProjectedPixel(p.projection_matrix, 0.0125f), 0.0625 * 0.0625, 1e-6);
}

}  // namespace
}  // namespace QX::Store
