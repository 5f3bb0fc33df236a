// Shader descriptions taken apart: words with bracketed and quoted groups, values filled in from
// an agent, lists of numbers and strings, and the names of image files.
#include "mray/shader_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent/agent.h"

namespace {

using ::testing::HasSubstr;

using Words = std::vector<std::string_view>;

TEST(ShaderDescription, WordsKeepBracketedAndQuotedGroupsWhole) {
  EXPECT_EQ(mray::split_description(
                "\"mib_illum_phong\" \"diffuse\" 2 [0.8 0.2 0.1]\t\"exponent\" 9 [20]"),
            (Words{"\"mib_illum_phong\"", "\"diffuse\"", "2", "[0.8 0.2 0.1]", "\"exponent\"", "9",
                   "[20]"}));
  // A quoted group holds blanks and brackets; a bracketed group holds quotes.
  EXPECT_EQ(mray::split_description(" \"my shader\"  \"maps\" 21 [\"a b\" \"c\"] "),
            (Words{"\"my shader\"", "\"maps\"", "21", "[\"a b\" \"c\"]"}));
  // A group left open runs to the end instead of past it.
  EXPECT_EQ(mray::split_description("\"s\" \"p\" 9 [1 2"), (Words{"\"s\"", "\"p\"", "9", "[1 2"}));
  EXPECT_EQ(mray::split_description("\"unterminated name"), (Words{"\"unterminated name"}));
  EXPECT_TRUE(mray::split_description(" \t ").empty());
}

TEST(ShaderDescription, ValuesBetweenSingleQuotesComeFromTheAgent) {
  Agent* type = new_agent_type("expander");
  new_userVar(type, "height")->value = 1.5f;
  new_userVar(type, "variant")->value = 3;
  std::string error;
  EXPECT_EQ(mray::expand_description(
                "\"s\" \"k\" 9 ['height * 2'] \"map\" 13 [\"skin_'variant'.tif\"]", type, &error),
            "\"s\" \"k\" 9 [3] \"map\" 13 [\"skin_3.tif\"]");
  EXPECT_EQ(error, "");
  // Values keep every digit a float holds, and no more.
  EXPECT_EQ(mray::expand_description("['height / 3'] ['0.1'] ['-1e-7']", type),
            "[0.5] [0.1] [-1e-07]");
  // An expression that cannot be read gives 0 and says which; a lone quote stays as written.
  EXPECT_EQ(mray::expand_description("['height +'] it's", type, &error), "[0] it's");
  EXPECT_THAT(error, HasSubstr("'height +'"));
  // An unknown variable reads 0, as everywhere in agent files.
  EXPECT_EQ(mray::expand_description("'nothing'", type), "0");
  EXPECT_EQ(mray::expand_description("no quotes at all", nullptr), "no quotes at all");
}

TEST(ShaderDescription, NumberListsAndImageFileNames) {
  EXPECT_EQ(mray::number_items("[ 2 3 ]"), (std::vector<float>{2, 3}));
  EXPECT_EQ(mray::number_items("[abc 4]"), (std::vector<float>{0, 4}));
  EXPECT_EQ(mray::quoted_items("[\"a\" \"b c\" \"\"]"), (std::vector<std::string>{"a", "b c", ""}));
  EXPECT_TRUE(mray::is_image_file_name("/a/b.SKIN.Map"));
  EXPECT_FALSE(mray::is_image_file_name("maps/skin.tiff.bak"));
  EXPECT_FALSE(mray::is_image_file_name("dir.tif/file"));
}

}  // namespace
