// Fuzzes the procedural's parameter string: ConvertParameters either refuses the string or makes
// a record that Free takes back whole (the sanitizers catch a lost or doubly freed string).
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mray/procedural_record.h"
#include "mray/ri_interface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  auto* record = static_cast<ProceduralRecord*>(ConvertParameters(text.data()));
  if (record != nullptr) {
    if (!(record->flags & PROCEDURAL_PARSED) || record->pair_count < 0 ||
        (record->pair_count > 0 && record->pairs == nullptr))
      std::abort();
    Free(record);
  }
  return 0;
}
