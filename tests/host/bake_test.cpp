// The posed crowd written as glTF and OBJ, read back: glTF with tinygltf, OBJ with the engine's
// own mesh reader; a sequence in one glTF file shown in turn by a stepped scale animation; and
// the OBJ text, indices and materials running on across objects on any number of threads.
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
#include "host/obj_writer.h"
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

// Element `index` of a float accessor with `width` components (or the first `width` floats).
std::vector<float> read_floats(const tinygltf::Model& model, int accessor_index, size_t index,
                               int width) {
  const tinygltf::Accessor& accessor = model.accessors.at(accessor_index);
  const tinygltf::BufferView& view = model.bufferViews.at(accessor.bufferView);
  const unsigned char* data = model.buffers.at(view.buffer).data.data() + view.byteOffset +
                              accessor.byteOffset + index * width * sizeof(float);
  std::vector<float> values(width);
  std::memcpy(values.data(), data, width * sizeof(float));
  return values;
}

// The model of a binary glTF file.
tinygltf::Model load_glb(const std::string& bytes) {
  tinygltf::TinyGLTF reader;
  tinygltf::Model model;
  std::string error, warning;
  EXPECT_TRUE(reader.LoadBinaryFromMemory(&model, &error, &warning,
                                          reinterpret_cast<const unsigned char*>(bytes.data()),
                                          static_cast<unsigned>(bytes.size())))
      << error;
  return model;
}

TEST(Bake, GltfReadsBackWithNodesMeshesVerticesAndMaterials) {
  std::string bytes, error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::encode_gltf(crowd(), true, &bytes, &error, &warnings)) << error;
  ASSERT_EQ(warnings, std::vector<std::string>{
                          "1 triangles with unusable coordinates or corner indices were left out"});
  const tinygltf::Model model = load_glb(bytes);

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
  tinygltf::TinyGLTF reader;
  tinygltf::Model text_model;
  std::string warning;
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

// Agent "asm_1" with a quad (two triangles) at height `y`; with `split`, a second quad of its
// own material, so the object's triangles change.
host::FrameGeometry frame_at(float y, bool split) {
  host::FrameGeometry frame;
  frame.materials.push_back(host::default_material());
  host::FrameMesh mesh;
  mesh.name = "body";
  mesh.agent = "asm_1";
  mesh.positions = {{0, y, 0}, {1, y, 0}, {1, y + 1, 0}, {0, y + 1, 0}};
  const uint32_t quad[4] = {0, 1, 2, 3};
  mesh.add_polygon(quad, 4, 0);
  if (split) mesh.add_polygon(quad, 3, -1);
  frame.meshes.push_back(mesh);
  return frame;
}

TEST(GltfSequence, FramesPlayInTurnAndShareUnchangedTopology) {
  host::GltfSequence sequence;
  std::vector<std::string> warnings;
  // Added out of order: frames play in increasing order.
  sequence.add_frame(5, frame_at(2, true), &warnings);
  sequence.add_frame(3, frame_at(0, false), &warnings);
  sequence.add_frame(4, frame_at(1, false), &warnings);
  std::string bytes, error;
  ASSERT_TRUE(sequence.encode(true, 2.0, &bytes, &error)) << error;
  EXPECT_TRUE(warnings.empty());

  const tinygltf::Model model = load_glb(bytes);
  ASSERT_EQ(model.scenes.size(), 1u);
  std::vector<std::string> shown;
  for (int node : model.scenes[0].nodes) shown.push_back(model.nodes[node].name);
  EXPECT_EQ(shown, (std::vector<std::string>{"frame_3", "frame_4", "frame_5"}));

  // Frame node -> its body's mesh; only the first frame starts visible.
  std::vector<const tinygltf::Mesh*> bodies;
  for (int node : model.scenes[0].nodes) {
    const tinygltf::Node& frame = model.nodes[node];
    EXPECT_EQ(frame.scale.empty() ? 1.0 : frame.scale[0], node == model.scenes[0].nodes[0] ? 1 : 0)
        << frame.name;
    const tinygltf::Node& agent = model.nodes.at(frame.children.at(0));
    EXPECT_EQ(agent.name, "asm_1");
    bodies.push_back(&model.meshes.at(model.nodes.at(agent.children.at(0)).mesh));
  }
  // Frames 3 and 4 have the same two triangles: one index accessor; frame 5's differ.
  EXPECT_EQ(bodies[0]->primitives.at(0).indices, bodies[1]->primitives.at(0).indices);
  EXPECT_NE(bodies[1]->primitives.at(0).indices, bodies[2]->primitives.at(0).indices);
  EXPECT_EQ(bodies[2]->primitives.size(), 2u);
  // Positions are each frame's own: frame 4's first point is at height 1.
  EXPECT_EQ(read_floats(model, bodies[1]->primitives[0].attributes.at("POSITION"), 0, 3)[1], 1.0f);

  // One stepped scale channel per frame node: frame 4 (time 0.5 s at 2 frames a second) is
  // hidden at 0, shown at 0.5, hidden again at 1.
  ASSERT_EQ(model.animations.size(), 1u);
  const tinygltf::Animation& animation = model.animations[0];
  ASSERT_EQ(animation.channels.size(), 3u);
  const tinygltf::AnimationChannel& channel = animation.channels[1];
  EXPECT_EQ(channel.target_node, model.scenes[0].nodes[1]);
  EXPECT_EQ(channel.target_path, "scale");
  const tinygltf::AnimationSampler& sampler = animation.samplers.at(channel.sampler);
  EXPECT_EQ(sampler.interpolation, "STEP");
  ASSERT_EQ(model.accessors.at(sampler.input).count, 3u);
  ASSERT_EQ(model.accessors.at(sampler.output).count, 3u);
  EXPECT_EQ(read_floats(model, sampler.input, 0, 3), (std::vector<float>{0, 0.5f, 1}));
  EXPECT_EQ(read_floats(model, sampler.output, 0, 9),
            (std::vector<float>{0, 0, 0, 1, 1, 1, 0, 0, 0}));

  host::GltfSequence empty;
  EXPECT_FALSE(empty.encode(true, 24, &bytes, &error));
  EXPECT_EQ(error, "nothing to bake: the frames hold no triangles");
}

