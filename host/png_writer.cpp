// PNG encoding through libpng's simplified interface, which reports failures as return values
// instead of long jumps.
#include "host/png_writer.h"

#include <png.h>

#include <cstring>

namespace host {

bool encode_png(const RgbaImage& image, std::string* bytes, std::string* error) {
  if (image.width <= 0 || image.height <= 0 ||
      image.pixels.size() != static_cast<size_t>(image.width) * image.height * 4) {
    if (error) *error = "cannot encode an empty picture";
    return false;
  }
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = 0;
  const png_int_32 stride = image.width * 4;
  if (!png_image_write_to_memory(&png, nullptr, &size, 0, image.pixels.data(), stride, nullptr)) {
    if (error) *error = std::string("cannot encode the picture: ") + png.message;
    png_image_free(&png);
    return false;
  }
  bytes->resize(size);
  if (!png_image_write_to_memory(&png, bytes->data(), &size, 0, image.pixels.data(), stride,
                                 nullptr)) {
    if (error) *error = std::string("cannot encode the picture: ") + png.message;
    png_image_free(&png);
    return false;
  }
  bytes->resize(size);
  return true;
}

}  // namespace host
