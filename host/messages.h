// The renderer's message log: every message the plug-in sends is kept with its level, for tests
// and reports, and printed on standard error when the verbosity allows.
#pragma once

#include <string>
#include <vector>

namespace host {

// Message levels, in the renderer's verbosity order.
enum class Level { error = 1, warning = 2, info = 3, progress = 4, debug = 5, vdebug = 6 };

// One message as sent, formatted, trailing newline included.
struct Message {
  Level level;
  std::string text;
};

// Lower-case name of a level ("error", "warning", "info", "progress", "debug", "vdebug").
const char* level_name(Level level);

// Verbosity 0 (nothing printed) to 6 (everything); messages up to that level are printed.
// The default is 2: errors and warnings.
void set_verbosity(int level);

// Keeps the message and prints it on standard error as "LEVEL: TEXT", without one trailing
// newline of the text. Safe from several threads.
void log_message(Level level, std::string text);

// Every message kept so far, in the order sent.
std::vector<Message> messages();
// Forgets the kept messages.
void clear_messages();

}  // namespace host
