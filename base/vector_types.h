// The two value types every part of the engine shares: a 3-vector and a 4x4 matrix.
#pragma once

#include <cstdint>

extern "C" {

// Three single-precision components, passed by address and returned by value.
struct Vector {
  float x;
  float y;
  float z;
};

// Sixteen floats, row-major (element = row * 4 + column), row-vector convention: a point p is
// transformed as p' = p * M, so rows 0..2 are the images of the axes and elements 12..14 hold
// the translation.
typedef float Matrix[16];

}  // extern "C"
