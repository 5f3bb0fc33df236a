// The posed crowd written as glTF and OBJ, read back: glTF with tinygltf, OBJ with the engine's
// own mesh reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiny_gltf.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

#include "agent/obj_reader.h"
#include "host/frame_outputs.h"
#include "host/gltf_writer.h"
#include "tests/support/files.h"

namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;

// One agent with a quad of two materials (normals and texture coordinates) and a triangle
// without a material, plus a triangle of another agent whose second point is not a number.
host::FrameGeometry crowd() {
  host::FrameGeometry frame;
  host::FrameMaterial skin, cloth;
  skin.name = "mat_7_0";
  skin.diffuse = {0.8f, 0.6f, 0.5f};
  skin.specular = {0.3f, 0.3f, 0.3f};
  skin.exponent = 50;
  cloth.name = "mat_7_1";
  cloth.diffuse = {0.1f, 0.2f, 1.5f};
  frame.materials = {skin, cloth};
  host::FrameMesh body;
  body.name = "body";
  body.agent = "asm_7";
  body.positions = {{0, 0, 0}, {1, 0, 0}, {1, 2, 0}, {0, 2, 0}};
  body.normals = {{0, 0, 2}, {0, 0, 1}, {0, 0, 1}, {0, 0, 1}};
  body.uvs = {{0, 0}, {1, 0}, {1, 1}, {0.25f, 0.75f}};
  const uint32_t first[] = {0, 1, 2}, second[] = {0, 2, 3};
  body.add_polygon(first, 3, 0);
  body.add_polygon(second, 3, 1);
  host::FrameMesh hat;
  hat.name = "hat";
  hat.agent = "asm_7";
  hat.positions = {{0, 2, 0}, {1, 2, 0}, {0.5f, 3, 0}};
  hat.add_polygon(first, 3, -1);
  host::FrameMesh broken;
  broken.name = "broken";
  broken.agent = "asm_8";
  broken.positions = {{0, 0, 0}, {std::numeric_limits<float>::quiet_NaN(), 0, 0}, {0, 1, 0}};
  broken.add_polygon(first, 3, 0);
  frame.meshes = {body, hat, broken};
  return frame;
}

// Element `index` of a float accessor with `width` components.
std::vector<float> read_floats(const tinygltf::Model& model, int accessor_index, size_t index,
                               int width) {
  const tinygltf::Accessor& accessor = model.accessors[accessor_index];
  const tinygltf::BufferView& view = model.bufferViews[accessor.bufferView];
  const unsigned char* data = model.buffers[view.buffer].data.data() + view.byteOffset +
                              accessor.byteOffset + index * width * sizeof(float);
  std::vector<float> values(width);
  std::memcpy(values.data(), data, width * sizeof(float));
  return values;
}

