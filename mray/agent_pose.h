// The engine side of rendering one agent: bringing an agent type's shared render agent into the
// state of one agent of the scene at one frame (variables, variation, pose from the pose cache or
// a motion file, skinning, the previous frame for motion blur, cloth and hair). The mental ray
// driver runs these steps under the renderer's global lock with its traces around them; the
// RenderMan procedural runs the same steps without either.
#pragma once

#include <cstdint>
#include <string>

#include "mray/shader_arguments.h"

struct Agent;
struct RenderRecord;

extern "C" {

// One per-frame geometry hook of an agent: the render driver calls `function` with the agent, the
// value 1 and the record itself after the agent is posed and skinned, so that code outside the
// driver can change the deformed geometry before it is handed over. Records form a list in the
// agent's `geometry_hooks` slot, called in list order.
struct GeometryHook {
  void (*function)(Agent* agent, int32_t value, GeometryHook* record);
  void* data;  // the hook owner's own data, untouched by the driver
  GeometryHook* next;
};

// Appends a hook to the agent's list; null when memory runs out or `agent` is null.
GeometryHook* add_geometry_hook(Agent* agent, void (*function)(Agent*, int32_t, GeometryHook*),
                                void* data);
// Frees every hook record of the agent.
void free_geometry_hooks(Agent* agent);

}  // extern "C"

namespace mray {

// The render agent of the agent type whose CDL file name equals `cdl_file` exactly, loading the
// type first when no loaded type has that name; loaded types stay for the rest of the process.
// Null when the file cannot be loaded or the type has no render agent.
Agent* find_render_agent(const char* cdl_file);

// Gives the agent's variables the numbers of the pairs, in pair order: the first variable of the
// agent's list whose name equals a pair's name takes its number (a string pair carries 0). Pairs
// that name no variable change nothing.
void set_agent_variables(Agent* agent, const MrayPair* pairs, int32_t pair_count);

// Selects the agent's render pass for `current` (may be null): the position of the scene's pass
// with the current pass's name and renderer kind, or -1 when the current pass has no name or no
// pass matches; stored in the agent's pass_index. Returns false when the agent is excluded: the
// current pass has a name and the agent has no pass for it or a flags byte without bit value 1
// or 2.
bool select_render_pass(Agent* agent, const RenderRecord* current);

// The agent's flags byte for the pass at `pass` (1 visible, 2 casts shadows, 4 matte): its own
// byte when it has one for the pass, else its agent type's from the agent file's "render_pass"
// line for the pass, else 0. 0 for a negative pass.
uint8_t agent_pass_flags(const Agent* agent, int pass);

// The pose-cache file of the frame before `frame`, derived from the current frame's file name:
// the name is cut at its first '.' (anywhere in the path) and gets ".<frame - 1>.apf", or
// ".<frame - 1>.apf.gz" when the name ends in ".apf.gz" from its first ".apf" on.
std::string previous_pose_cache_name(const char* apf_file, int32_t frame);

// Poses the agent at its current channels (time 1.0) and deforms its geometry.
void pose_and_deform(Agent* agent);

// The previous frame, for motion blur: reads the agent's pose for frame - 1 (from the previous
// pose-cache file, falling back quietly to the current one, or from the motion file), poses and
// deforms, keeps the deformed points and the transforms as the previous frame's, and widens the
// record's swept box (from its bbox) over the posed skeleton.
void pose_previous_frame(Agent* agent, MrayRenderArgs* args);

// The current frame: reads the agent's pose (pose-cache record or motion-file frame), poses and
// deforms. A pose-cache read that fails prints "Warning: Couldn't find APF file %s\n" on standard
// error and leaves the pose the agent has.
void pose_current_frame(Agent* agent, const MrayRenderArgs* args);

// Calls the agent's per-frame geometry hooks in list order, each with the value 1.
void run_geometry_hooks(Agent* agent);

// Loads the agent's cloth pieces and hair pieces for the frame from the directories that the
// "cloth_path" and "hair_path" string pairs name (nothing without the pair), and builds the hair's
// render geometry.
void load_cloth_and_hair(Agent* agent, const MrayRenderArgs* args, bool motion_blur);

// The first pair named `name`, or null.
const MrayPair* find_pair(const MrayRenderArgs* args, const char* name);

}  // namespace mray
