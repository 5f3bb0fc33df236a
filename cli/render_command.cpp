// `hordera render SCENE -o frame.png`: poses the crowd of a scene through the plug-in and
// ray traces a preview picture of it; with --frames, one picture per frame.
#include <unistd.h>

#include <memory>
#include <vector>

#include "cli/commands.h"
#include "cli/sequence_options.h"
#include "host/frame_outputs.h"
#include "host/frame_sequence.h"
#include "host/plugin_path.h"
#include "host/progress_bar.h"

namespace {

struct RenderOptions {
  host::SequenceOptions sequence;
  host::PreviewSettings settings;
  std::vector<float> position, target;
  bool no_ground = false;
  bool quiet = false;
};

int run_render(RenderOptions& options) {
  if (options.sequence.plugin.empty())
    options.sequence.plugin = host::default_plugin_path(HORDERA_PLUGIN_BUILD_PATH);
  options.sequence.label = "render";
  options.sequence.threads = options.settings.threads;
  options.sequence.progress = !options.quiet;
  host::PreviewSettings settings = options.settings;
  settings.ground = !options.no_ground;
  if (!options.position.empty() || !options.target.empty()) {
    if (options.position.size() != 3 || options.target.size() != 3) {
      std::fprintf(stderr, "error: --camera and --look-at go together, three numbers each\n");
      return 1;
    }
    settings.camera.automatic = false;
    settings.camera.position = {options.position[0], options.position[1], options.position[2]};
    settings.camera.target = {options.target[0], options.target[1], options.target[2]};
  }
  // A single picture shows its own progress over tiles; a sequence shows frames instead.
  const bool tile_progress = !options.quiet && options.sequence.frames.empty();
  return host::run_sequence(
      options.sequence, [&](int, const host::FrameGeometry& frame, const std::string& output,
                            std::string* error, std::vector<std::string>* warnings) {
        host::PreviewSettings frame_settings = settings;
        std::unique_ptr<host::ProgressBar> bar;
        if (tile_progress) {
          // Over tiles, on a terminal only: a farm's log needs no per-tile lines.
          bar = std::make_unique<host::ProgressBar>("render", 100, ::isatty(2) != 0);
          frame_settings.progress = [bar = bar.get()](int done, int total) {
            bar->update(static_cast<long long>(done) * 100 / total);
          };
        }
        return host::write_preview_png(frame, frame_settings, output, error, warnings);
      });
}

}  // namespace

void add_render_command(CLI::App& app) {
  auto options = std::make_shared<RenderOptions>();
  CLI::App* command = app.add_subcommand(
      "render",
      "Pose the crowd of SCENE through the crowd plug-in, as a renderer would, and ray trace a "
      "preview picture of it (PNG): a key light with shadows, each material's Phong colours, a "
      "ground plane, matte objects as holes in the alpha channel. Exit code 0 only when every "
      "picture was written.");
  cli::add_sequence_options(command, options->sequence,
                            "Picture to write (.png); with --frames a pattern such as "
                            "frame.%04d.png (without one, .%04d goes before the extension)",
                            "Render");
  command->add_option("--width", options->settings.width, "Picture width in pixels")
      ->check(CLI::Range(1, 16384));
  command->add_option("--height", options->settings.height, "Picture height in pixels")
      ->check(CLI::Range(1, 16384));
  command->add_option("--spp", options->settings.samples, "Rays per pixel")
      ->check(CLI::Range(1, 1024));
  command->add_option("--camera", options->position, "Camera position: X Y Z (with --look-at)")
      ->expected(3);
  command->add_option("--look-at", options->target, "Point the camera looks at: X Y Z")
      ->expected(3);
  command
      ->add_option("--fov", options->settings.camera.field_of_view,
                   "Vertical field of view in degrees")
      ->check(CLI::Range(1.0f, 170.0f));
  command->add_flag("--no-ground", options->no_ground, "Leave out the ground plane");
  command
      ->add_option("--threads", options->settings.threads,
                   "Threads that build the agents, make their meshes and trace the picture "
                   "(default: every core)")
      ->check(CLI::Range(0, 1024));
  command->add_flag("-q,--quiet", options->quiet, "No progress bar");
  command->callback([options] { command_exit_status = run_render(*options); });
}
