// Outputs that cannot be written whole give a clear error, keep the file already there and leave
// no temporary file. A full disk is played by a child whose files may not grow past a few
// kilobytes (RLIMIT_FSIZE, SIGXFSZ ignored, so that the write fails with EFBIG as with ENOSPC).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "agent/weights.h"
#include "host/output_file.h"
#include "motion/apf.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;
using test_files::read_file;

constexpr rlim_t small_disk = 4096;  // bytes a file may hold in the child

// Runs `write` in a child whose standard error goes to `errors` and whose files may hold
// `limit` bytes at most (none: no limit); returns the child's exit code.
template <class Write>
int in_child_with_limit(rlim_t limit, const fs::path& errors, Write write) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int fd = ::open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(fd, 2);
    std::signal(SIGXFSZ, SIG_IGN);
    if (limit != RLIM_INFINITY) {
      const rlimit most{limit, limit};
      setrlimit(RLIMIT_FSIZE, &most);
    }
    _exit(write());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::set<std::string> names_in(const fs::path& dir) {
  std::set<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(dir))
    names.insert(entry.path().filename().string());
  return names;
}

// A crowd of a two-segment type: 500 agents make about 25 kB of pose cache, 8000 compress to
// well over 4 kB.
int write_pose_cache(const fs::path& dir, int compressed) {
  const int agents = compressed ? 8000 : 500;
  Agent* type = new_agent_type("man");
  new_segment(type, "root");
  new_segment(type, "arm")->animated = 1;
  for (int id = 1; id <= agents; ++id) {
    Agent* agent = new_agent_instance(type);
    std::free(agent->name);
    agent->name = strdup(("man." + std::to_string(id)).c_str());
    agent->id = id;
    agent->active = 1;
  }
  return apf_write(dir.c_str(), 3, compressed);
}

TEST(FullDisk, EngineFilesAreWholeOrNotThere) {
  for (int compressed : {0, 1}) {
    SCOPED_TRACE(compressed ? "gzip" : "plain");
    const fs::path dir =
        fs::path(testing::TempDir()) / ("full_disk_apf_" + std::to_string(compressed));
    fs::create_directories(dir);
    const fs::path errors = fs::path(testing::TempDir()) / "apf_errors.txt";
    const std::string name = compressed ? "frame.3.apf.gz" : "frame.3.apf";
    crowd_test::write_file(dir / name, "BEGIN man_1\nroot 0 0 0 1 2 3\n");
    EXPECT_EQ(
        in_child_with_limit(small_disk, errors, [&] { return write_pose_cache(dir, compressed); }),
        0);
    EXPECT_EQ(read_file(dir / name), "BEGIN man_1\nroot 0 0 0 1 2 3\n");
    EXPECT_EQ(names_in(dir), std::set<std::string>{name});
    EXPECT_EQ(read_file(errors), "ERROR: Couldn't write to " + (dir / name).string() + "\n");
    // With room, the whole file replaces the old one and no temporary file is left.
    EXPECT_EQ(in_child_with_limit(RLIM_INFINITY, errors,
                                  [&] { return write_pose_cache(dir, compressed); }),
              1);
    EXPECT_EQ(names_in(dir), std::set<std::string>{name});
    EXPECT_GT(fs::file_size(dir / name), small_disk);
  }
  // A weights file of 2000 vertices (about 14 kB) on the small disk.
  const fs::path weights = fs::path(testing::TempDir()) / "full_disk_apf_0" / "body.w";
  crowd_test::write_file(weights, "old weights");
  const fs::path weights_errors = fs::path(testing::TempDir()) / "weights_errors.txt";
  EXPECT_EQ(in_child_with_limit(small_disk, weights_errors,
                                [&] {
                                  const char* names[] = {"root"};
                                  std::vector<int32_t> vertices(2000), deformers(2000, 0);
                                  for (int v = 0; v < 2000; ++v) vertices[v] = v;
                                  const std::vector<float> ones(2000, 1.0f);
                                  return write_weights_file(weights.c_str(), names, 1, 2000, 2000,
                                                            vertices.data(), deformers.data(),
                                                            ones.data());
                                }),
            0);
  EXPECT_EQ(read_file(weights), "old weights");
  EXPECT_EQ(read_file(weights_errors),
            weights.string() + ": error while writing the weights file\n");
  EXPECT_EQ(names_in(weights.parent_path()), (std::set<std::string>{"body.w", "frame.3.apf"}));

  // A directory no file can be created in: the message, and nothing written.
  const fs::path errors = fs::path(testing::TempDir()) / "apf_errors.txt";
  EXPECT_EQ(in_child_with_limit(RLIM_INFINITY, errors, [] { return write_pose_cache("/proc", 0); }),
            0);
  EXPECT_EQ(read_file(errors), "ERROR: Couldn't write to /proc/frame.3.apf\n");
  EXPECT_FALSE(fs::exists("/proc/frame.3.apf"));
}

