// Agent records: agent types (CDL "object"s), their segments and variables, and the agents
// (instances) made from them.
//
// One record, `Agent`, serves both roles, as the engine's exported functions take "an agent"
// for either: an agent type is an Agent that sits in the agent-type list (`type` null); an agent
// placed in a scene is an Agent in the scene's agent list (`root_agent`) whose `type` points to
// its agent type. An instance owns its own segments, matrices and values; everything that
// describes the kind (geometry, brain, materials, actions, ...) is read through its type.
// Records cross the plug-in's interface, so the fields keep the documented order; fields that
// the engine adds for its own use follow the documented ones.
#pragma once

#include <cstdint>

#include "base/vector_types.h"

extern "C" {

struct Agent;
struct Action;
struct BrainNode;
struct GeometryNode;
struct ClothNode;
struct HairNode;
struct SpringNode;
struct OptionNode;
struct Material;
struct Bone;
struct PlaybackSlot;
struct OutputCopy;
struct Group;
struct ValueSet;

// The dynamics values of a "dynamics" block. One record is global, one per agent type and one
// per segment.
struct DynamicsSettings {
  float active;
  float angle_spring;
  float angle_damping;
  float angle_friction;
  float collision_spring;
  float collision_damping;
  float collision_friction;
  float erp;            // joint error reduction ("ERP")
  float cfm;            // joint constraint force mixing ("CFM")
  float collision_erp;  // "collision ERP"
  float collision_cfm;  // "collision CFM"
  float force_factor;   // "ODE ff"
  float collision_mu;
  float bounce;
  float bounce_velocity;
  float gravity;
  uint8_t lock;
  float steps;
  float drag;
};

// Limits of one channel: four limit values (defaults -inf, -inf, +inf, +inf) and a soft value.
struct ChannelLimits {
  float values[4];
  float soft;
};

// Segment kinds from the "type" keyword.
enum SegmentKind : uint8_t {
  SEGMENT_NORMAL = 0,
  SEGMENT_IK_SKIP,
  SEGMENT_IK_START,
  SEGMENT_IK_LINK,
  SEGMENT_IK_END,
  SEGMENT_IK_MULTI,
  SEGMENT_IK_SINGLE,
};

// Degree-of-freedom mask bits.
enum : uint8_t { DOF_TX = 1, DOF_TY = 2, DOF_TZ = 4, DOF_RX = 8, DOF_RY = 16, DOF_RZ = 32 };

// Channel codes of an order entry.
enum : int { ORDER_TX = 1, ORDER_TY = 2, ORDER_TZ = 3, ORDER_RX = 4, ORDER_RY = 5, ORDER_RZ = 6 };

// The default order, RX RY RZ TX TY TZ.
constexpr int32_t kDefaultRotationOrder = 154707;

// One skeleton node.
struct Segment {
  char* name;
  Segment* parent;
  Segment* child;    // first child
  Segment* sibling;  // next sibling; children are in the order of their "parent" lines
  Agent* agent;      // owning agent (type or instance) whose matrix closes the chain
  Segment* prev;     // links of the owner's segment list
  Segment* next;
  Matrix matrix;            // current local transform
  Matrix rest_matrix;       // rest pose local transform
  Matrix last_matrix;       // previous frame's local transform
  uint8_t dof;              // degree-of-freedom mask, default 63
  int32_t order;            // rotation order code, default 154707
  ChannelLimits limits[6];  // tx, ty, tz, rx, ry, rz
  uint8_t primitive;  // sphere 1, tube 2, disc 3, box 4 (default), billboard 5, line 6, point 7
  float box_size[2];
  float size[3];
  float radius;
  float thickness[2];
  float length;
  float bone_rotate[3];
  float axis[3];
  float centre[3];
  float range[2];
  float threshold;
  uint8_t kind;  // SegmentKind
  int32_t ik_order;
  float ik_axis[3];
  uint8_t collision_mode;  // 0 "off", 1 "rbd", 2 "cloth"
  float density;
  float colour;
  uint8_t disabled;
  char* scale_var;  // names of the variables that drive scale and thickness
  char* thick_var;
  DynamicsSettings dynamics;

  // --- engine state beyond the documented fields ---
  float channels[6];       // local channel values tx, ty, tz, rx, ry, rz (rotations in degrees)
  float last_channels[6];  // the previous frame's channel values
  float scale_factor;      // value bound by scale_var (1 when none)
  float thickness_factor;  // value bound by thick_var (1 when none)
  uint8_t animated;        // written to pose caches
  float spawn;             // "spawn" channel
  float previous_spawn;    // its value on the previous frame
  char* spawn_group;       // the group that "spawn" creates agents in
  float force[7];          // force, force.x/y/z, force.px/py/pz
  float paint[5];          // paint.a, .b, .r, .g, .size
  float ik[12];  // ik.active, .x, .y, .z, .hold, .grab, .flat, .twist, .amax, .rx, .ry, .rz
  float rc[4];   // rc.active, .x, .y, .z
  float mass;
  Segment* source;  // for an instance's segment: the agent type's segment it copies
};

// A named float of an agent type; names are unique within the list.
struct UserVar {
  float value;
  char* name;
  uint8_t defined;  // set when a "variables" block line gives the value
  UserVar* next;
  uint8_t flags;  // bit 0: written to pose caches as "#v" lines
};

// A "variable %s %f [%f %f]" definition.
struct VariableDef {
  float default_value;
  float range_min;
  float range_max;
  char* name;
  char* expression;  // text between the first pair of backquotes, or null
  VariableDef* next;
};

// One slot of "default_action %d %s %s".
struct DefaultAction {
  char* action;
  char* second;
};

struct Agent {
  // --- the agent type, in documented order ---
  int32_t number;  // 1, 2, ... in creation order
  char* name;
  Agent* prev;
  Agent* next;
  Segment* segments;  // segment list in file order
  Segment* standins;  // standin records, same layout
  BrainNode* brain;   // first brain node
  HairNode* hair_nodes;
  GeometryNode* geometry_nodes;
  ClothNode* cloth_nodes;
  SpringNode* spring_nodes;
  OptionNode* option_nodes;
  Material* materials;
  Bone* bones;
  Action* actions;
  Action* bind_pose_action;  // "%s_bindpose", taken out of the action list at "end object"
  char* bind_pose_file;      // or the name of a bind-pose file
  UserVar* user_vars;
  VariableDef* variable_defs;
  int32_t angle_unit;  // 0 revolutions, 1 degrees, 2 radians
  DefaultAction default_actions[3];
  void* motion_tree;
  int32_t tree_active;
  DynamicsSettings dynamics;
  uint8_t old_format;  // version below 0.996
  char* include_path;  // the last file included
  float bounding_box_tolerance;
  float z_factor;
  int32_t geo_visible;
  uint8_t movement_relative;
  char* version_text;
  int32_t type_id;  // "id %d" of the object
  float vision_zplane_distance;
  char* scale_var;
  char* thick_var;
  char* tx_var;
  char* ty_var;
  char* tz_var;
  float colour;
  int32_t collision_mode;
  int32_t display_mode;
  Matrix transform;
  char* script;
  char* dso;
  char* sprites;
  void* render_passes;  // per-pass entries ("render_pass" lines)
  char** rib_includes;  // per pass, or null

  // --- the agent (instance) ---
  Agent* type;       // the agent type of an instance; null for an agent type
  Agent* prototype;  // the group's prototype agent whose actions an instance shares
  char* cdl_path;    // the agent type's CDL file, relative to the scene
  int32_t type_number;
  int32_t id;
  Matrix matrix;            // current world matrix
  Matrix rest_matrix;       // rest pose
  Matrix last_matrix;       // previous frame
  Segment* attach_segment;  // segment of another agent this one is carried by
  float attach_weight;

  // --- engine state beyond the documented fields ---
  Segment* segments_tail;
  Segment* standins_tail;
  char* cdl_file;       // the CDL file as loaded (absolute or as given)
  char* cdl_directory;  // directory that relative paths of the file resolve against
  uint8_t accept;       // "segment" and "fuzzy" lines add nothing while clear
  Agent* render_agent;  // an agent type's single render agent
  int32_t pass_index;   // render pass of the render agent, -1 for none
  uint8_t* pass_flags;  // one flags byte per render pass
  int32_t pass_flag_count;
  uint8_t active;
  float activity;  // activity value read by the pose cache reader
  uint8_t spawned;
  uint8_t cache_input;  // marked for pose cache input
  uint8_t changed;      // a variable changed since the last frame
  float delete_value;   // "delete" channel
  float scale;          // uniform scale
  uint8_t rebuild;      // pending rebuild
  float subframe;
  int32_t birth_frame;
  Group* group;
  float root[6];  // root channels rx, ry, rz, tx, ty, tz (degrees and units)
  float last_root[6];
  float motion[6];  // the six cached motion values
  float sound[6];
  float* sim_values;  // simulation value table, or null
  int32_t sim_value_count;
  ValueSet* value_sets;
  PlaybackSlot* playbacks;  // 32 slots, or null
  OutputCopy* outputs;      // per-agent output copies of the brain's output nodes
  float colour_value;       // "colour" channel
  float parent_value;       // "parent" channel
  float polygonize;
  float sprite;
  void* callbacks;       // per-frame callback records
  void* geometry_hooks;  // per-frame geometry hooks of the render driver
  float active_value;    // "active" channel as written by brains and set_sim_value
  float root_rates[6];   // root channel rates per second, used in velocity mode
};

// The global unit of length: 1 metres (default), 2 "cm", 3 "foot", 4 "inch".
extern int32_t length_unit;
// Scene scale factors that follow the unit: units per metre (1, 100, 3.28084, 39.37008), the
// coarse factor for default sizes (1, 100, 3, 40) and one centimetre in the unit (0.01, 1,
// 0.032808, 0.3937).
extern float units_per_metre;
extern float unit_coarse_factor;
extern float unit_centimetre;
// Sets length_unit and its scale factors; a code outside 1..4 selects metres.
void set_length_unit(int32_t code);
// The rigid-body solver choice, 1 or 2.
extern int32_t rbd_solver;
// The global dynamics settings (a "dynamics" block at top level).
extern DynamicsSettings global_dynamics;

// Head and tail of the agent-type list, in creation order.
extern Agent* first_agent_type;
extern Agent* last_agent_type;
// Head of the scene's agent list (instances), each linked to the next and the previous.
extern Agent* root_agent;
// The agent that channel reads and writes refer to; also the agent type a CDL read is filling.
extern Agent* currentAgent;

// Creates a zero-filled agent type named `name` (may be null), numbered one past the last type,
// appended to the agent-type list, with its accept flag set, identity matrices, angle unit
// degrees and scale 1. currentAgent is left to the caller.
Agent* new_agent_type(const char* name);
// The agent type of an agent: its `type` for an instance, the record itself for a type.
Agent* agent_type_of(Agent* agent);
// Creates an instance of `type`: its own copies of the type's segments (same order, parents and
// children remapped, local matrices and channels copied, `source` set to the type's segment)
// and user variables, identity matrices, active, id 0, name copied from the type, the type's
// value settings copied (its name settings shared, not owned), and the path of the type's agent
// file relative to the scene (`scene_relative_pathname` of its `cdl_file`). The instance is
// appended at the tail of the scene's agent list (`root_agent`). Null when memory runs out.
Agent* new_agent_instance(Agent* type);
// Unlinks an instance from the scene's agent list and frees what it owns (name, CDL path,
// segments, user variables); per-agent state of other subsystems (playbacks, value tables, ...)
// must be released by them first. Clears currentAgent when it was this agent. Agent types are
// not freed: for a record without `type` nothing happens.
void delete_agent_instance(Agent* agent);
// Appends a segment with its defaults (mask 63, order 154707, infinite limits, box primitive,
// identity matrices) to the agent's segment list; null when memory runs out.
Segment* new_segment(Agent* agent, const char* name);
// Appends a standin record (segment layout) to the agent's standin list.
Segment* new_standin(Agent* agent, const char* name);
// The first segment of the agent's list whose name equals `name` exactly, or null.
Segment* findSegment(Agent* agent, const char* name);
// The first agent of the scene's agent list whose name equals `name` exactly, or null.
Agent* findAgent(const char* name);
// The user variable of that name, or a new one (value 0) appended at the tail; null when memory
// runs out.
UserVar* new_userVar(Agent* agent, const char* name);
// The user variable of that name, or null.
UserVar* find_userVar(Agent* agent, const char* name);
// Appends a variable definition to the agent type.
VariableDef* new_variable_def(Agent* agent, const char* name, float default_value, float range_min,
                              float range_max, const char* expression);
// `path` relative to the directory `base` (both absolute), or a copy of `path` when it does not
// lie below `base`; the result is allocated with malloc.
char* get_relative_pathname(const char* path, const char* base);
// The path of an agent file relative to the scene, as an agent records it in `cdl_path`: `file`
// (absolute, or relative to the current directory) relative to the scene's directory, which is
// the current directory; an absolute copy when the file lies outside it. Allocated with malloc;
// null for a null `file`.
char* scene_relative_pathname(const char* file);

}  // extern "C"
