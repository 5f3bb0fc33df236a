// Vertex weights files: the reader (three passes: deformer table size, deformer-to-bone map,
// vertex lines) and the writer from the sparse form.
#include "agent/weights.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>

#include "agent/nodes.h"
#include "base/file_sink.h"

#ifndef HORDERA_ENGINE_VERSION
#define HORDERA_ENGINE_VERSION "4.1.18"
#endif

namespace {

// Deformer numbers above this are refused, so that a damaged file cannot make the reader
// allocate a table of billions of entries.
constexpr int kMaxDeformerNumber = 1 << 20;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool has_extension(const char* path, const char* extension) {
  const size_t length = std::strlen(path), wanted = std::strlen(extension);
  return length > wanted && std::strcmp(path + length - wanted, extension) == 0;
}

const char* bone_segment_name(const Bone* bone) {
  return bone->segment != nullptr ? bone->segment->name : bone->name;
}

// The lines of a weights file, each without its line end.
struct WeightsText {
  std::string text;
  std::vector<std::string_view> lines;
};

// Reads the whole file; false (with the fixed open message) when it cannot be opened.
bool load_lines(const char* path, WeightsText& out) {
  File file(std::fopen(path, "r"));
  if (!file) {
    std::fprintf(stderr, "Error opening weights file \"%s\"\n", path);
    return false;
  }
  char buffer[65536];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) out.text.append(buffer, got);
  if (out.text.find('\0') != std::string::npos) {
    std::fprintf(stderr, "%s: binary data (a NUL byte); this is not a weights file\n", path);
    return false;
  }
  std::string_view rest(out.text);
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    out.lines.push_back(line);
  }
  return true;
}

std::string_view skip_blanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  return text;
}

std::string_view next_word(std::string_view& text) {
  text = skip_blanks(text);
  size_t end = 0;
  while (end < text.size() && text[end] != ' ' && text[end] != '\t') ++end;
  std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

// A whole word as an integer.
bool parse_int(std::string_view word, long& value) {
  if (word.empty() || word.size() > 32) return false;
  std::string copy(word);
  char* end = nullptr;
  errno = 0;
  value = std::strtol(copy.c_str(), &end, 10);
  return errno == 0 && end == copy.c_str() + copy.size();
}

// A whole word as a finite float ("%g" syntax).
bool parse_weight(std::string_view word, float& value) {
  if (word.empty() || word.size() > 64) return false;
  std::string copy(word);
  char* end = nullptr;
  value = std::strtof(copy.c_str(), &end);
  return end == copy.c_str() + copy.size() && std::isfinite(value);
}

// A "deformer %d %s" line: its number and name; false for any other line.
bool parse_deformer_line(std::string_view line, long& number, std::string_view& name) {
  line = skip_blanks(line);
  if (line.substr(0, 8) != "deformer") return false;
  line.remove_prefix(8);
  if (line.empty() || (line.front() != ' ' && line.front() != '\t')) return false;
  if (!parse_int(next_word(line), number)) return false;
  name = next_word(line);
  return !name.empty();
}

// Passes 1 and 2: the table size from the largest deformer number, then each number mapped to
// the position of the bone whose segment has the line's name.
bool build_deformer_table(const char* path, const WeightsText& file, Agent* type,
                          std::vector<int>& table) {
  long largest = -1;
  for (size_t i = 0; i < file.lines.size(); ++i) {
    long number;
    std::string_view name;
    if (!parse_deformer_line(file.lines[i], number, name)) continue;
    if (number < 0 || number > kMaxDeformerNumber) {
      std::fprintf(stderr, "%s:%zu: deformer number %ld is out of range (0 to %d); skipped\n", path,
                   i + 1, number, kMaxDeformerNumber);
      continue;
    }
    largest = std::max(largest, number);
  }
  if (largest < 0) {
    std::fprintf(stderr, "%s: no \"deformer\" lines; this is not a weights file\n", path);
    return false;
  }
  table.assign(static_cast<size_t>(largest) + 1, -1);
  for (const std::string_view line : file.lines) {
    long number;
    std::string_view name;
    if (!parse_deformer_line(line, number, name) || number < 0 || number > largest) continue;
    int position = 0, found = -1;
    for (Bone* bone = type != nullptr ? type->bones : nullptr; bone != nullptr;
         bone = bone->next, ++position) {
      const char* segment_name = bone_segment_name(bone);
      if (segment_name != nullptr && name == segment_name) {
        found = position;
        break;
      }
    }
    table[static_cast<size_t>(number)] = found;
  }
  return true;
}

int bone_count(Agent* type) {
  int count = 0;
  for (Bone* bone = type != nullptr ? type->bones : nullptr; bone != nullptr; bone = bone->next)
    ++count;
  return count;
}

}  // namespace

