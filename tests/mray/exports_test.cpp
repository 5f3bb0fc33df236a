// The plug-in exports exactly the names of its export list: every listed name resolves, and its
// dynamic symbol table defines nothing else and needs no RenderMan function.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

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

TEST(PluginExports, EveryListedNameResolves) {
  void* plugin = dlopen(HORDERA_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(plugin, nullptr) << dlerror();
  const std::set<std::string> names = listed_exports();
  ASSERT_FALSE(names.empty());
  for (const std::string& name : names)
    EXPECT_NE(dlsym(plugin, name.c_str()), nullptr) << "listed but not exported: " << name;
  dlclose(plugin);
}

TEST(PluginExports, NothingOutsideTheListIsExportedAndNoRiFunctionIsNeeded) {
  const std::set<std::string> names = listed_exports();
  const std::set<std::string> defined = dynamic_symbols("--defined-only");
  ASSERT_FALSE(defined.empty()) << "no dynamic symbols read from " << HORDERA_PLUGIN_PATH;
  for (const std::string& name : defined)
    EXPECT_TRUE(names.count(name)) << "exported but not listed: " << name;
  // The RenderMan functions are looked up when first used: a renderer without them still loads
  // the plug-in.
  const std::set<std::string> undefined = dynamic_symbols("--undefined-only");
  ASSERT_FALSE(undefined.empty());  // the C library at least
  for (const std::string& name : undefined) EXPECT_NE(0u, name.rfind("Ri", 0)) << name;
}

}  // namespace
