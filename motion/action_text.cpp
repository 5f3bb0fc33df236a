// The text form of an action list (".act" files and the action sections of agent files):
// writing every action with its curve blocks, and reading a list back with push-back of the line
// that ends it.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "base/stream.h"
#include "motion/action.h"

namespace {

// Longest line the action reader takes at once; longer lines come back in pieces.
constexpr int kLineLimit = 1000;

bool starts_with(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

const char* skip_blanks(const char* text) {
  while (*text == ' ' || *text == '\t') ++text;
  return text;
}

// Keywords of the enclosing agent file that end an action list.
bool ends_action_list(const char* line) {
  for (const char* keyword : {"end object", "object", "segment", "fuzzy", "motion tree"})
    if (starts_with(line, keyword)) return true;
  return false;
}

// Reads content lines (comments, blank lines and leading blanks dropped, newline cut off) and
// can push the last one back by returning the stream to where that line began.
class LineReader {
 public:
  explicit LineReader(Stream* stream) : stream_(stream) {}

  // The next content line, or null at the end of the stream.
  const char* next() {
    for (;;) {
      line_start_ = stream_tell(stream_);
      if (!stream_gets(stream_, buffer_, kLineLimit)) return nullptr;
      if (buffer_[0] == '#') continue;
      buffer_[std::strcspn(buffer_, "\r\n")] = '\0';
      const char* line = skip_blanks(buffer_);
      if (*line) return line;
    }
  }

  // The next line exactly as stored (for key lines), or null at the end of the stream.
  const char* raw() { return stream_gets(stream_, buffer_, kLineLimit); }

  void push_back() { stream_seek(stream_, line_start_, SEEK_SET); }

 private:
  Stream* stream_;
  long line_start_ = 0;
  char buffer_[kLineLimit];
};

// What a curve carries over to the next one that lacks its own "type" or "channel" line.
struct CurveDefaults {
  int type = CURVE_LINEAR;
  std::string channel;
  bool has_channel = false;
};

// Reads `count` key lines after a "points" line and gives them to the curve.
void read_keys(LineReader& reader, Curve* curve, int count, const CurveDefaults& defaults) {
  bool spline = hordera::curve_type_is_spline(defaults.type);
  std::vector<float> fields;
  int read = 0;
  for (const char* line; read < count && (line = reader.raw()); ++read) {
    float f[6] = {0, 0, 0, 0, 0, 0};
    if (spline)
      std::sscanf(line, "%f %f %f %f %f %f", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]);
    else
      std::sscanf(line, "%f %f", &f[0], &f[1]);
    fields.insert(fields.end(), f, f + 6);
  }
  curve_allocate_points(curve, read);
  CurvePoints* k = curve->points;
  if (!k) return;
  if (spline) hordera::curve_rebuild_storage(k, k->count, true);
  k->type = static_cast<uint8_t>(defaults.type);
  if (defaults.has_channel) hordera::curve_set_channel(curve, defaults.channel.c_str());
  for (int i = 0; i < k->count; ++i) {
    const float* f = &fields[6 * i];
    k->time[i] = f[0];
    k->value[i] = f[1];
    if (k->in_x) k->in_x[i] = f[2], k->in_y[i] = f[3], k->out_x[i] = f[4], k->out_y[i] = f[5];
  }
}

Action* start_action(Action** list, const char* line) {
  Action* action = newAction(list);
  if (action) action_set_name(action, skip_blanks(line + std::strlen("action")));
  return action;
}

enum class CurveEnd { kNextAction, kListEnd, kStreamEnd };

// Reads curve bodies from the line after "curve" until a line that ends the curve section.
CurveEnd read_curves(LineReader& reader, Action* action, CurveDefaults& defaults) {
  Curve* curve = newCurve(&action->curves);
  for (const char* line; (line = reader.next());) {
    if (starts_with(line, "action")) {
      reader.push_back();
      return CurveEnd::kNextAction;
    }
    if (starts_with(line, "curve")) {
      curve = newCurve(&action->curves);
    } else if (ends_action_list(line)) {
      reader.push_back();
      return CurveEnd::kListEnd;
    } else if (!curve) {
      continue;  // out of memory for the curve record: its lines are skipped
    } else if (starts_with(line, "type")) {
      defaults.type = hordera::curve_type_from_text(line);
    } else if (starts_with(line, "channel")) {
      defaults.channel = skip_blanks(line + std::strlen("channel"));
      defaults.has_channel = true;
      if (defaults.channel == "transition") action->transition = curve;
      if (defaults.channel == "latch") action->latch = curve;
    } else if (std::strstr(line, "points")) {
      int count = 0;
      std::sscanf(line, "%d points", &count);
      read_keys(reader, curve, count, defaults);
    }
  }
  return CurveEnd::kStreamEnd;
}

// Reads actions until the end of the stream or a line that ends the list (pushed back),
// counting them in `*actions_read`.
void read_list(Stream* stream, Action** list, int* actions_read) {
  LineReader reader(stream);
  CurveDefaults defaults;
  const char* line;
  while ((line = reader.next()) && !starts_with(line, "action")) {
  }
  Action* action = line ? start_action(list, line) : nullptr;
  if (action) ++*actions_read;
  while (action && (line = reader.next())) {
    if (starts_with(line, "action")) {
      action = start_action(list, line);
      if (action) ++*actions_read;
    } else if (ends_action_list(line)) {
      reader.push_back();
      break;
    } else if (starts_with(line, "rate")) {
      std::sscanf(line, "rate %f", &action->rate);
      action->working_rate = action->rate;
    } else if (starts_with(line, "track")) {
      int track = action->track;
      std::sscanf(line, "track %d", &track);
      action->track = static_cast<uint8_t>(track);
    } else if (starts_with(line, "loop")) {
      std::sscanf(line, "loop %f %f %f", &action->loop[0], &action->loop[1], &action->loop[2]);
      action->flags = 0;
      if (std::strstr(line, "one_shot")) action->flags |= ACTION_ONE_SHOT;
      if (std::strstr(line, "no_retrigger")) action->flags |= ACTION_NO_RETRIGGER;
    } else if (starts_with(line, "curve")) {
      if (read_curves(reader, action, defaults) == CurveEnd::kListEnd) break;
    }
  }
}

}  // namespace

