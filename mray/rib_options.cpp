// The options reader of the procedural path.
#include "mray/rib_options.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/text_words.h"

namespace mray {
namespace {

bool read_switch(std::string_view word, bool* value) {
  if (word == "1" || word == "on" || word == "true" || word == "yes") {
    *value = true;
    return true;
  }
  if (word == "0" || word == "off" || word == "false" || word == "no") {
    *value = false;
    return true;
  }
  return false;
}

}  // namespace

bool read_rib_options(std::string_view text, RibOptions* options, bool* motion_blur) {
  RibOptions read = *options;
  bool blur = *motion_blur;
  const std::vector<std::string_view> words = hordera::split_words(text);
  if (words.empty()) return false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (word == "prman") {
      read.flavour = RibFlavour::prman;
      continue;
    }
    if (word == "3delight") {
      read.flavour = RibFlavour::delight;
      continue;
    }
    if (i + 1 >= words.size()) return false;  // every other option needs its value
    const std::string_view value = words[++i];
    bool ok = true;
    if (word == "render_pass") {
      read.has_pass_name = true;
      read.pass_name.assign(value);
    } else if (word == "motion_blur") {
      ok = read_switch(value, &blur);
    } else if (word == "rib_comments") {
      ok = read_switch(value, &read.rib_comments);
    } else if (word == "velocity") {
      ok = read_switch(value, &read.velocity);
    } else if (word == "openGL") {
      ok = read_switch(value, &read.opengl);
    } else {
      ok = false;
    }
    if (!ok) return false;
  }
  *options = std::move(read);
  *motion_blur = blur;
  return true;
}

void read_rib_environment(RibOptions* options) {
  const char* flip = std::getenv("HORDERA_RMAN_FLIPV");
  options->flip_v = flip != nullptr && flip[0] != '\0' && std::strcmp(flip, "0") != 0;
}

}  // namespace mray
