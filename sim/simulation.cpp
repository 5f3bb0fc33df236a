// The simulation loop: the process-wide time, reset, and the thirteen steps of one frame.
#include "sim/simulation.h"

#include <cstdlib>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "motion/apf.h"
#include "motion/playback.h"
#include "sim/brain.h"
#include "sim/brain_evaluate.h"
#include "sim/channels.h"
#include "sim/scene_setup.h"

int32_t simTime = 0;
float floatTime = 0.0f;
float inc_per_sec = 24.0f;
int32_t simming = 0;
Group* groups = nullptr;
void* gen = nullptr;

SimulationSettings sim_settings = {};
SimulationHooks sim_hooks = {};

namespace {

constexpr float kDegreesPerRadian = 57.2957795f;

bool simulates_without_cache() {
  return simming && !sim_settings.reads_cache;
}

std::vector<Agent*> agent_list() {
  std::vector<Agent*> agents;
  for (Agent* agent = root_agent; agent; agent = agent->next) agents.push_back(agent);
  return agents;
}

// Keeps this frame's root, segment channels and matrices as the previous frame's.
void advance_interpolated_state(Agent* agent) {
  for (int i = 0; i < 6; ++i) agent->last_root[i] = agent->root[i];
  matrix_copy(agent->matrix, agent->last_matrix);
  for (Segment* segment = agent->segments; segment; segment = segment->next) {
    for (int i = 0; i < 6; ++i) segment->last_channels[i] = segment->channels[i];
    matrix_copy(segment->matrix, segment->last_matrix);
  }
}

// Moves the root by `fraction` of a frame and rebuilds the world matrix: by rates in velocity
// mode, else between the previous and the current root channels.
void integrate_root(Agent* agent, float fraction) {
  if (sim_settings.velocity_mode) {
    // Rates are per second; the root channels move by rate * elapsed seconds.
    float seconds = inc_per_sec != 0 ? fraction / inc_per_sec : 0;
    for (int i = 0; i < 6; ++i)
      agent->root[i] = agent->last_root[i] + agent->root_rates[i] * seconds;
    sim_build_root_matrix(agent);
    return;
  }
  float current[6];
  for (int i = 0; i < 6; ++i) {
    current[i] = agent->root[i];
    agent->root[i] = agent->last_root[i] + (current[i] - agent->last_root[i]) * fraction;
  }
  sim_build_root_matrix(agent);
  for (int i = 0; i < 6; ++i) agent->root[i] = current[i];
}

// Step 7: root motion of every active agent (only the current one when restricted), over the
// agent's sub-frame fraction (a whole frame when it has none).
void integrate_root_motion() {
  for (Agent* agent = root_agent; agent; agent = agent->next) {
    if (!agent->active) continue;
    if (sim_settings.single_agent && agent != currentAgent) continue;
    integrate_root(agent, agent->subframe > 0 ? agent->subframe : 1.0f);
  }
}

// Step 5: agents whose "delete" reached 1.0 leave the scene.
void delete_pass() {
  std::vector<Agent*> doomed;
  for (Agent* agent = root_agent; agent; agent = agent->next)
    if (agent->delete_value >= 1.0f) doomed.push_back(agent);
  if (doomed.empty()) return;
  bool current_doomed = false;
  for (Agent* agent : doomed) current_doomed |= agent == currentAgent;
  Agent* successor = nullptr;
  if (current_doomed) {
    for (Agent* agent = root_agent; agent && !successor; agent = agent->next)
      if (agent->active && agent->delete_value < 1.0f) successor = agent;
  }
  for (Agent* agent : doomed) sim_delete_agent(agent);
  if (current_doomed) currentAgent = successor ? successor : root_agent;
}

// Step 6: motion of the new frame.
void motion_input() {
  if (simulates_without_cache() || sim_settings.playing_actions) {
    for (Agent* agent = root_agent; agent; agent = agent->next)
      if (agent->active) advance_interpolated_state(agent);
    return;
  }
  int kind = sim_settings.input_kind;
  if (kind == SIM_CACHE_APF || kind == SIM_CACHE_APF_GZIP) {
    char* directory =
        convert_env_variables(sim_settings.input_directory ? sim_settings.input_directory : ".");
    apf_read(directory, simTime, 1, kind == SIM_CACHE_APF_GZIP);
    std::free(directory);
  } else if (sim_hooks.read_motion_capture) {
    sim_hooks.read_motion_capture(simTime);
  }
}

// Whether this frame is the agent's first for action playback.
bool first_frame_of(const Agent* agent) {
  int32_t start = sim_settings.start_frame;
  bool run_start = start < 1 ? simTime == start + 1 : simTime == 1;
  if (run_start) return true;
  return agent->group && agent->group->spawns && simTime == agent->birth_frame + 1;
}

// Step 8.
void play_actions() {
  if (!sim_hooks.play_actions) return;
  for (Agent* agent = root_agent; agent; agent = agent->next) {
    Agent* type = agent_type_of(agent);
    bool plays = agent->playbacks || (type && type->actions) ||
                 (agent->prototype && agent->prototype->actions);
    if (plays) sim_hooks.play_actions(agent, first_frame_of(agent) ? 1 : 0);
  }
}

// Step 9.
void rebuild_pending() {
  for (Agent* agent = root_agent; agent; agent = agent->next) {
    if (!agent->active || agent->scale == 0 || !agent->rebuild) continue;
    if (sim_hooks.rebuild) sim_hooks.rebuild(agent);
    agent->rebuild = 0;
  }
}

// Step 10: a whole frame of root motion, the segments solved, and the spawn edge of every
// segment. Agents created by spawning join the scene but are not stepped in this frame.
void solve_and_spawn() {
  for (Agent* agent : agent_list()) {
    if (!agent->active || agent->scale == 0) continue;
    integrate_root(agent, 1.0f);
    if (sim_hooks.solve_segments)
      sim_hooks.solve_segments(agent);
    else
      agent_pose_from_channels(agent);
    for (Segment* segment = agent->segments; segment; segment = segment->next) {
      // Strict on both sides: a previous value of exactly 0.5 is not "low".
      if (segment->spawn > 0.5f && segment->previous_spawn < 0.5f) spawn(segment);
      segment->previous_spawn = segment->spawn;
    }
  }
}

// Step 11.
void write_outputs() {
  if (simTime < sim_settings.start_frame) return;
  int kind = sim_settings.output_kind;
  if (kind == SIM_CACHE_APF || kind == SIM_CACHE_APF_GZIP) {
    char* directory =
        convert_env_variables(sim_settings.output_directory ? sim_settings.output_directory : ".");
    apf_write(directory, simTime, kind == SIM_CACHE_APF_GZIP);
    std::free(directory);
  }
  if (sim_hooks.write_outputs) sim_hooks.write_outputs(simTime);
}

// Step 12. The list is taken first so that a callback may delete or add agents safely.
void call_frame_callbacks() {
  for (Agent* agent : agent_list()) {
    if (!agent->active || agent->scale == 0) continue;
    for (auto* record = static_cast<FrameCallback*>(agent->callbacks); record;) {
      FrameCallback* next = record->next;
      if (record->function) record->function(agent, simTime, record);
      record = next;
    }
  }
}

// Per-run state of each agent.
void reset_agent(Agent* agent) {
  free_frame_callbacks(agent);
  agent->delete_value = 0;
  agent->rebuild = 0;
  for (Segment* segment = agent->segments; segment; segment = segment->next) {
    segment->spawn = 0;
    segment->previous_spawn = 0;
  }
}

}  // namespace

