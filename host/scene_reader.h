// The reader of the scene files the crowd exporter writes: the `hordera_mray` geometry-shader
// instances with their parameters, the custom options, and the render statements. Everything
// else of the scene language is skipped. Anything that cannot be read is reported as
// "file:line: what is wrong" and the reader goes on with the next statement.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/shader_interface.h"
#include "mray/mi_interface.h"

namespace host {

// One instance of the crowd geometry shader.
struct SceneInstance {
  std::string name;            // the instance's name
  int line = 0;                // line of its "instance" keyword
  int id = 0;                  // "id"; 0 when not given
  bool has_param_str = false;  // whether "paramStr" was given (else its tag is 0)
  std::string param_str;       // "paramStr"
  miVector bbox_min{0, 0, 0};  // "bbox_min"
  miVector bbox_max{0, 0, 0};  // "bbox_max"
};

// What a scene file holds, as far as the host reads it.
struct Scene {
  std::string path;
  std::vector<SceneInstance> instances;  // crowd instances in file order
  StringOptions options;                 // custom options of all options blocks, last one wins
  bool has_options = false;              // whether the file has an options block
  int render_statements = 0;             // number of "render" statements
  int other_instances = 0;               // instances of anything but the crowd shader
  std::vector<std::string> errors;       // "file:line: what is wrong", in file order; the
                                         // first 100, then one note that more were found
};

// Reads the scene file at `path`; false (with one error) when it cannot be opened.
bool read_scene_file(const std::string& path, Scene* scene);
// Reads scene text; `path` names it in errors.
void read_scene_text(std::string_view text, const std::string& path, Scene* scene);

}  // namespace host
