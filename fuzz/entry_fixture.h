// Shared by the two entry-path fuzzers: a small agent written to disk whole, with one of its
// files (or its parameter string, shader line or options) replaced by the fuzzer's input. The
// input's first byte chooses what it replaces; the rest is the replacement. Each input gets a
// directory of its own, so that agent types and pose caches the engine keeps by path are read
// afresh instead of being found from an earlier input.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzz_input.h"

namespace fuzz {

// What the input replaces.
enum class Slot {
  parameters,      // the agent's parameter string, after its id
  current_frame,   // the pose cache of frame 5
  previous_frame,  // the pose cache of frame 4, read with motion blur
  agent_file,
  mesh,
  weights,
  shader_line,  // the words after "shader beauty" in the material (line breaks become blanks)
  options,      // the render pass name, or the procedural's options
  count
};

struct EntryInput {
  Slot slot = Slot::parameters;
  std::string text;       // the replacement
  std::string directory;  // where the agent's files are
};

inline std::string pose_cache(int frame) {
  std::string text;
  for (int id : {3, 12})
    text += "BEGIN walker_" + std::to_string(id) + "\nroot 0 0 90 " + std::to_string(frame + id) +
            " 1 0\narm 0 0 " + std::to_string(10 * frame) + " 0 1 0\n\n";
  return text;
}

inline void put(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Writes the agent into `directory`, with `input` in its place when it replaces a file.
inline void write_agent(const std::string& directory, const EntryInput& input) {
  namespace fs = std::filesystem;
  fs::create_directories(directory);
  const auto text_for = [&](Slot slot, const std::string& normal) {
    return input.slot == slot ? input.text : normal;
  };
  std::string shader = "\"mib_illum_phong\" \"diffuse\" 2 [1 0 0] \"exponent\" 9 ['shine']";
  if (input.slot == Slot::shader_line) {
    shader = input.text;
    for (char& c : shader)
      if (c == '\n' || c == '\r') c = ' ';
  }
  put(fs::path(directory) / "walker.cdl",
      text_for(Slot::agent_file,
               "# CDL created with hordera v1.0.0\n"
               "object walker\n"
               "variables\nshine 20\nend variables\n"
               "render_pass beauty\nrender_pass shadow 2\n"
               "segment root\ntranslate 0 1 0\n"
               "segment arm\nparent root\ntranslate 0 1 0\n"
               "bone root\nbone arm\n"
               "material skin\ndiffuse hsv 0 1 1\nshader beauty " +
                   shader +
                   "\n"
                   "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
                   "geometry hat\nfile body.obj\nattach arm\n"
                   "end object\n"));
  put(fs::path(directory) / "body.obj",
      text_for(Slot::mesh,
               "v 1 2 0\nv 1 1 0\nv 0 0.5 0\nv 0 2 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
               "vn 0 0 1\nf 1/1/1 2/2/1 3/3/1 4/4/1\nf 1 3 4\n"));
  put(fs::path(directory) / "body.w",
      text_for(Slot::weights,
               "deformer 0 root\ndeformer 1 arm\n\n0:  0 1\n1:  0 0.5 1 0.5\n2:  0 1\n3:  1 1\n"));
  put(fs::path(directory) / "frame.4.apf", text_for(Slot::previous_frame, pose_cache(4)));
  put(fs::path(directory) / "frame.5.apf", text_for(Slot::current_frame, pose_cache(5)));
}

// Takes the input apart and writes its agent into a directory of its own.
inline EntryInput entry_input(const uint8_t* data, size_t size) {
  static unsigned long serial = 0;
  EntryInput input;
  if (size > 0) {
    input.slot = static_cast<Slot>(data[0] % static_cast<uint8_t>(Slot::count));
    input.text.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  }
  input.directory = temp_dir() + "/in" + std::to_string(++serial);
  write_agent(input.directory, input);
  return input;
}

// The untouched agent, written once: rendered beside every input, it must come out the same.
inline const std::string& clean_directory() {
  static const std::string directory = [] {
    const std::string path = temp_dir() + "/clean";
    write_agent(path, EntryInput{Slot::count, "", path});
    return path;
  }();
  return directory;
}

// The parameter string (agent file, pose cache, frame) of the clean agent, or of the fuzzed one:
// the input itself when it replaces the parameter string; otherwise the input's own pose caches,
// and its own agent file only when the input replaces one of the agent's files, so that inputs
// aimed at pose caches do not load a new agent type each time.
inline std::string parameter_string(const EntryInput& input, bool fuzzed) {
  const std::string& clean = clean_directory();
  if (!fuzzed) return clean + "/walker.cdl " + clean + "/frame.5.apf 5";
  if (input.slot == Slot::parameters) return input.text;
  const bool own_type = input.slot == Slot::agent_file || input.slot == Slot::mesh ||
                        input.slot == Slot::weights || input.slot == Slot::shader_line;
  return (own_type ? input.directory : clean) + "/walker.cdl " + input.directory + "/frame.5.apf 5";
}

inline void remove_input(const EntryInput& input) {
  std::error_code ignored;
  std::filesystem::remove_all(input.directory, ignored);
}

}  // namespace fuzz
