// The expression evaluator: precedence, variables, functions and malformed text.
#include "sim/expression.h"

#include <gtest/gtest.h>

#include <utility>

#include "agent/agent.h"

namespace {

double eval(const char* text, int* ok = nullptr, int count = 0, const char* const* names = nullptr,
            const float* values = nullptr, Agent* agent = nullptr) {
  double result = -1.0;
  int status = expression_evaluate(text, agent, count, names, values, &result, nullptr, nullptr);
  if (ok) *ok = status;
  return result;
}

TEST(Expression, PrecedenceAssociativityAndFunctionsInDegrees) {
  const std::pair<const char*, double> cases[] = {
      {"1 + 2 * 3", 7},       {"(1 + 2) * 3", 9},
      {"8 / 2 / 2", 2},       {"-2^2", -4},
      {"2^3^2", 512},         {"7 % 3", 1},
      {"1 < 2 && 2 <= 2", 1}, {"0 ? 4 : 5", 5},
      {"1.5e3", 1.5e3},       {"1 / 0", 0},  // division by zero gives 0, not infinity
      {"sin(90)", 1},         {"atan2(1, 1)", 45},
      {"clamp(5, 0, 2)", 2},  {"max(min(3, 4), abs(-2))", 3},
      {"round(1.5)", 2},
  };
  for (const auto& [text, expected] : cases) EXPECT_NEAR(expected, eval(text), 1e-12) << text;
}

TEST(Expression, VariablesOverridesFirstThenAgentThenZero) {
  Agent* type = new_agent_type("expression_agent");
  ASSERT_NE(nullptr, type);
  new_userVar(type, "speed")->value = 3.0f;
  new_userVar(type, "pi")->value = 10.0f;  // a variable hides the constant
  const char* names[] = {"speed"};
  const float values[] = {5.0f};
  int count = 0;
  double result = 0.0;
  ASSERT_EQ(1, expression_evaluate("speed * 2 + unknown + pi", type, 1, names, values, &result,
                                   &count, nullptr));
  EXPECT_DOUBLE_EQ(20.0, result);
  EXPECT_EQ(3, count);
  EXPECT_DOUBLE_EQ(16.0, eval("speed * 2 + pi", nullptr, 0, nullptr, nullptr, type));
  EXPECT_NEAR(3.14159265, eval("pi"), 1e-8);
}

TEST(Expression, MalformedTextFailsWithAMessage) {
  for (const char* bad :
       {"", "1 +", "(1 + 2", "2 3", "foo(1)", "min(1)", "1 ? 2", "#", "sin(", "1..2.3"}) {
    int ok = 1;
    double result = eval(bad, &ok);
    EXPECT_EQ(0, ok) << bad;
    EXPECT_DOUBLE_EQ(0.0, result) << bad;
  }
  std::string deep(5000, '(');
  int ok = 1;
  eval(deep.c_str(), &ok);
  EXPECT_EQ(0, ok);
  const char* error = nullptr;
  double result;
  EXPECT_EQ(0, expression_evaluate("(1", nullptr, 0, nullptr, nullptr, &result, nullptr, &error));
  EXPECT_STREQ("missing ')'", error);
}

}  // namespace
