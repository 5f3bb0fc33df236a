// The one-time start of the crowd engine inside the renderer's process.
#pragma once

namespace mray {

// Starts the engine once per process, as if from the command line "hordera_dso -gui -geo" (no
// windows, polygonal geometry), and prints the start banners on standard error. Later calls
// print nothing.
void start_engine();

// True once the engine has been started in this process.
bool engine_started();

}  // namespace mray
