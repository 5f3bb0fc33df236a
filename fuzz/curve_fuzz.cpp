// Fuzzes the curve-block reader: the input is read as curve blocks, one after another, as a
// curve list of an action would be, and every curve read is evaluated once.
#include <cstdint>
#include <string>

#include "base/stream.h"
#include "fuzz/fuzz_input.h"
#include "motion/curve.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = fuzz::write_input(data, size, "input.curve");
  Stream* stream = stream_open(path.c_str(), "r", 0);
  if (!stream) return 0;
  // Each block is read after its "curve" line; a block that does not end properly stops the
  // list, as it would stop an action's.
  char line[1000];
  for (int blocks = 0; blocks < 64 && stream_gets(stream, line, sizeof line); ++blocks) {
    Curve* curve = newCurve(nullptr);
    int ended = curve_read_text(stream, curve);
    if (curve->points) {
      curve_evaluate(curve, 0.25f);
      curve_evaluate(curve, 0.999f);
    }
    curve_free(curve);
    if (!ended) break;
  }
  stream_close(stream);
  return 0;
}
