// A whole file in memory, plain or gzip-inflated, and the lines of it cut as the Stream layer's
// line reader cuts them. Readers that go over a file once (pose caches) load it whole instead of
// reading it line by line through a stream.
#pragma once

#include <cstddef>

namespace hordera {

class FileBuffer {
 public:
  FileBuffer() = default;
  FileBuffer(const FileBuffer&) = delete;
  FileBuffer& operator=(const FileBuffer&) = delete;
  ~FileBuffer();

  // Replaces the contents with the file at `path`: its bytes, or for `compressed` the gzip data
  // inflated (all members, as a gzip stream reads them). A file that is not gzip data is taken as
  // it stands, and a damaged or truncated gzip file gives the data that a gzip stream decodes
  // before the damage, as the Stream layer does. Files too large to inflate in memory are read
  // through a gzip stream. Returns false (and holds nothing) when the file cannot be opened.
  bool load(const char* path, bool compressed);

  const char* data() const { return bytes_; }
  // Whether the last load met damaged or truncated gzip data (and holds what came before it).
  bool damaged() const { return damaged_; }
  size_t size() const { return size_; }
  // Bytes held for the data, which stay held until the next load or the buffer's end.
  size_t capacity() const { return capacity_; }

  // Copies the next line from `position` into `line` as stream_gets does with a buffer of
  // `limit` bytes: at most limit - 1 bytes, up to and including a newline, NUL-terminated; a
  // longer line comes back in pieces. Returns false at the end of the data (or for limit < 2).
  bool next_line(size_t& position, char* line, int limit) const;

 private:
  bool reserve(size_t bytes);
  bool inflate_in_memory(const unsigned char* in, size_t in_size);
  bool read_through_stream(const char* path);

  char* bytes_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  bool damaged_ = false;
};

}  // namespace hordera
