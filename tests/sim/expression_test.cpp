// The expression evaluator: precedence, variables, functions and malformed text.
#include "sim/expression.h"

#include <gtest/gtest.h>

#include "agent/agent.h"

namespace {

double eval(const char* text, int* ok = nullptr, int count = 0, const char* const* names = nullptr,
            const float* values = nullptr, Agent* agent = nullptr) {
  double result = -1.0;
  int status = expression_evaluate(text, agent, count, names, values, &result, nullptr, nullptr);
  if (ok) *ok = status;
  return result;
}

TEST(Expression, PrecedenceAndAssociativity) {
  EXPECT_DOUBLE_EQ(7.0, eval("1 + 2 * 3"));
  EXPECT_DOUBLE_EQ(9.0, eval("(1 + 2) * 3"));
  EXPECT_DOUBLE_EQ(2.0, eval("8 / 2 / 2"));
  EXPECT_DOUBLE_EQ(-4.0, eval("-2^2"));
  EXPECT_DOUBLE_EQ(512.0, eval("2^3^2"));
  EXPECT_DOUBLE_EQ(1.0, eval("7 % 3"));
  EXPECT_DOUBLE_EQ(1.0, eval("1 < 2 && 2 <= 2"));
  EXPECT_DOUBLE_EQ(5.0, eval("0 ? 4 : 5"));
  EXPECT_DOUBLE_EQ(0.0, eval("1 / 0"));  // division by zero gives 0, not infinity
  EXPECT_DOUBLE_EQ(1.5e3, eval("1.5e3"));
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

TEST(Expression, FunctionsUseDegrees) {
  EXPECT_NEAR(1.0, eval("sin(90)"), 1e-12);
  EXPECT_NEAR(45.0, eval("atan2(1, 1)"), 1e-12);
  EXPECT_DOUBLE_EQ(2.0, eval("clamp(5, 0, 2)"));
  EXPECT_DOUBLE_EQ(3.0, eval("max(min(3, 4), abs(-2))"));
  EXPECT_DOUBLE_EQ(2.0, eval("round(1.5)"));
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
