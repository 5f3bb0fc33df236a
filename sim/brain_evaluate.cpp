// Per-frame evaluation of a brain: the evaluation order of the node graph, the value of each node
// kind, the temporal behaviour of timers, noise and outputs, and the writes through the outputs'
// bound targets. The rules are described with a worked example in docs/brains.md.
#include "sim/brain_evaluate.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <queue>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/agent.h"
#include "sim/brain.h"
#include "sim/brain_sensing.h"
#include "sim/channels.h"
#include "sim/simulation.h"

namespace {

// Bits of BrainNode::keyword_flags that change how a node evaluates; the agent-file reader sets
// them from the node's flag lines ("output", "and prod", "or", "else", "latch", "filter",
// "manual", "FALSE", "defuzz").
constexpr uint32_t kFlagPort = 1u << 1;     // "output": the macro's value comes from this node
constexpr uint32_t kFlagProduct = 1u << 4;  // "and prod"
constexpr uint32_t kFlagOr = 1u << 5;       // "or"
constexpr uint32_t kFlagElse = 1u << 6;     // "else"
constexpr uint32_t kFlagLatch = 1u << 7;    // "latch"
constexpr uint32_t kFlagFilter = 1u << 8;   // "filter"
constexpr uint32_t kFlagManual = 1u << 11;  // "manual V"
constexpr uint32_t kFlagFalse = 1u << 12;   // "FALSE": the rule is negated
constexpr uint32_t kFlagDefuzz = 1u << 15;  // "defuzz" on an output: plain centroid

// A singleton membership is 1 within this distance of its point (normalised input units).
constexpr double kSingletonWidth = 0.001;
// Longest output delay, in frames.
constexpr int kMaxDelayFrames = 10000;
// Share of the change an output filter lets through each frame.
constexpr double kFilterShare = 0.5;

struct NodeState {
  double value = 0;  // this frame's value (the previous frame's until evaluated)
  double crisp = 1;  // defuzz nodes: the value they stand for
  // Timers.
  int64_t elapsed = 0;  // frames counted
  double last_trigger = 0;
  // Outputs.
  bool has_output = false;  // a value was produced before
  double output = 0;        // last value after filter and rate, before delay
  double velocity = 0;      // integrated acceleration
  std::deque<double> delayed;
};

struct AgentState {
  std::unordered_map<const BrainNode*, NodeState> nodes;
};

std::unordered_map<const Agent*, AgentState> agent_states;
std::set<std::pair<const void*, std::string>> reported;

const char* text_of(const char* text) {
  return text != nullptr ? text : "";
}

// Reports one problem of a node once (per node and problem) on standard error.
void report(const Agent* type, const BrainNode* node, const std::string& problem) {
  if (!reported.insert({node, problem}).second) return;
  std::fprintf(stderr, "brain of %s: node %s (id %d): %s\n", text_of(type ? type->name : nullptr),
               text_of(node->name), node->id, problem.c_str());
}

bool is_macro(const BrainNode* node) {
  return node->kind == BRAIN_MACRO || node->kind == BRAIN_MACRO2;
}

double frame_seconds() {
  return inc_per_sec > 0 ? 1.0 / inc_per_sec : 1.0 / 24.0;
}

// A double brought into the float range: NaN stays NaN, beyond the range clamps to it.
double to_float_range(double value) {
  if (value > FLT_MAX) return FLT_MAX;
  if (value < -FLT_MAX) return -FLT_MAX;
  return value;
}

// Four integers mixed (splitmix64 steps) into a value in [0, 1].
double hash_unit(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  uint64_t h = 0x9E3779B97F4A7C15ull;
  for (uint32_t word : {a, b, c, d}) {
    h ^= word;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 31;
    h *= 0x94D049BB133111EBull;
    h ^= h >> 29;
  }
  return static_cast<double>(h >> 11) / static_cast<double>((1ull << 53) - 1);
}

// One brain seen from one agent: nodes in list order with their positions, the evaluation
// order, and the state of the agent's evaluation.
class Evaluation {
 public:
  Evaluation(Agent* agent, Agent* type, AgentState& state)
      : agent_(agent), type_(type), state_(state) {}

  void run() {
    collect_nodes();
    if (nodes_.empty()) return;
    for (BrainNode* node : evaluation_order()) evaluate(node);
  }

