// Writing an output file so that it appears whole or not at all: the bytes go to a temporary
// file beside the final one, which is renamed over the final name only once it is complete.
// A render-farm scheduler that retries a frame, or a reader that looks while a frame is
// written, never sees half a file under the final name.
#pragma once

#include <string>
#include <string_view>

namespace host {

// Writes `bytes` to `path` through a temporary file in the same directory (".NAME.tmp.PID.N"),
// flushed to the disk before it is renamed over `path`. On failure (no such directory, no
// permission, disk full, ...) the temporary file is removed, `path` is left as it was, and
// `*error` says "PATH: cannot write: REASON".
bool write_file_atomically(const std::string& path, std::string_view bytes, std::string* error);

}  // namespace host
