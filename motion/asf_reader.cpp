// The Acclaim skeleton file (ASF): units, the root's channel order and orientation, every bone's
// direction, length, axis and degrees of freedom, and the hierarchy that links them.
#include <cstring>
#include <string>

#include "motion/line_reader.h"
#include "motion/mocap_formats.h"

namespace hordera::mocap {

namespace {

bool lower_equals(std::string_view word, std::string_view lower) {
  if (word.size() != lower.size()) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    char c = word[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

// An axis order word such as "XYZ": three distinct letters of X, Y and Z, any case.
bool valid_axis_order(std::string_view word) {
  if (word.size() != 3) return false;
  bool seen[3] = {false, false, false};
  for (char c : word) {
    int axis = (c | 0x20) - 'x';
    if (axis < 0 || axis > 2 || seen[axis]) return false;
    seen[axis] = true;
  }
  return true;
}

// Reads `count` finite numbers from words[1..]; false when any is missing or bad.
bool read_numbers(const std::vector<std::string_view>& words, float* out, size_t count) {
  if (words.size() < count + 1) return false;
  for (size_t i = 0; i < count; ++i)
    if (!parse_finite(words[i + 1], out[i])) return false;
  return true;
}

enum class Section { none, units, documentation, root, bonedata, hierarchy };

}  // namespace

bool channel_from_word(std::string_view word, Channel& channel) {
  static constexpr std::string_view kAcclaim[] = {"tx", "ty", "tz", "rx", "ry", "rz", "l"};
  for (int i = 0; i < 7; ++i)
    if (lower_equals(word, kAcclaim[i])) {
      channel = static_cast<Channel>(i);
      return true;
    }
  static constexpr std::string_view kBvh[] = {"xposition", "yposition", "zposition",
                                              "xrotation", "yrotation", "zrotation"};
  for (int i = 0; i < 6; ++i)
    if (lower_equals(word, kBvh[i])) {
      channel = static_cast<Channel>(i);
      return true;
    }
  return false;
}

int AsfSkeleton::find(std::string_view name) const {
  for (size_t i = 0; i < bones.size(); ++i)
    if (bones[i].name == name) return static_cast<int>(i);
  return -1;
}

bool read_asf(const char* path, AsfSkeleton& skeleton) {
  skeleton = AsfSkeleton{};
  skeleton.path = path ? path : "";
  LineReader in(path);
  if (!in.ok()) {
    report_at(skeleton.path.c_str(), 0, "skeleton file could not be opened");
    return false;
  }
  const char* file = skeleton.path.c_str();
  Section section = Section::none;
  bool saw_bonedata = false;
  bool in_bone = false;
  bool bone_kept = true;
  AsfBone bone;
  std::string line;

  auto finish_bone = [&] {
    if (!in_bone) return;
    in_bone = false;
    if (bone.name.empty()) {
      report_at(file, bone.line, "bone without a name skipped");
    } else if (skeleton.find(bone.name) >= 0 || bone.name == "root") {
      report_at(file, bone.line, "bone \"%s\" defined twice; the first is kept", bone.name.c_str());
    } else if (bone_kept) {
      skeleton.bones.push_back(std::move(bone));
    }
    bone = AsfBone{};
  };

  while (in.next(line)) {
    auto words = split_words(line);
    if (words.empty() || words[0][0] == '#') continue;
    const int at = in.line_number();
    std::string_view key = words[0];
    if (key[0] == ':') {
      finish_bone();
      if (key == ":units") {
        section = Section::units;
      } else if (key == ":documentation") {
        section = Section::documentation;
      } else if (key == ":root") {
        section = Section::root;
      } else if (key == ":bonedata") {
        section = Section::bonedata;
        saw_bonedata = true;
      } else if (key == ":hierarchy") {
        section = Section::hierarchy;
      } else {
        section = Section::none;  // ":version", ":name" and keywords of later versions
      }
      continue;
    }
    switch (section) {
      case Section::none:
      case Section::documentation:
        break;
      case Section::units: {
        float value = 0;
        if (key == "angle" && words.size() >= 2) {
          skeleton.degrees = !lower_equals(words[1], "rad");
        } else if ((key == "length" || key == "mass") && words.size() >= 2 &&
                   parse_finite(words[1], value) && value > 0) {
          (key == "length" ? skeleton.length : skeleton.mass) = value;
        } else if (key == "length" || key == "mass" || key == "angle") {
          report_at(file, at, "bad unit \"%s\"", line.c_str());
        }
        break;
      }
      case Section::root:
        if (key == "order") {
          std::vector<Channel> order;
          bool good = true;
          for (size_t i = 1; i < words.size(); ++i) {
            Channel channel;
            if (!channel_from_word(words[i], channel) || channel == LENGTH) good = false;
            order.push_back(channel);
          }
          if (good && !order.empty() && order.size() <= 6)
            skeleton.root_order = order;
          else
            report_at(file, at, "bad root order; TX TY TZ RX RY RZ is used");
        } else if (key == "axis") {
          if (words.size() >= 2 && valid_axis_order(words[1]))
            skeleton.root_axis_order = std::string(words[1]);
          else
            report_at(file, at, "bad root axis order; XYZ is used");
        } else if (key == "position" || key == "orientation") {
          float* target = key == "position" ? skeleton.root_position : skeleton.root_orientation;
          float values[3];
          if (read_numbers(words, values, 3))
            std::memcpy(target, values, sizeof values);
          else
            report_at(file, at, "root %s needs three numbers", std::string(key).c_str());
        }
        break;
      case Section::bonedata:
        if (key == "begin") {
          finish_bone();
          in_bone = true;
          bone_kept = true;
          bone.line = at;
        } else if (key == "end") {
          finish_bone();
        } else if (!in_bone) {
          report_at(file, at, "\"%s\" outside a bone's begin and end ignored",
                    std::string(key).c_str());
        } else if (key == "name") {
          if (words.size() >= 2) bone.name = std::string(words[1]);
        } else if (key == "direction") {
          if (!read_numbers(words, bone.direction, 3)) {
            report_at(file, at, "direction needs three numbers; the bone is skipped");
            bone_kept = false;
          }
        } else if (key == "length") {
          if (!read_numbers(words, &bone.length, 1)) {
            report_at(file, at, "length needs a number; the bone is skipped");
            bone_kept = false;
          }
        } else if (key == "axis") {
          if (!read_numbers(words, bone.axis, 3) ||
              (words.size() >= 5 && !valid_axis_order(words[4]))) {
            report_at(file, at, "axis needs three numbers and an order; the bone is skipped");
            bone_kept = false;
          } else if (words.size() >= 5) {
            bone.axis_order = std::string(words[4]);
          }
        } else if (key == "dof") {
          for (size_t i = 1; i < words.size(); ++i) {
            Channel channel;
            if (!channel_from_word(words[i], channel)) {
              report_at(file, at, "unknown degree of freedom \"%s\"; the bone is skipped",
                        std::string(words[i]).c_str());
              bone_kept = false;
            } else {
              bone.dofs.push_back(channel);
            }
          }
          if (bone.dofs.size() > 7) {
            report_at(file, at, "more than seven degrees of freedom; the bone is skipped");
            bone_kept = false;
          }
        }
        // "id", "limits" and their continuation lines, "bodymass", "cofmass" are not needed.
        break;
      case Section::hierarchy: {
        if (key == "begin" || key == "end") break;
        int parent = -1;
        if (key != "root") {
          parent = skeleton.find(key);
          if (parent < 0) {
            report_at(file, at, "unknown bone \"%s\" in the hierarchy", std::string(key).c_str());
            break;
          }
        }
        for (size_t i = 1; i < words.size(); ++i) {
          int child = skeleton.find(words[i]);
          if (child < 0) {
            report_at(file, at, "unknown bone \"%s\" in the hierarchy",
                      std::string(words[i]).c_str());
            continue;
          }
          // A link that would close a loop (the child is the parent or one of its ancestors)
          // is refused, so walking up from any bone ends at the root.
          bool loop = false;
          for (int up = parent, steps = 0; up >= 0 && !loop; up = skeleton.bones[up].parent)
            loop = up == child || ++steps > static_cast<int>(skeleton.bones.size());
          if (loop) {
            report_at(file, at, "bone \"%s\" cannot be its own ancestor",
                      std::string(words[i]).c_str());
          } else {
            skeleton.bones[child].parent = parent;
          }
        }
        break;
      }
    }
  }
  finish_bone();
  if (in.damaged()) report_at(file, in.line_number(), "compressed data end early");
  if (!saw_bonedata) {
    report_at(file, 0, "no :bonedata section; not a skeleton file");
    return false;
  }
  return true;
}

}  // namespace hordera::mocap