 private:
  void collect_nodes() {
    for (BrainNode* node = type_->brain; node != nullptr; node = node->next) {
      index_[node] = nodes_.size();
      nodes_.push_back(node);
    }
  }

  bool in_brain(const BrainNode* node) const { return node != nullptr && index_.count(node) > 0; }

  // The valid inputs of a node; an input that is not a node of this brain is reported and left
  // out.
  std::vector<BrainNode*> inputs_of(BrainNode* node) {
    std::vector<BrainNode*> inputs;
    if (node->inputs == nullptr) return inputs;
    for (int i = 0; i < node->input_count; ++i) {
      BrainNode* input = node->inputs[i];
      if (in_brain(input)) {
        inputs.push_back(input);
      } else {
        report(type_, node,
               "input " + std::to_string(i + 1) + " is not a node of this brain; it is ignored");
      }
    }
    return inputs;
  }

  // The member whose value a macro node gives: the first member with an "output" line, else its
  // last member.
  BrainNode* macro_port(BrainNode* macro) {
    BrainNode* last = nullptr;
    for (BrainNode* member = macro->first_member; member != nullptr;
         member = member->next_in_macro) {
      if (!in_brain(member)) break;
      if (member->keyword_flags & kFlagPort) return member;
      if (member->kind != BRAIN_COMMENT) last = member;
    }
    return last;
  }

  // A member of a macro marked "io" without inputs of its own reads the macro's inputs.
  std::vector<BrainNode*> sources_of(BrainNode* node) {
    std::vector<BrainNode*> sources = inputs_of(node);
    if (sources.empty() && (node->keyword_flags & 1u) && in_brain(node->owner_macro) &&
        is_macro(node->owner_macro))
      sources = inputs_of(node->owner_macro);
    return sources;
  }

  // Nodes this node needs evaluated first.
  std::vector<BrainNode*> dependencies(BrainNode* node) {
    std::vector<BrainNode*> needs = sources_of(node);
    if (is_macro(node)) {
      needs.clear();  // a macro's inputs feed its "io" members, not the macro itself
      if (BrainNode* port = macro_port(node)) needs.push_back(port);
    }
    return needs;
  }

  // Inputs first (a node after every node it reads), ties in list order. When only nodes that
  // wait on a cycle are left, the first of them in list order is evaluated anyway (reported
  // once): it reads the previous frame's values of the inputs not yet evaluated, and the rest
  // follows from it.
  std::vector<BrainNode*> evaluation_order() {
    size_t n = nodes_.size();
    std::vector<std::vector<size_t>> readers(n);
    std::vector<int> waiting(n, 0);
    for (size_t i = 0; i < n; ++i) {
      std::vector<BrainNode*> needs = dependencies(nodes_[i]);
      // An "else" rule needs the other rules its readers combine it with.
      std::vector<BrainNode*> inputs = inputs_of(nodes_[i]);
      for (BrainNode* input : inputs) {
        if (!(input->keyword_flags & kFlagElse)) continue;
        for (BrainNode* sibling : inputs)
          if (sibling != input && !(sibling->keyword_flags & kFlagElse)) {
            readers[index_[sibling]].push_back(index_[input]);
            ++waiting[index_[input]];
          }
      }
      for (BrainNode* need : needs) {
        readers[index_[need]].push_back(i);
        ++waiting[i];
      }
    }
    std::priority_queue<size_t, std::vector<size_t>, std::greater<size_t>> ready;
    for (size_t i = 0; i < n; ++i)
      if (waiting[i] == 0) ready.push(i);
    std::vector<BrainNode*> order;
    std::vector<bool> done(n, false);
    while (order.size() < n) {
      if (ready.empty()) {
        size_t first = 0;
        while (done[first]) ++first;
        report(type_, nodes_[first],
               "node is on a cycle of inputs; it is evaluated first and reads the previous "
               "frame's values of the inputs not yet evaluated");
        waiting[first] = 0;
        ready.push(first);
      }
      size_t i = ready.top();
      ready.pop();
      if (done[i]) continue;
      done[i] = true;
      order.push_back(nodes_[i]);
      for (size_t reader : readers[i])
        if (--waiting[reader] == 0 && !done[reader]) ready.push(reader);
    }
    return order;
  }

