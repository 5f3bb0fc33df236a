// The plug-in exports exactly the names of its export list: every listed name resolves, and its
// dynamic symbol table defines nothing else and needs no RenderMan function.
#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
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

// The names of the shared object's dynamic symbol table: those it defines (global or weak) and
// those it needs from the loading process.
struct DynamicSymbols {
  std::set<std::string> defined, undefined;
};

DynamicSymbols dynamic_symbols(const char* path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  DynamicSymbols names;
  if (image.size() < sizeof(Elf64_Ehdr)) return names;
  Elf64_Ehdr header;
  std::memcpy(&header, image.data(), sizeof header);
  if (header.e_shoff == 0 || header.e_shoff + header.e_shnum * sizeof(Elf64_Shdr) > image.size())
    return names;
  std::vector<Elf64_Shdr> sections(header.e_shnum);
  std::memcpy(sections.data(), image.data() + header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr));
  for (const Elf64_Shdr& section : sections) {
    if (section.sh_type != SHT_DYNSYM) continue;
    const Elf64_Shdr& strings = sections.at(section.sh_link);
    const size_t count = section.sh_size / sizeof(Elf64_Sym);
    for (size_t i = 0; i < count; ++i) {
      Elf64_Sym symbol;
      std::memcpy(&symbol, image.data() + section.sh_offset + i * sizeof(Elf64_Sym), sizeof symbol);
      const char* name = image.data() + strings.sh_offset + symbol.st_name;
      const int binding = ELF64_ST_BIND(symbol.st_info);
      if (symbol.st_shndx == SHN_UNDEF) {
        if (symbol.st_name != 0) names.undefined.insert(name);
      } else if (binding == STB_GLOBAL || binding == STB_WEAK) {
        names.defined.insert(name);
      }
    }
  }
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
  const DynamicSymbols symbols = dynamic_symbols(HORDERA_PLUGIN_PATH);
  ASSERT_FALSE(symbols.defined.empty()) << "no dynamic symbols read from " << HORDERA_PLUGIN_PATH;
  for (const std::string& name : symbols.defined)
    EXPECT_TRUE(names.count(name)) << "exported but not listed: " << name;
  // The RenderMan functions are looked up when first used: a renderer without them still loads
  // the plug-in.
  ASSERT_FALSE(symbols.undefined.empty());  // the C library at least
  for (const std::string& name : symbols.undefined) EXPECT_NE(0u, name.rfind("Ri", 0)) << name;
}

}  // namespace
