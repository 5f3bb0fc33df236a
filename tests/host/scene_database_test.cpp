// The stand-in host's renderer functions as the plug-in calls them: memory, messages, pins, locks
// and options; the scene database driven call by call, read back through the scene view (geometry,
// materials, shader calls, textures, names, variables), and misuse reported rather than crashing.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/database.h"
#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/scene_names.h"
#include "host/scene_view.h"
#include "host/shader_interface.h"
#include "mray/mi_interface.h"
#include "tests/support/plugin_scenario.h"

namespace {

using plugin_test::list;

char* copy(const char* text) {
  return mi_mem_int_strdup("mray", 1, text);
}

miBoolean vector(float x, float y, float z) {
  miVector v{x, y, z};
  return mi_api_vector_xyz_add(&v);
}

void add_vectors(int count) {
  for (int i = 0; i < count; ++i) vector(float(i), 0, 0);
}

int errors() {
  return static_cast<int>(plugin_test::message_texts(host::Level::error).size());
}

TEST(HostServices, MemoryIsTrackedAndADoubleReleaseIsReported) {
  host::clear_messages();
  auto* block = static_cast<unsigned char*>(mi_mem_int_allocate("mray", 42, 16));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(block[i], 0);  // zero-filled
  char* copy = mi_mem_int_strdup("mray", 43, "asm_7");
  EXPECT_STREQ(copy, "asm_7");
  EXPECT_EQ(mi_mem_int_strdup("mray", 44, nullptr), nullptr);
  ASSERT_EQ(host::memory_in_use().size(), 2u);

  block = static_cast<unsigned char*>(mi_mem_int_reallocate("mray", 45, block, 64));
  ASSERT_NE(block, nullptr);
  mi_mem_int_release("mray", 46, block);
  mi_mem_int_release("mray", 47, copy);
  mi_mem_int_release("mray", 48, nullptr);  // ignored
  EXPECT_TRUE(host::memory_in_use().empty());
  EXPECT_EQ(host::memory_release_faults(), 0u);

  testing::internal::CaptureStderr();
  mi_mem_int_release("mray", 99, copy);  // the second release of the same block
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::memory_release_faults(), 1u);
  const std::vector<host::Message> messages = host::messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].level, host::Level::error);
  EXPECT_EQ(messages[0].text.rfind("mray:99: release of renderer memory that is not held", 0), 0u);
}

TEST(HostServices, MessagesAreKeptWithLevelAndPrintedWithoutOneTrailingNewline) {
  host::clear_messages();
  host::set_verbosity(3);
  testing::internal::CaptureStderr();
  mi_info("-->asm_exec()\n");
  mi_debug("-->resolve option: render_pass name=%s", "beauty");  // above the verbosity
  mi_error("-->horderaMray: %s cannot be loaded.", "x.cdl");
  mi_warning("two\n\n");
  const std::string printed = testing::internal::GetCapturedStderr();
  host::set_verbosity(2);
  EXPECT_EQ(
      printed,
      "info: -->asm_exec()\nerror: -->horderaMray: x.cdl cannot be loaded.\nwarning: two\n\n");
  const std::vector<host::Message> messages = host::messages();
  ASSERT_EQ(messages.size(), 4u);
  EXPECT_EQ(messages[0].text, "-->asm_exec()\n");
  EXPECT_EQ(messages[1].level, host::Level::debug);
  EXPECT_EQ(messages[1].text, "-->resolve option: render_pass name=beauty");
  EXPECT_EQ(messages[2].level, host::Level::error);
  EXPECT_EQ(messages[3].text, "two\n\n");
}

TEST(HostServices, DatabaseAccessPinsAndUnpinBalances) {
  const miTag tag = host::db_create_string("a.cdl x.apf 3");
  EXPECT_EQ(mi_db_type(tag), miSCENE_STRING);
  EXPECT_EQ(mi_db_size(tag), 14);
  EXPECT_STREQ(static_cast<const char*>(mi_db_access(tag)), "a.cdl x.apf 3");
  EXPECT_STREQ(static_cast<const char*>(mi_db_access(tag)), "a.cdl x.apf 3");
  EXPECT_EQ(host::db_pins(tag), 2);
  mi_db_unpin(tag);
  mi_db_unpin(tag);
  EXPECT_EQ(host::db_pins(tag), 0);

  host::clear_messages();
  testing::internal::CaptureStderr();
  mi_db_unpin(tag);                              // more unpins than accesses
  EXPECT_EQ(mi_db_access(tag + 1000), nullptr);  // no such element
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::db_pins(tag), 0);
  ASSERT_EQ(host::messages().size(), 2u);
  EXPECT_EQ(host::messages()[0].level, host::Level::error);
  EXPECT_EQ(mi_db_type(0), miSCENE_NONE);
  host::db_clear();  // gives the elements back, as the end of a session does
}

