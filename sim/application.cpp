// The engine's application start-up, reduced to what a windowless engine needs: the options
// that say whether windows are opened and whether polygonal geometry is built.
#include "sim/application.h"

#include <cstring>

#include "sim/evaluators.h"

int32_t build_polygon_geometry = 0;
int32_t no_windows = 0;

int application_start(void* display, int argc, char** argv) {
  (void)display;  // the windowless engine opens no display
  for (int i = 1; i < argc && argv != nullptr; ++i) {
    if (argv[i] == nullptr) continue;
    if (std::strcmp(argv[i], "-gui") == 0) no_windows = 1;
    if (std::strcmp(argv[i], "-geo") == 0) build_polygon_geometry = 1;
  }
  // A started engine simulates for real: every nextFrame evaluates brains and plays actions.
  sim_use_evaluators();
  return 1;
}
