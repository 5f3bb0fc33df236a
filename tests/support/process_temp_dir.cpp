// Gives every test process a temporary directory of its own, so that test cases that ctest runs
// side by side never share a file name under testing::TempDir(). The directory is made before
// main() and removed when the process exits.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::string& process_directory() {
  static std::string directory;
  return directory;
}

void remove_process_directory() {
  std::error_code ignored;
  if (!process_directory().empty()) std::filesystem::remove_all(process_directory(), ignored);
}

const bool made = [] {
  std::string pattern = (std::filesystem::temp_directory_path() / "hordera_test_XXXXXX").string();
  if (!::mkdtemp(pattern.data())) return false;
  process_directory() = pattern;
  ::setenv("TEST_TMPDIR", (pattern + "/").c_str(), 1);
  std::atexit(remove_process_directory);
  return true;
}();

}  // namespace
