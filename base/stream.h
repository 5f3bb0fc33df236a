// The Stream layer: one small type through which curve blocks, action files and pose caches are
// read and written, opening a path either as a plain file or as a gzip stream.
#pragma once

#include <cstddef>

extern "C" {

struct Stream;

// Opens `path` for reading (`mode` "r") or writing ("w"), as a gzip stream when `compressed` is
// non-zero, else as a plain file. Returns null when the path cannot be opened.
Stream* stream_open(const char* path, const char* mode, int compressed);
// Closes the stream and frees it; null is ignored. Returns 0, or -1 when a write failed.
int stream_close(Stream* stream);
// Reads up to `size` bytes; returns the count read (0 at the end or on error).
size_t stream_read(Stream* stream, void* buffer, size_t size);
// Writes `size` bytes; returns the count written.
size_t stream_write(Stream* stream, const void* buffer, size_t size);
// Reads one line of at most `limit - 1` bytes into `buffer`, newline included when it fits,
// NUL-terminated; a longer line comes back in pieces. Returns null at the end of the stream.
char* stream_gets(Stream* stream, char* buffer, int limit);
// printf-style formatted write; returns the byte count written, or -1.
int stream_printf(Stream* stream, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Position in the uncompressed data.
long stream_tell(Stream* stream);
// Moves to `offset` (SEEK_SET or SEEK_CUR); returns 0, or -1.
int stream_seek(Stream* stream, long offset, int whence);
// Moves back to the start.
void stream_rewind(Stream* stream);
// Non-zero once a read has reached the end of the stream.
int stream_eof(Stream* stream);
// Non-zero when the stream reported an error (a truncated or corrupt gzip file, a failed write).
int stream_error(Stream* stream);

}  // extern "C"
