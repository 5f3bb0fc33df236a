// Regrouping a node's sparse influences by point, partitioned by the number of bones per point.
#include "agent/skin_layout.h"

#include <algorithm>

namespace hordera {

void build_skin_layout(int32_t point_count, int32_t matrix_count, int32_t influence_count,
                       const int32_t* vertices, const int32_t* bones, const float* weights,
                       SkinLayout& layout) {
  layout.point_count = std::max(point_count, 0);
  layout.matrix_count = std::max(matrix_count, 0);
  for (SkinPartition& partition : layout.partitions) {
    partition.points.clear();
    partition.offsets.clear();
    partition.bones.clear();
    partition.weights.clear();
  }
  layout.unmoved.clear();
  const size_t n = static_cast<size_t>(layout.point_count);
  auto in_range = [&](int32_t i) {
    return vertices[i] >= 0 && vertices[i] < layout.point_count && bones[i] >= 0 &&
           bones[i] < layout.matrix_count;
  };

  // Counting sort by point, stable, so each point's influences keep their list order.
  thread_local std::vector<int32_t> start, order;
  start.assign(n + 1, 0);
  for (int32_t i = 0; i < influence_count; ++i)
    if (in_range(i)) ++start[static_cast<size_t>(vertices[i]) + 1];
  for (size_t v = 0; v < n; ++v) start[v + 1] += start[v];
  order.resize(static_cast<size_t>(start[n]));
  {
    thread_local std::vector<int32_t> fill;
    fill.assign(start.begin(), start.end() - 1);
    for (int32_t i = 0; i < influence_count; ++i)
      if (in_range(i)) order[static_cast<size_t>(fill[static_cast<size_t>(vertices[i])]++)] = i;
  }

  for (size_t v = 0; v < n; ++v) {
    const int32_t count = start[v + 1] - start[v];
    if (count == 0) {
      layout.unmoved.push_back(static_cast<int32_t>(v));
      continue;
    }
    SkinPartition& partition = layout.partitions[std::min(count, 5) - 1];
    if (count > 4) {
      if (partition.offsets.empty()) partition.offsets.push_back(0);
      partition.offsets.push_back(partition.offsets.back() + count);
    }
    partition.points.push_back(static_cast<int32_t>(v));
    for (int32_t j = start[v]; j < start[v + 1]; ++j) {
      partition.bones.push_back(bones[order[static_cast<size_t>(j)]]);
      partition.weights.push_back(weights[order[static_cast<size_t>(j)]]);
    }
  }
}

}  // namespace hordera
