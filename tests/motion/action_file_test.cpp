// Action files: the text form read and written back, the binary form in both byte orders and
// versions, loading onto an agent with its messages and default brain node, and readers that
// keep what they read before a fault.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "base/stream.h"
#include "motion/action.h"
#include "sim/action_loading.h"
#include "sim/brain.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::read_file;
using scratch::stderr_of;
using scratch::write_file;
using testing::HasSubstr;

std::string temp_path(const std::string& name) {
  return scratch::temp_path("action_file_" + name);
}

// Writes `text` to a file and reads it as an action list of the text form.
int read_text(const std::string& name, const std::string& text, Action** list) {
  write_file(temp_path(name), text);
  Stream* in = stream_open(temp_path(name).c_str(), "r", 0);
  const int result = actions_read_text(in, nullptr, list);
  stream_close(in);
  return result;
}

// Writes `bytes` to a file and reads it as binary action data.
int read_binary(const std::string& name, const std::string& bytes, Action** list) {
  write_file(temp_path(name), bytes);
  *list = nullptr;
  return actions_read_binary(temp_path(name).c_str(), nullptr, list);
}

int count_actions(const Action* list) {
  int n = 0;
  for (; list; list = list->next) ++n;
  return n;
}

// Frees a list of actions that belongs to no agent.
void free_actions(Action*& list) {
  while (list) {
    Action* next = list->next;
    action_free(list);
    list = next;
  }
}

Curve* nth_curve(Action* action, int n) {
  Curve* curve = action->curves;
  while (curve && n-- > 0) curve = curve->next;
  return curve;
}

// Builds binary action data in our own byte order or the other one.
struct BinaryWriter {
  bool swapped = false;
  std::string bytes;

  void word(uint32_t w) {
    if (swapped) w = __builtin_bswap32(w);
    bytes.append(reinterpret_cast<const char*>(&w), 4);
  }
  void real(float f) { word(std::bit_cast<uint32_t>(f)); }
  void byte(uint8_t b) { bytes.push_back(static_cast<char>(b)); }
  void text(const std::string& s) {
    word(static_cast<uint32_t>(s.size() + 1));
    bytes.append(s.c_str(), s.size() + 1);  // with its terminating zero
  }
  void action(const std::string& name, float rate, int track, float l0, float l1, float l2,
              uint8_t flags, int version = 2) {
    word(1);
    text(name);
    real(rate);
    if (version == 2) byte(static_cast<uint8_t>(track));
    for (float l : {l0, l1, l2}) real(l);
    byte(flags);
  }
  void curve(const std::string& channel, uint32_t code, const std::vector<float>& times,
             const std::vector<float>& values) {
    word(2);
    text(channel);
    word(static_cast<uint32_t>(times.size()));
    word(code);
    for (float t : times) real(t);
    for (float v : values) real(v);
  }
};

std::string sample_binary(bool swapped) {
  BinaryWriter w;
  w.swapped = swapped;
  w.word(0xFF01);
  w.action("walk", 0.5f, 3, 0.1f, 0.9f, 0, 1);
  w.curve("hip:rx", 0, {0, 0.5f}, {10, 20});
  w.curve("latch", 3, {0, 0.5f}, {1, 0});
  w.curve("legs:ry", 1, {0, 0.5f, 1}, {0, 1, 0});
  w.action("9lives", 2, 0, 0, 1, 0, 2);
  w.curve("transition", 2, {0, 1}, {0, 1});
  w.curve("odd", 17, {0.5f}, {3});
  return w.bytes;
}

