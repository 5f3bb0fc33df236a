// Driving the crowd plug-in through one render.
#include "host/render_session.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "host/assemblies.h"
#include "host/database.h"
#include "host/heap_reuse.h"
#include "host/locks.h"
#include "host/messages.h"
#include "host/scene_names.h"
#include "host/shader_interface.h"

namespace host {
namespace {

// Marks a parameter of a phenomenon call as connected to the phenomenon's interface.
constexpr miTag interface_connection = 1;

void fill_parameters(const SceneInstance& instance, HorderaMrayParameters* block) {
  block->id = instance.id;
  block->paramStr = instance.has_param_str ? db_create_string(instance.param_str) : miNULLTAG;
  block->bbox_min = instance.bbox_min;
  block->bbox_max = instance.bbox_max;
}

}  // namespace

RenderSession::RenderSession(const Plugin& plugin) : plugin_(plugin) {
  keep_freed_memory_for_reuse();
  declare_base_shaders();
}

RenderSession::~RenderSession() {
  clear_scene();
}

bool RenderSession::start(std::string* error) {
  // Renderer functions are exported by this executable, so its own handle is the module.
  plugin_.set_module_handle(dlopen(nullptr, RTLD_NOW));
  const int version = plugin_.version ? plugin_.version() : 1;
  if (plugin_.version == nullptr)
    log_message(Level::warning, plugin_.path + ": no hordera_mray_version; version 1 assumed\n");
  if (version != crowd_shader_version) {
    *error = plugin_.path + ": hordera_mray has version " + std::to_string(version) +
             ", but the crowd shader is declared with version " +
             std::to_string(crowd_shader_version);
    return false;
  }
  return true;
}

miState RenderSession::make_state() const {
  miState state;
  std::memset(&state, 0, sizeof state);
  state.version = 2;
  state.options = has_options_ ? &options_ : nullptr;
  state.global_lock = global_lock();
  return state;
}

void RenderSession::init_shader(const StringOptions* options) {
  has_options_ = options != nullptr;
  std::memset(&options_, 0, sizeof options_);
  if (options != nullptr) options_.string_options = create_string_options(*options);
  if (plugin_.init == nullptr) return;
  miState state = make_state();
  miBoolean per_instance = miFALSE;
  plugin_.init(&state, nullptr, &per_instance);
}

void RenderSession::init_instance(const SceneInstance& instance) {
  if (plugin_.init == nullptr) return;
  ShaderCall call(sizeof(HorderaMrayParameters), false);
  fill_parameters(instance, static_cast<HorderaMrayParameters*>(call.parameters()));
  miState state = make_state();
  state.shader = call.function();
  miBoolean per_instance = miFALSE;
  plugin_.init(&state, call.parameters(), &per_instance);
}

miTag RenderSession::call_geometry(const SceneInstance& instance, bool phenomenon,
                                   const std::vector<size_t>& connected,
                                   const HorderaMrayParameters* interface_values) {
  ShaderCall call(sizeof(HorderaMrayParameters), phenomenon);
  fill_parameters(instance, static_cast<HorderaMrayParameters*>(call.parameters()));
  if (phenomenon) {
    for (size_t offset : connected) *call.connection(offset) = interface_connection;
    if (interface_values != nullptr)
      std::memcpy(call.interface_value(0), interface_values, sizeof *interface_values);
  }
  miState state = make_state();
  state.shader = call.function();
  miTag result = miNULLTAG;
  const size_t before = assemblies().size();
  plugin_.geometry(&result, &state, call.parameters());
  const size_t after = assemblies().size();
  for (size_t i = before; i < after; ++i) assembly_instances_.push_back(instance.name);
  return result;
}

std::vector<AssemblyRun> RenderSession::run_assemblies() {
  const std::vector<Assembly> declared = assemblies();
  clear_assemblies();
  std::vector<AssemblyRun> runs;
  for (size_t i = 0; i < declared.size(); ++i) {
    AssemblyRun run;
    run.name = declared[i].name;
    run.instance = i < assembly_instances_.size() ? assembly_instances_[i] : std::string();
    run.bbox_min = declared[i].record.bbox_min;
    run.bbox_max = declared[i].record.bbox_max;
    runs.push_back(run);
  }
  assembly_instances_.clear();
  const size_t workers = std::min(static_cast<size_t>(threads_), declared.size());
  if (workers <= 1) {
    for (size_t i = 0; i < declared.size(); ++i) execute(declared, i, 0, &runs[i]);
  } else {
    // Render threads take the next assembly not yet built, as a renderer's threads take the
    // next bucket. A thread that ends while still holding the global lock (a plug-in may
    // return holding it) gives it back, so that the other threads do not wait forever.
    std::atomic<size_t> next{0};
    std::vector<std::thread> threads;
    for (size_t w = 0; w < workers; ++w)
      threads.emplace_back([&, w] {
        for (size_t i = next++; i < declared.size(); i = next++)
          execute(declared, i, static_cast<short>(w), &runs[i]);
        if (const int held = release_lock_held_by_this_thread(global_lock()); held > 0)
          log_message(Level::warning, "render thread " + std::to_string(w) +
                                          " ended holding the global lock " + std::to_string(held) +
                                          " times; the host released it\n");
      });
    for (std::thread& thread : threads) thread.join();
  }
  for (size_t i = 0; i < declared.size(); ++i) {
    auto exit_callback =
        reinterpret_cast<miApi_assembly_exit_callback>(declared[i].record.exitcb.p);
    if (exit_callback == nullptr) continue;
    miState state = make_state();
    state.instance = declared[i].tag;
    exit_callback(&state, declared[i].record.arguments.p);
    runs[i].freed = true;
  }
  return runs;
}

void RenderSession::execute(const std::vector<Assembly>& declared, size_t index, short thread,
                            AssemblyRun* run) const {
  auto callback = reinterpret_cast<miApi_assembly_callback>(declared[index].record.function.p);
  if (callback == nullptr) return;
  miState state = make_state();
  state.instance = declared[index].tag;
  state.thread = thread;
  run->result = callback(&state, declared[index].record.arguments.p);
  run->executed = true;
  drop_open_elements("asm_exec of assembly \"" + declared[index].name + "\"");
}

void RenderSession::exit() {
  if (plugin_.exit == nullptr) return;
  miState state = make_state();
  plugin_.exit(&state, nullptr);
}

RenderReport RenderSession::render(const Scene& scene) {
  RenderReport report;
  // A renderer always renders with options; a scene without an options block renders with the
  // defaults, which carry no custom options.
  init_shader(&scene.options);
  for (const SceneInstance& instance : scene.instances) init_instance(instance);
  for (const SceneInstance& instance : scene.instances) {
    call_geometry(instance);
    ++report.geometry_calls;
  }
  report.assemblies = run_assemblies();
  exit();
  return report;
}

}  // namespace host
