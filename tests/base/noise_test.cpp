// Gradient noise: its private generator repeats the C library's random() sequence, its values are
// pinned for the fixed seed, and it vanishes on the integer lattice.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "base/bsd_random.h"
#include "base/vecmath.h"

namespace {

TEST(NoiseGenerator, RepeatsTheLibraryRandomSequenceWithItsOwnState) {
  for (unsigned seed : {1984u, 1u, 0u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    srandom(seed);
    hordera::BsdRandom generator(seed);
    for (int i = 0; i < 5000; ++i) {
      const long expected = random();
      ASSERT_EQ(generator.next(), expected) << "seed " << seed << ", draw " << i;
    }
  }
  // Other users of random() must not disturb the private sequence, nor it theirs.
  hordera::BsdRandom generator(1984);
  const int32_t first = generator.next();
  srandom(1984);
  EXPECT_EQ(random(), first);
  srandom(77);
  for (int i = 0; i < 10; ++i) random();
  hordera::BsdRandom fresh(1984);
  fresh.next();
  EXPECT_EQ(generator.next(), fresh.next());
}

// Values for the fixed seed 1984, at points off the lattice, in every dimension.
struct Pinned {
  float x, y, z;
  float one, two, three;
};

constexpr Pinned kPinned[] = {
    {0.5f, 0.25f, 0.75f, -0x1.1ep-3f, -0x1.d53472p-4f, 0x1.268f08p-4f},
    {1.3f, -2.7f, 4.1f, 0x1.a5e62p-4f, 0x1.663c4p-8f, -0x1.6fb01cp-4f},
    {-0.35f, 10.6f, -7.2f, 0x1.76c024p-3f, -0x1.26bd0cp-2f, -0x1.c8f184p-2f},
    {123.456f, 0.1f, -3.3f, 0x1.516148p-3f, -0x1.93d3a4p-2f, -0x1.ee55cp-3f},
    {-4000.2f, 3.9f, 0.01f, -0x1.953e7cp-3f, -0x1.0baad8p-3f, 0x1.2ef95p-4f},
};

TEST(Noise, PinnedValuesForTheFixedSeed) {
  for (const Pinned& p : kPinned) {
    EXPECT_FLOAT_EQ(noise1(p.x), p.one) << p.x;
    EXPECT_FLOAT_EQ(noise2(p.x, p.y), p.two) << p.x << ", " << p.y;
    EXPECT_FLOAT_EQ(noise3(p.x, p.y, p.z), p.three) << p.x << ", " << p.y << ", " << p.z;
  }
}

TEST(Noise, ZeroOnTheLatticeRepeatableAndBounded) {
  for (int i = -20; i <= 20; ++i) {
    const float a = static_cast<float>(i);
    const float b = static_cast<float>(i * 7 - 3);
    const float c = static_cast<float>(300 - i * 13);
    EXPECT_EQ(noise1(a), 0.0f) << a;
    EXPECT_EQ(noise2(a, b), 0.0f) << a << ", " << b;
    EXPECT_EQ(noise3(a, b, c), 0.0f) << a << ", " << b << ", " << c;
  }
  // Same input, same output; nearby inputs vary smoothly; values stay near [-1, 1].
  bool varied = false;
  for (int i = 0; i < 2000; ++i) {
    const float x = -50.0f + 0.0517f * static_cast<float>(i);
    const float y = 0.37f * x - 3.0f, z = 11.0f - 0.21f * x;
    const float value = noise3(x, y, z);
    EXPECT_EQ(value, noise3(x, y, z));
    EXPECT_EQ(noise2(x, y), noise2(x, y));
    EXPECT_LE(std::fabs(value), 1.1f);
    EXPECT_LE(std::fabs(noise2(x, y)), 1.1f);
    EXPECT_LE(std::fabs(noise1(x)), 1.1f);
    EXPECT_NEAR(noise3(x + 1e-3f, y, z), value, 0.02f);
    varied = varied || std::fabs(value) > 0.2f;
  }
  EXPECT_TRUE(varied);
  // The lattice repeats every 256 cells.
  EXPECT_FLOAT_EQ(noise1(0.3f + 256.0f), noise1(0.3f));
  EXPECT_FLOAT_EQ(noise2(1.25f, 2.5f + 256.0f), noise2(1.25f, 2.5f));
}

TEST(Noise, ExtremeArgumentsDoNotFault) {
  // Out of integer range or not finite: no undefined conversion, a defined result.
  EXPECT_EQ(noise1(3.0e9f), 0.0f);
  EXPECT_EQ(noise1(-1.0e30f), 0.0f);
  EXPECT_EQ(noise1(INFINITY), 0.0f);
  EXPECT_TRUE(std::isnan(noise1(NAN)));
  EXPECT_TRUE(std::isfinite(noise3(1.0e20f, 0.5f, -1.0e20f)));
  EXPECT_TRUE(std::isfinite(noise2(-5000.5f, 0.5f)));
}

}  // namespace
