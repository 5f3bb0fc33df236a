// Global settings outside any agent type: the unit of length with the scene scale factors that
// follow from it, the rigid-body solver choice and the top-level dynamics settings.
#include "agent/agent.h"

namespace {

// Per unit code 1..4 (metres, cm, foot, inch).
constexpr float kUnitsPerMetre[4] = {1.0f, 100.0f, 3.28084f, 39.37008f};
constexpr float kCoarseFactor[4] = {1.0f, 100.0f, 3.0f, 40.0f};
constexpr float kCentimetre[4] = {0.01f, 1.0f, 0.032808f, 0.3937f};

}  // namespace

extern "C" {

int32_t length_unit = 1;
float units_per_metre = 1.0f;
float unit_coarse_factor = 1.0f;
float unit_centimetre = 0.01f;
int32_t rbd_solver = 1;
DynamicsSettings global_dynamics = {};

void set_length_unit(int32_t code) {
  if (code < 1 || code > 4) code = 1;
  length_unit = code;
  units_per_metre = kUnitsPerMetre[code - 1];
  unit_coarse_factor = kCoarseFactor[code - 1];
  unit_centimetre = kCentimetre[code - 1];
}

}  // extern "C"
