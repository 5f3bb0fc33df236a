// The renderer interface the plug-in and the stand-in host share: the mental ray 3.7 types,
// records and functions the crowd front-end uses, with the 64-bit layouts of the renderer's own
// headers. The plug-in never links these functions: it finds each one by name in the module the
// renderer hands over (mray/renderer_functions.h). The host implements them with exactly these
// prototypes, so the two sides cannot drift apart.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// Scalar types of the renderer interface.
typedef int miBoolean;             // miFALSE or miTRUE, 4 bytes
typedef unsigned char miCBoolean;  // compact boolean inside records
typedef unsigned char miUchar;
typedef unsigned short miUshort;
typedef unsigned int miUint;
typedef int miInteger;
typedef float miScalar;
typedef miUint miTag;  // database handle; 0 is the null tag
typedef miUint miGeoIndex;

enum : int { miFALSE = 0, miTRUE = 1 };

// Special tag values: the null tag, and the marker of a parameter that is not connected.
enum : miTag { miNULLTAG = 0, miPARAMTAG = 0xFFFFFFFEu };

// Three floats; positions, directions and bounding-box corners.
struct miVector {
  miScalar x, y, z;
};
// Three doubles.
struct miGeoVector {
  double x, y, z;
};
// Red, green, blue, alpha.
struct miColor {
  miScalar r, g, b, a;
};
// Sixteen floats, row-major, translation in elements 12 to 14.
typedef miScalar miMatrix[16];

// A pointer padded to 8 bytes, so that records have one layout on 32 and 64 bits.
union miPointer {
  void* p;
  miUint pad[2];
};

struct mi_lock;
// A renderer lock: an opaque 8-byte handle, passed by value to mi_lock and mi_unlock.
union miLock {
  struct mi_lock* addr;
  int pad[2];
};

// Shader parameter types; also the `type` argument of mi_api_parameter_value.
enum miParam_type : int {
  miTYPE_BOOLEAN = 0,
  miTYPE_INTEGER = 1,
  miTYPE_SCALAR = 2,
  miTYPE_STRING = 3,
  miTYPE_COLOR = 4,
  miTYPE_VECTOR = 5,
  miTYPE_TRANSFORM = 6,
  miTYPE_SHADER = 7,
  miTYPE_SCALAR_TEX = 8,
  miTYPE_COLOR_TEX = 9,
  miTYPE_VECTOR_TEX = 10,
  miTYPE_LIGHT = 11,
  miTYPE_STRUCT = 12,
  miTYPE_ARRAY = 13,
  miTYPE_TEX = 14,
  miTYPE_MATERIAL = 15,
  miTYPE_GEOMETRY = 16,
  miTYPE_LIGHTPROFILE = 17,
  miTYPE_DATA = 18,
  miTYPE_SPECTRUM = 19,
  miTYPE_MAP = 20,
};

// Database element kinds returned by mi_db_type.
enum : int {
  miSCENE_NONE = 0,
  miSCENE_FUNCTION_DECL = 1,
  miSCENE_FUNCTION = 2,
  miSCENE_MATERIAL = 3,
  miSCENE_LIGHT = 4,
  miSCENE_CAMERA = 5,
  miSCENE_OBJECT = 7,
  miSCENE_INSTANCE = 10,
  miSCENE_GROUP = 11,
  miSCENE_OPTIONS = 12,
  miSCENE_IMAGE = 13,
  miSCENE_STRING = 29,
  miSCENE_USERDATA = 34,
  miSCENE_ASSEMBLY = 54,
};

// Kinds of a shader function; a phenomenon is kind 1.
enum miFunction_type : int {
  miFUNCTION_C = 0,
  miFUNCTION_PHEN = 1,
  miFUNCTION_C_REQ = 2,
  miFUNCTION_OUTFILE = 3,
  miFUNCTION_DATA = 4,
};

struct miCamera;
struct miInstance;
struct miGroup;
struct miFunction_decl;

// Scene options. Only the tag of the custom ("string") options is read by shaders; it sits at
// byte 768 of the renderer's record, which is 808 bytes long.
struct miOptions {
  miUchar reserved[768];
  miTag string_options;  // database element holding the custom options
  miUchar reserved_tail[36];
};

