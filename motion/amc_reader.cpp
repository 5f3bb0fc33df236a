// The Acclaim motion file (AMC): a header of ":" keywords, then frames, each a frame number on a
// line of its own followed by one line per bone, the bone's name and its values.
#include <cstdint>
#include <string>
#include <unordered_map>

#include "motion/line_reader.h"
#include "motion/mocap_formats.h"

namespace hordera::mocap {

int AmcClip::find_frame(int number) const {
  // Frames are normally numbered 1, 2, ... in order: try the direct position first.
  if (number >= 1 && static_cast<size_t>(number) <= frames.size() &&
      frames[number - 1].number == number)
    return number - 1;
  for (size_t i = 0; i < frames.size(); ++i)
    if (frames[i].number == number) return static_cast<int>(i);
  return -1;
}

bool read_amc(const char* path, AmcClip& clip) {
  clip = AmcClip{};
  clip.path = path ? path : "";
  LineReader in(path);
  if (!in.ok()) return false;
  const char* file = clip.path.c_str();
  std::unordered_map<std::string, int32_t> bone_index;
  std::string line;
  bool reported_orphans = false;
  while (in.next(line)) {
    auto words = split_words(line);
    if (words.empty() || words[0][0] == '#') continue;
    const int at = in.line_number();
    std::string_view key = words[0];
    if (key[0] == ':') {
      if (key == ":DEGREES" || key == ":degrees") clip.angle_unit = 1;
      if (key == ":RADIANS" || key == ":radians") clip.angle_unit = 2;
      continue;  // ":FULLY-SPECIFIED" and the rest say nothing the reader needs
    }
    long number = 0;
    if (words.size() == 1 && parse_int(key, number)) {
      if (number < INT32_MIN || number > INT32_MAX) {
        report_at(file, at, "frame number %ld out of range", number);
        continue;
      }
      clip.frames.push_back(AmcFrame{static_cast<int32_t>(number), at, {}});
      continue;
    }
    if (clip.frames.empty()) {
      if (!reported_orphans)
        report_at(file, at, "bone values before the first frame number ignored");
      reported_orphans = true;
      continue;
    }
    if (words.size() - 1 > 7) {
      report_at(file, at, "bone \"%s\" has %zu values, more than any bone can take; skipped",
                std::string(key).c_str(), words.size() - 1);
      continue;
    }
    float values[7];
    bool good = true;
    for (size_t i = 1; i < words.size() && good; ++i) {
      if (!parse_finite(words[i], values[i - 1])) {
        report_at(file, at, "bad value \"%s\" for bone \"%s\"; the line is skipped",
                  std::string(words[i]).c_str(), std::string(key).c_str());
        good = false;
      }
    }
    if (!good) continue;
    auto [entry, added] =
        bone_index.try_emplace(std::string(key), static_cast<int32_t>(clip.bone_names.size()));
    if (added) clip.bone_names.emplace_back(key);
    AmcSample sample{entry->second, at, static_cast<uint32_t>(clip.values.size()),
                     static_cast<uint8_t>(words.size() - 1)};
    clip.values.insert(clip.values.end(), values, values + sample.count);
    clip.frames.back().samples.push_back(sample);
  }
  if (in.damaged()) {
    report_at(file, in.line_number(), "compressed data end early; the last frame is dropped");
    if (!clip.frames.empty()) clip.frames.pop_back();
  }
  return true;
}

}  // namespace hordera::mocap