TEST(HostServices, GlobalLockIsReentrantForItsHolderAndExcludesOthers) {
  const miLock lock = host::global_lock();
  mi_lock(lock);
  mi_lock(lock);  // the holder may take it again
  EXPECT_EQ(host::lock_depth(lock), 2);
  bool other_entered = false;
  std::thread other([&] {
    mi_lock(lock);
    other_entered = true;
    mi_unlock(lock);
  });
  mi_unlock(lock);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(other_entered);  // still held once
  mi_unlock(lock);
  other.join();
  EXPECT_TRUE(other_entered);
  EXPECT_EQ(host::lock_depth(lock), 0);

  host::clear_messages();
  testing::internal::CaptureStderr();
  mi_unlock(lock);  // not held
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::messages().size(), 1u);
}

TEST(HostServices, OptionsAreReadByTypeThroughTheShaderInterface) {
  host::StringOptions values = plugin_test::render_options("beauty", 1);
  values["samples"].kind = host::OptionValue::Kind::integer;
  values["samples"].integer = 4;
  const miTag tag = host::create_string_options(values);

  EXPECT_EQ(mi_get_shader_interface(2), nullptr);
  mi::shader_v3::Interface* interface = mi_get_shader_interface(3);
  ASSERT_NE(interface, nullptr);
  mi::shader_v3::Options* options = interface->getOptions(tag);
  interface->release();
  ASSERT_NE(options, nullptr);
  EXPECT_EQ(host::db_pins(tag), 1);

  const char* text = nullptr;
  EXPECT_TRUE(options->get("render_pass", &text));
  EXPECT_STREQ(text, "beauty");
  bool flag = false;
  EXPECT_TRUE(options->get("motion_blur", &flag));
  EXPECT_TRUE(flag);
  int number = 0;
  EXPECT_TRUE(options->get("motion_blur", &number));  // a boolean reads as an int
  EXPECT_EQ(number, 1);
  float scalar = 0;
  EXPECT_TRUE(options->get("samples", &scalar));  // an int reads as a float
  EXPECT_EQ(scalar, 4.0f);
  // Wrong type or missing: false, and the value is left alone.
  flag = true;
  EXPECT_FALSE(options->get("render_pass", &flag));
  EXPECT_FALSE(options->get("nothing", &flag));
  EXPECT_TRUE(flag);
  options->release();
  EXPECT_EQ(host::db_pins(tag), 0);
  EXPECT_EQ(host::shader_interface_objects_held(), 0);
  host::db_clear();
}

class SceneDatabase : public testing::Test {
 protected:
  void SetUp() override {
    host::clear_scene();
    host::declare_base_shaders();
    host::clear_messages();
    host::set_verbosity(0);
    held_before_ = host::memory_in_use().size();
  }
  void TearDown() override {
    // Every name handed over was renderer memory, and the database gave it all back.
    EXPECT_EQ(host::memory_in_use().size(), held_before_);
    host::clear_scene();
  }
  size_t held_before_ = 0;
};

