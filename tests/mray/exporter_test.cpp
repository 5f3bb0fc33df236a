// The exporter's instance blocks: exact text of a two-agent scene in both forms, read back by the
// host's scene reader, the motion word of every output kind, and the agent box.
#include "mray/exporter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "host/scene_reader.h"
#include "sim/scene_setup.h"

namespace {

class ExporterTest : public testing::Test {
 protected:
  void SetUp() override {
    // The scene's directory is the current directory: agents record their agent file relative
    // to it, and the exporter names it absolute again.
    saved_directory_ = std::filesystem::current_path();
    std::filesystem::create_directories(std::filesystem::path(testing::TempDir()) / "scene");
    std::filesystem::current_path(std::filesystem::path(testing::TempDir()) / "scene");
    scene_ = std::filesystem::current_path().string();
    man_ = new_agent_type("man");
    man_->cdl_file = strdup((scene_ + "/agents/man.cdl").c_str());
    man_->cdl_directory = strdup((scene_ + "/agents").c_str());
    man_->bounding_box_tolerance = 0.5f;
    new_segment(man_, "root");
    new_userVar(man_, "speed")->value = 1.5f;
    woman_ = new_agent_type("woman");
    woman_->cdl_file = strdup("/abs/woman.cdl");
    woman_->cloth_nodes = reinterpret_cast<ClothNode*>(&cloth_marker_);
    new_segment(woman_, "root");
    new_segment(woman_, "head");

    Agent* first = make(man_, "man.1", 1);
    first->segments->matrix[12] = 1;
    first->segments->matrix[13] = 2;
    first->segments->matrix[14] = 3;
    find_userVar(first, "speed")->value = 2;
    Agent* hidden = make(man_, "man.2", 2);
    hidden->active = 0;
    Agent* second = make(woman_, "woman.3", 3);
    second->matrix[12] = 10;                     // agent placed at x 10
    second->segments->next->matrix[13] = 1.75f;  // head above the root
    second->segments->next->parent = second->segments;
  }
  void TearDown() override {
    while (root_agent) delete_agent_instance(root_agent);
    woman_->cloth_nodes = nullptr;
    std::filesystem::current_path(saved_directory_);
  }
  static Agent* make(Agent* type, const char* name, int id) {
    Agent* agent = new_agent_instance(type);
    std::free(agent->name);
    agent->name = strdup(name);
    agent->id = id;
    return agent;
  }
  static std::string export_text(const RenderRecord* render, int frame, int packaged) {
    char* buffer = nullptr;
    size_t size = 0;
    std::FILE* out = open_memstream(&buffer, &size);
    EXPECT_EQ(export_instances(out, render, frame, packaged), 2);
    std::fclose(out);
    std::string text(buffer, size);
    std::free(buffer);
    return text;
  }
  static std::string block(const std::string& name, int id, const std::string& words,
                           const char* box_min, const char* box_max) {
    return "instance \"" + name + "_inst\"\n" + "    geometry \"hordera_mray\"(\n" +
           "        \"id\" " + std::to_string(id) + ",\n" + "        \"paramStr\" \"" + words +
           "\",\n" + "        \"bbox_min\" " + box_min + ",\n" + "        \"bbox_max\" " + box_max +
           "\n" + "    )\n" + "    trace     on\n" + "    shadow    on\n" + "    shadowmap on\n" +
           "    visible   on\n" + "end instance\n\n";
  }

