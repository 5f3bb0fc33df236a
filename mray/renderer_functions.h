// The table through which the plug-in reaches every renderer function: each is looked up by
// name, on first use, in the module the renderer handed to miSetModuleHandle. A name the module
// does not provide resolves to null; the call is then skipped (its result is zero or null) and
// standard error says once which renderer function is missing.
#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>

#include "mray/mi_interface.h"

// Every renderer function the front-end may call, in table order.
#define HORDERA_RENDERER_FUNCTIONS(X)                                                              \
  X(mi_mem_int_allocate)                                                                           \
  X(mi_mem_int_test_allocate)                                                                      \
  X(mi_mem_int_reallocate)                                                                         \
  X(mi_mem_int_release) X(mi_mem_int_strdup) X(mi_error) X(mi_warning) X(mi_info) X(               \
      mi_progress) X(mi_debug) X(mi_vdebug) X(mi_init_lock) X(mi_delete_lock) X(mi_lock)           \
      X(mi_unlock) X(mi_phen_eval) X(mi_db_access) X(mi_db_unpin) X(mi_db_type) X(mi_db_size) X(   \
          mi_api_assembly_begin) X(mi_api_assembly_callback) X(mi_api_assembly_end)                \
          X(mi_geoshader_add_result) X(mi_get_shader_interface) X(mi_api_object_begin) X(          \
              mi_api_object_end) X(mi_api_basis_list_clear) X(mi_api_object_group_begin)           \
              X(mi_api_object_group_end) X(mi_api_vector_xyz_add) X(mi_api_vertex_add) X(          \
                  mi_api_vertex_normal_add) X(mi_api_vertex_tex_add) X(mi_api_vertex_motion_add)   \
                  X(mi_api_poly_begin) X(mi_api_poly_begin_tag) X(mi_api_poly_index_add) X(        \
                      mi_api_poly_end) X(mi_api_poly_approx) X(mi_api_ccmesh_begin)                \
                      X(mi_api_ccmesh_polygon) X(mi_api_ccmesh_approx) X(mi_api_ccmesh_end) X(     \
                          mi_api_instance_begin) X(mi_api_instance_end) X(mi_api_instgroup_begin)  \
                          X(mi_api_instgroup_additem) X(mi_api_instgroup_end)                      \
                              X(mi_api_material_begin) X(mi_api_material_end) X(                   \
                                  mi_api_function_call) X(mi_api_parameter_name)                   \
                                  X(mi_api_parameter_value) X(mi_api_parameter_shader) X(          \
                                      mi_api_parameter_push) X(mi_api_parameter_pop)               \
                                      X(mi_api_new_array_element) X(mi_api_function_call_end) X(   \
                                          mi_api_shader_add) X(mi_api_function_append)             \
                                          X(mi_api_function_assign) X(mi_api_parameter_decl) X(    \
                                              mi_api_parameter_append) X(mi_api_parameter_child)   \
                                              X(mi_api_funcdecl_begin) X(mi_api_funcdecl_end)      \
                                                  X(mi_api_scope_begin) X(mi_api_scope_end) X(     \
                                                      mi_api_scope_apply) X(mi_api_name_lookup)    \
                                                      X(mi_api_decl_lookup) X(mi_api_variable_set) \
                                                          X(mi_api_variable_lookup)                \
                                                              X(mi_api_texture_begin)              \
                                                                  X(mi_api_texture_file_def)       \
                                                                      X(mi_api_texture_set_filter) \
                                                                          X(mi_api_texture_end)

namespace mray {

// Position of each renderer function in the table.
enum class RendererFunction : int {
#define HORDERA_RENDERER_SLOT(name) name,
  HORDERA_RENDERER_FUNCTIONS(HORDERA_RENDERER_SLOT)
#undef HORDERA_RENDERER_SLOT
      count
};

// Number of pointer slots in the table; every listed function has one.
inline constexpr int renderer_function_slots = 700;
static_assert(static_cast<int>(RendererFunction::count) <= renderer_function_slots);

// The renderer function's name as looked up in the module.
const char* renderer_function_name(RendererFunction which);

// The table's slots: 0 before the function is looked up, 1 when the module lacks it, else its
// address.
extern std::atomic<std::uintptr_t> renderer_slots[renderer_function_slots];

// Looks the renderer function up (once per module handle) and returns its address, or null
// when the module does not provide it (reported once per module handle on standard error).
void* resolve_renderer_function(RendererFunction which);

// The renderer function's address, looked up on first use; null when the module does not
// provide it. Safe from several threads. Inline, because the object writer makes several
// hundred thousand calls per agent.
inline void* renderer_function(RendererFunction which) {
  const std::uintptr_t value =
      renderer_slots[static_cast<int>(which)].load(std::memory_order_acquire);
  if (value > 1) [[likely]]
    return reinterpret_cast<void*>(value);
  return resolve_renderer_function(which);
}

// Calls a renderer function through the table; a missing one yields a zero result.
template <class F>
struct RendererCall;
template <class R, class... P>
struct RendererCall<R(P...)> {
  static R run(RendererFunction which, P... args) {
    auto* fn = reinterpret_cast<R (*)(P...)>(renderer_function(which));
    if (fn == nullptr) return R();
    return fn(args...);
  }
};
template <class R, class... P>
struct RendererCall<R(P..., ...)> {
  template <class... A>
  static R run(RendererFunction which, P... args, A... more) {
    auto* fn = reinterpret_cast<R (*)(P..., ...)>(renderer_function(which));
    if (fn == nullptr) return R();
    return fn(args..., more...);
  }
};

// A renderer function looked up once, for loops that call it many times: calling it does what
// MI_CALL does (nothing, when the module lacks the function) without the table lookup.
template <class F>
struct ResolvedCall;
template <class R, class... P>
struct ResolvedCall<R(P...)> {
  R (*fn)(P...);
  explicit ResolvedCall(RendererFunction which)
      : fn(reinterpret_cast<R (*)(P...)>(renderer_function(which))) {}
  R operator()(P... args) const { return fn ? fn(args...) : R(); }
};

}  // namespace mray

// The renderer function `name`, looked up once (see ResolvedCall).
#define MI_RESOLVE(name) ::mray::ResolvedCall<decltype(::name)>(::mray::RendererFunction::name)

// Calls the renderer function `name` with the arguments that follow, through the table; the
// prototype comes from mray/mi_interface.h and is used only for its type, never linked.
#define MI_CALL(name, ...)                                                                  \
  ::mray::RendererCall<decltype(::name)>::run(::mray::RendererFunction::name __VA_OPT__(, ) \
                                                  __VA_ARGS__)

extern "C" {
// Hands the plug-in the renderer module in which every renderer function is looked up, and
// forgets every function resolved from the previous module.
void miSetModuleHandle(void* module);
}
