// Fuzzes the procedural's parameter string and its options reader: ConvertParameters either
// refuses the string or makes a record that Free takes back whole (the sanitizers catch a lost or
// doubly freed string), and the options reader, fed the input directly, never fails half way.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mray/procedural_record.h"
#include "mray/ri_interface.h"
#include "mray/rib_options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  auto* record = static_cast<ProceduralRecord*>(ConvertParameters(text.data()));
  if (record != nullptr) {
    if (!(record->flags & PROCEDURAL_PARSED) || record->pair_count < 0 ||
        (record->pair_count > 0 && record->pairs == nullptr))
      std::abort();
    Free(record);
  }
  // A refused option string leaves the options and the flag as they were.
  mray::RibOptions options;
  options.pass_name = "kept";
  bool blur = true;
  if (!mray::read_rib_options(text, &options, &blur) && (options.pass_name != "kept" || !blur))
    std::abort();
  return 0;
}
