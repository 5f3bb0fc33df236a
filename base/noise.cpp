// Lattice gradient noise in one, two and three dimensions with a smooth cubic blend. The tables
// are built once, from a private generator seeded with 1984, so every run gives the same values.
#include <cmath>

#include "base/bsd_random.h"
#include "base/vecmath.h"

namespace {

constexpr int kLattice = 256;                 // lattice period
constexpr int kMask = kLattice - 1;           // wraps a lattice index
constexpr int kTableSize = kLattice * 2 + 2;  // 514: the tables repeat so b + offset stays in
constexpr float kOffset = 4096.0f;            // keeps truncation right down to -4096
constexpr uint32_t kSeed = 1984;

struct NoiseTables {
  int perm[kTableSize];
  float g1[kTableSize];
  float g2[kTableSize][2];
  float g3[kTableSize][3];
};

// One gradient component in [-1, 1) from one random number.
float gradient_component(hordera::BsdRandom& random) {
  return static_cast<float>((random.next() % (kLattice + kLattice)) - kLattice) / kLattice;
}

NoiseTables build_tables() {
  NoiseTables t{};
  hordera::BsdRandom random(kSeed);
  for (int i = 0; i < kLattice; ++i) {
    t.perm[i] = i;
    t.g1[i] = gradient_component(random);
    for (float& c : t.g2[i]) c = gradient_component(random);
    // A zero-length gradient is not guarded; the fixed seed never draws one.
    const float length2 = std::sqrt(t.g2[i][0] * t.g2[i][0] + t.g2[i][1] * t.g2[i][1]);
    t.g2[i][0] = t.g2[i][0] / length2;
    t.g2[i][1] = t.g2[i][1] / length2;
    for (float& c : t.g3[i]) c = gradient_component(random);
    const float length3 =
        std::sqrt(t.g3[i][0] * t.g3[i][0] + t.g3[i][1] * t.g3[i][1] + t.g3[i][2] * t.g3[i][2]);
    for (float& c : t.g3[i]) c = c / length3;
  }
  for (int i = kLattice - 1; i > 0; --i) {
    const int j = random.next() % kLattice;
    const int swapped = t.perm[i];
    t.perm[i] = t.perm[j];
    t.perm[j] = swapped;
  }
  for (int i = 0; i < kLattice + 2; ++i) {
    t.perm[kLattice + i] = t.perm[i];
    t.g1[kLattice + i] = t.g1[i];
    t.g2[kLattice + i][0] = t.g2[i][0];
    t.g2[kLattice + i][1] = t.g2[i][1];
    for (int k = 0; k < 3; ++k) t.g3[kLattice + i][k] = t.g3[i][k];
  }
  return t;
}

// Built by the first call of any noise function; static initialisation is thread-safe.
const NoiseTables& tables() {
  static const NoiseTables built = build_tables();
  return built;
}

// The two lattice cells around one coordinate and the offsets from each.
struct Axis {
  int b0, b1;
  float r0, r1;
  float blend;  // r0^2 (3 - 2 r0)
};

Axis setup(float coordinate) {
  const float t = coordinate + kOffset;
  Axis axis;
  int whole;
  float fraction;
  if (t > -2147483648.0f && t < 2147483648.0f) {
    whole = static_cast<int>(t);
    fraction = t - static_cast<float>(whole);
  } else {
    // Beyond the integer range every float is whole, so only the cell index matters; an
    // infinite coordinate takes cell 0 and not a number stays not a number.
    const bool finite = std::isfinite(t);
    whole = finite ? static_cast<int>(std::fmod(t, static_cast<float>(kLattice))) : 0;
    fraction = std::isnan(t) ? t : 0.0f;
  }
  axis.b0 = whole & kMask;
  axis.b1 = (axis.b0 + 1) & kMask;
  axis.r0 = fraction;
  axis.r1 = static_cast<float>(axis.r0 - 1.0);
  axis.blend = static_cast<float>(axis.r0 * axis.r0 * (3.0 - 2.0 * axis.r0));
  return axis;
}

float lerp(float t, float a, float b) {
  return a + t * (b - a);
}

}  // namespace

extern "C" {

float noise1(float x) {
  const NoiseTables& t = tables();
  const Axis ax = setup(x);
  const float u = ax.r0 * t.g1[t.perm[ax.b0]];
  const float v = ax.r1 * t.g1[t.perm[ax.b1]];
  return lerp(ax.blend, u, v);
}

float noise2(float x, float y) {
  const NoiseTables& t = tables();
  const Axis ax = setup(x);
  const Axis ay = setup(y);
  const int i = t.perm[ax.b0];
  const int j = t.perm[ax.b1];
  const int b00 = t.perm[i + ay.b0];
  const int b10 = t.perm[j + ay.b0];
  const int b01 = t.perm[i + ay.b1];
  const int b11 = t.perm[j + ay.b1];
  auto at = [&](int corner, float rx, float ry) {
    return rx * t.g2[corner][0] + ry * t.g2[corner][1];
  };
  const float a = lerp(ax.blend, at(b00, ax.r0, ay.r0), at(b10, ax.r1, ay.r0));
  const float b = lerp(ax.blend, at(b01, ax.r0, ay.r1), at(b11, ax.r1, ay.r1));
  return lerp(ay.blend, a, b);
}

float noise3(float x, float y, float z) {
  const NoiseTables& t = tables();
  const Axis ax = setup(x);
  const Axis ay = setup(y);
  const Axis az = setup(z);
  const int i = t.perm[ax.b0];
  const int j = t.perm[ax.b1];
  const int b00 = t.perm[i + ay.b0];
  const int b10 = t.perm[j + ay.b0];
  const int b01 = t.perm[i + ay.b1];
  const int b11 = t.perm[j + ay.b1];
  auto at = [&](int corner, float rx, float ry, float rz) {
    return rx * t.g3[corner][0] + ry * t.g3[corner][1] + rz * t.g3[corner][2];
  };
  float a =
      lerp(ax.blend, at(b00 + az.b0, ax.r0, ay.r0, az.r0), at(b10 + az.b0, ax.r1, ay.r0, az.r0));
  float b =
      lerp(ax.blend, at(b01 + az.b0, ax.r0, ay.r1, az.r0), at(b11 + az.b0, ax.r1, ay.r1, az.r0));
  const float near = lerp(ay.blend, a, b);
  a = lerp(ax.blend, at(b00 + az.b1, ax.r0, ay.r0, az.r1), at(b10 + az.b1, ax.r1, ay.r0, az.r1));
  b = lerp(ax.blend, at(b01 + az.b1, ax.r0, ay.r1, az.r1), at(b11 + az.b1, ax.r1, ay.r1, az.r1));
  const float far = lerp(ay.blend, a, b);
  return lerp(az.blend, near, far);
}

}  // extern "C"
