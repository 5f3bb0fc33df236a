// Whole files in memory, read and written: what a gzip stream would read from the same file
// (members, trailing data, truncation, damage, plain data under a gzip name), lines cut as the
// line reader cuts them, and files written in gzip members that every reader takes whole.
#include "base/file_buffer.h"

#include <gtest/gtest.h>

#include <string>

#include "base/file_sink.h"
#include "base/stream.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::read_file;
using scratch::write_file;

class FileBufferTest : public scratch::FolderTest {
 protected:
  // A gzip file written through the Stream layer (zlib), independent of the code under test.
  std::string gzip_bytes(const std::string& text) {
    scratch::write_stream(path("scratch.gz"), text, 1);
    return read_file(path("scratch.gz"));
  }
  // Everything a gzip stream reads from the file.
  static std::string stream_text(const std::string& file) {
    Stream* in = stream_open(file.c_str(), "r", 1);
    std::string text;
    char piece[4096];
    for (size_t n; in && (n = stream_read(in, piece, sizeof piece)) > 0;) text.append(piece, n);
    stream_close(in);
    return text;
  }
  static std::string loaded(const std::string& file, bool compressed) {
    hordera::FileBuffer buffer;
    if (!buffer.load(file.c_str(), compressed)) return "<not opened>";
    return std::string(buffer.data(), buffer.size());
  }
};

TEST_F(FileBufferTest, ReadsWhatAGzipStreamReads) {
  const std::string first = "BEGIN man_1\nroot 1 2 3 4 5 6\n";
  const std::string second = "\nBEGIN man_2\nroot 7 8 9 10 11 12\n";
  const std::string one = gzip_bytes(first), two = gzip_bytes(second);
  struct Case {
    const char* name;
    std::string bytes;
    std::string expected;  // what the stream reads, worked out by hand
  } cases[] = {
      {"two members", one + two, first + second},
      {"trailing bytes", one + "not gzip", first},
      {"plain text under a gzip name", first, first},
      {"empty", "", ""},
  };
  for (const Case& c : cases) {
    const std::string file = path("case.gz");
    write_file(file, c.bytes);
    EXPECT_EQ(stream_text(file), c.expected) << c.name;
    EXPECT_EQ(loaded(file, true), c.expected) << c.name;
  }
  // Cut or damaged data: the same prefix as the stream, whatever that is, and no crash.
  const std::string big_text(200000, 'x');
  const std::string big = gzip_bytes(big_text + first);
  for (const std::string& bad : {big.substr(0, big.size() / 2), one.substr(0, one.size() - 3),
                                 std::string("\x1f\x8b\x08\x00 not deflate data", 22)}) {
    const std::string file = path("bad.gz");
    write_file(file, bad);
    EXPECT_EQ(loaded(file, true), stream_text(file));
  }
  // A trailer that claims 3.75 GiB on a small file: the same text, and no gigabyte held for it.
  std::string lying = one;
  lying.replace(lying.size() - 4, 4, "\x00\x00\x00\xf0", 4);
  write_file(path("lying.gz"), lying);
  hordera::FileBuffer lied_to;
  ASSERT_TRUE(lied_to.load(path("lying.gz").c_str(), true));
  EXPECT_EQ(std::string(lied_to.data(), lied_to.size()), stream_text(path("lying.gz")));
  EXPECT_LT(lied_to.capacity(), size_t(1) << 20);
  // Not compressed: the bytes as they are, gzip or not.
  write_file(path("raw"), one);
  EXPECT_EQ(loaded(path("raw"), false), one);
  EXPECT_EQ(loaded(path("missing"), true), "<not opened>");
  EXPECT_EQ(loaded(folder_.string(), false), "<not opened>");
  EXPECT_EQ(loaded("", false), "<not opened>");
}

TEST_F(FileBufferTest, CutsLinesAsTheLineReaderDoes) {
  write_file(path("lines"), std::string("ab\n\ncdefgh\nlast"));
  hordera::FileBuffer buffer;
  ASSERT_TRUE(buffer.load(path("lines").c_str(), false));
  char line[5];
  size_t position = 0;
  std::string pieces;
  while (buffer.next_line(position, line, sizeof line)) pieces += std::string("[") + line + "]";
  // At most four bytes a piece; a newline ends a piece; the last line has none.
  EXPECT_EQ(pieces, "[ab\n][\n][cdef][gh\n][last]");
  EXPECT_STREQ(line, "");
  position = 0;
  EXPECT_FALSE(buffer.next_line(position, line, 1));
}

TEST_F(FileBufferTest, WritesPlainAndGzipFilesThatReadBackWhole) {
  // More than one gzip member's worth of text (members are a few MiB).
  std::string text;
  for (int i = 0; text.size() < (size_t(5) << 20); ++i)
    text += "BEGIN man_" + std::to_string(i) + "\nroot 1.000000 2 3\n\n";
  for (bool compressed : {false, true}) {
    SCOPED_TRACE(compressed);
    const std::string file = path(compressed ? "out.gz" : "out");
    hordera::FileSink sink;
    ASSERT_TRUE(sink.open(file.c_str(), compressed));
    for (size_t at = 0; at < text.size(); at += 100000) {
      sink.text().append(text, at, 100000);
      sink.flush_if_full();
    }
    ASSERT_TRUE(sink.close());
    EXPECT_TRUE(stream_text(file) == text);
    EXPECT_TRUE(loaded(file, compressed) == text);
  }
  // An empty gzip file is still gzip data; a directory cannot be written.
  hordera::FileSink sink;
  ASSERT_TRUE(sink.open(path("empty.gz").c_str(), true));
  ASSERT_TRUE(sink.close());
  EXPECT_EQ(read_file(path("empty.gz")).substr(0, 2), "\x1f\x8b");
  EXPECT_FALSE(sink.open(folder_.string().c_str(), false));
}

}  // namespace
