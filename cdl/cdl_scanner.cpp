// The value scanner of agent files: numeric arguments may be plain numbers, names of the agent
// type's variables or backquoted expressions.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cdl/cdl_context.h"
#include "sim/expression.h"

namespace hordera::cdl {

namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

bool is_name_start(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

bool is_name_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// A double as an int, saturating (NaN gives 0).
int to_int(double value) {
  if (!(value == value)) return 0;
  if (value >= 2147483647.0) return 2147483647;
  if (value <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int>(value);
}

// Reads one value at `pos` for a "%d" (integer) or "%f" read; advances `pos`. False when no
// value could be read there.
bool read_value(const Context& context, std::string_view line, size_t* pos, bool integer,
                double* value) {
  size_t at = *pos;
  if (at >= line.size()) return false;
  char c = line[at];
  if (is_name_start(c)) {
    size_t end = at;
    while (end < line.size() && is_name_char(line[end])) ++end;
    std::string name(line.substr(at, end - at));
    *pos = end;
    *value = 0.0;
    for (int i = 0; i < context.override_count; ++i) {
      if (context.override_names[i] && name == context.override_names[i]) {
        *value = context.override_values[i];
        return true;
      }
    }
    if (Agent* agent = context.current()) {
      if (UserVar* user = find_userVar(agent, name.c_str())) *value = user->value;
    }
    return true;
  }
  if (c == '`') {
    size_t close = line.find('`', at + 1);
    size_t end = close == std::string_view::npos ? line.size() : close;
    std::string expression(line.substr(at + 1, end - at - 1));
    *pos = close == std::string_view::npos ? line.size() : close + 1;
    fprintf(stderr, "expression\n");
    fprintf(stderr, " expr `%s'\n", expression.c_str());
    double result = 0.0;
    int variables = 0;
    const char* error = nullptr;
    if (!expression_evaluate(expression.c_str(), context.current(), context.override_count,
                             context.override_names, context.override_values, &result, &variables,
                             &error))
      report(context, "cannot evaluate expression: ", error ? error : "");
    if (integer)
      fprintf(stderr, " expr `%s' = %d\n", expression.c_str(), to_int(result));
    else
      fprintf(stderr, " expr `%s' = %g (nvar %d)\n", expression.c_str(), result, variables);
    *value = result;
    return true;
  }
  std::string number(line.substr(at, std::min<size_t>(line.size() - at, 64)));
  char* end = nullptr;
  if (integer) {
    long parsed = strtol(number.c_str(), &end, 10);
    if (parsed > 2147483647L) parsed = 2147483647L;
    if (parsed < -2147483647L - 1) parsed = -2147483647L - 1;
    *value = static_cast<double>(parsed);
  } else {
    *value = strtod(number.c_str(), &end);
  }
  if (end == number.c_str()) return false;
  *pos = at + static_cast<size_t>(end - number.c_str());
  return true;
}

}  // namespace

int scan(const Context& context, std::string_view line, const char* format,
         std::initializer_list<ScanTarget> targets) {
  const ScanTarget* target = targets.begin();
  int filled = 0;
  size_t pos = 0;
  for (const char* f = format; *f; ++f) {
    if (*f == ' ') {
      while (pos < line.size() && is_blank(line[pos])) ++pos;
      continue;
    }
    if (*f == '%' && (f[1] == 'd' || f[1] == 'f' || f[1] == 's' || f[1] == 'g')) {
      ++f;
      if (target == targets.end()) return filled;
      // A conversion skips blanks before its value, as the C library's does.
      while (pos < line.size() && is_blank(line[pos])) ++pos;
      if (pos >= line.size()) return filled;
      if (*f == 's') {
        auto* text = std::get_if<std::string*>(target);
        size_t end = pos;
        while (end < line.size() && !is_blank(line[end])) ++end;
        if (text) (*text)->assign(line.substr(pos, end - pos));
        pos = end;
      } else {
        double value = 0.0;
        if (!read_value(context, line, &pos, *f == 'd', &value)) return filled;
        if (auto* integer = std::get_if<int*>(target))
          **integer = to_int(value);
        else if (auto* real = std::get_if<float*>(target))
          **real = static_cast<float>(value);
      }
      ++target;
      ++filled;
      continue;
    }
    if (pos < line.size()) ++pos;
  }
  return filled;
}

float scan_value(const Context& context, std::string_view word) {
  float value = 0.0f;
  scan(context, word, "%f", {&value});
  return value;
}

bool is_symbolic(std::string_view word) {
  return !word.empty() && (is_name_start(word[0]) || word[0] == '`');
}

}  // namespace hordera::cdl
