// Writing pose-cache files: one block per active agent, root line from the world matrix, local
// channels of the other animated segments, and the optional sound, value-set and variable lines.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/file_sink.h"
#include "motion/apf.h"

int32_t apf_sound_output = 0;
int32_t apf_value_set_output = 0;
int32_t apf_variable_output = 0;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegreesPerRadian = 57.2957795;
// Rotations whose magnitude is not above this are written as a bare " 0".
constexpr float kZeroRotation = 0.004f;

// Moves an angle by pi towards zero.
double towards_zero(double angle) {
  return angle > kPi / 2 ? angle - kPi : angle + kPi;
}

// pi minus the angle, wrapped into [-pi, pi] by a whole turn.
double mirrored(double angle) {
  double result = kPi - angle;
  if (result > kPi) result -= 2 * kPi;
  if (result < -kPi) result += 2 * kPi;
  return result;
}

// Reduces an Euler triple to the flatter equivalent: when two angles exceed pi/2 in magnitude,
// both move by pi towards zero and the third is mirrored. The pairs are tested in turn, each on
// the values left by the earlier tests.
void flatten(double angles[3]) {
  static constexpr int kPairs[3][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}};
  for (const auto& pair : kPairs) {
    double& first = angles[pair[0]];
    double& second = angles[pair[1]];
    if (std::fabs(first) > kPi / 2 && std::fabs(second) > kPi / 2) {
      first = towards_zero(first);
      second = towards_zero(second);
      angles[pair[2]] = mirrored(angles[pair[2]]);
    }
  }
}

// The number formats of the file. Each appends exactly what printf's " %f", " %.3f", " %.2f",
// " %.6f", " %g" and "%d" would, through std::to_chars, which rounds the same way (to the nearest
// decimal of the value, widened to double); the rare non-finite value goes through printf.
enum class Format { kFixed6, kFixed3, kFixed2, kGeneral };

void append_number(std::string& out, double value, Format format) {
  char text[400];
  char* end = text;
  if (!std::isfinite(value)) {
    static constexpr const char* kPrintf[] = {"%f", "%.3f", "%.2f", "%g"};
    end += std::snprintf(text, sizeof text, kPrintf[static_cast<int>(format)], value);
  } else if (format == Format::kGeneral) {
    end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr;
  } else {
    const int precision = format == Format::kFixed6 ? 6 : format == Format::kFixed3 ? 3 : 2;
    end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, precision).ptr;
  }
  out.append(text, end);
}