// One shader function (a shader call): header, then the parameter block at byte 120, followed
// for connected or phenomenon functions by the ghost tags (ghost_offs bytes after each parameter).
struct miFunction {
  miPointer sparep1[7];
  miFunction_type type;
  miUint out_typemap;
  miUint out_interpmap;
  miTag function_decl;
  miTag next_function;
  miTag parameter_indirect;
  miTag interfacephen;  // enclosing phenomenon, or 0
  miBoolean spare0;
  int parameter_size;  // bytes of the parameter block
  int result_size;
  int ghost_offs;  // bytes from a parameter to its connection tag; 0 when nothing is connected
  miTag pass_read, pass_write;
  signed char pass_maxsamples;
  miUchar has_connections;
  miUchar spare1[2];
  miUchar no_expl_params;
  miUchar cloned;
  miUchar spare2[5];
  miUchar label;
  char parameters[8];  // start of the parameter block
};

// The render state handed to every shader and callback. A geometry shader and an assembly
// callback may rely on version, camera_inst, camera, options, global_lock, instance and shader.
struct miState {
  int version;
  miTag camera_inst;
  const miCamera* camera;
  const miOptions* options;
  miLock global_lock;  // lock shared by all shaders
  miUint qmc_instance;
  void* ts;
  float raster_x, raster_y;
  miState* parent;
  int type;
  miUchar qmc_component, scanline, inv_normal;
  char face;
  void* msl_state;
  void* cache;
  int reflection_level, refraction_level;
  miVector org, dir;
  double dist;
  float time, ior, ior_in;
  miTag material, volume, environment, refraction_volume;
  miUint label;
  miTag instance, light_instance;
  void* pri;
  int pri_idx;
  float bary[4];
  miVector point, normal, normal_geom;
  miScalar dot_nd;
  double shadow_tol;
  miVector *tex_list, *bump_x_list, *bump_y_list;
  miVector motion;
  miVector* derivs;
  miVector tex;
  const miFunction* shader;  // the function now running
  miState* child;
  short thread;
  miUshort count;
  void* user;
  int user_size;
};

// Callbacks of a procedural assembly: the creation callback returns the tag of the assembly's
// contents; the exit callback releases its argument record.
typedef miTag (*miApi_assembly_callback)(const miState* state, void* args);
typedef miBoolean (*miApi_assembly_exit_callback)(const miState* state, void* args);

// A deferred block of geometry. The plug-in writes only the four box vectors.
struct miAssembly {
  miVector bbox_min;  // in the space of the instance holding the assembly
  miVector bbox_max;
  miVector bbox_min_m;  // motion box
  miVector bbox_max_m;
  miPointer function;   // creation callback
  miPointer exitcb;     // exit callback
  miPointer arguments;  // argument record of both callbacks
  miTag filename;
};

// Tessellation settings of a polygon or subdivision object.
struct miApprox {
  miScalar cnst[6];
  miUchar sharp, flag, any, view_dep;
  int method;
  int style;
  miUshort subdiv[2];
  miUint max;
  miScalar grading;
  miUint spare[2];
};

// A geometric object; the plug-in writes the flags, maxdisplace, the boxes and mbox_explicit
// between mi_api_object_begin and the first group. The host hands out at least 256 zeroed bytes.
struct miObject {
  miTag photonmap_file;
  miUint volume_id;
  miTag finalgather_file;
  int type;  // 0 polygons, 4 subdivision surfaces
  miCBoolean visible;
  miUchar shadow;  // 1 cast, 2 receive
  miUchar reflection, refraction, transparency, caustic, globillum, finalgather;
  miCBoolean select;
  char face;  // 'f', 'b' or 'a'
  miUchar own_accel, finalgather_force;
  miUchar spare1[3];
  miCBoolean fine;
  miBoolean view_dependent;
  miBoolean mtl_is_label;
  miScalar maxdisplace;
  miUint spare2;
  miTag userdata;
  miUint label;
  miVector bbox_min, bbox_max;
  miVector bbox_min_m, bbox_max_m;
  miTag functions;
  miUint n_functions;
  miCBoolean mbox_explicit;
  signed char min_samples, max_samples;
  miCBoolean shadowmap;
  miUint spare3;
  miScalar ray_offset;
  miTag approx_list;
  miScalar shading_samples;
  miUint tri_est;
  miUint spare4[2];
  miPointer geo[14];  // geometry lists, filled by the renderer
};

// A material: the tags of its shaders.
struct miMaterial {
  miBoolean opaque;
  miTag shader, displace, shadow, volume, environment, contour, photon, photonvol, lightmap;
  miTag spare;
  miUshort builtin_index;
  miUshort spare2;
  miTag bsdf;
  miUint spare3;
};

