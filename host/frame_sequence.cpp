// The frames of a sequence, one after the other, each written whole or not at all.
#include "host/frame_sequence.h"

#include <cstdio>

#include "host/frame_builder.h"
#include "host/frame_range.h"
#include "host/progress_bar.h"

namespace host {

int run_sequence(const SequenceOptions& options, const FrameWriter& write) {
  FrameRange range;
  std::string error;
  const bool sequence = !options.frames.empty();
  if (sequence && (!parse_frame_range(options.frames, &range, &error) ||
                   !check_frame_pattern(options.scene, &error) ||
                   !check_frame_pattern(options.output, &error))) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  const std::string output_pattern = sequence_pattern(options.output, range.count() > 1);
  if (sequence && range.count() > 1 && !has_frame_conversion(options.scene))
    std::fprintf(stderr,
                 "note: %s names no frame number (as in crowd.%%04d.mi): every frame "
                 "is made from this one scene\n",
                 options.scene.c_str());

  FrameBuilder builder;
  builder.set_threads(options.threads);
  if (!builder.start(options.plugin, &error)) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  auto one_frame = [&](int frame, std::string* failure) {
    const std::string scene = sequence ? format_frame_path(options.scene, frame) : options.scene;
    const std::string output = sequence ? format_frame_path(output_pattern, frame) : options.output;
    FrameGeometry geometry;
    std::vector<std::string> warnings;
    bool ok = builder.build(scene, &geometry, failure, &warnings) &&
              write(frame, geometry, output, failure, &warnings);
    for (const std::string& warning : warnings)
      std::fprintf(stderr, "warning: %s\n", warning.c_str());
    return ok;
  };
  if (!sequence) {
    if (one_frame(range.first, &error)) return 0;
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  ProgressBar bar(options.label, range.count(), options.progress && range.count() > 1);
  const int failed = run_frames(range, one_frame, [&](int done) { bar.update(done); });
  bar.finish();
  return failed == 0 ? 0 : 1;
}

}  // namespace host