TEST_F(SceneDatabase, QuadObjectKeepsItsVerticesPolygonsAndMaterial) {
  miMaterial* record = mi_api_material_begin(copy("mat_3_0"));
  ASSERT_NE(record, nullptr);
  record->opaque = miTRUE;
  const miTag material = mi_api_material_end();
  ASSERT_NE(material, 0u);

  miObject* object = mi_api_object_begin(copy("body"));
  ASSERT_NE(object, nullptr);
  object->visible = 2;
  object->shadow = 3;
  object->maxdisplace = 0.5f;
  object->bbox_max = {1, 1, 0};
  ASSERT_TRUE(mi_api_object_group_begin(0.0));
  // Points 0-3, one normal (4), four texture vectors (5-8), four motion vectors (9-12).
  vector(0, 0, 0), vector(1, 0, 0), vector(1, 1, 0), vector(0, 1, 0);
  vector(0, 0, -1);
  for (int i = 0; i < 4; ++i) vector(0.25f * i, 0.5f, 0);
  for (int i = 0; i < 4; ++i) vector(0, 0, 0.1f * i);
  for (int corner = 0; corner < 4; ++corner) {
    EXPECT_TRUE(mi_api_vertex_add(corner));
    EXPECT_TRUE(mi_api_vertex_normal_add(4));
    EXPECT_TRUE(mi_api_vertex_tex_add(5 + corner, -1, -1));
    EXPECT_TRUE(mi_api_vertex_motion_add(9 + corner));
  }
  EXPECT_TRUE(mi_api_poly_begin_tag(0, material));
  for (int corner : {0, 1, 2, 3}) mi_api_poly_index_add(corner);
  EXPECT_TRUE(mi_api_poly_end());
  // A second polygon names no material and takes the one before.
  EXPECT_TRUE(mi_api_poly_begin(1, nullptr));
  for (int corner : {3, 2, 0}) mi_api_poly_index_add(corner);
  EXPECT_TRUE(mi_api_poly_end());
  EXPECT_TRUE(mi_api_object_group_end());
  const miTag tag = mi_api_object_end();
  EXPECT_EQ(errors(), 0);

  const host::ObjectData* data = host::view_object(tag);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->name, "body");
  EXPECT_EQ(data->record.visible, 2);
  EXPECT_EQ(data->record.shadow, 3);
  EXPECT_EQ(data->record.maxdisplace, 0.5f);
  EXPECT_EQ(data->record.bbox_max.y, 1.0f);
  ASSERT_EQ(data->groups.size(), 1u);
  const host::GroupData& group = data->groups[0];
  ASSERT_EQ(group.vectors.size(), 13u);
  ASSERT_EQ(group.vertices.size(), 4u);
  EXPECT_EQ(group.vertices[2].position, 2);
  EXPECT_EQ(group.vertices[2].normal, 4);
  EXPECT_EQ(list(group.textures(group.vertices[2])), std::vector<int>{7});
  EXPECT_EQ(list(group.motions(group.vertices[3])), std::vector<int>{12});
  EXPECT_EQ(group.vectors[group.motions(group.vertices[3])[0]].z, 0.3f);
  ASSERT_EQ(group.polygons.size(), 2u);
  EXPECT_EQ(list(group.corners(group.polygons[0])), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(list(group.corners(group.polygons[1])), (std::vector<int>{3, 2, 0}));
  EXPECT_EQ(group.polygons[1].type, 1);
  EXPECT_EQ(group.polygons[0].material, material);
  EXPECT_EQ(group.polygons[1].material, material);

  EXPECT_EQ(mi_api_name_lookup(copy("body")), tag);
  EXPECT_EQ(mi_api_name_lookup(copy("::mat_3_0")), material);
  EXPECT_EQ(mi_api_name_lookup(copy("mat_3_1")), 0u);  // never defined
  EXPECT_EQ(host::view_material(tag), nullptr);        // an object is not a material
}

