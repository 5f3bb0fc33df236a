// Shader-call layout and the renderer's parameter evaluation.
#include "host/shader_call.h"

#include <atomic>
#include <cstring>

namespace host {
namespace {

std::atomic<int> evaluations{0};

}  // namespace

ShaderCall::ShaderCall(int parameter_size, bool phenomenon) {
  const size_t block = (static_cast<size_t>(parameter_size) + 7) / 8 * 8;
  const size_t bytes = offsetof(miFunction, parameters) + block * (phenomenon ? 3 : 1) + 8;
  const size_t units = (bytes + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t);
  storage_.reset(new std::max_align_t[units]);
  std::memset(storage_.get(), 0, units * sizeof(std::max_align_t));
  function_ = reinterpret_cast<miFunction*>(storage_.get());
  function_->parameter_size = parameter_size;
  if (phenomenon) {
    function_->type = miFUNCTION_PHEN;
    function_->ghost_offs = static_cast<int>(block);
    function_->has_connections = 1;
    for (size_t at = 0; at + sizeof(miTag) <= block; at += sizeof(miTag))
      *connection(at) = miPARAMTAG;
  }
}

miTag* ShaderCall::connection(size_t offset) {
  return reinterpret_cast<miTag*>(function_->parameters + function_->ghost_offs + offset);
}

void* ShaderCall::interface_value(size_t offset) {
  return function_->parameters + 2 * static_cast<size_t>(function_->ghost_offs) + offset;
}

int phenomenon_evaluations() {
  return evaluations.load();
}

}  // namespace host

extern "C" void* mi_phen_eval(miState* state, void* param) {
  ++host::evaluations;
  const miFunction* function = state ? state->shader : nullptr;
  if (function == nullptr || function->type != miFUNCTION_PHEN || function->ghost_offs == 0)
    return param;
  return static_cast<char*>(param) + 2 * static_cast<size_t>(function->ghost_offs);
}
