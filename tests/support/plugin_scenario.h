// What the end-to-end suites of the plug-in share: a scenario run in a child process (the engine
// starts once per process, so each scenario gets a fresh one), the built plug-in loaded as a
// renderer loads it, and readers of what a render left in the stand-in host's scene database.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/scene_view.h"
#include "host/shader_interface.h"

namespace plugin_test {

// Runs `scenario` in a child process; its failures are printed there and fail the parent.
template <class Scenario>
void in_child(Scenario scenario) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    scenario();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the scenario failed, see above";
}

// The built plug-in, or null with the reason as a test failure.
inline std::unique_ptr<host::Plugin> load_built_plugin() {
  std::string error;
  auto plugin = host::load_plugin(HORDERA_PLUGIN_PATH, &error);
  EXPECT_TRUE(plugin) << error;
  return plugin;
}

// Runs `scenario(plugin, session)` in a child process, with the built plug-in loaded and a
// render session on it started.
template <class Scenario>
void in_render(Scenario scenario) {
  in_child([&] {
    auto plugin = load_built_plugin();
    ASSERT_TRUE(plugin);
    host::RenderSession session(*plugin);
    std::string error;
    ASSERT_TRUE(session.start(&error)) << error;
    scenario(*plugin, session);
  });
}

// Custom options naming a render pass (none when `pass` is null) and switching motion blur
// (left out when `blur` is negative).
inline host::StringOptions render_options(const char* pass, int blur) {
  host::StringOptions values;
  if (pass) {
    values["render_pass"].kind = host::OptionValue::Kind::string;
    values["render_pass"].text = pass;
  }
  if (blur >= 0) {
    values["motion_blur"].kind = host::OptionValue::Kind::boolean;
    values["motion_blur"].boolean = blur != 0;
  }
  return values;
}

// Agent `id` of the agent type "man", with this parameter string.
inline host::SceneInstance man(int id, const std::string& param_str) {
  host::SceneInstance made;
  made.name = "man_" + std::to_string(id) + "_inst";
  made.id = id;
  made.has_param_str = true;
  made.param_str = param_str;
  made.bbox_min = {-2, -2, -2};
  made.bbox_max = {2, 2, 2};
  return made;
}

// The objects an assembly's result holds, in order.
inline std::vector<const host::ObjectData*> objects_of(miTag result) {
  std::vector<const host::ObjectData*> found;
  if (const host::InstanceGroupData* group = host::view_group(result)) {
    for (miTag item : group->items)
      if (const host::ObjectData* object = host::view_object(item)) found.push_back(object);
  } else if (const host::ObjectData* object = host::view_object(result)) {
    found.push_back(object);
  }
  return found;
}

// Renders the instances in one render with these options; returns each assembly's objects.
inline std::vector<std::vector<const host::ObjectData*>> render_agents(
    host::RenderSession& session, const host::StringOptions& settings,
    const std::vector<host::SceneInstance>& instances) {
  session.init_shader(&settings);
  for (const host::SceneInstance& each : instances) session.call_geometry(each);
  std::vector<std::vector<const host::ObjectData*>> agents;
  for (const host::AssemblyRun& run : session.run_assemblies())
    agents.push_back(objects_of(run.result));
  return agents;
}

// The indices of a run of a group's flat arrays, as a list to compare.
inline std::vector<int> list(std::span<const int> run) {
  return {run.begin(), run.end()};
}

inline std::vector<std::string> names_of(const std::vector<const host::ObjectData*>& objects) {
  std::vector<std::string> names;
  for (const host::ObjectData* object : objects) names.push_back(object->name);
  return names;
}

// How many times `part` occurs in `text`, overlapping occurrences included.
inline int count_of(const std::string& text, const std::string& part) {
  int found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

// The texts of the renderer messages at this level, in order.
inline std::vector<std::string> message_texts(host::Level level) {
  std::vector<std::string> found;
  for (const host::Message& message : host::messages())
    if (message.level == level) found.push_back(message.text);
  return found;
}

inline void expect_vector(const miVector& got, float x, float y, float z, const std::string& what) {
  EXPECT_NEAR(got.x, x, 1e-5) << what;
  EXPECT_NEAR(got.y, y, 1e-5) << what;
  EXPECT_NEAR(got.z, z, 1e-5) << what;
}

}  // namespace plugin_test