  // Reports a node that needs inputs and has none; a node whose inputs were all dangling has
  // had its message already.
  void report_empty(BrainNode* node, const char* problem) {
    if (node->input_count == 0) report(type_, node, problem);
  }

  NodeState& state(const BrainNode* node) { return state_.nodes[node]; }

  double value_of(BrainNode* node) { return state(node).value; }

  void evaluate(BrainNode* node) {
    NodeState& s = state(node);
    double value = 0;
    if (!node->disabled) {
      switch (node->kind) {
        case BRAIN_INPUT:
          value = input_value(node);
          break;
        case BRAIN_TIMER:
          value = timer_value(node, s);
          break;
        case BRAIN_NOISE:
          value = noise_value(node);
          break;
        case BRAIN_FUZZ:
          value = fuzz_value(node);
          break;
        case BRAIN_AND:
        case BRAIN_OR:
          value = rule_value(node);
          break;
        case BRAIN_DEFUZZ:
          value = defuzz_value(node, s);
          break;
        case BRAIN_OUTPUT:
          value = output_value(node, s);
          break;
        case BRAIN_MACRO:
        case BRAIN_MACRO2: {
          BrainNode* port = macro_port(node);
          value = port != nullptr ? value_of(port) : 0;
          break;
        }
        default:
          break;
      }
    }
    if (!std::isfinite(value)) value = 0;
    s.value = value;
  }

  // Inputs read their channel (a sensed value of the agent's surroundings, else a simulation
  // channel), or their manual value, or the node feeding them, and normalise it by their range:
  // range[0] reads 0, range[1] reads 1.
  double input_value(BrainNode* node) {
    double raw = 0;
    if (node->keyword_flags & kFlagManual) {
      raw = node->value;
    } else if (node->channel != nullptr && node->channel[0] != '\0') {
      int kind = SIM_RESULT_NONE;
      float sensed = 0;
      if (brain_sense(agent_, node->channel, &sensed)) {
        raw = sensed;
        kind = SIM_RESULT_SENSED;
      } else {
        raw = getSimValueF(node->channel, 0, &kind);
      }
      if (kind == SIM_RESULT_NONE)
        report(type_, node,
               std::string("channel \"") + node->channel + "\" is unknown; it reads 0");
    } else {
      std::vector<BrainNode*> sources = sources_of(node);
      if (sources.empty()) {
        report(type_, node, "input has no channel; it reads 0");
        return 0;
      }
      return value_of(sources[0]);
    }
    if (!std::isfinite(raw)) {
      report(type_, node,
             std::string("channel \"") + text_of(node->channel) + "\" is not a number; it reads 0");
      return 0;
    }
    double span = static_cast<double>(node->range[1]) - node->range[0];
    if (span == 0 || !std::isfinite(span)) {
      report(type_, node,
             "range " + std::to_string(node->range[0]) + " to " + std::to_string(node->range[1]) +
                 " is unusable; the input reads 0");
      return 0;
    }
    return (raw - node->range[0]) / span;
  }

  // Timers count seconds times their rate from the agent's first frame, from value 1 towards
  // value 2 (looping when option 0 is set, else holding at the end). A timer with an input runs
  // while that input is above 0.5 and starts again from 0 when it rises through 0.5.
  double timer_value(BrainNode* node, NodeState& s) {
    std::vector<BrainNode*> sources = sources_of(node);
    if (!sources.empty()) {
      double trigger = value_of(sources[0]);
      bool running = trigger > 0.5;
      if (running && !(s.last_trigger > 0.5)) s.elapsed = 0;
      s.last_trigger = trigger;
      if (!running) return node->values[1];
    }
    double u = static_cast<double>(s.elapsed) * node->values[0] * frame_seconds();
    if (inc_per_sec > 0) u = static_cast<double>(s.elapsed) * node->values[0] / inc_per_sec;
    ++s.elapsed;
    if (!std::isfinite(u)) u = 0;
    u = node->options[0] ? u - std::floor(u) : std::clamp(u, 0.0, 1.0);
    return node->values[1] + u * (static_cast<double>(node->values[2]) - node->values[1]);
  }

