// A scene written by the crowd exporter is read back by the host's scene reader as written: the
// same instances, ids, parameter strings and boxes, and nothing reported.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "host/scene_reader.h"
#include "mray/exporter.h"
#include "sim/scene_setup.h"

namespace {

Agent* make_agent(Agent* type, const char* name, int id, float x) {
  Agent* agent = new_agent_instance(type);
  std::free(agent->name);
  agent->name = strdup(name);
  agent->id = id;
  agent->matrix[12] = x;
  return agent;
}

TEST(ExportedScene, ReadsBackAsWritten) {
  Agent* type = new_agent_type("walker");
  type->cdl_file = strdup("/crowd/walker.cdl");
  new_segment(type, "hips");
  new_segment(type, "head")->matrix[13] = 1.7f;
  type->segments->next->parent = type->segments;
  new_userVar(type, "speed")->value = 1.25f;
  make_agent(type, "walker.1", 1, 0.0f);
  make_agent(type, "walker.2", 2, 3.5f);

  RenderRecord render = {};
  render.output_kind = 2;
  render.sim_dir[0] = const_cast<char*>("/crowd/sim");
  char* buffer = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&buffer, &size);
  ASSERT_EQ(2, export_instances(out, &render, 12, 0));
  std::fclose(out);
  const std::string text(buffer, size);
  std::free(buffer);

  host::Scene scene;
  host::read_scene_text(text, "exported.mi", &scene);
  EXPECT_TRUE(scene.errors.empty()) << scene.errors.front();
  ASSERT_EQ(2u, scene.instances.size());
  int index = 0;
  for (Agent* agent = root_agent; agent; agent = agent->next, ++index) {
    const host::SceneInstance& instance = scene.instances[index];
    char* words = export_parameter_string(agent, &render, 12, 0);
    EXPECT_EQ(std::string(agent->name) + "_inst", instance.name);
    EXPECT_EQ(agent->id, instance.id);
    ASSERT_TRUE(instance.has_param_str);
    EXPECT_EQ(words, instance.param_str);
    std::free(words);
    EXPECT_FLOAT_EQ(agent->matrix[12], instance.bbox_min.x);
    EXPECT_FLOAT_EQ(0.0f, instance.bbox_min.y);
    EXPECT_FLOAT_EQ(agent->matrix[12], instance.bbox_max.x);
    EXPECT_FLOAT_EQ(1.7f, instance.bbox_max.y);
  }
  EXPECT_EQ("/crowd/walker.cdl /crowd/sim/frame.12.apf 12 speed 1.25",
            scene.instances[0].param_str);
  while (root_agent) delete_agent_instance(root_agent);
}

}  // namespace
