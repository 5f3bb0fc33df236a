// Render geometry of hair: strands grown from guide curves and drawn as thin three-sided tubes.
#pragma once

#include "motion/cache_files.h"

struct HairNode;
struct Mesh;

namespace hordera {

// The most strands one guide curve grows, whatever the node's density says.
constexpr int kMaxStrandsPerGuide = 64;

// Builds the strands of the guide curves in `guides` (world space) for the node's settings:
// - vertices_number (2 or more): every strand is resampled to that many points by arc length;
//   otherwise each strand keeps its guide's point count;
// - density: round(density) strands per guide (at least 1, at most kMaxStrandsPerGuide); strand
//   k of guide g lies k / n of the way from guide g to the next guide of the piece (the last
//   guide's next is the first);
// - clump_ratio (0..1) and clump_rate: an extra strand is pulled back towards its own guide by
//   clump_ratio * s^clump_rate at arc fraction s (root 0, tip 1; a rate of 0 or less counts as 1);
// - root_radius and tip_radius: the tube's radius, linear in s from root to tip.
// Each strand point becomes three points around the strand, each strand segment three quads.
// Guides with fewer than two points are skipped. Null when no strand could be built.
Mesh* build_hair_mesh(const CacheFrame& guides, const HairNode& node);

}  // namespace hordera