TEST(ActionText, ReadsListWritesItBackAndSurvivesDamagedText) {
  const std::string path = temp_path("list.act");
  // Among the key lines of the second curve, a line that looks like a comment scans as nothing.
  write_file(path,
             "# made by hand\nobject skipped before the first action\n"
             "action 2step\n    rate 0.5\n    track 2\n"
             "    curve\n\tchannel hip:rx\n\ttype cosine\n\t2 points\n"
             "                0 1\n                0.5 2\n    end curve\n"
             "    curve\n\t3 points\n0 1\n# not a comment\n0.6 3\n    end curve\n\n"
             "action walk\n    loop 0.1 0.9 0\n"
             "    curve\n        channel latch\n        type constant\n"
             "        1 points\n        0 1\n    end curve\n"
             "action run\n    loop 0 1 0 one_shot no_retrigger\r\nend object\nafter\n");
  Agent* type = new_agent_type("text reader");
  Stream* in = stream_open(path.c_str(), "r", 0);
  ASSERT_EQ(actions_read_text(in, type, &type->actions), 1);
  char line[64];
  ASSERT_NE(stream_gets(in, line, sizeof line), nullptr);
  EXPECT_STREQ(line, "end object\n");  // the line that ended the list is pushed back
  stream_close(in);

  ASSERT_EQ(count_actions(type->actions), 3);
  Action* step = type->actions;
  EXPECT_STREQ(step->name, "_2step");
  EXPECT_FLOAT_EQ(step->rate, 0.5f);
  EXPECT_FLOAT_EQ(step->working_rate, 0.5f);
  EXPECT_EQ(step->track, 2);
  EXPECT_EQ(step->flags, ACTION_NO_RETRIGGER);
  Curve* first = nth_curve(step, 0);
  Curve* second = nth_curve(step, 1);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(first->points->type, CURVE_COSINE);
  // The second curve has neither "type" nor "channel": it takes the first one's.
  EXPECT_STREQ(second->points->channel, "hip:rx");
  EXPECT_EQ(second->points->type, CURVE_COSINE);
  EXPECT_EQ(second->points->count, 3);
  EXPECT_FLOAT_EQ(second->points->time[2], 0.6f);
  EXPECT_EQ(second->id, 2);
  EXPECT_EQ(first->kind, CURVE_KIND_SEGMENT);  // bound after reading; "hip" is no segment
  EXPECT_EQ(first->channel_index, -1);

  Action* walk = step->next;
  EXPECT_EQ(walk->flags, 0);  // a loop line without keywords clears both flags
  EXPECT_FLOAT_EQ(walk->loop[0], 0.1f);
  EXPECT_FLOAT_EQ(walk->loop[1], 0.9f);
  EXPECT_EQ(walk->latch, walk->curves);
  EXPECT_EQ(walk->curves->channel_index, 1);
  EXPECT_EQ(walk->next->flags, ACTION_ONE_SHOT | ACTION_NO_RETRIGGER);

  const std::string out_path = temp_path("written.act");
  Stream* out = stream_open(out_path.c_str(), "w", 0);
  actions_write_text(out, type->actions);
  stream_close(out);
  const std::string text = read_file(out_path);
  EXPECT_EQ(text.find("\naction _2step\n    rate 0.500000\n    track 2\n"
                      "    loop 0.000000 1.000000 0.000000 no_retrigger\n    curve\n"
                      "\tchannel hip:rx\n"),
            0u);
  EXPECT_NE(text.find("\naction walk\n    rate 1.000000\n    track 0\n"
                      "    loop 0.100000 0.900000 0.000000\n    curve\n\tchannel latch\n"
                      "\ttype constant\n\t1 points\n                0.000000 1.000000\n"
                      "    end curve\n"),
            std::string::npos);
  EXPECT_NE(text.find("loop 0.000000 1.000000 0.000000 one_shot no_retrigger\n"),
            std::string::npos);

  // What was written reads back to the same actions.
  Action* again = nullptr;
  ASSERT_EQ(read_text("again.act", text, &again), 1);
  ASSERT_EQ(count_actions(again), 3);
  EXPECT_STREQ(again->name, "_2step");
  EXPECT_EQ(again->flags, ACTION_NO_RETRIGGER);
  EXPECT_EQ(nth_curve(again, 1)->points->count, 3);
  EXPECT_EQ(again->next->flags, 0);
  free_actions(again);

  // Damaged text keeps what was read before the damage.
  Action* list = nullptr;
  ASSERT_EQ(read_text("broken.act",
                      "action cut\n  curve\n  channel a:tx\n  type spline1d\n  9 points\n"
                      "  0.25 1 0.5\n\n" +
                          std::string(2500, '7') + "\n",
                      &list),
            1);
  ASSERT_NE(list, nullptr);
  CurvePoints* k = list->curves->points;
  ASSERT_NE(k, nullptr);
  EXPECT_EQ(k->type, CURVE_SPLINE1D);
  EXPECT_FLOAT_EQ(k->time[0], 0.25f);
  EXPECT_FLOAT_EQ(k->in_x[0], 0.5f);
  EXPECT_FLOAT_EQ(k->in_y[0], 0);  // a short key line leaves the rest as it was
  // Nine keys announced, and five key lines left: the short one, the empty one and the long
  // line in three pieces of at most 999 bytes. Only those five keys are made.
  EXPECT_EQ(k->count, 5);
  EXPECT_TRUE(std::isinf(k->time[2])) << k->time[2];  // 2500 sevens overflow a float
  free_actions(list);

  // The type remembered across curves starts again at each read: after the spline1d curve above,
  // a first curve without a "type" line is linear.
  ASSERT_EQ(read_text("plain.act",
                      "action plain\ncurve\nchannel a:tx\n2 points\n0 0\n1 4\nend curve\n", &list),
            1);
  EXPECT_EQ(list->curves->points->type, CURVE_LINEAR);
  EXPECT_FLOAT_EQ(curve_evaluate(list->curves, 0.25f), 1.0f);
  free_actions(list);

  Action* none = nullptr;
  EXPECT_EQ(read_text("none.act", "no actions here\nsegment hip\n", &none), 0);
  EXPECT_EQ(none, nullptr);
}

