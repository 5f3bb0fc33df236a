// Shader calls laid out as the renderer lays out a function: the function header, the parameter
// block at byte 120 and, for a call inside a phenomenon, one connection tag per parameter byte
// (ghost_offs bytes after the parameter) followed by the values the phenomenon's interface
// supplies for connected parameters.
#pragma once

#include <cstddef>
#include <memory>

#include "mray/mi_interface.h"

namespace host {

class ShaderCall {
 public:
  // A plain call (kind 0, no connections) with a zeroed parameter block of `parameter_size`
  // bytes; with `phenomenon` the call is of the phenomenon kind and has connection tags (all
  // "not connected") and interface values.
  ShaderCall(int parameter_size, bool phenomenon);

  miFunction* function() { return function_; }
  // The parameter block.
  void* parameters() { return function_->parameters; }
  // The connection tag of the parameter at byte `offset` (phenomenon calls only).
  miTag* connection(size_t offset);
  // The interface value of the parameter at byte `offset` (phenomenon calls only); what
  // mi_phen_eval hands out for a connected parameter.
  void* interface_value(size_t offset);

 private:
  std::unique_ptr<std::max_align_t[]> storage_;
  miFunction* function_;
};

// Number of mi_phen_eval calls since the start.
int phenomenon_evaluations();

}  // namespace host
