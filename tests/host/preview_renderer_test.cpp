// The preview renderer on scenes of known geometry: which pixels a square covers, the shade of
// a lit surface, a shadow, a matte hole, and frames it must refuse or partly leave out.
#include "host/preview_renderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/frame_geometry.h"

namespace {

using ::testing::HasSubstr;

using host::FrameGeometry;
using host::FrameMaterial;
using host::FrameMesh;

// An axis-aligned square facing +z at depth z, or facing +y at height y (`flat`).
FrameMesh square(float half, float at, int material, bool flat = false) {
  FrameMesh mesh;
  mesh.name = "square";
  if (flat)
    mesh.positions = {{-half, at, -half}, {half, at, -half}, {half, at, half}, {-half, at, half}};
  else
    mesh.positions = {{-half, -half, at}, {half, -half, at}, {half, half, at}, {-half, half, at}};
  const uint32_t corners[] = {0, 1, 2, 3};
  mesh.add_polygon(corners, 4, material);
  return mesh;
}

host::PreviewSettings front_view(int size) {
  host::PreviewSettings settings;
  settings.width = settings.height = size;
  settings.samples = 1;
  settings.ground = false;
  settings.threads = 3;
  settings.camera.automatic = false;
  settings.camera.position = {0, 0, 5};
  settings.camera.target = {0, 0, 0};
  settings.camera.field_of_view = 40;
  return settings;
}

TEST(PreviewRenderer, SquareCoversTheExpectedPixelsLitByTheKeyLightWithAMatteHole) {
  FrameGeometry frame;
  FrameMaterial red;
  red.name = "red";
  red.diffuse = {1, 0, 0};
  red.specular = {0, 0, 0};
  FrameMaterial matte;
  matte.matte = true;
  frame.materials = {red, matte};
  frame.meshes = {square(1, 0, 0), square(0.2f, 1, 1)};
  host::RgbaImage image;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::render_preview(frame, front_view(64), &image, &error, &warnings)) << error;
  ASSERT_EQ(image.width, 64);
  EXPECT_TRUE(warnings.empty());

  // Half the view is tan(20 degrees) * 5 = 1.8199 wide, so the square's edge is at 0.54949 of
  // it: pixel centres 14.5 .. 49.5 of 64 fall inside, 13.5 and 50.5 outside.
  for (int x : {14, 20, 49}) {
    EXPECT_EQ(image.at(x, 20)[3], 255) << x;
    EXPECT_GT(image.at(x, 20)[0], image.at(x, 20)[2]) << "square is red at " << x;
  }
  for (int x : {13, 50}) EXPECT_GT(image.at(x, 20)[2], image.at(x, 20)[0]) << "sky at " << x;
  EXPECT_GT(image.at(32, 13)[2], image.at(32, 13)[0]);
  EXPECT_GT(image.at(32, 14)[0], image.at(32, 14)[2]);

  // The key light comes from (-0.6, 1.3, 0.5) / 1.5166 for this camera, so N.L = 0.3297 and the
  // red channel is 0.25 + 0.75 * 0.3297 = 0.4973 linear, 187 in sRGB.
  EXPECT_NEAR(image.at(20, 20)[0], 187, 2);
  EXPECT_EQ(image.at(20, 20)[1], 0);

  // The matte square in front leaves a hole: alpha 0 where it is, 0.2 / (4 * 0.36397) of the
  // view around the centre (pixels 28 .. 35).
  EXPECT_EQ(image.at(32, 32)[3], 0);
  EXPECT_EQ(image.at(28, 32)[3], 0);
  EXPECT_EQ(image.at(26, 32)[3], 255);
}

TEST(PreviewRenderer, ShadowedGroundIsDarkerAndUnevaluatedShadersAreGrey) {
  // Seen from straight above: a floor at y = 0 and a blocker at y = 1. The light, from
  // (-0.6, 1.8, 0) for this camera, throws the blocker's shadow 1/3 toward +x: world x 0.74
  // (pixel 38) is in shadow beyond the blocker's edge; x = -1.2 (pixel 21) is lit.
  FrameGeometry frame;
  FrameMaterial unknown;
  unknown.name = "custom_shader_material";
  unknown.evaluated = false;
  unknown.diffuse = {1, 0, 0};
  frame.materials = {unknown};
  frame.meshes = {square(2, 0, 0, true), square(0.5f, 1, 0, true)};
  host::PreviewSettings settings = front_view(64);
  settings.camera.position = {0, 10, 0};
  host::RgbaImage image;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::render_preview(frame, settings, &image, &error, &warnings)) << error;
  const uint8_t* shadowed = image.at(38, 32);
  const uint8_t* lit = image.at(21, 32);
  EXPECT_LT(shadowed[0] + 40, lit[0]);
  EXPECT_EQ(lit[0], lit[1]) << "grey, not the material's red";
  EXPECT_EQ(lit[1], lit[2]);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_THAT(warnings[0], HasSubstr("custom_shader_material"));
}

TEST(PreviewRenderer, RefusesEmptyFramesAndBadSettingsAndLeavesOutUnusablePoints) {
  host::RgbaImage image;
  std::string error;
  std::vector<std::string> warnings;
  FrameGeometry empty;
  empty.meshes.emplace_back();  // an agent object without geometry
  EXPECT_FALSE(host::render_preview(empty, front_view(8), &image, &error, &warnings));
  EXPECT_EQ(error, "nothing to draw: the frame holds no triangles");

  const float nan = std::numeric_limits<float>::quiet_NaN();
  FrameGeometry frame;
  frame.meshes = {square(1, 0, -1)};
  frame.meshes[0].positions.push_back({nan, 0, 0});
  frame.meshes[0].positions.push_back({1e30f, 0, 0});
  const uint32_t bad[] = {0, 1, 4, 0, 5, 2, 0, 1, 99};
  frame.meshes[0].add_polygon(bad, 3, -1);
  frame.meshes[0].add_polygon(bad + 3, 3, -1);
  frame.meshes[0].add_polygon(bad + 6, 3, -1);
  ASSERT_TRUE(host::render_preview(frame, front_view(8), &image, &error, &warnings)) << error;
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0], "3 triangles with unusable coordinates or corner indices were left out");
  EXPECT_EQ(image.at(4, 4)[3], 255);

  FrameGeometry unusable;
  unusable.meshes = {square(1, nan, -1)};
  EXPECT_FALSE(host::render_preview(unusable, front_view(8), &image, &error, nullptr));

  host::PreviewSettings settings = front_view(8);
  settings.camera.target = settings.camera.position;
  EXPECT_FALSE(host::render_preview(frame, settings, &image, &error, nullptr));
  EXPECT_EQ(error, "the camera's position and target are the same point");
  settings = front_view(0);
  EXPECT_FALSE(host::render_preview(frame, settings, &image, &error, nullptr));
  settings = front_view(8);
  settings.samples = 0;
  EXPECT_FALSE(host::render_preview(frame, settings, &image, &error, nullptr));

  // Automatic framing keeps a crowd far from the origin in view.
  FrameGeometry far = frame;
  for (host::Vec3& p : far.meshes[0].positions) p[0] += 5000;
  settings = front_view(16);
  settings.camera.automatic = true;
  ASSERT_TRUE(host::render_preview(far, settings, &image, &error, nullptr)) << error;
  EXPECT_EQ(image.at(8, 8)[1], image.at(8, 8)[2]) << "the centre shows the grey square";
}

}  // namespace