TEST(ActionBinary, BothByteOrdersVersionsTagsAndDamage) {
  Action* lists[2] = {nullptr, nullptr};
  for (int swapped : {0, 1})
    ASSERT_EQ(read_binary("sample.actb", sample_binary(swapped), &lists[swapped]), 1);
  for (Action* list : lists) {
    ASSERT_EQ(count_actions(list), 2);
    Action* walk = list;
    EXPECT_STREQ(walk->name, "walk");
    EXPECT_FLOAT_EQ(walk->rate, 0.5f);
    EXPECT_EQ(walk->track, 3);
    EXPECT_FLOAT_EQ(walk->loop[0], 0.1f);
    EXPECT_FLOAT_EQ(walk->loop[1], 0.9f);
    EXPECT_EQ(walk->flags, ACTION_ONE_SHOT);
    Curve* hip = nth_curve(walk, 0);
    EXPECT_STREQ(hip->points->channel, "hip:rx");
    EXPECT_EQ(hip->points->type, CURVE_LINEAR);
    EXPECT_FLOAT_EQ(hip->points->value[1], 20);
    // A two-key latch curve is closed with a third key at 1.0 holding the second value.
    Curve* latch = nth_curve(walk, 1);
    EXPECT_EQ(walk->latch, latch);
    EXPECT_EQ(latch->points->type, CURVE_CONSTANT);
    ASSERT_EQ(latch->points->count, 3);
    EXPECT_FLOAT_EQ(latch->points->time[2], 1.0f);
    EXPECT_FLOAT_EQ(latch->points->value[2], 0);
    EXPECT_EQ(latch->id, 2);
    // A spline1d curve gets automatic tangents: it evaluates smoothly through its keys.
    Curve* legs = nth_curve(walk, 2);
    EXPECT_EQ(legs->points->type, CURVE_SPLINE1D);
    ASSERT_NE(legs->points->in_x, nullptr);
    EXPECT_FLOAT_EQ(curve_evaluate(legs, 0.5f), 1);
    EXPECT_GT(curve_evaluate(legs, 0.4f), 0.8f);

    Action* lives = walk->next;
    EXPECT_STREQ(lives->name, "_9lives");
    EXPECT_EQ(lives->transition, lives->curves);
    EXPECT_EQ(lives->curves->points->type, CURVE_COSINE);
    EXPECT_EQ(nth_curve(lives, 1)->points->type, 17);  // other codes are stored as they are
  }
  free_actions(lists[0]);
  free_actions(lists[1]);

  // Version 1 has no track byte.
  BinaryWriter v1;
  v1.word(7);
  v1.action("old", 1.5f, 9, 0.2f, 0.8f, 0, 2, 1);
  v1.curve("x:tx", 0, {0, 1}, {1, 2});
  Action* list = nullptr;
  ASSERT_EQ(read_binary("v1.actb", v1.bytes, &list), 1);
  ASSERT_EQ(count_actions(list), 1);
  EXPECT_EQ(list->track, 0);
  EXPECT_FLOAT_EQ(list->loop[0], 0.2f);
  EXPECT_FLOAT_EQ(list->loop[1], 0.8f);
  EXPECT_EQ(list->flags, 2);
  ASSERT_NE(list->curves, nullptr);
  EXPECT_FLOAT_EQ(list->curves->points->value[1], 2);
  free_actions(list);

  // A curve before any action is skipped; an unknown tag ends the read.
  BinaryWriter tags;
  tags.word(0xFF01);
  tags.curve("orphan", 0, {0}, {1});
  tags.action("kept", 1, 0, 0, 1, 0, 2);
  tags.word(5);
  tags.action("lost", 1, 0, 0, 1, 0, 2);
  ASSERT_EQ(read_binary("tags.actb", tags.bytes, &list), 1);
  ASSERT_EQ(count_actions(list), 1);
  EXPECT_STREQ(list->name, "kept");
  EXPECT_EQ(list->curves, nullptr);
  free_actions(list);

  // A string length past the end of the file, and a key count past it, stop safely.
  for (int damage : {0, 1}) {
    BinaryWriter cut;
    cut.word(0xFF01);
    cut.action("whole", 1, 0, 0, 1, 0, 2);
    cut.curve("a:tx", 0, {0, 1}, {5, 6});
    if (damage == 0) {
      cut.word(1);
      cut.word(1000000);
      cut.bytes += "short";
    } else {
      cut.word(2);
      cut.text("b:ty");
      cut.word(0x40000000);
      cut.word(0);
      cut.real(1);
    }
    ASSERT_EQ(read_binary("cut.actb", cut.bytes, &list), 1);
    ASSERT_EQ(count_actions(list), 1) << damage;
    ASSERT_NE(list->curves, nullptr);
    EXPECT_EQ(list->curves->next, nullptr) << damage;
    EXPECT_FLOAT_EQ(list->curves->points->value[1], 6);
    free_actions(list);
  }

  // A file shorter than its header word is refused; other cuts and damaged words are the
  // binary action fuzzer's.
  EXPECT_EQ(read_binary("prefix.actb", sample_binary(false).substr(0, 3), &list), 0);
  EXPECT_EQ(list, nullptr);
}

