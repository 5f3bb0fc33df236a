// Line reading and small text helpers of the agent-file reader.
#include <cstdlib>
#include <cstring>

#include "cdl/cdl_context.h"

namespace hordera::cdl {

LineSource::~LineSource() {
  free(buffer_);
}

bool LineSource::next(std::string* line) {
  if (pushed_) {
    pushed_ = false;
    *line = pending_;
    ++line_number_;
    return true;
  }
  ssize_t length = getline(&buffer_, &capacity_, file_);
  if (length < 0) return false;
  ++line_number_;
  // Text after an embedded NUL byte is not part of the line, as for any C-string reader.
  line->assign(buffer_, strnlen(buffer_, static_cast<size_t>(length)));
  while (!line->empty() && (line->back() == '\n' || line->back() == '\r')) line->pop_back();
  return true;
}

void LineSource::push_back(const std::string& line) {
  pending_ = line;
  pushed_ = true;
  --line_number_;
}

std::string rest_after(std::string_view line, std::string_view keyword) {
  std::string_view rest = line.size() > keyword.size() ? line.substr(keyword.size()) : "";
  size_t start = rest.find_first_not_of(" \t");
  if (start == std::string_view::npos) return {};
  rest = rest.substr(start);
  size_t end = rest.find_last_not_of(" \t");
  return std::string(rest.substr(0, end + 1));
}

std::vector<std::string> value_words(std::string_view text, size_t limit) {
  std::vector<std::string> words;
  size_t pos = 0;
  while (words.size() < limit && pos < text.size()) {
    pos = text.find_first_not_of(" \t", pos);
    if (pos == std::string_view::npos) break;
    size_t end;
    if (text[pos] == '`') {
      end = text.find('`', pos + 1);
      end = end == std::string_view::npos ? text.size() : end + 1;
    } else {
      end = text.find_first_of(" \t", pos);
      if (end == std::string_view::npos) end = text.size();
    }
    words.emplace_back(text.substr(pos, end - pos));
    pos = end;
  }
  return words;
}

std::string expression_text(std::string_view word) {
  if (word.empty() || word[0] != '`') return std::string(word);
  word.remove_prefix(1);
  return std::string(word.substr(0, word.find('`')));
}

std::string directory_of(const std::string& path) {
  size_t slash = path.find_last_of("/\\");
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string base_name_of(const std::string& path) {
  size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  name.resize(name.size() > 4 ? name.size() - 4 : 0);
  return name;
}

char* copy_text(std::string_view text) {
  auto* copy = static_cast<char*>(malloc(text.size() + 1));
  if (!copy) return nullptr;
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

void set_text(char** field, std::string_view text) {
  free(*field);
  *field = copy_text(text);
}

void report(const Context& context, const char* message, std::string_view detail) {
  int line = context.lines ? context.lines->line_number() : 0;
  fprintf(stderr, "%s:%d: %s%.*s\n", context.path.c_str(), line, message,
          static_cast<int>(detail.size()), detail.data());
}

}  // namespace hordera::cdl
