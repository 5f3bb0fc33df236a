// Runs the built `hordera` command as a user runs it, from a shell, and reads back its exit
// code and what it printed on each stream.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/support/files.h"

namespace command_test {

struct CommandRun {
  int status;  // the exit code, or -1 when the command did not exit normally
  std::string out;
  std::string err;
};

inline CommandRun run(const std::string& arguments) {
  const std::string out = testing::TempDir() + "command.out";
  const std::string err = testing::TempDir() + "command.err";
  const std::string command =
      std::string(HORDERA_COMMAND_PATH) + " " + arguments + " >" + out + " 2>" + err;
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test_files::read_file(out),
          test_files::read_file(err)};
}

}  // namespace command_test
