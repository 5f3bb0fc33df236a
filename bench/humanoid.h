// A humanoid agent for the benchmarks, written as the files a production agent comes in: an agent
// file with 25 segments and a bone for each, two materials, a small brain and one skinned geometry
// node, the node's OBJ mesh (25 tubes of 10 rings by 12 points: 3000 points, 2700 quads) and its
// weights file (up to four influences per point: the tube's own bone, its parent and grandparent,
// and its first child). Everything is written by this code into a temporary directory that is
// removed when the program ends.
#pragma once

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "agent/weights.h"

namespace humanoid {

struct Joint {
  const char* name;
  int parent;         // index into kJoints, -1 for the root
  float offset[3];    // rest translation relative to the parent
  const char* order;  // rotation order text, or null for the default
};

constexpr int kJointCount = 25;
constexpr int kRings = 10;       // rings along each tube
constexpr int kRingPoints = 12;  // points around each ring
constexpr int kPointCount = kJointCount * kRings * kRingPoints;

inline constexpr Joint kJoints[kJointCount] = {
    {"root", -1, {0, 1.0f, 0}, nullptr},
    {"spine1", 0, {0, 0.1f, 0}, nullptr},
    {"spine2", 1, {0, 0.12f, 0}, nullptr},
    {"chest", 2, {0, 0.12f, 0}, nullptr},
    {"neck", 3, {0, 0.15f, 0}, "rz ry rx"},
    {"head", 4, {0, 0.1f, 0}, "rz ry rx"},
    {"l_clavicle", 3, {0.05f, 0.12f, 0}, nullptr},
    {"l_shoulder", 6, {0.12f, 0, 0}, "ry rz rx"},
    {"l_elbow", 7, {0.28f, 0, 0}, nullptr},
    {"l_wrist", 8, {0.25f, 0, 0}, nullptr},
    {"l_hand", 9, {0.08f, 0, 0}, nullptr},
    {"r_clavicle", 3, {-0.05f, 0.12f, 0}, nullptr},
    {"r_shoulder", 11, {-0.12f, 0, 0}, "ry rz rx"},
    {"r_elbow", 12, {-0.28f, 0, 0}, nullptr},
    {"r_wrist", 13, {-0.25f, 0, 0}, nullptr},
    {"r_hand", 14, {-0.08f, 0, 0}, nullptr},
    {"l_hip", 0, {0.1f, -0.05f, 0}, nullptr},
    {"l_knee", 16, {0, -0.42f, 0}, nullptr},
    {"l_ankle", 17, {0, -0.42f, 0}, nullptr},
    {"l_toe", 18, {0, -0.05f, 0.12f}, nullptr},
    {"r_hip", 0, {-0.1f, -0.05f, 0}, nullptr},
    {"r_knee", 20, {0, -0.42f, 0}, nullptr},
    {"r_ankle", 21, {0, -0.42f, 0}, nullptr},
    {"r_toe", 22, {0, -0.05f, 0.12f}, nullptr},
    {"jaw", 5, {0, 0.02f, 0.05f}, nullptr},
};

// The first joint whose parent is `joint`, or -1.
inline int first_child(int joint) {
  for (int j = 0; j < kJointCount; ++j)
    if (kJoints[j].parent == joint) return j;
  return -1;
}

// A directory under the system's temporary directory, removed with everything in it when the
// object goes (at program end for the static ones the benchmarks keep).
class TempDirectory {
 public:
  explicit TempDirectory(const std::string& tag)
      : path_(std::filesystem::temp_directory_path() /
              ("hordera_bench_" + tag + "_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path_);
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  std::string file(const std::string& leaf) const { return (path_ / leaf).string(); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

// Writes the OBJ mesh: one tube per joint from the joint's rest position towards its first child
// (leaves continue along their own offset), with positions, texture coordinates and normals.
inline void write_mesh(const std::string& path) {
  float position[kJointCount][3];
  for (int j = 0; j < kJointCount; ++j)
    for (int k = 0; k < 3; ++k)
      position[j][k] =
          kJoints[j].offset[k] + (kJoints[j].parent >= 0 ? position[kJoints[j].parent][k] : 0);
  std::ostringstream v, vt, vn, f;
  for (int j = 0; j < kJointCount; ++j) {
    int child = first_child(j);
    const float* d = child >= 0 ? kJoints[child].offset : kJoints[j].offset;
    float length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    float axis[3] = {d[0] / length, d[1] / length, d[2] / length};
    // Two unit vectors across the tube's axis.
    float helper[3] = {0, 0, 1};
    if (std::fabs(axis[2]) > 0.9f) helper[0] = 1, helper[2] = 0;
    float u[3] = {axis[1] * helper[2] - axis[2] * helper[1],
                  axis[2] * helper[0] - axis[0] * helper[2],
                  axis[0] * helper[1] - axis[1] * helper[0]};
    float ul = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
    for (float& c : u) c /= ul;
    float w[3] = {axis[1] * u[2] - axis[2] * u[1], axis[2] * u[0] - axis[0] * u[2],
                  axis[0] * u[1] - axis[1] * u[0]};
    for (int r = 0; r < kRings; ++r) {
      float t = static_cast<float>(r) / (kRings - 1);
      for (int k = 0; k < kRingPoints; ++k) {
        float angle = 6.2831853f * k / kRingPoints;
        float n[3];
        for (int c = 0; c < 3; ++c) n[c] = std::cos(angle) * u[c] + std::sin(angle) * w[c];
        v << "v";
        for (int c = 0; c < 3; ++c) v << ' ' << position[j][c] + d[c] * t + 0.04f * n[c];
        v << '\n';
        vt << "vt " << static_cast<float>(k) / kRingPoints << ' ' << t << '\n';
        vn << "vn " << n[0] << ' ' << n[1] << ' ' << n[2] << '\n';
      }
    }
    int base = j * kRings * kRingPoints + 1;  // OBJ indices count from 1
    for (int r = 0; r + 1 < kRings; ++r)
      for (int k = 0; k < kRingPoints; ++k) {
        int corner[4] = {base + r * kRingPoints + k, base + r * kRingPoints + (k + 1) % kRingPoints,
                         base + (r + 1) * kRingPoints + (k + 1) % kRingPoints,
                         base + (r + 1) * kRingPoints + k};
        f << 'f';
        for (int c : corner) f << ' ' << c << '/' << c << '/' << c;
        f << '\n';
      }
  }
  std::ofstream(path, std::ios::binary) << "# humanoid benchmark mesh\n"
                                        << v.str() << vt.str() << vn.str() << f.str();
}

// Writes the weights file: each point of joint j's tube at ring parameter t (0 at the joint, 1 at
// the far end) takes its parent by (1 - t)^2 / 2, its first child by t^2 / 2, its grandparent by
// 0.05 and the rest from its own joint, normalised; zero weights are left out.
inline bool write_weights(const std::string& path) {
  std::vector<int32_t> vertices, deformers;
  std::vector<float> weights;
  for (int j = 0; j < kJointCount; ++j) {
    int parent = kJoints[j].parent;
    int grandparent = parent >= 0 ? kJoints[parent].parent : -1;
    int child = first_child(j);
    for (int r = 0; r < kRings; ++r) {
      float t = static_cast<float>(r) / (kRings - 1);
      float share[4] = {1, parent >= 0 ? 0.5f * (1 - t) * (1 - t) : 0,
                        child >= 0 ? 0.5f * t * t : 0, grandparent >= 0 ? 0.05f : 0};
      int bone[4] = {j, parent, child, grandparent};
      float sum = share[0] + share[1] + share[2] + share[3];
      for (int k = 0; k < kRingPoints; ++k) {
        int vertex = (j * kRings + r) * kRingPoints + k;
        for (int i = 0; i < 4; ++i) {
          if (share[i] == 0) continue;
          vertices.push_back(vertex);
          deformers.push_back(bone[i]);
          weights.push_back(share[i] / sum);
        }
      }
    }
  }
  const char* names[kJointCount];
  for (int j = 0; j < kJointCount; ++j) names[j] = kJoints[j].name;
  return write_weights_file(path.c_str(), names, kJointCount, kPointCount,
                            static_cast<int32_t>(vertices.size()), vertices.data(),
                            deformers.data(), weights.data()) == 1;
}

// The agent file: settings and variables, the skeleton, a bone per segment, two materials, one
// skinned geometry node and a six-node brain.
inline std::string agent_file_text() {
  std::ostringstream cdl;
  cdl << "# CDL created with hordera v1.0.0\n"
         "object humanoid\n"
         "angles degrees\n"
         "variables\n  height 1.8\n  stride 0.7\nend variables\n"
         "variable girth 1 [0.8 1.2]\n";
  for (int j = 0; j < kJointCount; ++j) {
    const Joint& joint = kJoints[j];
    cdl << "segment " << joint.name << '\n';
    if (joint.parent >= 0) cdl << "parent " << kJoints[joint.parent].name << '\n';
    cdl << "dof " << (j == 0 ? "tx ty tz rx ry rz" : "rx ry rz") << '\n';
    if (joint.order) cdl << "order " << joint.order << '\n';
    cdl << "translate " << joint.offset[0] << ' ' << joint.offset[1] << ' ' << joint.offset[2]
        << '\n'
        << "primitive " << (j == 0 ? "box" : "tube") << "\nradius 0.05\nlength 0.2\n"
        << "limits\n  rx -90 90\n  ry -60 60\n  rz -45 45\n";
  }
  for (const Joint& joint : kJoints) cdl << "bone " << joint.name << "\nouter 0.1\n";
  cdl << "material skin\n"
         "diffuse 0.8 0.6 0.5\nspecular 0.1 0.1 0.1\nshininess 20\n"
         "shader \"mib_illum_phong\" \"diffuse\" 2 [0.8 0.6 0.5] \"exponent\" 9 [20]\n"
         "material cloth\n"
         "diffuse hsv 0.6 0.5 0.4\n"
         "shader beauty \"mib_illum_lambert\" \"diffuse\" 2 [0.2 0.3 0.5]\n"
         "geometry body\n"
         "file humanoid.obj\nweights_file humanoid.w\nmaterial 0\n"
         "fuzzy input\n name height_in\n id 1\n channel root:ty\n range 0 2\n"
         "fuzzy fuzz\n id 2\n input 1\n user inference\n0 0\n0.5 1\n1 0\n"
         "fuzzy noise\n id 3\n rate 0.5\n"
         "fuzzy rule\n id 4\n inputs 2 3\n"
         "fuzzy defuzz\n id 5\n input 4\n"
         "fuzzy output\n id 6\n input 5\n channel spine1:rx\n"
         "end object\n";
  return cdl.str();
}

// Writes the agent file with its mesh and weights into `directory`; returns the agent file's path.
inline std::string write_agent_files(const TempDirectory& directory) {
  write_mesh(directory.file("humanoid.obj"));
  if (!write_weights(directory.file("humanoid.w"))) std::fprintf(stderr, "weights not written\n");
  std::string path = directory.file("humanoid.cdl");
  std::ofstream(path, std::ios::binary) << agent_file_text();
  return path;
}

}  // namespace humanoid
