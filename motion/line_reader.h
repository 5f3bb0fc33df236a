// Line-by-line reading of the motion-capture and cache text formats through the Stream layer,
// with the line number that every message of those readers names, and the "file:line: what is
// wrong" message itself.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

struct Stream;

namespace hordera {

class LineReader {
 public:
  // Opens `path` for reading, as gzip when it ends in ".gz". ok() tells whether it opened.
  explicit LineReader(const char* path);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  bool ok() const { return stream_ != nullptr; }
  // The next line without its line end (a "\r" before it is dropped too); false at the end of
  // the file. Lines longer than 1 MiB are cut there (the rest is skipped, once reported).
  bool next(std::string& line);
  // The number of the line next() returned last, from 1.
  int line_number() const { return line_; }
  // True when the file ended because its compressed data were cut short or corrupt.
  bool damaged() const;
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
  Stream* stream_ = nullptr;
  int line_ = 0;
};

// Prints "path:line: message\n" (or "path: message\n" when line is 0) on standard error.
void report_at(const char* path, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Splits a line into words at blanks and tabs.
std::vector<std::string_view> split_words(std::string_view line);
// Reads a whole word as a finite float; false for anything else (including "nan" and "inf").
bool parse_finite(std::string_view word, float& value);
// Reads a whole word as a decimal integer; false for anything else.
bool parse_int(std::string_view word, long& value);
// True when `text` ends in `suffix`.
bool ends_with(std::string_view text, std::string_view suffix);

}  // namespace hordera
