// The `hordera` command: a stand-in renderer host for the Hordera plug-in.
#include <cstdio>

#include "cli/commands.h"

int command_exit_status = 0;

int main(int argc, char** argv) {
  CLI::App app{
      "hordera: rebuilds crowd agents from their agent files and pose caches through the "
      "Hordera plug-in, as a renderer would, and renders, bakes or exports them."};
  app.set_version_flag("--version", "hordera " HORDERA_ENGINE_VERSION);
  app.require_subcommand(0, 1);
  app.fallthrough();
  add_inspect_command(app);
  add_info_command(app);
  add_simulate_command(app);
  add_example_command(app);
  add_dump_command(app);
  add_rib_command(app);
  add_render_command(app);
  add_bake_command(app);
  add_demo_command(app);

  CLI11_PARSE(app, argc, argv);
  if (app.get_subcommands().empty()) {
    std::fputs(app.help().c_str(), stdout);
    return 0;
  }
  return command_exit_status;
}