// Capacity hints of a subdivision mesh.
struct miApi_ccmesh_options {
  miUint no_polygons;
  miUint no_vertices;
};

// An opaque parameter declaration list.
typedef char* miParameter;

// The parameter block of the `hordera_mray` geometry shader, in declaration order.
struct HorderaMrayParameters {
  miInteger id;       // the agent's id
  miTag paramStr;     // string tag of the parameter string; 0 when not given
  miVector bbox_min;  // minimum corner of the agent's box
  miVector bbox_max;  // maximum corner
};

// ---- Renderer functions. Memory: zero-filled; `test` variants return null on failure; a
// release of null does nothing; strdup of null is null. `file` and `line` name the caller.
void* mi_mem_int_allocate(const char* file, int line, miUint size);
void* mi_mem_int_test_allocate(const char* file, int line, miUint size);
void* mi_mem_int_reallocate(const char* file, int line, void* mem, miUint size);
void mi_mem_int_release(const char* file, int line, void* mem);
char* mi_mem_int_strdup(const char* file, int line, const char* str);

// Messages, printf-style; the renderer adds the line end and filters by verbosity.
void mi_error(const char* format, ...);
void mi_warning(const char* format, ...);
void mi_info(const char* format, ...);
void mi_progress(const char* format, ...);
void mi_debug(const char* format, ...);
void mi_vdebug(const char* format, ...);

// Locks; mi_lock and mi_unlock take the 8-byte handle by value.
miBoolean mi_init_lock(miLock* lock);
void mi_delete_lock(miLock* lock);
void mi_lock(const miLock lock);
void mi_unlock(const miLock lock);

// Parameter evaluation: the address of the value to use for the parameter at `param`.
void* mi_phen_eval(miState* state, void* param);

// Database: access pins an element and returns its data; unpin balances one access.
void* mi_db_access(miTag tag);
void mi_db_unpin(miTag tag);
int mi_db_type(miTag tag);
int mi_db_size(miTag tag);

// Assemblies. The name passed to begin is renderer memory and becomes the renderer's.
miAssembly* mi_api_assembly_begin(char* name);
miBoolean mi_api_assembly_callback(miApi_assembly_callback callback,
                                   miApi_assembly_exit_callback exit_callback, void* args);
miTag mi_api_assembly_end(void);

// Adds `item` to the result of a geometry shader or assembly callback, turning several items
// into an instance group.
miBoolean mi_geoshader_add_result(miTag* result, const miTag item);

// Objects, vectors, vertices and polygons. Every string argument is renderer memory and becomes
// the renderer's.
miObject* mi_api_object_begin(char* name);
miTag mi_api_object_end(void);
miBoolean mi_api_basis_list_clear(void);
miBoolean mi_api_object_group_begin(double merge);
miBoolean mi_api_object_group_end(void);
miBoolean mi_api_vector_xyz_add(miVector* vector);
miBoolean mi_api_vertex_add(int vector);
miBoolean mi_api_vertex_normal_add(int vector);
miBoolean mi_api_vertex_tex_add(int vector, int bump_x, int bump_y);
miBoolean mi_api_vertex_motion_add(int vector);
miBoolean mi_api_poly_begin(int type, char* material);
miBoolean mi_api_poly_begin_tag(int type, miTag material);
miBoolean mi_api_poly_index_add(int vertex);
miBoolean mi_api_poly_end(void);
miBoolean mi_api_poly_approx(miApprox* approx);
miBoolean mi_api_ccmesh_begin(char* name, miApi_ccmesh_options* options);
miBoolean mi_api_ccmesh_polygon(miUint vertex_count, miUint* vertex_indices, miUint material);
miBoolean mi_api_ccmesh_approx(char* name, miApprox* approx);
miBoolean mi_api_ccmesh_end(void);

// Instances and instance groups.
miInstance* mi_api_instance_begin(char* name);
miTag mi_api_instance_end(char* item_name, miTag geometry_function, miTag parameters);
miGroup* mi_api_instgroup_begin(char* name);
miBoolean mi_api_instgroup_additem(char* name);
miTag mi_api_instgroup_end(void);

