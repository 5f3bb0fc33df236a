// Wavefront OBJ meshes for geometry nodes and blend shapes.
#include "agent/obj_reader.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Reads stop after this many reported faults: a file this broken is not an OBJ mesh, and a
// binary file must not flood the log.
constexpr int kMaxReportedFaults = 20;

struct Corner {
  int32_t point;    // resolved 0-based index, or the raw 1-based index while unresolved
  int32_t texture;  // -1 for none
  int32_t normal;   // -1 for none
};

struct Face {
  int32_t first;  // into corners
  int32_t count;
  int32_t line;
};

class ObjReader {
 public:
  explicit ObjReader(const char* path) : path_(path) {}

  Mesh* read() {
    std::string text;
    if (!read_file(text)) return nullptr;
    if (text.compare(0, 3, "\xef\xbb\xbf") == 0) text.erase(0, 3);  // a UTF-8 byte-order mark
    if (text.find('\0') != std::string::npos) {
      const size_t at = text.find('\0');
      const int line = 1 + static_cast<int>(std::count(text.begin(), text.begin() + at, '\n'));
      report(line, "binary data (a NUL byte); this is not an OBJ text file");
      return nullptr;
    }
    std::string_view rest(text);
    int line_number = 0;
    std::string joined;
    while (!rest.empty() && faults_ < kMaxReportedFaults && !fatal_) {
      // One logical line: physical lines ending in a backslash continue on the next.
      joined.clear();
      const int first_line = line_number + 1;
      for (;;) {
        const size_t end = rest.find('\n');
        std::string_view physical = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        ++line_number;
        if (!physical.empty() && physical.back() == '\r') physical.remove_suffix(1);
        if (!physical.empty() && physical.back() == '\\' && !rest.empty()) {
          physical.remove_suffix(1);
          joined.append(physical);
          joined.push_back(' ');
          continue;
        }
        joined.append(physical);
        break;
      }
      parse_line(joined, first_line);
    }
    if (faults_ >= kMaxReportedFaults) {
      report(line_number, "too many errors; giving up on this file");
      return nullptr;
    }
    if (fatal_) return nullptr;
    if (points_.empty()) {
      report(0, "no vertices (\"v\" lines) in the file");
      return nullptr;
    }
    return build();
  }

