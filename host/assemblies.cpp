// The renderer's assembly functions.
#include "host/assemblies.h"

#include <memory>
#include <mutex>

#include "host/database.h"
#include "host/memory.h"
#include "host/messages.h"

namespace host {
namespace {

std::mutex assembly_mutex;
std::vector<Assembly> declared;
// The assembly between begin and end, if any.
std::unique_ptr<miAssembly> open_record;
std::string open_name;

}  // namespace

std::vector<Assembly> assemblies() {
  std::lock_guard lock(assembly_mutex);
  return declared;
}

void clear_assemblies() {
  std::lock_guard lock(assembly_mutex);
  declared.clear();
}

}  // namespace host

extern "C" miAssembly* mi_api_assembly_begin(char* name) {
  std::string copy = name ? name : "";
  host::release_memory(name);  // the name is the renderer's from now on
  std::unique_lock lock(host::assembly_mutex);
  if (host::open_record) {
    const std::string previous = host::open_name;
    lock.unlock();
    host::log_message(host::Level::error, "mi_api_assembly_begin: assembly \"" + copy +
                                              "\" begun while \"" + previous +
                                              "\" is still open; the open one is dropped\n");
    lock.lock();
  }
  host::open_record = std::make_unique<miAssembly>();
  host::open_name = std::move(copy);
  return host::open_record.get();
}

extern "C" miBoolean mi_api_assembly_callback(miApi_assembly_callback callback,
                                              miApi_assembly_exit_callback exit_callback,
                                              void* args) {
  std::unique_lock lock(host::assembly_mutex);
  if (!host::open_record) {
    lock.unlock();
    host::log_message(host::Level::error, "mi_api_assembly_callback: no assembly is open\n");
    return miFALSE;
  }
  host::open_record->function.p = reinterpret_cast<void*>(callback);
  host::open_record->exitcb.p = reinterpret_cast<void*>(exit_callback);
  host::open_record->arguments.p = args;
  return miTRUE;
}

extern "C" miTag mi_api_assembly_end(void) {
  std::unique_lock lock(host::assembly_mutex);
  if (!host::open_record) {
    lock.unlock();
    host::log_message(host::Level::error, "mi_api_assembly_end: no assembly is open\n");
    return miNULLTAG;
  }
  miAssembly* record = host::open_record.release();
  host::Assembly assembly{0, host::open_name, *record};
  lock.unlock();
  assembly.tag = host::db_create(miSCENE_ASSEMBLY, record, sizeof(miAssembly),
                                 [](void* data) { delete static_cast<miAssembly*>(data); });
  lock.lock();
  host::declared.push_back(assembly);
  return assembly.tag;
}
