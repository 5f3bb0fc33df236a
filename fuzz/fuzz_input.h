// Shared by the reader fuzzers: a temporary directory of the process's own, into which inputs
// are written for the readers that take a path.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fuzz {

// The process's temporary directory, made on first use and removed at exit.
inline const std::string& temp_dir() {
  static const std::string directory = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "hordera_fuzz_XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
      std::perror("mkdtemp");
      std::abort();
    }
    static std::string removed;
    removed = pattern;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(removed, ignored);
    });
    return pattern;
  }();
  return directory;
}

// Writes the input to `name` in the temporary directory and returns the full path.
inline std::string write_input(const uint8_t* data, size_t size, const std::string& name) {
  std::string path = temp_dir() + "/" + name;
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    std::perror(path.c_str());
    std::abort();
  }
  if (size && std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);
  return path;
}

}  // namespace fuzz
