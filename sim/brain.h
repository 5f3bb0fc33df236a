// The brain node graph of an agent type: nodes in a doubly linked list in file order, the
// per-agent output copies, and the binding of output nodes to channels.
#pragma once

#include <cstdint>

struct Agent;

extern "C" {

// Node kinds.
enum BrainNodeKind : int16_t {
  BRAIN_INPUT = 1,
  BRAIN_TIMER = 2,
  BRAIN_NOISE = 3,
  BRAIN_FUZZ = 4,
  BRAIN_AND = 5,
  BRAIN_OR = 6,
  BRAIN_DEFUZZ = 7,
  BRAIN_OUTPUT = 8,
  BRAIN_COMMENT = 9,
  BRAIN_MACRO = 10,
  BRAIN_MACRO2 = 12,
};

// Inference kinds of a fuzz node.
enum FuzzInference : uint8_t {
  INFERENCE_Z = 1,
  INFERENCE_LAMBDA = 2,
  INFERENCE_PI = 3,
  INFERENCE_S = 4,
  INFERENCE_SINGLETON = 5,
  INFERENCE_USER = 6,
};

// Inputs kept inside the node; a longer list is allocated separately.
constexpr int kBrainInlineInputs = 4;

struct BrainNode {
  int16_t kind;
  char* name;           // owned; a new node is named after its kind
  int16_t position[2];  // place in the brain editor
  uint8_t flags;        // bit 0: marking flag of the editor
  int16_t input_count;
  BrainNode** inputs;  // points at inline_inputs, or at a separate array for more than 4
  BrainNode* inline_inputs[kBrainInlineInputs];
  BrainNode* owner_macro;  // macro that contains this node
  BrainNode* next_in_macro;
  BrainNode* first_member;  // of a macro node
  BrainNode* prev;
  BrainNode* next;

  // --- kind-specific fields ---
  int32_t id;  // "id %d" in the agent file
  uint8_t disabled;
  uint8_t options[5];  // option flags; their meaning depends on the kind
  float values[4];     // per-kind values (timer rate, noise values, ...)
  int32_t setting;     // integer setting (noise)
  float range[2];      // input and output ranges, 0 to 1.0
  float weight;        // rules
  // Fuzz nodes.
  float points[4];      // membership curve values, 0.25 0.5 0.75 0.8 on creation
  float fuzz_extra[2];  // 0 and 1.0 on creation
  uint8_t wrap;
  uint8_t limit;
  uint8_t inference;      // FuzzInference
  uint8_t interpolation;  // 1 linear, 0 cosine
  float* user_x;          // user curve: x values and memberships, allocated together
  float* user_y;
  int16_t user_count;
  // Input and output nodes.
  char* channel;   // channel name, owned, or null
  float* target;   // bound storage of an output node
  char* resolved;  // resolved channel text, owned
  float value;
  float* sub_targets[2];  // the two sub-channel bindings of an output node
  int32_t integrate;      // 0 none, 1 position, 2 velocity, 3 acceleration
  float rate;
  float delay;
  float look_ahead;
  int32_t seed;
  int32_t bounded;
  int32_t parent_id;       // "parent %d"
  int32_t child_id;        // "child %d"
  float* alt_inputs;       // reserved for alternative inputs
  char* text;              // comment text or expression
  uint32_t keyword_flags;  // BRAIN_KEYWORD_* bits of the flag lines the agent file gave
};

// One output node's binding for one agent.
struct OutputCopy {
  float* target;    // bound channel storage, or null
  char* resolved;   // resolved channel text, owned
  BrainNode* node;  // the output node it copies
  OutputCopy* prev;
  OutputCopy* next;
};

// Creates a node of `kind`, appended at the end of the agent type's brain list, with defaults.
BrainNode* brain_new_node(Agent* agent, int kind);
// Sets the kind and re-applies its defaults, naming the node after the kind.
void brain_reset_node(BrainNode* node, int kind);
// Resizes the input list, keeping the first entries; "AAARGH!!\n" when allocation fails.
void brain_resize_inputs(BrainNode* node, int count);
// Rebuilds every macro node's member list.
void brain_rebuild_macros(Agent* agent);
// Sets a fuzz node's inference kind (frees a user curve when leaving the user kind).
void brain_set_inference(BrainNode* node, int inference);
// The node of the brain with this id, or null.
BrainNode* brain_find_node(Agent* agent, int id);
// Checks the ids of the brain list after a read: every node gets a unique id from 1 to 65535.
void brain_validate_ids(Agent* agent);
// Binds every output node (agent type) or output copy (agent) to its channel.
int compileOutputs(Agent* agent);
// Gives an instance one output copy per output node of its type.
void brain_create_output_copies(Agent* agent);

// The name a node of `kind` is given ("input", "timer", ..., "macro"); "node" for a code that is
// not a node kind.
const char* brain_kind_name(int kind);
// Replaces a fuzz node's user curve by `count` points (x values and memberships), both arrays in
// one allocation; sets the inference kind to user. Returns 0 when memory runs out (the node then
// has no user curve) or the arguments are invalid, else 1.
int brain_set_user_curve(BrainNode* node, int count, const float* x, const float* membership);
// The smallest id from 1 to 65535 that no node of the agent type's brain uses; 0 when all are
// taken.
int brain_smallest_free_id(Agent* agent);
// Frees every per-agent output copy of an agent (with its resolved text).
void brain_free_output_copies(Agent* agent);

}  // extern "C"