extern "C" void resetAll(void) {
  simTime = 0;
  floatTime = 0;
  bool current_deleted = false;
  for (Agent* agent : agent_list()) {
    if (!agent->spawned) continue;
    current_deleted |= agent == currentAgent;
    sim_delete_agent(agent);
  }
  if (current_deleted) {
    currentAgent = nullptr;
    for (Agent* agent = root_agent; agent && !currentAgent; agent = agent->next)
      if (agent->active) currentAgent = agent;
  }
  reset_request = 0;
  keyboard_code = 0;
  for (Agent* agent = root_agent; agent; agent = agent->next) reset_agent(agent);
  if (sim_hooks.reset) sim_hooks.reset();
  place_groups();
}

extern "C" void nextFrame(int flag) {
  if (reset_request > 0.5f) resetAll();                // 1
  if (sim_hooks.pre_frame) sim_hooks.pre_frame(flag);  // 2
  simTime += 1;                                        // 3
  floatTime = static_cast<float>(simTime) / inc_per_sec;
  update_groups(simTime);   // 4
  delete_pass();            // 5
  motion_input();           // 6
  integrate_root_motion();  // 7
  if (sim_hooks.evaluate_brains) sim_hooks.evaluate_brains();
  play_actions();                 // 8
  rebuild_pending();              // 9
  if (simulates_without_cache())  // 10
    integrate_root_motion();
  else
    solve_and_spawn();
  write_outputs();                                       // 11
  call_frame_callbacks();                                // 12
  if (sim_hooks.finish_frame) sim_hooks.finish_frame();  // 13
  keyboard_code = 0;
}

