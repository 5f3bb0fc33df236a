// `hordera bake SCENE -o crowd.glb|crowd.gltf|crowd.obj`: poses the crowd of a scene through
// the plug-in and writes it as glTF 2.0 or OBJ; with --frames, one file per frame.
#include <memory>

#include "cli/commands.h"
#include "host/frame_outputs.h"
#include "host/frame_sequence.h"
#include "host/plugin_path.h"

namespace {

struct BakeOptions {
  host::SequenceOptions sequence;
  bool quiet = false;
};

int run_bake(BakeOptions& options) {
  if (host::bake_format(options.sequence.output) == host::BakeFormat::unknown) {
    std::fprintf(stderr,
                 "error: %s: unknown bake format: the name must end in .glb, .gltf or "
                 ".obj\n",
                 options.sequence.output.c_str());
    return 1;
  }
  if (options.sequence.plugin.empty())
    options.sequence.plugin = host::default_plugin_path(HORDERA_PLUGIN_BUILD_PATH);
  options.sequence.label = "bake";
  options.sequence.progress = !options.quiet;
  return host::run_sequence(options.sequence, host::write_bake);
}

}  // namespace

void add_bake_command(CLI::App& app) {
  auto options = std::make_shared<BakeOptions>();
  CLI::App* command = app.add_subcommand(
      "bake",
      "Pose the crowd of SCENE through the crowd plug-in, as a renderer would, and write it as "
      "glTF 2.0 (.glb or .gltf) or OBJ with its MTL materials (.obj): one mesh per object, "
      "normals, texture coordinates, materials approximating the Phong colours, nodes named "
      "after the agents. Exit code 0 only when every file was written.");
  command
      ->add_option("scene", options->sequence.scene,
                   "Scene file written by the crowd exporter (.mi); with --frames it may hold "
                   "the frame number as %d or %04d")
      ->required();
  command
      ->add_option("-o,--output", options->sequence.output,
                   "File to write (.glb, .gltf or .obj); with --frames a pattern such as "
                   "crowd.%04d.glb (without one, .%04d goes before the extension)")
      ->required();
  command->add_option("--frames", options->sequence.frames,
                      "Bake frames A to B (\"A-B\") or one frame (\"A\"), one file each");
  command->add_option("--plugin", options->sequence.plugin,
                      "Plug-in to load (default: hordera.so beside this program, else in "
                      "../lib/hordera/ from it, else the one of the build tree)");
  command->add_flag("-q,--quiet", options->quiet, "No progress bar");
  command->callback([options] { command_exit_status = run_bake(*options); });
}
