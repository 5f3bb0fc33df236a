// Shader descriptions as the text of a material's per-pass shader lines: the quoted shader name
// followed by "parameter" CODE value triples. This file takes a description apart and fills in
// an agent's values; mray/shader_call.h turns the result into a shader call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct Agent;

namespace mray {

// The words of a description: runs of characters between white space, where a bracketed group
// (from '[' to the next ']') and a quoted group (from '"' to the next '"') belong to one word
// even when they hold blanks. A group left open runs to the end of the text.
std::vector<std::string_view> split_description(std::string_view text);

// The description with every text between a pair of single quotes (the quotes included) replaced
// by its value for `agent`: the text is an expression (a variable name alone is one) evaluated
// against the agent's variables and written as the shortest decimal that reads back as the same
// 32-bit float ("2", "0.25", "-1.5e-07"). A single quote without a partner is kept as it is. An
// expression that cannot be evaluated gives 0, and `error` (when not null) receives a
// description of the first such failure.
std::string expand_description(std::string_view description, Agent* agent,
                               std::string* error = nullptr);

// The text of a quoted word: what follows its first character up to the next '"' (or the end).
std::string quoted_text(std::string_view word);

// The strings of a bracketed list of quoted strings, in order: the text between each pair of
// double quotes.
std::vector<std::string> quoted_items(std::string_view value);

// The numbers of a list such as "[1 0.5 0]": after an optional '[', one number per blank-separated
// item, each read as "%f" reads it (an item that does not start with a number gives 0).
std::vector<float> number_items(std::string_view value);

// A file name with every '/' and '.' replaced by '_': the stem of the names of the texture and
// texture shader declared for an image file.
std::string flatten_file_name(std::string_view file);

// True when the file name ends in one of the image extensions the renderer reads (".tif",
// ".exr", ".map", ...), in any letter case.
bool is_image_file_name(std::string_view file);

}  // namespace mray
