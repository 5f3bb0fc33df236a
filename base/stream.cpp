// The Stream layer: one handle over either a plain C file or a zlib gzip stream, so that the
// readers and writers of curve blocks, action files and pose caches never care which one they hold.
#include "base/stream.h"

#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>

struct Stream {
  FILE* file = nullptr;  // set for a plain file
  gzFile gz = nullptr;   // set for a gzip stream
  bool writing = false;  // opened with "w" or "a"
  bool write_failed = false;
};

namespace {

// zlib's own buffer for gzip streams; larger than its default to cut system calls on pose caches.
constexpr unsigned kGzipBufferBytes = 64 * 1024;

// gzread and gzwrite take an unsigned count, and a gzip read that meets damaged data drops what
// it decoded in that call: transfers go in pieces of this size so earlier pieces are kept.
constexpr size_t kGzipChunkBytes = 64 * 1024;

bool is_directory(const char* path) {
  struct stat info;
  return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

extern "C" {

Stream* stream_open(const char* path, const char* mode, int compressed) {
  if (path == nullptr || mode == nullptr || path[0] == '\0') return nullptr;
  const char kind = mode[0];
  if (kind != 'r' && kind != 'w' && kind != 'a') return nullptr;
  // A directory opens as a file on some systems but can never be read as one.
  if (is_directory(path)) return nullptr;

  // Always binary; a gzip writer keeps one compression level digit the caller gave ("w9").
  char open_mode[4] = {kind, 'b', '\0', '\0'};
  if (compressed) {
    for (const char* c = mode + 1; *c != '\0'; ++c) {
      if (*c >= '0' && *c <= '9') {
        open_mode[2] = *c;
        break;
      }
    }
  }

  Stream* stream = new (std::nothrow) Stream;
  if (stream == nullptr) return nullptr;
  stream->writing = kind != 'r';
  if (compressed) {
    stream->gz = gzopen(path, open_mode);
    if (stream->gz != nullptr) gzbuffer(stream->gz, kGzipBufferBytes);
  } else {
    stream->file = std::fopen(path, open_mode);
  }
  if (stream->gz == nullptr && stream->file == nullptr) {
    delete stream;
    return nullptr;
  }
  return stream;
}

int stream_close(Stream* stream) {
  if (stream == nullptr) return 0;
  bool failed = stream->write_failed;
  if (stream->gz != nullptr) {
    const int status = gzclose(stream->gz);
    // A reader that stopped inside a damaged stream is not a failure of the close itself.
    if (stream->writing && status != Z_OK) failed = true;
  } else if (stream->file != nullptr) {
    if (std::fclose(stream->file) != 0 && stream->writing) failed = true;
  }
  delete stream;
  return failed ? -1 : 0;
}

size_t stream_read(Stream* stream, void* buffer, size_t size) {
  if (stream == nullptr || buffer == nullptr || size == 0) return 0;
  if (stream->file != nullptr) return std::fread(buffer, 1, size, stream->file);
  auto* bytes = static_cast<unsigned char*>(buffer);
  size_t done = 0;
  while (done < size) {
    const auto want = static_cast<unsigned>(std::min(size - done, kGzipChunkBytes));
    const int got = gzread(stream->gz, bytes + done, want);
    if (got <= 0) break;
    done += static_cast<size_t>(got);
    if (static_cast<unsigned>(got) < want) break;
  }
  return done;
}

size_t stream_write(Stream* stream, const void* buffer, size_t size) {
  if (stream == nullptr || buffer == nullptr || size == 0) return 0;
  size_t done = 0;
  if (stream->file != nullptr) {
    done = std::fwrite(buffer, 1, size, stream->file);
  } else {
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    while (done < size) {
      const auto want = static_cast<unsigned>(std::min(size - done, kGzipChunkBytes));
      const int put = gzwrite(stream->gz, bytes + done, want);
      if (put <= 0) break;
      done += static_cast<size_t>(put);
    }
  }
  if (done < size) stream->write_failed = true;
  return done;
}

char* stream_gets(Stream* stream, char* buffer, int limit) {
  if (buffer != nullptr && limit > 0) buffer[0] = '\0';
  // Room for at least one byte and the terminator, or nothing can be read.
  if (stream == nullptr || buffer == nullptr || limit < 2) return nullptr;
  if (stream->file != nullptr) return std::fgets(buffer, limit, stream->file);
  return gzgets(stream->gz, buffer, limit);
}

int stream_printf(Stream* stream, const char* format, ...) {
  if (stream == nullptr || format == nullptr) return -1;
  va_list args;
  va_start(args, format);
  int written = -1;
  if (stream->file != nullptr) {
    written = std::vfprintf(stream->file, format, args);
  } else {
    // Formatted here rather than by gzprintf, whose fixed buffer would cut long lines short.
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length >= 0) {
      // Out of memory for the text is a failed write, not an exception across the interface.
      std::unique_ptr<char[]> text(new (std::nothrow) char[static_cast<size_t>(length) + 1]);
      if (text != nullptr) {
        std::vsnprintf(text.get(), static_cast<size_t>(length) + 1, format, args);
        const size_t put = stream_write(stream, text.get(), static_cast<size_t>(length));
        written = put == static_cast<size_t>(length) ? length : -1;
      }
    }
  }
  va_end(args);
  if (written < 0) stream->write_failed = true;
  return written;
}

long stream_tell(Stream* stream) {
  if (stream == nullptr) return -1;
  if (stream->file != nullptr) return std::ftell(stream->file);
  return static_cast<long>(gztell(stream->gz));
}

int stream_seek(Stream* stream, long offset, int whence) {
  if (stream == nullptr) return -1;
  if (stream->file != nullptr) return std::fseek(stream->file, offset, whence) == 0 ? 0 : -1;
  // The end of a gzip stream is unknown until it has been decompressed.
  if (whence != SEEK_SET && whence != SEEK_CUR) return -1;
  if (gzseek(stream->gz, offset, whence) < 0) return -1;
  // Like fseek, a successful seek clears the end flag (zlib keeps it on forward seeks); an
  // error from damaged data stays reported.
  int code = Z_OK;
  gzerror(stream->gz, &code);
  if (code == Z_OK) gzclearerr(stream->gz);
  return 0;
}

void stream_rewind(Stream* stream) {
  if (stream == nullptr) return;
  if (stream->file != nullptr) {
    std::rewind(stream->file);
  } else {
    gzrewind(stream->gz);
  }
}

int stream_eof(Stream* stream) {
  if (stream == nullptr) return 1;
  if (stream->file != nullptr) return std::feof(stream->file) ? 1 : 0;
  return gzeof(stream->gz) ? 1 : 0;
}

int stream_error(Stream* stream) {
  if (stream == nullptr) return 1;
  if (stream->write_failed) return 1;
  if (stream->file != nullptr) return std::ferror(stream->file) ? 1 : 0;
  int code = Z_OK;
  gzerror(stream->gz, &code);
  return code != Z_OK ? 1 : 0;
}

}  // extern "C"
