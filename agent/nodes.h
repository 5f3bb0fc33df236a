// Node records that hang off an agent type besides its segments and brain: materials, bones,
// geometry nodes with their blend shapes, cloth, hair, springs and geometry selectors (option
// nodes). The agent-file reader fills the documented fields; the render output, the skinning and
// the dynamics read them. Every record keeps its fields in the documented order; each node kind
// forms a singly linked list on the agent type in file order.
#pragma once

#include <cstdint>

#include "base/vector_types.h"

struct Segment;
struct Agent;

extern "C" {

struct GeometryNode;
struct ClothNode;
struct OptionNode;

// ---------------------------------------------------------------------------------------------
// Materials
// ---------------------------------------------------------------------------------------------

// Colour model codes of a material colour.
enum : int32_t { COLOUR_MODEL_RGB = 0, COLOUR_MODEL_HSV = 1 };

// One material colour: three components and the model they are written in. With model 1 the
// components are hue, saturation and value (each 0..1) and the render output turns them into
// red, green and blue; any other model means red, green and blue.
struct MaterialColour {
  float value[3];
  int32_t model;  // COLOUR_MODEL_RGB or COLOUR_MODEL_HSV
  // The text of each component when the file wrote it as a variable name or a backquoted
  // expression (owned, without the backquotes), so it can be re-evaluated per agent; null for a
  // plain number. `value` holds the value at read time either way.
  char* text[3];
};

// The shaders of a material for one render pass. The render output uses `surface` (when set)
// instead of the default Phong shader, `displacement` (when set) as the displacement shader, and
// `max_displacement` (0 for none) as the objects' maximum displacement. Descriptions are one line
// each: a quoted shader name followed by "name" code [values] triples.
struct MaterialPass {
  char* surface;           // surface shader description, owned, or null
  char* displacement;      // displacement shader description, owned, or null
  float max_displacement;  // 0 for none
};

// One "colour_map %s %s" line: the colour the map drives and the image file.
struct ColourMap {
  char* channel;  // "ambient", "diffuse", ... as written
  char* file;     // image path as written
  ColourMap* next;
};

struct Material {
  int32_t number;  // the material's number within its type: its position in the material list
                   // (from 0) unless an "id %d" line sets it; "mat_%i_%i" and geometry
                   // "material %d" lines refer to it
  char* name;      // rest of the "material" line, or null
  uint8_t disabled;
  int32_t position[2];  // editor position
  MaterialColour ambient;
  MaterialColour diffuse;
  MaterialColour specular;
  float shininess;       // value of "shininess %64s" (a number, variable or expression)
  char* shininess_text;  // the word as written, owned, or null
  float roughness;
  char* roughness_text;
  ColourMap* colour_maps;  // in file order
  // Per-pass shader rows, indexed by the render pass's position in the scene's pass list
  // (`render_passes`); `pass_count` entries, a row whose three entries are null, null and 0
  // has nothing for that pass. Read rows through `material_pass_row`.
  MaterialPass* passes;
  int32_t pass_count;
  // The row used for every pass that has no row of its own ("shader", "displacement" and
  // "displ_bounds" lines without a pass name, and "displacement_bounds").
  MaterialPass all_passes;
  uint8_t matte;       // "matte": the material renders as a holdout in every pass
  char* rib_include;   // "rib_include %s", owned, or null
  char* ogl_program;   // "ogl_program %s"
  char* rman_surface;  // RenderMan descriptions, each the rest of its line
  char* rman_displacement;
  char* rman_shadow_surface;
  char* rman_shadow_displacement;
  Material* next;

  // --- engine state beyond the documented fields ---
};

// The shader row of a material for the render pass at position `pass` (from 0): its own row when
// it has one with a surface or displacement description or a displacement bound, else the
// material's all-passes row. Never null for a non-null material; `pass` < 0 gives the
// all-passes row.
const MaterialPass* material_pass_row(const Material* material, int pass);
// The material of an agent type whose number is `number`, or null.
Material* find_material(Agent* agent, int number);

// ---------------------------------------------------------------------------------------------
// Bones
// ---------------------------------------------------------------------------------------------

// A deformer of the agent type's skin: one segment with its bind data. The position of a bone in
// the agent type's bone list is its deformer number in weights files.
struct Bone {
  char* name;        // the segment name of the "bone %s" line
  Segment* segment;  // found with findSegment
  uint8_t disabled;
  int32_t position[2];
  float translate[3];  // "translate %f %f %f"
  float rotate[3];     // "rotate %f %f %f", degrees
  float inner[3];      // "inner %f %f %f"
  float outer;         // "outer %f"
  Matrix bind_matrix;  // maps rest-mesh points into the bone's space; identity until bound
  Bone* next;

  // --- engine state beyond the documented fields ---
  uint8_t bound;  // bind_matrix has been computed from the segment's rest transform
};

// ---------------------------------------------------------------------------------------------
// Geometry nodes and blend shapes
// ---------------------------------------------------------------------------------------------

// Kinds of a geometry transform operation.
enum : int32_t { GEOMETRY_TRANSLATE = 0, GEOMETRY_ROTATE = 1, GEOMETRY_SCALE = 2 };

// Axis order words of a rotate operation.
enum : int32_t {
  AXIS_ORDER_XYZ = 0,
  AXIS_ORDER_XZY = 1,
  AXIS_ORDER_YXZ = 2,
  AXIS_ORDER_YZX = 3,
  AXIS_ORDER_ZXY = 4,
  AXIS_ORDER_ZYX = 5,
};

// One operation of a geometry node's transform, applied in list order from the identity.
struct GeometryTransform {
  int32_t kind;        // GEOMETRY_TRANSLATE, GEOMETRY_ROTATE or GEOMETRY_SCALE
  float value[3];      // x, y, z; rotations in degrees
  char* variable[3];   // per component: the name of a variable definition of the agent type that
                       // gives the value instead (owned), or null for the number in `value`
  int32_t axis_order;  // rotate only: AXIS_ORDER_XYZ .. AXIS_ORDER_ZYX
  GeometryTransform* next;
};

// Blend shape modes.
enum : int32_t { BLEND_LINEAR = 1, BLEND_RADIAL = 2, BLEND_CYLINDRICAL = 3 };

struct BlendShape {
  char* target;     // the blend's name
  char* file;       // mesh path as written (leading '+' dropped)
  int32_t mode;     // BLEND_LINEAR, BLEND_RADIAL or BLEND_CYLINDRICAL
  float radial[3];  // the three radial parameters, 0 unless given
  float* data;      // three floats per vertex of the base mesh, or null (not loaded, mismatched)
  int32_t vertex_count;  // vertices in `data`
  float weight;          // current weight, 0 on creation
  BlendShape* next;
};

// Shading modes of a geometry node.
enum : int32_t { SHADE_SMOOTH = -1, SHADE_CONSTANT = 0, SHADE_FACETED = 1 };

struct GeometryNode {
  char* name;  // rest of the "geometry" line without a leading '+', or null
  int32_t id;  // "id %d"
  uint8_t disabled;
  int32_t position[2];            // editor position
  char* file;                     // mesh path as written; resolve against the type's cdl_directory
  GeometryTransform* transforms;  // in file order
  char** attach_names;            // segment names of the "attach" line, `attach_count` of them
  Segment** attach_segments;      // parallel to attach_names; null where no segment has the name
  int32_t attach_count;
  int32_t attach_found;         // how many of the names were found
  int32_t material;             // material number ("material %d"), -1 for none
  uint8_t subdiv;               // render as a subdivision surface
  int32_t interpolateboundary;  // "interpolateboundary %d"
  int32_t shade;                // SHADE_SMOOTH (no "shade" line), SHADE_CONSTANT, SHADE_FACETED
  uint8_t flip_normals;         // the node's orientation flag ("flip_normals")
  BlendShape* blends;           // in file order
  char* weights_file;           // "weights_file %s" as written, or null
  OptionNode* selector;         // the geometry selector that lists this node as an alternative,
                                // or null; such a node is output only through its selector
  GeometryNode* next;

  // --- engine state beyond the documented fields (meshes, weights, influences) ---
  struct Mesh* mesh;            // the loaded mesh; receives the deformed result every frame
  struct Mesh* reference_mesh;  // copy of the mesh as first loaded (blend shapes compare to it)
  struct Mesh* rest_mesh;       // reference mesh through the node's transform; the skin reads it
  float** weights;              // per-vertex weights: one array of mesh->point_count floats per
                                // attached segment (per bone without an attach list), or null
  int32_t weight_array_count;
  int32_t influence_count;    // sparse influences, parallel arrays of influence_count entries:
  int32_t* influence_vertex;  // vertex number
  int32_t* influence_bone;    // position of the bone in the agent type's bone list
  float* influence_weight;
  uint8_t bones;       // bound to the skeleton: the node has influences and is skinned
  uint8_t load_state;  // 0 not loaded yet, 1 loaded, 2 the load failed (not retried)
  // The deformed points of the previous frame, kept by the render driver for motion blur
  // (malloc'ed, `previous_point_count` entries, the mesh's point count when they were kept), or
  // null before the first previous frame.
  Vector* previous_points;
  int32_t previous_point_count;
};

// ---------------------------------------------------------------------------------------------
// Cloth, hair and springs
// ---------------------------------------------------------------------------------------------

// Collision bits of a cloth node.
enum : int32_t {
  CLOTH_COLLIDE_TERRAIN = 1,
  CLOTH_COLLIDE_SKELETON = 2,
  CLOTH_COLLIDE_GEOMETRY = 4
};

// A "constrain %f %f %f %s" line: a cloth point held by a segment.
struct ClothConstraint {
  float point[3];
  char* segment_name;
  Segment* segment;  // or null when no segment has the name
  ClothConstraint* next;
};

struct ClothNode {
  char* name;
  uint8_t disabled;
  int32_t position[2];   // editor position ("translate %d %d")
  int32_t grid_columns;  // "grid %d %d %f %f"
  int32_t grid_rows;
  float grid_width;
  float grid_height;
  char* geo;  // "geo %s": mesh path as written, or null
  float rotate[3];
  float translate[3];  // "translate %f %f %f"
  float scale[3];      // 1 1 1 on creation
  float ks;
  float kd;
  float kb;
  float collide_ks;
  float collide_kd;
  int32_t collisions;  // CLOTH_COLLIDE_* bits
  float drag;
  int32_t steps;
  float thickness;
  char* attach_name;  // segment name of "attach", or null
  Segment* attach_segment;
  int32_t material;  // material number, -1 for none
  int32_t option;    // "option %d"
  char* weights_file;
  ClothConstraint* constraints;  // in file order
  OptionNode* selector;          // as for geometry nodes
  ClothNode* next;

  // --- engine state beyond the documented fields ---
  // The piece's render mesh for the frame being rendered (filled by the cloth cache loader), or
  // null; the render output draws it as a cloth object.
  struct Mesh* mesh;
  Vector* previous_points;  // mesh->point_count points of the previous frame (motion blur), or null
  uint8_t switched_off;     // set when the piece is not drawn this frame
};

// Collision bits of a hair node.
enum : int32_t { HAIR_COLLIDE_TERRAIN = 1, HAIR_COLLIDE_GEOMETRY = 2, HAIR_COLLIDE_HAIR = 4 };

struct HairNode {
  char* name;
  uint8_t disabled;
  int32_t position[2];
  char* filename;
  char* density_map;
  char* colour_map;
  char* length_map;
  char* normal_map;
  float colour;
  int32_t hair_dynamics;
  float ks;
  float kd;
  float collide_ks;
  int32_t collisions;  // HAIR_COLLIDE_* bits
  float drag;
  int32_t steps;
  float stiffness;
  float mass;
  float collide_radius;
  float root_radius;
  float tip_radius;
  float density;
  int32_t neighbour;
  float default_length;
  int32_t vertices_number;
  float clump_ratio;
  float clump_rate;
  char* attach_name;
  Segment* attach_segment;
  int32_t material;  // material number, -1 for none
  HairNode* next;

  // --- engine state beyond the documented fields ---
  // The render geometry built from the frame's guide curves (polygons), or null; the render
  // output draws it as a hair object.
  struct Mesh* mesh;
  Vector* previous_points;  // mesh->point_count points of the previous frame (motion blur), or null
};

// Spring kinds.
enum : int32_t { SPRING_STRETCH = 0, SPRING_SQUASH = 1, SPRING_ATTACH = 2 };

struct SpringNode {
  char* name;
  uint8_t disabled;
  int32_t position[2];
  Segment* from;  // "from %s %f %f %f": segment (null when unknown) and local point
  float from_point[3];
  Segment* to;
  float to_point[3];
  int32_t type;  // SPRING_STRETCH, SPRING_SQUASH or SPRING_ATTACH
  float ks;
  float kd;
  float kf;
  float kt;
  float krx;
  float kry;
  float krz;
  float kspeed;
  float kdist;
  uint8_t collisions;
  uint8_t no_reaction;
  float restlen_scale;  // 1 on creation
  float radius;
  SpringNode* next;

  // --- engine state beyond the documented fields ---
};

// ---------------------------------------------------------------------------------------------
// Geometry selectors (option nodes)
// ---------------------------------------------------------------------------------------------

// Where a selector takes its value from.
enum : int32_t { OPTION_MANUAL = 0, OPTION_VARIABLE = 1, OPTION_INPUTS = 2 };

// Kinds of a selector alternative.
enum : int32_t { OPTION_GEOMETRY = 0, OPTION_CLOTH = 1 };

// One alternative of a selector, from a "geo" or "cl" line.
struct OptionAlternative {
  int32_t kind;  // OPTION_GEOMETRY or OPTION_CLOTH
  char* name;    // the node's name as written
  // The node, resolved by name at "end object" (and at the end of a read); null when the agent
  // type has no geometry (cloth) node of that name. Cast by `kind`.
  GeometryNode* geometry;
  ClothNode* cloth;
};

// A geometry selector: it picks one of its alternatives by its value rounded to the nearest
// integer (floor of value + 0.5), clamped to 0 .. alternative_count - 1.
struct OptionNode {
  char* name;
  uint8_t disabled;
  int32_t position[2];
  int32_t source;   // OPTION_MANUAL, OPTION_VARIABLE or OPTION_INPUTS
  char* variable;   // "var %s": the user variable that gives the value, or null
  float manual;     // "manual %f"
  int32_t* inputs;  // "inputs %d ...": ids of brain nodes whose values feed it
  int32_t input_count;
  OptionAlternative* alternatives;  // in file order
  int32_t alternative_count;
  char* attach_name;        // "attach %s": segment that carries the alternatives, or null
  Segment* attach_segment;  // null: the selector is bound to the skeleton (skinned output)
  float value;              // the current value; the manual value after a read
  OptionNode* next;

  // --- engine state beyond the documented fields ---
};

// The index of the alternative a selector's current value picks (0 for a selector without
// alternatives).
int option_choice(const OptionNode* option);

// ---------------------------------------------------------------------------------------------
// Render passes of an agent type
// ---------------------------------------------------------------------------------------------

// The agent type's per-pass entries ("render_pass" lines), stored in the agent type's
// `render_passes` slot. Both arrays (and the agent type's `rib_includes`, when not null) have
// `count` entries indexed by the pass's position in the scene's pass list.
struct ObjectRenderPasses {
  int32_t count;
  uint8_t* set;    // 1 when a "render_pass" line named the pass
  uint8_t* flags;  // the type's flags byte for the pass: 1 visible, 2 casts shadows, 4 matte
};

}  // extern "C"
