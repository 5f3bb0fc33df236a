// Fuzzes the OBJ mesh reader: the input is written as an OBJ file and read into a mesh.
#include <cstdint>
#include <string>

#include "agent/obj_reader.h"
#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = fuzz::write_input(data, size, "input.obj");
  if (Mesh* mesh = loadGeometry(path.c_str())) mesh_free(mesh);
  return 0;
}