 private:
  void report(int line, const char* format, ...) {
    char message[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (line > 0)
      std::fprintf(stderr, "%s:%d: %s\n", path_, line, message);
    else
      std::fprintf(stderr, "%s: %s\n", path_, message);
    ++faults_;
  }

  bool read_file(std::string& text) {
    std::FILE* file = std::fopen(path_, "rb");
    if (file == nullptr) {
      std::fprintf(stderr, "%s: cannot open the mesh file: %s\n", path_, std::strerror(errno));
      return false;
    }
    char buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, got);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) std::fprintf(stderr, "%s: error while reading the mesh file\n", path_);
    return !failed;
  }

  static std::string_view next_word(std::string_view& text) {
    size_t start = 0;
    while (start < text.size() && (text[start] == ' ' || text[start] == '\t')) ++start;
    size_t end = start;
    while (end < text.size() && text[end] != ' ' && text[end] != '\t') ++end;
    std::string_view word = text.substr(start, end - start);
    text.remove_prefix(end);
    return word;
  }

  // A finite float, the whole word; false (and a report) otherwise.
  bool parse_float(std::string_view word, int line, float& value) {
    std::string_view digits = word;
    if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
    const char* end = digits.data() + digits.size();
    auto [stop, error] = std::from_chars(digits.data(), end, value);
    if (digits.empty() || error != std::errc() || stop != end || !std::isfinite(value)) {
      report(line, "cannot read '%.*s' as a number",
             static_cast<int>(std::min<size_t>(word.size(), 64)), word.data());
      return false;
    }
    return true;
  }

  // Reads up to `wanted` numbers (at least `required`) into `values`; extra words are an error.
  bool parse_numbers(std::string_view rest, int line, const char* what, int required, int wanted,
                     float* values) {
    int count = 0;
    for (std::string_view word = next_word(rest); !word.empty(); word = next_word(rest)) {
      if (count == wanted) {
        report(line, "too many values in a \"%s\" line (at most %d)", what, wanted);
        return false;
      }
      if (!parse_float(word, line, values[count])) return false;
      ++count;
    }
    if (count < required) {
      report(line, "a \"%s\" line needs %d values, found %d", what, required, count);
      return false;
    }
    return true;
  }

  // One index of a corner: positive from 1 (checked at the end, so forward references work),
  // negative relative to the elements read so far. `count` is the number read so far.
  bool parse_index(std::string_view word, int line, const char* what, size_t count,
                   int32_t& index) {
    int64_t value = 0;
    const char* end = word.data() + word.size();
    auto [stop, error] = std::from_chars(word.data(), end, value);
    if (word.empty() || error != std::errc() || stop != end) {
      report(line, "cannot read '%.*s' as a %s index",
             static_cast<int>(std::min<size_t>(word.size(), 64)), word.data(), what);
      return false;
    }
    if (value == 0) {
      report(line, "%s index 0 is not allowed (indices count from 1)", what);
      return false;
    }
    if (value < 0) {
      value += static_cast<int64_t>(count);
      if (value < 0) {
        report(line, "relative %s index %.*s reaches before the first %s", what,
               static_cast<int>(word.size()), word.data(), what);
        return false;
      }
    } else {
      value -= 1;
    }
    if (value > std::numeric_limits<int32_t>::max() - 1) {
      report(line, "%s index %.*s is out of range", what,
             static_cast<int>(std::min<size_t>(word.size(), 64)), word.data());
      return false;
    }
    index = static_cast<int32_t>(value);
    return true;
  }

  void parse_face(std::string_view rest, int line) {
    const size_t first = corners_.size();
    bool ok = true;
    for (std::string_view word = next_word(rest); ok && !word.empty(); word = next_word(rest)) {
      Corner corner{0, -1, -1};
      std::string_view fields[3];
      int field_count = 0;
      std::string_view remaining = word;
      while (field_count < 3) {
        const size_t slash = remaining.find('/');
        fields[field_count++] = remaining.substr(0, slash);
        if (slash == std::string_view::npos) break;
        remaining.remove_prefix(slash + 1);
        if (field_count == 3) {
          report(line, "corner '%.*s' has more than three fields",
                 static_cast<int>(std::min<size_t>(word.size(), 64)), word.data());
          ok = false;
        }
      }
      if (!ok) break;
      ok = parse_index(fields[0], line, "vertex", points_.size(), corner.point);
      if (ok && field_count > 1 && !fields[1].empty())
        ok = parse_index(fields[1], line, "texture coordinate", textures_.size(), corner.texture);
      if (ok && field_count > 2 && !fields[2].empty())
        ok = parse_index(fields[2], line, "normal", normals_.size(), corner.normal);
      if (ok) corners_.push_back(corner);
    }
    if (ok && corners_.size() == first) {
      report(line, "a face without corners");
      ok = false;
    }
    if (!ok) {
      corners_.resize(first);
      return;
    }
    if (corners_.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      report(line, "too many face corners for one mesh");
      fatal_ = true;
      return;
    }
    faces_.push_back(
        {static_cast<int32_t>(first), static_cast<int32_t>(corners_.size() - first), line});
  }

  void parse_line(std::string_view text, int line) {
    std::string_view rest = text;
    const std::string_view keyword = next_word(rest);
    if (keyword.empty() || keyword.front() == '#') return;
    float values[4] = {0, 0, 0, 1};
    if (keyword == "v") {
      // A fourth (weight) value is accepted and ignored; extra colour values are not OBJ.
      if (!parse_numbers(rest, line, "v", 3, 4, values)) {
        fatal_ = true;  // a lost vertex would shift every later index
        return;
      }
      points_.push_back({values[0], values[1], values[2]});
    } else if (keyword == "vn") {
      if (!parse_numbers(rest, line, "vn", 3, 3, values)) {
        fatal_ = true;
        return;
      }
      normals_.push_back({values[0], values[1], values[2]});
    } else if (keyword == "vt") {
      values[1] = values[2] = 0;
      if (!parse_numbers(rest, line, "vt", 1, 3, values)) {
        fatal_ = true;
        return;
      }
      textures_.push_back({values[0], values[1], values[2]});
    } else if (keyword == "f" || keyword == "fo") {
      parse_face(rest, line);
    }
    // Everything else (o, g, s, usemtl, mtllib, l, p, curves, ...) carries nothing the engine
    // keeps and is skipped.
  }

  // Checks every face's indices against the final counts and assembles the mesh.
  Mesh* build() {
    std::vector<Face> kept;
    kept.reserve(faces_.size());
    size_t corner_total = 0;
    bool any_texture = false, any_normal = false;
    for (const Face& face : faces_) {
      bool ok = true;
      for (int32_t i = 0; i < face.count && ok; ++i) {
        const Corner& c = corners_[face.first + i];
        if (static_cast<size_t>(c.point) >= points_.size()) {
          report(face.line, "vertex index %d is out of range (the file has %zu vertices)",
                 c.point + 1, points_.size());
          ok = false;
        } else if (c.texture >= 0 && static_cast<size_t>(c.texture) >= textures_.size()) {
          report(face.line, "texture coordinate index %d is out of range (the file has %zu)",
                 c.texture + 1, textures_.size());
          ok = false;
        } else if (c.normal >= 0 && static_cast<size_t>(c.normal) >= normals_.size()) {
          report(face.line, "normal index %d is out of range (the file has %zu normals)",
                 c.normal + 1, normals_.size());
          ok = false;
        }
        if (faults_ >= kMaxReportedFaults) {
          report(0, "too many errors; giving up on this file");
          return nullptr;
        }
      }
      if (!ok) continue;  // the face is left out; every other face is kept
      kept.push_back(face);
      corner_total += static_cast<size_t>(face.count);
      for (int32_t i = 0; i < face.count; ++i) {
        any_texture |= corners_[face.first + i].texture >= 0;
        any_normal |= corners_[face.first + i].normal >= 0;
      }
    }
    if (points_.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      report(0, "too many vertices for one mesh");
      return nullptr;
    }
    Mesh* mesh = mesh_new();
    const uint32_t flags =
        (any_normal ? MESH_HAS_NORMALS : 0u) | (any_texture ? MESH_HAS_TEXTURE : 0u);
    if (mesh == nullptr || !mesh_allocate(mesh, static_cast<int32_t>(points_.size()),
                                          static_cast<int32_t>(kept.size()),
                                          static_cast<int32_t>(corner_total), flags)) {
      std::fprintf(stderr, "%s: out of memory for the mesh\n", path_);
      mesh_free(mesh);
      return nullptr;
    }
    std::copy(points_.begin(), points_.end(), mesh->points);
    std::vector<double> normal_sum(any_normal ? points_.size() * 3 : 0, 0.0);
    std::vector<uint8_t> has_normal(any_normal ? points_.size() : 0, 0);
    int32_t corner = 0;
    for (size_t f = 0; f < kept.size(); ++f) {
      mesh->polygons[f].first_corner = corner;
      mesh->polygons[f].corner_count = kept[f].count;
      for (int32_t i = 0; i < kept[f].count; ++i, ++corner) {
        const Corner& c = corners_[kept[f].first + i];
        mesh->corners[corner] = c.point;
        if (any_texture && c.texture >= 0) mesh->texture[corner] = textures_[c.texture];
        if (any_normal && c.normal >= 0) {
          const Vector& n = normals_[c.normal];
          normal_sum[c.point * 3] += n.x;
          normal_sum[c.point * 3 + 1] += n.y;
          normal_sum[c.point * 3 + 2] += n.z;
          has_normal[c.point] = 1;
        }
      }
    }
    mesh_refresh(mesh, 0);
    if (any_normal) {
      // Points that no corner gave a normal take the area-weighted normal of their polygons.
      for (int32_t f = 0; f < mesh->polygon_count; ++f) {
        const MeshPolygon& polygon = mesh->polygons[f];
        for (int32_t i = 0; i < polygon.corner_count; ++i) {
          const int32_t p = mesh->corners[polygon.first_corner + i];
          if (has_normal[p]) continue;
          normal_sum[p * 3] += double(polygon.normal.x) * polygon.area;
          normal_sum[p * 3 + 1] += double(polygon.normal.y) * polygon.area;
          normal_sum[p * 3 + 2] += double(polygon.normal.z) * polygon.area;
        }
      }
      for (size_t p = 0; p < points_.size(); ++p) {
        const double x = normal_sum[p * 3], y = normal_sum[p * 3 + 1], z = normal_sum[p * 3 + 2];
        const double length = std::sqrt(x * x + y * y + z * z);
        if (length > 0)
          mesh->normals[p] = {float(x / length), float(y / length), float(z / length)};
      }
    }
    return mesh;
  }

  const char* path_;
  int faults_ = 0;
  bool fatal_ = false;
  std::vector<Vector> points_, normals_, textures_;
  std::vector<Corner> corners_;
  std::vector<Face> faces_;
};

bool has_obj_extension(const char* path) {
  const size_t length = std::strlen(path);
  if (length < 4) return false;
  const char* extension = path + length - 4;
  return extension[0] == '.' && std::tolower(static_cast<unsigned char>(extension[1])) == 'o' &&
         std::tolower(static_cast<unsigned char>(extension[2])) == 'b' &&
         std::tolower(static_cast<unsigned char>(extension[3])) == 'j';
}

}  // namespace

extern "C" Mesh* loadGeometry(const char* path) {
  if (path == nullptr || *path == '\0') {
    std::fputs("loadGeometry: no mesh file name\n", stderr);
    return nullptr;
  }
  if (!has_obj_extension(path)) {
    std::fprintf(stderr, "%s: unsupported mesh format (meshes are read from .obj files)\n", path);
    return nullptr;
  }
  try {
    return ObjReader(path).read();
  } catch (const std::exception&) {  // out of memory in the scratch arrays
    std::fprintf(stderr, "%s: out of memory while reading the mesh\n", path);
    return nullptr;
  }
}
