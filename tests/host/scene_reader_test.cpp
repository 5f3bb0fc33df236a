// Reading exported scene files: the crowd instances and options, and faults reported with their
// line while the rest of the file still loads.
#include "host/scene_reader.h"

#include <gtest/gtest.h>

namespace {

const char* const exported = R"(#mi 3.7
link "hordera.so"
options "opt"
    samples -1 2
    trace depth 2 2 4
    "render_pass" "beauty"
    "motion_blur" on
    "gamma" 2.2
    "tint" 1 0.5 0.25
end options

instance "man_7_inst"
    geometry "hordera_mray"(
        "id" 7,
        "paramStr" "/a/man.cdl /s/frame.12.apf 12 speed 1.5 note \"hi\"",
        "bbox_min" -1.250000 0.000000 -0.500000,
        "bbox_max" 1.250000 1.800000 0.123456
    )
    trace     on
    shadow    on
    shadowmap on
    visible   on
end instance

instance "lamp_inst" "lamp_obj" end instance

instance "broken_inst"
    geometry "hordera_mray"(
        "id" 8,
        "paramStr" "b.cdl b.apf 1",
        "bbox_min" 0 0
    )
end instance

shader "crowd" "hordera_mray" ( "id" 9, "paramStr" "c.cdl c.apf 1" )
instance "man_9_inst" geometry = "crowd" end instance

instance "unknown_inst"
    geometry "hordera_mray"( "id" 10, "colour" 1 )
end instance

instance "man_11_inst"
    geometry "hordera_mray"( "id" 11 )
end instance
render "root" "cam" "opt"
)";

TEST(SceneReader, ReadsInstancesAndOptionsAndReportsFaultsByLine) {
  host::Scene scene;
  host::read_scene_text(exported, "crowd.mi", &scene);

  ASSERT_EQ(scene.instances.size(), 3u);
  const host::SceneInstance& seven = scene.instances[0];
  EXPECT_EQ(seven.name, "man_7_inst");
  EXPECT_EQ(seven.line, 12);
  EXPECT_EQ(seven.id, 7);
  EXPECT_TRUE(seven.has_param_str);
  EXPECT_EQ(seven.param_str, "/a/man.cdl /s/frame.12.apf 12 speed 1.5 note \"hi\"");
  EXPECT_EQ(seven.bbox_min.x, -1.25f);
  EXPECT_EQ(seven.bbox_max.y, 1.8f);
  EXPECT_EQ(seven.bbox_max.z, 0.123456f);

  EXPECT_EQ(scene.instances[1].name, "man_9_inst");  // through the named shader
  EXPECT_EQ(scene.instances[1].id, 9);
  EXPECT_EQ(scene.instances[1].param_str, "c.cdl c.apf 1");
  EXPECT_EQ(scene.instances[2].name, "man_11_inst");
  EXPECT_FALSE(scene.instances[2].has_param_str);
  EXPECT_EQ(scene.other_instances, 1);
  EXPECT_EQ(scene.render_statements, 1);

  const std::vector<std::string> errors = {
      "crowd.mi:31: parameter \"bbox_min\" needs three numbers",
      "crowd.mi:39: hordera_mray has no parameter \"colour\""};
  EXPECT_EQ(scene.errors, errors);

  ASSERT_TRUE(scene.has_options);
  EXPECT_EQ(scene.options.at("render_pass").kind, host::OptionValue::Kind::string);
  EXPECT_EQ(scene.options.at("render_pass").text, "beauty");
  EXPECT_EQ(scene.options.at("motion_blur").kind, host::OptionValue::Kind::boolean);
  EXPECT_TRUE(scene.options.at("motion_blur").boolean);
  EXPECT_EQ(scene.options.at("gamma").kind, host::OptionValue::Kind::scalar);
  EXPECT_EQ(scene.options.at("tint").kind, host::OptionValue::Kind::vector);
  EXPECT_EQ(scene.options.count("samples"), 0u);
}

TEST(SceneReader, UnclosedBlocksAndStrayTextDoNotSwallowTheNextInstance) {
  host::Scene scene;
  host::read_scene_text(R"(instance "a_inst"
  geometry "hordera_mray"( "id" 1, "paramStr" "a.cdl a.apf 1"
instance "b_inst"
  geometry "hordera_mray"( "id" 2, "paramStr" "unterminated )
end instance
bogus words here
instance "c_inst" geometry "hordera_mray"( "id" 3 ) end instance
instance "d_inst" geometry "hordera_mray"( "id" 4.5 ) end instance
options "o" "render_pass" end options
)",
                        "s.mi", &scene);
  ASSERT_EQ(scene.instances.size(), 1u);
  EXPECT_EQ(scene.instances[0].name, "c_inst");
  const std::vector<std::string> errors = {
      "s.mi:1: instance \"a_inst\" is not closed by \"end instance\"",
      "s.mi:4: string \"unterminated )\" is not closed on its line",
      "s.mi:6: unexpected \"bogus\" at the top level; the line is skipped",
      "s.mi:8: parameter \"id\" needs one integer",
      "s.mi:9: option \"render_pass\" needs on/off, a number, a quoted string, 3 or 4 numbers"};
  EXPECT_EQ(scene.errors, errors);
}

TEST(SceneReader, HostileTextGivesFewShortFaultsAndTheInstanceAfterItStillLoads) {
  std::string text = "instance \"big\" geometry \"hordera_mray\"( \"paramStr\" \"" +
                     std::string(1'000'000, 'x') + "\nend instance\n";  // a string never closed
  text += std::string(500'000, '(') + "\n";
  text += std::string("\x01\xff\x7f\0junk", 9) + "\n";
  for (int i = 0; i < 300; ++i) text += "bogus " + std::to_string(i) + "\n";
  text += "\"" + std::string(1'000'000, 'y') + "\"\n";
  text += "instance \"ok_inst\" geometry \"hordera_mray\"( \"id\" 5 ) end instance\n";
  text += "instance \"deep_inst\" geometry \"hordera_mray\"( \"id\" " + std::string(100'000, '[') +
          " ) end instance\n";
  host::Scene scene;
  host::read_scene_text(text, "h.mi", &scene);

  ASSERT_EQ(scene.instances.size(), 1u);
  EXPECT_EQ(scene.instances[0].name, "ok_inst");
  EXPECT_EQ(scene.instances[0].id, 5);
  ASSERT_EQ(scene.errors.size(), 101u);
  EXPECT_EQ(scene.errors[0],
            "h.mi:1: string \"" + std::string(60, 'x') + "...\" is not closed on its line");
  EXPECT_EQ(scene.errors[1], "h.mi:3: unexpected '(' at the top level; the line is skipped");
  EXPECT_EQ(scene.errors[3], "h.mi:5: unexpected \"bogus\" at the top level; the line is skipped");
  EXPECT_EQ(scene.errors.back(), "h.mi:102: further faults are not listed (the first 100 are)");
  for (const std::string& error : scene.errors) EXPECT_LT(error.size(), 200u) << error;
}

}  // namespace
