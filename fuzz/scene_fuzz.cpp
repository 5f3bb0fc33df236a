// Fuzzes the host's scene-file reader on scene text held in memory.
#include <cstdint>
#include <string>
#include <string_view>

#include "host/scene_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  host::Scene scene;
  read_scene_text(std::string_view(reinterpret_cast<const char*>(data), size), "fuzz.mi", &scene);
  return 0;
}
