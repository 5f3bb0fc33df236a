// The text form of a curve block, shared by action data and scene setup files: writing in both
// indentation styles and reading a block body line by line through the Stream layer.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "base/stream.h"
#include "motion/curve.h"

namespace {

// Longest line a curve block reader takes at once.
constexpr int kLineLimit = 9000;

struct TypeKeyword {
  const char* keyword;
  int type;
};

// The type keywords in the order a "type" line is searched.
constexpr TypeKeyword kTypeKeywords[] = {
    {"constant", CURVE_CONSTANT}, {"linear", CURVE_LINEAR},     {"cosine", CURVE_COSINE},
    {"spline1d", CURVE_SPLINE1D}, {"spline2d", CURVE_SPLINE2D}, {"null", CURVE_NULL},
};

bool starts_with(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

const char* skip_blanks(const char* text) {
  while (*text == ' ' || *text == '\t') ++text;
  return text;
}

// One key line as scanned: fields a short line does not give stay as they were (zero).
struct KeyLine {
  float fields[6] = {0, 0, 0, 0, 0, 0};
};

void report_out_of_memory() {
  std::fputs("Out of memory allocating curve points.\n", stderr);
}

int read_block_body(Stream* stream, Curve* curve);

}  // namespace

namespace hordera {

const char* curve_type_keyword(int type) {
  for (const TypeKeyword& entry : kTypeKeywords)
    if (entry.type == type) return entry.keyword;
  return "null";
}

int curve_type_from_text(const char* line) {
  for (const TypeKeyword& entry : kTypeKeywords)
    if (std::strstr(line, entry.keyword)) return entry.type;
  return CURVE_NULL;
}

}  // namespace hordera

extern "C" {

void curve_write_text(Stream* stream, Curve* curve, int style) {
  if (!stream || !curve || !curve->points) return;
  const CurvePoints& k = *curve->points;
  bool action_style = style == CURVE_TEXT_ACTION;
  const char* header = action_style ? "    " : "            ";
  const char* keyword = action_style ? "\t" : "                ";
  const char* key = "                ";
  stream_printf(stream, "%scurve\n", header);
  if (k.channel) stream_printf(stream, "%schannel %s\n", keyword, k.channel);
  stream_printf(stream, "%stype %s\n", keyword, hordera::curve_type_keyword(k.type));
  int count = k.time ? k.count : 0;
  stream_printf(stream, "%s%d points\n", keyword, count);
  bool spline = hordera::curve_type_is_spline(k.type);
  for (int i = 0; i < count; ++i) {
    if (spline) {
      // Storage without tangent arrays writes flat zero tangents.
      bool t = k.in_x != nullptr;
      stream_printf(stream, "%s%f %f %f %f %f %f\n", key, k.time[i], k.value[i], t ? k.in_x[i] : 0,
                    t ? k.in_y[i] : 0, t ? k.out_x[i] : 0, t ? k.out_y[i] : 0);
    } else {
      stream_printf(stream, "%s%f %f\n", key, k.time[i], k.value[i]);
    }
  }
  stream_printf(stream, "%send curve\n", header);
}

int curve_read_text(Stream* stream, Curve* curve) {
  if (!stream || !curve) return 0;
  try {
    return read_block_body(stream, curve);
  } catch (const std::exception&) {
    report_out_of_memory();  // scratch buffers could not be had; the curve keeps what it has
    return 0;
  }
}

}  // extern "C"

namespace {

int read_block_body(Stream* stream, Curve* curve) {
  long entry = stream_tell(stream);
  std::vector<char> buffer(kLineLimit);
  int type = curve->points ? int(curve->points->type) : int(CURVE_LINEAR);
  std::string pending_channel;
  bool has_pending_channel = false;

  while (stream_gets(stream, buffer.data(), kLineLimit)) {
    const char* line = skip_blanks(buffer.data());
    if (starts_with(line, "end curve")) return 1;
    if (starts_with(line, "type")) {
      type = hordera::curve_type_from_text(line);
      continue;
    }
    if (starts_with(line, "channel")) {
      std::vector<char> name(kLineLimit);
      if (std::sscanf(line, "channel %8999s", name.data()) == 1) {
        if (curve->points) {
          hordera::curve_set_channel(curve, name.data());
        } else {
          pending_channel = name.data();
          has_pending_channel = true;
        }
      }
      continue;
    }
    if (std::strstr(line, " points") || std::strstr(line, "points ")) {
      int count = 0;
      if (*line >= '0' && *line <= '9')
        std::sscanf(line, "%d", &count);
      else
        std::sscanf(line, "points %d", &count);
      // Keys are gathered first, so that a count larger than the lines that follow costs no more
      // memory than the file holds; the curve keeps the keys that were there.
      bool spline = hordera::curve_type_is_spline(type);
      std::vector<KeyLine> keys;
      for (int i = 0; i < count && stream_gets(stream, buffer.data(), kLineLimit); ++i) {
        KeyLine key;
        float* f = key.fields;
        if (spline)
          std::sscanf(buffer.data(), "%f %f %f %f %f %f", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]);
        else
          std::sscanf(buffer.data(), "%f %f", &f[0], &f[1]);
        keys.push_back(key);
      }
      curve_allocate_points(curve, static_cast<int>(keys.size()));
      if (!curve->points) return 0;
      CurvePoints* k = curve->points;
      if (spline) hordera::curve_rebuild_storage(k, k->count, true);
      k->type = static_cast<uint8_t>(type);
      if (has_pending_channel) hordera::curve_set_channel(curve, pending_channel.c_str());
      for (int i = 0; i < k->count; ++i) {
        const float* f = keys[i].fields;
        k->time[i] = f[0];
        k->value[i] = f[1];
        if (k->in_x) k->in_x[i] = f[2], k->in_y[i] = f[3], k->out_x[i] = f[4], k->out_y[i] = f[5];
      }
      continue;
    }
    // A line that belongs to no curve block: the caller reads on from where it entered.
    stream_seek(stream, entry, SEEK_SET);
    return 0;
  }
  return 0;
}

}  // namespace
