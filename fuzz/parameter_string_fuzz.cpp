// Fuzzes the geometry shader's parameter-string parser. Its strings are renderer memory from
// the stand-in host linked in; every block must be given back once, so a lost or doubly released
// string stops the fuzzer.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/memory.h"
#include "mray/parameter_string.h"
#include "mray/renderer_functions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool hosted = [] {
    miSetModuleHandle(dlopen(nullptr, RTLD_NOW));
    return true;
  }();
  (void)hosted;
  // The parser takes a C string: the input up to its first NUL.
  std::string text(reinterpret_cast<const char*>(data), size);
  MrayRenderArgs args{};
  mray::init_render_args(&args);
  mray::parse_parameter_string(&args, text.c_str());
  if (args.pair_count < 0 || (args.pair_count > 0 && !args.pairs)) std::abort();

  for (char* string : {args.cdl_file, args.motion_file, args.apf_file})
    host::release_memory(string);
  for (int i = 0; i < args.pair_count; ++i) host::release_memory(args.pairs[i].string);
  host::release_memory(args.pairs);
  if (!host::memory_in_use().empty() || host::memory_release_faults() != 0) {
    std::fprintf(stderr, "renderer memory held or released wrongly after parsing\n");
    std::abort();
  }
  return 0;
}
