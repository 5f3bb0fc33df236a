// Writing a file from text built in memory: plain bytes, or gzip members compressed a whole
// piece at a time. Writers that produce a file in one go (pose caches) append to it and let it
// flush, instead of formatting into a stream value by value.
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

  // Creates (truncates) `path`, to be written as gzip data when `compressed`. Returns false when
  // the file cannot be created.
  bool open(const char* path, bool compressed);
  // The text still to be written; writers append to it and call flush_if_full() now and then.
  std::string& text() { return text_; }
  // Writes the held text once it has grown past a piece (a few MiB), so memory stays bounded.
  // Each piece of a gzip file becomes one gzip member; readers take the members as one stream.
  void flush_if_full();
  // Writes what is left and closes the file. Returns false when any write failed.
  bool close();

 private:
  void flush();

  std::FILE* file_ = nullptr;
  bool compressed_ = false;
  bool failed_ = false;
  std::string text_;
};

}  // namespace hordera