  std::filesystem::path saved_directory_;
  std::string scene_;
  Agent* man_ = nullptr;
  Agent* woman_ = nullptr;
  int cloth_marker_ = 0;
};

TEST_F(ExporterTest, TwoAgentSceneUnpackaged) {
  RenderRecord render = {};
  render.output_kind = 3;
  render.sim_dir[0] = const_cast<char*>("/sim/out");
  render.cloth_dir[0] = const_cast<char*>("/cloth");
  render.hair_dir[0] = const_cast<char*>("/hair");  // set, but neither agent carries hair
  EXPECT_STREQ(root_agent->cdl_path, "agents/man.cdl");
  std::string expected =
      block("man.1", 1, scene_ + "/agents/man.cdl /sim/out/frame.7.apf.gz 7 speed 2",
            "0.500000 1.500000 2.500000", "1.500000 2.500000 3.500000") +
      block("woman.3", 3, "/abs/woman.cdl /sim/out/frame.7.apf.gz 7 cloth_path /cloth",
            "10.000000 0.000000 0.000000", "10.000000 1.750000 0.000000");
  const std::string text = export_text(&render, 7, 0);
  EXPECT_EQ(text, expected);
  // The host's scene reader takes the blocks back as written.
  host::Scene scene;
  host::read_scene_text(text, "exported.mi", &scene);
  EXPECT_EQ(scene.errors, std::vector<std::string>{});
  ASSERT_EQ(scene.instances.size(), 2u);
  EXPECT_EQ(scene.instances[0].param_str,
            scene_ + "/agents/man.cdl /sim/out/frame.7.apf.gz 7 speed 2");
  const host::SceneInstance& woman = scene.instances[1];
  EXPECT_EQ(woman.name, "woman.3_inst");
  EXPECT_EQ(woman.id, 3);
  EXPECT_EQ(woman.param_str, "/abs/woman.cdl /sim/out/frame.7.apf.gz 7 cloth_path /cloth");
  EXPECT_EQ(woman.bbox_min.x, 10.0f);
  EXPECT_EQ(woman.bbox_max.y, 1.75f);
  // The record's second alternative, a directory ending in '/', and kind 2.
  render.use_alternate = 1;
  render.output_kind = 2;
  render.sim_dir[1] = const_cast<char*>("/alt/");
  char* words = export_parameter_string(root_agent, &render, 8, 0);
  EXPECT_EQ(std::string(words), scene_ + "/agents/man.cdl /alt/frame.8.apf 8 speed 2");
  std::free(words);
  // A file named relative to the scene, or above it, keeps that relative path; the exporter
  // names it from the scene's directory.
  Agent* relative = new_agent_type("relative");
  relative->cdl_file = strdup("../shared/walker.cdl");
  Agent* walker = new_agent_instance(relative);
  EXPECT_STREQ(walker->cdl_path, "../shared/walker.cdl");
  words = export_parameter_string(walker, &render, 8, 0);
  EXPECT_EQ(std::string(words).substr(0, std::string(words).find(' ')),
            scene_ + "/../shared/walker.cdl");
  std::free(words);
}

TEST_F(ExporterTest, TwoAgentScenePackaged) {
  const char* saved = std::getenv("TMP");
  std::string saved_value = saved ? saved : "";
  ::setenv("TMP", "C:\\work\\tmp", 1);
  std::string root = "C:/work/tmp/hordera/";
  std::string expected = block("man.1", 1,
                               root + "agent" + std::to_string(man_->number) + ".cdl " + root +
                                   "frame.12.apf 12 speed 2",
                               "0.500000 1.500000 2.500000", "1.500000 2.500000 3.500000") +
                         block("woman.3", 3,
                               root + "agent" + std::to_string(woman_->number) + ".cdl " + root +
                                   "frame.12.apf 12 cloth_path " + root,
                               "10.000000 0.000000 0.000000", "10.000000 1.750000 0.000000");
  RenderRecord render = {};
  render.output_kind = 1;  // ignored when packaged
  EXPECT_EQ(export_text(&render, 12, 1), expected);
  if (saved)
    ::setenv("TMP", saved_value.c_str(), 1);
  else
    ::unsetenv("TMP");
}

TEST_F(ExporterTest, MotionWordFollowsTheOutputKind) {
  RenderRecord render = {};
  render.sim_dir[0] = const_cast<char*>("/m");
  const std::pair<int, const char*> kinds[] = {{2, " /m/frame.4.apf 4"},
                                               {3, " /m/frame.4.apf.gz 4"},
                                               {1, " /m/man.1.amc.gz 4"},
                                               {0, " /m/man.1.amc 4"},
                                               {7, " /m/man.1.amc 4"}};
  for (const auto& [kind, expected] : kinds) {
    render.output_kind = kind;
    char* words = export_parameter_string(root_agent, &render, 4, 0);
    ASSERT_NE(words, nullptr);
    EXPECT_NE(std::strstr(words, expected), nullptr) << kind << ": " << words;
    std::free(words);
  }
  EXPECT_EQ(export_instances(nullptr, &render, 1, 0), -1);
}

}  // namespace
