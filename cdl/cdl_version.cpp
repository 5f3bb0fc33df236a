// Version numbers of agent files: a version text packed into one comparable number.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "cdl/cdl.h"

namespace {

uint32_t clamp_part(int value) {
  if (value < 0) return 0;
  return value > 255 ? 255u : static_cast<uint32_t>(value);
}

uint32_t pack(int stage, int major, int minor, int patch) {
  return clamp_part(stage) << 24 | clamp_part(major) << 16 | clamp_part(minor) << 8 |
         clamp_part(patch);
}

}  // namespace

extern "C" uint32_t cdl_version_number(const char* text) {
  if (!text) return 0;
  if (*text == 'v') ++text;
  int major = 0, minor = 0, patch = 0;
  char tail[256];
  // Only the first few characters matter; a bounded copy keeps "%s" within `tail`.
  char head[64];
  snprintf(head, sizeof head, "%s", text);
  if (sscanf(head, "%d.%da%d%63s", &major, &minor, &patch, tail) >= 3)
    return pack(1, major, minor, patch);
  if (sscanf(head, "%d.%db%d%63s", &major, &minor, &patch, tail) >= 3)
    return pack(2, major, minor, patch);
  if (sscanf(head, "%d.%d.%d%63s", &major, &minor, &patch, tail) >= 3)
    return pack(255, major, minor, patch);
  // Legacy "0.NNN": the first three characters give the minor number, the digits after them
  // the patch ("0.996" is minor 9, patch 96).
  int legacy = 0;
  if (sscanf(head, "0.%d%63s", &legacy, tail) >= 1) {
    char first[4] = {0, 0, 0, 0};
    memcpy(first, head, std::min<size_t>(3, strlen(head)));
    minor = 0;
    sscanf(first, "0.%d", &minor);
    patch = 0;
    if (strlen(head) > 3) sscanf(head + 3, "%d", &patch);
    return pack(1, 0, minor, patch);
  }
  return 0;
}
