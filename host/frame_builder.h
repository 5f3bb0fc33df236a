// Posing the crowd of one frame: reads a scene file, drives the crowd plug-in through its
// renders as a renderer would, and collects the geometry the plug-in handed over.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/frame_geometry.h"
#include "host/plugin.h"

namespace host {

class FrameBuilder {
 public:
  // Loads the plug-in at `plugin_path` and checks its version; false with `*error` set.
  bool start(const std::string& plugin_path, std::string* error);
  // Reads `scene_path`, renders it through the plug-in and fills `*frame`. Scene faults and the
  // plug-in's error messages are added to `*warnings` ("SCENE: ..."). False with `*error` set
  // when the scene cannot be read at all.
  bool build(const std::string& scene_path, FrameGeometry* frame, std::string* error,
             std::vector<std::string>* warnings);
  // The render threads that build assemblies at once and then make the frame's meshes (0:
  // every core, the default).
  void set_threads(int count) { threads_ = count; }

 private:
  std::unique_ptr<Plugin> plugin_;
  bool started_ = false;
  int threads_ = 0;
};

}  // namespace host
