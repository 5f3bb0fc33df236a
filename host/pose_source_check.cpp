#include "host/pose_source_check.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string_view>

namespace host {
namespace {

// The word after the first of a parameter string (words are separated by blanks and tabs), or
// an empty view.
std::string_view second_word(std::string_view text) {
  std::string_view words[2];
  size_t at = 0;
  for (int i = 0; i < 2; ++i) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
    const size_t start = at;
    while (at < text.size() && text[at] != ' ' && text[at] != '\t') ++at;
    words[i] = text.substr(start, at - start);
  }
  return words[1];
}

bool names_pose_source(std::string_view word) {
  for (std::string_view ending : {".apf", ".apf.gz", ".amc", ".amc.gz", ".bvh"})
    if (word.size() > ending.size() && word.substr(word.size() - ending.size()) == ending)
      return true;
  return false;
}

}  // namespace

std::vector<std::string> unreadable_pose_sources(const Scene& scene) {
  std::vector<std::string> faults;
  std::set<std::string, std::less<>> seen;
  for (const SceneInstance& instance : scene.instances) {
    if (!instance.has_param_str) continue;
    const std::string_view word = second_word(instance.param_str);
    if (!names_pose_source(word) || !seen.emplace(word).second) continue;
    const std::string path(word);
    if (FILE* file = std::fopen(path.c_str(), "rb")) {
      // A directory opens on some systems; reading it fails.
      char byte;
      const bool readable = std::fread(&byte, 1, 1, file) == 1 || std::feof(file);
      const int reason = errno;
      std::fclose(file);
      if (readable) continue;
      faults.push_back(path + ": cannot read the pose cache (" + std::strerror(reason) + ")");
    } else {
      faults.push_back(path + ": cannot read the pose cache (" + std::strerror(errno) + ")");
    }
  }
  return faults;
}

}  // namespace host