// Materials and shader calls.
miMaterial* mi_api_material_begin(char* name);
miTag mi_api_material_end(void);
miBoolean mi_api_function_call(char* declaration_name);
miBoolean mi_api_parameter_name(char* name);
miBoolean mi_api_parameter_value(miParam_type type, void* value, int* null_index, int* size);
miBoolean mi_api_parameter_shader(char* shader_name);
miBoolean mi_api_parameter_push(miBoolean is_array);
miBoolean mi_api_parameter_pop(void);
miBoolean mi_api_new_array_element(void);
miTag mi_api_function_call_end(miTag old);
miBoolean mi_api_shader_add(char* name, miTag function);
miTag mi_api_function_append(miTag list, miTag function);
miTag mi_api_function_assign(char* name);

// Declarations, scopes, names and variables.
miParameter* mi_api_parameter_decl(miParam_type type, char* name, int string_length);
miParameter* mi_api_parameter_append(miParameter* list, miParameter* parameter);
miBoolean mi_api_parameter_child(miParameter* parent, miParameter* child);
miFunction_decl* mi_api_funcdecl_begin(miParameter* out_parameters, char* name,
                                       miParameter* in_parameters);
miTag mi_api_funcdecl_end(void);
miBoolean mi_api_scope_begin(char* name);
miBoolean mi_api_scope_end(void);
char* mi_api_scope_apply(char* name);
miTag mi_api_name_lookup(char* name);
miTag mi_api_decl_lookup(char* name);
miBoolean mi_api_variable_set(char* name, char* value);
const char* mi_api_variable_lookup(char* name);

// Textures: begin does not return the new texture's tag; file_def does.
miTag mi_api_texture_begin(char* name, int type, int flags);
miTag mi_api_texture_file_def(char* filename);
void mi_api_texture_set_filter(miScalar filter);
void mi_api_texture_end(void);

}  // extern "C"

// ---- The C++ shader interface through which shaders read the custom scene options. The
// virtual methods keep the declaration order of the renderer's interface version 3 (mental ray
// 3.7), which fixes their slots in the virtual table.
namespace mi::shader_v3 {

struct LightList;
struct Map_declaration_base;
struct Map_base;
struct Map_element_base;
struct Map_iterator_base;
struct Map_lookup_base;
struct Map_status;
struct Framebuffer;
struct Bsdf;

// The custom scene options: typed values by name. A get returns true and writes the value only
// when the option exists with a matching type (a boolean may also be read as an int, an int as a
// float); strings returned stay the renderer's. Release every Options object obtained.
class Options {
 public:
  virtual void set(const char* name, bool value) = 0;
  virtual void set(const char* name, const char* value) = 0;
  virtual void set(const char* name, int value) = 0;
  virtual void set(const char* name, float value) = 0;
  virtual void set(const char* name, float a, float b, float c) = 0;
  virtual void set(const char* name, float a, float b, float c, float d) = 0;
  virtual bool get(const char* name, bool* value) const = 0;
  virtual bool get(const char* name, const char** value) const = 0;
  virtual bool get(const char* name, int* value) const = 0;
  virtual bool get(const char* name, float* value) const = 0;
  virtual bool get(const char* name, float* a, float* b, float* c) const = 0;
  virtual bool get(const char* name, float* a, float* b, float* c, float* d) const = 0;
  virtual bool remove(const char* name) = 0;
  virtual void release() = 0;
};

// The shader interface object; a geometry shader needs only getOptions and release. All 27
// slots are declared so that the two used ones sit where the renderer puts them.
struct Interface {
  virtual Options* getOptions(miTag string_options) = 0;
  virtual miTag createFramebuffer() = 0;
  virtual miTag copyFramebuffer(miTag buffer) = 0;
  virtual LightList* createLightList(miState* state, miTag* lights, int count) = 0;
  virtual void release() = 0;
  virtual LightList* createLightList(miState* state, const miVector& axis, miScalar spread_cos,
                                     miTag* lights, int count) = 0;
  virtual Map_base* createMap(const Map_declaration_base* declaration) = 0;
  virtual void* accessMap(const miTag map) = 0;
  virtual void* editMap(const miTag map) = 0;
  virtual void* accessMap(const char* filename, Map_status* status) = 0;
  virtual void* editMap(const char* filename, Map_status* status) = 0;
  virtual Map_declaration_base* createMapDeclaration(const miUint dimension) = 0;
  virtual Map_declaration_base* copyMapDeclaration(const Map_declaration_base* other,
                                                   Map_status* status) = 0;
  virtual Map_declaration_base* copyMapDeclaration(const Map_element_base* element,
                                                   Map_status* status) = 0;
  virtual Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status* status) = 0;
  virtual Map_element_base* createMapElement(const Map_declaration_base* declaration) = 0;
  virtual Map_element_base* copyMapElement(const Map_element_base* other) = 0;
  virtual Map_iterator_base* createMapIterator(const Map_base* map, Map_status* status) = 0;
  virtual Map_iterator_base* copyMapIterator(const Map_iterator_base* other,
                                             Map_status* status) = 0;
  virtual Map_lookup_base* createMapLookup(const Map_base* map, Map_status* status) = 0;
  virtual Map_lookup_base* copyMapLookup(const Map_lookup_base* other, Map_status* status) = 0;
  virtual const Framebuffer* accessFramebuffer(miTag buffer) = 0;
  virtual bool releaseFramebuffer(const Framebuffer* buffer, miTag tag) = 0;
  virtual Framebuffer* editFramebuffer(miTag buffer) = 0;
  virtual bool releaseFramebuffer(Framebuffer* buffer, miTag tag) = 0;
  virtual Bsdf* allocBsdf(miState* state) = 0;
  virtual void releaseBsdf(Bsdf* bsdf, miState* state) = 0;
};

}  // namespace mi::shader_v3

