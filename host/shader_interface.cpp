// mi_get_shader_interface and the options objects behind it.
#include "host/shader_interface.h"

#include <atomic>

#include "host/database.h"
#include "host/messages.h"

namespace host {
namespace {

std::atomic<int> objects_held{0};

using Kind = OptionValue::Kind;

class HostOptions final : public mi::shader_v3::Options {
 public:
  HostOptions(StringOptions* values, miTag tag) : values_(values), tag_(tag) { ++objects_held; }

  void set(const char* name, bool value) override { put(name, Kind::boolean).boolean = value; }
  void set(const char* name, const char* value) override {
    put(name, Kind::string).text = value ? value : "";
  }
  void set(const char* name, int value) override { put(name, Kind::integer).integer = value; }
  void set(const char* name, float value) override { put(name, Kind::scalar).scalars[0] = value; }
  void set(const char* name, float a, float b, float c) override {
    OptionValue& option = put(name, Kind::vector);
    option.scalars[0] = a, option.scalars[1] = b, option.scalars[2] = c;
  }
  void set(const char* name, float a, float b, float c, float d) override {
    OptionValue& option = put(name, Kind::color);
    option.scalars[0] = a, option.scalars[1] = b, option.scalars[2] = c, option.scalars[3] = d;
  }

  bool get(const char* name, bool* value) const override {
    const OptionValue* option = find(name);
    if (option == nullptr || option->kind != Kind::boolean) return false;
    *value = option->boolean;
    return true;
  }
  bool get(const char* name, const char** value) const override {
    const OptionValue* option = find(name);
    if (option == nullptr || option->kind != Kind::string) return false;
    *value = option->text.c_str();
    return true;
  }
  bool get(const char* name, int* value) const override {
    const OptionValue* option = find(name);
    if (option == nullptr) return false;
    if (option->kind == Kind::integer)
      *value = option->integer;
    else if (option->kind == Kind::boolean)
      *value = option->boolean ? 1 : 0;
    else
      return false;
    return true;
  }
  bool get(const char* name, float* value) const override {
    const OptionValue* option = find(name);
    if (option == nullptr) return false;
    if (option->kind == Kind::scalar)
      *value = option->scalars[0];
    else if (option->kind == Kind::integer)
      *value = static_cast<float>(option->integer);
    else
      return false;
    return true;
  }
  bool get(const char* name, float* a, float* b, float* c) const override {
    const OptionValue* option = find(name);
    if (option == nullptr || option->kind != Kind::vector) return false;
    *a = option->scalars[0], *b = option->scalars[1], *c = option->scalars[2];
    return true;
  }
  bool get(const char* name, float* a, float* b, float* c, float* d) const override {
    const OptionValue* option = find(name);
    if (option == nullptr || option->kind != Kind::color) return false;
    *a = option->scalars[0], *b = option->scalars[1], *c = option->scalars[2];
    *d = option->scalars[3];
    return true;
  }
  bool remove(const char* name) override { return name && values_->erase(name) > 0; }
  void release() override {
    if (tag_ != miNULLTAG) mi_db_unpin(tag_);
    --objects_held;
    delete this;
  }

 private:
  ~HostOptions() = default;

  const OptionValue* find(const char* name) const {
    if (name == nullptr) return nullptr;
    const auto found = values_->find(name);
    return found == values_->end() ? nullptr : &found->second;
  }
  OptionValue& put(const char* name, Kind kind) {
    OptionValue& option = (*values_)[name ? name : ""];
    option = OptionValue{};
    option.kind = kind;
    return option;
  }

  StringOptions* values_;
  miTag tag_;  // pinned while this object lives; 0 for a scene without custom options
};

// Options of a scene without custom options: nothing to find.
StringOptions no_options;

class HostInterface final : public mi::shader_v3::Interface {
 public:
  HostInterface() { ++objects_held; }

