// The CDL agent-file reader: turns one agent file (and the files it includes) into agent types
// with their segments, brain, geometry, materials and other nodes.
#pragma once

#include <cstdint>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "sim/brain.h"

extern "C" {

// Section states of the reader, handed in and out so that a file and the files it includes
// form one stream.
enum CdlSection : int {
  CDL_TOP = 0,
  CDL_OBJECT = 1,
  CDL_STANDIN = 2,
  CDL_SEGMENT = 3,
  CDL_BRAIN_NODE = 4,
  CDL_DYNAMICS_TOP = 5,
  CDL_DYNAMICS_OBJECT = 6,
  CDL_DYNAMICS_SEGMENT = 7,
  CDL_SPRING = 8,
  CDL_CLOTH = 9,
  CDL_GEOMETRY = 10,
  CDL_OPTION = 11,
  CDL_BONE = 12,
  CDL_MATERIAL = 13,
  CDL_HAIR = 15,
};

// Reads the agent file `path` (name ending in ".cdl", ".cdle" or ".act"). The slots carry the
// reader's current object, segment and brain node in and out; `state` is the section state in
// and out; `object_count` is increased by each "object" line; `agent` is the agent record that
// receives the type read, or null to have an agent record made for each type at "end object";
// `version` (may be null) receives the version of the file's header. All slots but `agent` and
// `version` must be non-null. Returns 1 when the file was read; 0 when the name was refused
// ("cdl or .act") or the file could not be opened ("Couldn't open cdl file \"%s\"\n").
int read_cdl_file(const char* path, Agent** object, Segment** segment, BrainNode** brain_node,
                  int* state, int* object_count, Agent* agent, uint32_t* version);

// Reads an agent file from the top-level state and returns the agent type it made (the last one
// when it holds several), or null when the file could not be read or made no type. Sets the
// type's cdl_file to `path` as given and its cdl_directory to the directory part of `path`, and
// gives it a render agent (the agent record made for it) when it has none.
Agent* load_agent_type(const char* path);

// The writer of agent files is not part of the engine: writes nothing and reports success (1).
int saveCDL(Agent* agent, const char* path, int flag);

// Packs a version text ("1.2.3", "v2.0b4", "3.1a2", legacy "0.996") into one number: stage in
// bits 24..31 (1 alpha, 2 beta, 255 release), major 16..23, minor 8..15, patch 0..7, each
// clamped to 0..255. A text that yields nothing gives 0. Null gives 0.
uint32_t cdl_version_number(const char* text);

// Bits of BrainNode::keyword_flags, one per flag line of a brain node's block.
enum : uint32_t {
  BRAIN_KEYWORD_IO = 1u << 0,                    // "io": a port of its macro
  BRAIN_KEYWORD_OUTPUT = 1u << 1,                // "output"
  BRAIN_KEYWORD_IF_STOPPED = 1u << 2,            // "trigger if_stopped"
  BRAIN_KEYWORD_ENDLESS = 1u << 3,               // "endless"
  BRAIN_KEYWORD_PRODUCT = 1u << 4,               // "and prod": rule inputs multiply
  BRAIN_KEYWORD_OR = 1u << 5,                    // "or": rule inputs combine by maximum
  BRAIN_KEYWORD_ELSE = 1u << 6,                  // "else"
  BRAIN_KEYWORD_LATCH = 1u << 7,                 // "latch"
  BRAIN_KEYWORD_FILTER = 1u << 8,                // "filter"
  BRAIN_KEYWORD_BLEND = 1u << 9,                 // "BLEND"
  BRAIN_KEYWORD_ALT = 1u << 10,                  // "alt"
  BRAIN_KEYWORD_MANUAL = 1u << 11,               // "manual"
  BRAIN_KEYWORD_FALSE = 1u << 12,                // "FALSE", "false", "False"
  BRAIN_KEYWORD_VISION_AVERAGE = 1u << 13,       // "vision average"
  BRAIN_KEYWORD_VISION_AVERAGE_FUZZ = 1u << 14,  // "vision average_fuzz"
  BRAIN_KEYWORD_DEFUZZ = 1u << 15,               // "defuzz"
  BRAIN_KEYWORD_RATE = 1u << 16,                 // "rate" without a value
};

// Sample rate of motion captured into actions; a bind-pose action is made at this rate.
extern float amc_sample_rate;

}  // extern "C"
