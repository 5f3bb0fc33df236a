// Where the command finds the crowd plug-in when none is named.
#pragma once

#include <string>

namespace host {

// The first of: "hordera.so" beside the running program, "../lib/hordera/hordera.so" from the
// program's folder (an installed tree), and `build_path` (the plug-in of the build tree).
std::string default_plugin_path(const std::string& build_path);

}  // namespace host
