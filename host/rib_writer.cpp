// The Ri functions of the host, writing RIB text.
#include "host/rib_writer.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>

#include "base/text_words.h"
#include "mray/ri_interface.h"

namespace host {
namespace {

std::mutex writer_mutex;
RibWriter* current_writer = nullptr;

// The tokens every RenderMan renderer knows without a declaration.
constexpr const char* standard_declarations[][2] = {
    {"P", "vertex point"},
    {"Pw", "vertex hpoint"},
    {"N", "varying normal"},
    {"Cs", "varying color"},
    {"Os", "varying color"},
    {"s", "varying float"},
    {"t", "varying float"},
    {"st", "varying float[2]"},
    {"Ka", "uniform float"},
    {"Kd", "uniform float"},
    {"Ks", "uniform float"},
    {"Kr", "uniform float"},
    {"roughness", "uniform float"},
    {"specularcolor", "uniform color"},
    {"texturename", "uniform string"},
    {"name", "uniform string"},
    {"sphere", "uniform float"},
    {"coordinatesystem", "uniform string"},
};

std::string_view trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
    text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
    text.remove_suffix(1);
  return text;
}

// Reads "[class] type[n]" (the name not included) into `type`.
bool read_declaration(std::string_view declaration, RibWriter::TokenType* type) {
  static const char* const storages[] = {"constant", "uniform", "varying", "vertex", "facevarying"};
  static const char* const types[] = {"float",  "integer", "string", "point", "vector",
                                      "normal", "color",   "hpoint", "matrix"};
  std::vector<std::string_view> words = hordera::split_words(declaration);
  type->storage = "uniform";
  if (!words.empty() &&
      std::find(std::begin(storages), std::end(storages), words[0]) != std::end(storages)) {
    type->storage = std::string(words[0]);
    words.erase(words.begin());
  }
  if (words.size() != 1) return false;
  std::string_view word = words[0];
  type->array = 1;
  const size_t bracket = word.find('[');
  if (bracket != std::string_view::npos) {
    const size_t close = word.find(']', bracket);
    if (close == std::string_view::npos) return false;
    int count = 0;
    const auto digits = word.substr(bracket + 1, close - bracket - 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (error != std::errc() || end != digits.data() + digits.size() || count < 1 ||
        count > 1 << 16)
      return false;
    type->array = count;
    word = word.substr(0, bracket);
  }
  if (std::find(std::begin(types), std::end(types), word) == std::end(types)) return false;
  type->type = std::string(word);
  return true;
}

void append_string(std::string* out, const char* text) {
  out->push_back('"');
  for (const char* c = text != nullptr ? text : ""; *c; ++c) {
    if (*c == '"' || *c == '\\') out->push_back('\\');
    if (*c == '\n') {
      out->append("\\n");
      continue;
    }
    out->push_back(*c);
  }
  out->push_back('"');
}

template <class T>
void append_list(std::string* out, const T* values, size_t count) {
  out->push_back('[');
  for (size_t i = 0; i < count; ++i) {
    if (i != 0) out->push_back(' ');
    if constexpr (std::is_same_v<T, float>)
      out->append(rib_number(values[i]));
    else
      out->append(std::to_string(values[i]));
  }
  out->push_back(']');
}

// How many values each storage class has on the primitive being written.
struct ClassSizes {
  size_t uniform = 1;
  size_t varying = 1;
  size_t facevarying = 1;
};

void report_undeclared(const char* token) {
  std::fprintf(stderr, "hordera: RIB: parameter \"%s\" is not declared; it is left out.\n",
               token != nullptr ? token : "");
}

void append_parameters(std::string* out, RibWriter& writer, RtInt n, RtToken tokens[],
                       RtPointer parms[], const ClassSizes& sizes) {
  if (n <= 0 || tokens == nullptr || parms == nullptr) return;
  for (RtInt i = 0; i < n; ++i) {
    RibWriter::TokenType type;
    if (tokens[i] == nullptr || parms[i] == nullptr || !writer.token_type(tokens[i], &type)) {
      report_undeclared(tokens[i]);
      continue;
    }
    size_t elements = 1;
    if (type.storage == "uniform") elements = sizes.uniform;
    if (type.storage == "varying" || type.storage == "vertex") elements = sizes.varying;
    if (type.storage == "facevarying") elements = sizes.facevarying;
    const size_t count = elements * static_cast<size_t>(type.array * type.components());
    out->push_back(' ');
    append_string(out, tokens[i]);
    out->push_back(' ');
    if (type.type == "string") {
      const auto* strings = static_cast<const char* const*>(parms[i]);
      out->push_back('[');
      for (size_t k = 0; k < count; ++k) {
        if (k != 0) out->push_back(' ');
        append_string(out, strings[k]);
      }
      out->push_back(']');
    } else if (type.type == "integer") {
      append_list(out, static_cast<const RtInt*>(parms[i]), count);
    } else {
      append_list(out, static_cast<const RtFloat*>(parms[i]), count);
      if (type.name == "P" && type.type == "point")
        writer.extend(static_cast<const RtFloat*>(parms[i]), count / 3);
    }
  }
}

// Runs `write` with the current writer under the lock; nothing without a writer.
template <class F>
void with_writer(F write) {
  std::lock_guard<std::mutex> hold(writer_mutex);
  if (current_writer != nullptr) write(*current_writer);
}

void shader_call(const char* keyword, RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]) {
  with_writer([&](RibWriter& writer) {
    std::string text = keyword;
    text.push_back(' ');
    append_string(&text, name);
    append_parameters(&text, writer, n, tokens, parms, ClassSizes{});
    writer.line(text);
  });
}

// Point count of a polygon list: one more than the largest index; false for a negative index or
// corner count, or a list without corners.
bool polygon_sizes(RtInt faces, const RtInt* counts, const RtInt* indices, size_t* points,
                   size_t* corners) {
  if (faces <= 0 || counts == nullptr || indices == nullptr) return false;
  size_t total = 0;
  for (RtInt f = 0; f < faces; ++f) {
    if (counts[f] < 0) return false;
    total += static_cast<size_t>(counts[f]);
  }
  RtInt largest = -1;
  for (size_t c = 0; c < total; ++c) {
    if (indices[c] < 0) return false;
    largest = std::max(largest, indices[c]);
  }
  if (largest < 0) return false;
  *points = static_cast<size_t>(largest) + 1;
  *corners = total;
  return true;
}

}  // namespace

