// The two matrix inverses: a cheap one for rotation-times-uniform-scale-plus-translation
// matrices, and a general one by Crout LU decomposition with implicit partial pivoting.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/vecmath.h"

namespace {

constexpr int kSize = 4;

// Replaces an exactly zero pivot so that a singular but non-zero matrix still inverts (to very
// large values) instead of dividing by zero.
constexpr float kTinyPivot = 1.0e-20f;

using Square = float[kSize][kSize];

// Factors a in place into L (below the diagonal, unit diagonal implied) and U, recording the row
// swaps in `pivot`. Returns false, with a untouched, when a row is all zeros.
bool lu_decompose(Square a, int pivot[kSize]) {
  float scale[kSize];
  for (int i = 0; i < kSize; ++i) {
    float largest = 0.0f;
    for (int j = 0; j < kSize; ++j) {
      const float magnitude = std::fabs(a[i][j]);
      if (magnitude > largest) largest = magnitude;
    }
    if (largest == 0.0f) return false;
    scale[i] = 1.0f / largest;
  }
  for (int j = 0; j < kSize; ++j) {
    for (int i = 0; i < j; ++i) {
      float sum = a[i][j];
      for (int k = 0; k < i; ++k) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
    }
    float best = 0.0f;
    int best_row = j;
    for (int i = j; i < kSize; ++i) {
      float sum = a[i][j];
      for (int k = 0; k < j; ++k) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
      // A later row wins a tie.
      const float merit = scale[i] * std::fabs(sum);
      if (merit >= best) {
        best = merit;
        best_row = i;
      }
    }
    if (best_row != j) {
      for (int k = 0; k < kSize; ++k) {
        const float swapped = a[best_row][k];
        a[best_row][k] = a[j][k];
        a[j][k] = swapped;
      }
      scale[best_row] = scale[j];
    }
    pivot[j] = best_row;
    if (a[j][j] == 0.0f) a[j][j] = kTinyPivot;
    if (j != kSize - 1) {
      const float inverse = 1.0f / a[j][j];
      for (int i = j + 1; i < kSize; ++i) a[i][j] *= inverse;
    }
  }
  return true;
}

// Solves (LU) x = b in place, b arriving in the original row order.
void lu_solve(const Square a, const int pivot[kSize], float b[kSize]) {
  int first_nonzero = -1;
  for (int i = 0; i < kSize; ++i) {
    const int p = pivot[i];
    float sum = b[p];
    b[p] = b[i];
    if (first_nonzero >= 0) {
      for (int j = first_nonzero; j < i; ++j) sum -= a[i][j] * b[j];
    } else if (sum != 0.0f) {
      first_nonzero = i;
    }
    b[i] = sum;
  }
  for (int i = kSize - 1; i >= 0; --i) {
    float sum = b[i];
    for (int j = i + 1; j < kSize; ++j) sum -= a[i][j] * b[j];
    b[i] = sum / a[i][i];
  }
}

}  // namespace

extern "C" {

int angle_preserving_matrix4_inverse(const float* m, float* out) {
  const float squared = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
  if (squared == 0.0f) {
    std::fputs("angle_preserving_matrix4_inverse: singular matrix\n", stderr);
    return 0;
  }
  const double inverse = 1.0 / squared;
  float result[16];
  // The transpose of the rotation block, divided by the squared scale.
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) result[i * 4 + j] = static_cast<float>(m[j * 4 + i] * inverse);
    result[i * 4 + 3] = 0.0f;
  }
  // The translation taken back through the inverted block.
  for (int j = 0; j < 3; ++j) {
    result[12 + j] = -(m[12] * result[j] + m[13] * result[4 + j] + m[14] * result[8 + j]);
  }
  result[15] = 1.0f;
  std::memcpy(out, result, sizeof result);
  return 1;
}

}  // extern "C"

namespace hordera {

int matrix_invert(float* m) {
  Square a;
  std::memcpy(a, m, sizeof a);
  int pivot[kSize];
  if (!lu_decompose(a, pivot)) {
    std::fputs("Singular matrix in routine LUDCMP\n", stderr);
    matrix_display(m);
    return 0;
  }
  float result[16];
  for (int column = 0; column < kSize; ++column) {
    float unit[kSize] = {0.0f, 0.0f, 0.0f, 0.0f};
    unit[column] = 1.0f;
    lu_solve(a, pivot, unit);
    for (int row = 0; row < kSize; ++row) result[row * 4 + column] = unit[row];
  }
  std::memcpy(m, result, sizeof result);
  return 1;
}

}  // namespace hordera
