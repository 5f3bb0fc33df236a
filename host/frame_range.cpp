// Frame range parsing, frame file name patterns, and running a job over a sequence.
#include "host/frame_range.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace host {
namespace {

// Reads an optionally negative whole number from the front of `text`; advances past it.
bool read_frame(std::string_view* text, int* frame) {
  size_t length = 0;
  if (length < text->size() && (*text)[length] == '-') ++length;
  const size_t digits_start = length;
  while (length < text->size() && (*text)[length] >= '0' && (*text)[length] <= '9') ++length;
  if (length == digits_start || length - digits_start > 10) return false;
  const long long value = std::strtoll(std::string(text->substr(0, length)).c_str(), nullptr, 10);
  if (value < INT_MIN || value > INT_MAX) return false;
  *frame = static_cast<int>(value);
  text->remove_prefix(length);
  return true;
}

// Where the frame conversion of `pattern` starts and how long it is; npos when there is none.
// `bad` is set when a "%" starts anything else or a second conversion follows.
struct Conversion {
  size_t start = std::string_view::npos;
  size_t length = 0;
  char pad = '0';
  int width = 0;
  bool bad = false;
};

Conversion find_conversion(std::string_view pattern) {
  Conversion found;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') continue;
    if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
      ++i;
      continue;
    }
    size_t j = i + 1;
    char pad = ' ';
    if (j < pattern.size() && pattern[j] == '0') {
      pad = '0';
      ++j;
    }
    int width = 0;
    while (j < pattern.size() && pattern[j] >= '0' && pattern[j] <= '9' && width < 100)
      width = width * 10 + (pattern[j++] - '0');
    if (j >= pattern.size() || pattern[j] != 'd' || width > 32 ||
        found.start != std::string_view::npos) {
      found.bad = true;
      return found;
    }
    found.start = i;
    found.length = j + 1 - i;
    found.pad = pad;
    found.width = width;
    i = j;
  }
  return found;
}

}  // namespace

bool parse_frame_range(std::string_view text, FrameRange* range, std::string* error) {
  std::string_view rest = text;
  FrameRange parsed;
  bool ok = read_frame(&rest, &parsed.first);
  parsed.last = parsed.first;
  if (ok && !rest.empty())
    ok = rest.front() == '-' && (rest.remove_prefix(1), true) && read_frame(&rest, &parsed.last) &&
         rest.empty();
  if (!ok) {
    if (error) *error = "bad frame range \"" + std::string(text) + "\": expected A or A-B";
    return false;
  }
  if (parsed.first > parsed.last) {
    if (error)
      *error = "bad frame range \"" + std::string(text) + "\": the first frame is after the last";
    return false;
  }
  *range = parsed;
  return true;
}

bool check_frame_pattern(std::string_view pattern, std::string* error) {
  if (!find_conversion(pattern).bad) return true;
  if (error)
    *error = "bad file name pattern \"" + std::string(pattern) +
             "\": only one frame number, written %d or %04d, may follow a %";
  return false;
}

bool has_frame_conversion(std::string_view pattern) {
  const Conversion conversion = find_conversion(pattern);
  return !conversion.bad && conversion.start != std::string_view::npos;
}

std::string format_frame_path(std::string_view pattern, int frame) {
  const Conversion conversion = find_conversion(pattern);
  std::string number;
  if (!conversion.bad && conversion.start != std::string_view::npos) {
    char buffer[48];
    if (conversion.pad == '0')
      std::snprintf(buffer, sizeof buffer, "%0*d", conversion.width, frame);
    else
      std::snprintf(buffer, sizeof buffer, "%*d", conversion.width, frame);
    number = buffer;
  }
  std::string path;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (i == conversion.start && !conversion.bad) {
      path += number;
      i += conversion.length - 1;
    } else if (pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] == '%') {
      path += '%';
      ++i;
    } else {
      path += pattern[i];
    }
  }
  return path;
}

std::string sequence_pattern(std::string_view path, bool several_frames) {
  if (!several_frames || has_frame_conversion(path)) return std::string(path);
  const size_t slash = path.rfind('/');
  const size_t dot = path.rfind('.');
  const bool has_extension = dot != std::string_view::npos && dot > 0 &&
                             (slash == std::string_view::npos || dot > slash + 1);
  if (!has_extension) return std::string(path) + ".%04d";
  return std::string(path.substr(0, dot)) + ".%04d" + std::string(path.substr(dot));
}

int run_frames(const FrameRange& range, const FrameJob& job,
               const std::function<void(int done)>& progress) {
  std::vector<int> failed;
  int done = 0;
  for (int frame = range.first;; ++frame) {
    std::string error;
    if (!job(frame, &error)) {
      failed.push_back(frame);
      std::fprintf(stderr, "error: frame %d: %s\n", frame,
                   error.empty() ? "failed" : error.c_str());
    }
    ++done;
    if (progress) progress(done);
    if (frame == range.last) break;
  }
  if (!failed.empty()) {
    std::fprintf(stderr, "error: %zu of %lld frames failed:", failed.size(), range.count());
    for (int frame : failed) std::fprintf(stderr, " %d", frame);
    std::fprintf(stderr, "\n");
  }
  return static_cast<int>(failed.size());
}

}  // namespace host
