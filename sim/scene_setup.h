// The minimal scene setup the renderer front-end, the simulation loop and the exporter need:
// render records with their passes, and groups of agents.
#pragma once

#include <cstdint>

struct Agent;

extern "C" {

// Renderer kinds of a render pass.
enum : int32_t { RENDERER_MENTAL_RAY = 5 };

// One render pass of the scene: a name and a renderer kind.
struct RenderPass {
  char* name;
  int32_t renderer;
  RenderPass* next;
};

// One render of the scene setup.
struct RenderRecord {
  char* name;             // "render", made unique against existing renders
  char* image_pattern;    // "%s#.tif"
  char* rib_pattern;      // ".%cRib%c%s#.rib" formed with '/'
  char* pass_name;        // the render pass, or null
  int32_t renderer;       // renderer kind (5 mental ray)
  int32_t output_kind;    // motion source kind: 2 APF, 3 APF gzip, 1 AMC gzip, other AMC
  int32_t use_alternate;  // selects the second of each pair of directories
  char* sim_dir[2];       // simulation output directory, two alternatives
  char* cloth_dir[2];     // cloth directory, two alternatives
  char* hair_dir[2];      // hair directory, two alternatives
  RenderRecord* next;
};

// Head of the list of renders, and of the scene's render passes (in order; an agent's pass index
// is a position in this list).
extern RenderRecord* renders;
extern RenderPass* render_passes;

// Creates a render record with its defaults (name made unique) and appends it to the list.
RenderRecord* new_render_record(void);
// Finds the render pass with this name and renderer kind; its position, or -1.
int find_render_pass(const char* name, int32_t renderer);
// Finds or creates the render pass of that name (renderer kind 5); its position.
int add_render_pass(const char* name);

// A group of agents of one agent type, placed in the scene.
struct Group {
  char* name;
  Agent* type;       // the agent type
  Agent* prototype;  // prototype agent of the type for this group
  int64_t number;    // current number, used to name new agents
  int32_t spawns;    // agents of this group are made by "spawn"
  Group* next;
  int32_t count;    // agents placed for frame 0
  float spacing;    // distance between placed agents, in units of length
  float origin[3];  // place of the first agent
};

// Finds a group by name.
Group* findGroup(const char* name);
// Creates a group of agents of `type` with `prototype` as its prototype agent, appended to the
// group list; it places `count` agents for frame 0, `spacing` units apart in rows along x.
Group* new_group(const char* name, Agent* type, Agent* prototype, int32_t count, float spacing);
// Frees every group (the agents stay).
void free_groups(void);
// The name a group's agents are named after ("<name>.<number>"): its prototype's name, else its
// agent type's name.
const char* group_agent_name(const Group* group);
// Creates one agent of the group numbered `number` (named "<agent name>.<number>", id `number`);
// null when the group's agent type has no prototype.
Agent* group_create_agent(Group* group, int64_t number);
// Places every group for frame 0: creates the agents a group lacks and puts each at its place.
void place_groups(void);
// Updates every group for a new frame.
void update_groups(int32_t frame);
// Expands "$NAME" and "${NAME}" environment variables in a path; the result is malloc'ed.
char* convert_env_variables(const char* path);

}  // extern "C"
