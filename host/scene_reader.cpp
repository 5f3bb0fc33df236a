// Reading exported scene files.
#include "host/scene_reader.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "host/scene_tokens.h"

namespace host {
namespace {

// Statements that run to the end of their line.
const std::set<std::string> line_statements = {"link",        "set",  "verbose", "version",
                                               "min",         "max",  "echo",    "delete",
                                               "incremental", "code", "root",    "namespace"};
// Statements that run to "end KEYWORD".
const std::set<std::string> block_statements = {"declare",    "camera",   "light",       "material",
                                                "instgroup",  "assembly", "object",      "texture",
                                                "phenomenon", "data",     "lightprofile"};

// One parameter value of a shader call, as written.
struct Value {
  int line = 0;  // line of the parameter's name
  std::vector<std::string> numbers;
  std::vector<std::string> strings;
  std::vector<std::string> words;
  bool connected = false;  // "= ..." or a nested structure
};

class Reader {
 public:
  Reader(std::string_view text, const std::string& path, Scene* scene)
      : tokens_(tokenize_scene(text)), path_(path), scene_(scene) {}

  void read() {
    while (!at_end()) {
      const Token& token = peek();
      if (token.kind == Token::Kind::word && token.text[0] == '$') {
        if (token.text.rfind("$include", 0) == 0)
          error(token.line, "$include is not read by this host; the included file is ignored");
        ++pos_;
      } else if (is_word("instance")) {
        read_instance();
      } else if (is_word("options")) {
        read_options();
      } else if (is_word("shader")) {
        read_named_shader();
      } else if (is_word("render")) {
        ++scene_->render_statements;
        skip_line();
      } else if (is_word("end") && pos_ + 1 < tokens_.size() &&
                 tokens_[pos_ + 1].text == "namespace") {
        pos_ += 2;
      } else if (token.kind == Token::Kind::word && line_statements.count(token.text)) {
        skip_line();
      } else if (token.kind == Token::Kind::word && block_statements.count(token.text)) {
        skip_block(token.text);
      } else {
        error(token.line,
              "unexpected " + describe(token) + " at the top level; the line is skipped");
        skip_line();
      }
    }
  }

 private:
  const Token& peek(size_t ahead = 0) const {
    return tokens_[std::min(pos_ + ahead, tokens_.size() - 1)];
  }
  bool at_end() const { return peek().kind == Token::Kind::end; }
  bool is_word(const char* word, size_t ahead = 0) const {
    return peek(ahead).kind == Token::Kind::word && peek(ahead).text == word;
  }
  bool is_symbol(const char* symbol) const {
    return peek().kind == Token::Kind::symbol && peek().text == symbol;
  }

  // Records a fault. A damaged or foreign file can hold a fault on every line, so only the
  // first `listed_faults` are kept, followed by one note that more were found.
  void error(int line, const std::string& what) {
    ++faults_;
    if (faults_ <= listed_faults)
      scene_->errors.push_back(path_ + ":" + std::to_string(line) + ": " + what);
    else if (faults_ == listed_faults + 1)
      scene_->errors.push_back(path_ + ":" + std::to_string(line) +
                               ": further faults are not listed (the first " +
                               std::to_string(listed_faults) + " are)");
  }

  // Text of the file quoted in a fault, cut so that a line of megabytes does not make one.
  static std::string excerpt(const std::string& text) {
    constexpr size_t shown = 60;
    return text.size() <= shown ? text : text.substr(0, shown) + "...";
  }

  static std::string describe(const Token& token) {
    switch (token.kind) {
      case Token::Kind::string:
        return "string \"" + excerpt(token.text) + "\"";
      case Token::Kind::number:
        return "number " + excerpt(token.text);
      case Token::Kind::word:
        return "\"" + excerpt(token.text) + "\"";
      case Token::Kind::symbol:
        return "'" + token.text + "'";
      case Token::Kind::end:
        return "end of file";
    }
    return "token";
  }

  void skip_line() {
    const int line = peek().line;
    ++pos_;
    while (!at_end() && peek().line == line) ++pos_;
  }

  // Position of the "end KEYWORD" that closes the block starting at pos_, or npos. A block is
  // not closed when another statement of the same keyword starts first.
  size_t find_block_end(const std::string& keyword) const {
    for (size_t at = pos_ + 1; at + 1 < tokens_.size(); ++at) {
      const Token& token = tokens_[at];
      if (token.kind != Token::Kind::word) continue;
      if (token.text == "end" && tokens_[at + 1].kind == Token::Kind::word &&
          tokens_[at + 1].text == keyword)
        return at;
      if (token.text == keyword && tokens_[at - 1].text != "end") return std::string::npos;
    }
    return std::string::npos;
  }

  // Skips to the first token after the block's "end KEYWORD", or to the next statement of the
  // same keyword (or the end of file) when the block is not closed.
  void skip_block(const std::string& keyword) {
    const int line = peek().line;
    const size_t end = find_block_end(keyword);
    if (end == std::string::npos) {
      error(line, keyword + " block is not closed by \"end " + keyword + "\"");
      ++pos_;
      while (!at_end() && !is_word(keyword.c_str())) ++pos_;
      return;
    }
    pos_ = end + 2;
  }