  // Noise in [0, 1], a function of the scene time, the node's seed, the agent's id and the
  // node's id only, so any frame can be evaluated again alone. Value 0 is the frequency in
  // changes per second (eased between random values); 0 draws a new value every frame.
  double noise_value(BrainNode* node) {
    uint32_t seed = static_cast<uint32_t>(node->seed);
    uint32_t id = static_cast<uint32_t>(agent_->id);
    uint32_t node_id = static_cast<uint32_t>(node->id);
    double frequency = node->values[0];
    if (!(frequency > 0) || !std::isfinite(frequency))
      return hash_unit(seed, id, node_id, static_cast<uint32_t>(simTime));
    double t = static_cast<double>(simTime) * frame_seconds() * frequency;
    double cell = std::floor(t);
    if (!std::isfinite(cell) || std::fabs(cell) > 2e9) cell = 0;
    auto k = static_cast<int64_t>(cell);
    double a = hash_unit(seed, id, node_id, static_cast<uint32_t>(k));
    double b = hash_unit(seed, id, node_id, static_cast<uint32_t>(k + 1));
    double f = (1 - std::cos((t - cell) * M_PI)) / 2;
    return a + (b - a) * f;
  }

  // The ramp between two curve points at x: 0 at `from`, 1 at `to`, eased by the node's
  // interpolation (linear, or cosine). A ramp of no width steps at its point.
  static double ramp(const BrainNode* node, double x, double from, double to) {
    if (to <= from) return x >= to ? 1 : 0;
    double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return node->interpolation == 1 ? t : (1 - std::cos(t * M_PI)) / 2;
  }

  // Fuzz nodes give the membership of their first input's value in their curve.
  double fuzz_value(BrainNode* node) {
    std::vector<BrainNode*> sources = sources_of(node);
    if (sources.empty()) {
      report_empty(node, "fuzz node has no input; its membership is 0");
      return 0;
    }
    double x = value_of(sources[0]);
    if (node->wrap) x -= std::floor(x);
    if (node->limit) x = std::clamp(x, 0.0, 1.0);
    const float* p = node->points;
    switch (node->inference) {
      case INFERENCE_Z:
        return 1 - ramp(node, x, p[0], p[1]);
      case INFERENCE_S:
        return ramp(node, x, p[0], p[1]);
      case INFERENCE_LAMBDA:
        return x <= p[1] ? ramp(node, x, p[0], p[1]) : 1 - ramp(node, x, p[1], p[2]);
      case INFERENCE_PI:
        if (x < p[1]) return ramp(node, x, p[0], p[1]);
        if (x <= p[2]) return 1;
        return 1 - ramp(node, x, p[2], p[3]);
      case INFERENCE_SINGLETON:
        return std::fabs(x - p[0]) <= kSingletonWidth ? 1 : 0;
      case INFERENCE_USER:
        return user_membership(node, x);
      default:
        report(type_, node, "unknown inference kind; its membership is 0");
        return 0;
    }
  }

  // A user curve: its first membership before its first point, its last after the last, and
  // between two points the ramp between their memberships. Points are taken in x order.
  double user_membership(BrainNode* node, double x) {
    if (node->user_count <= 0 || node->user_x == nullptr || node->user_y == nullptr) {
      report(type_, node, "user inference has no points; its membership is 0");
      return 0;
    }
    std::vector<std::pair<double, double>> points;
    for (int i = 0; i < node->user_count; ++i)
      if (std::isfinite(node->user_x[i]) && std::isfinite(node->user_y[i]))
        points.emplace_back(node->user_x[i], node->user_y[i]);
    if (points.empty()) return 0;
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    if (x <= points.front().first) return points.front().second;
    for (size_t i = 1; i < points.size(); ++i) {
      if (x > points[i].first) continue;
      auto [x0, y0] = points[i - 1];
      auto [x1, y1] = points[i];
      return y0 + (y1 - y0) * ramp(node, x, x0, x1);
    }
    return points.back().second;
  }

