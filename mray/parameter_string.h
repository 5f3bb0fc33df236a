// The parameter string of the geometry shader: "CDL MOTION FRAME name value name value ...".
#pragma once

#include <cstddef>
#include <string_view>

#include "mray/shader_arguments.h"

namespace mray {

// Puts a render-arguments record in its initial state (id -1, frame 1, nothing else set).
void init_render_args(MrayRenderArgs* args);

// Splits `text` at white space and fills `args` (in its initial state): the CDL file, the
// motion or pose-cache file, the frame and the name/value pairs. Strings are renderer memory.
// With fewer than two words it prints "not enough parameters\n" on standard error and leaves
// `args` as it was. `text` is not changed.
void parse_parameter_string(MrayRenderArgs* args, const char* text);

// True when `word` names a pose-cache file: from its first ".apf" on it reads exactly ".apf" or
// ".apf.gz".
bool is_apf_file_name(const char* word);

// The next word of `text` from `*at`: a word ends at the next white space and a run of white
// space separates two words, so white space at the start yields an empty first word. Advances
// `*at` past the word and the white space after it.
std::string_view next_parameter_word(std::string_view text, size_t* at);
// The number of words of `text`, as next_parameter_word() cuts them.
size_t count_parameter_words(std::string_view text);

// Gives the current pair record one word of the string: its name when it has none yet (cut to
// the name buffer), else its value (a number when the word starts with a digit, a sign or a
// decimal point, else a string copied with `copy`). `word` must be a word cut by
// next_parameter_word() from a NUL-terminated string. Returns true when the pair is complete, so
// that the next record becomes current. Both entry paths fill their pairs this way.
bool fill_pair(MrayPair* pair, std::string_view word, char* (*copy)(std::string_view));

// Frees every string and the pair array of `args` and the record itself (renderer memory).
void free_render_args(MrayRenderArgs* args);

}  // namespace mray
