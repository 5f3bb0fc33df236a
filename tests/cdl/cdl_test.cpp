// Reading agent files: section changes, keyword quirks, values, includes and the bind pose; and
// hostile files (cut, malformed, include cycles), which must be read without crashing or hanging,
// with a message that names the file where one is due. Binary noise is the agent-file fuzzer's.
#include "cdl/cdl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "motion/action.h"
#include "sim/scene_setup.h"
#include "tests/support/scratch_files.h"

namespace {

namespace fs = std::filesystem;
using scratch::stderr_of;
using testing::HasSubstr;

// The reader's state, carried from one file to the next as the reader carries it.
struct Reader {
  Agent* object = nullptr;
  Segment* segment = nullptr;
  BrainNode* node = nullptr;
  int state = 0, count = 0;
  uint32_t version = 0;
  int operator()(const std::string& path) {
    return read_cdl_file(path.c_str(), &object, &segment, &node, &state, &count, nullptr, &version);
  }
};

const char kHeader[] = "# CDL created with hordera v1.0.0\n";

class CdlTest : public scratch::FolderTest {
 protected:
  // Reads a file from the top level; returns the type it made (or null).
  Agent* load(const std::string& name, const std::string& text) {
    return load_agent_type(write(name, text).c_str());
  }
  // Reads `<name>.cdl`, a current header and the object `name` with the lines `body`.
  Agent* load_object(const std::string& name, const std::string& body) {
    return load(name + ".cdl",
                std::string(kHeader) + "object " + name + "\n" + body + "end object\n");
  }
  // Reads a file from the top level with fresh state; returns the reader's result.
  int read(const std::string& path) { return Reader()(path); }
};

TEST_F(CdlTest, RefusesOtherNamesBeforeOpeningAndNamesUnreadableFiles) {
  std::string txt = write("agent.txt", "object nope\n");
  Agent* before = last_agent_type;
  Reader reader;
  EXPECT_EQ("cdl or .act\n", stderr_of([&] { EXPECT_EQ(0, reader(txt)); }));
  EXPECT_EQ(before, last_agent_type);
  EXPECT_EQ(0, reader.count);

  std::string missing = path("missing.cdl");
  EXPECT_EQ("Couldn't open cdl file \"" + missing + "\"\n",
            stderr_of([&] { EXPECT_EQ(nullptr, load_agent_type(missing.c_str())); }));
  EXPECT_EQ(1, saveCDL(nullptr, missing.c_str(), 0));
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(CdlTest, VersionNumbersPackStageAndParts) {
  EXPECT_EQ(0xFF010203u, cdl_version_number("1.2.3"));
  EXPECT_EQ(0xFF010203u, cdl_version_number("v1.2.3"));
  EXPECT_EQ(0x01030104u, cdl_version_number("3.1a4"));
  EXPECT_EQ(0x02020005u, cdl_version_number("2.0b5"));
  EXPECT_EQ(0x01000960u, cdl_version_number("0.996"));
  EXPECT_EQ(0xFFFF00FFu, cdl_version_number("300.0.999"));  // parts clamp at 255
  EXPECT_EQ(0u, cdl_version_number("garbage"));
  EXPECT_EQ(0u, cdl_version_number(""));
  // A release sorts above the alpha and beta of the same numbers.
  EXPECT_GT(cdl_version_number("1.0.0"), cdl_version_number("1.0b9"));
  EXPECT_GT(cdl_version_number("1.0b1"), cdl_version_number("1.0a9"));
}

TEST_F(CdlTest, HeadersMarkOldFormatsAndNewTypesGetTheirAgent) {
  Agent* old_type = load("old.cdl", "# CDL created with trud v0.995\nobject old\nend object\n");
  ASSERT_NE(nullptr, old_type);
  EXPECT_EQ(1, old_type->old_format);
  Agent* new_type = load_object("new", "");
  ASSERT_NE(nullptr, new_type);
  EXPECT_EQ(0, new_type->old_format);
  EXPECT_STREQ("new", new_type->name);
  EXPECT_EQ(old_type->number + 1, new_type->number);
  EXPECT_EQ(nullptr, currentAgent);
  ASSERT_NE(nullptr, new_type->render_agent);
  EXPECT_EQ(new_type, new_type->render_agent->type);

  // The version word is scanned as "%s" after the header's "v": blanks before it are skipped,
  // as are blanks between "trud" and its "v". A header must begin the line.
  const struct {
    const char* header;
    uint32_t version;
  } kHeaders[] = {
      {"# CDL created with hordera v  2.1.3 extra\n", 0xFF020103u},
      {"# CDL created with trud   v0.995\n", cdl_version_number("0.995")},
      {"# CDL created with trud 1.0.0\n", 0u},  // no "v": nothing is scanned
      {" # CDL created with hordera v1.0.0\n", 0u},
  };
  for (const auto& entry : kHeaders) {
    Reader reader;
    reader.version = 12345;
    ASSERT_EQ(1, reader(write("header.cdl", entry.header)));
    EXPECT_EQ(entry.version, reader.version) << entry.header;
  }

  // The agent made for a new type binds its outputs and records its path.
  Agent* type = load_object("driven", "segment hip\nfuzzy output\nchannel hip:ty\n");
  ASSERT_NE(nullptr, type);
  Agent* agent = type->render_agent;
  ASSERT_NE(nullptr, agent);
  ASSERT_NE(nullptr, agent->outputs);
  EXPECT_EQ(&findSegment(agent, "hip")->channels[1], agent->outputs->target);
  // The path is relative to the scene's directory, the current one.
  std::string expected = fs::relative(folder_ / "driven.cdl", fs::current_path()).string();
  if (expected.rfind("..", 0) == 0) expected = path("driven.cdl");
  EXPECT_STREQ(expected.c_str(), agent->cdl_path);
}

TEST_F(CdlTest, TopLevelKeywordsRespectTheirGuards) {
  set_length_unit(1);
  // Editor blocks pass their lines over, "afield" with no end line until "segment"; "units" is
  // ignored inside an object.
  Agent* type =
      load_object("guards",
                  "version 2.0\nmotion tree\nversion 9.9\nid 44\nend motion tree\n"
                  "z_factor 3\nafield\nid 45\nsegment first\nunits inch\n"
                  "hair fur\nhair_dynamics 1\nks 0.5\n"
                  "geometry +body\nmaterial 2\ngeometry ../meshes/body.obj\nfile body.obj\n"
                  "cloth cape\noption 1\nmaterial 3\n"
                  "segment root\nmaterial skin\nid 7\n");
  ASSERT_NE(nullptr, type);
  EXPECT_STREQ("2.0", type->version_text);
  EXPECT_EQ(0, type->type_id);
  EXPECT_FLOAT_EQ(3.0f, type->z_factor);
  EXPECT_NE(nullptr, findSegment(type, "first"));
  EXPECT_EQ(1, length_unit);
  ASSERT_NE(nullptr, type->hair_nodes);
  EXPECT_EQ(nullptr, type->hair_nodes->next);
  EXPECT_EQ(1, type->hair_nodes->hair_dynamics);
  EXPECT_FLOAT_EQ(0.5f, type->hair_nodes->ks);
  ASSERT_NE(nullptr, type->geometry_nodes);
  EXPECT_EQ(nullptr, type->geometry_nodes->next);  // the path line opened no node
  EXPECT_STREQ("body", type->geometry_nodes->name);
  EXPECT_EQ(2, type->geometry_nodes->material);
  // The "file" line after the path line still reaches the open geometry node.
  EXPECT_STREQ("body.obj", type->geometry_nodes->file);
  ASSERT_NE(nullptr, type->cloth_nodes);
  EXPECT_EQ(1, type->cloth_nodes->option);
  EXPECT_EQ(3, type->cloth_nodes->material);
  EXPECT_EQ(nullptr, type->option_nodes);
  ASSERT_NE(nullptr, type->materials);
  EXPECT_EQ(nullptr, type->materials->next);
  EXPECT_STREQ("skin", type->materials->name);
  EXPECT_EQ(7, type->materials->number);

  ASSERT_NE(nullptr, load("units.cdl", "units cm\nobject u\nend object\n"));
  EXPECT_EQ(2, length_unit);
  set_length_unit(1);
}

TEST_F(CdlTest, SegmentsBuildTheTreeAndReadTheirChannels) {
  Agent* type =
      load_object("walker",
                  "segment root\ndof rx ry\ntranslate 1 2 3\nprimitive box\n"
                  "segment spine\nparent root\ncollisions rbd\n"
                  "limits\n  rx -45 45\n\n  ry -1.#INF -10 10 inf\n  rzsoft 0.25\n"
                  "radius 0.3\nsegment arm\nparent root\nsegment leg\nparent nowhere\n"
                  "dynamics\ngravity 9.8\nrbd_solver glowworm\nend dynamics\ndensity 4\n");
  ASSERT_NE(nullptr, type);
  Segment* root = findSegment(type, "root");
  Segment* spine = findSegment(type, "spine");
  Segment* arm = findSegment(type, "arm");
  Segment* leg = findSegment(type, "leg");
  ASSERT_TRUE(root && spine && arm && leg);
  EXPECT_EQ(24, root->dof);
  EXPECT_EQ(63, spine->dof);
  EXPECT_FLOAT_EQ(2.0f, root->rest_matrix[13]);
  EXPECT_EQ(4, root->primitive);
  EXPECT_FLOAT_EQ(0.1f, root->box_size[0]);
  // Children in the order of their "parent" lines.
  EXPECT_EQ(spine, root->child);
  EXPECT_EQ(arm, spine->sibling);
  EXPECT_EQ(nullptr, arm->sibling);
  EXPECT_EQ(nullptr, leg->parent);
  EXPECT_EQ(1, spine->collision_mode);
  // The limits block ends at "radius", which is read as an ordinary line.
  EXPECT_FLOAT_EQ(-45.0f, spine->limits[3].values[0]);
  EXPECT_FLOAT_EQ(45.0f, spine->limits[3].values[3]);
  EXPECT_TRUE(std::isinf(spine->limits[4].values[0]) && spine->limits[4].values[0] < 0);
  EXPECT_FLOAT_EQ(-10.0f, spine->limits[4].values[1]);
  EXPECT_FLOAT_EQ(10.0f, spine->limits[4].values[2]);
  EXPECT_TRUE(std::isinf(spine->limits[4].values[3]) && spine->limits[4].values[3] > 0);
  EXPECT_FLOAT_EQ(0.25f, spine->limits[5].soft);
  EXPECT_FLOAT_EQ(0.3f, spine->radius);
  // Dynamics inside a segment, then back to the segment section.
  EXPECT_FLOAT_EQ(9.8f, leg->dynamics.gravity);
  EXPECT_EQ(2, rbd_solver);
  EXPECT_FLOAT_EQ(4.0f, leg->density);
}

TEST_F(CdlTest, NumericArgumentsTakeVariablesAndExpressions) {
  Agent* type = nullptr;
  std::string err = stderr_of([&] {
    type = load_object("values",
                       "variables\n  height 1.5\nend variables\n"
                       "variable size 2 [1 3] `height * 2`\n"
                       "segment a\nradius height\nlength nothing_defined\n"
                       "threshold `2 * 3 + height`\n");
  });
  ASSERT_NE(nullptr, type);
  Segment* a = findSegment(type, "a");
  ASSERT_NE(nullptr, a);
  EXPECT_FLOAT_EQ(1.5f, a->radius);
  EXPECT_FLOAT_EQ(0.0f, a->length);
  EXPECT_FLOAT_EQ(7.5f, a->threshold);
  EXPECT_NE(std::string::npos, err.find("expression\n expr `2 * 3 + height'\n"));
  EXPECT_NE(std::string::npos, err.find(" expr `2 * 3 + height' = 7.5 (nvar 1)\n"));
  UserVar* height = find_userVar(type, "height");
  ASSERT_NE(nullptr, height);
  EXPECT_EQ(1, height->defined);
  ASSERT_NE(nullptr, type->variable_defs);
  EXPECT_STREQ("size", type->variable_defs->name);
  EXPECT_FLOAT_EQ(2.0f, type->variable_defs->default_value);
  EXPECT_FLOAT_EQ(1.0f, type->variable_defs->range_min);
  EXPECT_FLOAT_EQ(3.0f, type->variable_defs->range_max);
  EXPECT_STREQ("height * 2", type->variable_defs->expression);
}

TEST_F(CdlTest, KeywordsAreTestedInTheirOrder) {
  set_length_unit(1);
  Agent* type = nullptr;
  std::string err = stderr_of([&] {
    type = load("order.cdl", std::string(kHeader) +
                                 "units cm inch\n"  // "inch" is tested first
                                 "object ordered\nscale_var grow\nscale 2\n"  // not "scale"
                                 "vision_zplane_distance 7\n"
                                 "variables\n  speed 3\nend variables\n"  // not "variable"
                                 "dynamics\ngravity 4\nbounce velocity 5\nend dynamics\n"
                                 "z_factor 6\n"      // back in the object section
                                 "segments spine\n"  // "segment" matches as a prefix
                                 "primitive sphere tube box\nik_order `1 + 1`\ntranslate 1 0 0\n"
                                 "transform\n0 1 0 0\n-1 0 0 0\n0 0 1 0\n0 0 2 1\n"
                                 "bone ghost\nend object\n");
  });
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(4, length_unit);
  set_length_unit(1);
  EXPECT_STREQ("grow", type->scale_var);
  EXPECT_FLOAT_EQ(2.0f, type->scale);
  EXPECT_FLOAT_EQ(7.0f, type->vision_zplane_distance);
  UserVar* speed = find_userVar(type, "speed");
  ASSERT_NE(nullptr, speed);
  EXPECT_FLOAT_EQ(3.0f, speed->value);
  EXPECT_EQ(nullptr, type->variable_defs);
  EXPECT_FLOAT_EQ(4.0f, type->dynamics.gravity);
  EXPECT_FLOAT_EQ(5.0f, type->dynamics.bounce_velocity);
  EXPECT_FLOAT_EQ(0.0f, type->dynamics.bounce);
  EXPECT_FLOAT_EQ(6.0f, type->z_factor);
  Segment* spine = type->segments;  // opened by the "segments" line
  ASSERT_NE(nullptr, spine);
  EXPECT_EQ(nullptr, spine->next);
  EXPECT_EQ(2, spine->primitive);
  EXPECT_EQ(2, spine->ik_order);
  EXPECT_NE(std::string::npos, err.find(" expr `1 + 1' = 2\n"));
  // The translation row is carried through the transform: (1 0 0) rotated a quarter turn, plus
  // the transform's own translation.
  EXPECT_FLOAT_EQ(0.0f, spine->rest_matrix[12]);
  EXPECT_FLOAT_EQ(1.0f, spine->rest_matrix[13]);
  EXPECT_FLOAT_EQ(2.0f, spine->rest_matrix[14]);
  EXPECT_NE(std::string::npos, err.find("bones WARNING: Couldn't find bone called `ghost'\n"));
  EXPECT_EQ(nullptr, type->bones);
}

TEST_F(CdlTest, BindPoseLinesBuildAnActionKeptOutOfTheList) {
  // The last line is not numbers: ignored.
  Agent* type = load_object(
      "hero",
      "segment root\nbind_pose 1 2 3 10 20\nsegment tip\nbind_pose -0.5\nbind_pose pose.act\n");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(nullptr, type->actions);
  Action* action = type->bind_pose_action;
  ASSERT_NE(nullptr, action);
  EXPECT_STREQ("hero_bindpose", action->name);
  const char* names[] = {"root:tx", "root:ty", "root:tz", "root:rx", "root:ry", "root:rz",
                         "tip:tx",  "tip:ty",  "tip:tz",  "tip:rx",  "tip:ry",  "tip:rz"};
  const float values[] = {1, 2, 3, 10, 20, 0, -0.5f, 0, 0, 0, 0, 0};
  int i = 0;
  for (Curve* curve = action->curves; curve; curve = curve->next, ++i) {
    ASSERT_LT(i, 12);
    ASSERT_NE(nullptr, curve->points);
    ASSERT_EQ(2, curve->points->count);
    EXPECT_STREQ(names[i], curve->points->channel);
    EXPECT_FLOAT_EQ(0.0f, curve->points->time[0]);
    EXPECT_FLOAT_EQ(1.0f, curve->points->time[1]);
    EXPECT_FLOAT_EQ(values[i], curve->points->value[0]) << names[i];
    EXPECT_FLOAT_EQ(values[i], curve->points->value[1]) << names[i];
  }
  EXPECT_EQ(12, i);

  // The action is named after the file without its 4-character extension.
  Agent* long_extension = load(
      "hero.cdle", std::string(kHeader) + "object hero\nsegment root\nbind_pose 1\nend object\n");
  ASSERT_NE(nullptr, long_extension);
  ASSERT_NE(nullptr, long_extension->bind_pose_action);
  EXPECT_STREQ("hero._bindpose", long_extension->bind_pose_action->name);

  // A bind-pose file named by the object wins over segment lines.
  Agent* with_file = load_object("filed", "bind_pose +pose.act\nsegment root\nbind_pose 1 2 3\n");
  ASSERT_NE(nullptr, with_file);
  EXPECT_STREQ("pose.act", with_file->bind_pose_file);
  EXPECT_EQ(nullptr, with_file->bind_pose_action);
}

TEST_F(CdlTest, MaterialsKeepPerPassRowsAndSelectorsResolveAlternatives) {
  Agent* type = load_object("shaded",
                            "segment root\nmaterial skin\ndiffuse hsv 0 1 1\nspecular 0.1 0.2 0.3\n"
                            "shader \"mib_illum_phong\"\n"
                            "shader beauty_cdl \"mib_illum_lambert\" \"diffuse\" 2 [1 0 0]\n"
                            "displacement_bounds 0.5\ndispl_bounds beauty_cdl 0.25\n"
                            "option heads\nvar head_choice\ngeo head_b\ngeo head_a\nattach root\n"
                            "geometry head_a\ngeometry head_b\n");
  ASSERT_NE(nullptr, type);
  Material* skin = find_material(type, 0);
  ASSERT_NE(nullptr, skin);
  EXPECT_EQ(COLOUR_MODEL_HSV, skin->diffuse.model);
  EXPECT_FLOAT_EQ(1.0f, skin->diffuse.value[2]);
  EXPECT_EQ(COLOUR_MODEL_RGB, skin->specular.model);
  EXPECT_FLOAT_EQ(0.3f, skin->specular.value[2]);
  int pass = find_render_pass("beauty_cdl", RENDERER_MENTAL_RAY);
  ASSERT_GE(pass, 0);
  const MaterialPass* row = material_pass_row(skin, pass);
  EXPECT_STREQ("\"mib_illum_lambert\" \"diffuse\" 2 [1 0 0]", row->surface);
  EXPECT_FLOAT_EQ(0.25f, row->max_displacement);
  const MaterialPass* other = material_pass_row(skin, pass + 1);
  EXPECT_STREQ("\"mib_illum_phong\"", other->surface);
  EXPECT_FLOAT_EQ(0.5f, other->max_displacement);

  OptionNode* heads = type->option_nodes;
  ASSERT_NE(nullptr, heads);
  EXPECT_EQ(OPTION_VARIABLE, heads->source);
  EXPECT_STREQ("head_choice", heads->variable);
  ASSERT_EQ(2, heads->alternative_count);
  EXPECT_STREQ("head_b", heads->alternatives[0].geometry->name);
  EXPECT_STREQ("head_a", heads->alternatives[1].geometry->name);
  EXPECT_EQ(heads, heads->alternatives[0].geometry->selector);
  EXPECT_EQ(findSegment(type, "root"), heads->attach_segment);
  // Rounded and clamped; just below one half rounds down, the half being added in double.
  const std::pair<float, int> choices[] = {{1.6f, 1}, {-0.7f, 0}, {7.0f, 1}, {0.49999997f, 0}};
  for (const auto& [value, choice] : choices) {
    heads->value = value;
    EXPECT_EQ(choice, option_choice(heads)) << value;
  }
}

TEST_F(CdlTest, StateCarriesAcrossReadsAndSegmentKeywordsNeedASegment) {
  Reader reader;
  ASSERT_EQ(1, reader(write("first.cdl", std::string(kHeader) + "object split\nsegment a\n")));
  EXPECT_EQ(CDL_SEGMENT, reader.state);
  EXPECT_EQ(1, reader.count);
  EXPECT_EQ(0xFF010000u, reader.version);
  ASSERT_NE(nullptr, reader.segment);
  Segment* a = reader.segment;
  ASSERT_EQ(1, reader(write("second.cdl", "radius 2\nend object\n")));
  EXPECT_FLOAT_EQ(2.0f, a->radius);
  EXPECT_EQ(CDL_TOP, reader.state);
  EXPECT_EQ(nullptr, reader.object);

  // A segment keyword with no open segment.
  reader.state = CDL_SEGMENT;
  reader.segment = nullptr;
  EXPECT_THAT(stderr_of([&] { reader(write("orphan.cdl", "radius 2\n")); }),
              HasSubstr("NO SEG!!\n"));
}

// Keywords without values, values that do not read and stray block ends are in the agent-file
// fuzzer's corpus, which the suite replays; here, faults with a message or a cut block.
TEST_F(CdlTest, MalformedLinesAreSkippedOrReported) {
  const std::vector<std::string> files = {
      "object a\nsegment s\nparent s\n",        // its own parent
      "object a\nsegment s\ntransform\n1 2\n",  // files cut inside blocks
      "object a\nvariables\nx 1\n",
      "object a\nfuzzy fuzz\nuser inference\n1 2\n",
      "object a\nfuzzy nonsense\nid 4\n",
      "object a\nspring s\nfrom\nto nowhere 1 2 3\n",
      "object a\ndefault_action 7 a b\ndefault_action -1 a b\ntree active\nrender_pass\n",
      std::string(100000, 'x') + "\n" + std::string(50000, '`') + "\n",
      "object a\nsegment s\nlimits\n" + std::string(1000, ' ') + "\nrz\nrx \ntxsoft\n",
      "object a\nsegment s\ndynamics\nactive 1\n",
      "# CDL created with hordera v1.2\nobject a\nsegment root\n dof tx t",
  };
  const std::string err = stderr_of([&] {
    for (size_t i = 0; i < files.size(); ++i)
      EXPECT_EQ(1, read(write("bad" + std::to_string(i) + ".cdl", files[i]))) << i;
  });
  // A self-parent and an unknown brain node kind are reported with file and line.
  EXPECT_THAT(err, HasSubstr("bad0.cdl:3: a segment cannot be its own ancestor"));
  EXPECT_THAT(err, HasSubstr("bad4.cdl:2: unknown brain node kind"));
  EXPECT_THAT(err, HasSubstr("bad2.cdl:"));  // unterminated variables block
  EXPECT_THAT(err, HasSubstr("ERROR: nowhere not a valid parent for spring.\n"));
}

TEST_F(CdlTest, IncludesReadRelativeFilesAndStopAtCyclesAndLimits) {
  // A relative include reads into the current type, in place.
  write("parts/legs.cdl", "segment leg\nparent hips\n");
  Agent* type = load_object("person", "segment hips\ninclude parts/legs.cdl\nsegment head\n");
  ASSERT_NE(nullptr, type);
  Segment* leg = findSegment(type, "leg");
  ASSERT_NE(nullptr, leg);
  EXPECT_EQ(findSegment(type, "hips"), leg->parent);
  EXPECT_EQ(leg, findSegment(type, "hips")->next);
  EXPECT_EQ(findSegment(type, "head"), leg->next);
  ASSERT_NE(nullptr, type->include_path);
  EXPECT_NE(std::string::npos, std::string(type->include_path).find("parts/legs.cdl"));

  // A file that includes itself twice would otherwise be read 2^depth times.
  std::string self = write("self.cdl", "object loop\ninclude self.cdl\ninclude ./self.cdl\n");
  std::string err = stderr_of([&] { EXPECT_EQ(1, read(self)); });
  EXPECT_THAT(err, HasSubstr("self.cdl:2: include of a file that is being read"));
  EXPECT_THAT(err, HasSubstr("self.cdl:3: include of a file that is being read"));
  EXPECT_LT(err.size(), 1000u);

  // A cycle through another file stops where it closes.
  write("ping.cdl", "segment ping\ninclude pong.cdl\n");
  write("pong.cdl", "segment pong\ninclude ping.cdl\n");
  Agent* cycle = nullptr;
  EXPECT_THAT(
      stderr_of([&] { cycle = load("cycle.cdl", "object c\ninclude ping.cdl\nend object\n"); }),
      HasSubstr("pong.cdl:2: include of a file that is being read"));
  ASSERT_NE(nullptr, cycle);
  ASSERT_NE(nullptr, findSegment(cycle, "pong"));
  EXPECT_EQ(nullptr, findSegment(cycle, "pong")->next);

  // Files that include the next one many times stop at the read's budget of includes.
  for (int level = 0; level < 12; ++level) {
    std::string next = "fan" + std::to_string(level + 1) + ".cdl";
    std::string text;
    for (int i = 0; i < 4; ++i) text += "include " + next + "\n";
    write("fan" + std::to_string(level) + ".cdl", text);
  }
  write("fan12.cdl", "segment leaf\n");
  EXPECT_THAT(
      stderr_of([&] { EXPECT_EQ(1, read(write("fan.cdl", "object fan\ninclude fan0.cdl\n"))); }),
      HasSubstr("too many included files"));

  // A chain of 40 files, each including the next: with the top file, 32 files are read and the
  // 32nd of the chain is not.
  for (int level = 1; level <= 40; ++level)
    write("deep" + std::to_string(level) + ".cdl", "segment s" + std::to_string(level) +
                                                       "\ninclude deep" +
                                                       std::to_string(level + 1) + ".cdl\n");
  Agent* deep = nullptr;
  EXPECT_EQ(
      stderr_of([&] { deep = load("deep.cdl", "object d\ninclude deep1.cdl\nend object\n"); }),
      path("deep31.cdl") + ":2: includes nested too deeply, not reading " + path("deep32.cdl") +
          "\n");
  ASSERT_NE(nullptr, deep);
  EXPECT_NE(nullptr, findSegment(deep, "s31"));
  EXPECT_EQ(nullptr, findSegment(deep, "s32"));

  // The same file included twice in a row (not a cycle) is read twice.
  write("part.cdl", "segment part\n");
  Agent* twice = nullptr;
  EXPECT_EQ("", stderr_of([&] {
              twice =
                  load("twice.cdl", "object t\ninclude part.cdl\ninclude part.cdl\nend object\n");
            }));
  ASSERT_NE(nullptr, twice);
  Segment* first = findSegment(twice, "part");
  ASSERT_NE(nullptr, first);
  ASSERT_NE(nullptr, first->next);
  EXPECT_STREQ("part", first->next->name);

  std::string outer = write("outer.cdl", "object o\ninclude missing.cdl\ninclude notes.txt\n");
  err = stderr_of([&] { EXPECT_EQ(1, read(outer)); });
  EXPECT_THAT(err, HasSubstr("Couldn't open cdl file \"" + path("missing.cdl") + "\"\n"));
  EXPECT_THAT(err, HasSubstr("cdl or .act\n"));
}

}  // namespace
