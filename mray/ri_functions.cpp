// Looking the Ri functions up by name, once per process.
#include "mray/ri_functions.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>

namespace mray {
namespace {

void* global_scope(const char* name) {
  return dlsym(RTLD_DEFAULT, name);
}

std::mutex table_mutex;
RiResolver current_resolver = global_scope;
bool looked_up = false;
bool complete = false;
RiFunctions table;

// Fills one slot; false (after the message) when the name is missing.
template <class F>
bool find(F* slot, const char* name) {
  void* address = current_resolver(name);
  if (address == nullptr) {
    std::fprintf(stderr,
                 "hordera: RenderMan function %s was not found in the renderer; the agent's "
                 "geometry is not emitted.\n",
                 name);
    return false;
  }
  *slot = reinterpret_cast<F>(address);
  return true;
}

bool look_up_all() {
  // Stops at the first missing name, so the message is one line.
  return find(&table.AttributeBegin, "RiAttributeBegin") &&
         find(&table.AttributeEnd, "RiAttributeEnd") && find(&table.Declare, "RiDeclare") &&
         find(&table.AttributeV, "RiAttributeV") && find(&table.Color, "RiColor") &&
         find(&table.Opacity, "RiOpacity") && find(&table.Matte, "RiMatte") &&
         find(&table.SurfaceV, "RiSurfaceV") && find(&table.DisplacementV, "RiDisplacementV") &&
         find(&table.MotionBeginV, "RiMotionBeginV") && find(&table.MotionEnd, "RiMotionEnd") &&
         find(&table.PointsPolygonsV, "RiPointsPolygonsV") &&
         find(&table.SubdivisionMeshV, "RiSubdivisionMeshV") &&
         find(&table.ReadArchive, "RiReadArchive") && find(&table.ArchiveRecord, "RiArchiveRecord");
}

}  // namespace

const RiFunctions* ri_functions() {
  std::lock_guard<std::mutex> hold(table_mutex);
  if (!looked_up) {
    table = RiFunctions{};
    complete = look_up_all();
    looked_up = true;
  }
  return complete ? &table : nullptr;
}

void ri_set_resolver(RiResolver resolver) {
  std::lock_guard<std::mutex> hold(table_mutex);
  current_resolver = resolver != nullptr ? resolver : global_scope;
  looked_up = false;
  complete = false;
}

}  // namespace mray
