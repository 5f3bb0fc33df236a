// What the agent-file reader keeps while it reads one file and the files it includes, shared by
// the reader's parts (object, segment, brain and node keywords, the value scanner).
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "cdl/cdl.h"

namespace hordera::cdl {

// One file being read, line by line, with room to read a line again.
class LineSource {
 public:
  explicit LineSource(FILE* file) : file_(file) {}
  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;
  ~LineSource();
  // The next raw line without its line ending (text after a NUL byte is dropped); false at the
  // end of the file.
  bool next(std::string* line);
  // Hands the last line read back, so that the next call returns it again.
  void push_back(const std::string& line);
  // Number of the last line returned, from 1.
  int line_number() const { return line_number_; }

 private:
  FILE* file_;
  char* buffer_ = nullptr;
  size_t capacity_ = 0;
  bool pushed_ = false;
  std::string pending_;
  int line_number_ = 0;
};

// A brain node's input ids, resolved to node references after the whole read.
struct PendingInputs {
  BrainNode* node;
  Agent* agent;
  std::vector<int> ids;
};

// An agent type made during this read, with what must happen to it once it is complete.
struct MadeType {
  Agent* type;
  bool finished;  // "end object" was seen
};

// The reader's state for one top-level read.
struct Context {
  Agent** object;
  Segment** segment;
  BrainNode** brain_node;
  int* state;
  int* object_count;
  Agent* agent_record;  // receives the type read, or null
  uint32_t version = 0;

  int brain_kind = 0;
  GeometryNode* geometry = nullptr;
  ClothNode* cloth = nullptr;
  HairNode* hair = nullptr;
  SpringNode* spring = nullptr;
  Material* material = nullptr;
  OptionNode* option = nullptr;
  Bone* bone = nullptr;

  // The bind-pose action the segment "bind_pose" lines of the open object build, or null.
  Action* bind_pose_action = nullptr;
  // The box size a "primitive box" line gives; set the first time a box is chosen in a read.
  float box_size = 0.0f;
  bool box_size_set = false;

  // The override table of the value scanner; always empty for agent files.
  int override_count = 0;
  const char* const* override_names = nullptr;
  const float* override_values = nullptr;

  // The file being read (innermost include) and its line source.
  std::string path;
  LineSource* lines = nullptr;
  int include_depth = 0;
  std::string top_path;  // the file the read started from
  // The resolved names of the files being read, outermost first: an include of one of them is a
  // cycle and is not read.
  std::vector<std::string> open_files;
  // Files opened through "include" during this read, bounded so that a file that includes
  // another several times cannot multiply the work without end.
  int included_files = 0;

  std::vector<PendingInputs> pending_inputs;
  std::vector<MadeType> made;

  // Name index of the open object's segments for "parent" lines, so that long skeletons read in
  // linear time: the first segment of each name in list order, extended as segments are added.
  struct SegmentIndex {
    Agent* type = nullptr;
    Segment* last = nullptr;  // last segment already indexed
    std::unordered_map<std::string, Segment*> first;
  } segment_index;

