// A recursive-descent evaluator of the arithmetic expressions that agent authors write between
// backquotes: numbers, variables, the usual operators and a set of functions. Angles of the
// trigonometric functions are degrees, as everywhere else in agent files.
#include "sim/expression.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "agent/agent.h"

namespace {

constexpr double kDegrees = 57.29577951308232;
// Nesting limit of parentheses and unary operators, so hostile text cannot exhaust the stack.
constexpr int kMaxDepth = 200;

class Parser {
 public:
  Parser(std::string_view text, Agent* agent, int override_count, const char* const* names,
         const float* values)
      : text_(text),
        agent_(agent),
        override_count_(override_count),
        names_(names),
        values_(values) {}

  bool parse(double* result) {
    double value = conditional();
    skip_blanks();
    if (!error_ && pos_ < text_.size()) fail("unexpected character");
    *result = error_ ? 0.0 : value;
    return !error_;
  }

  const char* error() const { return error_; }
  int variable_count() const { return variables_; }

 private:
  void fail(const char* message) {
    if (!error_) error_ = message;
  }

  void skip_blanks() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }

  // Consumes `token` when it comes next (after blanks).
  bool accept(std::string_view token) {
    skip_blanks();
    if (text_.substr(pos_, token.size()) == token) {
      pos_ += token.size();
      return true;
    }
    return false;
  }

  // cond ? a : b, right-associative.
  double conditional() {
    if (++depth_ > kMaxDepth) {
      fail("expression nested too deeply");
      --depth_;
      return 0.0;
    }
    double condition = logical_or();
    double value = condition;
    if (accept("?")) {
      double when_true = conditional();
      if (!accept(":")) fail("missing ':' after '?'");
      double when_false = conditional();
      value = condition != 0.0 ? when_true : when_false;
    }
    --depth_;
    return value;
  }

  double logical_or() {
    double value = logical_and();
    while (!error_ && accept("||")) {
      double right = logical_and();
      value = (value != 0.0 || right != 0.0) ? 1.0 : 0.0;
    }
    return value;
  }

  double logical_and() {
    double value = comparison();
    while (!error_ && accept("&&")) {
      double right = comparison();
      value = (value != 0.0 && right != 0.0) ? 1.0 : 0.0;
    }
    return value;
  }

  double comparison() {
    double value = sum();
    while (!error_) {
      if (accept("<="))
        value = value <= sum() ? 1.0 : 0.0;
      else if (accept(">="))
        value = value >= sum() ? 1.0 : 0.0;
      else if (accept("=="))
        value = value == sum() ? 1.0 : 0.0;
      else if (accept("!="))
        value = value != sum() ? 1.0 : 0.0;
      else if (accept("<"))
        value = value < sum() ? 1.0 : 0.0;
      else if (accept(">"))
        value = value > sum() ? 1.0 : 0.0;
      else
        break;
    }
    return value;
  }

  double sum() {
    double value = product();
    while (!error_) {
      if (accept("+"))
        value += product();
      else if (accept("-"))
        value -= product();
      else
        break;
    }
    return value;
  }

  double product() {
    double value = unary();
    while (!error_) {
      if (accept("*")) {
        value *= unary();
      } else if (accept("/")) {
        double divisor = unary();
        value = divisor != 0.0 ? value / divisor : 0.0;
      } else if (accept("%")) {
        double divisor = unary();
        value = divisor != 0.0 ? std::fmod(value, divisor) : 0.0;
      } else {
        break;
      }
    }
    return value;
  }

  double unary() {
    if (++depth_ > kMaxDepth) {
      fail("expression nested too deeply");
      --depth_;
      return 0.0;
    }
    double value;
    if (accept("-"))
      value = -unary();
    else if (accept("+"))
      value = unary();
    else if (accept("!"))
      value = unary() == 0.0 ? 1.0 : 0.0;
    else
      value = power();
    --depth_;
    return value;
  }

  // a ^ b, right-associative and binding tighter than unary minus on its left: -2^2 is -4.
  double power() {
    double base = primary();
    if (!error_ && accept("^")) return std::pow(base, unary());
    return base;
  }

