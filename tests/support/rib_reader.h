// A small RIB reader for tests: splits RIB text into requests (a keyword and its arguments:
// numbers, strings and bracketed lists of either), skipping comments, so that tests can check
// what a RIB writer produced without trusting the writer.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace rib_test {

struct Value {
  bool is_list = false;
  bool is_string = false;
  double number = 0;
  std::string text{};
  std::vector<double> numbers{};       // a list of numbers
  std::vector<std::string> strings{};  // a list of strings
};

struct Request {
  std::string keyword;
  std::vector<Value> arguments;
  // The list that follows the string argument `token` (a primitive variable or shader
  // parameter), or null.
  const Value* parameter(std::string_view token) const {
    for (size_t i = 0; i + 1 < arguments.size(); ++i)
      if (arguments[i].is_string && !arguments[i].is_list && arguments[i].text == token)
        return &arguments[i + 1];
    return nullptr;
  }
};

inline std::string read_string(std::string_view text, size_t* at) {
  std::string out;
  ++*at;  // opening quote
  while (*at < text.size() && text[*at] != '"') {
    if (text[*at] == '\\' && *at + 1 < text.size()) {
      ++*at;
      out.push_back(text[*at] == 'n' ? '\n' : text[*at]);
    } else {
      out.push_back(text[*at]);
    }
    ++*at;
  }
  ++*at;  // closing quote
  return out;
}

inline double read_number(std::string_view text, size_t* at) {
  const std::string rest(text.substr(*at, 64));
  char* end = nullptr;
  const double value = std::strtod(rest.c_str(), &end);
  *at += static_cast<size_t>(end - rest.c_str());
  return value;
}

inline bool starts_number(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
}

// The requests of `text`, in order; comments ("#" to the end of the line) are skipped, and so is
// what is not RIB.
inline std::vector<Request> parse_rib(std::string_view text) {
  std::vector<Request> requests;
  const auto add = [&](Value value) {
    if (!requests.empty()) requests.back().arguments.push_back(std::move(value));
  };
  size_t at = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++at;
    } else if (c == '#') {
      while (at < text.size() && text[at] != '\n') ++at;
    } else if (c == '"') {
      add({.is_string = true, .text = read_string(text, &at)});
    } else if (c == '[') {
      Value value{.is_list = true};
      for (++at; at < text.size() && text[at] != ']';) {
        if (text[at] == '"') {
          value.is_string = true;
          value.strings.push_back(read_string(text, &at));
        } else if (starts_number(text[at])) {
          value.numbers.push_back(read_number(text, &at));
        } else {
          ++at;
        }
      }
      ++at;
      add(value);
    } else if (starts_number(c)) {
      add({.number = read_number(text, &at)});
    } else {
      Request request;
      while (at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])))
        request.keyword.push_back(text[at++]);
      if (request.keyword.empty())
        ++at;
      else
        requests.push_back(std::move(request));
    }
  }
  return requests;
}

// The requests with this keyword.
inline std::vector<const Request*> find_requests(const std::vector<Request>& requests,
                                                 std::string_view keyword) {
  std::vector<const Request*> found;
  for (const Request& request : requests)
    if (request.keyword == keyword) found.push_back(&request);
  return found;
}

// Checks that `value` is a list of these numbers (to 1e-5); `what` names it in failures.
inline void expect_numbers(const std::vector<double>& expected, const Value* value,
                           const std::string& what) {
  ASSERT_NE(value, nullptr) << what;
  ASSERT_EQ(expected.size(), value->numbers.size()) << what;
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_NEAR(expected[i], value->numbers[i], 1e-5) << what << " [" << i << "]";
}

}  // namespace rib_test
