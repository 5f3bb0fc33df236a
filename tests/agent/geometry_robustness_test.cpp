// Hostile mesh and weights files: cuts of a good file, binary noise and malformed lines.
// Nothing may crash; a refused file is named in the message; what is accepted is consistent.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "agent/obj_reader.h"
#include "agent/weights.h"

namespace {

namespace fs = std::filesystem;

const char kGoodObj[] =
    "# cube corner\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\n"
    "vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 -1\nvn 0 0 1\n"
    "f 1/1/1 4/3/1 3/2/1 2/1/1\nf -5/-3/-2 -4/-2/-2 -1/-1/-1\nf 1 2 5\n";

const char kGoodWeights[] =
    "# Hordera vertex weights file, written by version 4.1.18\n\n"
    "deformer 0 hip\ndeformer 1 spine\n\n"
    "0:  0 1\n1:  0 0.5 1 0.5\n2:  1 1\n3:  1 0.25 0 0.75\n4:  0 1\n";

class GeometryRobustnessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = fs::temp_directory_path() /
                 ("hordera_robust_" + std::to_string(::getpid()) + "_" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(directory_);
  }
  void TearDown() override { fs::remove_all(directory_); }

  std::string write(const std::string& name, const std::string& bytes) {
    const std::string path = (directory_ / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  // Loads `bytes` as an OBJ file; checks that a refusal names the file and that an accepted mesh
  // only refers to points, corners and texture coordinates it has.
  void load_obj(const std::string& name, const std::string& bytes) {
    const std::string path = write(name, bytes);
    ::testing::internal::CaptureStderr();
    Mesh* mesh = loadGeometry(path.c_str());
    const std::string errors = ::testing::internal::GetCapturedStderr();
    if (mesh == nullptr) {
      EXPECT_NE(errors.find(path), std::string::npos) << name << ": " << errors;
      return;
    }
    int32_t corners = 0;
    for (int32_t f = 0; f < mesh->polygon_count; ++f) {
      EXPECT_EQ(mesh->polygons[f].first_corner, corners) << name;
      corners += mesh->polygons[f].corner_count;
    }
    EXPECT_EQ(corners, mesh->corner_count) << name;
    for (int32_t c = 0; c < mesh->corner_count; ++c) {
      EXPECT_GE(mesh->corners[c], 0) << name;
      EXPECT_LT(mesh->corners[c], mesh->point_count) << name;
    }
    mesh_free(mesh);
  }

  fs::path directory_;
};

TEST_F(GeometryRobustnessTest, CutAndMalformedObjFiles) {
  // Cuts inside a number, inside a corner and after a slash; binary noise is the OBJ fuzzer's.
  const std::string good(kGoodObj);
  for (const char* cut : {"v 1 1", "f 1/1/1 4/", "f -5/-3/"}) {
    const size_t length = good.find(cut) + std::strlen(cut);
    load_obj("cut_" + std::to_string(length) + ".obj", good.substr(0, length));
  }
  Mesh* whole = loadGeometry(write("whole.obj", good).c_str());
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(whole->polygon_count, 3);
  mesh_free(whole);
  const char* const malformed[] = {
      "v 0 0 0\nf 99999999999999999999 1 1\n",
      "v 0 0 0\nf -99999999999999999999 1 1\n",
      "v 1e999 0 0\n",
      "v 0x10 0 0\n",
      "v 1 2 3 4 5\n",
      "v 0 0 0\nf 1/1/1/1 1 1\n",
      "v 0 0 0\nf /// // /\n",
      "v 0 0 0\nf 1/ 1/ 1//\n",
      "v 0 0 0\nf 1 1 1 \\\n",
      "v 0 0 \\\n0\nf 1 1 1\n",
      "v 0 0 0\nvt\nf 1/1 1/1 1/1\n",
      "v 0 0 0\nf 1/2 1 1\n",
      "v 0 0 0\nf 1//2 1 1\n",
      "v 0 0 0\nf\n",
      "\xef\xbb\xbfv 0 0 0\n",
      "v -0 +1 .5\nf 1 1 1\n",
      "v nan 0 0\nf 1 1 1\n",
      "v 0 0 0\nf -2147483648 2147483647 2147483648\n",
  };
  int index = 0;
  for (const char* text : malformed)
    load_obj("malformed_" + std::to_string(index++) + ".obj", text);
  // A very long line and very many faults stop cleanly.
  load_obj("long.obj", "v 0 0 0\nf" + std::string(200000, ' ') + "1 1 1\n");
  std::string faults = "v 0 0 0\n";
  for (int i = 0; i < 1000; ++i) faults += "f 7 8 9\n";
  load_obj("faults.obj", faults);
  // One polygon of 100000 corners reads whole.
  std::string wide;
  for (int i = 0; i < 100000; ++i) wide += "v " + std::to_string(i) + " 0 1\n";
  wide += "f";
  for (int i = 100000; i >= 1; --i) wide += " " + std::to_string(i);
  const std::string wide_path = write("wide.obj", wide + "\n");
  Mesh* mesh = loadGeometry(wide_path.c_str());
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 1);
  EXPECT_EQ(mesh->polygons[0].corner_count, 100000);
  mesh_free(mesh);
}

TEST_F(GeometryRobustnessTest, HostileWeightsFiles) {
  Agent* type = new_agent_type("robust");
  Bone* bones[2];
  const char* names[2] = {"hip", "spine"};
  for (int i = 0; i < 2; ++i) {
    bones[i] = static_cast<Bone*>(std::calloc(1, sizeof(Bone)));
    bones[i]->segment = new_segment(type, names[i]);
  }
  bones[0]->next = bones[1];
  type->bones = bones[0];

  auto load = [&](const std::string& name, const std::string& bytes) {
    const std::string path = write(name, bytes);
    float** arrays = nullptr;
    int32_t count = 0;
    ::testing::internal::CaptureStderr();
    const int ok = read_weights_file(path.c_str(), type, 5, nullptr, 0, &arrays, &count);
    const std::string errors = ::testing::internal::GetCapturedStderr();
    if (ok) {
      EXPECT_EQ(count, 2) << name;
      free_weight_arrays(arrays, count);
    } else {
      EXPECT_EQ(arrays, nullptr) << name;
      EXPECT_NE(errors.find(path), std::string::npos) << name << ": " << errors;
    }
    return ok;
  };

  const std::string good(kGoodWeights);
  for (const char* cut : {"deformer 1 sp", "1:  0 0.", "3:  1 0.25 0"}) {
    const size_t length = good.find(cut) + std::strlen(cut);
    load("cut_" + std::to_string(length) + ".w", good.substr(0, length));
  }
  EXPECT_TRUE(load("whole.w", good));

  std::mt19937 random(7);
  for (int round = 0; round < 20; ++round) {
    std::string bytes(1 + random() % 3000, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 256);
    load("noise_" + std::to_string(round) + ".w", bytes);
  }
  const char* const malformed[] = {
      "deformer 99999999999 hip\n0: 0 1\n",
      "deformer -1 hip\n0: 0 1\n",
      "deformer 2000000 hip\n0: 2000000 1\n",
      "deformer 2147483647 hip\ndeformer 0 hip\n0: 2147483647 1 0 1\n",
      "deformer 0 hip\n-2147483648: 0 1\n2147483648: 0 1\n",
      "deformer 0\n0: 0 1\n",
      "deformer 0 hip\n0: 0\n",
      "deformer 0 hip\n0: 0 1e999\n",
      "deformer 0 hip\n0: 0 nan\n",
      "deformer 0 hip\n0: x 1\n",
      "deformer 0 hip\n99999999999999999999: 0 1\n",
      "deformer 0 hip\n:0 1\n",
      "deformer 0 hip\n0:0 1 0 1 0 1 0\n",
  };
  int index = 0;
  for (const char* text : malformed) load("malformed_" + std::to_string(index++) + ".w", text);
  load("long.w", "deformer 0 hip\n0:" + std::string(300000, ' ') + "0 1\n");
}

}  // namespace
