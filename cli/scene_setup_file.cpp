// Reading a scene setup file ("fps", "agent", "group" lines) and varying seeded groups.
#include "cli/scene_setup_file.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/agent.h"
#include "base/bsd_random.h"
#include "cdl/cdl.h"
#include "motion/action.h"
#include "sim/action_loading.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

Agent* find_type(const std::string& name) {
  for (Agent* type = first_agent_type; type != nullptr; type = type->next)
    if (type->name != nullptr && name == type->name) return type;
  return nullptr;
}

bool finite_number(std::istringstream& words, float* value) {
  return static_cast<bool>(words >> *value) && std::isfinite(*value);
}

// A uniform value in [0, 1) from the generator.
float unit(hordera::BsdRandom& random) {
  return static_cast<float>(random.next()) / 2147483648.0f;
}

}  // namespace

SceneSetup read_scene_setup(const std::string& path) {
  SceneSetup setup;
  std::ifstream in(path);
  if (!in) {
    setup.errors.push_back(path + ": cannot open the scene setup file");
    return setup;
  }
  setup.opened = true;
  fs::path directory = fs::path(path).parent_path();
  std::string line;
  int number = 0;
  auto fault = [&](const std::string& what) {
    setup.errors.push_back(path + ":" + std::to_string(number) + ": " + what);
  };
  while (std::getline(in, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::istringstream words(line);
    std::string keyword;
    if (!(words >> keyword) || keyword[0] == '#') continue;
    if (keyword == "fps") {
      float fps = 0;
      if (!finite_number(words, &fps) || fps <= 0 || fps > 10000)
        fault("\"fps\" needs a frame rate above 0");
      else
        inc_per_sec = fps;
    } else if (keyword == "agent") {
      std::string file;
      std::getline(words >> std::ws, file);
      if (file.empty()) {
        fault("\"agent\" needs an agent file");
        continue;
      }
      fs::path resolved = fs::path(file).is_absolute() ? fs::path(file) : directory / file;
      Agent* type = load_agent_type(resolved.string().c_str());
      if (type == nullptr) {
        fault("cannot read agent file " + resolved.string());
        continue;
      }
      if (type->render_agent != nullptr) type->render_agent->active = 0;
    } else if (keyword == "actions") {
      std::string type_name, file;
      words >> type_name;
      std::getline(words >> std::ws, file);
      Agent* type = find_type(type_name);
      if (type == nullptr || file.empty()) {
        fault(type == nullptr ? "no agent type named \"" + type_name + "\" has been loaded"
                              : "\"actions\" needs an agent type and an action file");
        continue;
      }
      fs::path resolved = fs::path(file).is_absolute() ? fs::path(file) : directory / file;
      if (!load_action_file(type, resolved.string().c_str()))
        fault("cannot load action file " + resolved.string());
    } else if (keyword == "group") {
      std::string name, type_name, word;
      words >> name >> type_name;
      Agent* type = find_type(type_name);
      if (name.empty() || type_name.empty()) {
        fault("\"group\" needs a name and an agent type");
        continue;
      }
      if (type == nullptr) {
        fault("no agent type named \"" + type_name + "\" has been loaded");
        continue;
      }
      int count = 1;
      float spacing = 1, origin[3] = {0, 0, 0};
      bool seeded = false, good = true;
      uint32_t seed = 0;
      while (good && words >> word) {
        if (word == "count") {
          good = static_cast<bool>(words >> count) && count >= 0 && count <= 100000;
        } else if (word == "spacing") {
          good = finite_number(words, &spacing);
        } else if (word == "origin") {
          good = finite_number(words, &origin[0]) && finite_number(words, &origin[1]) &&
                 finite_number(words, &origin[2]);
        } else if (word == "seed") {
          long long value = 0;
          good = static_cast<bool>(words >> value) && value >= 0 && value <= 4294967295LL;
          seed = static_cast<uint32_t>(value);
          seeded = true;
        } else {
          fault("unknown group setting \"" + word + "\"");
          good = false;
          word.clear();
        }
        if (!good && !word.empty()) fault("bad value for \"" + word + "\"");
      }
      if (!good) continue;
      // Each group has its own prototype agent, named after the group, so that the agents of
      // two groups of one agent type are named apart ("north.1", "south.101"). It takes no part
      // in the run itself.
      Agent* prototype = new_agent_instance(type);
      if (prototype == nullptr) continue;
      std::free(prototype->name);
      prototype->name = strdup(name.c_str());
      prototype->active = 0;
      Group* group = new_group(name.c_str(), type, prototype, count, spacing);
      if (group == nullptr) continue;
      std::memcpy(group->origin, origin, sizeof origin);
      if (seeded) setup.seeds.push_back({group, seed});
    } else {
      fault("unknown keyword \"" + keyword + "\"");
    }
  }
  return setup;
}

void apply_group_seeds(const SceneSetup& setup) {
  for (const GroupSeed& seeded : setup.seeds) {
    Group* group = seeded.group;
    for (Agent* agent = root_agent; agent != nullptr; agent = agent->next) {
      if (agent->group != group) continue;
      hordera::BsdRandom random(seeded.seed * 2654435761u + static_cast<uint32_t>(agent->id));
      float quarter = group->spacing / 4;
      agent->root[3] += (unit(random) * 2 - 1) * quarter;
      agent->root[5] += (unit(random) * 2 - 1) * quarter;
      agent->root[1] = unit(random) * 360;
      Agent* type = agent_type_of(agent);
      for (VariableDef* def = type ? type->variable_defs : nullptr; def; def = def->next) {
        if (def->name == nullptr || !(def->range_max > def->range_min)) continue;
        UserVar* variable = new_userVar(agent, def->name);
        if (variable != nullptr)
          variable->value = def->range_min + unit(random) * (def->range_max - def->range_min);
      }
      for (int i = 0; i < 6; ++i) agent->last_root[i] = agent->root[i];
      sim_build_root_matrix(agent);
      std::memcpy(agent->last_matrix, agent->matrix, sizeof(Matrix));
    }
  }
}

}  // namespace cli
