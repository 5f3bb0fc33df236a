// The names of the scene database: element names, shader declarations, scene variables and the
// scopes (namespaces) names are made in. The scene construction functions share these helpers.
#pragma once

#include <string>
#include <string_view>

#include "mray/mi_interface.h"

namespace host {

// Copies a string handed to a scene function and gives the renderer memory back, as the
// renderer takes over every string passed to it; "" for null.
std::string take_string(char* text);

// Reports misuse of a scene function by a plug-in: an error message "FUNCTION: WHAT".
void scene_error(std::string_view function, std::string_view what);
// The same as a warning.
void scene_warning(std::string_view function, std::string_view what);

// Gives an element a name; a name defined again refers to the newer element.
void define_name(const std::string& name, miTag tag);
// The element of that name (a leading "::" names the global scope), 0 when none.
miTag find_name(std::string_view name);
// Shader declarations have their own table.
void define_declaration(const std::string& name, miTag tag);
miTag find_declaration(std::string_view name);

// Drops whatever this thread left open (an object, material, call, declaration, texture,
// instance or scope) and reports each, naming `context` (the callback that left it open).
void drop_open_elements(const std::string& context);

// Forgets every element, name, declaration, variable and assembly: the end of a session.
void clear_scene();

// Per-kind parts of drop_open_elements, each in its own file; they return what was dropped
// ("" when nothing).
std::string drop_open_object();
std::string drop_open_material();
std::string drop_open_call();
std::string drop_open_declaration();
std::string drop_open_texture();
std::string drop_open_instance();
// Frees the parameter declarations made since the last clear.
void clear_parameter_declarations();

}  // namespace host

namespace host {
// Declares the base shaders a crowd scene's materials call ("mib_illum_phong" and
// "textured_mtl_sh"), as a renderer with the base shader library linked knows them.
void declare_base_shaders();
}  // namespace host
