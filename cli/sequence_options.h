// The options `render` and `bake` share: the scene (or its pattern), the output (or its pattern),
// the frame range and the plug-in.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "host/frame_sequence.h"

namespace cli {

// Adds SCENE, -o/--output, --frames and --plugin to `command`, filling `sequence`. `output_help`
// describes the output file; `verb` ("Render", "Bake") starts the help of --frames.
inline void add_sequence_options(CLI::App* command, host::SequenceOptions& sequence,
                                 const std::string& output_help, const std::string& verb) {
  command
      ->add_option("scene", sequence.scene,
                   "Scene file written by the crowd exporter (.mi); with --frames it may hold "
                   "the frame number as %d or %04d")
      ->required();
  command->add_option("-o,--output", sequence.output, output_help)->required();
  command->add_option("--frames", sequence.frames,
                      verb + " frames A to B (\"A-B\") or one frame (\"A\"), one file each");
  command->add_option("--plugin", sequence.plugin,
                      "Plug-in to load (default: hordera.so beside this program, else in "
                      "../lib/hordera/ from it, else the one of the build tree)");
}

}  // namespace cli
