// The host's RenderMan Interface: the Ri functions a procedural calls, exported by name from the
// host's executable, writing each call as RIB text to the current output.
#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// Where the Ri functions write, and the state a RIB stream keeps: the declared tokens and the
// nesting of attribute and motion blocks (for indentation).
class RibWriter {
 public:
  explicit RibWriter(std::ostream& out);

  // Writes one line at the current nesting, newline added.
  void line(std::string_view text);
  // Writes text as it stands.
  void verbatim(std::string_view text);
  // Opens and closes a nested block (the line is written before opening or after closing).
  void open(std::string_view text);
  void close(std::string_view text);

  // Declares a token: "[class] type[n]". False when the declaration cannot be read.
  bool declare(std::string_view name, std::string_view declaration);

  // A parameter's storage class, type and value count, from an inline declaration or the
  // declared tokens; false for a token neither declares.
  struct TokenType {
    std::string name;
    std::string storage;     // "constant", "uniform", "varying", "vertex" or "facevarying"
    std::string type;        // "float", "integer", "string", "point", "vector", "normal", "color",
                             // "hpoint" or "matrix"
    int array = 1;           // elements per value ([n]), 1 when not an array
    int components() const;  // floats (or strings, or integers) per element
  };
  bool token_type(std::string_view token, TokenType* type) const;

  std::ostream& out() { return out_; }
  int depth() const { return depth_; }

  // The extent of every "P" written since the last reset; empty (min above max) when none.
  struct Extent {
    float min[3];
    float max[3];
    bool empty() const { return min[0] > max[0]; }
  };
  const Extent& extent() const { return extent_; }
  void reset_extent();
  void extend(const float* points, size_t count);

 private:
  std::ostream& out_;
  int depth_ = 0;
  struct Declaration {
    std::string name;
    std::string declaration;
  };
  std::vector<Declaration> declared_;
  Extent extent_;
};

// Makes `writer` the output of the Ri functions (null: they write nothing). Returns the previous
// one. The Ri functions serialise on one mutex, so calls from several threads are whole lines.
RibWriter* set_rib_writer(RibWriter* writer);

// Formats a float as the shortest text that reads back as the same float.
std::string rib_number(float value);

}  // namespace host
