// Small checks and builders shared by the engine's suites: vectors and matrices compared within a
// tolerance, translation matrices, and zeroed records as the readers allocate them.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/vecmath.h"

namespace engine_test {

// Expects `actual` to be (x, y, z) within `tolerance`; `what` names the vector in a failure.
inline void expect_vector_near(const Vector& actual, float x, float y, float z,
                               float tolerance = 1e-5f, const char* what = "") {
  EXPECT_NEAR(actual.x, x, tolerance) << what;
  EXPECT_NEAR(actual.y, y, tolerance) << what;
  EXPECT_NEAR(actual.z, z, tolerance) << what;
}

// Expects the sixteen elements of `actual` to match `expected` within `tolerance`.
inline void expect_matrix_near(const float* actual, const float* expected,
                               float tolerance = 1e-5f) {
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
}

// Fills `m` with the identity moved by (x, y, z) in its translation row.
inline void translation(float* m, float x, float y, float z) {
  hordera::matrix_identity(m);
  m[12] = x;
  m[13] = y;
  m[14] = z;
}

// A zeroed record from the C heap, freed by the engine as the readers' records are.
template <typename T>
T* zeroed_record() {
  return static_cast<T*>(std::calloc(1, sizeof(T)));
}

}  // namespace engine_test
