// Frame ranges and per-frame file names, as the long commands (render, bake, simulate) take
// them, so that a render-farm scheduler can split a sequence over machines and retry frames.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace host {

// The frames first..last, both included.
struct FrameRange {
  int first = 1;
  int last = 1;
  long long count() const { return static_cast<long long>(last) - first + 1; }
};

// Reads "A" or "A-B" (whole numbers, A <= B; either may be negative, as in "-3--1"). False
// with `*error` set to "bad frame range \"TEXT\": ..." otherwise.
bool parse_frame_range(std::string_view text, FrameRange* range, std::string* error);

// A file name pattern holds at most one frame number conversion: "%d", or "%0Nd"/"%Nd" for a
// number padded to N places with zeros or spaces ("frame.%04d.png"); "%%" is a percent sign.
// False with `*error` set when it holds anything else after a "%", or two conversions.
bool check_frame_pattern(std::string_view pattern, std::string* error);
// True when the (checked) pattern holds a frame number conversion.
bool has_frame_conversion(std::string_view pattern);
// The file name for `frame`: the pattern with its conversion replaced by the frame number and
// "%%" by "%". A pattern without a conversion is returned with only "%%" replaced.
std::string format_frame_path(std::string_view pattern, int frame);
// The output pattern for a sequence: `path` itself when it holds a conversion or only one frame
// is written; otherwise ".%04d" goes before its extension ("out.png" -> "out.%04d.png").
std::string sequence_pattern(std::string_view path, bool several_frames);

// What happened to one frame of a sequence.
using FrameJob = std::function<bool(int frame, std::string* error)>;
// Runs `job` for every frame of `range` in order, going on after a failed frame. Each failure
// is printed on standard error as "error: frame N: MESSAGE"; when any failed, a last line lists
// them ("error: 2 of 4 frames failed: 3 4"). `progress`, when given, is called after each frame
// with the number of frames done. Returns the number of frames that failed.
int run_frames(const FrameRange& range, const FrameJob& job,
               const std::function<void(int done)>& progress = {});

}  // namespace host
