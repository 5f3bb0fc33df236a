// Posing one frame's crowd through the plug-in.
#include "host/frame_builder.h"

#include <new>

#include "host/frame_from_database.h"
#include "host/messages.h"
#include "host/parallel_for.h"
#include "host/pose_source_check.h"
#include "host/render_session.h"
#include "host/scene_reader.h"

namespace host {

bool FrameBuilder::start(const std::string& plugin_path, std::string* error) {
  plugin_ = load_plugin(plugin_path, error);
  if (!plugin_) return false;
  RenderSession session(*plugin_);
  started_ = session.start(error);
  return started_;
}

bool FrameBuilder::build(const std::string& scene_path, FrameGeometry* frame, std::string* error,
                         std::vector<std::string>* warnings) {
  if (!started_) {
    *error = "the crowd plug-in is not loaded";
    return false;
  }
  Scene scene;
  bool opened = false;
  try {
    opened = read_scene_file(scene_path, &scene);
  } catch (const std::bad_alloc&) {
    *error = scene_path + ": not enough memory to read the scene file";
    return false;
  }
  if (!opened) {
    *error = scene.errors.empty() ? scene_path + ": cannot read the scene file" : scene.errors[0];
    return false;
  }
  for (const std::string& fault : scene.errors) warnings->push_back(fault);
  if (scene.instances.empty()) {
    *error = scene_path + ": the scene holds no crowd instances";
    return false;
  }
  const std::vector<std::string> unreadable = unreadable_pose_sources(scene);
  if (!unreadable.empty()) {
    *error = scene_path + ": " + unreadable[0];
    if (unreadable.size() > 1)
      *error += " (and " + std::to_string(unreadable.size() - 1) + " more)";
    return false;
  }
  clear_messages();
  RenderSession session(*plugin_);
  if (!session.start(error)) return false;
  const int threads = thread_count(threads_);
  session.set_threads(threads);
  const RenderReport report = session.render(scene);
  for (const Message& message : messages())
    if (message.level == Level::error) {
      std::string text = message.text;
      if (!text.empty() && text.back() == '\n') text.pop_back();
      warnings->push_back(scene_path + ": the plug-in reports: " + text);
    }
  // The session gives the database back when it ends: read the frame before.
  frame_from_database(report.assemblies, frame, warnings, threads);
  return true;
}

}  // namespace host