namespace hordera {

void report_file_type_error(const char* path, const char* expected) {
  std::fprintf(stderr, "Wrong file type \"%s\": expected a *.%s file\n", path, expected);
}

bool read_weights_deformer_table(const char* path, Agent* type, std::vector<int>& table) {
  WeightsText file;
  if (path == nullptr || !load_lines(path, file)) return false;
  return build_deformer_table(path, file, type, table);
}

}  // namespace hordera

extern "C" {

void free_weight_arrays(float** arrays, int32_t array_count) {
  if (arrays == nullptr) return;
  for (int32_t i = 0; i < array_count; ++i) std::free(arrays[i]);
  std::free(arrays);
}

int read_weights_file(const char* path, Agent* type, int32_t vertex_count,
                      Segment* const* attach_segments, int32_t attach_count, float*** arrays_out,
                      int32_t* array_count_out) {
  if (arrays_out != nullptr) *arrays_out = nullptr;
  if (array_count_out != nullptr) *array_count_out = 0;
  if (path == nullptr || arrays_out == nullptr || array_count_out == nullptr || vertex_count < 0)
    return 0;
  if (!has_extension(path, ".w")) {
    hordera::report_file_type_error(path, "w");
    return 0;
  }
  WeightsText file;
  if (!load_lines(path, file)) return 0;
  std::vector<int> table;
  if (!build_deformer_table(path, file, type, table)) return 0;

  // Pass 3: one zeroed array per bone, filled from the vertex lines.
  const int bones = bone_count(type);
  float** arrays =
      static_cast<float**>(std::calloc(static_cast<size_t>(std::max(bones, 1)), sizeof(float*)));
  if (arrays == nullptr) return 0;
  for (int b = 0; b < bones; ++b) {
    arrays[b] = static_cast<float*>(
        std::calloc(static_cast<size_t>(std::max(vertex_count, 1)), sizeof(float)));
    if (arrays[b] == nullptr) {
      std::fprintf(stderr, "%s: out of memory for the weights\n", path);
      free_weight_arrays(arrays, bones);
      return 0;
    }
  }
  for (size_t index = 0; index < file.lines.size(); ++index) {
    std::string_view line = skip_blanks(file.lines[index]);
    size_t digits = (!line.empty() && line.front() == '-') ? 1 : 0;
    while (digits < line.size() && line[digits] >= '0' && line[digits] <= '9') ++digits;
    if (digits == 0 || digits >= line.size() || line[digits] != ':') continue;
    long vertex;
    if (!parse_int(line.substr(0, digits), vertex)) continue;
    std::string_view rest = line.substr(digits + 1);
    // The pairs start at the first digit after the colon.
    while (!rest.empty() && !(rest.front() >= '0' && rest.front() <= '9')) rest.remove_prefix(1);
    const bool vertex_in_range = vertex >= 0 && vertex < vertex_count;
    for (std::string_view word = next_word(rest); !word.empty(); word = next_word(rest)) {
      long deformer;
      float weight;
      if (!parse_int(word, deformer)) {
        std::fprintf(
            stderr, "%s:%zu: cannot read '%.*s' as a deformer number; rest of line skipped\n", path,
            index + 1, static_cast<int>(std::min<size_t>(word.size(), 64)), word.data());
        break;
      }
      const std::string_view weight_word = next_word(rest);
      if (weight_word.empty()) {
        std::fprintf(stderr, "%s:%zu: deformer %ld has no weight\n", path, index + 1, deformer);
        break;
      }
      if (!parse_weight(weight_word, weight)) {
        std::fprintf(stderr, "%s:%zu: cannot read '%.*s' as a weight; rest of line skipped\n", path,
                     index + 1, static_cast<int>(std::min<size_t>(weight_word.size(), 64)),
                     weight_word.data());
        break;
      }
      if (!vertex_in_range || deformer < 0 || static_cast<size_t>(deformer) >= table.size())
        continue;
      const int bone = table[static_cast<size_t>(deformer)];
      if (bone < 0 || bone >= bones) continue;
      arrays[bone][vertex] = weight;  // a deformer listed twice keeps its later weight
    }
  }

  if (attach_count <= 0) {
    *arrays_out = arrays;
    *array_count_out = bones;
    return 1;
  }
  // Re-order to the node's attach list: each attached segment takes the array of the first bone
  // whose segment it is. A segment attached twice gets the same weights again (a copy, so that
  // every array has one owner); a segment without a bone gets zeros.
  float** ordered =
      static_cast<float**>(std::calloc(static_cast<size_t>(attach_count), sizeof(float*)));
  if (ordered == nullptr) {
    free_weight_arrays(arrays, bones);
    return 0;
  }
  const size_t array_bytes = static_cast<size_t>(std::max(vertex_count, 1)) * sizeof(float);
  std::vector<int32_t> taken_by(static_cast<size_t>(bones), -1);
  for (int32_t a = 0; a < attach_count; ++a) {
    const Segment* segment = attach_segments != nullptr ? attach_segments[a] : nullptr;
    int position = 0;
    Bone* bone = type != nullptr && segment != nullptr ? type->bones : nullptr;
    for (; bone != nullptr && bone->segment != segment; bone = bone->next) ++position;
    if (bone != nullptr && taken_by[position] < 0) {
      ordered[a] = arrays[position];
      arrays[position] = nullptr;
      taken_by[position] = a;
    } else if (bone != nullptr) {
      ordered[a] = static_cast<float*>(std::malloc(array_bytes));
      if (ordered[a] != nullptr) std::memcpy(ordered[a], ordered[taken_by[position]], array_bytes);
    } else {
      ordered[a] = static_cast<float*>(std::calloc(1, array_bytes));
    }
    if (ordered[a] == nullptr) {
      free_weight_arrays(ordered, attach_count);
      free_weight_arrays(arrays, bones);
      return 0;
    }
  }
  free_weight_arrays(arrays, bones);
  *arrays_out = ordered;
  *array_count_out = attach_count;
  return 1;
}

int write_weights_file(const char* path, const char* const* deformer_names, int32_t deformer_count,
                       int32_t vertex_count, int32_t count, const int32_t* vertices,
                       const int32_t* deformers, const float* weights) {
  if (path == nullptr || deformer_count < 0 || vertex_count < 0 || count < 0 ||
      (count > 0 && (vertices == nullptr || deformers == nullptr || weights == nullptr)) ||
      (deformer_count > 0 && deformer_names == nullptr)) {
    std::fprintf(stderr, "%s: nothing to write as a weights file\n", path ? path : "(null)");
    return 0;
  }
  for (int32_t i = 0; i < count; ++i) {
    if (vertices[i] < 0 || vertices[i] >= vertex_count || deformers[i] < 0 ||
        deformers[i] >= deformer_count) {
      std::fprintf(stderr,
                   "%s: influence %d names vertex %d of %d and deformer %d of %d; nothing "
                   "written\n",
                   path, i, vertices[i], vertex_count, deformers[i], deformer_count);
      return 0;
    }
  }
  // Influences grouped by vertex, keeping their given order within a vertex.
  std::vector<int32_t> order(static_cast<size_t>(count));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return vertices[a] < vertices[b]; });

  // The text is built in memory and written whole through a temporary file, so that a full
  // disk never leaves half a weights file under the final name.
  hordera::FileSink sink;
  if (!sink.open(path, false)) {
    std::fprintf(stderr, "%s: cannot write the weights file: %s\n", path, std::strerror(errno));
    return 0;
  }
  char* text = nullptr;
  size_t text_size = 0;
  File file(open_memstream(&text, &text_size));
  std::unique_ptr<char, decltype(&std::free)> text_holder(nullptr, &std::free);
  if (!file) {
    sink.abandon();
    std::fprintf(stderr, "%s: error while writing the weights file\n", path);
    return 0;
  }
  std::FILE* out = file.get();
  std::fprintf(out, "# Hordera vertex weights file, written by version %s\n\n",
               HORDERA_ENGINE_VERSION);
  for (int32_t d = 0; d < deformer_count; ++d)
    std::fprintf(out, "deformer %d %s\n", d, deformer_names[d] ? deformer_names[d] : "");
  std::fputc('\n', out);
  size_t next = 0;
  for (int32_t v = 0; v < vertex_count; ++v) {
    std::fprintf(out, "%d: ", v);
    for (; next < order.size() && vertices[order[next]] == v; ++next) {
      const int32_t i = order[next];
      if (weights[i] != 0.0f) std::fprintf(out, " %d %g", deformers[i], double(weights[i]));
    }
    std::fputc('\n', out);
  }
  const bool formatted = std::ferror(out) == 0 && std::fflush(out) == 0;
  file.reset();  // gives the text its final size
  text_holder.reset(text);
  if (!formatted || text == nullptr) {
    sink.abandon();
  } else {
    sink.text().assign(text, text_size);
  }
  if (!formatted || text == nullptr || !sink.close()) {
    std::fprintf(stderr, "%s: error while writing the weights file\n", path);
    return 0;
  }
  return 1;
}

int write_agent_weights_file(const char* path, Agent* type, int32_t vertex_count, int32_t count,
                             const int32_t* vertices, const int32_t* deformers,
                             const float* weights) {
  std::vector<const char*> names;
  for (Bone* bone = type != nullptr ? type->bones : nullptr; bone != nullptr; bone = bone->next)
    names.push_back(bone_segment_name(bone));
  return write_weights_file(path, names.data(), static_cast<int32_t>(names.size()), vertex_count,
                            count, vertices, deformers, weights);
}

}  // extern "C"
