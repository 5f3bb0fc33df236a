// A progress bar on standard error for long work (frames of a sequence, tiles of a picture).
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

namespace host {

// On a terminal the bar is redrawn in place ("render [#######.......]  12/24"), at most ten
// times a second; into a file (a farm's log) one line is written per tenth of the work, so logs
// stay short. Safe to advance from several threads.
class ProgressBar {
 public:
  // `total` units of work under `label`; nothing is printed when `enabled` is false.
  ProgressBar(std::string label, long long total, bool enabled = true, std::FILE* out = stderr);
  ~ProgressBar();
  // Records that the work has reached `done` units.
  void update(long long done);
  // Records `units` more units done.
  void advance(long long units = 1);
  // Ends the bar's line (also done by the destructor).
  void finish();

 private:
  void draw(long long done, bool last);

  std::string label_;
  long long total_;
  bool enabled_;
  std::FILE* out_;
  bool terminal_;
  std::atomic<long long> done_{0};
  std::mutex mutex_;
  long long last_tenth_ = -1;
  std::chrono::steady_clock::time_point last_draw_{};
  bool finished_ = false;
};

}  // namespace host
