// The preview renderer: ray traces the posed crowd of one frame with Embree, lit by a key light
// with shadows and an ambient fill, each material shaded with its Phong parameters, on a ground
// plane under a sky. It shows what the plug-in handed over; it is not a production renderer.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/frame_geometry.h"
#include "host/rgba_image.h"

namespace host {

// Where the picture is seen from. Automatic framing looks at the whole crowd from the front,
// a little above and to the side; otherwise the camera sits at `position`, looks at `target`,
// with the world's y axis up.
struct PreviewCamera {
  bool automatic = true;
  Vec3 position{0.0f, 0.0f, 10.0f};
  Vec3 target{0.0f, 0.0f, 0.0f};
  float field_of_view = 40.0f;  // vertical, in degrees, between 1 and 170
};

struct PreviewSettings {
  int width = 640;
  int height = 360;
  int samples = 4;  // rays per pixel, 1 to 1024
  PreviewCamera camera;
  bool ground = true;  // a ground plane under the crowd's lowest point
  int threads = 0;     // 0: every core
  // Called from the worker threads with the number of picture tiles done and the total.
  std::function<void(int done, int total)> progress;
};

// Renders `frame` into `*image`. Triangles with unusable coordinates (not finite, or beyond
// coordinate_limit) or indices out of range are left out, and one warning says how many.
// Materials whose shader could not be evaluated draw flat grey. False with `*error` set when
// the settings are out of range or nothing drawable is left.
bool render_preview(const FrameGeometry& frame, const PreviewSettings& settings, RgbaImage* image,
                    std::string* error, std::vector<std::string>* warnings);

}  // namespace host