TEST(ActionFile, LoadMessagesDefaultBrainNodeAndImportByExtension) {
  Agent* type = new_agent_type("loader");
  Agent* agent = new_agent_instance(type);
  const std::string good = temp_path("good.act");
  write_file(good, "action stroll\n  curve\n  channel tail\n  1 points\n  0 1\n  end curve\n");
  const std::string empty = temp_path("empty.act");
  write_file(empty, "# nothing\nobject x\n");
  const std::string missing = temp_path("missing.act");
  const std::string missing_binary = temp_path("missing.actb");
  const std::string wrong = temp_path("good.txt");

  struct Case {
    Agent* agent;
    std::string path;
    std::string message;
  } cases[] = {
      {agent, wrong, "act, or *.actb\n"},
      {nullptr, good, "Please load an agent prior to loading an action file\n"},
      {agent, missing, "Action file " + missing + " could not be opened\n"},
      {agent, missing_binary, "Action file " + missing_binary + " could not be opened\n"},
      {agent, empty, "Action file " + empty + " is invalid - does not contain actions\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(load_action_file(c.agent, c.path.c_str()), 0); }),
              c.message);
  EXPECT_EQ(type->actions, nullptr);
  EXPECT_EQ(type->brain, nullptr);

  // A good file lands on the type's list, binds its variable curve on the type, and gives a
  // brainless type one output node named after its first action.
  ASSERT_EQ(load_action_file(agent, good.c_str()), 1);
  ASSERT_EQ(count_actions(type->actions), 1);
  EXPECT_NE(find_userVar(type, "tail"), nullptr);
  BrainNode* node = type->brain;
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->next, nullptr);
  EXPECT_EQ(node->kind, BRAIN_OUTPUT);
  EXPECT_EQ(node->position[0], 200);
  EXPECT_EQ(node->position[1], 400);
  EXPECT_EQ(node->id, 1);
  EXPECT_STREQ(node->name, "stroll");
  EXPECT_FLOAT_EQ(node->weight, 1.0f);
  EXPECT_NE(agent->playbacks, nullptr);

  // A second file appends; the brain is left alone. The binary form loads by extension.
  const std::string binary = temp_path("more.actb");
  write_file(binary, sample_binary(true));
  ASSERT_EQ(load_action_file(agent, binary.c_str()), 1);
  EXPECT_EQ(count_actions(type->actions), 3);
  EXPECT_EQ(type->brain->next, nullptr);
  EXPECT_NE(findAction(agent, "_9lives"), nullptr);

  // Loading binds the brain's outputs again: an output naming a variable that only the loaded
  // curves bring now writes into it.
  Agent* driven = new_agent_type("driven");
  BrainNode* output = brain_new_node(driven, BRAIN_OUTPUT);
  output->channel = strdup("tail");
  compileOutputs(driven);
  EXPECT_EQ(output->target, nullptr);
  ASSERT_EQ(load_action_file(driven, good.c_str()), 1);
  ASSERT_NE(find_userVar(driven, "tail"), nullptr);
  EXPECT_EQ(output->target, &find_userVar(driven, "tail")->value);

  // Import picks the reader by extension.
  Agent* importer = new_agent_type("importer");
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(agent_import_action(importer, good.c_str()), 1); }),
            "importing " + good + "\n");
  EXPECT_NE(findAction(importer, "stroll"), nullptr);

  // Compressed text loads through the gzip stream.
  const std::string gz = temp_path("import.act.gz");
  scratch::write_stream(gz, "action skip\n    rate 2\n", 1);
  stderr_of([&] { EXPECT_EQ(agent_import_action(importer, gz.c_str()), 1); });
  ASSERT_NE(findAction(importer, "skip"), nullptr);
  EXPECT_FLOAT_EQ(findAction(importer, "skip")->rate, 2);

  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(agent_import_action(importer, "motion.mov"), 0); }),
            "importing motion.mov\nact, *.actb, *.amc, or *.bvh\n");
  const std::string amc = temp_path("absent.AMC");
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(agent_import_action(importer, amc.c_str()), 0); }),
            "importing " + amc + "\nAMC file " + amc + " could not be opened\n");
  const std::string bvh = temp_path("capture.bvh");
  write_file(bvh, "HIERARCHY\n");
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(agent_import_action(importer, bvh.c_str()), 0); }),
              HasSubstr(bvh + ":1: hierarchy incomplete"));
  EXPECT_EQ(count_actions(importer->actions), 2);
}

}  // namespace
