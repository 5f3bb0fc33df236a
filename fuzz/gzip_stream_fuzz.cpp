// Fuzzes the Stream layer's gzip reading: the input is opened as a gzip stream (damaged,
// truncated or plain data included) and read by lines, in blocks, and again after seeking.
#include <cstdint>
#include <string>

#include "base/stream.h"
#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = fuzz::write_input(data, size, "input.gz");
  Stream* stream = stream_open(path.c_str(), "r", 1);
  if (!stream) return 0;
  char line[64];
  // A bound on the work per input: a small input may inflate to a great deal of data.
  long lines = 0;
  while (lines < 100000 && stream_gets(stream, line, sizeof line)) ++lines;
  stream_eof(stream);
  stream_error(stream);

  stream_rewind(stream);
  char block[4096];
  size_t total = 0;
  while (total < (64u << 20)) {
    size_t got = stream_read(stream, block, sizeof block);
    if (got == 0) break;
    total += got;
  }
  long position = stream_tell(stream);
  if (stream_seek(stream, position / 2, SEEK_SET) == 0) stream_read(stream, block, 100);
  stream_seek(stream, 7, SEEK_CUR);
  stream_gets(stream, line, sizeof line);
  stream_close(stream);
  return 0;
}
