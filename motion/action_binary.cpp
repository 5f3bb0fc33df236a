// The binary action form (".actb"): a header word, then tagged action and curve records, in
// either byte order. Every read is bounds-checked, so a truncated or malformed file ends the read
// with what came before the fault kept.
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "base/stream.h"
#include "motion/action.h"

namespace {

constexpr uint32_t kVersion2Header = 0xFF01;
constexpr uint32_t kActionTag = 1;
constexpr uint32_t kCurveTag = 2;

// A cursor over the file's bytes that byte-reverses words when the file's order is not ours.
class Reader {
 public:
  explicit Reader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  void set_swapped(bool swapped) { swapped_ = swapped; }
  size_t remaining() const { return bytes_.size() - position_; }
  size_t position() const { return position_; }

  bool word(uint32_t* out) {
    if (remaining() < 4) return false;
    uint32_t w;
    std::memcpy(&w, bytes_.data() + position_, 4);
    position_ += 4;
    *out = swapped_ ? __builtin_bswap32(w) : w;
    return true;
  }

  bool real(float* out) {
    uint32_t w;
    if (!word(&w)) return false;
    *out = std::bit_cast<float>(w);
    return true;
  }

  bool byte(uint8_t* out) {
    if (remaining() < 1) return false;
    *out = bytes_[position_++];
    return true;
  }

  // A string stored as its byte count (terminating zero included) and its bytes.
  bool text(std::string* out) {
    uint32_t length;
    if (!word(&length) || length > remaining()) return false;
    const char* start = reinterpret_cast<const char*>(bytes_.data() + position_);
    out->assign(start, strnlen(start, length));
    position_ += length;
    return true;
  }

 private:
  const std::vector<uint8_t>& bytes_;
  size_t position_ = 0;
  bool swapped_ = false;
};

// The whole file through the Stream layer, as every other engine file is read.
bool read_file(const char* path, std::vector<uint8_t>* bytes) {
  std::unique_ptr<Stream, int (*)(Stream*)> stream(stream_open(path, "r", 0), stream_close);
  if (!stream) return false;
  uint8_t chunk[65536];
  for (size_t n; (n = stream_read(stream.get(), chunk, sizeof chunk)) > 0;)
    bytes->insert(bytes->end(), chunk, chunk + n);
  return !stream_error(stream.get());
}

// Curve type numbers of the binary type codes; other codes are type numbers themselves.
int curve_type_of_code(uint32_t code) {
  switch (code) {
    case 0:
      return CURVE_LINEAR;
    case 1:
      return CURVE_SPLINE1D;
    case 2:
      return CURVE_COSINE;
    case 3:
      return CURVE_CONSTANT;
    default:
      return static_cast<uint8_t>(code);
  }
}

bool read_action(Reader& in, int version, Action** list, Action** action) {
  std::string name;
  float rate, loop[3];
  uint8_t track = 0, flags;
  if (!in.text(&name) || !in.real(&rate) || (version == 2 && !in.byte(&track)) ||
      !in.real(&loop[0]) || !in.real(&loop[1]) || !in.real(&loop[2]) || !in.byte(&flags))
    return false;
  Action* fresh = newAction(list);
  if (!fresh) return false;
  action_set_name(fresh, name.c_str());
  fresh->rate = fresh->working_rate = rate;
  fresh->track = track;
  std::memcpy(fresh->loop, loop, sizeof loop);
  fresh->flags = flags;
  *action = fresh;
  return true;
}

bool read_curve(Reader& in, Agent* agent, Action* action) {
  std::string channel;
  uint32_t count, code;
  if (!in.text(&channel) || !in.word(&count) || !in.word(&code)) return false;
  // Both key arrays must be in the file before anything is made of the record.
  if (count > in.remaining() / 8) return false;
  std::vector<float> times(count), values(count);
  for (float& t : times) in.real(&t);
  for (float& v : values) in.real(&v);
  if (!action) return true;  // a curve before any action belongs to none and is skipped

  Curve* curve = newCurve(&action->curves);
  if (!curve) return false;
  // A "latch" curve of two keys is closed with a third key at the end of the cycle.
  bool close_latch = channel == "latch" && count == 2;
  int keys = static_cast<int>(count) + (close_latch ? 1 : 0);
  curve_allocate_points(curve, keys);
  CurvePoints* k = curve->points;
  if (!k || k->count != keys) return false;
  hordera::curve_set_channel(curve, channel.c_str());
  if (count > 0) {  // a curve without keys has no key block to copy into
    std::memcpy(k->time, times.data(), count * sizeof(float));
    std::memcpy(k->value, values.data(), count * sizeof(float));
  }
  if (close_latch) {
    k->time[2] = 1.0f;
    k->value[2] = k->value[1];
  }
  // The binary form stores no tangents: a spline curve gets the automatic tangents of its keys.
  int type = curve_type_of_code(code);
  if (hordera::curve_type_is_spline(type))
    curve_set_type(curve, type);
  else
    k->type = static_cast<uint8_t>(type);
  if (channel == "transition") action->transition = curve;
  if (channel == "latch") action->latch = curve;
  action_bind_curve(agent, curve);
  return true;
}

int read_binary_file(const char* path, Agent* agent, Action** list);

}  // namespace

extern "C" {

int actions_read_binary(const char* path, Agent* agent, Action** list) {
  if (!path || !list) return 0;
  try {
    return read_binary_file(path, agent, list);
  } catch (const std::exception&) {
    return 1;  // scratch memory ran out: the records read so far stay
  }
}

}  // extern "C"

namespace {

int read_binary_file(const char* path, Agent* agent, Action** list) {
  std::vector<uint8_t> bytes;
  if (!read_file(path, &bytes)) return 0;
  Reader in(bytes);
  uint32_t header;
  if (!in.word(&header)) return 0;
  int version = 1;
  if (header == kVersion2Header) {
    version = 2;
  } else if (__builtin_bswap32(header) == kVersion2Header) {
    version = 2;
    in.set_swapped(true);
  }

  Action* action = nullptr;
  for (uint32_t tag; in.word(&tag);) {
    const size_t at = in.position() - 4;
    bool ok = false;
    if (tag == kActionTag)
      ok = read_action(in, version, list, &action);
    else if (tag == kCurveTag)
      ok = read_curve(in, agent, action);
    // An unknown tag or a record cut short ends the read; what came before is kept.
    if (!ok) {
      if (tag == kActionTag || tag == kCurveTag)
        std::fprintf(stderr, "%s: record at byte %zu cut short; the rest is not read\n", path, at);
      else
        std::fprintf(stderr, "%s: unknown record tag %u at byte %zu; the rest is not read\n", path,
                     tag, at);
      break;
    }
  }
  return 1;
}

}  // namespace
