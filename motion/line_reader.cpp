// Line reading and located messages for the motion-capture and cache readers.
#include "motion/line_reader.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/stream.h"

namespace hordera {

namespace {
constexpr size_t kMaxLineBytes = size_t{1} << 20;
}

LineReader::LineReader(const char* path) : path_(path ? path : "") {
  if (path) stream_ = stream_open(path, "r", ends_with(path_, ".gz") ? 1 : 0);
}

LineReader::~LineReader() {
  stream_close(stream_);
}

bool LineReader::next(std::string& line) {
  line.clear();
  if (!stream_) return false;
  char buffer[4096];
  bool any = false;
  bool cut = false;
  while (stream_gets(stream_, buffer, sizeof buffer)) {
    any = true;
    size_t length = std::strlen(buffer);
    bool ended = length > 0 && buffer[length - 1] == '\n';
    if (ended) --length;
    if (line.size() + length <= kMaxLineBytes) {
      line.append(buffer, length);
    } else if (!cut) {
      cut = true;
      report_at(path_.c_str(), line_ + 1, "line longer than %zu bytes, cut there", kMaxLineBytes);
    }
    if (ended) break;
  }
  if (!any) return false;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  ++line_;
  return true;
}

bool LineReader::damaged() const {
  return stream_ && stream_error(stream_);
}

void report_at(const char* path, int line, const char* format, ...) {
  char message[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  if (line > 0)
    std::fprintf(stderr, "%s:%d: %s\n", path, line, message);
  else
    std::fprintf(stderr, "%s: %s\n", path, message);
}

std::vector<std::string_view> split_words(std::string_view line) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (at < line.size()) {
    while (at < line.size() && (line[at] == ' ' || line[at] == '\t')) ++at;
    size_t start = at;
    while (at < line.size() && line[at] != ' ' && line[at] != '\t') ++at;
    if (at > start) words.push_back(line.substr(start, at - start));
  }
  return words;
}

bool parse_finite(std::string_view word, float& value) {
  if (word.empty() || word.size() > 64) return false;
  char text[65];
  std::memcpy(text, word.data(), word.size());
  text[word.size()] = '\0';
  char* end = nullptr;
  errno = 0;
  float parsed = std::strtof(text, &end);
  if (end != text + word.size() || !std::isfinite(parsed)) return false;
  value = parsed;
  return true;
}

bool parse_int(std::string_view word, long& value) {
  if (word.empty() || word.size() > 20) return false;
  char text[21];
  std::memcpy(text, word.data(), word.size());
  text[word.size()] = '\0';
  char* end = nullptr;
  errno = 0;
  long parsed = std::strtol(text, &end, 10);
  if (end != text + word.size() || errno == ERANGE) return false;
  value = parsed;
  return true;
}

bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace hordera
