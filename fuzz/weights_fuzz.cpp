// Fuzzes the weights-file reader: the input is written as a weights file and read for an agent
// type with three bones, once for the whole bone list and once for an attach list that also
// names a segment without a bone, and the deformer table is read as well.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "agent/weights.h"
#include "fuzz/fuzz_input.h"

namespace {

// Segments "hip", "spine", "head", "tail"; bones for the first three (deformers 0, 1, 2).
Agent* skinned_type() {
  static Agent* type = [] {
    Agent* made = new_agent_type("weights_fuzz");
    Bone** tail = &made->bones;
    for (const char* name : {"hip", "spine", "head"}) {
      Bone* bone = static_cast<Bone*>(std::calloc(1, sizeof(Bone)));
      bone->name = strdup(name);
      bone->segment = new_segment(made, name);
      *tail = bone;
      tail = &bone->next;
    }
    new_segment(made, "tail");
    return made;
  }();
  return type;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Agent* type = skinned_type();
  std::string path = fuzz::write_input(data, size, "input.w");

  float** arrays = nullptr;
  int32_t count = 0;
  if (read_weights_file(path.c_str(), type, 8, nullptr, 0, &arrays, &count))
    free_weight_arrays(arrays, count);

  Segment* const attach[] = {findSegment(type, "tail"), findSegment(type, "head"), nullptr};
  arrays = nullptr;
  count = 0;
  if (read_weights_file(path.c_str(), type, 3, attach, 3, &arrays, &count))
    free_weight_arrays(arrays, count);

  std::vector<int> table;
  hordera::read_weights_deformer_table(path.c_str(), type, table);
  return 0;
}