TEST_F(SceneDatabase, MisuseIsReportedAndTheRestIsKept) {
  EXPECT_EQ(mi_api_object_end(), 0u);  // end without begin
  EXPECT_FALSE(mi_api_vertex_add(0));  // no object
  EXPECT_EQ(errors(), 2);

  mi_api_object_begin(nullptr);   // an anonymous object
  EXPECT_FALSE(vector(0, 0, 0));  // no group yet
  mi_api_object_group_begin(0.0);
  vector(0, 0, 0), vector(1, 0, 0), vector(0, 1, 0);
  mi_api_vertex_add(0), mi_api_vertex_add(1);
  EXPECT_FALSE(mi_api_vertex_add(3));          // one past the last vector: kept with no position
  EXPECT_FALSE(mi_api_vertex_normal_add(-1));  // left out
  mi_api_vertex_add(2);
  EXPECT_TRUE(mi_api_poly_begin_tag(0, 999));  // not a material: begun without one
  for (int corner : {0, 1, 4, 3}) mi_api_poly_index_add(corner);  // 4 is out of range
  EXPECT_TRUE(mi_api_poly_end());
  mi_api_object_group_end();
  EXPECT_FALSE(mi_api_object_group_end());  // ended twice
  const miTag tag = mi_api_object_end();
  EXPECT_EQ(errors(), 8);

  const host::ObjectData* data = host::view_object(tag);
  ASSERT_NE(data, nullptr);
  const host::GroupData& group = data->groups.at(0);
  ASSERT_EQ(group.vertices.size(), 4u);
  EXPECT_EQ(group.vertices[2].position, -1);
  EXPECT_EQ(group.vertices[3].position, 2);
  ASSERT_EQ(group.polygons.size(), 1u);
  EXPECT_EQ(list(group.corners(group.polygons[0])), (std::vector<int>{0, 1, 3}));
  EXPECT_EQ(group.polygons[0].material, 0u);
  const std::string first = host::messages()[0].text;
  EXPECT_EQ(first, "mi_api_object_end: no object is open\n");

  // Whatever a callback leaves open is dropped and named.
  host::clear_messages();
  mi_api_material_begin(copy("mat_1_0"));
  mi_api_function_call(copy("mib_illum_phong"));
  host::drop_open_elements("asm_exec of \"asm_1\"");
  ASSERT_EQ(host::messages().size(), 2u);
  EXPECT_EQ(host::messages()[0].text,
            "asm_exec of \"asm_1\" returned with material \"mat_1_0\" still open; it is dropped\n");
  EXPECT_EQ(mi_api_material_end(), 0u);
}

TEST_F(SceneDatabase, MaterialRefersToCallsWithTypedParametersTexturesAndArrays) {
  // A texture: begin gives no tag, the file definition does.
  EXPECT_EQ(mi_api_texture_begin(copy("maps_skin_tif_tex"), 0, 0), 0u);
  const miTag texture = mi_api_texture_file_def(copy("maps/skin.tif"));
  mi_api_texture_end();
  ASSERT_NE(host::view_texture(texture), nullptr);
  EXPECT_EQ(host::view_texture(texture)->file, "maps/skin.tif");

  // The default Phong call: colours as three scalars, the exponent given as an integer.
  mi_api_function_call(copy("mib_illum_phong"));
  const float ambient[] = {0.1f, 0.2f, 0.3f};
  mi_api_parameter_name(copy("ambient"));
  for (float component : ambient) mi_api_parameter_value(miTYPE_SCALAR, (void*)&component, 0, 0);
  int exponent = 50, mode = 2, size = 0;
  mi_api_parameter_name(copy("exponent"));
  mi_api_parameter_value(miTYPE_INTEGER, &exponent, nullptr, &size);
  EXPECT_EQ(size, 4);
  mi_api_parameter_name(copy("mode"));
  mi_api_parameter_value(miTYPE_INTEGER, &mode, 0, 0);
  EXPECT_FALSE(mi_api_parameter_name(copy("shininess")));             // not declared
  EXPECT_FALSE(mi_api_parameter_value(miTYPE_INTEGER, &mode, 0, 0));  // goes nowhere
  const miTag phong = mi_api_function_call_end(0);
  EXPECT_TRUE(mi_api_shader_add(copy("mat_12_0"), phong));
  EXPECT_EQ(errors(), 1);

  // An undeclared shader keeps its parameters as given: a texture by name, an array of
  // shader references, a connection.
  mi_api_function_call(copy("skin_shader"));
  mi_api_parameter_name(copy("map"));
  mi_api_parameter_value(miTYPE_TEX, (void*)&texture, 0, 0);
  mi_api_parameter_name(copy("layers"));
  mi_api_parameter_push(miTRUE);
  for (const char* layer : {"::mat_12_0", "::mat_12_9"}) {
    mi_api_new_array_element();
    mi_api_parameter_shader(copy(layer));
  }
  mi_api_parameter_pop();
  mi_api_parameter_name(copy("bump"));
  mi_api_parameter_shader(copy("mat_12_0"));
  const miTag skin = mi_api_function_call_end(0);

  miMaterial* record = mi_api_material_begin(copy("mat_12_0"));
  record->shader = skin;
  record->displace = texture;  // not a shader: reported and cleared
  const miTag material = mi_api_material_end();
  EXPECT_EQ(errors(), 2);

  const host::CallData* call = host::view_call(phong);
  ASSERT_NE(call, nullptr);
  EXPECT_TRUE(call->declared);
  EXPECT_EQ(call->name, "mat_12_0");
  ASSERT_EQ(call->parameters.size(), 3u);
  EXPECT_EQ(call->parameters[0].name, "ambient");
  EXPECT_EQ(call->parameters[0].type, miTYPE_COLOR);
  EXPECT_EQ(call->parameters[0].numbers, (std::vector<double>{0.1f, 0.2f, 0.3f}));
  EXPECT_EQ(call->parameters[1].type, miTYPE_SCALAR);
  EXPECT_EQ(call->parameters[1].numbers, std::vector<double>{50});
  EXPECT_EQ(call->parameters[2].name, "mode");

  const host::MaterialData* data = host::view_material(material);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->record.displace, 0u);
  const host::CallData* surface = host::view_call(data->record.shader);
  ASSERT_NE(surface, nullptr);
  EXPECT_FALSE(surface->declared);
  EXPECT_EQ(surface->declaration, "skin_shader");
  ASSERT_EQ(surface->parameters.size(), 3u);
  EXPECT_EQ(surface->parameters[0].text, "maps_skin_tif_tex");
  EXPECT_EQ(surface->parameters[0].tag, texture);
  const host::ParameterData& layers = surface->parameters[1];
  EXPECT_EQ(layers.type, miTYPE_ARRAY);
  ASSERT_EQ(layers.elements.size(), 2u);
  EXPECT_TRUE(layers.elements[0].connected);
  EXPECT_EQ(layers.elements[0].tag, phong);
  EXPECT_EQ(layers.elements[1].text, "::mat_12_9");
  EXPECT_EQ(layers.elements[1].tag, 0u);  // never defined (a warning)
  EXPECT_EQ(surface->parameters[2].tag, phong);
  EXPECT_EQ(mi_api_function_assign(copy("mat_12_0")), 0u);  // now names the material
}