void append_int(std::string& out, long value) {
  char text[24];
  out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

void append_text(std::string& out, const char* text) {
  if (text) out.append(text);
}

// Appends six channel values in the order's positions, each after a blank: translations in
// `translation`, rotations in `rotation` or "0" when they are too small to matter. A rotation is
// the value held, widened to double, so a float channel of 0.005 (held as 0.0049999999) is
// above the threshold and rounds down.
void append_channels(std::string& out, const float values[6], int32_t order, Format translation,
                     Format rotation) {
  int entries[6];
  order_unpack(order, entries);
  for (int entry : entries) {
    out.push_back(' ');
    if (entry < ORDER_TX || entry > ORDER_RZ) {
      out.push_back('0');
      continue;
    }
    float value = values[entry - 1];
    if (entry <= ORDER_TZ)
      append_number(out, value, translation);
    else if (std::fabs(value) > kZeroRotation)
      append_number(out, value, rotation);
    else
      out.push_back('0');
  }
}

// The current value of user variable `index` of an agent: its simulation table entry when the
// agent has one, else the variable's own value.
float variable_value(const Agent* agent, const UserVar* variable, int index) {
  int slot = kSimValueFirstVariable + index;
  if (agent->sim_values && slot < agent->sim_value_count) return agent->sim_values[slot];
  return variable->value;
}

// Appends one agent block. `previous` selects the previous frame's matrices and channel values
// and leaves out the optional lines.
void write_agent(std::string& out, Agent* agent, int frame, bool first, bool previous) {
  if (!first) out.push_back('\n');
  const hordera::ApfGroupHooks& groups = hordera::apf_group_hooks;
  const char* group = groups.group_name ? groups.group_name(agent) : nullptr;
  if (agent->birth_frame == frame && group) {
    out.append("#spawn ");
    out.append(group);
    out.push_back(' ');
    append_int(out, agent->id);
    out.append("\n\n");
  }
  char base[1024];
  apf_agent_base_name(agent, base, sizeof base);
  out.append("BEGIN ");
  out.append(base);
  out.push_back('_');
  append_int(out, agent->id);
  out.push_back('\n');

  Segment* root = agent->segments;
  if (root) {
    Matrix world;
    if (previous)
      worldSpaceLast(root, world);
    else
      worldSpace(root, world);
    float values[6] = {world[12], world[13], world[14], 0, 0, 0};
    apf_root_rotations(world, root->order, values + 3);
    append_text(out, root->name);
    append_channels(out, values, root->order, Format::kFixed6, Format::kFixed3);
    out.push_back('\n');
    for (Segment* segment = root->next; segment; segment = segment->next) {
      if (!segment->animated) continue;
      append_text(out, segment->name);
      append_channels(out, previous ? segment->last_channels : segment->channels, segment->order,
                      Format::kGeneral, Format::kFixed2);
      out.push_back('\n');
    }
  }
  if (previous) return;

  if (apf_sound_output) {
    out.append("sound");
    for (float value : agent->sound) {
      out.push_back(' ');
      append_number(out, value, Format::kGeneral);
    }
    out.push_back('\n');
  }
  if (apf_value_set_output) {
    for (ValueSet* set = agent->value_sets; set; set = set->next) {
      if (!set->members || !set->values || set->count <= 0) continue;
      out.append("#:");
      append_text(out, set->name);
      for (int i = 0; i < set->count; ++i) {
        out.push_back(' ');
        append_number(out, set->values[i], Format::kFixed6);
      }
      out.push_back('\n');
    }
  }
  if (apf_variable_output) {
    int index = 0;
    for (UserVar* variable = agent->user_vars; variable; variable = variable->next, ++index) {
      if (!(variable->flags & 1)) continue;
      out.append("#v ");
      append_text(out, variable->name);
      out.push_back(' ');
      append_number(out, variable_value(agent, variable, index), Format::kFixed6);
      out.push_back('\n');
    }
  }
}

int write_file(const char* directory, int frame, int compressed, bool previous) {
  char path[4096];
  apf_file_name(path, sizeof path, directory ? directory : ".", frame, compressed);
  thread_local hordera::FileSink out;
  if (!out.open(path, compressed != 0)) {
    std::fprintf(stderr, "ERROR: Couldn't write to %s\n", path);
    return 0;
  }
  bool first = true;
  for (Agent* agent = root_agent; agent; agent = agent->next) {
    if (!agent->active) continue;
    write_agent(out.text(), agent, frame, first, previous);
    out.flush_if_full();
    first = false;
  }
  if (out.close()) return 1;
  std::fprintf(stderr, "ERROR: Couldn't write to %s\n", path);
  return 0;
}

}  // namespace

extern "C" int apf_file_name(char* out, size_t size, const char* directory, int frame,
                             int compressed) {
  return std::snprintf(out, size, compressed ? "%s%cframe.%d.apf.gz" : "%s%cframe.%d.apf",
                       directory, '/', frame);
}

extern "C" void apf_agent_base_name(const Agent* agent, char* out, size_t size) {
  if (size == 0) return;
  std::string name = agent->name ? agent->name : "";
  std::string suffix = "." + std::to_string(agent->id);
  if (name.size() > suffix.size() && name.ends_with(suffix))
    name.resize(name.size() - suffix.size());
  std::snprintf(out, size, "%s", name.c_str());
}

extern "C" void apf_root_rotations(const float* world, int32_t order, float degrees[3]) {
  float rx = 0, ry = 0, rz = 0;
  rotationsFromMatrix(world, &rx, &ry, &rz, order);
  double angles[3] = {rx, ry, rz};
  flatten(angles);
  for (int i = 0; i < 3; ++i) degrees[i] = static_cast<float>(angles[i] * kDegreesPerRadian);
}

extern "C" int apf_write(const char* directory, int frame, int compressed) {
  return write_file(directory, frame, compressed, false);
}

extern "C" int apf_write_motion_blur(const char* directory, int frame, int compressed) {
  int previous = write_file(directory, frame - 1, compressed, true);
  int current = write_file(directory, frame, compressed, false);
  return previous && current;
}