TEST(Bake, GltfReadsBackWithNodesMeshesVerticesAndMaterials) {
  std::string bytes, error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::encode_gltf(crowd(), true, &bytes, &error, &warnings)) << error;
  ASSERT_EQ(warnings, std::vector<std::string>{
                          "1 triangles with unusable coordinates or corner indices were left out"});
  tinygltf::TinyGLTF reader;
  tinygltf::Model model;
  std::string warning;
  ASSERT_TRUE(reader.LoadBinaryFromMemory(&model, &error, &warning,
                                          reinterpret_cast<const unsigned char*>(bytes.data()),
                                          static_cast<unsigned>(bytes.size())))
      << error;

  // The agent is a node whose children are its objects; the broken agent has none left.
  ASSERT_EQ(model.scenes.size(), 1u);
  ASSERT_EQ(model.scenes[0].nodes.size(), 1u);
  const tinygltf::Node& agent = model.nodes[model.scenes[0].nodes[0]];
  EXPECT_EQ(agent.name, "asm_7");
  ASSERT_EQ(agent.children.size(), 2u);
  EXPECT_EQ(model.nodes[agent.children[0]].name, "body");
  EXPECT_EQ(model.nodes[agent.children[1]].name, "hat");

  const tinygltf::Mesh& body = model.meshes[model.nodes[agent.children[0]].mesh];
  ASSERT_EQ(body.primitives.size(), 2u);  // one per material
  const tinygltf::Primitive& skin = body.primitives[0];
  EXPECT_EQ(model.accessors[skin.attributes.at("POSITION")].count, 4u);
  EXPECT_EQ(model.accessors[skin.indices].count, 3u);
  EXPECT_EQ(read_floats(model, skin.attributes.at("POSITION"), 2, 3),
            (std::vector<float>{1, 2, 0}));
  EXPECT_EQ(model.accessors[skin.attributes.at("POSITION")].maxValues,
            (std::vector<double>{1, 2, 0}));
  EXPECT_EQ(read_floats(model, skin.attributes.at("NORMAL"), 0, 3), (std::vector<float>{0, 0, 1}));
  // Texture v counts from the top in glTF: 0.75 becomes 0.25.
  EXPECT_EQ(read_floats(model, skin.attributes.at("TEXCOORD_0"), 3, 2),
            (std::vector<float>{0.25f, 0.25f}));

  // Materials: skin, cloth, then the default one the hat uses.
  ASSERT_EQ(model.materials.size(), 3u);
  const tinygltf::Material& skin_material = model.materials[skin.material];
  EXPECT_EQ(skin_material.name, "mat_7_0");
  EXPECT_NEAR(skin_material.pbrMetallicRoughness.baseColorFactor[0], 0.8, 1e-6);
  EXPECT_EQ(skin_material.pbrMetallicRoughness.metallicFactor, 0.0);
  // (2 / 52)^(1/4) = 0.44285
  EXPECT_NEAR(skin_material.pbrMetallicRoughness.roughnessFactor, 0.44285, 1e-4);
  const tinygltf::Material& cloth_material = model.materials[body.primitives[1].material];
  EXPECT_EQ(cloth_material.pbrMetallicRoughness.baseColorFactor,
            (std::vector<double>{0.1f, 0.2f, 1.0, 1.0}));
  EXPECT_EQ(cloth_material.pbrMetallicRoughness.roughnessFactor, 1.0);  // no highlight
  EXPECT_EQ(model.materials[model.meshes[1].primitives[0].material].name, "default_mtl");

  // The text form holds the same model.
  ASSERT_TRUE(host::encode_gltf(crowd(), false, &bytes, &error, nullptr));
  tinygltf::Model text_model;
  ASSERT_TRUE(reader.LoadASCIIFromString(&text_model, &error, &warning, bytes.data(),
                                         static_cast<unsigned>(bytes.size()), ""))
      << error;
  EXPECT_EQ(text_model.meshes.size(), 2u);
  EXPECT_EQ(text_model.buffers[0].data, model.buffers[0].data);
}

TEST(Bake, ObjReadsBackThroughTheMeshReaderWithItsMaterialLibrary) {
  const fs::path dir = fs::path(::testing::TempDir()) / "bake";
  fs::create_directories(dir);
  const std::string path = (dir / "crowd.obj").string();
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::write_bake(crowd(), path, &error, &warnings)) << error;
  EXPECT_EQ(warnings.size(), 1u);
  Mesh* mesh = loadGeometry(path.c_str());
  ASSERT_NE(mesh, nullptr);
  // The body's 4 points and the hat's 3; the broken object is left out whole.
  EXPECT_EQ(mesh->point_count, 7);
  EXPECT_EQ(mesh->polygon_count, 3);
  EXPECT_EQ(mesh->corners[6], 4);  // the hat's first corner, after the body's points
  EXPECT_FLOAT_EQ(mesh->points[6].y, 3.0f);
  EXPECT_FLOAT_EQ(mesh->points[2].y, 2.0f);
  mesh_free(mesh);

  const std::string library = test_files::read_file(dir / "crowd.mtl");
  EXPECT_EQ(library.substr(0, 72),
            "newmtl mat_7_0\nKa 0 0 0\nKd 0.8 0.6 0.5\nKs 0.3 0.3 0.3\nNs 50\nillum 2\nd 1\n");
  EXPECT_THAT(library, HasSubstr("newmtl default_mtl\n"));
}

TEST(Bake, RefusesUnknownFormatsAndFramesWithoutTriangles) {
  const fs::path dir = fs::path(::testing::TempDir()) / "refused";
  fs::create_directories(dir);
  std::string error;
  std::vector<std::string> warnings;
  const std::string fbx = (dir / "crowd.fbx").string();
  EXPECT_FALSE(host::write_bake(crowd(), fbx, &error, &warnings));
  EXPECT_EQ(error, fbx + ": unknown bake format: the name must end in .glb, .gltf or .obj");
  EXPECT_EQ(host::bake_format("A.GLB"), host::BakeFormat::glb);

  host::FrameGeometry empty;
  empty.meshes.emplace_back();
  for (const char* name : {"empty.glb", "empty.obj"}) {
    const std::string path = (dir / name).string();
    EXPECT_FALSE(host::write_bake(empty, path, &error, &warnings));
    EXPECT_EQ(error, path + ": nothing to bake: the frame holds no triangles");
  }
  EXPECT_TRUE(fs::is_empty(dir)) << "no file is left for a refused bake";
}

}  // namespace
