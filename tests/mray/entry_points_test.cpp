// The plug-in's entry points driven end to end through the stand-in host, each scenario in a child
// process (the engine starts once per process); and its exports, exactly the names of its export
// list, needing no RenderMan function.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/assemblies.h"
#include "host/database.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/shader_call.h"
#include "host/shader_interface.h"
#include "mray/shader_arguments.h"
#include "tests/support/plugin_scenario.h"

namespace {

using plugin_test::count_of;
using plugin_test::in_child;
using plugin_test::in_render;
using plugin_test::message_texts;
using plugin_test::render_options;
const auto load = plugin_test::load_built_plugin;

host::SceneInstance agent(int id, const char* text) {
  host::SceneInstance instance;
  instance.name = "agent_" + std::to_string(id) + "_inst";
  instance.id = id;
  instance.has_param_str = text != nullptr;
  instance.param_str = text ? text : "";
  instance.bbox_min = {-1.25f, 0.0f, -0.5f};
  instance.bbox_max = {1.25f, 1.8f, 0.123456f};
  return instance;
}

TEST(EntryPoints, EngineStartsOnceWhileEveryRenderRereadsTheOptions) {
  in_render([](host::Plugin& plugin, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    const host::StringOptions first = render_options("beauty", 1);
    const host::StringOptions second = render_options("night", 0);
    session.init_shader(&first);
    session.init_shader(&second);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of(printed, "hordera 4.1.18 initialised\nBuild: Windows  11:57 20/06/12\n"), 1);
    EXPECT_EQ(count_of(printed, "linked against mental ray version: mray-3.7.52.13\n"), 1);

    const std::vector<std::string> expected_debug = {"-->creating apf cache\n",
                                                     "-->resolve option: render_pass name=beauty",
                                                     "-->resolve option: motion_blur=1\n",
                                                     "-->creating apf cache\n",
                                                     "-->resolve option: render_pass name=night",
                                                     "-->resolve option: motion_blur=0\n"};
    EXPECT_EQ(message_texts(host::Level::debug), expected_debug);
    const std::vector<std::string> expected_info(2, "-->hordera_mray_init() without paras\n");
    EXPECT_EQ(message_texts(host::Level::info), expected_info);
    EXPECT_EQ(host::shader_interface_objects_held(), 0);
    EXPECT_EQ(plugin.version(), 2);
  });
}

TEST(EntryPoints, InstanceInitAndMissingOptions) {
  in_render([](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    const host::StringOptions none = render_options(nullptr, -1);
    session.init_shader(&none);
    host::clear_messages();
    const size_t held = host::memory_in_use().size();
    const int elements = host::db_count();

    session.init_instance(agent(3, "a.cdl x.apf 1"));
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(host::messages().empty());
    EXPECT_TRUE(host::assemblies().empty());
    EXPECT_EQ(host::memory_in_use().size(), held);
    EXPECT_EQ(host::db_count(), elements + 1);  // only the host's own string element

    // Options without render_pass and motion_blur: no pass name, no motion blur.
    host::clear_messages();
    session.init_shader(&none);
    const std::vector<std::string> expected = {"-->creating apf cache\n",
                                               "-->resolve option: render_pass name=(null)",
                                               "-->resolve option: motion_blur=0\n"};
    EXPECT_EQ(message_texts(host::Level::debug), expected);

    // A state without options resolves nothing.
    host::clear_messages();
    session.init_shader(nullptr);
    EXPECT_EQ(message_texts(host::Level::debug),
              std::vector<std::string>{"-->creating apf cache\n"});
  });
}

TEST(EntryPoints, GeometryShaderDeclaresTheAgentsAssembly) {
  in_render([](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    session.init_shader(nullptr);
    host::clear_messages();

    const host::SceneInstance seven = agent(7, "/a/man.cdl /s/frame.12.apf 12 speed 2");
    const miTag result = session.call_geometry(seven);
    const std::vector<host::Assembly> declared = host::assemblies();
    ASSERT_EQ(declared.size(), 1u);
    EXPECT_EQ(declared[0].name, "asm_7");
    EXPECT_EQ(result, declared[0].tag);
    EXPECT_EQ(host::db_data(result) != nullptr, true);
    const miAssembly& box = declared[0].record;
    for (const auto& [got, given] :
         {std::pair{box.bbox_min, seven.bbox_min}, {box.bbox_max, seven.bbox_max}})
      EXPECT_TRUE(got.x == given.x && got.y == given.y && got.z == given.z);
    // The parameter string element was read and released again.
    for (miTag tag = 1; tag <= static_cast<miTag>(host::db_count()); ++tag)
      EXPECT_EQ(host::db_pins(tag), 0) << "tag " << tag;

    // No parameter string: no assembly, result untouched.
    EXPECT_EQ(session.call_geometry(agent(8, nullptr)), miNULLTAG);
    EXPECT_EQ(host::assemblies().size(), 1u);

    const std::vector<host::AssemblyRun> runs = session.run_assemblies();
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_TRUE(runs[0].executed && runs[0].freed);
    EXPECT_EQ(runs[0].result, miNULLTAG);
    const std::vector<std::string> expected_info = {"-->hordera_mray()\n", "-->hordera_mray()\n",
                                                    "-->asm_exec()\n", "-->asm_free_args()\n"};
    EXPECT_EQ(message_texts(host::Level::info), expected_info);
    // The agent file does not exist: the driver reports it with the lock taken (and kept).
    const std::vector<std::string> expected_debug = {
        "-->before locking agent7\n", "-->after locking agent7\n", "-->mray_args_free()\n",
        "-->finished asm_exec()\n"};
    EXPECT_EQ(message_texts(host::Level::debug), expected_debug);
    const std::vector<std::string> expected_error = {
        "-->horderaMray: /a/man.cdl cannot be loaded."};
    EXPECT_EQ(message_texts(host::Level::error), expected_error);
    // Everything the plug-in took from renderer memory has been given back.
    for (const host::MemoryBlock& block : host::memory_in_use())
      ADD_FAILURE() << "still held: " << block.file << ":" << block.line;
    EXPECT_EQ(host::memory_release_faults(), 0u);
  });
}

