// A small crowd of three agent types written to disk, taken in turn by agents 1, 2, 3, ...: "man"
// (a skinned body, a prop on the arm, a described material), "dog" (one quad) and "ghost" (a matte
// triangle). Frame 11 has every root at the origin, frame 12 agent k's root at x = k.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "host/render_session.h"
#include "host/scene_dump.h"
#include "host/scene_reader.h"
#include "tests/support/files.h"

namespace crowd_test {

namespace fs = std::filesystem;

using test_files::write_file;

inline const char* const type_names[] = {"man", "dog", "ghost"};

inline std::string type_of(int id) {
  return type_names[(id - 1) % 3];
}

// The man's meshes: body.obj, two quads stacked along y (points 0-3 and 2-5, normal (0, 0, 1),
// texture coordinates per corner), body.w binding the lower two points to root, the middle two
// half to root and half to arm and the top two to arm, and prop.obj, a triangle.
inline void write_man_meshes(const fs::path& dir) {
  fs::create_directories(dir);
  write_file(dir / "body.obj",
             "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 2 0\nv 1 2 0\nvn 0 0 1\n"
             "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
             "f 1/1/1 2/2/1 3/3/1 4/4/1\nf 4/1/1 3/2/1 6/3/1 5/4/1\n");
  write_file(dir / "body.w",
             "deformer 0 root\ndeformer 1 arm\n\n"
             "0: 0 1\n1: 0 1\n2: 0 0.5 1 0.5\n3: 0 0.5 1 0.5\n4: 1 1\n5: 1 1\n");
  write_file(dir / "prop.obj", "v 0 0 0\nv 0.5 0 0\nv 0 0.5 0\nf 1 2 3\n");
}

// Writes the three agent types and the pose caches of frames 11 and 12 for `agents` agents into
// `dir`.
inline void write_crowd_files(const fs::path& dir, int agents) {
  write_man_meshes(dir);
  write_file(dir / "quad.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n");
  write_file(dir / "quad.w", "deformer 0 root\n\n0: 0 1\n1: 0 1\n2: 0 1\n3: 0 1\n");
  write_file(dir / "man.cdl",
             "object man\n"
             "variables\nred 0.25\nend variables\n"
             "render_pass beauty\nrender_pass night 7\n"
             "segment root\n"
             "segment arm\nparent root\ntranslate 0 1 0\n"
             "bone root\nbone arm\n"
             "material skin\nid 0\nambient 0.1 0.2 0.3\ndiffuse hsv 0 1 1\n"
             "material cloth\nid 3\ndiffuse red 0.2 0.1\n"
             "shader beauty \"mib_illum_phong\" \"diffuse\" 2 [\"maps/skin.tif\"] "
             "\"exponent\" 9 ['red * 40'] \"mode\" 8 [2]\n"
             "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
             "geometry prop\nfile prop.obj\nattach arm\nmaterial 3\n"
             "end object\n");
  write_file(dir / "dog.cdl",
             "object dog\nrender_pass beauty\nsegment root\nbone root\n"
             "material fur\nid 0\ndiffuse 0.5 0.25 1\n"
             "geometry body\nfile quad.obj\nweights_file quad.w\nmaterial 0\nend object\n");
  write_file(dir / "ghost.cdl",
             "object ghost\nrender_pass beauty 7\nsegment root\n"
             "material mist\nid 0\ndiffuse 1 1 1\n"
             "geometry sheet\nfile prop.obj\nattach root\nmaterial 0\nend object\n");
  std::string previous, current;
  for (int id = 1; id <= agents; ++id) {
    const std::string begin = "BEGIN " + type_of(id) + "_" + std::to_string(id) + "\n";
    const std::string arm =
        type_of(id) == "man" ? "arm 0 0 " + std::to_string(id % 90) + " 0 1 0\n" : "";
    previous += begin + "root 0 0 0 0 0 0\n" + arm + "\n";
    current += begin + "root 0 " + std::to_string(id % 360) + " 0 " + std::to_string(id) +
               " 0 0\n" + arm + "\n";
  }
  write_file(dir / "frame.11.apf", previous);
  write_file(dir / "frame.12.apf", current);
}

inline host::SceneInstance instance_of(int id, const std::string& param_str) {
  host::SceneInstance made;
  made.name = type_of(id) + "_" + std::to_string(id) + "_inst";
  made.id = id;
  made.has_param_str = true;
  made.param_str = param_str;
  made.bbox_min = {-2, -2, -2};
  made.bbox_max = {static_cast<float>(id + 2), 3, 2};
  return made;
}

// The parameter string of agent `id` of the crowd in `dir`, posed from frame 12.
inline std::string param_str_of(const fs::path& dir, int id) {
  return (dir / (type_of(id) + ".cdl")).string() + " " + (dir / "frame.12.apf").string() + " 12";
}

// Writes the crowd in `dir` as the scene file `dir`/crowd.mi, rendered in the "beauty" pass with
// motion blur; returns its path.
inline std::string write_crowd_scene(const fs::path& dir, int agents) {
  std::string scene =
      "options \"opt\"\n\"render_pass\" \"beauty\"\n\"motion_blur\" on\nend options\n";
  for (int id = 1; id <= agents; ++id)
    scene += "instance \"" + type_of(id) + "_" + std::to_string(id) +
             "_inst\" geometry \"hordera_mray\"( \"id\" " + std::to_string(id) +
             ", \"paramStr\" \"" + param_str_of(dir, id) +
             "\", \"bbox_min\" -2 -2 -2, \"bbox_max\" 20 3 2 ) end instance\n";
  write_file(dir / "crowd.mi", scene + "render \"root\" \"cam\" \"opt\"\n");
  return (dir / "crowd.mi").string();
}

// The crowd in `dir` as a scene rendered in the "beauty" pass with motion blur.
inline host::Scene crowd_scene(const fs::path& dir, int agents) {
  host::Scene scene;
  scene.has_options = true;
  scene.options["render_pass"].kind = host::OptionValue::Kind::string;
  scene.options["render_pass"].text = "beauty";
  scene.options["motion_blur"].kind = host::OptionValue::Kind::boolean;
  scene.options["motion_blur"].boolean = true;
  for (int id = 1; id <= agents; ++id)
    scene.instances.push_back(instance_of(id, param_str_of(dir, id)));
  return scene;
}

// The database text of these renders.
inline std::string dump_text(const std::vector<host::RenderReport>& renders) {
  char* buffer = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&buffer, &size);
  host::write_scene_dump(out, renders);
  std::fclose(out);
  std::string text(buffer, size);
  std::free(buffer);
  return text;
}

}  // namespace crowd_test
