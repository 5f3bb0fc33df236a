// Fuzzes the ASF skeleton reader: the input is read as a skeleton file.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "motion/mocap_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = fuzz::write_input(data, size, "input.asf");
  hordera::mocap::AsfSkeleton skeleton;
  hordera::mocap::read_asf(path.c_str(), skeleton);
  return 0;
}