// The version of the shader interface the plug-in asks for.
inline constexpr int mi_ray_interface_version = 3;

extern "C" {
// The shader interface object of the given version; release it when done.
mi::shader_v3::Interface* mi_get_shader_interface(int version);
}

// ---- Layout checks against the renderer's 64-bit records.
static_assert(sizeof(miLock) == 8 && sizeof(miPointer) == 8);
static_assert(offsetof(miOptions, string_options) == 768 && sizeof(miOptions) >= 808);
static_assert(offsetof(miFunction, type) == 56 && offsetof(miFunction, interfacephen) == 80);
static_assert(offsetof(miFunction, ghost_offs) == 96 &&
              offsetof(miFunction, has_connections) == 109);
static_assert(offsetof(miFunction, label) == 119 && offsetof(miFunction, parameters) == 120);
static_assert(offsetof(miState, options) == 16 && offsetof(miState, global_lock) == 24);
static_assert(offsetof(miState, ts) == 40 && offsetof(miState, parent) == 56);
static_assert(offsetof(miState, msl_state) == 72 && offsetof(miState, dist) == 120);
static_assert(offsetof(miState, material) == 140 && offsetof(miState, instance) == 160);
static_assert(offsetof(miState, pri) == 168 && offsetof(miState, bary) == 180);
static_assert(offsetof(miState, dot_nd) == 232 && offsetof(miState, shadow_tol) == 240);
static_assert(offsetof(miState, motion) == 272 && offsetof(miState, derivs) == 288);
static_assert(offsetof(miState, shader) == 312 && offsetof(miState, thread) == 328);
static_assert(offsetof(miState, user_size) == 344 && sizeof(miState) == 352);
static_assert(offsetof(miAssembly, function) == 48 && offsetof(miAssembly, filename) == 72);
static_assert(sizeof(miAssembly) == 80);
static_assert(sizeof(miApprox) == 56);
static_assert(offsetof(miObject, visible) == 16 && offsetof(miObject, select) == 24);
static_assert(offsetof(miObject, fine) == 31 && offsetof(miObject, view_dependent) == 32);
static_assert(offsetof(miObject, maxdisplace) == 40 && offsetof(miObject, userdata) == 48);
static_assert(offsetof(miObject, bbox_min) == 56 && offsetof(miObject, bbox_max_m) == 92);
static_assert(offsetof(miObject, functions) == 104 && offsetof(miObject, mbox_explicit) == 112);
static_assert(offsetof(miObject, shadowmap) == 115 && offsetof(miObject, ray_offset) == 120);
static_assert(offsetof(miObject, tri_est) == 132 && offsetof(miObject, geo) == 144);
static_assert(sizeof(miObject) == 256);
static_assert(offsetof(miMaterial, builtin_index) == 44 && offsetof(miMaterial, bsdf) == 48);
static_assert(sizeof(miMaterial) == 56);
static_assert(offsetof(HorderaMrayParameters, paramStr) == 4);
static_assert(offsetof(HorderaMrayParameters, bbox_min) == 8);
static_assert(offsetof(HorderaMrayParameters, bbox_max) == 20);
static_assert(sizeof(HorderaMrayParameters) == 32);
