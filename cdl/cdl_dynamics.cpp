// The keywords of a "dynamics" block: the rigid-body settings of the scene, of an agent type or
// of one segment, chosen by the section in which the block opened.
#include "cdl/cdl_context.h"

namespace hordera::cdl {

bool handle_dynamics(Context& context, const std::string& line) {
  int& state = *context.state;
  if (starts(line, "end dynamics")) {
    if (state == CDL_DYNAMICS_SEGMENT)
      state = CDL_SEGMENT;
    else if (state == CDL_DYNAMICS_OBJECT)
      state = CDL_OBJECT;
    else
      state = CDL_TOP;
    return true;
  }
  if (starts(line, "rbd_solver")) {
    // The solver name is looked for in the text after the line's end, which is always empty,
    // so every "rbd_solver" line selects solver 2. Kept as files written so far expect it.
    const char* after_line_end = "";
    rbd_solver = contains(after_line_end, "glowworm") ? 1 : 2;
    return true;
  }
  DynamicsSettings* settings = &global_dynamics;
  if (state == CDL_DYNAMICS_OBJECT) {
    if (!context.current()) return false;
    settings = &context.current()->dynamics;
  } else if (state == CDL_DYNAMICS_SEGMENT) {
    if (!*context.segment) return false;
    settings = &(*context.segment)->dynamics;
  }
  // Longer keywords come before the shorter ones they begin with.
  static const struct {
    const char* keyword;
    float DynamicsSettings::*field;
  } kFields[] = {
      {"active", &DynamicsSettings::active},
      {"angle spring", &DynamicsSettings::angle_spring},
      {"angle dampen", &DynamicsSettings::angle_damping},
      {"angle friction", &DynamicsSettings::angle_friction},
      {"collision spring", &DynamicsSettings::collision_spring},
      {"collision dampen", &DynamicsSettings::collision_damping},
      {"collision friction", &DynamicsSettings::collision_friction},
      {"collision ERP", &DynamicsSettings::collision_erp},
      {"collision CFM", &DynamicsSettings::collision_cfm},
      {"collision mu", &DynamicsSettings::collision_mu},
      {"ERP", &DynamicsSettings::erp},
      {"CFM", &DynamicsSettings::cfm},
      {"ODE ff", &DynamicsSettings::force_factor},
      {"bounce velocity", &DynamicsSettings::bounce_velocity},
      {"bounce", &DynamicsSettings::bounce},
      {"gravity", &DynamicsSettings::gravity},
      {"steps", &DynamicsSettings::steps},
      {"drag", &DynamicsSettings::drag},
  };
  for (const auto& entry : kFields) {
    if (!starts(line, entry.keyword)) continue;
    std::string format = std::string(entry.keyword) + " %f";
    scan(context, line, format.c_str(), {&(settings->*entry.field)});
    return true;
  }
  if (starts(line, "lock")) {
    settings->lock = 1;
    return true;
  }
  return false;
}

}  // namespace hordera::cdl
