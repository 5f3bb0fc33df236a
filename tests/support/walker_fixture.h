// Agent type "walker" written to disk for the RenderMan tests: root (rest at (0, 1, 0)), arm above
// it, a red material and one quad skinned to them. Pose caches of frames 4 and 5 turn root 90
// degrees about z and move it to (x, 1, 0), x = frame for agent 12 and frame + 10 for agent 3.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"

namespace rib_test {

using test_files::write_file;

inline std::string pose_cache_text(int frame) {
  std::string text;
  for (int id : {3, 12}) {
    const int x = id == 12 ? frame : frame + 10;
    if (!text.empty()) text += "\n";
    text += "BEGIN walker_" + std::to_string(id) + "\nroot 0 0 90 " + std::to_string(x) +
            " 1 0\narm 0 0 0 0 1 0\n";
  }
  return text;
}

// Writes the agent file, mesh, weights and the pose caches of frames 4 and 5 into `directory`;
// returns the agent file's path.
inline std::string write_walker(const std::filesystem::path& directory) {
  std::filesystem::create_directories(directory);
  write_file(directory / "walker.cdl",
             "# CDL created with hordera v1.0.0\n"
             "object walker\n"
             "segment root\ntranslate 0 1 0\n"
             "segment arm\nparent root\ntranslate 0 1 0\n"
             "bone root\nbone arm\n"
             "material skin\ndiffuse hsv 0 1 1\n"
             "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
             "end object\n");
  write_file(directory / "body.obj",
             "v 1 2 0\nv 1 1 0\nv 0 0.5 0\nv 0 2 0\n"
             "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
             "f 1/1/1 2/2/1 3/3/1 4/4/1\n");
  write_file(directory / "body.w",
             "deformer 0 root\ndeformer 1 arm\n\n0:  0 1\n1:  0 1\n2:  0 1\n3:  1 1\n");
  write_file(directory / "frame.4.apf", pose_cache_text(4));
  write_file(directory / "frame.5.apf", pose_cache_text(5));
  return (directory / "walker.cdl").string();
}

// The walker's quad for root at (x, 1, 0) turned 90 degrees about z, worked out by hand: a point
// bound to root loses root's rest place (0, 1, 0), turns ((a, b) -> (-b, a)) and moves to
// (x, 1, 0); the arm point (0, 2, 0) sits at arm's rest place and lands one unit along root's
// turned y axis, at (x - 1, 1, 0).
inline std::vector<double> walker_points(double x) {
  return {x - 1, 2, 0, x, 2, 0, x + 0.5, 1, 0, x - 1, 1, 0};
}

}  // namespace rib_test
