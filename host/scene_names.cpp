// Element names, declarations, scopes and scene variables, and the renderer's name functions.
#include "host/scene_names.h"

#include <map>
#include <mutex>
#include <vector>

#include "host/assemblies.h"
#include "host/database.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/scene_view.h"

namespace host {
namespace {

std::mutex names_mutex;
std::map<std::string, miTag, std::less<>> element_names;
std::map<miTag, std::string> name_of_tag;
std::map<std::string, miTag, std::less<>> declaration_names;
std::map<std::string, std::string, std::less<>> variables;

// The scopes this thread has open, outermost first. The renderer keeps one scope path per
// thread of scene construction.
thread_local std::vector<std::string> scopes;

std::string_view global_name(std::string_view name) {
  if (name.substr(0, 2) == "::") name.remove_prefix(2);
  return name;
}

miTag find_in(const std::map<std::string, miTag, std::less<>>& table, std::string_view name) {
  const auto found = table.find(global_name(name));
  return found == table.end() ? miNULLTAG : found->second;
}

}  // namespace

std::string take_string(char* text) {
  if (text == nullptr) return {};
  std::string copy = text;
  release_memory(text);
  return copy;
}

void scene_error(std::string_view function, std::string_view what) {
  log_message(Level::error, std::string(function) + ": " + std::string(what) + "\n");
}

void scene_warning(std::string_view function, std::string_view what) {
  log_message(Level::warning, std::string(function) + ": " + std::string(what) + "\n");
}

void define_name(const std::string& name, miTag tag) {
  if (name.empty() || tag == miNULLTAG) return;
  std::lock_guard lock(names_mutex);
  element_names[name] = tag;
  name_of_tag[tag] = name;
}

miTag find_name(std::string_view name) {
  std::lock_guard lock(names_mutex);
  return find_in(element_names, name);
}

void define_declaration(const std::string& name, miTag tag) {
  if (name.empty() || tag == miNULLTAG) return;
  std::lock_guard lock(names_mutex);
  declaration_names[name] = tag;
  name_of_tag[tag] = name;
}

miTag find_declaration(std::string_view name) {
  std::lock_guard lock(names_mutex);
  return find_in(declaration_names, name);
}

void drop_open_elements(const std::string& context) {
  std::vector<std::string> dropped = {drop_open_object(),  drop_open_material(),
                                      drop_open_call(),    drop_open_declaration(),
                                      drop_open_texture(), drop_open_instance()};
  if (!scopes.empty()) {
    dropped.push_back("scope \"" + scopes.back() + "\"");
    scopes.clear();
  }
  for (const std::string& what : dropped)
    if (!what.empty())
      log_message(Level::error,
                  context + " returned with " + what + " still open; it is dropped\n");
}

void clear_scene() {
  {
    std::lock_guard lock(names_mutex);
    element_names.clear();
    name_of_tag.clear();
    declaration_names.clear();
    variables.clear();
  }
  clear_assemblies();
  db_clear();
  clear_parameter_declarations();
}

std::map<std::string, miTag> view_names() {
  std::lock_guard lock(names_mutex);
  return {element_names.begin(), element_names.end()};
}

std::map<std::string, miTag> view_declarations() {
  std::lock_guard lock(names_mutex);
  return {declaration_names.begin(), declaration_names.end()};
}

std::map<std::string, std::string> view_variables() {
  std::lock_guard lock(names_mutex);
  return {variables.begin(), variables.end()};
}

std::string view_name_of(miTag tag) {
  std::lock_guard lock(names_mutex);
  const auto found = name_of_tag.find(tag);
  return found == name_of_tag.end() ? std::string() : found->second;
}

}  // namespace host

extern "C" miBoolean mi_api_scope_begin(char* name) {
  std::string scope = host::take_string(name);
  if (scope.empty()) {
    host::scene_error("mi_api_scope_begin", "a scope needs a name");
    return miFALSE;
  }
  host::scopes.push_back(std::move(scope));
  return miTRUE;
}

extern "C" miBoolean mi_api_scope_end(void) {
  if (host::scopes.empty()) {
    host::scene_error("mi_api_scope_end", "no scope is open");
    return miFALSE;
  }
  host::scopes.pop_back();
  return miTRUE;
}

extern "C" char* mi_api_scope_apply(char* name) {
  if (name == nullptr) return nullptr;
  if (host::scopes.empty()) return name;  // the global scope: the name as it is
  std::string scoped;
  for (const std::string& scope : host::scopes) scoped += scope + "::";
  scoped += host::take_string(name);
  return mi_mem_int_strdup(__FILE__, __LINE__, scoped.c_str());
}

extern "C" miTag mi_api_name_lookup(char* name) {
  const std::string wanted = host::take_string(name);
  const miTag tag = host::find_name(wanted);
  return tag != miNULLTAG ? tag : host::find_declaration(wanted);
}

extern "C" miTag mi_api_decl_lookup(char* name) {
  return host::find_declaration(host::take_string(name));
}

extern "C" miBoolean mi_api_variable_set(char* name, char* value) {
  const bool has_value = value != nullptr;
  std::string key = host::take_string(name);
  std::string text = host::take_string(value);
  if (key.empty()) {
    host::scene_error("mi_api_variable_set", "a scene variable needs a name");
    return miFALSE;
  }
  std::lock_guard lock(host::names_mutex);
  if (has_value)
    host::variables[key] = std::move(text);
  else
    host::variables.erase(key);
  return miTRUE;
}

extern "C" const char* mi_api_variable_lookup(char* name) {
  const std::string key = host::take_string(name);
  std::lock_guard lock(host::names_mutex);
  const auto found = host::variables.find(key);
  return found == host::variables.end() ? nullptr : found->second.c_str();
}
