// Assemblies: deferred blocks of geometry that a geometry shader declares with a box and two
// callbacks, which the host runs later.
#pragma once

#include <string>
#include <vector>

#include "mray/mi_interface.h"

namespace host {

// One assembly declared through the scene API.
struct Assembly {
  miTag tag;
  std::string name;   // empty for an anonymous assembly
  miAssembly record;  // box, callbacks and their argument record
};

// Every assembly declared since the last clear, in declaration order.
std::vector<Assembly> assemblies();
// Forgets the declared assemblies (their database elements stay).
void clear_assemblies();

}  // namespace host
