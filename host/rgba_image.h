// A picture of 8-bit red, green, blue, alpha pixels, rows from the top, straight (not
// premultiplied) alpha, colours encoded for display (sRGB).
#pragma once

#include <cstdint>
#include <vector>

namespace host {

struct RgbaImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // width * height * 4 bytes

  const uint8_t* at(int x, int y) const {
    return &pixels[(static_cast<size_t>(y) * width + x) * 4];
  }
};

}  // namespace host