  double primary() {
    skip_blanks();
    if (pos_ >= text_.size()) {
      fail("missing value");
      return 0.0;
    }
    char c = text_[pos_];
    if (c == '(') {
      ++pos_;
      double value = conditional();
      if (!accept(")")) fail("missing ')'");
      return value;
    }
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.') return number();
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      size_t start = pos_;
      while (pos_ < text_.size() &&
             (std::isalnum(static_cast<unsigned char>(text_[pos_])) || text_[pos_] == '_'))
        ++pos_;
      std::string name(text_.substr(start, pos_ - start));
      if (accept("(")) return call(name);
      return variable(name);
    }
    fail("unexpected character");
    return 0.0;
  }

  double number() {
    std::string digits;
    size_t start = pos_;
    while (pos_ < text_.size()) {
      char c = text_[pos_];
      bool exponent_sign = (c == '+' || c == '-') && pos_ > start &&
                           (text_[pos_ - 1] == 'e' || text_[pos_ - 1] == 'E');
      if (std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == 'e' || c == 'E' ||
          exponent_sign)
        ++pos_;
      else
        break;
    }
    digits.assign(text_.substr(start, pos_ - start));
    char* end = nullptr;
    double value = std::strtod(digits.c_str(), &end);
    if (end != digits.c_str() + digits.size()) fail("malformed number");
    return value;
  }

  double variable(const std::string& name) {
    ++variables_;
    for (int i = 0; i < override_count_; ++i)
      if (names_ && names_[i] && name == names_[i]) return values_ ? values_[i] : 0.0;
    if (agent_) {
      if (UserVar* user = find_userVar(agent_, name.c_str())) return user->value;
    }
    if (name == "pi") return M_PI;
    if (name == "e") return M_E;
    return 0.0;
  }

  double call(const std::string& name) {
    double args[3] = {0.0, 0.0, 0.0};
    int count = 0;
    if (!accept(")")) {
      do {
        double value = conditional();
        if (count < 3) args[count] = value;
        ++count;
      } while (!error_ && accept(","));
      if (!accept(")")) fail("missing ')' after function arguments");
    }
    if (error_) return 0.0;
    struct Function {
      const char* name;
      int arity;
    };
    static constexpr Function kFunctions[] = {
        {"abs", 1},  {"sqrt", 1},  {"exp", 1},   {"log", 1},   {"log10", 1}, {"floor", 1},
        {"ceil", 1}, {"round", 1}, {"sin", 1},   {"cos", 1},   {"tan", 1},   {"asin", 1},
        {"acos", 1}, {"atan", 1},  {"sign", 1},  {"atan2", 2}, {"pow", 2},   {"min", 2},
        {"max", 2},  {"fmod", 2},  {"clamp", 3}, {"lerp", 3},  {"step", 2},
    };
    const Function* function = nullptr;
    for (const Function& candidate : kFunctions)
      if (name == candidate.name) function = &candidate;
    if (!function) {
      fail("unknown function");
      return 0.0;
    }
    if (count != function->arity) {
      fail("wrong number of function arguments");
      return 0.0;
    }
    const double a = args[0], b = args[1], c = args[2];
    if (name == "abs") return std::fabs(a);
    if (name == "sqrt") return a >= 0.0 ? std::sqrt(a) : 0.0;
    if (name == "exp") return std::exp(a);
    if (name == "log") return a > 0.0 ? std::log(a) : 0.0;
    if (name == "log10") return a > 0.0 ? std::log10(a) : 0.0;
    if (name == "floor") return std::floor(a);
    if (name == "ceil") return std::ceil(a);
    if (name == "round") return std::floor(a + 0.5);
    if (name == "sin") return std::sin(a / kDegrees);
    if (name == "cos") return std::cos(a / kDegrees);
    if (name == "tan") return std::tan(a / kDegrees);
    if (name == "asin") return std::asin(std::fmax(-1.0, std::fmin(1.0, a))) * kDegrees;
    if (name == "acos") return std::acos(std::fmax(-1.0, std::fmin(1.0, a))) * kDegrees;
    if (name == "atan") return std::atan(a) * kDegrees;
    if (name == "sign") return a > 0.0 ? 1.0 : (a < 0.0 ? -1.0 : 0.0);
    if (name == "atan2") return std::atan2(a, b) * kDegrees;
    if (name == "pow") return std::pow(a, b);
    if (name == "min") return std::fmin(a, b);
    if (name == "max") return std::fmax(a, b);
    if (name == "fmod") return b != 0.0 ? std::fmod(a, b) : 0.0;
    if (name == "clamp") return std::fmin(std::fmax(a, b), c);
    if (name == "lerp") return a + (b - a) * c;
    if (name == "step") return b >= a ? 1.0 : 0.0;
    return 0.0;
  }

  std::string_view text_;
  size_t pos_ = 0;
  Agent* agent_;
  int override_count_;
  const char* const* names_;
  const float* values_;
  const char* error_ = nullptr;
  int variables_ = 0;
  int depth_ = 0;
};

}  // namespace

extern "C" int expression_evaluate(const char* text, Agent* agent, int override_count,
                                   const char* const* override_names, const float* override_values,
                                   double* result, int* variable_count, const char** error) {
  double value = 0.0;
  Parser parser(text ? std::string_view(text) : std::string_view(), agent, override_count,
                override_names, override_values);
  bool ok = parser.parse(&value);
  if (result) *result = value;
  if (variable_count) *variable_count = parser.variable_count();
  if (error) *error = ok ? nullptr : parser.error();
  return ok ? 1 : 0;
}