int RibWriter::TokenType::components() const {
  if (type == "point" || type == "vector" || type == "normal" || type == "color") return 3;
  if (type == "hpoint") return 4;
  if (type == "matrix") return 16;
  return 1;
}

RibWriter::RibWriter(std::ostream& out) : out_(out) {
  reset_extent();
}

void RibWriter::reset_extent() {
  for (int i = 0; i < 3; ++i) {
    extent_.min[i] = std::numeric_limits<float>::infinity();
    extent_.max[i] = -std::numeric_limits<float>::infinity();
  }
}

void RibWriter::extend(const float* points, size_t count) {
  for (size_t p = 0; p < count; ++p)
    for (int i = 0; i < 3; ++i) {
      extent_.min[i] = std::min(extent_.min[i], points[3 * p + i]);
      extent_.max[i] = std::max(extent_.max[i], points[3 * p + i]);
    }
}

void RibWriter::line(std::string_view text) {
  out_ << std::string(static_cast<size_t>(depth_) * 2, ' ') << text << '\n';
}

void RibWriter::verbatim(std::string_view text) {
  out_ << text;
}

void RibWriter::open(std::string_view text) {
  line(text);
  ++depth_;
}

void RibWriter::close(std::string_view text) {
  if (depth_ > 0) --depth_;
  line(text);
}

bool RibWriter::declare(std::string_view name, std::string_view declaration) {
  TokenType type;
  if (trim(name).empty() || !read_declaration(declaration, &type)) return false;
  declared_.push_back({std::string(trim(name)), std::string(declaration)});
  return true;
}

bool RibWriter::token_type(std::string_view token, TokenType* type) const {
  const std::vector<std::string_view> words = hordera::split_words(token);
  if (words.empty()) return false;
  const std::string_view name = words.back();
  if (words.size() > 1) {
    // An inline declaration: everything before the name.
    const size_t end = token.rfind(name);
    if (!read_declaration(token.substr(0, end), type)) return false;
    type->name = std::string(name);
    return true;
  }
  for (auto it = declared_.rbegin(); it != declared_.rend(); ++it)
    if (it->name == name) {
      type->name = it->name;
      return read_declaration(it->declaration, type);
    }
  for (const auto& standard : standard_declarations)
    if (name == standard[0]) {
      type->name = standard[0];
      return read_declaration(standard[1], type);
    }
  return false;
}

RibWriter* set_rib_writer(RibWriter* writer) {
  std::lock_guard<std::mutex> hold(writer_mutex);
  RibWriter* previous = current_writer;
  current_writer = writer;
  return previous;
}

std::string rib_number(float value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace host

using host::RibWriter;

extern "C" {

RtVoid RiAttributeBegin(void) {
  host::with_writer([](RibWriter& writer) { writer.open("AttributeBegin"); });
}

RtVoid RiAttributeEnd(void) {
  host::with_writer([](RibWriter& writer) { writer.close("AttributeEnd"); });
}

RtToken RiDeclare(char* name, char* declaration) {
  host::with_writer([&](RibWriter& writer) {
    if (name == nullptr || declaration == nullptr || !writer.declare(name, declaration)) {
      std::fprintf(stderr, "hordera: RIB: cannot declare \"%s\" as \"%s\".\n", name ? name : "",
                   declaration ? declaration : "");
      return;
    }
    std::string text = "Declare ";
    host::append_string(&text, name);
    text.push_back(' ');
    host::append_string(&text, declaration);
    writer.line(text);
  });
  return name;
}

RtVoid RiAttributeV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]) {
  host::shader_call("Attribute", name, n, tokens, parms);
}

