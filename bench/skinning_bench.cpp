// Cost of deforming one agent's skin for a pose: the humanoid's geometry node (3000 points, 2700
// quads, 25 bones, up to four influences per point) through a posed 25-segment skeleton. The whole
// per-agent step (agent_deform_geometry) and its parts: the bones' skin matrices, the bare linear
// blend (skin_mesh) and the per-polygon refresh of the deformed mesh.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/skeleton.h"
#include "agent/skin_layout.h"
#include "agent/skinning.h"
#include "bench/humanoid.h"
#include "cdl/cdl.h"

namespace {

struct PosedHumanoid {
  Agent* type = nullptr;
  Agent* agent = nullptr;
  GeometryNode* node = nullptr;
  std::string error;  // why the input could not be built, or empty
};

// The humanoid loaded from its files, with one instance in a walking-like pose (every segment
// turned a little about each axis) and its geometry loaded by a first deformation.
PosedHumanoid build_posed_humanoid(const humanoid::TempDirectory& directory) {
  PosedHumanoid posed;
  posed.type = load_agent_type(humanoid::write_agent_files(directory).c_str());
  if (posed.type == nullptr) {
    posed.error = "agent file not read";
    return posed;
  }
  posed.agent = new_agent_instance(posed.type);
  int index = 0;
  for (Segment* segment = posed.agent->segments; segment; segment = segment->next, ++index) {
    segment->channels[3] = 12.0f * std::sin(0.9f * index);
    segment->channels[4] = 8.0f * std::cos(1.3f * index);
    segment->channels[5] = 15.0f * std::sin(0.4f * index + 1.0f);
  }
  posed.agent->matrix[12] = 3.0f;
  posed.agent->matrix[14] = -7.0f;
  agent_pose_from_channels(posed.agent);
  agent_deform_geometry(posed.agent);
  posed.node = posed.type->geometry_nodes;
  if (index != humanoid::kJointCount)
    posed.error = "wrong segment count";
  else if (posed.node == nullptr || posed.node->mesh == nullptr || !posed.node->bones)
    posed.error = "geometry node not loaded and bound";
  else if (posed.node->mesh->point_count != humanoid::kPointCount)
    posed.error = "wrong point count";
  return posed;
}

// Built once per program: agent types are never freed.
const PosedHumanoid& posed_humanoid() {
  static humanoid::TempDirectory directory("skinning");
  static const PosedHumanoid posed = build_posed_humanoid(directory);
  return posed;
}

bool ready(benchmark::State& state) {
  const PosedHumanoid& posed = posed_humanoid();
  if (!posed.error.empty()) state.SkipWithError(posed.error.c_str());
  return posed.error.empty();
}

void BM_AgentDeformGeometry(benchmark::State& state) {
  if (!ready(state)) return;
  const PosedHumanoid& posed = posed_humanoid();
  for (auto _ : state) {
    agent_deform_geometry(posed.agent);
    benchmark::DoNotOptimize(posed.node->mesh->points);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * posed.node->mesh->point_count);
  state.counters["influences"] = posed.node->influence_count;
}
BENCHMARK(BM_AgentDeformGeometry);

void BM_SkinBoneMatrices(benchmark::State& state) {
  if (!ready(state)) return;
  const PosedHumanoid& posed = posed_humanoid();
  float matrices[humanoid::kJointCount * 16];
  for (auto _ : state) {
    benchmark::DoNotOptimize(skin_bone_matrices(posed.agent, matrices, humanoid::kJointCount));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SkinBoneMatrices);

void BM_SkinMesh(benchmark::State& state) {
  if (!ready(state)) return;
  const PosedHumanoid& posed = posed_humanoid();
  const GeometryNode* node = posed.node;
  float matrices[humanoid::kJointCount * 16];
  skin_bone_matrices(posed.agent, matrices, humanoid::kJointCount);
  Mesh* out = mesh_copy(node->mesh);
  for (auto _ : state) {
    skin_mesh(node->rest_mesh, nullptr, node->influence_count, node->influence_vertex,
              node->influence_bone, node->influence_weight, matrices, humanoid::kJointCount, out);
    benchmark::DoNotOptimize(out->points);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * node->influence_count);
  mesh_free(out);
}
BENCHMARK(BM_SkinMesh);

// The blend through the node's regrouped skin, as agent_deform_geometry runs it: influences
// grouped by point once, then per point one blended matrix and one transform of point and normal.
// Argument 1 takes the AVX2 path where the processor has it, 0 the plain loop.
void BM_SkinPoints(benchmark::State& state) {
  if (!ready(state)) return;
  const PosedHumanoid& posed = posed_humanoid();
  const GeometryNode* node = posed.node;
  float matrices[humanoid::kJointCount * 16];
  skin_bone_matrices(posed.agent, matrices, humanoid::kJointCount);
  hordera::SkinLayout layout;
  hordera::build_skin_layout(node->rest_mesh->point_count, humanoid::kJointCount,
                             node->influence_count, node->influence_vertex, node->influence_bone,
                             node->influence_weight, layout);
  Mesh* out = mesh_copy(node->mesh);
  const bool previous = hordera::set_skin_acceleration(state.range(0) != 0);
  for (auto _ : state) {
    hordera::skin_points(layout, node->rest_mesh->points, node->rest_mesh->normals, matrices,
                         out->points, out->normals);
    benchmark::DoNotOptimize(out->points);
    benchmark::ClobberMemory();
  }
  hordera::set_skin_acceleration(previous);
  state.SetItemsProcessed(state.iterations() * out->point_count);
  state.SetLabel(state.range(0) && hordera::skin_acceleration_active() ? "avx2" : "plain");
  mesh_free(out);
}
BENCHMARK(BM_SkinPoints)->Arg(1)->Arg(0);

void BM_MeshRefresh(benchmark::State& state) {
  if (!ready(state)) return;
  Mesh* mesh = mesh_copy(posed_humanoid().node->mesh);
  for (auto _ : state) {
    mesh_refresh(mesh, 0);
    benchmark::DoNotOptimize(mesh->polygons);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * mesh->polygon_count);
  mesh_free(mesh);
}
BENCHMARK(BM_MeshRefresh);

// The single-precision refresh that the deformation uses for the renderer's copy.
void BM_MeshRefreshForRender(benchmark::State& state) {
  if (!ready(state)) return;
  Mesh* mesh = mesh_copy(posed_humanoid().node->mesh);
  for (auto _ : state) {
    hordera::refresh_polygons_for_render(mesh, 0);
    benchmark::DoNotOptimize(mesh->polygons);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * mesh->polygon_count);
  mesh_free(mesh);
}
BENCHMARK(BM_MeshRefreshForRender);

}  // namespace
