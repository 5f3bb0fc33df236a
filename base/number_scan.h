// Reading decimal numbers out of text quickly, with exactly the results and stopping points of
// the C library's strtof in the "C" locale.
#pragma once

namespace hordera {

// As strtof(text, end): leading white space skipped, the longest number read, *end set past it
// (or to `text` when there is none, with 0 returned). Plain decimal numbers take a fast path;
// anything else (a '+' sign, hexadecimal, "inf", "nan", ...) is left to strtof. `text` must be
// NUL-terminated, and `text_end` is its terminating NUL (or any point before it where the
// caller knows no number continues, such as the end of its line).
float scan_float(const char* text, const char* text_end, const char** end);

}  // namespace hordera
