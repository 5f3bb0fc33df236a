// Writing the frame, camera and lights of a crowd RIB.
#include "host/rib_frame.h"

#include <algorithm>
#include <cmath>

namespace host {
namespace {

struct Vec {
  double x, y, z;
};

Vec sub(Vec a, Vec b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vec cross(Vec a, Vec b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dot(Vec a, Vec b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vec unit(Vec a) {
  const double length = std::sqrt(dot(a, a));
  return length > 0 ? Vec{a.x / length, a.y / length, a.z / length} : Vec{0, 0, 1};
}

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out.push_back('\\');
    out.push_back(c);
  }
  out.push_back('"');
  return out;
}

std::string numbers(const double* values, int count) {
  std::string out = "[";
  for (int i = 0; i < count; ++i) {
    if (i != 0) out.push_back(' ');
    out += rib_number(static_cast<float>(values[i]));
  }
  return out + "]";
}

constexpr double field_of_view = 40.0;  // degrees

}  // namespace

void write_rib_frame_begin(RibWriter& writer, const RibFrame& frame) {
  writer.line("##RenderMan RIB");
  writer.line("version 3.04");
  if (!frame.procedural_path.empty())
    writer.line("Option \"searchpath\" \"string procedural\" [" +
                quoted(frame.procedural_path + ":&") + "]");
  writer.open("FrameBegin " + std::to_string(frame.frame));
  writer.line("Display " + quoted(frame.display) + " \"file\" \"rgba\"");
  writer.line("Format " + std::to_string(frame.width) + " " + std::to_string(frame.height) + " 1");
  const double fov = field_of_view;
  writer.line("Projection \"perspective\" \"fov\" " + numbers(&fov, 1));
  if (frame.motion_blur) writer.line("Shutter 0 1");

  // The camera looks at the middle of the crowd from the front, above and to the right, far
  // enough back for the box's bounding sphere to fill the narrower field of view.
  const Vec low{frame.crowd_min[0], frame.crowd_min[1], frame.crowd_min[2]};
  const Vec high{frame.crowd_max[0], frame.crowd_max[1], frame.crowd_max[2]};
  const Vec centre{(low.x + high.x) / 2, (low.y + high.y) / 2, (low.z + high.z) / 2};
  const Vec half = sub(high, centre);
  const double radius = std::max(std::sqrt(dot(half, half)), 1e-3);
  const double aspect = static_cast<double>(frame.width) / std::max(frame.height, 1);
  const double narrow = std::atan(std::tan(fov * M_PI / 360.0) * std::min(1.0, aspect));
  const double distance = radius / std::sin(narrow) * 1.05;
  const Vec direction = unit({0.6, 0.5, 1.0});
  const Vec eye{centre.x + direction.x * distance, centre.y + direction.y * distance,
                centre.z + direction.z * distance};
  // World (right-handed, y up) into RenderMan's camera space (x right, y up, z forward).
  const Vec forward = unit(sub(centre, eye));
  const Vec right = unit(cross(forward, {0, 1, 0}));
  const Vec up = cross(right, forward);
  const double camera[16] = {
      right.x, up.x, forward.x, 0, right.y,          up.y,          forward.y,          0,
      right.z, up.z, forward.z, 0, -dot(eye, right), -dot(eye, up), -dot(eye, forward), 1};
  writer.line("Transform " + numbers(camera, 16));
  writer.open("WorldBegin");
  const double ambient = 0.2;
  writer.line("LightSource \"ambientlight\" 1 \"intensity\" " + numbers(&ambient, 1));
  const double key = 1.0;
  const double from[3] = {eye.x + radius, eye.y + 2 * radius, eye.z};
  const double to[3] = {centre.x, centre.y, centre.z};
  writer.line("LightSource \"distantlight\" 2 \"intensity\" " + numbers(&key, 1) + " \"from\" " +
              numbers(from, 3) + " \"to\" " + numbers(to, 3));
}

void write_rib_frame_end(RibWriter& writer) {
  writer.close("WorldEnd");
  writer.close("FrameEnd");
}

void write_rib_procedural(RibWriter& writer, const std::string& plugin,
                          const std::string& parameters, const float bound[6]) {
  double values[6];
  for (int i = 0; i < 6; ++i) values[i] = bound[i];
  writer.line("Procedural \"DynamicLoad\" [" + quoted(plugin) + " " + quoted(parameters) + "] " +
              numbers(values, 6));
}

}  // namespace host
