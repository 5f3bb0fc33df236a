// Replays a fuzzer's corpus without libFuzzer: runs LLVMFuzzerTestOneInput over every file of
// each directory (in name order) or file named on the command line. A reader fault shows up as
// a crash, a sanitizer report or a test timeout, so inputs that once broke a reader keep being
// checked in every build.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool run_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A private copy of exactly the input's size, so that a read past its end is caught.
  std::vector<uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY_OR_FILE...\n", argv[0]);
    return 2;
  }
  int count = 0;
  bool ok = true;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path root(argv[i]);
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(root)) {
      for (const auto& entry : std::filesystem::directory_iterator(root))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());
    } else {
      files.push_back(root);
    }
    if (files.empty()) {
      std::fprintf(stderr, "no inputs in %s\n", argv[i]);
      ok = false;
    }
    for (const auto& file : files) {
      ok = run_file(file) && ok;
      ++count;
    }
  }
  std::printf("replayed %d inputs\n", count);
  return ok ? 0 : 1;
}
