// Global settings outside any agent type: the unit of length and the rigid-body solver.
#include "agent/agent.h"

extern "C" {
int32_t length_unit = 1;
int32_t rbd_solver = 1;
}
