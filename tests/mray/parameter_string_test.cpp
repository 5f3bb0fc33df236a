// The parameter string parser: files, frame, name/value pairs, and the strings it must not trip
// over. Renderer memory comes from the stand-in host linked into this test.
#include "mray/parameter_string.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "host/memory.h"
#include "mray/renderer_functions.h"

namespace {

class ParameterString : public ::testing::Test {
 protected:
  void SetUp() override { miSetModuleHandle(dlopen(nullptr, RTLD_NOW)); }

  // Parses `text` into `args_`; returns what the parser printed on standard error.
  std::string parse(const std::string& text) {
    mray::init_render_args(&args_);
    testing::internal::CaptureStderr();
    mray::parse_parameter_string(&args_, text.c_str());
    return testing::internal::GetCapturedStderr();
  }

  // Gives the strings and pairs back, leaving the record itself (a local) alone.
  void TearDown() override {
    for (char* text : {args_.cdl_file, args_.motion_file, args_.apf_file})
      host::release_memory(text);
    for (int i = 0; i < args_.pair_count; ++i) host::release_memory(args_.pairs[i].string);
    host::release_memory(args_.pairs);
    EXPECT_TRUE(host::memory_in_use().empty());
    EXPECT_EQ(host::memory_release_faults(), 0u);
  }

  MrayRenderArgs args_{};
};

TEST_F(ParameterString, PoseCacheNamesAreRecognisedByTheirEnding) {
  EXPECT_TRUE(mray::is_apf_file_name("x.apf"));
  EXPECT_TRUE(mray::is_apf_file_name("/s/frame.3.apf.gz"));
  EXPECT_FALSE(mray::is_apf_file_name("x.apf.bak"));
  EXPECT_FALSE(mray::is_apf_file_name("x.apfx"));
  EXPECT_FALSE(mray::is_apf_file_name("walk.amc"));
  // Only the first ".apf" counts: here it is followed by more than ".apf".
  EXPECT_FALSE(mray::is_apf_file_name("a.apf.d/frame.1.apf"));
}

// How the words fall: the agent file, a pose cache or else a motion file, the frame, the pairs;
// too few words leave the record alone.
TEST_F(ParameterString, WordsFallIntoFilesFrameAndPairs) {
  const char* const too_few = "not enough parameters\n";
  const struct {
    const char* text;
    const char* cdl;
    const char* apf;
    const char* motion;
    int frame;
    int pairs;
    const char* printed = "";
  } cases[] = {
      {"a.cdl /sim/frame.12.apf 12 speed 1.5 cloth_path /c", "a.cdl", "/sim/frame.12.apf", nullptr,
       12, 2},
      {"a.cdl x.apf.gz 4", "a.cdl", "x.apf.gz", nullptr, 4, 0},
      {"a.cdl x.apf.bak 3", "a.cdl", nullptr, "x.apf.bak", 3, 0},
      {"a.cdl b.amc", "a.cdl", nullptr, "b.amc", 1, 0},  // two words keep frame 1
      // A leading blank makes an empty first word, and "x.apf" is read as a frame number; four
      // words counted, so "5" is a dangling name and there are no pair records.
      {" a.cdl x.apf 5", "", nullptr, "a.cdl", 0, 0},
      {"", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"a.cdl", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"   ", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"a.cdl x.apf 2 speed", "a.cdl", "x.apf", nullptr, 2, 0},
      {"a.cdl x.apf 2 speed 3 height", "a.cdl", "x.apf", nullptr, 2, 1},  // "height" dropped
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    if (&c != cases) TearDown();  // gives the previous case's strings back
    EXPECT_EQ(parse(c.text), c.printed);
    EXPECT_STREQ(args_.cdl_file, c.cdl);
    EXPECT_STREQ(args_.apf_file, c.apf);
    EXPECT_STREQ(args_.motion_file, c.motion);
    EXPECT_EQ(args_.frame, c.frame);
    EXPECT_EQ(args_.id, -1);
    ASSERT_EQ(args_.pair_count, c.pairs);
    EXPECT_EQ(args_.pairs == nullptr, c.pairs == 0);
  }
  EXPECT_STREQ(args_.pairs[0].name, "speed");
  EXPECT_FLOAT_EQ(args_.pairs[0].number, 3.0f);
}

TEST_F(ParameterString, ValuesAreNumbersOnlyWhenTheyStartLikeOne) {
  EXPECT_EQ(parse("a.cdl m.amc 1 a .5 b -2 c abc d e5 e +3"), "");
  ASSERT_EQ(args_.pair_count, 5);
  const struct {
    const char* name;
    uint8_t kind;
    float number;
    const char* text;
  } expected[] = {{"a", MRAY_PAIR_NUMBER, 0.5f, nullptr},
                  {"b", MRAY_PAIR_NUMBER, -2.0f, nullptr},
                  {"c", MRAY_PAIR_STRING, 0.0f, "abc"},
                  {"d", MRAY_PAIR_STRING, 0.0f, "e5"},
                  {"e", MRAY_PAIR_NUMBER, 3.0f, nullptr}};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(expected[i].name);
    EXPECT_STREQ(args_.pairs[i].name, expected[i].name);
    EXPECT_EQ(args_.pairs[i].kind, expected[i].kind);
    EXPECT_FLOAT_EQ(args_.pairs[i].number, expected[i].number);
    if (expected[i].text)
      EXPECT_STREQ(args_.pairs[i].string, expected[i].text);
    else
      EXPECT_EQ(args_.pairs[i].string, nullptr);
  }
  EXPECT_STREQ(args_.motion_file, "m.amc");
  // Renderer memory is tagged with the front-end's source name.
  for (const host::MemoryBlock& block : host::memory_in_use()) EXPECT_EQ(block.file, "mray");
}

TEST_F(ParameterString, OverlongNameIsCutToItsBuffer) {
  const std::string name(300, 'n');
  parse("a.cdl x.apf 2 " + name + " 1");
  ASSERT_EQ(args_.pair_count, 1);
  EXPECT_EQ(std::string(args_.pairs[0].name), name.substr(0, MRAY_PAIR_NAME_MAX));
  EXPECT_FLOAT_EQ(args_.pairs[0].number, 1.0f);
}

TEST_F(ParameterString, PairArrayBeyondTheAllocatorsSizeIsNotAllocated) {
  // 40 million words ask for more pair records than a 32-bit allocation size can hold; the
  // record must then claim no pairs rather than fill a truncated array.
  std::string text;
  text.reserve(80'000'000);
  text += "a.cdl x.apf 3";
  while (text.size() + 2 <= 80'000'000) text += " a";
  EXPECT_EQ(parse(text), "");
  EXPECT_STREQ(args_.cdl_file, "a.cdl");
  EXPECT_EQ(args_.frame, 3);
  EXPECT_EQ(args_.pair_count, 0);
  EXPECT_EQ(args_.pairs, nullptr);
}

}  // namespace
