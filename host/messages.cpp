// The renderer's message functions and the kept message log.
#include "host/messages.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "mray/mi_interface.h"

namespace host {
namespace {

std::mutex log_mutex;
std::vector<Message> kept;
int current_verbosity = 2;

std::string format(const char* format, va_list args) {
  if (format == nullptr) return {};
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length <= 0) return {};
  std::string text(static_cast<size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

}  // namespace

const char* level_name(Level level) {
  switch (level) {
    case Level::error:
      return "error";
    case Level::warning:
      return "warning";
    case Level::info:
      return "info";
    case Level::progress:
      return "progress";
    case Level::debug:
      return "debug";
    case Level::vdebug:
      return "vdebug";
  }
  return "message";
}

void set_verbosity(int level) {
  std::lock_guard lock(log_mutex);
  current_verbosity = level;
}

void log_message(Level level, std::string text) {
  std::lock_guard lock(log_mutex);
  if (static_cast<int>(level) <= current_verbosity) {
    std::string_view shown = text;
    if (!shown.empty() && shown.back() == '\n') shown.remove_suffix(1);
    std::fprintf(stderr, "%s: %.*s\n", level_name(level), static_cast<int>(shown.size()),
                 shown.data());
  }
  kept.push_back({level, std::move(text)});
}

std::vector<Message> messages() {
  std::lock_guard lock(log_mutex);
  return kept;
}

void clear_messages() {
  std::lock_guard lock(log_mutex);
  kept.clear();
}

}  // namespace host

#define HOST_MESSAGE_FUNCTION(name, level)         \
  extern "C" void name(const char* format, ...) {  \
    va_list args;                                  \
    va_start(args, format);                        \
    std::string text = host::format(format, args); \
    va_end(args);                                  \
    host::log_message(level, std::move(text));     \
  }

HOST_MESSAGE_FUNCTION(mi_error, host::Level::error)
HOST_MESSAGE_FUNCTION(mi_warning, host::Level::warning)
HOST_MESSAGE_FUNCTION(mi_info, host::Level::info)
HOST_MESSAGE_FUNCTION(mi_progress, host::Level::progress)
HOST_MESSAGE_FUNCTION(mi_debug, host::Level::debug)
HOST_MESSAGE_FUNCTION(mi_vdebug, host::Level::vdebug)
