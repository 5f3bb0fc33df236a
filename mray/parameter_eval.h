// Reading a shader parameter by the renderer's rule: inside a phenomenon a connected parameter's
// value comes from the renderer, otherwise it is read in place.
#pragma once

#include "mray/renderer_functions.h"

namespace mray {

// The address of the value of the parameter at `param`: from mi_phen_eval when the running
// function is a phenomenon and the parameter's connection tag (ghost_offs bytes after it) is
// neither 0 nor the not-connected marker; `param` itself otherwise.
template <class T>
T* evaluate_parameter(miState* state, T* param) {
  const miFunction* function = state != nullptr ? state->shader : nullptr;
  if (function != nullptr && function->type == miFUNCTION_PHEN && function->ghost_offs != 0) {
    const auto* connection =
        reinterpret_cast<const miTag*>(reinterpret_cast<const char*>(param) + function->ghost_offs);
    if (*connection != miNULLTAG && *connection != miPARAMTAG) {
      void* value = MI_CALL(mi_phen_eval, state, static_cast<void*>(param));
      if (value != nullptr) return static_cast<T*>(value);
    }
  }
  return param;
}

}  // namespace mray
