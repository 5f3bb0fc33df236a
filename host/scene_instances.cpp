// Instances and named instance groups: the renderer's instance functions.
#include <cstdlib>
#include <memory>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// Records larger than the renderer's miInstance (316 bytes and its parameters) and miGroup,
// handed out zeroed; the host keeps none of their fields.
constexpr size_t instance_record_size = 512;
constexpr size_t group_record_size = 128;

struct OpenInstance {
  std::unique_ptr<InstanceData> data;
  std::unique_ptr<unsigned char[]> record;
};
thread_local OpenInstance instance;
struct OpenGroup {
  std::unique_ptr<InstanceGroupData> data;
  std::unique_ptr<unsigned char[]> record;
};
thread_local OpenGroup group;

}  // namespace

std::string drop_open_instance() {
  std::string what;
  if (instance.data) what = "instance \"" + instance.data->name + "\"";
  if (group.data) what += (what.empty() ? "" : " and ") + ("group \"" + group.data->name + "\"");
  instance = {};
  group = {};
  return what;
}

const InstanceData* view_instance(miTag tag) {
  return mi_db_type(tag) == miSCENE_INSTANCE ? static_cast<InstanceData*>(db_data(tag)) : nullptr;
}

}  // namespace host

extern "C" miInstance* mi_api_instance_begin(char* name) {
  std::string instance_name = host::take_string(name);
  if (host::instance.data)
    host::scene_error("mi_api_instance_begin", "instance \"" + instance_name + "\" begun while \"" +
                                                   host::instance.data->name + "\" is still open");
  host::instance.data = std::make_unique<host::InstanceData>();
  host::instance.data->name = std::move(instance_name);
  host::instance.record.reset(new unsigned char[host::instance_record_size]());
  return reinterpret_cast<miInstance*>(host::instance.record.get());
}

extern "C" miTag mi_api_instance_end(char* item_name, miTag geometry_function, miTag parameters) {
  const bool named = item_name != nullptr;
  std::string item = host::take_string(item_name);
  if (!host::instance.data) {
    host::scene_error("mi_api_instance_end", "no instance is open");
    return miNULLTAG;
  }
  host::InstanceData* data = host::instance.data.release();
  host::instance.record.reset();
  data->item = item;
  data->item_tag = named ? host::find_name(item) : geometry_function;
  data->parameters = parameters;
  if (named && data->item_tag == miNULLTAG)
    host::scene_error("mi_api_instance_end", "instance \"" + data->name + "\" names \"" + item +
                                                 "\", which is not defined");
  const miTag tag =
      host::db_create(miSCENE_INSTANCE, data, sizeof(host::InstanceData),
                      [](void* gone) { delete static_cast<host::InstanceData*>(gone); });
  host::define_name(data->name, tag);
  return tag;
}

extern "C" miGroup* mi_api_instgroup_begin(char* name) {
  std::string group_name = host::take_string(name);
  if (host::group.data)
    host::scene_error("mi_api_instgroup_begin", "group \"" + group_name + "\" begun while \"" +
                                                    host::group.data->name + "\" is still open");
  host::group.data = std::make_unique<host::InstanceGroupData>();
  host::group.data->name = std::move(group_name);
  host::group.record.reset(new unsigned char[host::group_record_size]());
  return reinterpret_cast<miGroup*>(host::group.record.get());
}

extern "C" miBoolean mi_api_instgroup_additem(char* name) {
  const std::string item = host::take_string(name);
  if (!host::group.data) {
    host::scene_error("mi_api_instgroup_additem", "no group is open");
    return miFALSE;
  }
  const miTag tag = host::find_name(item);
  if (tag == miNULLTAG) {
    host::scene_error("mi_api_instgroup_additem", "\"" + item + "\" is not defined");
    return miFALSE;
  }
  host::group.data->items.push_back(tag);
  return miTRUE;
}

extern "C" miTag mi_api_instgroup_end(void) {
  if (!host::group.data) {
    host::scene_error("mi_api_instgroup_end", "no group is open");
    return miNULLTAG;
  }
  host::InstanceGroupData* data = host::group.data.release();
  host::group.record.reset();
  const miTag tag =
      host::db_create(miSCENE_GROUP, data, sizeof(host::InstanceGroupData),
                      [](void* gone) { delete static_cast<host::InstanceGroupData*>(gone); });
  host::define_name(data->name, tag);
  return tag;
}
