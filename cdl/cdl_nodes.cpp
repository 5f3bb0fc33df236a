// The keywords of "bone", "hair", "cloth" and "spring" sections.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/vecmath.h"
#include "cdl/cdl_context.h"

namespace hordera::cdl {

namespace {

void set_word(Context& context, const std::string& line, const char* format, char** field) {
  std::string word;
  if (scan(context, line, format, {&word})) set_text(field, word);
}

// Collision words of hair and cloth blocks, as bits.
int32_t collision_bits(const std::string& line, const char* const* words, int count) {
  int32_t bits = 0;
  for (int i = 0; i < count; ++i)
    if (contains(line, words[i])) bits |= 1 << i;
  return bits;
}

}  // namespace

void open_bone(Context& context, const std::string& name) {
  context.bone = nullptr;
  Agent* type = ensure_object(context);
  if (!type) return;
  Segment* segment = findSegment(type, name.c_str());
  if (!segment) {
    fprintf(stderr, "bones WARNING: Couldn't find bone called `%s'\n", name.c_str());
    return;
  }
  Bone* bone = append_node(&type->bones);
  if (!bone) return;
  bone->name = copy_text(name);
  bone->segment = segment;
  hordera::matrix_identity(bone->bind_matrix);
  context.bone = bone;
}

bool handle_bone(Context& context, const std::string& line) {
  Bone* bone = context.bone;
  if (!bone) return false;
  if (starts(line, "translate")) {
    scan(context, line, "translate %f %f %f",
         {&bone->translate[0], &bone->translate[1], &bone->translate[2]});
  } else if (starts(line, "rotate")) {
    scan(context, line, "rotate %f %f %f", {&bone->rotate[0], &bone->rotate[1], &bone->rotate[2]});
  } else if (starts(line, "inner")) {
    scan(context, line, "inner %f %f %f", {&bone->inner[0], &bone->inner[1], &bone->inner[2]});
  } else if (starts(line, "outer")) {
    scan(context, line, "outer %f", {&bone->outer});
  } else {
    return false;
  }
  return true;
}

void open_hair(Context& context, const std::string& name) {
  HairNode* hair = context.hair = open_node(context, &Agent::hair_nodes, name);
  if (!hair) return;
  hair->material = -1;
}

bool handle_hair(Context& context, const std::string& line) {
  HairNode* h = context.hair;
  if (!h) return false;
  static const char* const kCollisions[] = {"terrain", "geometry", "hair"};
  if (starts(line, "disabled")) {
    h->disabled = 1;
  } else if (starts(line, "filename")) {
    set_word(context, line, "filename %s", &h->filename);
  } else if (starts(line, "density_map")) {
    set_word(context, line, "density_map %s", &h->density_map);
  } else if (starts(line, "colour_map")) {
    set_word(context, line, "colour_map %s", &h->colour_map);
  } else if (starts(line, "length_map")) {
    set_word(context, line, "length_map %s", &h->length_map);
  } else if (starts(line, "normal_map")) {
    set_word(context, line, "normal_map %s", &h->normal_map);
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %d %d", {&h->position[0], &h->position[1]});
  } else if (starts(line, "colour")) {
    scan(context, line, "colour %f", {&h->colour});
  } else if (starts(line, "hair_dynamics")) {
    scan(context, line, "hair_dynamics %d", {&h->hair_dynamics});
  } else if (starts(line, "ks")) {
    scan(context, line, "ks %f", {&h->ks});
  } else if (starts(line, "kd")) {
    scan(context, line, "kd %f", {&h->kd});
  } else if (starts(line, "collide_ks")) {
    scan(context, line, "collide_ks %f", {&h->collide_ks});
  } else if (starts(line, "collisions")) {
    h->collisions = collision_bits(line, kCollisions, 3);
  } else if (starts(line, "drag")) {
    scan(context, line, "drag %f", {&h->drag});
  } else if (starts(line, "steps")) {
    scan(context, line, "steps %d", {&h->steps});
  } else if (starts(line, "stiffness")) {
    scan(context, line, "stiffness %f", {&h->stiffness});
  } else if (starts(line, "mass")) {
    scan(context, line, "mass %f", {&h->mass});
  } else if (starts(line, "collide_radius")) {
    scan(context, line, "collide_radius %f", {&h->collide_radius});
  } else if (starts(line, "root_radius")) {
    scan(context, line, "root_radius %f", {&h->root_radius});
  } else if (starts(line, "tip_radius")) {
    scan(context, line, "tip_radius %f", {&h->tip_radius});
  } else if (starts(line, "density")) {
    scan(context, line, "density %f", {&h->density});
  } else if (starts(line, "neighbour")) {
    scan(context, line, "neighbour %d", {&h->neighbour});
  } else if (starts(line, "default_length")) {
    scan(context, line, "default_length %f", {&h->default_length});
  } else if (starts(line, "vertices_number")) {
    scan(context, line, "vertices_number %d", {&h->vertices_number});
  } else if (starts(line, "clump_ratio")) {
    scan(context, line, "clump_ratio %f", {&h->clump_ratio});
  } else if (starts(line, "clump_rate")) {
    scan(context, line, "clump_rate %f", {&h->clump_rate});
  } else if (starts(line, "attach")) {
    set_word(context, line, "attach %s", &h->attach_name);
    if (h->attach_name) h->attach_segment = findSegment(context.current(), h->attach_name);
  } else if (starts(line, "material")) {
    scan(context, line, "material %d", {&h->material});
  } else {
    return false;
  }
  return true;
}

void open_cloth(Context& context, const std::string& name) {
  ClothNode* cloth = context.cloth = open_node(context, &Agent::cloth_nodes, name);
  if (!cloth) return;
  cloth->scale[0] = cloth->scale[1] = cloth->scale[2] = 1.0f;
  cloth->material = -1;
  cloth->option = -1;
}

bool handle_cloth(Context& context, const std::string& line) {
  ClothNode* c = context.cloth;
  if (!c) return false;
  static const char* const kCollisions[] = {"terrain", "skeleton", "geometry"};
  if (starts(line, "disabled")) {
    c->disabled = 1;
  } else if (starts(line, "grid")) {
    scan(context, line, "grid %d %d %f %f",
         {&c->grid_columns, &c->grid_rows, &c->grid_width, &c->grid_height});
  } else if (starts(line, "geo")) {
    set_word(context, line, "geo %s", &c->geo);
  } else if (starts(line, "rotate")) {
    scan(context, line, "rotate %f %f %f", {&c->rotate[0], &c->rotate[1], &c->rotate[2]});
  } else if (starts(line, "translate")) {
    float t[3] = {0.0f, 0.0f, 0.0f};
    int items = scan(context, line, "translate %f %f %f", {&t[0], &t[1], &t[2]});
    if (items == 3) {
      for (int i = 0; i < 3; ++i) c->translate[i] = t[i];
    } else if (items == 2) {
      c->position[0] = static_cast<int32_t>(t[0]);
      c->position[1] = static_cast<int32_t>(t[1]);
    }
  } else if (starts(line, "scale")) {
    scan(context, line, "scale %f %f %f", {&c->scale[0], &c->scale[1], &c->scale[2]});
  } else if (starts(line, "ks")) {
    scan(context, line, "ks %f", {&c->ks});
  } else if (starts(line, "kd")) {
    scan(context, line, "kd %f", {&c->kd});
  } else if (starts(line, "kb")) {
    scan(context, line, "kb %f", {&c->kb});
  } else if (starts(line, "collide_ks")) {
    scan(context, line, "collide_ks %f", {&c->collide_ks});
  } else if (starts(line, "collide_kd")) {
    scan(context, line, "collide_kd %f", {&c->collide_kd});
  } else if (starts(line, "collisions")) {
    c->collisions = collision_bits(line, kCollisions, 3);
  } else if (starts(line, "drag")) {
    scan(context, line, "drag %f", {&c->drag});
  } else if (starts(line, "steps")) {
    scan(context, line, "steps %d", {&c->steps});
  } else if (starts(line, "thickness")) {
    scan(context, line, "thickness %f", {&c->thickness});
  } else if (starts(line, "attach")) {
    set_word(context, line, "attach %s", &c->attach_name);
    if (c->attach_name) c->attach_segment = findSegment(context.current(), c->attach_name);
  } else if (starts(line, "material")) {
    scan(context, line, "material %d", {&c->material});
  } else if (starts(line, "option")) {
    scan(context, line, "option %d", {&c->option});
  } else if (starts(line, "weights_file")) {
    set_word(context, line, "weights_file %s", &c->weights_file);
  } else if (starts(line, "constrain")) {
    float p[3] = {0.0f, 0.0f, 0.0f};
    std::string name;
    if (scan(context, line, "constrain %f %f %f %s", {&p[0], &p[1], &p[2], &name}) < 4) return true;
    fprintf(stderr, "constrain %s\n", name.c_str());
    ClothConstraint* constraint = append_node(&c->constraints);
    if (!constraint) return true;
    for (int i = 0; i < 3; ++i) constraint->point[i] = p[i];
    constraint->segment_name = copy_text(name);
    constraint->segment = findSegment(context.current(), name.c_str());
  } else {
    return false;
  }
  return true;
}

void open_spring(Context& context, const std::string& name) {
  SpringNode* spring = context.spring = open_node(context, &Agent::spring_nodes, name);
  if (!spring) return;
  spring->restlen_scale = 1.0f;
}

bool handle_spring(Context& context, const std::string& line) {
  SpringNode* s = context.spring;
  if (!s) return false;
  if (starts(line, "disabled")) {
    s->disabled = 1;
  } else if (starts(line, "from") || starts(line, "to")) {
    bool from = starts(line, "from");
    std::string name;
    float* point = from ? s->from_point : s->to_point;
    scan(context, line, from ? "from %s %f %f %f" : "to %s %f %f %f",
         {&name, &point[0], &point[1], &point[2]});
    Segment* segment = findSegment(context.current(), name.c_str());
    if (!segment) fprintf(stderr, "ERROR: %s not a valid parent for spring.\n", name.c_str());
    (from ? s->from : s->to) = segment;
  } else if (starts(line, "type")) {
    if (contains(line, "stretch"))
      s->type = SPRING_STRETCH;
    else if (contains(line, "squash"))
      s->type = SPRING_SQUASH;
    else if (contains(line, "attach"))
      s->type = SPRING_ATTACH;
  } else if (starts(line, "ks")) {
    scan(context, line, "ks %f", {&s->ks});
  } else if (starts(line, "kd")) {
    scan(context, line, "kd %f", {&s->kd});
  } else if (starts(line, "kf")) {
    scan(context, line, "kf %f", {&s->kf});
  } else if (starts(line, "kt")) {
    scan(context, line, "kt %f", {&s->kt});
  } else if (starts(line, "krx")) {
    scan(context, line, "krx %f", {&s->krx});
  } else if (starts(line, "kry")) {
    scan(context, line, "kry %f", {&s->kry});
  } else if (starts(line, "krz")) {
    scan(context, line, "krz %f", {&s->krz});
  } else if (starts(line, "kspeed")) {
    scan(context, line, "kspeed %f", {&s->kspeed});
  } else if (starts(line, "kdist")) {
    scan(context, line, "kdist %f", {&s->kdist});
  } else if (starts(line, "collisions")) {
    s->collisions = 1;
  } else if (starts(line, "no_reaction")) {
    s->no_reaction = 1;
  } else if (starts(line, "restlen_scale")) {
    scan(context, line, "restlen_scale %f", {&s->restlen_scale});
  } else if (starts(line, "radius")) {
    scan(context, line, "radius %f", {&s->radius});
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %d %d", {&s->position[0], &s->position[1]});
  } else {
    return false;
  }
  return true;
}

}  // namespace hordera::cdl
