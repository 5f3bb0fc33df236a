// Writing pose-cache files: one block per active agent, root line from the world matrix, local
// channels of the other animated segments, and the optional sound, value-set and variable lines.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/stream.h"
#include "motion/apf.h"
#include "sim/scene_setup.h"

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

// A float as the decimal number it was set to (its shortest faithful text), so that a channel
// set to 0.005 is rounded as 0.005 and not as the float just below it.
double decimal_value(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.7g", static_cast<double>(value));
  return std::strtod(text, nullptr);
}

// Writes six channel values in the order's positions: translations with `translation_format`,
// rotations with `rotation_format` or " 0" when they are too small to matter.
void write_channels(Stream* out, const float values[6], int32_t order,
                    const char* translation_format, const char* rotation_format) {
  int entries[6];
  order_unpack(order, entries);
  for (int entry : entries) {
    if (entry < ORDER_TX || entry > ORDER_RZ) {
      stream_printf(out, " 0");
      continue;
    }
    float value = values[entry - 1];
    if (entry <= ORDER_TZ) {
      stream_printf(out, translation_format, value);
    } else if (std::fabs(value) > kZeroRotation) {
      stream_printf(out, rotation_format, decimal_value(value));
    } else {
      stream_printf(out, " 0");
    }
  }
}

// The current value of user variable `index` of an agent: its simulation table entry when the
// agent has one, else the variable's own value.
float variable_value(const Agent* agent, const UserVar* variable, int index) {
  int slot = kSimValueFirstVariable + index;
  if (agent->sim_values && slot < agent->sim_value_count) return agent->sim_values[slot];
  return variable->value;
}

// Writes one agent block. `previous` selects the previous frame's matrices and channel values
// and leaves out the optional lines.
void write_agent(Stream* out, Agent* agent, int frame, bool first, bool previous) {
  if (!first) stream_printf(out, "\n");
  if (agent->birth_frame == frame && agent->group && agent->group->name)
    stream_printf(out, "#spawn %s %d\n\n", agent->group->name, agent->id);
  char base[1024];
  apf_agent_base_name(agent, base, sizeof base);
  stream_printf(out, "BEGIN %s_%d\n", base, agent->id);

  Segment* root = agent->segments;
  if (root) {
    Matrix world;
    if (previous)
      worldSpaceLast(root, world);
    else
      worldSpace(root, world);
    float values[6] = {world[12], world[13], world[14], 0, 0, 0};
    apf_root_rotations(world, root->order, values + 3);
    stream_printf(out, "%s", root->name ? root->name : "");
    write_channels(out, values, root->order, " %f", " %.3f");
    stream_printf(out, "\n");
    for (Segment* segment = root->next; segment; segment = segment->next) {
      if (!segment->animated) continue;
      stream_printf(out, "%s", segment->name ? segment->name : "");
      write_channels(out, previous ? segment->last_channels : segment->channels, segment->order,
                     " %g", " %.2f");
      stream_printf(out, "\n");
    }
  }
  if (previous) return;

  if (apf_sound_output) {
    const float* s = agent->sound;
    stream_printf(out, "sound %g %g %g %g %g %g\n", s[0], s[1], s[2], s[3], s[4], s[5]);
  }
  if (apf_value_set_output) {
    for (ValueSet* set = agent->value_sets; set; set = set->next) {
      if (!set->members || !set->values || set->count <= 0) continue;
      stream_printf(out, "#:%s", set->name ? set->name : "");
      for (int i = 0; i < set->count; ++i) stream_printf(out, " %.6f", set->values[i]);
      stream_printf(out, "\n");
    }
  }
  if (apf_variable_output) {
    int index = 0;
    for (UserVar* variable = agent->user_vars; variable; variable = variable->next, ++index) {
      if (!(variable->flags & 1)) continue;
      stream_printf(out, "#v %s %f\n", variable->name ? variable->name : "",
                    variable_value(agent, variable, index));
    }
  }
}

int write_file(const char* directory, int frame, int compressed, bool previous) {
  char path[4096];
  apf_file_name(path, sizeof path, directory ? directory : ".", frame, compressed);
  Stream* out = stream_open(path, "w", compressed);
  if (!out) {
    std::fprintf(stderr, "ERROR: Couldn't write to %s\n", path);
    return 0;
  }
  bool first = true;
  for (Agent* agent = root_agent; agent; agent = agent->next) {
    if (!agent->active) continue;
    write_agent(out, agent, frame, first, previous);
    first = false;
  }
  return stream_close(out) == 0 ? 1 : 0;
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
