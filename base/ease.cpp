// The cosine ease used by curves and every smooth blend of the engine: a table of 4097 samples
// of 0.5 - 0.5 cos(pi t), read without interpolation.
#include <array>
#include <cmath>
#include <numbers>

#include "base/vecmath.h"

namespace hordera {
namespace {

constexpr int kEaseSteps = 4096;

// Filled on first use; static initialisation makes the fill safe from several threads.
const std::array<float, kEaseSteps + 1>& ease_table() {
  static const std::array<float, kEaseSteps + 1> table = [] {
    std::array<float, kEaseSteps + 1> values{};
    for (int i = 0; i <= kEaseSteps; ++i) {
      values[i] = static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * i / kEaseSteps));
    }
    return values;
  }();
  return table;
}

}  // namespace

float cosine_ease(float t) {
  const auto& table = ease_table();
  if (t <= 0.0f) return 0.0f;
  if (t >= 1.0f) return 1.0f;
  // Not a number: treated like the start of the blend rather than indexing the table with it.
  if (std::isnan(t)) return 0.0f;
  return table[static_cast<int>(t * kEaseSteps)];
}

}  // namespace hordera
