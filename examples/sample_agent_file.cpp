// The sample humanoid's agent file: skeleton, bones, variables, meshes, materials, the hat
// selector and the steering brain; and its action file with a walk and an idle made from curves.
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "examples/body_mesh.h"
#include "examples/humanoid_skeleton.h"
#include "examples/sample_crowd.h"

namespace examples {

namespace {

// One brain node's block: its kind word, id, name and further lines.
struct BrainBlock {
  const char* kind;
  int id;
  std::string name;
  std::vector<std::string> lines;
};

// The steering brain. Per axis (x, z), the direction to the goal and the press of nearby agents
// are each split into a positive and a negative fuzzy set; "or" rules gather them, a negated
// rule holds still when neither side is true, and the output's centroid of 1, 0 and 0.5 maps
// onto a velocity that the output integrates into the root translation. The heading follows the
// steering direction through a filter, and the steering speed kicks off the walk or the idle.
std::vector<BrainBlock> steering_brain() {
  std::vector<BrainBlock> nodes;
  int id = 0;
  auto node = [&](const char* kind, const std::string& name, std::vector<std::string> lines) {
    nodes.push_back({kind, ++id, name, std::move(lines)});
    return id;
  };
  auto inputs = [](std::initializer_list<int> ids) {
    std::string line = "inputs";
    for (int i : ids) line += " " + std::to_string(i);
    return line;
  };
  for (const char* axis : {"x", "z"}) {
    std::string a = axis;
    int goal = node("input", "goal_" + a, {"channel goal.d" + a, "range -1 1"});
    int push = node("input", "push_" + a, {"channel near.push." + a, "range -1 1"});
    auto sets = [&](int source, const std::string& what) {
      int plus = node("fuzz", what + "_plus_" + a,
                      {inputs({source}), "s inference 0.5 1", "linear interpolation"});
      int minus = node("fuzz", what + "_minus_" + a,
                       {inputs({source}), "z inference 0 0.5", "linear interpolation"});
      return std::pair{plus, minus};
    };
    auto [goal_plus, goal_minus] = sets(goal, "goal");
    auto [push_plus, push_minus] = sets(push, "push");
    int plus = node("or", "plus_" + a, {inputs({goal_plus, push_plus})});
    int minus = node("or", "minus_" + a, {inputs({goal_minus, push_minus})});
    int hold = node("or", "hold_" + a, {inputs({plus, minus}), "FALSE"});
    int d_plus = node("defuzz", "forward_" + a, {inputs({plus}), "manual 1"});
    int d_minus = node("defuzz", "backward_" + a, {inputs({minus}), "manual 0"});
    int d_hold = node("defuzz", "still_" + a, {inputs({hold}), "manual 0.5"});
    node("output", "move_" + a,
         {inputs({d_plus, d_minus, d_hold}), "channel t" + a, "range -1.3 1.3",
          "integrate velocity", "defuzz"});
  }
  int heading = node("input", "heading", {"channel steer.heading", "range -180 180"});
  node("output", "turn", {inputs({heading}), "channel ry", "range -180 180", "filter", "wrap"});
  int speed = node("input", "speed", {"channel steer.speed", "range 0 1"});
  int moving =
      node("fuzz", "moving", {inputs({speed}), "s inference 0.15 0.35", "linear interpolation"});
  int go = node("rule", "go", {inputs({moving})});
  int rest = node("rule", "rest", {inputs({moving}), "FALSE"});
  node("output", "walk", {inputs({go}), "channel walk", "range 0 1"});
  node("output", "idle", {inputs({rest}), "channel idle", "range 0 1"});
  return nodes;
}

// A curve block of the action file: `keys` values spread evenly over one cycle (the last key at
// phase 1 repeats the first, so the cycle closes).
std::string curve_block(const std::string& channel, const std::vector<double>& values) {
  std::ostringstream out;
  out << "    curve\n\tchannel " << channel << "\n\ttype linear\n\t" << values.size() + 1
      << " points\n";
  char line[128];
  for (size_t i = 0; i <= values.size(); ++i) {
    std::snprintf(line, sizeof line, "                %f %f\n",
                  static_cast<double>(i) / static_cast<double>(values.size()),
                  values[i % values.size()]);
    out << line;
  }
  out << "    end curve\n";
  return out.str();
}

// `amplitude * sin(2 pi (phase + shift))` plus `offset`, sampled at 16 phases.
std::vector<double> wave(double amplitude, double offset, double shift = 0, double cycles = 1) {
  std::vector<double> values;
  for (int i = 0; i < 16; ++i)
    values.push_back(offset + amplitude * std::sin(2 * M_PI * cycles * (i / 16.0 + shift)));
  return values;
}

std::string action_text() {
  std::ostringstream out;
  out << "# Hordera sample crowd actions\n";
  out << "\naction walk\n    rate 1.000000\n    track 0\n    loop 0.000000 1.000000 0.000000\n";
  double pelvis = 0.95;
  out << curve_block("pelvis:ty", wave(0.02, pelvis - 0.01, 0.25, 2));
  out << curve_block("l_thigh:rx", wave(25, 0));
  out << curve_block("r_thigh:rx", wave(25, 0, 0.5));
  out << curve_block("l_shin:rx", wave(20, -20, 0.75));
  out << curve_block("r_shin:rx", wave(20, -20, 0.25));
  out << curve_block("l_upper_arm:rx", wave(20, 0, 0.5));
  out << curve_block("r_upper_arm:rx", wave(20, 0));
  out << curve_block("l_forearm:rx", wave(8, 15, 0.5));
  out << curve_block("r_forearm:rx", wave(8, 15));
  out << curve_block("chest:ry", wave(6, 0));
  out << "\naction idle\n    rate 0.250000\n    track 0\n    loop 0.000000 1.000000 0.000000\n";
  out << curve_block("pelvis:ty", wave(0.005, pelvis));
  out << curve_block("chest:rx", wave(2, 0));
  out << curve_block("head:ry", wave(15, 0, 0.1));
  out << curve_block("l_upper_arm:rz", wave(2, 4));
  out << curve_block("r_upper_arm:rz", wave(2, -4, 0.5));
  for (const char* segment : {"l_thigh:rx", "r_thigh:rx", "l_shin:rx", "r_shin:rx",
                              "l_upper_arm:rx", "r_upper_arm:rx", "l_forearm:rx", "r_forearm:rx"})
    out << curve_block(segment, std::vector<double>(4, 0.0));
  return out.str();
}

std::string agent_text() {
  std::ostringstream out;
  out << "# CDL created with hordera v" << HORDERA_ENGINE_VERSION << "\n";
  // The scenes render the "beauty" pass; the walkers are visible and cast shadows in it.
  out << "object walker\nangles degrees\nrender_pass beauty 3\n";
  // Variables the scene varies per agent (definitions with a range), the kickoff channels of
  // the two actions, and the goal the brain steers to.
  out << "variables\ngoal_x 0\ngoal_z 0\nhat 0\nskin_hue 0.06\nshirt_hue 0.5\nhat_hue 0.1\n"
         "walk 0\nidle 0\nend variables\n";
  out << "variable goal_x 0 [-15 15]\nvariable goal_z 0 [-15 15]\nvariable hat 0 [0 2]\n"
         "variable skin_hue 0.06 [0.02 0.1]\nvariable shirt_hue 0.5 [0 1]\n"
         "variable hat_hue 0.1 [0 1]\n";
  for (const SkeletonSegment& segment : humanoid_segments()) {
    out << "segment " << segment.name << "\n";
    if (segment.parent != nullptr) out << "parent " << segment.parent << "\n";
    char line[128];
    std::snprintf(line, sizeof line, "translate %g %g %g\n", segment.offset[0], segment.offset[1],
                  segment.offset[2]);
    out << line;
  }
  for (const SkeletonSegment& segment : humanoid_segments()) out << "bone " << segment.name << "\n";
  out << "geometry skin\nfile body_skin.obj\nweights_file body_skin.w\nmaterial 0\n";
  out << "geometry clothes\nfile body_clothes.obj\nweights_file body_clothes.w\nmaterial 1\n";
  const char* hats[] = {"hat_cap", "hat_tall", "hat_wide"};
  for (const char* hat : hats)
    out << "geometry " << hat << "\ndisabled\nfile " << hat << ".obj\nweights_file " << hat
        << ".w\nmaterial 2\n";
  out << "option hats\nvar hat\n";
  for (const char* hat : hats) out << "geo " << hat << "\n";
  out << "material skin\nid 0\ndiffuse hsv skin_hue 0.45 0.85\nspecular rgb 0.1 0.1 0.1\n";
  out << "material clothes\nid 1\ndiffuse hsv shirt_hue 0.6 0.7\nspecular rgb 0.05 0.05 0.05\n";
  out << "material hat\nid 2\ndiffuse hsv hat_hue 0.5 0.5\nspecular rgb 0.2 0.2 0.2\n";
  for (const BrainBlock& node : steering_brain()) {
    out << "fuzzy " << node.kind << "\nname " << node.name << "\nid " << node.id << "\n";
    for (const std::string& line : node.lines) out << line << "\n";
  }
  out << "end object\n";
  return out.str();
}

bool write_text(const std::string& path, const std::string& text, std::string* error) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out) *error = path + ": cannot write the file";
  return static_cast<bool>(out);
}

}  // namespace

bool write_sample_agent(const std::string& directory, std::string* error) {
  std::vector<std::string> deformers;
  for (const SkeletonSegment& segment : humanoid_segments()) deformers.push_back(segment.name);
  struct Part {
    const char* name;
    BodyMesh mesh;
  };
  Part parts[] = {{"body_skin", humanoid_skin()},
                  {"body_clothes", humanoid_clothes()},
                  {"hat_cap", humanoid_hat(0)},
                  {"hat_tall", humanoid_hat(1)},
                  {"hat_wide", humanoid_hat(2)}};
  for (const Part& part : parts) {
    std::string base = directory + "/" + part.name;
    if (!write_body_mesh(part.mesh, base + ".obj", base + ".w", deformers)) {
      *error = base + ".obj: cannot write the mesh or its weights";
      return false;
    }
  }
  return write_text(directory + "/walker.cdl", agent_text(), error) &&
         write_text(directory + "/walker.act", action_text(), error);
}

}  // namespace examples
