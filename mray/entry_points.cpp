// The entry points through which the renderer drives the plug-in.
#include <cstdint>

// The shader interface version the renderer checks.
extern "C" int hordera_mray_version(void) { return 2; }