TEST_F(SceneDatabase, DeclarationsVariablesScopesAndResults) {
  // The matte shader as the plug-in declares it: a colour result and no parameters.
  EXPECT_EQ(mi_api_variable_lookup(copy("hordera_matte_shader")), nullptr);
  mi_api_variable_set(copy("hordera_matte_shader"), copy("true"));
  EXPECT_STREQ(mi_api_variable_lookup(copy("hordera_matte_shader")), "true");
  mi_api_funcdecl_begin(mi_api_parameter_decl(miTYPE_COLOR, copy(""), 0), copy("hordera_matte"),
                        nullptr);
  const miTag declaration = mi_api_funcdecl_end();
  EXPECT_EQ(mi_api_decl_lookup(copy("hordera_matte")), declaration);
  EXPECT_EQ(mi_api_name_lookup(copy("hordera_matte")), declaration);
  EXPECT_EQ(mi_api_decl_lookup(copy("hordera_mat")), 0u);
  ASSERT_NE(host::view_declaration(declaration), nullptr);
  EXPECT_EQ(host::view_declaration(declaration)->results.at(0).type, miTYPE_COLOR);
  mi_api_variable_set(copy("hordera_matte_shader"), nullptr);  // deleted
  EXPECT_EQ(mi_api_variable_lookup(copy("hordera_matte_shader")), nullptr);

  // A struct parameter in a declaration built from appended parameters and children.
  miParameter* colour = mi_api_parameter_decl(miTYPE_COLOR, copy("tint"), 0);
  miParameter* weight = mi_api_parameter_decl(miTYPE_SCALAR, copy("weight"), 0);
  miParameter* layer = mi_api_parameter_decl(miTYPE_STRUCT, copy("layer"), 0);
  mi_api_parameter_child(layer, mi_api_parameter_append(colour, weight));
  mi_api_funcdecl_begin(
      nullptr, copy("layered"),
      mi_api_parameter_append(mi_api_parameter_decl(miTYPE_INTEGER, copy("n"), 0), layer));
  mi_api_funcdecl_end();
  mi_api_function_call(copy("layered"));
  mi_api_parameter_name(copy("layer"));
  mi_api_parameter_push(miFALSE);
  float half = 0.5f;
  mi_api_parameter_name(copy("weight"));
  mi_api_parameter_value(miTYPE_SCALAR, &half, 0, 0);
  mi_api_parameter_pop();
  const host::CallData* call = host::view_call(mi_api_function_call_end(0));
  ASSERT_NE(call, nullptr);
  ASSERT_EQ(call->parameters.at(0).elements.size(), 1u);
  EXPECT_EQ(call->parameters[0].elements[0].type, miTYPE_SCALAR);
  EXPECT_EQ(call->parameters[0].elements[0].numbers, std::vector<double>{0.5});

  // Scopes prefix names; the global scope leaves them alone.
  char* plain = mi_api_scope_apply(copy("x"));
  EXPECT_STREQ(plain, "x");
  mi_mem_int_release("mray", 2, plain);
  mi_api_scope_begin(copy("agent"));
  mi_api_scope_begin(copy("inner"));
  char* scoped = mi_api_scope_apply(copy("mat_1_0"));
  EXPECT_STREQ(scoped, "agent::inner::mat_1_0");
  mi_mem_int_release("mray", 3, scoped);
  mi_api_scope_end(), mi_api_scope_end();
  EXPECT_FALSE(mi_api_scope_end());

  // Results: one item is the result itself; more make one instance group, in order.
  miTag result = 0, items[3];
  for (miTag& item : items) {
    mi_api_object_begin(nullptr);
    item = mi_api_object_end();
  }
  mi_geoshader_add_result(&result, items[0]);
  EXPECT_EQ(result, items[0]);
  mi_geoshader_add_result(&result, items[1]);
  mi_geoshader_add_result(&result, 0);
  mi_geoshader_add_result(&result, items[2]);
  const host::InstanceGroupData* group = host::view_group(result);
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(group->items, (std::vector<miTag>{items[0], items[1], items[2]}));
  EXPECT_EQ(errors(), 1);
}

