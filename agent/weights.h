// Vertex weights files (".w"): the per-vertex weights of the deformers that skin a mesh.
//
// A file lists its deformers ("deformer %d %s": number and segment name) and then one line per
// vertex ("%d:" followed by deformer/weight pairs). Deformers are matched to the agent type's
// bone list by segment name, so a file stays valid when bones are added or re-ordered.
#pragma once

#include <cstdint>
#include <vector>

#include "agent/agent.h"

extern "C" {

// Reads the weights file at `path` (already resolved; it must end in ".w") for a mesh of
// `vertex_count` vertices of the agent type `type`. On success *arrays receives one malloc'ed
// array of `vertex_count` floats per bone of the type's bone list (bone-list order), or, when
// `attach_count` > 0, one per entry of `attach_segments` (the array of the bone whose segment
// that is, again for a segment listed twice; a segment without a bone gets zeros). Missing entries
// are 0; *array_count receives the number of arrays. Returns 1 on success. A wrong extension is
// reported as a file-type error naming "w"; a file that cannot be opened prints "Error opening
// weights file \"%s\"\n"; both, and a file that is not a weights file at all, return 0 with *arrays
// null. Lines with an unknown deformer or a vertex number out of range are skipped silently;
// unreadable numbers are reported as "path:line: what is wrong" and the rest of that line is
// skipped.
int read_weights_file(const char* path, Agent* type, int32_t vertex_count,
                      Segment* const* attach_segments, int32_t attach_count, float*** arrays,
                      int32_t* array_count);
// Frees arrays made by read_weights_file() (null is ignored).
void free_weight_arrays(float** arrays, int32_t array_count);
// Writes a weights file from the sparse form: `count` influences given as parallel arrays of
// vertex number, deformer number and weight. Deformer i is named `deformer_names[i]` (0 <= i <
// deformer_count); every vertex 0 .. vertex_count - 1 gets a line, listing its non-zero weights
// in the order given. Returns 1 on success; 0, with a message naming the file, when an influence
// is out of range (nothing is written) or the file cannot be written.
int write_weights_file(const char* path, const char* const* deformer_names, int32_t deformer_count,
                       int32_t vertex_count, int32_t count, const int32_t* vertices,
                       const int32_t* deformers, const float* weights);
// write_weights_file() with the deformers of an agent type: its bone list in order, each named
// by its bone's segment.
int write_agent_weights_file(const char* path, Agent* type, int32_t vertex_count, int32_t count,
                             const int32_t* vertices, const int32_t* deformers,
                             const float* weights);

}  // extern "C"

namespace hordera {
// The deformer table of a weights file for an agent type: entry d is the position in the type's
// bone list of the bone named by "deformer d", or -1 (numbers never listed, unknown names). Its
// size is the largest deformer number plus 1. Returns false when the file cannot be read.
bool read_weights_deformer_table(const char* path, Agent* type, std::vector<int>& table);
// Reports a file whose name does not end in the expected extension (written without the dot,
// e.g. "w"), on standard error.
void report_file_type_error(const char* path, const char* expected);
}  // namespace hordera
