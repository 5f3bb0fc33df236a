// The progress bar of long commands.
#include "host/progress_bar.h"

#include <unistd.h>

namespace host {

ProgressBar::ProgressBar(std::string label, long long total, bool enabled, std::FILE* out)
    : label_(std::move(label)),
      total_(total > 0 ? total : 1),
      enabled_(enabled),
      out_(out),
      terminal_(::isatty(::fileno(out)) != 0) {}

ProgressBar::~ProgressBar() {
  finish();
}

void ProgressBar::update(long long done) {
  done_.store(done);
  if (enabled_) draw(done, false);
}

void ProgressBar::advance(long long units) {
  const long long done = done_.fetch_add(units) + units;
  if (enabled_) draw(done, false);
}

void ProgressBar::finish() {
  if (!enabled_) return;
  draw(done_.load(), true);
}

void ProgressBar::draw(long long done, bool last) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (finished_) return;
  if (done > total_) done = total_;
  if (terminal_) {
    const auto now = std::chrono::steady_clock::now();
    if (!last && done < total_ && now - last_draw_ < std::chrono::milliseconds(100)) return;
    last_draw_ = now;
    constexpr int width = 30;
    const int filled = static_cast<int>(done * width / total_);
    std::fprintf(out_, "\r%s [%.*s%.*s] %lld/%lld", label_.c_str(), filled,
                 "##############################", width - filled, "..............................",
                 done, total_);
    if (last) std::fputc('\n', out_);
  } else {
    const long long tenth = done * 10 / total_;
    if (tenth == last_tenth_ || (last && done < total_ && tenth == last_tenth_)) {
      if (last) finished_ = true;
      return;
    }
    last_tenth_ = tenth;
    std::fprintf(out_, "%s: %lld/%lld\n", label_.c_str(), done, total_);
  }
  std::fflush(out_);
  if (last) finished_ = true;
}

}  // namespace host
