// Scratch files for the suites: whole files read and written as bytes or through the Stream layer,
// a folder of the test's own, and what a piece of code prints on standard error.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "base/stream.h"

namespace scratch {

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Writes `text` through the Stream layer, gzip-compressed when `compressed` is set.
inline void write_stream(const std::string& path, const std::string& text, int compressed) {
  Stream* out = stream_open(path.c_str(), "w", compressed);
  stream_write(out, text.data(), text.size());
  stream_close(out);
}

// A path in the test run's temporary folder.
inline std::string temp_path(const std::string& leaf) {
  return testing::TempDir() + leaf;
}

// What `run` prints on standard error.
template <typename Run>
std::string stderr_of(Run&& run) {
  testing::internal::CaptureStderr();
  run();
  return testing::internal::GetCapturedStderr();
}

// A fixture whose every test owns a fresh folder, removed afterwards. The folder is named after
// the process and the test, so that suites run in parallel never meet.
template <typename Base = testing::Test>
class FolderFixture : public Base {
 protected:
  void SetUp() override {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    for (char& c : name) c = c == '/' ? '_' : c;
    folder_ = std::filesystem::path(testing::TempDir()) /
              ("scratch_" + std::to_string(::getpid()) + "_" + name);
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& leaf) const { return (folder_ / leaf).string(); }
  // Writes `bytes` to `leaf` in the folder, making the folders on the way; returns the path.
  std::string write(const std::string& leaf, const std::string& bytes) const {
    const std::filesystem::path file = folder_ / leaf;
    std::filesystem::create_directories(file.parent_path());
    write_file(file.string(), bytes);
    return file.string();
  }

  std::filesystem::path folder_;
};

using FolderTest = FolderFixture<>;

}  // namespace scratch
