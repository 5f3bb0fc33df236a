// Preview ray tracing: one Embree scene per frame over every drawable triangle plus the ground,
// picture tiles shared by a pool of threads, Phong shading with a shadowed key light.
#include "host/preview_renderer.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>

namespace host {
namespace {

struct V3 {
  float x = 0, y = 0, z = 0;
};
V3 operator+(V3 a, V3 b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
V3 operator-(V3 a, V3 b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
V3 operator*(V3 a, float s) {
  return {a.x * s, a.y * s, a.z * s};
}
float dot(V3 a, V3 b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
V3 cross(V3 a, V3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
float length(V3 a) {
  return std::sqrt(dot(a, a));
}
V3 normalize(V3 a) {
  const float l = length(a);
  return l > 0 ? a * (1.0f / l) : V3{0, 1, 0};
}
V3 to_v3(const Vec3& v) {
  return {v[0], v[1], v[2]};
}

struct DeviceDeleter {
  void operator()(RTCDevice device) const { rtcReleaseDevice(device); }
};
struct SceneDeleter {
  void operator()(RTCScene scene) const { rtcReleaseScene(scene); }
};
using Device = std::unique_ptr<RTCDeviceTy, DeviceDeleter>;
using Scene = std::unique_ptr<RTCSceneTy, SceneDeleter>;

// One Embree geometry: the mesh it came from (-1 for the ground) and, per Embree primitive,
// the mesh's triangle.
struct TracedGeometry {
  int mesh = -1;
  std::vector<uint32_t> triangles;
};

struct Shading {
  const FrameGeometry* frame = nullptr;
  std::vector<TracedGeometry> geometries;
  FrameMaterial fallback;     // for triangles without a material
  FrameMaterial unevaluated;  // for shaders the preview cannot evaluate
  FrameMaterial ground;
  V3 light;  // toward the key light
  float epsilon = 1e-4f;
};

struct Bounds {
  V3 low{std::numeric_limits<float>::max(), std::numeric_limits<float>::max(),
         std::numeric_limits<float>::max()};
  V3 high{-std::numeric_limits<float>::max(), -std::numeric_limits<float>::max(),
          -std::numeric_limits<float>::max()};
  void add(V3 p) {
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
  }
};

// The box the camera frames and the ground sits under: per axis, from the 1st to the 99th
// percentile of the drawn points, so that a few stray points far from the crowd do not shrink
// it to a speck.
Bounds framing_bounds(std::vector<float>& xs, std::vector<float>& ys, std::vector<float>& zs) {
  Bounds bounds;
  float* low[3] = {&bounds.low.x, &bounds.low.y, &bounds.low.z};
  float* high[3] = {&bounds.high.x, &bounds.high.y, &bounds.high.z};
  std::vector<float>* axes[3] = {&xs, &ys, &zs};
  for (int a = 0; a < 3; ++a) {
    std::vector<float>& values = *axes[a];
    if (values.empty()) return Bounds{};
    const size_t last = values.size() - 1;
    const size_t lower = last / 100, upper = last - last / 100;
    std::nth_element(values.begin(), values.begin() + lower, values.end());
    *low[a] = values[lower];
    std::nth_element(values.begin(), values.begin() + upper, values.end());
    *high[a] = values[upper];
  }
  return bounds;
}

void report_device_error(void* user, RTCError, const char* text) {
  auto* message = static_cast<std::string*>(user);
  if (message->empty()) *message = text ? text : "unknown error";
}

bool add_triangles(RTCDevice device, RTCScene scene, const std::vector<V3>& points,
                   const std::vector<uint32_t>& indices, unsigned id) {
  RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
  if (!geometry) return false;
  auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
      geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, sizeof(float) * 3, points.size()));
  auto* triangles = static_cast<uint32_t*>(
      rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                              sizeof(uint32_t) * 3, indices.size() / 3));
  if (!vertices || !triangles) {
    rtcReleaseGeometry(geometry);
    return false;
  }
  for (size_t i = 0; i < points.size(); ++i) {
    vertices[i * 3] = points[i].x;
    vertices[i * 3 + 1] = points[i].y;
    vertices[i * 3 + 2] = points[i].z;
  }
  std::copy(indices.begin(), indices.end(), triangles);
  rtcCommitGeometry(geometry);
  rtcAttachGeometryByID(scene, geometry, id);
  rtcReleaseGeometry(geometry);
  return true;
}

V3 sky(V3 direction) {
  const float t = std::clamp(direction.y, 0.0f, 1.0f);
  return V3{0.78f, 0.82f, 0.86f} * (1 - t) + V3{0.42f, 0.54f, 0.72f} * t;
}

// Shades one primary ray: linear colour and coverage (0 for a matte surface).
void trace(RTCScene scene, const Shading& shading, V3 origin, V3 direction, V3* colour,
           float* alpha) {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  RTCRayHit hit{};
  hit.ray.org_x = origin.x;
  hit.ray.org_y = origin.y;
  hit.ray.org_z = origin.z;
  hit.ray.dir_x = direction.x;
  hit.ray.dir_y = direction.y;
  hit.ray.dir_z = direction.z;
  hit.ray.tnear = 0.0f;
  hit.ray.tfar = std::numeric_limits<float>::infinity();
  hit.ray.mask = 0xFFFFFFFFu;
  hit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  hit.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
  rtcIntersect1(scene, &context, &hit);
  if (hit.hit.geomID == RTC_INVALID_GEOMETRY_ID) {
    *colour = sky(direction);
    *alpha = 1.0f;
    return;
  }
  const TracedGeometry& traced = shading.geometries[hit.hit.geomID];
  const FrameMaterial* material = &shading.ground;
  V3 normal = normalize(V3{hit.hit.Ng_x, hit.hit.Ng_y, hit.hit.Ng_z});
  if (traced.mesh >= 0) {
    const FrameMesh& mesh = shading.frame->meshes[traced.mesh];
    const uint32_t triangle = traced.triangles[hit.hit.primID];
    const int index =
        mesh.triangle_materials.size() > triangle ? mesh.triangle_materials[triangle] : -1;
    material = index >= 0 && index < static_cast<int>(shading.frame->materials.size())
                   ? &shading.frame->materials[index]
                   : &shading.fallback;
    if (material->matte) {
      *colour = V3{};
      *alpha = 0.0f;
      return;
    }
    if (!material->evaluated) material = &shading.unevaluated;
    if (mesh.normals.size() == mesh.positions.size()) {
      const uint32_t* corner = &mesh.triangles[triangle * 3];
      const float u = hit.hit.u, v = hit.hit.v;
      const V3 interpolated = to_v3(mesh.normals[corner[0]]) * (1 - u - v) +
                              to_v3(mesh.normals[corner[1]]) * u +
                              to_v3(mesh.normals[corner[2]]) * v;
      const float l = length(interpolated);
      if (std::isfinite(l) && l > 1e-12f) {
        V3 smooth = interpolated * (1.0f / l);
        // Keep the shading normal on the side of the surface the geometric normal is on.
        if (dot(smooth, normal) < 0) smooth = smooth * -1.0f;
        normal = smooth;
      }
    }
  }
  if (dot(normal, direction) > 0) normal = normal * -1.0f;  // both sides are seen
  const V3 point = origin + direction * hit.ray.tfar;

  float lit = 0.0f;
  const float n_dot_l = dot(normal, shading.light);
  if (n_dot_l > 0) {
    RTCRay shadow{};
    const V3 start = point + normal * shading.epsilon;
    shadow.org_x = start.x;
    shadow.org_y = start.y;
    shadow.org_z = start.z;
    shadow.dir_x = shading.light.x;
    shadow.dir_y = shading.light.y;
    shadow.dir_z = shading.light.z;
    shadow.tnear = 0.0f;
    shadow.tfar = std::numeric_limits<float>::infinity();
    shadow.mask = 0xFFFFFFFFu;
    RTCIntersectContext shadow_context;
    rtcInitIntersectContext(&shadow_context);
    rtcOccluded1(scene, &shadow_context, &shadow);
    if (shadow.tfar >= 0) lit = 1.0f;  // Embree sets tfar to -inf when the ray is blocked
  }
  constexpr float fill = 0.25f;  // ambient light, so that the unlit side is not black
  const V3 ambient = to_v3(material->ambient);
  const V3 diffuse = to_v3(material->diffuse);
  const V3 specular = to_v3(material->specular);
  V3 result = ambient + diffuse * (fill + (1.0f - fill) * std::max(n_dot_l, 0.0f) * lit);
  if (lit > 0) {
    const V3 reflected = direction - normal * (2.0f * dot(direction, normal));
    const float r_dot_l = dot(reflected, shading.light);
    if (r_dot_l > 0) {
      const float exponent = std::clamp(material->exponent, 0.0f, 10000.0f);
      result = result + specular * std::pow(r_dot_l, exponent);
    }
  }
  *colour = result;
  *alpha = 1.0f;
}

uint8_t encode_srgb(float linear) {
  if (!(linear > 0.0f)) return 0;  // also NaN
  if (linear >= 1.0f) return 255;
  const float encoded =
      linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
  return static_cast<uint8_t>(std::lround(encoded * 255.0f));
}

struct View {
  V3 position, forward, right, up;
  float half_height = 0.5f;  // tan of half the vertical field of view
};

bool make_view(const PreviewSettings& settings, const Bounds& bounds, View* view,
               std::string* error) {
  const PreviewCamera& camera = settings.camera;
  if (!(camera.field_of_view >= 1.0f && camera.field_of_view <= 170.0f)) {
    *error = "the field of view must be between 1 and 170 degrees";
    return false;
  }
  constexpr float degrees = 3.14159265358979f / 180.0f;
  view->half_height = std::tan(camera.field_of_view * 0.5f * degrees);
  V3 target, position;
  if (camera.automatic) {
    const V3 centre = (bounds.low + bounds.high) * 0.5f;
    const float radius = std::max(length(bounds.high - bounds.low) * 0.5f, 1e-3f);
    const float aspect = static_cast<float>(settings.width) / settings.height;
    const float half_angle = std::atan(view->half_height * std::min(aspect, 1.0f));
    const float distance = radius / std::sin(half_angle) * 1.02f;
    target = centre;
    position = centre + normalize(V3{0.35f, 0.4f, 1.0f}) * distance;
  } else {
    target = to_v3(camera.target);
    position = to_v3(camera.position);
    for (const V3& p : {target, position})
      if (!usable_point({p.x, p.y, p.z})) {
        *error = "the camera's position and target must be finite numbers";
        return false;
      }
  }
  const V3 forward = target - position;
  if (length(forward) <= 0.0f) {
    *error = "the camera's position and target are the same point";
    return false;
  }
  view->position = position;
  view->forward = normalize(forward);
  V3 up{0, 1, 0};
  if (std::fabs(dot(view->forward, up)) > 0.999f) up = V3{0, 0, -1};  // looking straight down
  view->right = normalize(cross(view->forward, up));
  view->up = cross(view->right, view->forward);
  return true;
}

}  // namespace

bool render_preview(const FrameGeometry& frame, const PreviewSettings& settings, RgbaImage* image,
                    std::string* error, std::vector<std::string>* warnings) {
  std::string ignored;
  if (!error) error = &ignored;
  if (settings.width < 1 || settings.height < 1 || settings.width > 16384 ||
      settings.height > 16384) {
    *error = "the picture's width and height must be between 1 and 16384";
    return false;
  }
  if (settings.samples < 1 || settings.samples > 1024) {
    *error = "the samples per pixel must be between 1 and 1024";
    return false;
  }

  std::string device_error;
  // The ray tracer builds its hierarchy on as many threads as the picture is traced on.
  const std::string device_config =
      settings.threads > 0 ? "threads=" + std::to_string(settings.threads) : std::string();
  Device device(rtcNewDevice(device_config.empty() ? nullptr : device_config.c_str()));
  if (!device) {
    *error = "the ray tracer cannot start";
    return false;
  }
  rtcSetDeviceErrorFunction(device.get(), report_device_error, &device_error);
  Scene scene(rtcNewScene(device.get()));

  Shading shading;
  shading.frame = &frame;
  shading.fallback = default_material();
  shading.unevaluated.diffuse = {0.5f, 0.5f, 0.5f};
  shading.ground.diffuse = {0.45f, 0.45f, 0.42f};

  // The drawable triangles of every mesh, one Embree geometry per mesh.
  std::vector<float> xs, ys, zs;  // the drawn points' coordinates, for framing
  size_t left_out = 0;
  std::vector<V3> points;
  std::vector<uint32_t> indices;
  for (size_t m = 0; m < frame.meshes.size(); ++m) {
    const FrameMesh& mesh = frame.meshes[m];
    TracedGeometry traced;
    traced.mesh = static_cast<int>(m);
    points.assign(mesh.positions.size(), V3{});
    std::vector<char> usable(mesh.positions.size());
    for (size_t i = 0; i < mesh.positions.size(); ++i) {
      usable[i] = usable_point(mesh.positions[i]);
      if (usable[i]) points[i] = to_v3(mesh.positions[i]);
    }
    indices.clear();
    std::vector<char> drawn(mesh.positions.size(), 0);
    for (size_t t = 0; t < mesh.triangle_count(); ++t) {
      const uint32_t* corner = &mesh.triangles[t * 3];
      const bool ok = corner[0] < usable.size() && corner[1] < usable.size() &&
                      corner[2] < usable.size() && usable[corner[0]] && usable[corner[1]] &&
                      usable[corner[2]];
      if (!ok) {
        ++left_out;
        continue;
      }
      indices.insert(indices.end(), corner, corner + 3);
      traced.triangles.push_back(static_cast<uint32_t>(t));
      for (int c = 0; c < 3; ++c) drawn[corner[c]] = 1;
    }
    left_out += mesh.triangles.size() % 3 != 0;
    for (size_t i = 0; i < drawn.size(); ++i)
      if (drawn[i]) {
        xs.push_back(points[i].x);
        ys.push_back(points[i].y);
        zs.push_back(points[i].z);
      }
    if (traced.triangles.empty()) continue;
    if (!add_triangles(device.get(), scene.get(), points, indices,
                       static_cast<unsigned>(shading.geometries.size()))) {
      *error = "the ray tracer cannot take the geometry: " + device_error;
      return false;
    }
    shading.geometries.push_back(std::move(traced));
  }
  if (left_out > 0 && warnings)
    warnings->push_back(std::to_string(left_out) +
                        " triangles with unusable coordinates or corner indices were left out");
  if (shading.geometries.empty()) {
    *error = "nothing to draw: the frame holds no triangles";
    return false;
  }
  if (warnings) {
    for (const FrameMaterial& material : frame.materials)
      if (!material.evaluated) {
        warnings->push_back("shaders the preview cannot evaluate are drawn flat grey (material \"" +
                            material.name + "\")");
        break;
      }
  }

  const Bounds bounds = framing_bounds(xs, ys, zs);
  const V3 centre = (bounds.low + bounds.high) * 0.5f;
  const float radius = std::max(length(bounds.high - bounds.low) * 0.5f, 1e-3f);
  shading.epsilon = std::max(radius * 1e-4f, 1e-6f);
  if (settings.ground) {
    const float y = bounds.low.y, s = radius * 50.0f;
    const std::vector<V3> corners = {{centre.x - s, y, centre.z - s},
                                     {centre.x + s, y, centre.z - s},
                                     {centre.x + s, y, centre.z + s},
                                     {centre.x - s, y, centre.z + s}};
    if (!add_triangles(device.get(), scene.get(), corners, {0, 2, 1, 0, 3, 2},
                       static_cast<unsigned>(shading.geometries.size()))) {
      *error = "the ray tracer cannot take the ground: " + device_error;
      return false;
    }
    shading.geometries.push_back(TracedGeometry{});
  }
  rtcCommitScene(scene.get());
  if (!device_error.empty()) {
    *error = "the ray tracer failed: " + device_error;
    return false;
  }

  View view;
  if (!make_view(settings, bounds, &view, error)) return false;
  // The key light comes from above, over the camera's left shoulder.
  shading.light = normalize(V3{0, 1.3f, 0} - view.right * 0.6f - view.forward * 0.5f);

  image->width = settings.width;
  image->height = settings.height;
  image->pixels.assign(static_cast<size_t>(settings.width) * settings.height * 4, 0);
  constexpr int tile = 16;
  const int tiles_x = (settings.width + tile - 1) / tile;
  const int tiles_y = (settings.height + tile - 1) / tile;
  const int tiles = tiles_x * tiles_y;
  std::atomic<int> next{0}, done{0};
  const float aspect = static_cast<float>(settings.width) / settings.height;

  auto work = [&] {
    for (int t = next++; t < tiles; t = next++) {
      const int x0 = (t % tiles_x) * tile, y0 = (t / tiles_x) * tile;
      for (int y = y0; y < std::min(y0 + tile, settings.height); ++y)
        for (int x = x0; x < std::min(x0 + tile, settings.width); ++x) {
          V3 sum{};
          float coverage = 0.0f;
          for (int s = 0; s < settings.samples; ++s) {
            // A low-discrepancy pattern within the pixel; one sample sits at its centre.
            const float sx = std::fmod(0.5f + s * 0.7548776662f, 1.0f);
            const float sy = std::fmod(0.5f + s * 0.5698402910f, 1.0f);
            const float px = ((x + sx) / settings.width * 2.0f - 1.0f) * view.half_height * aspect;
            const float py = (1.0f - (y + sy) / settings.height * 2.0f) * view.half_height;
            const V3 direction = normalize(view.forward + view.right * px + view.up * py);
            V3 colour;
            float alpha = 0.0f;
            trace(scene.get(), shading, view.position, direction, &colour, &alpha);
            sum = sum + colour * alpha;
            coverage += alpha;
          }
          uint8_t* pixel = &image->pixels[(static_cast<size_t>(y) * settings.width + x) * 4];
          const V3 straight = coverage > 0 ? sum * (1.0f / coverage) : V3{};
          pixel[0] = encode_srgb(straight.x);
          pixel[1] = encode_srgb(straight.y);
          pixel[2] = encode_srgb(straight.z);
          pixel[3] = static_cast<uint8_t>(std::lround(coverage / settings.samples * 255.0f));
        }
      const int finished = ++done;
      if (settings.progress) settings.progress(finished, tiles);
    }
  };
  int threads = settings.threads > 0 ? settings.threads
                                     : static_cast<int>(std::thread::hardware_concurrency());
  threads = std::clamp(threads, 1, std::max(1, tiles));
  std::vector<std::thread> pool;
  for (int i = 1; i < threads; ++i) pool.emplace_back(work);
  work();
  for (std::thread& thread : pool) thread.join();
  return true;
}

}  // namespace host
