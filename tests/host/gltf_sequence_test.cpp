// A sequence baked into one glTF file, read back with tinygltf: frame nodes shown in turn by a
// stepped scale animation, and topology shared only where it did not change.
#include <gtest/gtest.h>
#include <tiny_gltf.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/gltf_writer.h"

namespace {

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

template <class T>
std::vector<T> read_accessor(const tinygltf::Model& model, int index, size_t components) {
  const tinygltf::Accessor& accessor = model.accessors.at(index);
  const tinygltf::BufferView& view = model.bufferViews.at(accessor.bufferView);
  std::vector<T> values(accessor.count * components);
  std::memcpy(values.data(),
              model.buffers.at(view.buffer).data.data() + view.byteOffset + accessor.byteOffset,
              values.size() * sizeof(T));
  return values;
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

  tinygltf::TinyGLTF loader;
  tinygltf::Model model;
  std::string load_error, load_warning;
  ASSERT_TRUE(loader.LoadBinaryFromMemory(&model, &load_error, &load_warning,
                                          reinterpret_cast<const unsigned char*>(bytes.data()),
                                          static_cast<unsigned>(bytes.size())))
      << load_error;
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
  EXPECT_EQ(read_accessor<float>(model, bodies[1]->primitives[0].attributes.at("POSITION"), 3)[1],
            1.0f);

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
  EXPECT_EQ(read_accessor<float>(model, sampler.input, 1), (std::vector<float>{0, 0.5f, 1}));
  EXPECT_EQ(read_accessor<float>(model, sampler.output, 3),
            (std::vector<float>{0, 0, 0, 1, 1, 1, 0, 0, 0}));

  host::GltfSequence empty;
  EXPECT_FALSE(empty.encode(true, 24, &bytes, &error));
  EXPECT_EQ(error, "nothing to bake: the frames hold no triangles");
}

}  // namespace