  // A parameter list "( "name" value, ... )" ending before `limit`; false on a fault, which is
  // reported.
  bool read_parameters(size_t limit, std::vector<std::pair<std::string, Value>>* parameters) {
    if (!is_symbol("(")) {
      error(peek().line, "expected '(' to open the parameter list, found " + describe(peek()));
      return false;
    }
    ++pos_;
    while (pos_ < limit) {
      if (is_symbol(")")) {
        ++pos_;
        return true;
      }
      const Token& name = peek();
      if (name.kind != Token::Kind::string) {
        error(name.line, "expected a quoted parameter name, found " + describe(name));
        return false;
      }
      if (!name.closed) {
        error(name.line, "string \"" + excerpt(name.text) + "\" is not closed on its line");
        return false;
      }
      ++pos_;
      Value value;
      value.line = name.line;
      int depth = 0;
      while (pos_ < limit) {
        const Token& token = peek();
        if (depth == 0 && token.kind == Token::Kind::symbol &&
            (token.text == "," || token.text == ")"))
          break;
        if (token.kind == Token::Kind::symbol) {
          if (token.text == "[" || token.text == "{")
            ++depth, value.connected = true;
          else if (token.text == "]" || token.text == "}")
            --depth;
          else if (token.text == "=")
            value.connected = true;
          else {
            error(token.line, "unexpected " + describe(token) + " in the value of \"" +
                                  excerpt(name.text) + "\"");
            return false;
          }
        } else if (token.kind == Token::Kind::number) {
          value.numbers.push_back(token.text);
        } else if (token.kind == Token::Kind::string) {
          if (!token.closed) {
            error(token.line, "string \"" + excerpt(token.text) + "\" is not closed on its line");
            return false;
          }
          value.strings.push_back(token.text);
        } else {
          value.words.push_back(token.text);
        }
        ++pos_;
      }
      if (pos_ >= limit) break;
      parameters->emplace_back(name.text, std::move(value));
      if (is_symbol(",")) ++pos_;
    }
    error(peek().line, "parameter list is not closed by ')'");
    return false;
  }

  static bool read_int(const std::string& text, int* value) {
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), *value);
    return fault == std::errc() && end == text.data() + text.size();
  }
  static bool read_float(const std::string& text, float* value) {
    char* end = nullptr;
    *value = std::strtof(text.c_str(), &end);
    return end == text.c_str() + text.size();
  }

  // Fills `instance` from the crowd shader's parameters; false on a fault, which is reported.
  bool apply_crowd_parameters(const std::vector<std::pair<std::string, Value>>& parameters,
                              SceneInstance* instance) {
    for (const auto& [name, value] : parameters) {
      const int line = value.line;
      const bool plain = !value.connected && value.words.empty();
      if (name == "id") {
        if (!plain || !value.strings.empty() || value.numbers.size() != 1 ||
            !read_int(value.numbers[0], &instance->id)) {
          error(line, "parameter \"id\" needs one integer");
          return false;
        }
      } else if (name == "paramStr") {
        if (!plain || !value.numbers.empty() || value.strings.size() != 1) {
          error(line, "parameter \"paramStr\" needs one quoted string");
          return false;
        }
        instance->param_str = value.strings[0];
        instance->has_param_str = true;
      } else if (name == "bbox_min" || name == "bbox_max") {
        miVector& box = name == "bbox_min" ? instance->bbox_min : instance->bbox_max;
        if (!plain || !value.strings.empty() || value.numbers.size() != 3 ||
            !read_float(value.numbers[0], &box.x) || !read_float(value.numbers[1], &box.y) ||
            !read_float(value.numbers[2], &box.z)) {
          error(line, "parameter \"" + name + "\" needs three numbers");
          return false;
        }
      } else {
        error(line, "hordera_mray has no parameter \"" + excerpt(name) + "\"");
        return false;
      }
    }
    return true;
  }

  void read_instance() {
    const int line = peek().line;
    const size_t end = find_block_end("instance");
    ++pos_;
    SceneInstance instance;
    instance.line = line;
    if (peek().kind == Token::Kind::string || peek().kind == Token::Kind::word) {
      instance.name = peek().text;
      ++pos_;
    } else {
      error(line, "instance has no name");
    }
    if (end == std::string::npos) {
      error(line, "instance \"" + excerpt(instance.name) + "\" is not closed by \"end instance\"");
      while (!at_end() && !is_word("instance")) ++pos_;
      return;
    }
    const bool ok = read_instance_body(end, &instance);
    pos_ = end + 2;
    if (ok) scene_->instances.push_back(std::move(instance));
  }