  // Rules: "and" takes the smallest input (the product with "and prod"), "or" the largest (the
  // probabilistic sum 1 - (1 - a)(1 - b)... with "prod"); "FALSE" negates; the weight scales the
  // result. An "else" rule is true as far as the other rules read beside it are false.
  double rule_value(BrainNode* node) {
    std::vector<BrainNode*> sources = sources_of(node);
    bool is_or = node->kind == BRAIN_OR || (node->keyword_flags & kFlagOr);
    bool product = node->keyword_flags & kFlagProduct;
    bool is_else = node->keyword_flags & kFlagElse;
    double truth = 0;
    if (sources.empty()) {
      if (!is_else) {
        report_empty(node, "rule has no inputs; it gives 0");
        return 0;
      }
      truth = 1;
    } else if (is_or) {
      double none = 1;
      for (BrainNode* source : sources) {
        double v = value_of(source);
        truth = std::max(truth, v);
        none *= 1 - std::clamp(v, 0.0, 1.0);
      }
      if (product) truth = 1 - none;
    } else {
      truth = product ? 1 : value_of(sources[0]);
      for (BrainNode* source : sources)
        truth = product ? truth * value_of(source) : std::min(truth, value_of(source));
    }
    if (is_else) truth = std::min(truth, 1 - else_siblings(node));
    if (node->keyword_flags & kFlagFalse) truth = 1 - truth;
    return truth * node->weight;
  }

  // The largest value of the non-"else" rules that a reader of `rule` reads beside it.
  double else_siblings(BrainNode* rule) {
    double largest = 0;
    for (BrainNode* reader : nodes_) {
      std::vector<BrainNode*> inputs = inputs_of(reader);
      if (std::find(inputs.begin(), inputs.end(), rule) == inputs.end()) continue;
      for (BrainNode* sibling : inputs)
        if (sibling != rule && !(sibling->keyword_flags & kFlagElse))
          largest = std::max(largest, value_of(sibling));
    }
    return std::clamp(largest, 0.0, 1.0);
  }

  // Defuzz nodes combine their inputs into an activation (the average; the largest with "or";
  // the product with "and prod") and stand for a crisp value: their manual value, else 1.
  double defuzz_value(BrainNode* node, NodeState& s) {
    s.crisp = (node->keyword_flags & kFlagManual) ? node->value : 1.0;
    std::vector<BrainNode*> sources = sources_of(node);
    if (sources.empty()) {
      report_empty(node, "defuzz node has no inputs; its activation is 0");
      return 0;
    }
    double activation = (node->keyword_flags & kFlagProduct) ? 1 : 0;
    for (BrainNode* source : sources) {
      double v = value_of(source);
      if (node->keyword_flags & kFlagOr)
        activation = std::max(activation, v);
      else if (node->keyword_flags & kFlagProduct)
        activation *= v;
      else
        activation += v / static_cast<double>(sources.size());
    }
    return activation;
  }

  // The storage an output writes for this agent: its output copy's target for an instance, the
  // node's own for an agent type.
  float* target_of(BrainNode* node) {
    if (agent_->type == nullptr) return node->target;
    for (OutputCopy* copy = agent_->outputs; copy != nullptr; copy = copy->next)
      if (copy->node == node) return copy->target;
    return nullptr;
  }

