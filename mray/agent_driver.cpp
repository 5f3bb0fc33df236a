// The per-agent render driver.
#include "mray/agent_driver.h"

#include "mray/renderer_functions.h"

namespace mray {

void render_agent(const miState* state, miTag* result, MrayRenderArgs* args) {
  (void)state;
  (void)result;
  if (args == nullptr || args->cdl_file == nullptr) {
    MI_CALL(mi_error, "-->horderaMray: .cdl file name is missing from parameter string.\n");
    return;
  }
}

}  // namespace mray
