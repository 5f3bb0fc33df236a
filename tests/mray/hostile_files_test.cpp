// Damaged files through asm_exec in the stand-in host and through the procedural's Subdivide, each
// beside good agents: nothing may crash or hang, the lock and renderer memory come back balanced,
// a message names the damaged file, and the good agents come out exactly as in a clean render.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cdl/cdl.h"
#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/render_session.h"
#include "host/rib_writer.h"
#include "host/scene_reader.h"
#include "mray/procedural_record.h"
#include "mray/procedural_subdivide.h"
#include "sim/action_loading.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/plugin_scenario.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
#endif

namespace {

namespace fs = std::filesystem;
using crowd_test::write_file;

// Which file (or text) an entry damages: its agent file, an include of it, mesh, weights, pose
// cache (plain, or compressed and named by the parameter string), motion capture named by the
// parameter string, its skeleton beside a good clip, cloth or hair cache, the description of its
// shader line, its whole parameter string, or a scene file whose instances render with the crowd.
enum class Role {
  agent_file,
  include,
  mesh,
  weights,
  pose_cache,
  pose_cache_gz,
  motion_capture,
  skeleton,
  cloth,
  hair,
  shader,
  param_str,
  scene
};

// The file each role damages, relative to the entry's directory (a line of pup.cdl, or no file,
// for the shader description and the parameter string).
const char* const targets[] = {"pup.cdl",
                               "part.cdl",
                               "quad.obj",
                               "quad.w",
                               "frame.12.apf",
                               "frame.12.apf.gz",
                               "clip.amc",
                               "clip.asf",
                               "cache/pup_7.cape.12.cloth",
                               "cache/pup_7.fuzz.12.hair",
                               "pup.cdl",
                               "pup.cdl",
                               "scene.mi"};

std::string target_of(Role role) {
  return targets[static_cast<int>(role)];
}

// A directory where the file is expected; damage the format takes as written, so that no
// message is due (values read as the numbers they spell, lines read in pieces, unknown lines
// skipped).
enum Flags { none = 0, directory = 1, taken_as_written = 2 };

struct Entry {
  const char* label;
  Role role;
  std::string content;
  int flags = none;
};

// The hostile agent's id; the good agents are 1 to 6 of the crowd fixture.
constexpr int hostile_id = 7;
constexpr int good_agents = 6;

const std::string good_obj =
    "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 1\nf 1/1 2/2 3/1 4/2\n";
const std::string good_weights = "deformer 0 root\n\n0: 0 1\n1: 0 1\n2: 0 1\n3: 0 1\n";
const std::string good_pose = "BEGIN pup_7\nroot 0 0 0 7 0 0\n\n";
const std::string good_amc = ":FULLY-SPECIFIED\n:DEGREES\n12\nroot 7 0 0 0 0 0\n";
const std::string good_asf =
    ":units\n  angle deg\n:root\n  order TX TY TZ RX RY RZ\n  axis XYZ\n  position 0 0 0\n"
    "  orientation 0 0 0\n:bonedata\n  begin\n    id 1\n    name spine\n    direction 0 1 0\n"
    "    length 1\n    axis 0 0 0 XYZ\n    dof rx ry rz\n  end\n:hierarchy\n  begin\n"
    "    root spine\n  end\n";
const std::string good_cloth =
    "points 4\n0 0 0\n1 0 0\n0 1 0\n1 1 0\nnormals 4\n0 0 1\n0 0 1\n0 0 1\n0 0 1\n";
const std::string good_hair = "curve 3\n0 1 0\n0 1.5 0\n0 2 0\n";
const std::string good_shader =
    "\"mib_illum_phong\" \"diffuse\" 2 [\"maps/pup.tif\"] \"exponent\" 9 [4]";

std::string agent_file(const std::string& shader) {
  return "# CDL created with hordera v1.0.0\nobject pup\ninclude part.cdl\nrender_pass beauty\n"
         "segment root\nbone root\nmaterial fur\nid 0\ndiffuse 0.5 0.25 1\n"
         "shader beauty " +
         shader +
         "\n"
         "geometry body\nfile quad.obj\nweights_file quad.w\nmaterial 0\n"
         "cloth cape\ngrid 2 2 1 1\nmaterial 0\n"
         "hair fuzz\ndensity 2\nvertices_number 3\nroot_radius 0.1\ntip_radius 0\nmaterial 0\n"
         "end object\n";
}

// Bytes of no format at all, NULs and high bytes included, the same on every run; on
// `one_line`, with blanks for line ends and NULs.
std::string garbage(size_t size, bool one_line = false) {
  std::string bytes(size, '\0');
  uint32_t state = 12345;
  for (char& byte : bytes) {
    byte = static_cast<char>((state = state * 1103515245u + 12345u) >> 23);
    if (one_line && (byte == '\n' || byte == '\0')) byte = ' ';
  }
  return bytes;
}

std::string gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string many(const std::string& text, size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (size_t i = 0; i < times; ++i) all += text;
  return all;
}

// A line of 2 MB: longer than any buffer a reader might keep on the stack or cut lines at.
std::string enormous() {
  return many("1234567 ", 1 << 18) + "\n";
}

const std::vector<Entry>& table() {
  static const std::vector<Entry> entries = {
      // Agent files and includes.
      {"empty agent file", Role::agent_file, ""},
      {"binary agent file", Role::agent_file, garbage(4096)},
      {"agent file cut mid-object", Role::agent_file, agent_file(good_shader).substr(0, 120)},
      {"agent file with counts of 2^31 and 2^32 and ids out of range", Role::agent_file,
       "object pup\nrender_pass beauty 4294967296\nsegment root\nbone root\nmaterial fur\n"
       "id 2147483648\ngeometry body\nfile quad.obj\nweights_file quad.w\n"
       "material 4294967296\ngrid 2147483647 2147483647 1 1\nend object\n",
       taken_as_written},
      {"agent file with NaN and infinities", Role::agent_file,
       "object pup\nrender_pass beauty\nsegment root\ntranslate nan inf -inf\nbone root\n"
       "material fur\nid 0\ndiffuse nan inf 1e999\n"
       "geometry body\nfile quad.obj\nweights_file quad.w\nmaterial 0\nend object\n",
       taken_as_written},
      {"agent file of one enormous line", Role::agent_file, "object " + enormous()},
      {"agent file is a directory", Role::agent_file, "", directory},
      {"include of itself", Role::include, "include part.cdl\n"},
      {"binary include", Role::include, garbage(2048), taken_as_written},
      {"include is a directory", Role::include, "", directory},
      // Meshes and weights.
      {"binary mesh", Role::mesh, garbage(4096)},
      {"mesh cut mid-number", Role::mesh, good_obj.substr(0, 22)},
      {"mesh with indices of 2^31, 2^32 and out of range", Role::mesh,
       good_obj + "f 1 2 2147483648\nf 4294967296 1 2\nf 9 -9 0\nf 1/99/99 2 3\n"},
      {"mesh with NaN and infinities", Role::mesh,
       "v nan 0 0\nv inf 0 0\nv 0 -inf 0\nv 1e999 1 0\nf 1 2 3 4\n"},
      {"mesh of one enormous line", Role::mesh, "v " + enormous()},
      {"mesh is a directory", Role::mesh, "", directory},
      {"binary weights", Role::weights, garbage(4096)},
      {"weights with deformers and points out of range", Role::weights,
       "deformer 2147483648 root\ndeformer 99 nowhere\n\n4294967296: 0 1\n"
       "0: 2147483647 1\n1: -1 1\n2: 0 nan\n3: 0 inf 0 -inf\n99: 0 1\n"},
      {"weights of one enormous line", Role::weights, "0: " + enormous()},
      {"empty weights", Role::weights, ""},
      // Pose caches.
      {"empty pose cache", Role::pose_cache, ""},
      {"binary pose cache", Role::pose_cache, garbage(8192)},
      {"pose cache with ids of 2^31 and 2^32", Role::pose_cache,
       "BEGIN pup_2147483648\nroot 1 2 3 4 5 6\n\nBEGIN pup_4294967296\nroot 1\n\n" + good_pose,
       taken_as_written},
      {"pose cache with NaN and infinities", Role::pose_cache,
       "BEGIN pup_7\nroot nan inf -inf 1e999 nan 0\n", taken_as_written},
      {"pose cache of one enormous line", Role::pose_cache, "BEGIN pup_7\nroot " + enormous(),
       taken_as_written},
      {"pose cache is a directory", Role::pose_cache, "", directory},
      {"compressed pose cache cut short", Role::pose_cache_gz,
       gzip(many(good_pose, 200)).substr(0, 60)},
      {"compressed pose cache of garbage", Role::pose_cache_gz, garbage(4096)},
      {"compressed pose cache of NaN", Role::pose_cache_gz,
       gzip("BEGIN pup_7\nroot nan nan nan inf inf inf\n"), taken_as_written},
      {"compressed pose cache that inflates to 16 MB", Role::pose_cache_gz,
       gzip(std::string(16 << 20, 'x'))},
      // Motion capture.
      {"empty motion", Role::motion_capture, ""},
      {"binary motion", Role::motion_capture, garbage(4096)},
      {"motion with frames of 2^31 and 2^32, NaN values", Role::motion_capture,
       ":DEGREES\n4294967296\nroot 1 2 3 4 5 6\n2147483648\nroot 1\n12\n"
       "root nan inf -inf 1e999 0 0 0 0 0 0 0 0\nspine 1 2 3\n"},
      {"motion of one enormous line", Role::motion_capture, "12\nroot " + enormous()},
      {"binary skeleton", Role::skeleton, garbage(4096)},
      {"skeleton cut mid-bone, bones its own ancestor", Role::skeleton,
       good_asf.substr(0, 200) + "\n:hierarchy\nbegin\nroot spine\nspine spine\nspine root\nend\n"},
      {"skeleton is a directory", Role::skeleton, "", directory},
      // Cloth and hair caches.
      {"binary cloth cache", Role::cloth, garbage(4096)},
      {"cloth cache with counts of 2^31 and 2^32", Role::cloth,
       "points 2147483648\n0 0 0\nnormals 4294967296\n0 0 1\n"},
      {"cloth cache with NaN points", Role::cloth,
       "points 4\nnan 0 0\n0 inf 0\n0 0 -inf\n1e999 1 1\n"},
      {"cloth cache of one enormous line", Role::cloth, "points 4\n" + enormous()},
      {"cloth cache is a directory", Role::cloth, "", directory},
      {"binary hair cache", Role::hair, garbage(4096)},
      {"hair cache with counts of 2^31 and 2^32", Role::hair,
       "curve 2147483648\n0 1 0\n0 2 0\ncurve 4294967296\n" + good_hair},
      {"hair cache cut mid-curve, NaN points", Role::hair, "curve 3\n0 nan 0\n0 inf 0\n0 1"},
      // Shader descriptions.
      {"shader description never closed", Role::shader,
       "\"mib_illum_phong\" \"diffuse\" 2 [\"maps/pup.tif\" \"x\" 9 ['1 +"},
      {"shader description with types and counts out of range", Role::shader,
       "\"mib_illum_phong\" \"a\" 2147483648 [1] \"b\" -1 [2] \"c\" 4294967296 [3] "
       "\"d\" 9 [nan inf] \"e\" 8 [1e999]"},
      {"shader description of binary garbage", Role::shader, garbage(1024, true)},
      // Parameter strings.
      {"parameter string without pose cache", Role::param_str, "pup.cdl"},
      {"parameter string of 2^17 pairs", Role::param_str,
       "pup.cdl frame.12.apf 12" + many(" x 1", 1 << 17)},
      {"parameter string with frame and values out of range", Role::param_str,
       "pup.cdl frame.12.apf 4294967296 red nan blue inf cloth_path"},
      // Scene files.
      {"binary scene", Role::scene, garbage(8192)},
      {"scene cut inside an instance", Role::scene,
       "instance \"pup_7_inst\" geometry \"hordera_mray\"( \"id\" 7, \"paramStr\" \"pup.c"},
      {"scene with ids of 2^31 and 2^32 and NaN boxes", Role::scene,
       "instance \"a\" geometry \"hordera_mray\"( \"id\" 2147483648, \"bbox_min\" nan inf -inf ) "
       "end instance\ninstance \"b\" geometry \"hordera_mray\"( \"id\" 4294967296, "
       "\"paramStr\" \"\" ) end instance\n"},
      {"scene of one enormous line", Role::scene, "instance " + enormous()},
      {"scene is a directory", Role::scene, "", directory},
  };
  return entries;
}

// Writes the hostile agent's files into `dir`, damaged as the entry says; returns its
// parameter string.
std::string write_entry(const Entry& entry, const fs::path& dir) {
  fs::create_directories(dir / "cache");
  write_file(dir / "pup.cdl", agent_file(entry.role == Role::shader ? entry.content : good_shader));
  write_file(dir / "part.cdl", "# the rest of the pup\n");
  write_file(dir / "quad.obj", good_obj);
  write_file(dir / "quad.w", good_weights);
  write_file(dir / "frame.12.apf", good_pose);
  write_file(dir / "clip.amc", good_amc);
  write_file(dir / "clip.asf", good_asf);
  write_file(dir / "cache/pup_7.cape.12.cloth", good_cloth);
  write_file(dir / "cache/pup_7.fuzz.12.hair", good_hair);
  const fs::path target = dir / target_of(entry.role);
  if (entry.flags & directory) {
    fs::remove(target);
    fs::create_directories(target / "inside");
  } else if (entry.role != Role::shader && entry.role != Role::param_str) {
    write_file(target, entry.content);
  }
  const std::string pup = (dir / "pup.cdl").string();
  const std::string caches =
      " cloth_path " + (dir / "cache").string() + " hair_path " + (dir / "cache").string();
  switch (entry.role) {
    case Role::pose_cache_gz:
      return pup + " " + (dir / "frame.12.apf.gz").string() + " 12" + caches;
    case Role::motion_capture:
    case Role::skeleton:
      return pup + " " + (dir / "clip.amc").string() + " 12" + caches;
    case Role::param_str: {
      // Paths in the entry's text are taken relative to its directory.
      std::string text = entry.content;
      for (const char* name : {"pup.cdl", "frame.12.apf"}) {
        const size_t at = text.find(name);
        if (at != std::string::npos) text.replace(at, std::strlen(name), (dir / name).string());
      }
      return text;
    }
    default:
      return pup + " " + (dir / "frame.12.apf").string() + " 12" + caches;
  }
}

// Unless the entry damages no file of its own or the format takes the damage as written, a
// message must name the damaged file.
void expect_file_named(const Entry& entry, const std::string& messages) {
  if (entry.role == Role::shader || entry.role == Role::param_str ||
      (entry.flags & taken_as_written))
    return;
  EXPECT_NE(messages.find(target_of(entry.role)), std::string::npos)
      << "no message names the file; messages:\n"
      << messages.substr(0, 4000);
}

// Each good agent's assembly in a database text, in order.
std::vector<std::string> good_assemblies(const std::string& text) {
  std::vector<std::string> found;
  for (int id = 1; id <= good_agents; ++id) {
    const std::string head = "  assembly \"asm_" + std::to_string(id) + "\"";
    const size_t begin = text.find(head);
    if (begin == std::string::npos) {
      found.push_back("(missing)");
      continue;
    }
    const size_t end =
        std::min(text.find("\n  assembly ", begin + 1), text.find("\nmaterials", begin));
    found.push_back(text.substr(begin, end == std::string::npos ? end : end - begin));
  }
  return found;
}

struct Outcome {
  std::string text;      // the database text
  std::string messages;  // the renderer's messages and standard error
};

// Renders the good agents and the scene's instances with two render threads (or `threads`).
Outcome render_through_assemblies(const host::Plugin& plugin, const fs::path& crowd,
                                  const host::Scene& extra, int threads = 2) {
  host::Scene scene = crowd_test::crowd_scene(crowd, good_agents);
  for (const host::SceneInstance& instance : extra.instances) scene.instances.push_back(instance);
  Outcome outcome;
  testing::internal::CaptureStderr();
  {
    host::RenderSession session(plugin);
    session.set_threads(threads);
    std::string error;
    EXPECT_TRUE(session.start(&error)) << error;
    outcome.text = crowd_test::dump_text({session.render(scene)});
  }
  outcome.messages = testing::internal::GetCapturedStderr();
  // An agent file that cannot be loaded returns holding the lock; a render thread that ends
  // gives it back, and so does the calling thread here.
  host::release_lock_held_by_this_thread(host::global_lock());
  for (const std::string& error : extra.errors) outcome.messages += error + "\n";
  for (const host::Message& message : host::messages()) outcome.messages += message.text;
  host::clear_messages();
  return outcome;
}

// The RIB the procedural writes for one parameter string.
std::string subdivide(const std::string& parameters) {
  std::ostringstream out;
  host::RibWriter writer(out);
  host::RibWriter* previous = host::set_rib_writer(&writer);
  std::string copy = parameters;
  if (void* record = ConvertParameters(copy.data())) {
    Subdivide(record, 1.0f);
    Free(record);
  }
  host::set_rib_writer(previous);
  return out.str();
}

fs::path crowd_directory() {
  const fs::path dir = fs::path(testing::TempDir()) / "hostile_crowd";
  crowd_test::write_crowd_files(dir, good_agents);
  return dir;
}

TEST(HostileFiles, ThroughAssembliesNothingBreaksAndGoodAgentsStayAsTheyWere) {
  const fs::path crowd = crowd_directory();
  plugin_test::in_child([&] {
    auto plugin = plugin_test::load_built_plugin();
    ASSERT_TRUE(plugin);
    host::set_verbosity(0);
    const Outcome outcome = render_through_assemblies(*plugin, crowd, {});
    // Passed to the parent through a file: the child's memory goes with it.
    write_file(crowd / "clean.txt", outcome.text);
  });
  std::stringstream clean;
  clean << std::ifstream(crowd / "clean.txt").rdbuf();
  const std::vector<std::string> expected = good_assemblies(clean.str());
  for (const std::string& assembly : expected) ASSERT_NE(assembly, "(missing)");

  for (size_t index = 0; index < table().size(); ++index) {
    const Entry& entry = table()[index];
    SCOPED_TRACE(entry.label);
    const fs::path dir = fs::path(testing::TempDir()) / ("hostile_" + std::to_string(index));
    plugin_test::in_child([&] {
      alarm(60);  // a hang ends the child, which fails the entry
      auto plugin = plugin_test::load_built_plugin();
      ASSERT_TRUE(plugin);
      host::set_verbosity(0);
      const std::string param_str = write_entry(entry, dir);
      host::Scene extra;
      if (entry.role == Role::scene) {
        const std::string path = (dir / "scene.mi").string();
        if (!host::read_scene_file(path, &extra)) extra.errors.push_back(path + ": not read");
      } else {
        extra.instances.push_back(crowd_test::instance_of(hostile_id, param_str));
      }
      const Outcome outcome = render_through_assemblies(*plugin, crowd, extra);
      EXPECT_EQ(good_assemblies(outcome.text), expected);
      EXPECT_EQ(host::lock_depth(host::global_lock()), 0);
      EXPECT_TRUE(host::memory_in_use().empty());
      EXPECT_EQ(host::memory_release_faults(), 0u);
      expect_file_named(entry, outcome.messages);
#if defined(__SANITIZE_ADDRESS__)
      // A child ends without the leak check, so the sanitizer build renders twice more on this
      // thread: all that a failed load or skipped item allocates comes back, but for the render
      // record each render keeps (about 140 bytes).
      render_through_assemblies(*plugin, crowd, extra, 1);
      const size_t settled = __sanitizer_get_current_allocated_bytes();
      render_through_assemblies(*plugin, crowd, extra, 1);
      EXPECT_LE(__sanitizer_get_current_allocated_bytes(), settled + 192)
          << "memory kept per render";
#endif
    });
  }
}

TEST(HostileFiles, ThroughSubdivideNothingBreaksAndGoodAgentsStayAsTheyWere) {
  const fs::path crowd = crowd_directory();
  for (size_t index = 0; index < table().size(); ++index) {
    const Entry& entry = table()[index];
    if (entry.role == Role::scene) continue;  // the procedural is given no scene file
    SCOPED_TRACE(entry.label);
    const fs::path dir = fs::path(testing::TempDir()) / ("hostile_rib_" + std::to_string(index));
    plugin_test::in_child([&] {
      alarm(60);
      const std::string good = "1 " + crowd_test::param_str_of(crowd, 1);
      testing::internal::CaptureStderr();
      const std::string before = subdivide(good);
      subdivide(std::to_string(hostile_id) + " " + write_entry(entry, dir));
      const std::string after = subdivide(good);
      const std::string messages = testing::internal::GetCapturedStderr();
      EXPECT_NE(before, "");
      EXPECT_EQ(after, before);
      expect_file_named(entry, messages);
    });
  }
}

// Actions and whole clips are read when a simulation imports them, not at render time: the same
// kinds of damage through the import, onto a good agent type, and a folder in place of the file.
TEST(HostileFiles, ThroughActionImportNothingBreaksAndTheFileIsNamed) {
  const fs::path dir = fs::path(testing::TempDir()) / "hostile_actions";
  fs::create_directories(dir);
  write_file(dir / "pup.cdl", agent_file(good_shader));
  write_file(dir / "part.cdl", "");
  const std::vector<std::pair<std::string, std::string>> damages = {
      {"empty", ""},
      {"binary", garbage(4096)},
      {"enormous", enormous()},
      {"cut", gzip(many("curve 1 2 3\n", 4000)).substr(0, 100)},
      {"folder", ""},
  };
  for (const char* extension : {".act", ".actb", ".act.gz", ".bvh", ".amc"}) {
    for (const auto& [label, content] : damages) {
      const fs::path path = dir / (label + extension);
      if (label == "folder")
        fs::create_directories(path);
      else
        write_file(path, content);
      SCOPED_TRACE(path.filename().string());
      plugin_test::in_child([&] {
        alarm(60);
        Agent* type = load_agent_type((dir / "pup.cdl").c_str());
        ASSERT_NE(type, nullptr);
        testing::internal::CaptureStderr();
        const int imported = agent_import_action(type->render_agent, path.c_str());
        // The first line only says what is imported; a later one must say what is wrong.
        const std::string messages = testing::internal::GetCapturedStderr();
        const size_t reasons = messages.find('\n');
        EXPECT_NE(messages.find(path.filename().string(), reasons), std::string::npos) << messages;
        EXPECT_TRUE(label != "folder" || imported == 0) << "a folder imports nothing";
      });
    }
  }
}

}  // namespace
