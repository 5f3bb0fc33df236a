// The engine's application start-up: the command-line words that decide how the engine runs.
#pragma once

#include <cstdint>

extern "C" {

// Non-zero when polygonal geometry is built for the agents ("-geo"); the geometry code reads it.
extern int32_t build_polygon_geometry;
// Non-zero when the engine runs without windows ("-gui").
extern int32_t no_windows;

// Starts the engine's application with a display (null: none) and the command-line words
// `argv[0..argc-1]` (argv[0] is the program name). Recognised words: "-gui" (no windows) and
// "-geo" (build polygonal geometry); others are ignored. May be called again; returns 1.
int application_start(void* display, int argc, char** argv);

}  // extern "C"
