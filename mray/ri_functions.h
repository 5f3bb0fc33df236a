// The table through which the procedural path reaches the RenderMan Interface: every Ri function
// is looked up by name in the process that loaded the plug-in, once, so that the plug-in loads
// in any process (a mental ray renderer has no Ri functions) and links against no renderer.
#pragma once

#include "mray/ri_interface.h"

namespace mray {

// The Ri functions the emission of an agent needs, found by name.
struct RiFunctions {
  decltype(&::RiAttributeBegin) AttributeBegin;
  decltype(&::RiAttributeEnd) AttributeEnd;
  decltype(&::RiDeclare) Declare;
  decltype(&::RiAttributeV) AttributeV;
  decltype(&::RiColor) Color;
  decltype(&::RiOpacity) Opacity;
  decltype(&::RiMatte) Matte;
  decltype(&::RiSurfaceV) SurfaceV;
  decltype(&::RiDisplacementV) DisplacementV;
  decltype(&::RiMotionBeginV) MotionBeginV;
  decltype(&::RiMotionEnd) MotionEnd;
  decltype(&::RiPointsPolygonsV) PointsPolygonsV;
  decltype(&::RiSubdivisionMeshV) SubdivisionMeshV;
  decltype(&::RiReadArchive) ReadArchive;
  decltype(&::RiArchiveRecord) ArchiveRecord;
};

// Finds a name in the loading process; returns null when it is not there.
using RiResolver = void* (*)(const char* name);

// The table, looked up on the first call (with `resolver`, by default the process's global
// symbol scope). Null when any name is missing: standard error then says once which one, and
// every later call returns null without a message, so nothing is emitted and nothing crashes.
const RiFunctions* ri_functions();

// Replaces the resolver (null: the process's global scope) and forgets the table, so that the
// next ri_functions() looks every name up again and may report again. For tests and for hosts
// that keep their Ri functions in a library of their own.
void ri_set_resolver(RiResolver resolver);

}  // namespace mray
