// PNG encoding of pictures, through libpng.
#pragma once

#include <string>

#include "host/rgba_image.h"

namespace host {

// Encodes `image` as an 8-bit RGBA PNG into `*bytes`; false with `*error` set when libpng
// refuses it (an empty or inconsistent image).
bool encode_png(const RgbaImage& image, std::string* bytes, std::string* error);

}  // namespace host
