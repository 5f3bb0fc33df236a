// Curve blocks as text: both indentation styles, reading back through plain and gzip streams,
// and a reader that survives short, truncated and foreign lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "base/stream.h"
#include "motion/curve.h"
#include "tests/support/scratch_files.h"

namespace {

std::string temp_path(const std::string& name) {
  return scratch::temp_path("curve_text_" + name);
}

// Reads a block body from `text` (the lines after "curve"); returns the reader's result and the
// next line left in the stream.
int read_block(const std::string& text, Curve* curve, std::string* next_line = nullptr) {
  std::string path = temp_path("input.txt");
  scratch::write_file(path, text);
  Stream* stream = stream_open(path.c_str(), "r", 0);
  EXPECT_NE(stream, nullptr);
  int result = curve_read_text(stream, curve);
  if (next_line) {
    char buffer[256];
    *next_line = stream_gets(stream, buffer, sizeof buffer) ? buffer : "";
  }
  stream_close(stream);
  return result;
}

Curve* two_key_spline() {
  Curve* curve = newCurve(nullptr);
  curve_allocate_points(curve, 2);
  CurvePoints* k = curve->points;
  k->time[1] = 1;
  k->value[0] = 0.5f;
  k->value[1] = -2;
  curve_set_type(curve, CURVE_SPLINE1D);
  k->channel = strdup("hip:rx");
  return curve;
}

TEST(CurveText, WritesBothIndentationStylesAndReadsThemBackPlainOrGzip) {
  Curve* curve = two_key_spline();
  // Key lines carry the automatic tangents that the type change computed.
  const CurvePoints& k = *curve->points;
  std::string keys;
  for (int i = 0; i < 2; ++i) {
    char line[128];
    std::snprintf(line, sizeof line, "%f %f %f %f %f %f\n", k.time[i], k.value[i], k.in_x[i],
                  k.in_y[i], k.out_x[i], k.out_y[i]);
    keys += std::string(16, ' ') + line;
  }
  const std::string expected =
      "    curve\n\tchannel hip:rx\n\ttype spline1d\n\t2 points\n" + keys + "    end curve\n" +
      "            curve\n                channel hip:rx\n                type spline1d\n"
      "                2 points\n" +
      keys + "            end curve\nafter\n";
  Curve* bare = newCurve(nullptr);
  for (int compressed : {0, 1}) {
    SCOPED_TRACE(compressed);
    std::string path = temp_path(compressed ? "styles.txt.gz" : "styles.txt");
    Stream* out = stream_open(path.c_str(), "w", compressed);
    curve_write_text(out, curve, CURVE_TEXT_ACTION);
    curve_write_text(out, curve, CURVE_TEXT_PLAIN);
    curve_write_text(out, bare, CURVE_TEXT_PLAIN);  // a curve without points writes nothing
    stream_printf(out, "after\n");
    stream_close(out);
    if (!compressed) {
      EXPECT_EQ(scratch::read_file(path), expected);
    }

    Stream* in = stream_open(path.c_str(), "r", compressed);
    char line[64];
    for (int block = 0; block < 2; ++block) {
      ASSERT_NE(stream_gets(in, line, sizeof line), nullptr);  // the "curve" line itself
      Curve* copy = newCurve(nullptr);
      EXPECT_EQ(curve_read_text(in, copy), 1);
      ASSERT_NE(copy->points, nullptr);
      const CurvePoints& b = *copy->points;
      EXPECT_STREQ(b.channel, "hip:rx");
      EXPECT_EQ(b.type, CURVE_SPLINE1D);
      ASSERT_EQ(b.count, 2);
      for (int i = 0; i < 2; ++i) {
        EXPECT_NEAR(b.time[i], k.time[i], 1e-6);
        EXPECT_NEAR(b.value[i], k.value[i], 1e-6);
        EXPECT_NEAR(b.in_y[i], k.in_y[i], 1e-6);
        EXPECT_NEAR(b.out_x[i], k.out_x[i], 1e-6);
      }
      curve_free(copy);
    }
    ASSERT_NE(stream_gets(in, line, sizeof line), nullptr);
    EXPECT_STREQ(line, "after\n");
    stream_close(in);
  }
  curve_free(curve);
  curve_free(bare);
}

TEST(CurveText, ReaderKeywordsOrderAndShortTruncatedOrForeignInput) {
  // The first keyword of the table found anywhere in the line wins: "linear" before "cosine".
  Curve* curve = newCurve(nullptr);
  EXPECT_EQ(
      read_block("type cosine linear\nchannel a:tx\n2 points\n0 1\n0.5 2\nend curve\n", curve), 1);
  EXPECT_EQ(curve->points->type, CURVE_LINEAR);
  EXPECT_STREQ(curve->points->channel, "a:tx");
  EXPECT_FLOAT_EQ(curve->points->value[1], 2);
  curve_free(curve);

  // A "type" line after the count does not change the keys' type; a "channel" line after it
  // is stored at once. "points 2" is read the other way round.
  curve = newCurve(nullptr);
  EXPECT_EQ(read_block("points 2\n0 1\n0.5 2\ntype constant\nchannel b:ry\nend curve\n", curve), 1);
  EXPECT_EQ(curve->points->type, CURVE_LINEAR);
  EXPECT_STREQ(curve->points->channel, "b:ry");
  curve_free(curve);

  // An unknown type keyword gives the null type.
  curve = newCurve(nullptr);
  read_block("type bezier\n1 points\n0 1\nend curve\n", curve);
  EXPECT_EQ(curve->points->type, CURVE_NULL);
  curve_free(curve);

  // Short key lines leave the missing fields at zero.
  curve = newCurve(nullptr);
  EXPECT_EQ(read_block("type spline2d\n2 points\n0.1 3 0.5\n0.9\nend curve\n", curve), 1);
  CurvePoints* k = curve->points;
  ASSERT_EQ(k->count, 2);
  EXPECT_FLOAT_EQ(k->in_x[0], 0.5f);
  EXPECT_FLOAT_EQ(k->in_y[0], 0);
  EXPECT_FLOAT_EQ(k->time[1], 0.9f);
  EXPECT_FLOAT_EQ(k->value[1], 0);
  curve_free(curve);

  // A count larger than the lines that follow keeps the keys that are there.
  curve = newCurve(nullptr);
  EXPECT_EQ(read_block("channel c:tz\n1000000000 points\n0 4\n0.5 5\n", curve), 0);
  ASSERT_NE(curve->points, nullptr);
  EXPECT_EQ(curve->points->count, 2);
  EXPECT_FLOAT_EQ(curve->points->value[1], 5);
  EXPECT_STREQ(curve->points->channel, "c:tz");
  curve_free(curve);

  // A foreign line ends the reading and sets the input back to where the reader started.
  curve = newCurve(nullptr);
  std::string next;
  EXPECT_EQ(read_block("type linear\n1 points\n0 7\nsegment hip\n", curve, &next), 0);
  EXPECT_EQ(next, "type linear\n");
  ASSERT_NE(curve->points, nullptr);
  EXPECT_FLOAT_EQ(curve->points->value[0], 7);
  curve_free(curve);

  // Empty input, a negative count and a line too long for the reader.
  curve = newCurve(nullptr);
  EXPECT_EQ(read_block("", curve), 0);
  EXPECT_EQ(curve->points, nullptr);
  EXPECT_EQ(read_block("-5 points\nend curve\n", curve), 1);
  EXPECT_EQ(curve->points->count, 0);
  EXPECT_EQ(read_block("channel " + std::string(20000, 'x') + "\nend curve\n", curve), 0);
  curve_free(curve);
}

}  // namespace