  Agent* current() const { return *object; }
};

// The first segment of the open object named `name` (as findSegment finds it), or null.
Segment* find_open_segment(Context& context, const std::string& name);

// Reads the file `path` into the context (used for the top file and for includes). Returns 1
// when read, 0 when refused or not opened (with the fixed messages).
int read_file(Context& context, const std::string& path);

// "include": reads the named file into the current agent type.
void read_include(Context& context, const std::string& line);
// The current agent type, made first (unnamed) when none is open.
Agent* ensure_object(Context& context);

// --- line tests ---

// True when `line` begins with `keyword` (a comparison of exactly the keyword's length).
inline bool starts(std::string_view line, std::string_view keyword) {
  return line.substr(0, keyword.size()) == keyword;
}
// True when `line` contains `word` anywhere.
inline bool contains(std::string_view line, std::string_view word) {
  return line.find(word) != std::string_view::npos;
}
// The text after `keyword` with leading blanks skipped.
std::string rest_after(std::string_view line, std::string_view keyword);
// The value words of `text` (at most `limit`): split at blanks and tabs, except that a
// backquoted expression stays one word with its backquotes (an unclosed one runs to the end).
std::vector<std::string> value_words(std::string_view text, size_t limit = SIZE_MAX);
// The text of a symbolic value word without its backquotes (a variable name is returned as is).
std::string expression_text(std::string_view word);
// The directory part of a path ("." for a bare name), without a trailing separator.
std::string directory_of(const std::string& path);
// The file name of a path without its directory and without its 4-character extension
// (".cdl", ".act"; "hero.cdle" gives "hero.").
std::string base_name_of(const std::string& path);
// A malloc'ed copy of `text` (null when memory runs out).
char* copy_text(std::string_view text);
// Replaces an owned text field with a copy of `text`.
void set_text(char** field, std::string_view text);

// Appends a zero-filled node of type T at the tail of a singly linked list; null when memory
// runs out.
template <typename T>
T* append_node(T** list) {
  auto* node = static_cast<T*>(calloc(1, sizeof(T)));
  if (!node) return nullptr;
  while (*list) list = &(*list)->next;
  *list = node;
  return node;
}

// Opens a node section: appends a node to the open object's list `list` (an object is made
// first when there is none) named by the rest of the opening line, if any; null when no node
// could be made.
template <typename T>
T* open_node(Context& context, T* Agent::*list, const std::string& name) {
  Agent* type = ensure_object(context);
  if (!type) return nullptr;
  T* node = append_node(&(type->*list));
  if (node && !name.empty()) node->name = copy_text(name);
  return node;
}
// "file:line: message\n" on standard error for the line being read.
void report(const Context& context, const char* message, std::string_view detail = {});

// --- the value scanner ---

// One output of the value scanner: "%d" fills an int, "%f" a float, "%s" a string.
using ScanTarget = std::variant<int*, float*, std::string*>;

// Walks `format` over `line`: a blank skips any run of blanks, "%d" and "%f" read one value
// (a variable name, a backquoted expression or a plain number), "%s" copies up to the next
// blank, any other character advances one character in both. Returns the number of targets
// filled; stops at the end of the line or at a value that cannot be read.
int scan(const Context& context, std::string_view line, const char* format,
         std::initializer_list<ScanTarget> targets);
// The value of one word for a "%f" read (same rules as `scan`).
float scan_value(const Context& context, std::string_view word);
// True when the word is written as a variable name or backquoted expression rather than a number.
bool is_symbolic(std::string_view word);

// --- section handlers; each returns true when it handled the line ---

void handle_top_level(Context& context, const std::string& line);
bool handle_object(Context& context, const std::string& line);
bool handle_dynamics(Context& context, const std::string& line);
bool handle_segment(Context& context, const std::string& line);
bool handle_brain(Context& context, const std::string& line);
bool handle_bone(Context& context, const std::string& line);
bool handle_material(Context& context, const std::string& line);
bool handle_option(Context& context, const std::string& line);
bool handle_geometry(Context& context, const std::string& line);
bool handle_hair(Context& context, const std::string& line);
bool handle_cloth(Context& context, const std::string& line);
bool handle_spring(Context& context, const std::string& line);

// Node creation for the top-level keywords (appended to the current object's lists).
void open_bone(Context& context, const std::string& name);
void open_material(Context& context, const std::string& name);
void open_option(Context& context, const std::string& name);
void open_geometry(Context& context, const std::string& name);
void open_hair(Context& context, const std::string& name);
void open_cloth(Context& context, const std::string& name);
void open_spring(Context& context, const std::string& name);
// Resolves every geometry selector's alternatives of the agent type to its nodes by name.
void resolve_option_alternatives(Agent* agent);
// Reads four lines of "%f %f %f %f" into a matrix (missing values stay as they were).
void read_matrix_rows(Context& context, float* matrix);

}  // namespace hordera::cdl