TEST(EntryPoints, PhenomenonParametersComeFromTheInterfaceWhenConnected) {
  in_render([](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    HorderaMrayParameters interface_values{};
    interface_values.id = 9;
    interface_values.bbox_min = {5, 5, 5};
    // Only "id" is connected; the box is read in place.
    session.call_geometry(agent(7, "a.cdl x.apf 1"), true, {offsetof(HorderaMrayParameters, id)},
                          &interface_values);
    const std::vector<host::Assembly> declared = host::assemblies();
    ASSERT_EQ(declared.size(), 1u);
    EXPECT_EQ(declared[0].name, "asm_9");
    EXPECT_EQ(declared[0].record.bbox_min.x, -1.25f);
    EXPECT_EQ(host::phenomenon_evaluations(), 1);
    session.run_assemblies();
    testing::internal::GetCapturedStderr();
  });
}

TEST(EntryPoints, MissingCdlFileIsReportedByTheDriver) {
  in_render([](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    session.call_geometry(agent(4, "lonely.cdl"));
    session.run_assemblies();
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of(printed, "not enough parameters\n"), 1);
    EXPECT_EQ(message_texts(host::Level::error),
              std::vector<std::string>{
                  "-->horderaMray: .cdl file name is missing from parameter string.\n"});
    EXPECT_TRUE(host::memory_in_use().empty());
  });
}

TEST(EntryPoints, MissingRendererFunctionsAreSkippedAndNamedOnce) {
  in_child([] {
    auto plugin = load();
    ASSERT_TRUE(plugin);
    plugin->set_module_handle(nullptr);  // a module that provides nothing
    testing::internal::CaptureStderr();
    HorderaMrayParameters block{};
    block.paramStr = host::db_create_string("a.cdl x.apf 1");
    miTag result = 0;
    EXPECT_EQ(plugin->geometry(&result, nullptr, &block), miTRUE);
    EXPECT_EQ(plugin->geometry(&result, nullptr, &block), miTRUE);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of(printed, "renderer function mi_info is missing"), 1);
    EXPECT_EQ(count_of(printed, "renderer function mi_mem_int_allocate is missing"), 1);
    EXPECT_EQ(result, miNULLTAG);
    EXPECT_TRUE(host::messages().empty());

    // A new module handle forgets every function found missing in the old one.
    plugin->set_module_handle(dlopen(nullptr, RTLD_NOW));
    EXPECT_EQ(plugin->geometry(&result, nullptr, &block), miTRUE);
    ASSERT_EQ(host::assemblies().size(), 1u);
    EXPECT_EQ(host::assemblies()[0].name, "asm_0");
    EXPECT_EQ(result, host::assemblies()[0].tag);
    EXPECT_EQ(message_texts(host::Level::info), std::vector<std::string>{"-->hordera_mray()\n"});
    auto* args = reinterpret_cast<MrayArgs*>(host::assemblies()[0].record.arguments.p);
    ASSERT_NE(args, nullptr);
    EXPECT_STREQ(args->param_str, "a.cdl x.apf 1");
  });
}

std::set<std::string> listed_exports() {
  std::set<std::string> names;
  std::ifstream in(HORDERA_EXPORTS_PATH);
  std::string line;
  while (std::getline(in, line)) {
    line = line.substr(0, line.find('#'));
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) continue;
    const auto last = line.find_last_not_of(" \t\r");
    names.insert(line.substr(first, last - first + 1));
  }
  return names;
}

// The names in the plug-in's dynamic symbol table as `nm -D` lists them with `options`:
// global and weak symbols, each without its version.
std::set<std::string> dynamic_symbols(const std::string& options) {
  std::set<std::string> names;
  std::FILE* pipe = popen(("nm -D " + options + " " HORDERA_PLUGIN_PATH).c_str(), "r");
  char line[1024];
  while (pipe && std::fgets(line, sizeof line, pipe)) {
    std::istringstream in(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    if (words.size() < 2) continue;
    const char type = words[words.size() - 2][0];
    if (std::isupper(static_cast<unsigned char>(type)) || type == 'w' || type == 'v')
      names.insert(words.back().substr(0, words.back().find('@')));
  }
  if (pipe) pclose(pipe);
  return names;
}

// Every listed name is exported and nothing else; the RenderMan functions are looked up when
// first used, so that a renderer without them still loads the plug-in.
TEST(PluginExports, ExactlyTheListedNamesAreExportedAndNoRiFunctionIsNeeded) {
  const std::set<std::string> listed = listed_exports();
  ASSERT_FALSE(listed.empty());
  EXPECT_EQ(dynamic_symbols("--defined-only"), listed);
  const std::set<std::string> undefined = dynamic_symbols("--undefined-only");
  ASSERT_FALSE(undefined.empty());  // the C library at least
  for (const std::string& name : undefined) EXPECT_NE(0u, name.rfind("Ri", 0)) << name;
}

}  // namespace
