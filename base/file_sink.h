// Writing a file from text built in memory: plain bytes, or gzip members compressed a whole
// piece at a time. Writers that produce a file in one go (pose caches) append to it and let it
// flush, instead of formatting into a stream value by value. The bytes go to a temporary file
// beside the final one, renamed over it only once complete, so that a reader (or a renderer on
// the farm) never finds half a file under the final name, even when the disk fills up.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace hordera {

class FileSink {
 public:
  FileSink() = default;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;
  ~FileSink();

  // Starts writing `path`, as gzip data when `compressed`, through the temporary file
  // ".NAME.tmp.PID.N" in the same directory. Returns false when that cannot be created.
  bool open(const char* path, bool compressed);
  // The text still to be written; writers append to it and call flush_if_full() now and then.
  std::string& text() { return text_; }
  // Writes the held text once it has grown past a piece (a few MiB), so memory stays bounded.
  // Each piece of a gzip file becomes one gzip member; readers take the members as one stream.
  void flush_if_full();
  // Writes what is left, flushes it to the disk and renames the temporary file over the final
  // name. Returns false when any write failed; the temporary file is then removed and a file
  // already under the final name is left as it was.
  bool close();
  // Gives up the file: the temporary file is removed, the final name left as it was.
  void abandon();

 private:
  void flush();

  std::FILE* file_ = nullptr;
  std::string path_, temporary_;
  bool compressed_ = false;
  bool failed_ = false;
  std::string text_;
};

}  // namespace hordera
