// The fast number reader against the C library's strtof, which it must match bit for bit, with
// the same stopping point, on every form a pose cache may hold.
#include "base/number_scan.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

TEST(NumberScanTest, MatchesStrtofValueAndEndOnEveryForm) {
  // Numbers of every size and precision, then blanks, signs, other bases, words, broken forms
  // and the CR LF line end of a cache written elsewhere.
  const char* const numbers[] = {"0",        "-0",       "12",          "-3.25",          ".5",
                                 "-.5",      "5.",       "1e3",         "1E+3",           "2.5e-2",
                                 "1e",       "1e+",      "1.5ex",       "3.4e38",         "3.5e38",
                                 "-1e39",    "1e-45",    "1e-46",       "1.17549435e-38", "0.1",
                                 "16777217", "0.000001", "123456789012"};
  const char* const odd[] = {"  \t 7", "\n8",  "+4",        "+-4",   "-+4",     "0x10",
                             "-0X1p3", "inf",  "-Infinity", "nan",   "NaN(12)", "",
                             " ",      "-",    ".",         "-.",    "e5",      "junk",
                             "1_2",    "1..2", "--1",       "00012", "1.2.3",   "7\r\n"};
  std::vector<std::string> inputs(std::begin(numbers), std::end(numbers));
  inputs.insert(inputs.end(), std::begin(odd), std::end(odd));
  inputs.push_back("0." + std::string(60, '0') + "1401298464324817");
  inputs.push_back(std::string(50, '9') + ".5");
  for (const std::string& input : inputs) {
    const char* text = input.c_str();
    char* want_end = nullptr;
    const float want = std::strtof(text, &want_end);
    const char* got_end = nullptr;
    const float got = hordera::scan_float(text, text + std::strlen(text), &got_end);
    EXPECT_EQ(got_end - text, want_end - text) << '"' << text << '"';
    uint32_t got_bits, want_bits;
    std::memcpy(&got_bits, &got, 4);
    std::memcpy(&want_bits, &want, 4);
    EXPECT_EQ(got_bits, want_bits) << '"' << text << "\" gives " << got << ", strtof " << want;
  }
}

// Every short decimal shape the writers produce (up to seven digits, point anywhere), swept over
// mantissas that stress rounding, against strtof.
TEST(NumberScanTest, ShortDecimalsRoundAsStrtofDoes) {
  int mismatches = 0;
  for (uint32_t mantissa = 1; mantissa < 10000000; mantissa = mantissa * 7 + 3) {
    for (uint32_t m = mantissa; m < mantissa + 40 && m < 10000000; ++m) {
      std::string digits = std::to_string(m);
      for (size_t point = 0; point <= digits.size(); ++point) {
        const std::string text = "-" + digits.substr(0, point) + "." + digits.substr(point);
        const char* got_end = nullptr;
        const float got = hordera::scan_float(text.c_str(), text.c_str() + text.size(), &got_end);
        mismatches +=
            got != std::strtof(text.c_str(), nullptr) || got_end != text.c_str() + text.size();
      }
    }
  }
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
