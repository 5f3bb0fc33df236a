// The skin of a geometry node regrouped for speed: its sparse influences (vertex, bone, weight)
// gathered by point and partitioned by how many bones move each point, so that the blend of one
// point is a fixed-length run of bone matrices summed once and applied once.
#pragma once

#include <cstdint>
#include <vector>

#include "base/vector_types.h"

namespace hordera {

// One partition: the points moved by exactly `width` bones (the last partition: by more than
// four, each with its own run length).
struct SkinPartition {
  std::vector<int32_t> points;   // point numbers, ascending
  std::vector<int32_t> offsets;  // wide partition only: first entry of point i; one more entry
                                 // than points
  std::vector<int32_t> bones;    // bone numbers, `width` per point (all runs, for the wide one)
  std::vector<float> weights;    // parallel to `bones`
};

// Influences grouped by point. Partition k (0 to 3) holds the points moved by k + 1 bones,
// partition 4 those moved by more; within a point the influences keep their list order. Points
// without any influence in range are listed in `unmoved` (their output is zero). Influences
// whose vertex or bone is out of range are dropped when the layout is built.
struct SkinLayout {
  int32_t point_count = 0;
  int32_t matrix_count = 0;
  SkinPartition partitions[5];
  std::vector<int32_t> unmoved;
};

// Regroups `influence_count` sparse influences (parallel arrays) for a mesh of `point_count`
// points skinned by `matrix_count` bone matrices. Reuses `layout`'s storage.
void build_skin_layout(int32_t point_count, int32_t matrix_count, int32_t influence_count,
                       const int32_t* vertices, const int32_t* bones, const float* weights,
                       SkinLayout& layout);

// Linear blend skinning through a layout: for each point, the weighted sum of its bones' skin
// matrices (16 floats each, row-vector convention, `layout.matrix_count` of them), then the rest
// point through that sum as a point and the rest normal through it without translation. Every
// output point is written; normals only when both `normals` and `out_normals` are given. The
// arrays hold `layout.point_count` entries and the outputs must not overlap the inputs.
void skin_points(const SkinLayout& layout, const Vector* points, const Vector* normals,
                 const float* matrices, Vector* out_points, Vector* out_normals);

// Whether skin_points() uses the processor's vector instructions (AVX2 with FMA) when the
// processor has them. On by default, unless the environment variable HORDERA_NO_SIMD is set
// to a non-empty value other than "0"; turning it off runs the plain loop, which tests use to
// check both paths. Returns the previous setting.
bool set_skin_acceleration(bool enabled);
// True when skin_points() will take the accelerated path.
bool skin_acceleration_active();

}  // namespace hordera