  // Outputs defuzzify what they read into one crisp value from 0 to 1, map it onto their range
  // and pass it through latch, filter, rate, delay, integration, wrap and limit before writing.
  double output_value(BrainNode* node, NodeState& s) {
    std::vector<BrainNode*> sources = sources_of(node);
    double total = 0, weighted = 0, best = -1, best_value = 0;
    for (BrainNode* source : sources) {
      double activation = std::max(0.0, value_of(source));
      double crisp = source->kind == BRAIN_DEFUZZ ? state(source).crisp : 1.0;
      total += activation;
      weighted += activation * crisp;
      if (activation > best) {
        best = activation;
        best_value = crisp;
      }
    }
    double y = 0;
    if (sources.empty()) {
      if (node->keyword_flags & kFlagManual)
        y = node->value;
      else
        report_empty(node, "output has no inputs; it gives the start of its range");
    } else if (node->keyword_flags & kFlagOr) {
      y = best > 0 ? best_value : 0;
    } else if (node->keyword_flags & kFlagDefuzz) {
      y = total > 0 ? weighted / total : 0;
    } else {
      y = weighted / std::max(1.0, total);
    }
    double lo = node->range[0], hi = node->range[1];
    double value = lo + y * (hi - lo);
    bool idle = !sources.empty() && total <= 0;
    if ((node->keyword_flags & kFlagLatch) && idle && s.has_output) value = s.output;
    // A wrapping output that is not integrated (a heading) filters and limits its rate the short
    // way round its range: from 170 to -170 over -180..180 is a change of 20, not of -340.
    double low = std::min(lo, hi), high = std::max(lo, hi), period = high - low;
    bool wraps = node->wrap && period > 0 && std::isfinite(period);
    bool wraps_value = wraps && node->integrate != 2 && node->integrate != 3;
    double change = s.has_output ? value - s.output : 0;
    if (wraps_value && std::isfinite(change)) change = std::remainder(change, period);
    if ((node->keyword_flags & kFlagFilter) && s.has_output)
      value = s.output + change * kFilterShare;
    else if (s.has_output)
      value = s.output + change;
    if (node->rate > 0 && s.has_output) {
      double step = node->rate * frame_seconds();
      value = std::clamp(value, s.output - step, s.output + step);
    }
    if (wraps_value && std::isfinite(value))
      value = low + (value - low) - std::floor((value - low) / period) * period;
    if (!std::isfinite(value)) {
      report(type_, node, "value is not a number; the channel keeps its value");
      return s.output;
    }
    s.output = value;
    s.has_output = true;

    double delayed = value;
    if (node->delay > 0) {
      double frames = std::round(static_cast<double>(node->delay) / frame_seconds());
      if (!(frames <= kMaxDelayFrames)) {
        report(type_, node,
               "delay is longer than " + std::to_string(kMaxDelayFrames) +
                   " frames; it is cut to that");
        frames = kMaxDelayFrames;
      }
      auto count = static_cast<size_t>(frames);
      if (s.delayed.empty()) s.delayed.assign(count, value);
      s.delayed.push_back(value);
      while (s.delayed.size() > count + 1) s.delayed.pop_front();
      delayed = s.delayed.front();
    }

    float* target = target_of(node);
    if (target == nullptr) {
      if (node->channel == nullptr || node->channel[0] == '\0')
        report(type_, node, "output has no channel; it writes nowhere");
      else
        report(
            type_, node,
            std::string("channel \"") + node->channel + "\" is unknown; the output writes nowhere");
    }
    double written = delayed;
    double current = target != nullptr && std::isfinite(*target) ? *target : 0;
    if (node->integrate == 2) {
      written = current + delayed * frame_seconds();
    } else if (node->integrate == 3) {
      s.velocity += delayed * frame_seconds();
      written = current + s.velocity * frame_seconds();
    }
    if (wraps) written = low + (written - low) - std::floor((written - low) / period) * period;
    if (node->limit) written = std::clamp(written, low, high);
    if (!std::isfinite(written)) {
      report(type_, node, "value is not a number; the channel keeps its value");
      return current;
    }
    double clamped = to_float_range(written);
    if (clamped != written) report(type_, node, "value is beyond the float range; it is clamped");
    if (target != nullptr) *target = static_cast<float>(clamped);
    return clamped;
  }

  Agent* agent_;
  Agent* type_;
  AgentState& state_;
  std::vector<BrainNode*> nodes_;
  std::unordered_map<const BrainNode*, size_t> index_;
};

}  // namespace

extern "C" void brain_evaluate_agent(Agent* agent) {
  if (agent == nullptr) return;
  Agent* type = agent_type_of(agent);
  if (type == nullptr || type->brain == nullptr) return;
  if (agent->type != nullptr && agent->outputs == nullptr) compileOutputs(agent);
  Agent* saved = currentAgent;
  currentAgent = agent;
  Evaluation(agent, type, agent_states[agent]).run();
  currentAgent = saved;
}

extern "C" void brain_evaluate_all(void) {
  for (Agent* agent = root_agent; agent != nullptr; agent = agent->next)
    if (agent->active) brain_evaluate_agent(agent);
}

extern "C" float brain_node_value(Agent* agent, const BrainNode* node) {
  auto found = agent_states.find(agent);
  if (found == agent_states.end()) return 0;
  auto node_state = found->second.nodes.find(node);
  return node_state == found->second.nodes.end() ? 0 : static_cast<float>(node_state->second.value);
}

extern "C" void brain_forget_agent(Agent* agent) {
  agent_states.erase(agent);
}

extern "C" void brain_reset_state(void) {
  agent_states.clear();
  reported.clear();
}