RtVoid RiColor(RtColor color) {
  if (color == nullptr) return;
  host::with_writer([&](RibWriter& writer) {
    std::string text = "Color ";
    host::append_list(&text, color, 3);
    writer.line(text);
  });
}

RtVoid RiOpacity(RtColor color) {
  if (color == nullptr) return;
  host::with_writer([&](RibWriter& writer) {
    std::string text = "Opacity ";
    host::append_list(&text, color, 3);
    writer.line(text);
  });
}

RtVoid RiMatte(RtBoolean onoff) {
  host::with_writer([&](RibWriter& writer) { writer.line(onoff ? "Matte 1" : "Matte 0"); });
}

RtVoid RiSurfaceV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]) {
  host::shader_call("Surface", name, n, tokens, parms);
}

RtVoid RiDisplacementV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]) {
  host::shader_call("Displacement", name, n, tokens, parms);
}

RtVoid RiMotionBeginV(RtInt n, RtFloat times[]) {
  host::with_writer([&](RibWriter& writer) {
    std::string text = "MotionBegin ";
    host::append_list(&text, times, times != nullptr && n > 0 ? static_cast<size_t>(n) : 0);
    writer.open(text);
  });
}

RtVoid RiMotionEnd(void) {
  host::with_writer([](RibWriter& writer) { writer.close("MotionEnd"); });
}

RtVoid RiPointsPolygonsV(RtInt npolys, RtInt nverts[], RtInt verts[], RtInt n, RtToken tokens[],
                         RtPointer parms[]) {
  size_t points = 0;
  size_t corners = 0;
  if (!host::polygon_sizes(npolys, nverts, verts, &points, &corners)) {
    std::fputs("hordera: RIB: PointsPolygons without valid polygons is left out.\n", stderr);
    return;
  }
  host::with_writer([&](RibWriter& writer) {
    std::string text = "PointsPolygons ";
    host::append_list(&text, nverts, static_cast<size_t>(npolys));
    text.push_back(' ');
    host::append_list(&text, verts, corners);
    host::append_parameters(&text, writer, n, tokens, parms,
                            {static_cast<size_t>(npolys), points, corners});
    writer.line(text);
  });
}

RtVoid RiSubdivisionMeshV(RtToken scheme, RtInt nfaces, RtInt nvertices[], RtInt vertices[],
                          RtInt ntags, RtToken tags[], RtInt nargs[], RtInt intargs[],
                          RtFloat floatargs[], RtInt n, RtToken tokens[], RtPointer parms[]) {
  size_t points = 0;
  size_t corners = 0;
  if (!host::polygon_sizes(nfaces, nvertices, vertices, &points, &corners)) {
    std::fputs("hordera: RIB: SubdivisionMesh without valid faces is left out.\n", stderr);
    return;
  }
  host::with_writer([&](RibWriter& writer) {
    std::string text = "SubdivisionMesh ";
    host::append_string(&text, scheme != nullptr ? scheme : const_cast<char*>("catmull-clark"));
    text.push_back(' ');
    host::append_list(&text, nvertices, static_cast<size_t>(nfaces));
    text.push_back(' ');
    host::append_list(&text, vertices, corners);
    const size_t tag_count = ntags > 0 && tags != nullptr && nargs != nullptr ? ntags : 0;
    size_t integers = 0;
    size_t floats = 0;
    text.append(" [");
    for (size_t i = 0; i < tag_count; ++i) {
      if (i != 0) text.push_back(' ');
      host::append_string(&text, tags[i]);
      integers += static_cast<size_t>(std::max(0, nargs[2 * i]));
      floats += static_cast<size_t>(std::max(0, nargs[2 * i + 1]));
    }
    text.append("] ");
    host::append_list(&text, nargs, tag_count * 2);
    text.push_back(' ');
    host::append_list(&text, intargs, intargs != nullptr ? integers : 0);
    text.push_back(' ');
    host::append_list(&text, floatargs, floatargs != nullptr ? floats : 0);
    host::append_parameters(&text, writer, n, tokens, parms,
                            {static_cast<size_t>(nfaces), points, corners});
    writer.line(text);
  });
}

RtVoid RiReadArchive(RtToken name, RtVoid (*callback)(RtToken, char*, ...), ...) {
  (void)callback;
  host::with_writer([&](RibWriter& writer) {
    std::string text = "ReadArchive ";
    host::append_string(&text, name);
    writer.line(text);
  });
}

RtVoid RiArchiveRecord(RtToken type, char* format, ...) {
  if (format == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  const std::string_view kind = type != nullptr ? type : "";
  host::with_writer([&](RibWriter& writer) {
    if (kind == "verbatim")
      writer.verbatim(text);
    else if (kind == "structure")
      writer.verbatim("##" + text + "\n");
    else
      writer.verbatim("#" + text + "\n");
  });
}

}  // extern "C"