  mi::shader_v3::Options* getOptions(miTag tag) override {
    if (tag == miNULLTAG) {
      no_options.clear();
      return new HostOptions(&no_options, miNULLTAG);
    }
    if (mi_db_type(tag) != miSCENE_USERDATA) {
      log_message(Level::error, "getOptions: tag " + std::to_string(tag) +
                                    " does not name the scene's custom options\n");
      return nullptr;
    }
    return new HostOptions(static_cast<StringOptions*>(mi_db_access(tag)), tag);
  }
  void release() override {
    --objects_held;
    delete this;
  }

  // The rest of the interface serves shaders the crowd plug-in does not use; it offers nothing.
  miTag createFramebuffer() override { return 0; }
  miTag copyFramebuffer(miTag) override { return 0; }
  mi::shader_v3::LightList* createLightList(miState*, miTag*, int) override { return nullptr; }
  mi::shader_v3::LightList* createLightList(miState*, const miVector&, miScalar, miTag*,
                                            int) override {
    return nullptr;
  }
  mi::shader_v3::Map_base* createMap(const mi::shader_v3::Map_declaration_base*) override {
    return nullptr;
  }
  void* accessMap(const miTag) override { return nullptr; }
  void* editMap(const miTag) override { return nullptr; }
  void* accessMap(const char*, mi::shader_v3::Map_status*) override { return nullptr; }
  void* editMap(const char*, mi::shader_v3::Map_status*) override { return nullptr; }
  mi::shader_v3::Map_declaration_base* createMapDeclaration(const miUint) override {
    return nullptr;
  }
  mi::shader_v3::Map_declaration_base* copyMapDeclaration(
      const mi::shader_v3::Map_declaration_base*, mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_declaration_base* copyMapDeclaration(const mi::shader_v3::Map_element_base*,
                                                          mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_declaration_base* copyMapDeclaration(const mi::shader_v3::Map_base*,
                                                          mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_element_base* createMapElement(
      const mi::shader_v3::Map_declaration_base*) override {
    return nullptr;
  }
  mi::shader_v3::Map_element_base* copyMapElement(const mi::shader_v3::Map_element_base*) override {
    return nullptr;
  }
  mi::shader_v3::Map_iterator_base* createMapIterator(const mi::shader_v3::Map_base*,
                                                      mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_iterator_base* copyMapIterator(const mi::shader_v3::Map_iterator_base*,
                                                    mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_lookup_base* createMapLookup(const mi::shader_v3::Map_base*,
                                                  mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  mi::shader_v3::Map_lookup_base* copyMapLookup(const mi::shader_v3::Map_lookup_base*,
                                                mi::shader_v3::Map_status*) override {
    return nullptr;
  }
  const mi::shader_v3::Framebuffer* accessFramebuffer(miTag) override { return nullptr; }
  bool releaseFramebuffer(const mi::shader_v3::Framebuffer*, miTag) override { return false; }
  mi::shader_v3::Framebuffer* editFramebuffer(miTag) override { return nullptr; }
  bool releaseFramebuffer(mi::shader_v3::Framebuffer*, miTag) override { return false; }
  mi::shader_v3::Bsdf* allocBsdf(miState*) override { return nullptr; }
  void releaseBsdf(mi::shader_v3::Bsdf*, miState*) override {}

 private:
  ~HostInterface() = default;
};

}  // namespace

miTag create_string_options(const StringOptions& options) {
  auto* copy = new StringOptions(options);
  return db_create(miSCENE_USERDATA, copy, static_cast<int>(sizeof(StringOptions)),
                   [](void* data) { delete static_cast<StringOptions*>(data); });
}

int shader_interface_objects_held() {
  return objects_held.load();
}

}  // namespace host

extern "C" mi::shader_v3::Interface* mi_get_shader_interface(int version) {
  if (version != mi_ray_interface_version) {
    host::log_message(host::Level::warning, "mi_get_shader_interface: interface version " +
                                                std::to_string(version) +
                                                " is not offered (only 3)\n");
    return nullptr;
  }
  return new host::HostInterface;
}
