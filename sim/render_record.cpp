// The scene setup's render records and render passes.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sim/scene_setup.h"

RenderRecord* renders = nullptr;
RenderPass* render_passes = nullptr;

namespace {

bool render_name_taken(const std::string& name) {
  for (const RenderRecord* render = renders; render != nullptr; render = render->next)
    if (render->name != nullptr && name == render->name) return true;
  return false;
}

}  // namespace

RenderRecord* new_render_record(void) {
  auto* record = static_cast<RenderRecord*>(std::calloc(1, sizeof(RenderRecord)));
  if (record == nullptr) return nullptr;
  // "render", then "render1", "render2", ... for as long as the name is taken. Records are never
  // taken out of the list, so a suffix found taken stays taken: the search starts where the last
  // one ended, and a renderer that makes a record per frame does not slow down frame by frame.
  static int first_free = 0;
  int suffix = first_free;
  std::string name = suffix == 0 ? "render" : "render" + std::to_string(suffix);
  while (render_name_taken(name)) name = "render" + std::to_string(++suffix);
  first_free = suffix;
  record->name = strdup(name.c_str());
  record->image_pattern = strdup("%s#.tif");
  char rib[32];
  std::snprintf(rib, sizeof rib, ".%cRib%c%s#.rib", '/', '/', "%s");
  record->rib_pattern = strdup(rib);
  record->output_kind = 2;
  RenderRecord** tail = &renders;
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = record;
  return record;
}

int find_render_pass(const char* name, int32_t renderer) {
  if (name == nullptr) return -1;
  int position = 0;
  for (const RenderPass* pass = render_passes; pass != nullptr; pass = pass->next, ++position)
    if (pass->name != nullptr && std::strcmp(pass->name, name) == 0 && pass->renderer == renderer)
      return position;
  return -1;
}

int add_render_pass(const char* name) {
  if (name == nullptr) return -1;
  const int found = find_render_pass(name, RENDERER_MENTAL_RAY);
  if (found >= 0) return found;
  auto* pass = static_cast<RenderPass*>(std::calloc(1, sizeof(RenderPass)));
  if (pass == nullptr) return -1;
  pass->name = strdup(name);
  pass->renderer = RENDERER_MENTAL_RAY;
  int position = 0;
  RenderPass** tail = &render_passes;
  while (*tail != nullptr) {
    tail = &(*tail)->next;
    ++position;
  }
  *tail = pass;
  return position;
}
