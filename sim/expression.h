// Arithmetic expressions of agent files and brains: numbers, variables and functions, evaluated
// in double precision. The grammar is described in docs/cdl.md.
#pragma once

struct Agent;

extern "C" {

// Evaluates `text` (without backquotes). Variable names are looked up in the override table
// (`override_count` names with their values; may be 0 with null arrays) first, then in `agent`'s
// user variables (`agent` may be null); an unknown name is 0, as are the constants pi and e when
// no variable has their name. On success writes the value to `*result` and returns 1. On a syntax
// error writes 0, sets `*error` (when not null) to a static description and returns 0.
// `variable_count` (may be null) receives the number of variable references evaluated.
int expression_evaluate(const char* text, Agent* agent, int override_count,
                        const char* const* override_names, const float* override_values,
                        double* result, int* variable_count, const char** error);

}  // extern "C"