class ObjectStore : public testing::Test {
 protected:
  void SetUp() override {
    host::clear_scene();
    host::clear_messages();
    host::set_verbosity(0);
  }
  void TearDown() override { host::clear_scene(); }
};

TEST_F(ObjectStore, RunsStayWithTheirVertexAndPolygon) {
  mi_api_object_begin(copy("runs"));
  mi_api_object_group_begin(0.0);
  add_vectors(20);
  // Vertex 0: the motion vector comes first, the textures after it (out of the usual order).
  mi_api_vertex_add(0);
  EXPECT_TRUE(mi_api_vertex_motion_add(10));
  EXPECT_TRUE(mi_api_vertex_tex_add(5, -1, -1));
  EXPECT_TRUE(mi_api_vertex_tex_add(6, -1, -1));
  EXPECT_TRUE(mi_api_vertex_motion_add(11));
  // Vertex 1: none. Vertex 2: one texture, two motion steps. Vertex 3: a texture left out.
  mi_api_vertex_add(1);
  mi_api_vertex_add(2);
  mi_api_vertex_tex_add(7, -1, -1);
  mi_api_vertex_motion_add(12), mi_api_vertex_motion_add(13);
  mi_api_vertex_add(3);
  EXPECT_FALSE(mi_api_vertex_tex_add(20, -1, -1));
  mi_api_vertex_motion_add(14);
  // A polygon of two corners is dropped; the ones around it keep exactly their own corners.
  mi_api_poly_begin_tag(1, 0);
  for (int v : {0, 1, 2}) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_poly_begin_tag(0, 0);
  mi_api_poly_index_add(3), mi_api_poly_index_add(2);
  EXPECT_FALSE(mi_api_poly_end());
  mi_api_poly_begin_tag(0, 0);
  for (int v : {3, 2, 1, 0}) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_object_group_end();
  const host::ObjectData* object = host::view_object(mi_api_object_end());
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(errors(), 2);  // the texture out of range, the short polygon

  const host::GroupData& group = object->groups.at(0);
  ASSERT_EQ(group.vertices.size(), 4u);
  EXPECT_EQ(list(group.textures(group.vertices[0])), (std::vector<int>{5, 6}));
  EXPECT_EQ(list(group.motions(group.vertices[0])), (std::vector<int>{10, 11}));
  EXPECT_TRUE(group.textures(group.vertices[1]).empty());
  EXPECT_TRUE(group.motions(group.vertices[1]).empty());
  EXPECT_EQ(list(group.textures(group.vertices[2])), std::vector<int>{7});
  EXPECT_EQ(list(group.motions(group.vertices[2])), (std::vector<int>{12, 13}));
  EXPECT_TRUE(group.textures(group.vertices[3]).empty());
  EXPECT_EQ(list(group.motions(group.vertices[3])), std::vector<int>{14});
  ASSERT_EQ(group.polygons.size(), 2u);
  EXPECT_EQ(group.polygons[0].type, 1);
  EXPECT_EQ(list(group.corners(group.polygons[0])), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(list(group.corners(group.polygons[1])), (std::vector<int>{3, 2, 1, 0}));
  EXPECT_EQ(group.polygon_corners.size(), 7u);  // nothing of the dropped polygon is left
}

TEST_F(ObjectStore, ObjectsOfDifferentSizesKeepTheirOwnGeometry) {
  // Large, small, large again: each group starts with room for the one before it.
  const int sizes[] = {3000, 4, 5000};
  std::vector<const host::ObjectData*> objects;
  for (int size : sizes) {
    mi_api_object_begin(nullptr);
    mi_api_object_group_begin(0.0);
    add_vectors(size);
    for (int v = 0; v < size; ++v) {
      mi_api_vertex_add(size - 1 - v);
      mi_api_vertex_motion_add(v);
    }
    for (int p = 0; p + 2 < size; p += 3) {
      mi_api_poly_begin_tag(0, 0);
      for (int k = 0; k < 3; ++k) mi_api_poly_index_add(p + k);
      mi_api_poly_end();
    }
    mi_api_object_group_end();
    objects.push_back(host::view_object(mi_api_object_end()));
  }
  EXPECT_EQ(errors(), 0);
  for (size_t i = 0; i < objects.size(); ++i) {
    const int size = sizes[i];
    const host::GroupData& group = objects[i]->groups.at(0);
    ASSERT_EQ(group.vectors.size(), size_t(size)) << i;
    EXPECT_EQ(group.vectors.back().x, float(size - 1)) << i;
    ASSERT_EQ(group.vertices.size(), size_t(size)) << i;
    EXPECT_EQ(group.vertices.front().position, size - 1) << i;
    EXPECT_EQ(group.vertices.back().position, 0) << i;
    EXPECT_EQ(list(group.motions(group.vertices.back())), std::vector<int>{size - 1}) << i;
    ASSERT_EQ(group.polygons.size(), size_t(size / 3)) << i;
    EXPECT_EQ(list(group.corners(group.polygons.back())),
              (std::vector<int>{size / 3 * 3 - 3, size / 3 * 3 - 2, size / 3 * 3 - 1}))
        << i;
  }
}

TEST_F(ObjectStore, MaterialTagIsCheckedAgainAfterTheDatabaseIsCleared) {
  mi_api_material_begin(copy("skin"));
  const miTag material = mi_api_material_end();
  mi_api_object_begin(nullptr);
  mi_api_object_group_begin(0.0);
  EXPECT_TRUE(mi_api_poly_begin_tag(0, material));
  mi_api_poly_end();
  mi_api_object_group_end();
  mi_api_object_end();
  EXPECT_EQ(errors(), 1);  // the empty polygon only

  // The same tag number names a string after the clear, which is no material.
  host::clear_scene();
  host::clear_messages();
  ASSERT_EQ(host::db_create_string("not a material"), material);
  mi_api_object_begin(nullptr);
  mi_api_object_group_begin(0.0);
  add_vectors(3);
  for (int v = 0; v < 3; ++v) mi_api_vertex_add(v);
  mi_api_poly_begin_tag(0, material);
  for (int v = 0; v < 3; ++v) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_object_group_end();
  const host::ObjectData* object = host::view_object(mi_api_object_end());
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(errors(), 1);
  EXPECT_EQ(host::messages().front().text,
            "mi_api_poly_begin_tag: tag " + std::to_string(material) + " is not a material\n");
  EXPECT_EQ(object->groups.at(0).polygons.at(0).material, 0u);
}

}  // namespace
