// Fuzzes the renderer's whole path for one agent: the geometry shader and the assembly callbacks
// run by the stand-in host, in a render with motion blur, with the input in place of one of the
// agent's files, its parameter string, its shader line or the render pass (the first byte says
// which). A clean agent rendered beside it must still come out, the renderer's lock must be
// free again and the renderer memory the plug-in took must all be given back.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/entry_fixture.h"
#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "mray/renderer_functions.h"

extern "C" {
int hordera_mray_version(void);
void hordera_mray_init(miState* state, void* paras, miBoolean* inst_init_req);
miBoolean hordera_mray_exit(miState* state, void* paras);
miBoolean hordera_mray(miTag* result, miState* state, void* paras);
}

namespace {

// The plug-in linked into this program, called as the renderer calls a loaded one.
const host::Plugin& own_plugin() {
  static host::Plugin plugin = [] {
    host::Plugin made;
    made.path = "(linked in)";
    made.version = hordera_mray_version;
    made.init = hordera_mray_init;
    made.exit = hordera_mray_exit;
    made.geometry = hordera_mray;
    made.set_module_handle = miSetModuleHandle;
    return made;
  }();
  return plugin;
}

host::SceneInstance instance(int id, std::string param_str) {
  host::SceneInstance made;
  made.name = "walker_" + std::to_string(id) + "_inst";
  made.id = id;
  made.has_param_str = true;
  made.param_str = std::move(param_str);
  made.bbox_min = {-20, -20, -20};
  made.bbox_max = {20, 20, 20};
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  host::set_verbosity(0);
  const fuzz::EntryInput input = fuzz::entry_input(data, size);
  const size_t memory_before = host::memory_in_use().size();
  {
    host::RenderSession session(own_plugin());
    std::string error;
    if (!session.start(&error)) std::abort();
    host::StringOptions options;
    options["render_pass"].kind = host::OptionValue::Kind::string;
    options["render_pass"].text = input.slot == fuzz::Slot::options ? input.text : "beauty";
    options["motion_blur"].kind = host::OptionValue::Kind::boolean;
    options["motion_blur"].boolean = true;
    session.init_shader(&options);
    session.call_geometry(instance(3, fuzz::parameter_string(input, true)));
    session.call_geometry(instance(12, fuzz::parameter_string(input, false)));
    const std::vector<host::AssemblyRun> runs = session.run_assemblies();
    // The clean agent renders whatever happened to the other one (the pass name applies to both;
    // an agent the geometry shader refuses declares no assembly).
    bool clean_rendered = false;
    for (const host::AssemblyRun& run : runs)
      clean_rendered |= run.instance == "walker_12_inst" && run.executed && run.result != miNULLTAG;
    if (input.slot != fuzz::Slot::options && !clean_rendered) std::abort();
    session.exit();
  }
  // The driver keeps the renderer's lock when an agent type cannot be loaded, as renderers
  // running existing scenes expect; held any other time, the lock was lost.
  // Only the driver's own message counts: other messages may quote text of the input.
  int kept = 0;
  for (const host::Message& message : host::messages()) {
    const std::string& text = message.text;
    const std::string_view prefix = "-->horderaMray: ", suffix = " cannot be loaded.";
    kept += text.size() >= prefix.size() + suffix.size() && text.starts_with(prefix) &&
            text.ends_with(suffix);
  }
  if (host::release_lock_held_by_this_thread(host::global_lock()) != kept) std::abort();
  if (host::memory_in_use().size() != memory_before) std::abort();
  host::clear_messages();
  fuzz::remove_input(input);
  return 0;
}
