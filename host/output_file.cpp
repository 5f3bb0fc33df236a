// Temporary-then-rename writing of output files.
#include "host/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace host {
namespace {

std::string temporary_name(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  const std::filesystem::path final_path(path);
  const std::string name = "." + final_path.filename().string() + ".tmp." +
                           std::to_string(::getpid()) + "." + std::to_string(counter++);
  return (final_path.parent_path() / name).string();
}

bool fail(const std::string& path, int error_number, std::string* error) {
  if (error) *error = path + ": cannot write: " + std::strerror(error_number);
  return false;
}

}  // namespace

bool write_file_atomically(const std::string& path, std::string_view bytes, std::string* error) {
  if (path.empty()) {
    if (error) *error = "cannot write: no output file name given";
    return false;
  }
  const std::string temporary = temporary_name(path);
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) return fail(path, errno, error);
  size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int cause = n < 0 ? errno : ENOSPC;
      ::close(fd);
      ::unlink(temporary.c_str());
      return fail(path, cause, error);
    }
    written += static_cast<size_t>(n);
  }
  // A disk that fills up may report it only when the data is flushed or the file closed.
  if (::fsync(fd) != 0 && errno != EINVAL && errno != EROFS) {
    const int cause = errno;
    ::close(fd);
    ::unlink(temporary.c_str());
    return fail(path, cause, error);
  }
  if (::close(fd) != 0) {
    const int cause = errno;
    ::unlink(temporary.c_str());
    return fail(path, cause, error);
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    const int cause = errno;
    ::unlink(temporary.c_str());
    return fail(path, cause, error);
  }
  return true;
}

}  // namespace host
