// The settings of the procedural path: the words after "options" in a procedural's parameter
// string, and the RenderMan output settings read from the environment.
#pragma once

#include <string>
#include <string_view>

namespace mray {

// Which renderer the RIB is meant for; both get the same RenderMan Interface 3.2 calls.
enum class RibFlavour { any, prman, delight };

struct RibOptions {
  bool has_pass_name = false;
  std::string pass_name;     // "render_pass NAME"
  bool rib_comments = true;  // "rib_comments 0|1": the comment header of each agent
  bool velocity = false;     // "velocity 0|1": motion as a velocity variable, not two meshes
  bool opengl = false;       // "openGL 0|1": the materials' own colours only, as the viewer
  RibFlavour flavour = RibFlavour::any;  // "prman" or "3delight"
  bool flip_v = false;                   // HORDERA_RMAN_FLIPV: t = 1 - v
};

// Reads the option words of `text` (separated by white space) into `options` and the motion-blur
// flag: "motion_blur", "rib_comments", "velocity" and "openGL" take one value (0, 1, on, off,
// true, false, yes or no), "render_pass" takes a pass name, "prman" and "3delight" take none.
// Succeeds when at least one option was read and every word was understood; otherwise returns
// false and changes nothing.
bool read_rib_options(std::string_view text, RibOptions* options, bool* motion_blur);

// Reads the RenderMan output settings from the environment: HORDERA_RMAN_FLIPV set to anything
// but "" or "0" flips the v texture coordinate.
void read_rib_environment(RibOptions* options);

}  // namespace mray
