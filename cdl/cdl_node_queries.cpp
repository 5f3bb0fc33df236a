// Lookups on the node records an agent file makes: a material's shader row for a render pass,
// a material by number, and the alternative a geometry selector picks.
#include <cmath>

#include "agent/agent.h"
#include "agent/nodes.h"

extern "C" const MaterialPass* material_pass_row(const Material* material, int pass) {
  if (!material) return nullptr;
  if (pass >= 0 && pass < material->pass_count) {
    const MaterialPass& row = material->passes[pass];
    if (row.surface || row.displacement || row.max_displacement != 0.0f) return &row;
  }
  return &material->all_passes;
}

extern "C" Material* find_material(Agent* agent, int number) {
  for (Material* material = agent ? agent->materials : nullptr; material; material = material->next)
    if (material->number == number) return material;
  return nullptr;
}

extern "C" int option_choice(const OptionNode* option) {
  if (!option || option->alternative_count <= 0) return 0;
  // Rounded as value + 0.5 in double precision, so that a value just below one half rounds down.
  const double rounded = std::floor(static_cast<double>(option->value) + 0.5);
  if (!(rounded >= 0.0)) return 0;  // negative or NaN
  if (rounded >= static_cast<double>(option->alternative_count))
    return option->alternative_count - 1;
  return static_cast<int>(rounded);
}