host::FrameMesh triangle(const char* name, float x, int material) {
  host::FrameMesh mesh;
  mesh.name = name;
  mesh.agent = "asm 1";
  mesh.positions = {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}};
  mesh.triangles = {0, 1, 2};
  mesh.triangle_materials = {material};
  return mesh;
}

// Three meshes: "a" (skin), "lost" (nothing drawable), "b" (cloth, then the default material).
host::FrameGeometry three_meshes() {
  host::FrameGeometry frame;
  frame.materials.resize(2);
  frame.materials[0].name = "cloth";
  frame.materials[1].name = "skin";
  frame.meshes.push_back(triangle("a", 0, 1));
  // Nothing of "lost" is drawn (a point beyond reach): it is left out and takes no indices.
  frame.meshes.push_back(triangle("lost", 0, 0));
  frame.meshes.back().positions[1][0] = std::nanf("");
  host::FrameMesh two = triangle("b", 5, 0);
  two.positions.push_back({5, 5, 0});
  two.triangles.insert(two.triangles.end(), {0, 2, 3});
  two.triangle_materials.push_back(-1);
  two.uvs = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
  frame.meshes.push_back(two);
  return frame;
}

TEST(ObjEncoding, IndicesAndMaterialsRunOnAcrossObjectsOnAnyNumberOfThreads) {
  const host::FrameGeometry frame = three_meshes();
  std::string obj, mtl, error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::encode_obj(frame, "crowd.mtl", &obj, &mtl, &error, &warnings, 1));
  const std::string expected =
      "o asm_1/a\n"
      "v 0 0 0\nv 1 0 0\nv 0 1 0\n"
      "usemtl skin\nf 1 2 3\n"
      "o asm_1/b\n"
      "v 5 0 0\nv 6 0 0\nv 5 1 0\nv 5 5 0\n"
      "vt 0 0\nvt 1 0\nvt 0 1\nvt 1 1\n"
      "usemtl cloth\nf 4/1 5/2 6/3\n"
      "usemtl default_mtl\nf 4/1 6/3 7/4\n";
  const size_t body = obj.find("o asm_1/a");
  ASSERT_NE(body, std::string::npos) << obj;
  EXPECT_EQ(obj.substr(body), expected);
  // The library in the order of first use: skin, cloth, the default.
  const size_t skin = mtl.find("newmtl skin"), cloth = mtl.find("newmtl cloth"),
               fallback = mtl.find("newmtl default_mtl");
  EXPECT_LT(skin, cloth);
  EXPECT_LT(cloth, fallback);
  EXPECT_NE(fallback, std::string::npos);
  ASSERT_EQ(warnings.size(), 1u);

  std::string obj_on_threads, mtl_on_threads;
  ASSERT_TRUE(
      host::encode_obj(frame, "crowd.mtl", &obj_on_threads, &mtl_on_threads, &error, &warnings, 3));
  EXPECT_EQ(obj_on_threads, obj);
  EXPECT_EQ(mtl_on_threads, mtl);
}

}  // namespace