  // Reads an instance up to its "end instance" at `end`; false when it is not a crowd instance
  // or cannot be read.
  bool read_instance_body(size_t end, SceneInstance* instance) {
    while (pos_ < end && !is_word("geometry")) ++pos_;
    if (pos_ >= end) {
      ++scene_->other_instances;
      return false;
    }
    ++pos_;
    const int line = peek().line;
    std::vector<std::pair<std::string, Value>> parameters;
    if (is_symbol("=")) {
      ++pos_;
      const auto named = named_shaders_.find(peek().text);
      if (peek().kind != Token::Kind::string || named == named_shaders_.end()) {
        if (peek().kind == Token::Kind::string && other_shaders_.count(peek().text)) {
          ++scene_->other_instances;
          return false;
        }
        error(line,
              "geometry refers to " + describe(peek()) + ", which is not a shader defined before");
        return false;
      }
      parameters = named->second;
    } else if (peek().kind == Token::Kind::string) {
      const std::string declaration = peek().text;
      ++pos_;
      if (declaration != "hordera_mray") {
        ++scene_->other_instances;
        return false;
      }
      if (!read_parameters(end, &parameters)) return false;
    } else {
      error(line, "expected a shader after \"geometry\", found " + describe(peek()));
      return false;
    }
    return apply_crowd_parameters(parameters, instance);
  }

  void read_named_shader() {
    const int line = peek().line;
    ++pos_;
    if (peek().kind != Token::Kind::string || peek(1).kind != Token::Kind::string) {
      error(line, "expected a shader name and a declaration name after \"shader\"");
      skip_line();
      return;
    }
    const std::string name = peek().text;
    const std::string declaration = peek(1).text;
    pos_ += 2;
    std::vector<std::pair<std::string, Value>> parameters;
    if (!read_parameters(tokens_.size() - 1, &parameters)) {
      skip_line();
      return;
    }
    if (declaration == "hordera_mray")
      named_shaders_[name] = std::move(parameters);
    else
      other_shaders_.insert(name);
  }

  void read_options() {
    const int line = peek().line;
    const size_t end = find_block_end("options");
    scene_->has_options = true;
    if (end == std::string::npos) {
      skip_block("options");
      return;
    }
    ++pos_;
    if (peek().kind == Token::Kind::string && peek().line == line) ++pos_;  // the block's name
    while (pos_ < end) {
      const Token& key = peek();
      if (key.kind != Token::Kind::string) {
        skip_line();  // a built-in option
        continue;
      }
      ++pos_;
      std::vector<Token> value;
      while (pos_ < end && peek().line == key.line) value.push_back(peek()), ++pos_;
      read_option(key, value);
    }
    pos_ = end + 2;
  }

  void read_option(const Token& key, const std::vector<Token>& value) {
    OptionValue option;
    bool numbers = !value.empty();
    for (const Token& token : value) numbers = numbers && token.kind == Token::Kind::number;
    if (value.size() == 1 && value[0].kind == Token::Kind::string && value[0].closed) {
      option.kind = OptionValue::Kind::string;
      option.text = value[0].text;
    } else if (value.size() == 1 && value[0].kind == Token::Kind::word &&
               (value[0].text == "on" || value[0].text == "off" || value[0].text == "true" ||
                value[0].text == "false")) {
      option.kind = OptionValue::Kind::boolean;
      option.boolean = value[0].text == "on" || value[0].text == "true";
    } else if (numbers && value.size() == 1 && read_int(value[0].text, &option.integer)) {
      option.kind = OptionValue::Kind::integer;
    } else if (numbers && (value.size() == 1 || value.size() == 3 || value.size() == 4)) {
      option.kind = value.size() == 1   ? OptionValue::Kind::scalar
                    : value.size() == 3 ? OptionValue::Kind::vector
                                        : OptionValue::Kind::color;
      for (size_t i = 0; i < value.size(); ++i)
        if (!read_float(value[i].text, &option.scalars[i])) numbers = false;
      if (!numbers) {
        error(key.line, "option \"" + excerpt(key.text) + "\" has a value that is not a number");
        return;
      }
    } else {
      error(key.line, "option \"" + excerpt(key.text) +
                          "\" needs on/off, a number, a quoted string, 3 or 4 numbers");
      return;
    }
    scene_->options[key.text] = option;
  }

  static constexpr int listed_faults = 100;

  std::vector<Token> tokens_;
  size_t pos_ = 0;
  int faults_ = 0;
  std::string path_;
  Scene* scene_;
  std::map<std::string, std::vector<std::pair<std::string, Value>>> named_shaders_;
  std::set<std::string> other_shaders_;
};

}  // namespace

void read_scene_text(std::string_view text, const std::string& path, Scene* scene) {
  scene->path = path;
  Reader(text, path, scene).read();
}

bool read_scene_file(const std::string& path, Scene* scene) {
  std::ifstream in(path, std::ios::binary);
  // A directory opens as a stream here but reads as nothing.
  std::error_code ignored;
  if (!in || std::filesystem::is_directory(path, ignored)) {
    scene->path = path;
    scene->errors.push_back(path + ": cannot open the scene file");
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) {
    scene->path = path;
    scene->errors.push_back(path + ": cannot read the scene file");
    return false;
  }
  read_scene_text(text.str(), path, scene);
  return true;
}

}  // namespace host