TEST(FullDisk, HostOutputsAreWholeOrNotThere) {
  const fs::path dir = fs::path(testing::TempDir()) / "full_disk_host";
  fs::create_directories(dir);
  const fs::path errors = fs::path(testing::TempDir()) / "host_errors.txt";
  const fs::path picture = dir / "frame.png";
  crowd_test::write_file(picture, "old picture");
  EXPECT_EQ(in_child_with_limit(small_disk, errors,
                                [&] {
                                  std::string error;
                                  const bool written = host::write_file_atomically(
                                      picture.string(), std::string(20000, 'p'), &error);
                                  std::fputs(error.c_str(), stderr);
                                  return written ? 1 : 0;
                                }),
            0);
  EXPECT_EQ(read_file(errors), picture.string() + ": cannot write: File too large");
  EXPECT_EQ(read_file(picture), "old picture");
  EXPECT_EQ(names_in(dir), std::set<std::string>{"frame.png"});

  // With room the new file replaces the old one; a directory that cannot hold it gives the reason.
  std::string error;
  ASSERT_TRUE(host::write_file_atomically(picture.string(), "new picture", &error)) << error;
  EXPECT_EQ(read_file(picture), "new picture");
  EXPECT_EQ(names_in(dir), std::set<std::string>{"frame.png"});
  EXPECT_FALSE(host::write_file_atomically("/proc/frame.png", "bytes", &error));
  EXPECT_EQ(error.rfind("/proc/frame.png: cannot write: ", 0), 0u) << error;
  EXPECT_FALSE(host::write_file_atomically(picture.string() + "/f.png", "x", &error));
  EXPECT_EQ(error, picture.string() + "/f.png: cannot write: Not a directory");
  EXPECT_FALSE(host::write_file_atomically((dir / "missing/f.png").string(), "x", &error));
  EXPECT_EQ(error, (dir / "missing/f.png").string() + ": cannot write: No such file or directory");

  // `hordera dump -o` of a crowd whose dump outgrows the disk: exit code 1, the reason, and the
  // earlier dump kept.
  crowd_test::write_crowd_files(dir / "crowd", 12);
  const std::string scene = crowd_test::write_crowd_scene(dir / "crowd", 12);
  const fs::path dump = dir / "crowd.txt";
  crowd_test::write_file(dump, "old dump");
  const auto run_dump = [&] {
    execl(HORDERA_COMMAND_PATH, "hordera", "dump", "--threads", "1", "-o", dump.c_str(),
          scene.c_str(), nullptr);
    return 127;
  };
  EXPECT_EQ(in_child_with_limit(small_disk, errors, run_dump), 1);
  EXPECT_NE(read_file(errors).find("error: " + dump.string() + ": cannot write: File too large"),
            std::string::npos)
      << read_file(errors);
  EXPECT_EQ(read_file(dump), "old dump");
  EXPECT_EQ(names_in(dir), (std::set<std::string>{"crowd", "crowd.txt", "frame.png"}));
  // With room the dump replaces the old one whole.
  EXPECT_EQ(in_child_with_limit(RLIM_INFINITY, errors, run_dump), 0) << read_file(errors);
  EXPECT_NE(read_file(dump).find("assembly \"asm_12\""), std::string::npos);
  EXPECT_EQ(names_in(dir), (std::set<std::string>{"crowd", "crowd.txt", "frame.png"}));
}

}  // namespace
