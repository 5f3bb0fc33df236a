// `hordera demo`: the main job. Makes the sample crowd when it is missing, poses one frame of it
// through the plug-in, renders it to demo/crowd.png and bakes it to demo/crowd.glb, saying where
// each file went and how long each step took.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli/commands.h"
#include "host/frame_builder.h"
#include "host/frame_outputs.h"
#include "host/plugin_path.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

struct DemoOptions {
  std::string dir = "demo";
  std::string crowd;  // default: DIR/crowd
  std::string plugin;
  int width = 960;
  int height = 540;
  int samples = 4;
};

using Clock = std::chrono::steady_clock;
double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The frame number in a scene file's name ("crowd.12.mi" -> 12), -1 without one.
long frame_of(const fs::path& scene) {
  const std::string stem = scene.stem().string();
  const size_t end = stem.find_last_of("0123456789");
  if (end == std::string::npos) return -1;
  const size_t start = stem.find_last_not_of("0123456789", end) + 1;
  return std::stol(stem.substr(start, std::min<size_t>(end + 1 - start, 9)));
}

// The scene files of the sample crowd (in its folder or its scenes/ folder), in frame order.
std::vector<fs::path> scene_files(const fs::path& crowd) {
  std::vector<fs::path> scenes;
  for (const fs::path& folder : {crowd, crowd / "scenes"}) {
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
      if (it->path().extension() == ".mi") scenes.push_back(it->path());
  }
  std::sort(scenes.begin(), scenes.end(), [](const fs::path& a, const fs::path& b) {
    return std::make_pair(frame_of(a), a) < std::make_pair(frame_of(b), b);
  });
  return scenes;
}

// Runs this program's `example` command, the sample crowd's generator, into `crowd`.
bool make_sample_crowd(const fs::path& crowd) {
  std::string self = "/proc/self/exe";
  std::vector<std::string> words = {"hordera", "example", crowd.string()};
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t child = 0;
  if (posix_spawn(&child, self.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return false;
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int run_demo(DemoOptions& options) {
  const fs::path dir = options.dir;
  const fs::path crowd = options.crowd.empty() ? dir / "crowd" : fs::path(options.crowd);
  std::error_code error;
  fs::create_directories(dir, error);
  if (error) {
    std::fprintf(stderr, "error: %s: cannot make the folder: %s\n", dir.c_str(),
                 error.message().c_str());
    return 1;
  }

  std::vector<fs::path> scenes = scene_files(crowd);
  if (scenes.empty()) {
    const Clock::time_point start = Clock::now();
    std::printf("making the sample crowd in %s ...\n", crowd.c_str());
    std::fflush(stdout);
    if (!make_sample_crowd(crowd) || (scenes = scene_files(crowd)).empty()) {
      std::fprintf(stderr,
                   "error: %s: cannot make the sample crowd: its generator (hordera "
                   "example) failed or left no scene file (.mi)\n",
                   crowd.c_str());
      return 1;
    }
    std::printf("made the sample crowd in %s (%.1f s)\n", crowd.c_str(), seconds_since(start));
  }
  // The middle frame of the sequence: the crowd is under way there.
  const fs::path scene = scenes[scenes.size() / 2];

  Clock::time_point start = Clock::now();
  const std::string plugin = options.plugin.empty()
                                 ? host::default_plugin_path(HORDERA_PLUGIN_BUILD_PATH)
                                 : options.plugin;
  host::FrameBuilder builder;
  host::FrameGeometry frame;
  std::string message;
  std::vector<std::string> warnings;
  if (!builder.start(plugin, &message) ||
      !builder.build(scene.string(), &frame, &message, &warnings)) {
    std::fprintf(stderr, "error: %s\n", message.c_str());
    return 1;
  }
  size_t triangles = 0;
  for (const host::FrameMesh& mesh : frame.meshes) triangles += mesh.triangle_count();
  std::printf("posed %zu objects, %zu triangles, from %s (%.1f s)\n", frame.meshes.size(),
              triangles, scene.c_str(), seconds_since(start));

  host::PreviewSettings settings;
  settings.width = options.width;
  settings.height = options.height;
  settings.samples = options.samples;
  start = Clock::now();
  const std::string picture = (dir / "crowd.png").string();
  if (!host::write_preview_png(frame, settings, picture, &message, &warnings)) {
    for (const std::string& warning : warnings)
      std::fprintf(stderr, "warning: %s\n", warning.c_str());
    std::fprintf(stderr, "error: %s\n", message.c_str());
    return 1;
  }
  std::printf("rendered %s (%.1f s)\n", picture.c_str(), seconds_since(start));

  start = Clock::now();
  const std::string baked = (dir / "crowd.glb").string();
  const bool ok = host::write_bake(frame, baked, &message, &warnings);
  for (const std::string& warning : warnings)
    std::fprintf(stderr, "warning: %s\n", warning.c_str());
  if (!ok) {
    std::fprintf(stderr, "error: %s\n", message.c_str());
    return 1;
  }
  std::printf("baked %s (%.1f s)\n", baked.c_str(), seconds_since(start));
  return 0;
}

}  // namespace

void add_demo_command(CLI::App& app) {
  auto options = std::make_shared<DemoOptions>();
  CLI::App* command = app.add_subcommand(
      "demo",
      "Make the sample crowd if it is missing, render one frame of it to DIR/crowd.png and bake "
      "it to DIR/crowd.glb, printing where each file went and how long each step took.");
  command->add_option("--dir", options->dir, "Folder for the demo's files (default: demo)");
  command->add_option("--crowd", options->crowd,
                      "Folder of the sample crowd (default: DIR/crowd; made when it holds no "
                      "scene file)");
  command->add_option("--width", options->width, "Picture width in pixels")
      ->check(CLI::Range(1, 16384));
  command->add_option("--height", options->height, "Picture height in pixels")
      ->check(CLI::Range(1, 16384));
  command->add_option("--spp", options->samples, "Rays per pixel")->check(CLI::Range(1, 1024));
  command->add_option("--plugin", options->plugin,
                      "Plug-in to load (default: hordera.so beside this program, else in "
                      "../lib/hordera/ from it, else the one of the build tree)");
  command->callback([options] { command_exit_status = run_demo(*options); });
}
