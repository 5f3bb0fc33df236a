// The frame around a crowd in a RIB file: the display, a camera framed on the crowd, a light,
// the world block, and the procedural call that stands for one agent.
#pragma once

#include <string>

#include "host/rib_writer.h"

namespace host {

struct RibFrame {
  int frame = 1;
  std::string display;  // the image file the renderer writes
  int width = 640;
  int height = 480;
  bool motion_blur = false;           // writes a shutter of one frame
  std::string procedural_path;        // directory added to the procedural search path, or empty
  float crowd_min[3] = {-1, -1, -1};  // the box the camera frames
  float crowd_max[3] = {1, 1, 1};
};

// Writes everything before the agents: version, search path, frame, display, format, camera
// framed on the crowd's box, shutter, world, an ambient and a key light.
void write_rib_frame_begin(RibWriter& writer, const RibFrame& frame);
// Closes the world and the frame.
void write_rib_frame_end(RibWriter& writer);
// Writes one agent as a "DynamicLoad" procedural of the plug-in `plugin` (a file name the
// renderer finds on its procedural search path) with its parameter string and bound
// (xmin xmax ymin ymax zmin zmax).
void write_rib_procedural(RibWriter& writer, const std::string& plugin,
                          const std::string& parameters, const float bound[6]);

}  // namespace host
