// The keywords of a brain node's block ("fuzzy" sections): names, ids, inputs, channels, fuzzy
// membership curves and the node's flag lines.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cdl/cdl_context.h"

namespace hordera::cdl {

namespace {

// Every integer after `keyword` on the line.
std::vector<int> integers_after(const std::string& line, std::string_view keyword) {
  std::vector<int> ids;
  std::istringstream words(std::string(line.substr(keyword.size())));
  std::string word;
  while (words >> word) {
    char* end = nullptr;
    long id = strtol(word.c_str(), &end, 10);
    if (end != word.c_str() && id >= -2147483647L && id <= 2147483647L)
      ids.push_back(static_cast<int>(id));
  }
  return ids;
}

void add_inputs(Context& context, BrainNode* node, const std::string& line,
                std::string_view keyword) {
  std::vector<int> ids = integers_after(line, keyword);
  if (ids.empty()) return;
  for (PendingInputs& pending : context.pending_inputs) {
    if (pending.node == node) {
      pending.ids.insert(pending.ids.end(), ids.begin(), ids.end());
      return;
    }
  }
  context.pending_inputs.push_back({node, context.current(), std::move(ids)});
}

// Stores `count` user curve points (x values then memberships in one allocation).
void set_user_curve(BrainNode* node, const std::vector<float>& xs, const std::vector<float>& ys) {
  size_t count = std::min<size_t>(xs.size(), 32767);
  free(node->user_x);
  node->user_x = node->user_y = nullptr;
  node->user_count = 0;
  if (count == 0) return;
  auto* block = static_cast<float*>(malloc(2 * count * sizeof(float)));
  if (!block) return;
  for (size_t i = 0; i < count; ++i) {
    block[i] = xs[i];
    block[count + i] = ys[i];
  }
  node->user_x = block;
  node->user_y = block + count;
  node->user_count = static_cast<int16_t>(count);
}

// "user inference": following lines of exactly two numbers, up to the first other line.
void read_user_curve_lines(Context& context, BrainNode* node) {
  std::vector<float> xs, ys;
  std::string raw;
  while (context.lines->next(&raw)) {
    float x = 0.0f, y = 0.0f;
    char extra = 0;
    if (sscanf(raw.c_str(), "%f %f %c", &x, &y, &extra) != 2) {
      context.lines->push_back(raw);
      break;
    }
    xs.push_back(x);
    ys.push_back(y);
  }
  set_user_curve(node, xs, ys);
}

// "user x y x y ...": the pairs on the line itself.
void read_user_curve_pairs(BrainNode* node, const std::string& line) {
  std::vector<float> xs, ys;
  const char* cursor = line.c_str() + 4;
  for (;;) {
    char* end = nullptr;
    float x = strtof(cursor, &end);
    if (end == cursor) break;
    cursor = end;
    float y = strtof(cursor, &end);
    if (end == cursor) break;
    cursor = end;
    xs.push_back(x);
    ys.push_back(y);
  }
  set_user_curve(node, xs, ys);
}

bool read_inference(Context& context, BrainNode* node, const std::string& line) {
  static const struct {
    const char* keyword;
    int inference;
    int values;
  } kKinds[] = {
      {"z inference", INFERENCE_Z, 2},
      {"lamda inference", INFERENCE_LAMBDA, 3},
      {"pi inference", INFERENCE_PI, 4},
      {"s inference", INFERENCE_S, 2},
      {"singleton inference", INFERENCE_SINGLETON, 1},
      {"user inference", INFERENCE_USER, 0},
  };
  for (const auto& kind : kKinds) {
    if (!starts(line, kind.keyword)) continue;
    brain_set_inference(node, kind.inference);
    if (kind.inference == INFERENCE_USER) {
      read_user_curve_lines(context, node);
      return true;
    }
    std::string_view rest = std::string_view(line).substr(strlen(kind.keyword));
    float* p = node->points;
    static const char* const kFormats[] = {"", " %f", " %f %f", " %f %f %f", " %f %f %f %f"};
    scan(context, rest, kFormats[kind.values], {&p[0], &p[1], &p[2], &p[3]});
    return true;
  }
  return false;
}

void read_limit(BrainNode* node, const std::string& line) {
  std::string_view rest = std::string_view(line).substr(5);
  if (contains(rest, "on")) node->limit = 1;
  for (const char* off : {"off", "0", "FALSE", "false", "False", "Off", "OFF"})
    if (contains(rest, off)) node->limit = 0;
}

}  // namespace

bool handle_brain(Context& context, const std::string& line) {
  BrainNode* node = *context.brain_node;
  if (!node) return false;
  auto flag = [&](uint32_t bit) { node->keyword_flags |= bit; };
  if (starts(line, "name ")) {
    set_text(&node->name, rest_after(line, "name"));
  } else if (starts(line, "id ")) {
    scan(context, line, "id %d", {&node->id});
  } else if (starts(line, "disabled")) {
    node->disabled = 1;
  } else if (starts(line, "translate ")) {
    int x = 0, y = 0;
    if (scan(context, std::string_view(line).substr(9), " %d %d", {&x, &y}) == 2) {
      node->position[0] = static_cast<int16_t>(x);
      node->position[1] = static_cast<int16_t>(y);
    }
  } else if (starts(line, "alt input")) {
    add_inputs(context, node, line, "alt input");
    flag(BRAIN_KEYWORD_ALT);
  } else if (starts(line, "inputs")) {
    add_inputs(context, node, line, "inputs");
  } else if (starts(line, "input")) {
    add_inputs(context, node, line, "input");
  } else if (starts(line, "io")) {
    flag(BRAIN_KEYWORD_IO);
  } else if (starts(line, "output")) {
    flag(BRAIN_KEYWORD_OUTPUT);
  } else if (starts(line, "parent")) {
    scan(context, line, "parent %d", {&node->parent_id});
  } else if (starts(line, "channel ")) {
    set_text(&node->channel, rest_after(line, "channel"));
  } else if (starts(line, "integrate")) {
    if (contains(line, "position"))
      node->integrate = 1;
    else if (contains(line, "velocity"))
      node->integrate = 2;
    else if (contains(line, "acceleration"))
      node->integrate = 3;
  } else if (starts(line, "range")) {
    scan(context, line, "range %f %f", {&node->range[0], &node->range[1]});
  } else if (starts(line, "vision")) {
    if (contains(line, "average_fuzz"))
      flag(BRAIN_KEYWORD_VISION_AVERAGE_FUZZ);
    else if (contains(line, "average"))
      flag(BRAIN_KEYWORD_VISION_AVERAGE);
  } else if (starts(line, "look_ahead")) {
    scan(context, line, "look_ahead %f", {&node->look_ahead});
  } else if (starts(line, "rate")) {
    if (scan(context, line, "rate %f", {&node->rate}) == 0) flag(BRAIN_KEYWORD_RATE);
  } else if (starts(line, "trigger")) {
    if (contains(line, "if_stopped")) flag(BRAIN_KEYWORD_IF_STOPPED);
  } else if (starts(line, "endless")) {
    flag(BRAIN_KEYWORD_ENDLESS);
  } else if (starts(line, "seed")) {
    scan(context, line, "seed %d", {&node->seed});
  } else if (starts(line, "linear interpolation")) {
    node->interpolation = 1;
  } else if (starts(line, "cosine interpolation")) {
    node->interpolation = 0;
  } else if (starts(line, "weight")) {
    scan(context, line, "weight %f", {&node->weight});
  } else if (starts(line, "and")) {
    if (contains(line, "prod")) flag(BRAIN_KEYWORD_PRODUCT);
  } else if (starts(line, "or")) {
    flag(BRAIN_KEYWORD_OR);
  } else if (starts(line, "bounded")) {
    scan(context, line, "bounded %d", {&node->bounded});
  } else if (starts(line, "else")) {
    flag(BRAIN_KEYWORD_ELSE);
  } else if (starts(line, "defuzz")) {
    flag(BRAIN_KEYWORD_DEFUZZ);
  } else if (starts(line, "manual")) {
    flag(BRAIN_KEYWORD_MANUAL);
    scan(context, line, "manual %f", {&node->value});
  } else if (starts(line, "alt")) {
    flag(BRAIN_KEYWORD_ALT);
  } else if (starts(line, "delay")) {
    scan(context, line, "delay %f", {&node->delay});
  } else if (starts(line, "latch")) {
    flag(BRAIN_KEYWORD_LATCH);
  } else if (starts(line, "filter")) {
    flag(BRAIN_KEYWORD_FILTER);
  } else if (starts(line, "BLEND")) {
    flag(BRAIN_KEYWORD_BLEND);
  } else if (starts(line, "child")) {
    scan(context, line, "child %d", {&node->child_id});
  } else if (read_inference(context, node, line)) {
  } else if (starts(line, "limit")) {
    read_limit(node, line);
  } else if (starts(line, "wrap")) {
    node->wrap = 1;
  } else if (starts(line, "FALSE") || starts(line, "false") || starts(line, "False")) {
    flag(BRAIN_KEYWORD_FALSE);
  } else if (starts(line, "user ")) {
    read_user_curve_pairs(node, line);
  } else {
    return false;
  }
  return true;
}

}  // namespace hordera::cdl