extern "C" FrameCallback* add_frame_callback(Agent* agent,
                                             void (*function)(Agent*, int32_t, FrameCallback*),
                                             void* data) {
  if (!agent) return nullptr;
  auto* record = static_cast<FrameCallback*>(std::calloc(1, sizeof(FrameCallback)));
  if (!record) return nullptr;
  record->function = function;
  record->data = data;
  auto** tail = reinterpret_cast<FrameCallback**>(&agent->callbacks);
  while (*tail) tail = &(*tail)->next;
  *tail = record;
  return record;
}

extern "C" void free_frame_callbacks(Agent* agent) {
  if (!agent) return;
  auto* record = static_cast<FrameCallback*>(agent->callbacks);
  while (record) {
    FrameCallback* next = record->next;
    std::free(record);
    record = next;
  }
  agent->callbacks = nullptr;
}

extern "C" void sim_build_root_matrix(Agent* agent) {
  float* m = agent->matrix;
  hordera::matrix_identity(m);
  x_rotate(m, agent->root[0] / kDegreesPerRadian);
  y_rotate(m, agent->root[1] / kDegreesPerRadian);
  z_rotate(m, agent->root[2] / kDegreesPerRadian);
  if (agent->scale != 0 && agent->scale != 1) {
    Vector scale = {agent->scale, agent->scale, agent->scale};
    matrix_scale(m, &scale);
  }
  Vector position = {agent->root[3], agent->root[4], agent->root[5]};
  matrix_translate(m, &position);
}

extern "C" void sim_delete_agent(Agent* agent) {
  if (!agent) return;
  // Every subsystem's per-agent state goes before the agent record itself.
  free_frame_callbacks(agent);
  playback_free_table(agent);
  brain_free_output_copies(agent);
  brain_forget_agent(agent);
  std::free(agent->pass_flags);
  agent->pass_flags = nullptr;
  agent->pass_flag_count = 0;
  delete_agent_instance(agent);
}

extern "C" void sim_assign_pass_flags(Agent* agent, const Agent* from) {
  int count = 0;
  for (RenderPass* pass = render_passes; pass; pass = pass->next) ++count;
  std::free(agent->pass_flags);
  agent->pass_flags = nullptr;
  agent->pass_flag_count = 0;
  if (count == 0) return;
  agent->pass_flags = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(count)));
  if (!agent->pass_flags) return;
  agent->pass_flag_count = count;
  for (int i = 0; i < count; ++i) {
    bool inherited = from && from->pass_flags && i < from->pass_flag_count;
    agent->pass_flags[i] = inherited ? from->pass_flags[i] : 3;
  }
}
