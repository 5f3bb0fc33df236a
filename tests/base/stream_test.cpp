// The Stream layer over plain files and gzip streams: round trips, the line limit, positioning,
// and damaged gzip input that must read short and report an error rather than crash.
#include "base/stream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/scratch_files.h"

namespace {

class StreamTest : public scratch::FolderFixture<testing::TestWithParam<int>> {
 protected:
  // Writes `text` through a stream of the kind under test.
  void write_through(const std::string& file, const std::string& text, int compressed) {
    Stream* out = stream_open(file.c_str(), "w", compressed);
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(stream_write(out, text.data(), text.size()), text.size());
    ASSERT_EQ(stream_close(out), 0);
  }
};

// Text with enough variety that gzip cannot shrink it to a few bytes.
std::string sample_text(int lines) {
  std::string text;
  unsigned value = 12345;
  for (int i = 0; i < lines; ++i) {
    value = value * 1103515245u + 12345u;
    text += "frame " + std::to_string(i) + " agent " + std::to_string(value % 100000) + " " +
            std::to_string((value >> 8) % 7919) + "\n";
  }
  return text;
}

TEST_P(StreamTest, FormattedTextRoundTripsLineByLine) {
  const int compressed = GetParam();
  const std::string file = path(compressed ? "curve.txt.gz" : "curve.txt");
  Stream* out = stream_open(file.c_str(), "w", compressed);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(stream_printf(out, "curve %s %d\n", "tx", 3), 11);
  EXPECT_EQ(stream_printf(out, "%f %f\n", 1.5, -2.25), 19);
  // Longer than zlib's own formatting buffer: must arrive whole.
  const std::string long_line(20000, 'k');
  EXPECT_EQ(stream_printf(out, "%s\n", long_line.c_str()), 20001);
  EXPECT_EQ(stream_printf(out, "end"), 3);
  EXPECT_EQ(stream_error(out), 0);
  ASSERT_EQ(stream_close(out), 0);

  // Only the gzip kind carries the gzip magic bytes.
  const std::string bytes = scratch::read_file(file);
  ASSERT_GE(bytes.size(), 2u);
  EXPECT_EQ(bytes[0] == '\x1f' && bytes[1] == '\x8b', compressed != 0);

  Stream* in = stream_open(file.c_str(), "r", compressed);
  ASSERT_NE(in, nullptr);
  // Each line as read, marked where the end of the file has been seen: the last line has no
  // newline and still comes back, and the end shows only once it is reached.
  std::vector<char> line(32000);
  std::vector<std::string> lines;
  while (stream_gets(in, line.data(), static_cast<int>(line.size())) != nullptr)
    lines.push_back(line.data() + std::string(stream_eof(in) ? "<end>" : ""));
  EXPECT_EQ(lines, (std::vector<std::string>{"curve tx 3\n", "1.500000 -2.250000\n",
                                             long_line + "\n", "end<end>"}));
  EXPECT_NE(stream_eof(in), 0);
  EXPECT_EQ(stream_error(in), 0);
  EXPECT_EQ(stream_close(in), 0);
}

TEST_P(StreamTest, LineLongerThanLimitComesBackInPieces) {
  const int compressed = GetParam();
  const std::string file = path("lines");
  write_through(file, "abcdefghij\nxy\n\nlast", compressed);
  Stream* in = stream_open(file.c_str(), "r", compressed);
  ASSERT_NE(in, nullptr);
  char buffer[5];
  std::vector<std::string> pieces;
  while (stream_gets(in, buffer, sizeof buffer) != nullptr) pieces.emplace_back(buffer);
  // At most limit - 1 bytes per piece; the rest of a long line is the next piece.
  const std::vector<std::string> expected = {"abcd", "efgh", "ij\n", "xy\n", "\n", "last"};
  EXPECT_EQ(pieces, expected);

  // A limit that leaves no room for a byte reads nothing and consumes nothing.
  stream_rewind(in);
  char tiny[1] = {'z'};
  EXPECT_EQ(stream_gets(in, tiny, 1), nullptr);
  EXPECT_EQ(tiny[0], '\0');
  ASSERT_NE(stream_gets(in, buffer, sizeof buffer), nullptr);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(stream_close(in), 0);
}

TEST_P(StreamTest, SeekTellAndRewindWorkInUncompressedPositions) {
  const int compressed = GetParam();
  const std::string file = path("positions");
  const std::string text = sample_text(2000);
  write_through(file, text, compressed);
  Stream* in = stream_open(file.c_str(), "r", compressed);
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(stream_tell(in), 0);

  char chunk[16];
  ASSERT_EQ(stream_read(in, chunk, 10), 10u);
  EXPECT_EQ(std::string(chunk, 10), text.substr(0, 10));
  EXPECT_EQ(stream_tell(in), 10);

  // Forward and backward absolute seeks, then a relative one, all in uncompressed bytes.
  ASSERT_EQ(stream_seek(in, 40000, SEEK_SET), 0);
  EXPECT_EQ(stream_tell(in), 40000);
  ASSERT_EQ(stream_read(in, chunk, 16), 16u);
  EXPECT_EQ(std::string(chunk, 16), text.substr(40000, 16));
  ASSERT_EQ(stream_seek(in, 7, SEEK_SET), 0);
  ASSERT_EQ(stream_seek(in, 5, SEEK_CUR), 0);
  EXPECT_EQ(stream_tell(in), 12);
  ASSERT_EQ(stream_read(in, chunk, 8), 8u);
  EXPECT_EQ(std::string(chunk, 8), text.substr(12, 8));

  // Reading past the end gives the remainder and sets the end flag; rewind starts over.
  std::vector<char> all(text.size() + 100);
  EXPECT_EQ(stream_read(in, all.data(), all.size()), text.size() - 20);
  EXPECT_NE(stream_eof(in), 0);
  EXPECT_EQ(stream_error(in), 0);
  // A seek that stays put still clears the end flag, as with C files.
  ASSERT_EQ(stream_seek(in, 0, SEEK_CUR), 0);
  EXPECT_EQ(stream_eof(in), 0);
  EXPECT_EQ(stream_tell(in), static_cast<long>(text.size()));
  EXPECT_EQ(stream_read(in, all.data(), 1), 0u);
  EXPECT_NE(stream_eof(in), 0);
  stream_rewind(in);
  EXPECT_EQ(stream_eof(in), 0);
  EXPECT_EQ(stream_tell(in), 0);
  ASSERT_EQ(stream_read(in, all.data(), text.size()), text.size());
  EXPECT_EQ(std::string(all.data(), text.size()), text);
  EXPECT_EQ(stream_close(in), 0);
}

INSTANTIATE_TEST_SUITE_P(PlainAndGzip, StreamTest, testing::Values(0, 1),
                         [](const testing::TestParamInfo<int>& info) {
                           return info.param ? std::string("Gzip") : std::string("Plain");
                         });

class GzipDamageTest : public StreamTest {};

TEST_F(GzipDamageTest, TruncatedFileReadsShortAndReportsError) {
  const std::string file = path("frame.1.apf.gz");
  const std::string text = sample_text(20000);
  write_through(file, text, 1);
  const std::string bytes = scratch::read_file(file);
  std::filesystem::resize_file(file, bytes.size() / 2);

  Stream* in = stream_open(file.c_str(), "r", 1);
  ASSERT_NE(in, nullptr);
  std::vector<char> buffer(text.size());
  const size_t got = stream_read(in, buffer.data(), buffer.size());
  EXPECT_GT(got, 0u);
  EXPECT_LT(got, text.size());
  // What did arrive is the true beginning of the data.
  EXPECT_EQ(std::string(buffer.data(), got), text.substr(0, got));
  EXPECT_NE(stream_error(in), 0);
  // Further reads stay empty instead of looping or crashing.
  EXPECT_EQ(stream_read(in, buffer.data(), buffer.size()), 0u);
  char line[64];
  EXPECT_EQ(stream_gets(in, line, sizeof line), nullptr);
  EXPECT_EQ(stream_close(in), 0);

  // Only a header, no body at all. Scrambled bodies are the gzip stream fuzzer's.
  const std::string header_only = path("header_only.gz");
  scratch::write_file(header_only, bytes.substr(0, 10));
  in = stream_open(header_only.c_str(), "r", 1);
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(stream_read(in, buffer.data(), 100), 0u);
  EXPECT_NE(stream_error(in), 0);
  EXPECT_EQ(stream_close(in), 0);
}

TEST_F(GzipDamageTest, UnopenablePathsGiveNull) {
  // A missing folder, for reading and writing; a directory is not a file to read.
  const std::string missing = path("no/such/dir/file.apf");
  for (int compressed : {0, 1}) {
    EXPECT_EQ(stream_open(missing.c_str(), "r", compressed), nullptr);
    EXPECT_EQ(stream_open(missing.c_str(), "w", compressed), nullptr);
    EXPECT_EQ(stream_open(folder_.string().c_str(), "r", compressed), nullptr);
  }
  EXPECT_EQ(stream_open(nullptr, "r", 0), nullptr);
  EXPECT_EQ(stream_open("", "r", 0), nullptr);
  EXPECT_EQ(stream_open(path("x").c_str(), "q", 0), nullptr);
  // Calls on a null stream are harmless.
  EXPECT_EQ(stream_close(nullptr), 0);
  char buffer[8];
  EXPECT_EQ(stream_read(nullptr, buffer, sizeof buffer), 0u);
  EXPECT_EQ(stream_gets(nullptr, buffer, sizeof buffer), nullptr);
  EXPECT_EQ(stream_printf(nullptr, "x"), -1);
  EXPECT_EQ(stream_tell(nullptr), -1);
  EXPECT_EQ(stream_seek(nullptr, 0, SEEK_SET), -1);
}

}  // namespace
