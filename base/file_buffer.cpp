// Whole files in memory: plain bytes read at once, gzip files inflated in one call per member
// with libdeflate, and streamed zlib kept for damaged data and files too large to hold.
#include "base/file_buffer.h"

#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/stream.h"

namespace hordera {
namespace {

// Inflated sizes above this are read through a gzip stream instead of in memory.
constexpr size_t kLargestInMemory = size_t(1) << 30;
// The most bytes one byte of deflate data can stand for (a run of 258 in under two bits).
constexpr size_t kLargestDeflateRatio = 1032;
// Pieces in which a file read through a stream grows.
constexpr size_t kStreamPieceBytes = 64 * 1024;

bool is_gzip_member(const unsigned char* data, size_t size) {
  return size >= 2 && data[0] == 0x1f && data[1] == 0x8b;
}

// One decompressor per thread, made on first use.
libdeflate_decompressor* decompressor() {
  struct Free {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
  };
  thread_local std::unique_ptr<libdeflate_decompressor, Free> held(libdeflate_alloc_decompressor());
  return held.get();
}

// Reads up to `size` bytes, going on after short reads and interruptions; stops at the end of
// the file or on an error.
size_t read_fully(int file, void* into, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t got = ::read(file, static_cast<char*>(into) + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += size_t(got);
  }
  return done;
}

}  // namespace

FileBuffer::~FileBuffer() {
  std::free(bytes_);
}

bool FileBuffer::reserve(size_t bytes) {
  // One byte more than asked, for the terminating NUL the buffer always keeps.
  if (bytes + 1 <= capacity_) return true;
  char* grown = static_cast<char*>(std::realloc(bytes_, bytes + 1));
  if (grown == nullptr) return false;
  bytes_ = grown;
  capacity_ = bytes + 1;
  return true;
}

bool FileBuffer::load(const char* path, bool compressed) {
  size_ = 0;
  damaged_ = false;
  if (bytes_ != nullptr) bytes_[0] = '\0';
  if (path == nullptr || path[0] == '\0') return false;
  // One descriptor and one status call: stdio's buffer and a second stat cost as much as
  // reading a small pose cache.
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  struct stat info;
  if (fstat(file, &info) != 0 || S_ISDIR(info.st_mode)) {
    ::close(file);
    return false;
  }
  const size_t expected = info.st_size > 0 ? size_t(info.st_size) : 0;
  if (!compressed) {
    // Read straight into the text buffer; a file that grows while read is taken in full.
    bool read_ok = true;
    for (size_t want = expected + 1;; want *= 2) {
      if (!reserve(want)) {
        read_ok = false;
        break;
      }
      size_ += read_fully(file, bytes_ + size_, want - size_);
      if (size_ < want) break;
    }
    ::close(file);
    if (!read_ok) {
      size_ = 0;
      return read_through_stream(path);
    }
    bytes_[size_] = '\0';
    return true;
  }
  // The raw gzip data, held apart from the text in a buffer kept per thread.
  thread_local std::unique_ptr<unsigned char[]> raw_holder;
  thread_local size_t raw_capacity = 0;
  if (expected + 1 > raw_capacity) {
    raw_holder.reset(new (std::nothrow) unsigned char[expected + 1]);
    raw_capacity = raw_holder ? expected + 1 : 0;
  }
  unsigned char* raw = raw_holder.get();
  const size_t raw_size = raw != nullptr ? read_fully(file, raw, expected + 1) : 0;
  ::close(file);
  // A file that changed size while read, or no memory for it: the stream reads it as it is.
  if (raw == nullptr || raw_size != expected) return read_through_stream(path);
  if (!is_gzip_member(raw, raw_size)) {
    // Not gzip data: a gzip stream passes such a file through as it stands.
    if (!reserve(raw_size)) return read_through_stream(path);
    std::memcpy(bytes_, raw, raw_size);
    size_ = raw_size;
    bytes_[size_] = '\0';
    return true;
  }
  if (inflate_in_memory(raw, raw_size)) return true;
  return read_through_stream(path);
}

bool FileBuffer::inflate_in_memory(const unsigned char* in, size_t in_size) {
  libdeflate_decompressor* d = decompressor();
  if (d == nullptr) return false;
  // The last member's trailer gives its inflated size (modulo 4 GiB): a first guess for the
  // buffer, grown when short. Deflate data cannot grow more than 1032-fold, so a damaged
  // trailer on a small file does not make it hold a gigabyte.
  size_t guess = in_size * 4;
  if (in_size >= 4) {
    const unsigned char* t = in + in_size - 4;
    const size_t trailer =
        size_t(t[0]) | size_t(t[1]) << 8 | size_t(t[2]) << 16 | size_t(t[3]) << 24;
    guess = std::max(guess, std::min(trailer, in_size * kLargestDeflateRatio));
  }
  if (!reserve(std::min(std::max<size_t>(guess, 4096), kLargestInMemory))) return false;
  size_ = 0;
  size_t position = 0;
  // Members follow one another; anything after the last that is not a member is ignored, as a
  // gzip stream ignores trailing data.
  while (position < in_size && is_gzip_member(in + position, in_size - position)) {
    size_t used = 0, made = 0;
    const libdeflate_result result = libdeflate_gzip_decompress_ex(
        d, in + position, in_size - position, bytes_ + size_, capacity_ - 1 - size_, &used, &made);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE) {
      const size_t grown = (capacity_ - 1) * 2;
      if (grown > kLargestInMemory || !reserve(grown)) return false;
      continue;
    }
    if (result != LIBDEFLATE_SUCCESS) return false;  // damaged: the stream keeps what it can
    size_ += made;
    position += used;
  }
  bytes_[size_] = '\0';
  return true;
}

bool FileBuffer::read_through_stream(const char* path) {
  size_ = 0;
  Stream* in = stream_open(path, "r", 1);
  if (in == nullptr) return false;
  for (;;) {
    if (!reserve(size_ + kStreamPieceBytes)) break;
    const size_t got = stream_read(in, bytes_ + size_, kStreamPieceBytes);
    size_ += got;
    if (got < kStreamPieceBytes) break;
  }
  damaged_ = stream_error(in) != 0;
  stream_close(in);
  if (bytes_ != nullptr) bytes_[size_] = '\0';
  return true;
}

bool FileBuffer::next_line(size_t& position, char* line, int limit) const {
  if (line != nullptr && limit > 0) line[0] = '\0';
  if (line == nullptr || limit < 2 || position >= size_) return false;
  const char* start = bytes_ + position;
  size_t length = std::min(size_t(limit - 1), size_ - position);
  if (const void* newline = std::memchr(start, '\n', length))
    length = size_t(static_cast<const char*>(newline) - start) + 1;
  std::memcpy(line, start, length);
  line[length] = '\0';
  position += length;
  return true;
}

}  // namespace hordera
