// The subcommands of the `hordera` command. Each file of cli/ adds one subcommand to the
// application; main() lists them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <thread>

// Exit status of the subcommand that ran; 0 only on success.
extern int command_exit_status;

// `hordera inspect SCENE`: drives the plug-in through a scene and reports what it did.
void add_inspect_command(CLI::App& app);
// `hordera info AGENT.cdl`: summarises an agent file and the warnings its reading printed.
void add_info_command(CLI::App& app);
// `hordera simulate SCENE --frames A-B -o DIR`: runs brains and actions, one pose cache a frame.
void add_simulate_command(CLI::App& app);
// `hordera example DIR`: writes and simulates the sample crowd.
void add_example_command(CLI::App& app);
// `hordera render SCENE -o frame.png`: ray traces a preview picture of the posed crowd.
void add_render_command(CLI::App& app);
// `hordera bake SCENE -o crowd.glb|.gltf|.obj`: writes the posed crowd as glTF or OBJ.
void add_bake_command(CLI::App& app);
// `hordera demo`: makes the sample crowd if needed, renders and bakes one frame of it.
void add_demo_command(CLI::App& app);
// `hordera dump SCENE`: drives the plug-in through a scene and prints the scene database.
void add_dump_command(CLI::App& app);
// `hordera rib SCENE -o out.rib`: writes the crowd as RIB for a RenderMan-compliant renderer.
void add_rib_command(CLI::App& app);

// The plug-in beside this executable, else in ../lib/hordera/ from it, else the one of the
// build tree.
std::string default_plugin_path();
// The number of render threads by default: the machine's cores.
int default_thread_count();
