// `hordera bake SCENE -o crowd.glb|crowd.gltf|crowd.obj`: poses the crowd of a scene through
// the plug-in and writes it as glTF 2.0 or OBJ; with --frames, one file per frame.
#include <cstdio>
#include <memory>

#include "cli/commands.h"
#include "cli/sequence_options.h"
#include "host/frame_outputs.h"
#include "host/frame_sequence.h"
#include "host/gltf_writer.h"
#include "host/output_file.h"
#include "host/plugin_path.h"

namespace {

struct BakeOptions {
  host::SequenceOptions sequence;
  bool quiet = false;
  bool animate = false;
  double frames_per_second = 24;
};

// The frames of the sequence into one glTF file that plays them; written only when every frame
// was posed, so that a file under the final name always holds the whole sequence.
int run_animated_bake(BakeOptions& options, host::BakeFormat format) {
  if (format != host::BakeFormat::glb && format != host::BakeFormat::gltf) {
    std::fprintf(stderr, "error: %s: --animate writes glTF: the name must end in .glb or .gltf\n",
                 options.sequence.output.c_str());
    return 1;
  }
  if (!(options.frames_per_second > 0 && options.frames_per_second <= 1000)) {
    std::fprintf(stderr, "error: --fps must be above 0 and at most 1000\n");
    return 1;
  }
  const std::string output = options.sequence.output;
  if (output.find('%') != std::string::npos) {
    std::fprintf(stderr, "error: %s: --animate writes one file: the name takes no frame number\n",
                 output.c_str());
    return 1;
  }
  host::GltfSequence sequence;
  const int status = host::run_sequence(
      options.sequence, [&](int number, const host::FrameGeometry& frame, const std::string&,
                            std::string*, std::vector<std::string>* warnings) {
        sequence.add_frame(number, frame, warnings);
        return true;
      });
  if (status != 0) {
    std::fprintf(stderr, "error: %s not written: not every frame could be posed\n", output.c_str());
    return status;
  }
  std::string bytes, error;
  if (!sequence.encode(format == host::BakeFormat::glb, options.frames_per_second, &bytes,
                       &error)) {
    std::fprintf(stderr, "error: %s: %s\n", output.c_str(), error.c_str());
    return 1;
  }
  if (!host::write_file_atomically(output, bytes, &error)) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  return 0;
}

int run_bake(BakeOptions& options) {
  const host::BakeFormat format = host::bake_format(options.sequence.output);
  if (format == host::BakeFormat::unknown) {
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
  if (options.animate) return run_animated_bake(options, format);
  return host::run_sequence(options.sequence,
                            [](int, const host::FrameGeometry& frame, const std::string& output,
                               std::string* error, std::vector<std::string>* warnings) {
                              return host::write_bake(frame, output, error, warnings);
                            });
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
  cli::add_sequence_options(command, options->sequence,
                            "File to write (.glb, .gltf or .obj); with --frames a pattern such as "
                            "crowd.%04d.glb (without one, .%04d goes before the extension)",
                            "Bake");
  command->add_flag("--animate", options->animate,
                    "With --frames: one glTF file that plays the frames (each frame's crowd "
                    "shown in turn), instead of one file per frame");
  command->add_option("--fps", options->frames_per_second,
                      "Frames per second of the --animate playback (default 24)");
  command->add_flag("-q,--quiet", options->quiet, "No progress bar");
  command->callback([options] { command_exit_status = run_bake(*options); });
}