extern "C" {

void actions_write_text(Stream* stream, Action* actions) {
  if (!stream) return;
  for (Action* action = actions; action; action = action->next) {
    stream_printf(stream, "\naction %s\n", action->name ? action->name : "");
    stream_printf(stream, "    rate %f\n", action->rate);
    stream_printf(stream, "    track %d\n", action->track);
    const float* loop = action->loop;
    if (loop[0] != 0 || loop[1] != 1 || loop[2] != 0 || action->flags != 0) {
      stream_printf(stream, "    loop %f %f %f", loop[0], loop[1], loop[2]);
      if (action->flags & ACTION_ONE_SHOT) stream_printf(stream, " one_shot");
      if (action->flags & ACTION_NO_RETRIGGER) stream_printf(stream, " no_retrigger");
      stream_printf(stream, "\n");
    }
    for (Curve* curve = action->curves; curve; curve = curve->next)
      if (curve->points) curve_write_text(stream, curve, CURVE_TEXT_ACTION);
  }
}

int actions_read_text(Stream* stream, Agent* agent, Action** list) {
  if (!stream || !list) return 0;
  int actions_read = 0;
  try {
    read_list(stream, list, &actions_read);
  } catch (const std::exception&) {
    // Scratch memory ran out: the actions read so far stay.
  }
  for (Action* a = *list; a; a = a->next)
    for (Curve* curve = a->curves; curve; curve = curve->next) action_bind_curve(agent, curve);
  return actions_read > 0 ? 1 : 0;
}

}  // extern "C"
