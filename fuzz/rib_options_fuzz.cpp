// Fuzzes the procedural's options reader on the words after "options": a string it refuses
// leaves the options and the motion-blur flag exactly as they were.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mray/rib_options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  mray::RibOptions options;
  options.pass_name = "kept";
  bool blur = true;
  if (!mray::read_rib_options(text, &options, &blur) && (options.pass_name != "kept" || !blur))
    std::abort();
  return 0;
}
