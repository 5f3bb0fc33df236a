// The keywords of a "segment" section: the segment's tree place, shape, channels, limits and
// transform, and the bind pose that its "bind_pose" lines build.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "cdl/cdl_context.h"
#include "motion/action.h"
#include "motion/curve.h"

namespace hordera::cdl {

namespace {

constexpr float kDegreesPerRadian = 57.29578f;
const char* const kChannelNames[6] = {"tx", "ty", "tz", "rx", "ry", "rz"};

// Applies `change` to the segment's current, rest and previous-frame matrices: the file
// describes the rest pose, which is also where a fresh agent starts.
template <typename Change>
void change_matrices(Segment* segment, Change change) {
  change(segment->matrix);
  change(segment->rest_matrix);
  change(segment->last_matrix);
}

bool is_descendant_or_self(Segment* candidate, Segment* segment) {
  for (Segment* s = candidate; s; s = s->parent)
    if (s == segment) return true;
  return false;
}

void unlink_from_parent(Segment* segment) {
  Segment* parent = segment->parent;
  if (!parent) return;
  Segment** link = &parent->child;
  while (*link && *link != segment) link = &(*link)->sibling;
  if (*link) *link = segment->sibling;
  segment->sibling = nullptr;
  segment->parent = nullptr;
}

void set_parent(Context& context, Segment* segment, const std::string& name) {
  Segment* parent = find_open_segment(context, name);
  if (!parent) return;  // an unknown name leaves the segment without parent
  // Only a segment that already has children can be made its own ancestor; the walk is skipped
  // otherwise, so long chains read in linear time.
  if (parent == segment || (segment->child && is_descendant_or_self(parent, segment))) {
    report(context, "a segment cannot be its own ancestor: ", name);
    return;
  }
  unlink_from_parent(segment);
  segment->parent = parent;
  segment->sibling = nullptr;
  Segment** link = &parent->child;
  while (*link) link = &(*link)->sibling;
  *link = segment;
}

void set_primitive(Context& context, Segment* segment, const std::string& line) {
  if (contains(line, "tube")) {
    segment->primitive = 2;
  } else if (contains(line, "box")) {
    segment->primitive = 4;
    if (!context.box_size_set) {
      context.box_size = 0.1f * unit_coarse_factor;
      context.box_size_set = true;
    }
    segment->box_size[0] = context.box_size;
    segment->box_size[1] = context.box_size;
  } else if (contains(line, "sphere")) {
    segment->primitive = 1;
  } else if (contains(line, "disc")) {
    segment->primitive = 3;
  } else if (contains(line, "billboard")) {
    segment->primitive = 5;
  } else if (contains(line, "line")) {
    segment->primitive = 6;
  } else if (contains(line, "point")) {
    segment->primitive = 7;
  }
}

void set_kind(Segment* segment, const std::string& line) {
  static const struct {
    const char* word;
    uint8_t kind;
  } kKinds[] = {
      {"normal", SEGMENT_NORMAL},       {"ik_skip", SEGMENT_IK_SKIP},
      {"ik_start", SEGMENT_IK_START},   {"ik_link", SEGMENT_IK_LINK},
      {"ik_end", SEGMENT_IK_END},       {"ik_multi", SEGMENT_IK_MULTI},
      {"ik_single", SEGMENT_IK_SINGLE},
  };
  std::string word = rest_after(line, "type");
  for (const auto& entry : kKinds)
    if (starts(word, entry.word)) segment->kind = entry.kind;
}

void set_dof(Segment* segment, std::string line) {
  for (char& c : line) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  static const char* const kNames[6] = {"TX", "TY", "TZ", "RX", "RY", "RZ"};
  uint8_t mask = 0;
  for (int i = 0; i < 6; ++i)
    if (contains(line, kNames[i])) mask = static_cast<uint8_t>(mask | (1u << i));
  segment->dof = mask;
}

// One limit value: "inf" and "1.#INF" are +infinity, "-inf" and "-1.#INF" -infinity.
float limit_value(const std::string& word) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  if (word == "inf" || word == "1.#INF" || word == "+inf") return inf;
  if (word == "-inf" || word == "-1.#INF") return -inf;
  return strtof(word.c_str(), nullptr);
}

// A line of a "limits" block: "tx lo softlo softhi hi", "txsoft %f", ... Returns false for a
// line that is no limit line.
bool read_limit_line(Segment* segment, const std::string& line) {
  if (line.size() < 3 || (line[0] != 't' && line[0] != 'r')) return false;
  char axis = line[1];
  if (axis != 'x' && axis != 'y' && axis != 'z') return false;
  int channel = (line[0] == 'r' ? 3 : 0) + (axis - 'x');
  ChannelLimits& limits = segment->limits[channel];
  if (starts(std::string_view(line).substr(2), "soft")) {
    sscanf(line.c_str() + 6, "%f", &limits.soft);
    return true;
  }
  if (line[2] != ' ' && line[2] != '\t') return false;
  float values[4];
  int count = 0;
  size_t pos = 2;
  while (count < 4) {
    pos = line.find_first_not_of(" \t", pos);
    if (pos == std::string::npos) break;
    size_t end = line.find_first_of(" \t", pos);
    values[count++] = limit_value(line.substr(pos, end - pos));
    pos = end;
  }
  // Values are lower hard, lower soft, upper soft, upper hard. Two values are the lower and
  // upper limit (hard and soft alike); one value is the lower limit; three leave the upper hard
  // limit equal to the upper soft one.
  switch (count) {
    case 1:
      limits.values[0] = limits.values[1] = values[0];
      break;
    case 2:
      limits.values[0] = limits.values[1] = values[0];
      limits.values[2] = limits.values[3] = values[1];
      break;
    case 3:
      limits.values[0] = values[0];
      limits.values[1] = values[1];
      limits.values[2] = limits.values[3] = values[2];
      break;
    case 4:
      for (int i = 0; i < 4; ++i) limits.values[i] = values[i];
      break;
    default:
      break;
  }
  return true;
}

void read_limits_block(Context& context, Segment* segment) {
  std::string raw;
  while (context.lines->next(&raw)) {
    size_t start = raw.find_first_not_of(" \t");
    if (start == std::string::npos) continue;
    if (!read_limit_line(segment, raw.substr(start))) {
      context.lines->push_back(raw);
      return;
    }
  }
}

// Curves for one "bind_pose" line: tx, ty, tz, rx, ry, rz each a two-key constant curve.
void read_bind_pose(Context& context, Segment* segment, const std::string& line) {
  Agent* type = context.current();
  if (!type || type->bind_pose_file) return;
  std::string numbers = rest_after(line, "bind_pose");
  if (numbers.empty() || !(std::isdigit(static_cast<unsigned char>(numbers[0])) ||
                           numbers[0] == '-' || numbers[0] == '.'))
    return;
  if (!context.bind_pose_action) {
    Action* action = newAction(&type->actions);
    if (!action) return;
    std::string name = base_name_of(context.path) + "_bindpose";
    set_text(&action->name, name);
    action->rate = amc_sample_rate;
    action->working_rate = amc_sample_rate;
    context.bind_pose_action = action;
  }
  const char* cursor = numbers.c_str();
  for (int channel = 0; channel < 6; ++channel) {
    char* end = nullptr;
    float value = strtof(cursor, &end);
    if (end == cursor) value = 0.0f;
    cursor = end;
    Curve* curve = newCurve(&context.bind_pose_action->curves);
    if (!curve) return;
    curve_allocate_points(curve, 2);
    if (!curve->points || curve->points->count < 2) continue;
    std::string channel_name =
        std::string(segment->name ? segment->name : "") + ":" + kChannelNames[channel];
    set_text(&curve->points->channel, channel_name);
    curve->points->time[0] = 0.0f;
    curve->points->time[1] = 1.0f;
    curve->points->value[0] = value;
    curve->points->value[1] = value;
  }
}

void set_translation(Context& context, Segment* segment, const std::string& line) {
  float t[3] = {0.0f, 0.0f, 0.0f};
  if (scan(context, line, "translate %f %f %f", {&t[0], &t[1], &t[2]}) < 3) return;
  for (int i = 0; i < 3; ++i) segment->channels[i] = t[i];
  change_matrices(segment, [&](float* m) {
    m[12] = t[0];
    m[13] = t[1];
    m[14] = t[2];
  });
}

void set_rotation(Context& context, Segment* segment, const std::string& line) {
  float r[3] = {0.0f, 0.0f, 0.0f};
  scan(context, std::string_view(line).substr(6), " %f %f %f", {&r[0], &r[1], &r[2]});
  for (int i = 0; i < 3; ++i) segment->channels[3 + i] = r[i];
  float rotation[16];
  rotation_matrix_from_angles(r[0] / kDegreesPerRadian, r[1] / kDegreesPerRadian,
                              r[2] / kDegreesPerRadian, segment->order, rotation);
  change_matrices(segment, [&](float* m) {
    for (int row = 0; row < 3; ++row)
      for (int column = 0; column < 3; ++column) m[row * 4 + column] = rotation[row * 4 + column];
  });
}

const char* const kSegmentKeywords[] = {
    "disabled",  "parent",    "collisions", "colour",    "density", "type",        "ik_order",
    "size",      "primitive", "radius",     "thickness", "length",  "bone_rotate", "axis",
    "centre",    "range",     "threshold",  "dof",       "limits",  "order",       "transform",
    "translate", "rotate",    "scale_var",  "thick_var", "ik_axis", "bind_pose",
};

}  // namespace

