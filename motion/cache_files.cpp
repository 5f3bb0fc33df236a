// Cache files of cloth and hair: names and the text format both share.
//
//   # comment
//   space agent|world            optional, agent space when absent
//   points N                     cloth: N point lines "x y z"
//   normals N                    cloth, optional: N normal lines
//   curve N                      hair: one block of N point lines per guide curve
#include "motion/cache_files.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "motion/line_reader.h"

namespace hordera {

namespace {

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// Reads `count` point lines into `out`; false with a message at the first bad one. The count
// is checked against the lines there are, not reserved up front, so a huge count costs nothing.
bool read_points(LineReader& in, long count, std::vector<Vector>& out) {
  std::string line;
  for (long i = 0; i < count; ++i) {
    if (!in.next(line)) {
      report_at(in.path(), in.line_number(), "file ends after %ld of %ld points", i, count);
      return false;
    }
    auto words = split_words(line);
    Vector v{};
    if (words.size() != 3 || !parse_finite(words[0], v.x) || !parse_finite(words[1], v.y) ||
        !parse_finite(words[2], v.z)) {
      report_at(in.path(), in.line_number(), "a point needs three numbers");
      return false;
    }
    out.push_back(v);
  }
  return true;
}

}  // namespace

std::string cache_piece_name(const char* node_name, const char* kind, int position) {
  std::string name = node_name ? node_name : "";
  if (name.empty()) return std::string(kind) + std::to_string(position);
  for (char& c : name)
    if (c == ' ' || c == '\t' || c == '/' || c == '\\') c = '_';
  return name;
}

std::string find_cache_file(const char* directory, const Agent* agent, const std::string& piece,
                            int frame, const char* extension) {
  std::string agent_name =
      agent && agent->name ? agent->name : "agent" + std::to_string(agent ? agent->id : 0);
  std::string path = std::string(directory ? directory : ".");
  if (!path.empty() && path.back() != '/') path += '/';
  path += agent_name + "." + piece + "." + std::to_string(frame) + "." + extension;
  if (exists(path)) return path;
  if (exists(path + ".gz")) return path + ".gz";
  return {};
}

bool read_cache_frame(const std::string& path, bool hair, CacheFrame& frame) {
  frame = CacheFrame{};
  LineReader in(path.c_str());
  if (!in.ok()) {
    report_at(path.c_str(), 0, "cache file could not be opened");
    return false;
  }
  std::string line;
  bool good = true;
  while (good && in.next(line)) {
    auto words = split_words(line);
    if (words.empty() || words[0][0] == '#') continue;
    const int at = in.line_number();
    long count = -1;
    if (words[0] == "space" && words.size() == 2 && (words[1] == "agent" || words[1] == "world")) {
      frame.world = words[1] == "world";
    } else if (!hair && words[0] == "points" && words.size() == 2 && parse_int(words[1], count) &&
               count >= 0) {
      if (!frame.points.empty()) {
        report_at(path.c_str(), at, "a second points block");
        good = false;
      } else {
        good = read_points(in, count, frame.points);
      }
    } else if (!hair && words[0] == "normals" && words.size() == 2 && parse_int(words[1], count) &&
               count >= 0) {
      std::vector<Vector> normals;
      if (!read_points(in, count, normals)) {
        good = false;
      } else if (normals.size() != frame.points.size()) {
        report_at(path.c_str(), at, "%ld normals for %zu points; normals ignored", count,
                  frame.points.size());
      } else {
        frame.normals = std::move(normals);
      }
    } else if (hair && words[0] == "curve" && words.size() == 2 && parse_int(words[1], count) &&
               count >= 0) {
      size_t before = frame.points.size();
      if (read_points(in, count, frame.points)) {
        frame.curves.push_back(static_cast<uint32_t>(count));
      } else {
        // The curve is lost, the ones before it are kept.
        frame.points.resize(before);
        break;
      }
    } else {
      report_at(path.c_str(), at, "unknown line \"%.60s\" skipped", line.c_str());
    }
  }
  if (in.damaged()) {
    report_at(path.c_str(), in.line_number(), "compressed data end early");
    if (!hair) good = false;
  }
  if (!good) frame.points.clear();
  return hair ? !frame.curves.empty() : good && !frame.points.empty();
}

void agent_space_matrix(Agent* agent, CacheTime time, float* out) {
  Segment* root = agent->segments;
  while (root != nullptr && root->parent != nullptr) root = root->next;
  if (root == nullptr) {
    std::memcpy(out, time == CacheTime::current ? agent->matrix : agent->last_matrix,
                sizeof(Matrix));
  } else if (time == CacheTime::current) {
    worldSpace(root, out);
  } else {
    worldSpaceLast(root, out);
  }
}

void cache_to_world(CacheFrame& frame, const float* m) {
  if (!frame.world) {
    for (Vector& p : frame.points) {
      Vector q{p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
               p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
               p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
      p = q;
    }
    for (Vector& n : frame.normals)
      n = Vector{n.x * m[0] + n.y * m[4] + n.z * m[8], n.x * m[1] + n.y * m[5] + n.z * m[9],
                 n.x * m[2] + n.y * m[6] + n.z * m[10]};
  }
  // The renderer takes unit normals, whichever space the cache was written in.
  for (Vector& n : frame.normals) {
    float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    if (length > 0) n = Vector{n.x / length, n.y / length, n.z / length};
  }
  frame.world = true;
}

}  // namespace hordera
