// Fuzzes the RenderMan procedural's whole path for one agent: ConvertParameters, Subdivide and
// Free, with the input in place of one of the agent's files, its parameter string, its shader
// line or its options (the first byte says which). A clean agent subdivided after it must write
// the same RIB as before. Options given to the procedural stay in force for the agents after
// them, as in a real RIB stream, so after fuzzed options the clean agent's RIB is taken anew.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/entry_fixture.h"
#include "host/rib_writer.h"
#include "mray/procedural_record.h"
#include "mray/ri_interface.h"

namespace {

// The RIB the procedural writes for `parameters` (frame 5, detail size 10).
std::string subdivide(const std::string& parameters) {
  std::ostringstream out;
  host::RibWriter writer(out);
  host::RibWriter* previous = host::set_rib_writer(&writer);
  std::vector<char> text(parameters.begin(), parameters.end());
  text.push_back('\0');
  if (void* record = ConvertParameters(text.data())) {
    Subdivide(record, 10.0f);
    Free(record);
  }
  host::set_rib_writer(previous);
  return out.str();
}

std::string clean_parameters(int id) {
  return std::to_string(id) + " " + fuzz::parameter_string({}, false) +
         " options motion_blur 1 render_pass beauty";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::string clean_rib = subdivide(clean_parameters(12));
  if (clean_rib.find("PointsPolygons") == std::string::npos) std::abort();
  const fuzz::EntryInput input = fuzz::entry_input(data, size);
  std::string parameters = "3 " + fuzz::parameter_string(input, true);
  if (input.slot == fuzz::Slot::options)
    parameters += " options " + input.text;
  else if (input.slot != fuzz::Slot::parameters)
    parameters += " options motion_blur 1 render_pass beauty";
  subdivide(parameters);
  if (input.slot == fuzz::Slot::options)
    clean_rib = subdivide(clean_parameters(12));
  else if (subdivide(clean_parameters(12)) != clean_rib)
    std::abort();
  fuzz::remove_input(input);
  return 0;
}
