// Files written from memory: plain, or gzip members compressed whole with libdeflate.
#include "base/file_sink.h"

#include <libdeflate.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <vector>

namespace hordera {
namespace {

// Text held before it is written: one gzip member each.
constexpr size_t kPieceBytes = size_t(4) << 20;
// The compression level of gzip streams opened without one ("w"), as zlib's default.
constexpr int kGzipLevel = 6;

struct CompressorDeleter {
  void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

libdeflate_compressor* compressor() {
  thread_local std::unique_ptr<libdeflate_compressor, CompressorDeleter> held(
      libdeflate_alloc_compressor(kGzipLevel));
  return held.get();
}

bool is_directory(const char* path) {
  struct stat info;
  return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// ".NAME.tmp.PID.N" beside `path`: hidden, and never the name of another writer's file.
std::string temporary_name(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  const size_t slash = path.find_last_of('/');
  const size_t name = slash == std::string::npos ? 0 : slash + 1;
  return path.substr(0, name) + "." + path.substr(name) + ".tmp." + std::to_string(::getpid()) +
         "." + std::to_string(counter++);
}

}  // namespace

FileSink::~FileSink() {
  if (file_ != nullptr) close();
}

bool FileSink::open(const char* path, bool compressed) {
  if (file_ != nullptr) close();
  failed_ = false;
  text_.clear();
  compressed_ = compressed;
  if (path == nullptr || path[0] == '\0' || is_directory(path)) return false;
  path_ = path;
  temporary_ = temporary_name(path_);
  file_ = std::fopen(temporary_.c_str(), "wbx");
  return file_ != nullptr;
}

void FileSink::flush_if_full() {
  if (text_.size() >= kPieceBytes) flush();
}

void FileSink::flush() {
  if (file_ == nullptr || text_.empty()) return;
  if (!compressed_) {
    failed_ |= std::fwrite(text_.data(), 1, text_.size(), file_) != text_.size();
  } else {
    thread_local std::vector<unsigned char> packed;
    libdeflate_compressor* c = compressor();
    if (c == nullptr) {
      failed_ = true;
    } else {
      packed.resize(libdeflate_gzip_compress_bound(c, text_.size()));
      const size_t size =
          libdeflate_gzip_compress(c, text_.data(), text_.size(), packed.data(), packed.size());
      failed_ |= size == 0 || std::fwrite(packed.data(), 1, size, file_) != size;
    }
  }
  text_.clear();
}

void FileSink::abandon() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
  text_.clear();
  ::unlink(temporary_.c_str());
}

bool FileSink::close() {
  if (file_ == nullptr) return false;
  // An empty gzip file is still gzip data: one empty member, as a gzip stream writes.
  if (compressed_ && text_.empty() && std::ftell(file_) == 0) {
    libdeflate_compressor* c = compressor();
    unsigned char packed[64];
    const size_t size = c ? libdeflate_gzip_compress(c, "", 0, packed, sizeof packed) : 0;
    failed_ |= size == 0 || std::fwrite(packed, 1, size, file_) != size;
  }
  flush();
  // A full disk may show only when the data reach it.
  failed_ |= std::fflush(file_) != 0;
  failed_ |= ::fsync(fileno(file_)) != 0 && errno != EINVAL && errno != EROFS;
  failed_ |= std::fclose(file_) != 0;
  file_ = nullptr;
  if (!failed_) failed_ = std::rename(temporary_.c_str(), path_.c_str()) != 0;
  if (failed_) ::unlink(temporary_.c_str());
  return !failed_;
}

}  // namespace hordera
