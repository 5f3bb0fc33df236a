// The variation update.
#include "sim/variation.h"

extern "C" void agent_update_variation(Agent* agent) {
  (void)agent;
}
