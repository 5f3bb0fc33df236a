// The BVH motion file: a HIERARCHY of joints (offset, channels, children, end sites) and a MOTION
// section of one row of channel values per frame.
#include <string>

#include "motion/line_reader.h"
#include "motion/mocap_formats.h"

namespace hordera::mocap {

namespace {

// More joints or channels than any real skeleton has: a file beyond them is refused rather than
// allowed to grow without bound.
constexpr size_t kMaxJoints = 4096;

// Pulls words out of the file across line ends, remembering the line of the word last given.
class WordReader {
 public:
  explicit WordReader(LineReader& in) : in_(in) {}
  bool next(std::string& word) {
    while (at_ >= words_.size()) {
      if (!in_.next(line_)) return false;
      words_ = split_words(line_);
      at_ = 0;
    }
    word = std::string(words_[at_++]);
    return true;
  }
  // The words of the current line not taken yet.
  std::vector<std::string_view> rest() {
    std::vector<std::string_view> left(words_.begin() + static_cast<long>(at_), words_.end());
    at_ = words_.size();
    return left;
  }
  int line() const { return in_.line_number(); }

 private:
  LineReader& in_;
  std::string line_;
  std::vector<std::string_view> words_;
  size_t at_ = 0;
};

}  // namespace

bool read_bvh(const char* path, BvhClip& clip) {
  clip = BvhClip{};
  clip.path = path ? path : "";
  LineReader in(path);
  if (!in.ok()) return false;
  const char* file = clip.path.c_str();
  WordReader words(in);
  std::string word;
  // Open blocks: a joint's index, or -1 for an end site.
  std::vector<int> open;
  int pending = -2;  // the joint (or -1 for an end site) whose "{" comes next; -2 for none
  bool motion = false;
  while (!motion && words.next(word)) {
    if (word == "HIERARCHY") continue;
    if (word == "ROOT" || word == "JOINT") {
      std::string name;
      if (!words.next(name)) break;
      if (word == "JOINT" && (open.empty() || open.back() < 0)) {
        report_at(file, words.line(), "joint \"%s\" outside a joint's braces", name.c_str());
        return false;
      }
      if (clip.joints.size() >= kMaxJoints) {
        report_at(file, words.line(), "more than %zu joints", kMaxJoints);
        return false;
      }
      BvhJoint joint;
      joint.name = name;
      joint.parent = open.empty() ? -1 : open.back();
      clip.joints.push_back(std::move(joint));
      pending = static_cast<int>(clip.joints.size()) - 1;
    } else if (word == "End") {
      words.next(word);  // "Site"
      pending = -1;
    } else if (word == "{") {
      if (pending == -2) {
        report_at(file, words.line(), "\"{\" without a joint");
        return false;
      }
      open.push_back(pending);
      pending = -2;
    } else if (word == "}") {
      if (open.empty()) {
        report_at(file, words.line(), "\"}\" without its \"{\"");
        return false;
      }
      open.pop_back();
    } else if (word == "OFFSET") {
      auto values = words.rest();
      float offset[3];
      if (values.size() < 3 || !parse_finite(values[0], offset[0]) ||
          !parse_finite(values[1], offset[1]) || !parse_finite(values[2], offset[2])) {
        report_at(file, words.line(), "OFFSET needs three numbers");
        return false;
      }
      if (!open.empty() && open.back() >= 0)
        for (int i = 0; i < 3; ++i) clip.joints[open.back()].offset[i] = offset[i];
    } else if (word == "CHANNELS") {
      auto values = words.rest();
      long count = -1;
      if (open.empty() || open.back() < 0 || values.empty() || !parse_int(values[0], count) ||
          count < 0 || count > 6 || static_cast<size_t>(count) != values.size() - 1) {
        report_at(file, words.line(), "CHANNELS needs a count from 0 to 6 and as many names");
        return false;
      }
      BvhJoint& joint = clip.joints[open.back()];
      if (!joint.channels.empty()) {
        report_at(file, words.line(), "joint \"%s\" has two CHANNELS lines", joint.name.c_str());
        return false;
      }
      for (long i = 1; i <= count; ++i) {
        Channel channel;
        if (!channel_from_word(values[i], channel) || channel == LENGTH) {
          report_at(file, words.line(), "unknown channel \"%s\"", std::string(values[i]).c_str());
          return false;
        }
        joint.channels.push_back(channel);
      }
      joint.first_channel = clip.channel_count;
      clip.channel_count += static_cast<uint32_t>(count);
    } else if (word == "MOTION") {
      motion = true;
    } else {
      report_at(file, words.line(), "unexpected \"%s\" in the hierarchy", word.c_str());
      return false;
    }
  }
  if (!motion || clip.joints.empty() || !open.empty()) {
    report_at(file, in.line_number(),
              in.damaged() ? "compressed data end early"
                           : "hierarchy incomplete (no joints, an "
                             "unclosed brace or no MOTION section)");
    return false;
  }
  // "Frames: N" and "Frame Time: T", then the rows.
  long declared = -1;
  std::string line;
  while (in.next(line)) {
    auto items = split_words(line);
    if (items.empty()) continue;
    const int at = in.line_number();
    if (items[0] == "Frames:") {
      if (items.size() < 2 || !parse_int(items[1], declared) || declared < 0) {
        report_at(file, at, "bad frame count");
        declared = -1;
      }
      continue;
    }
    if (items[0] == "Frame" && items.size() >= 2 && items[1] == "Time:") {
      float seconds = 0;
      if (items.size() < 3 || !parse_finite(items[2], seconds) || seconds <= 0)
        report_at(file, at, "bad frame time");
      else
        clip.frame_time = seconds;
      continue;
    }
    if (items.size() != clip.channel_count) {
      report_at(file, at, "frame has %zu values, the hierarchy %u; the frame is skipped",
                items.size(), clip.channel_count);
      continue;
    }
    size_t start = clip.values.size();
    bool good = true;
    for (auto item : items) {
      float value = 0;
      if (!parse_finite(item, value)) {
        report_at(file, at, "bad value \"%s\"; the frame is skipped", std::string(item).c_str());
        good = false;
        break;
      }
      clip.values.push_back(value);
    }
    if (good)
      ++clip.frame_count;
    else
      clip.values.resize(start);
  }
  if (in.damaged()) {
    report_at(file, in.line_number(), "compressed data end early; the last frame is dropped");
    if (clip.frame_count > 0) {
      --clip.frame_count;
      clip.values.resize(static_cast<size_t>(clip.frame_count) * clip.channel_count);
    }
  }
  if (declared >= 0 && static_cast<unsigned long>(declared) != clip.frame_count)
    report_at(file, 0, "%ld frames declared, %u read", declared, clip.frame_count);
  return true;
}

}  // namespace hordera::mocap