bool handle_segment(Context& context, const std::string& line) {
  const char* keyword = nullptr;
  for (const char* candidate : kSegmentKeywords)
    if (starts(line, candidate)) {
      keyword = candidate;
      break;
    }
  if (!keyword) return false;
  Segment* segment = *context.segment;
  if (!segment) {
    fprintf(stderr, "NO SEG!!\n");
    return true;
  }
  std::string_view key(keyword);
  if (key == "disabled") {
    segment->disabled = 1;
  } else if (key == "parent") {
    if (*context.state == CDL_SEGMENT) set_parent(context, segment, rest_after(line, "parent"));
  } else if (key == "collisions") {
    std::string word = rest_after(line, "collisions");
    if (starts(word, "off"))
      segment->collision_mode = 0;
    else if (starts(word, "rbd"))
      segment->collision_mode = 1;
    else if (starts(word, "cloth"))
      segment->collision_mode = 2;
  } else if (key == "colour") {
    scan(context, line, "colour %f", {&segment->colour});
  } else if (key == "density") {
    scan(context, line, "density %f", {&segment->density});
  } else if (key == "type") {
    set_kind(segment, line);
  } else if (key == "ik_order") {
    scan(context, line, "ik_order %d", {&segment->ik_order});
  } else if (key == "size") {
    scan(context, std::string_view(line).substr(4), " %f %f %f",
         {&segment->size[0], &segment->size[1], &segment->size[2]});
  } else if (key == "primitive") {
    set_primitive(context, segment, line);
  } else if (key == "radius") {
    scan(context, line, "radius %f", {&segment->radius});
  } else if (key == "thickness") {
    scan(context, line, "thickness %f %f", {&segment->thickness[0], &segment->thickness[1]});
  } else if (key == "length") {
    scan(context, line, "length %f", {&segment->length});
  } else if (key == "bone_rotate") {
    scan(context, std::string_view(line).substr(11), " %f %f %f",
         {&segment->bone_rotate[0], &segment->bone_rotate[1], &segment->bone_rotate[2]});
  } else if (key == "axis") {
    scan(context, std::string_view(line).substr(4), " %f %f %f",
         {&segment->axis[0], &segment->axis[1], &segment->axis[2]});
  } else if (key == "centre") {
    scan(context, std::string_view(line).substr(6), " %f %f %f",
         {&segment->centre[0], &segment->centre[1], &segment->centre[2]});
  } else if (key == "range") {
    scan(context, line, "range %f %f", {&segment->range[0], &segment->range[1]});
  } else if (key == "threshold") {
    scan(context, line, "threshold %f", {&segment->threshold});
  } else if (key == "dof") {
    set_dof(segment, line);
  } else if (key == "limits") {
    read_limits_block(context, segment);
  } else if (key == "order") {
    segment->order = order_normalise(strToOrder(rest_after(line, "order").c_str()));
  } else if (key == "transform") {
    float m[16];
    hordera::matrix_identity(m);
    read_matrix_rows(context, m);
    change_matrices(segment, [&](float* target) { matrix_mul(target, m); });
  } else if (key == "translate") {
    set_translation(context, segment, line);
  } else if (key == "rotate") {
    set_rotation(context, segment, line);
  } else if (key == "scale_var") {
    std::string word;
    if (scan(context, line, "scale_var %s", {&word})) set_text(&segment->scale_var, word);
  } else if (key == "thick_var") {
    std::string word;
    if (scan(context, line, "thick_var %s", {&word})) set_text(&segment->thick_var, word);
  } else if (key == "ik_axis") {
    scan(context, std::string_view(line).substr(7), " %f %f %f",
         {&segment->ik_axis[0], &segment->ik_axis[1], &segment->ik_axis[2]});
  } else if (key == "bind_pose") {
    read_bind_pose(context, segment, line);
  }
  return true;
}

Segment* find_open_segment(Context& context, const std::string& name) {
  Agent* type = context.current();
  if (!type) return nullptr;
  Context::SegmentIndex& index = context.segment_index;
  if (index.type != type) index = {type, nullptr, {}};
  for (Segment* s = index.last ? index.last->next : type->segments; s; s = s->next) {
    if (s->name) index.first.emplace(s->name, s);
    index.last = s;
  }
  const auto found = index.first.find(name);
  return found == index.first.end() ? nullptr : found->second;
}

}  // namespace hordera::cdl
