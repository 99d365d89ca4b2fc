// What a ray and a frame cost, as one JSON object of numbers on standard output: from the name of a measurement to nanoseconds,
// or to what the name ends with. bench/run_bench.py runs this in many short processes and keeps the least of each number.
//   camera_bench MODULE [GROUP...]

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <malloc.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "cameras/cylinder/cylinder_cam.h"
#include "cameras/fisheye/fisheye_cam.h"
#include "cameras/panoramic/panoramic_cam.h"
#include "cameras/perspective/perspective_cam.h"
#include "cameras/radial_shift/radial_shift_cam.h"
#include "cameras/skybox/skybox_cam.h"
#include "cameras/spherical/spherical_cam.h"
#include "cameras/stereo/stereo_cam.h"
#include "framework/records.h"
#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"

namespace {

using standin::HostedCamera;

/// Runs that are shorter than the system's time slices: some of them are not interrupted.
constexpr int turns = 24;
constexpr int rays_per_turn = 10'000;
constexpr double shutter_seconds = 1.0 / 60.0;
constexpr framework::LensPoint lens_point{0.25, 0.125};
constexpr framework::LensPoint lens_centre{};

std::map<std::string, double> least;

void report(const std::string& name, double value) {
  const auto [place, is_new] = least.emplace(name, value);
  if (!is_new) place->second = std::min(place->second, value);
}

/// Of one call of `action`, which gets a number from 0 on.
template <class Action>
double nanoseconds_of_each(int count, Action action) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) action(static_cast<std::size_t>(i));
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / count;
}

/// Keeps a value from being optimised away, at the cost of its stores only.
void keep(const void* value) { asm volatile("" : : "r"(value) : "memory"); }

/// The value, hidden from the optimiser as if it were read at run time.
template <class Value>
Value opaque(Value value) {
  asm volatile("" : "+m"(value));
  return value;
}

/// Film positions all over a film, row by row.
class FilmGrid {
 public:
  explicit FilmGrid(const LWCameraAccess& access) {
    for (std::size_t i = 0; i < points_.size(); ++i) {
      const std::size_t row = i / 32;
      points_[i] = {(static_cast<double>(i % 32) / 31.0 - 0.5) * access.filmSize[0],
                    (static_cast<double>(row) / 31.0 - 0.5) * access.filmSize[1]};
    }
  }

  const framework::FilmPoint& operator[](std::size_t i) const { return points_[i % points_.size()]; }

 private:
  std::array<framework::FilmPoint, 1024> points_{};
};

// --- A host whose envelopes cost next to nothing, so that the module's own time is measured.

double quick_value(LWVParmID /*parameter*/, LWTime /*time*/, void* /*micropolygon*/, double* result) {
  result[0] = 1.0;
  return 1.0;
}

const LWVParmFuncs* host_envelopes() {
  return static_cast<const LWVParmFuncs*>(standin::Host::global()(LWVPARMFUNCS_GLOBAL, GFUSE_TRANSIENT));
}

void* quick_global(const char* service, int use) {
  if (std::string_view(service) != LWVPARMFUNCS_GLOBAL) return standin::Host::global()(service, use);
  static LWVParmFuncs quick = [] {
    LWVParmFuncs functions = *host_envelopes();
    functions.getVal = quick_value;
    return functions;
  }();
  return &quick;
}

/// The services of a camera's last activation are the ones that it uses.
void activate_with(GlobalFunc* global, const standin::Module& module, const char* server) {
  LWInstanceFuncs instance{};
  LWItemFuncs item{};
  LWRenderFuncs render{};
  LWCameraHandler handler{};
  handler.inst = &instance;
  handler.item = &item;
  handler.rend = &render;
  const standin::Server& row = module.server(LWCAMERA_HANDLER_CLASS, server);
  standin::require_activated(row.activate(LWCAMERA_HANDLER_VERSION, global, &handler, module.server_data()), row);
}

/// The exposure of a publishing camera: three readings for each ray.
void read_exposure(const LWVParmFuncs* envelopes, double time) {
  for (int i = 0; i < 3; ++i) {
    double result[3] = {};
    envelopes->getVal(nullptr, time, nullptr, result);
    keep(result);
  }
}

using Settings = std::vector<std::pair<const char*, double>>;

/// A camera that flies, with a frame begun.
struct Shot {
  standin::Host host{standin::Scene{}};
  std::unique_ptr<HostedCamera> camera;

  Shot(const standin::Module& module, const char* server, const Settings& settings = {}) {
    standin::Item& item = host.add_camera("Camera", {1.0, 2.0, 3.0});
    item.motion[0].keys = {{0.0, 0.0, standin::Span::linear, {}}, {1.0, 1.0, standin::Span::linear, {}}};
    item.motion[3].keys = {{0.0, 0.0, standin::Span::linear, {}}, {0.5, 1.0, standin::Span::linear, {}}};
    camera = std::make_unique<HostedCamera>(host, module, server, "Camera");
    for (const auto& [channel, value] : settings) camera->parameter(channel).set_constant(value);
    begin(0);
  }

  void begin(int frame, unsigned motion_steps = 8) const {
    camera->new_time(frame, 0.0);
    camera->new_frame(frame, 0.0, shutter_seconds, motion_steps);
  }

  int evaluate(framework::FilmPoint at, double time, LWCameraRay& ray, framework::LensPoint through = lens_point) const {
    return camera->handler().evaluate(camera->raw(), at.x, at.y, through.x, through.y, time, LWCAMEYE_CENTER, &ray,
                                      &camera->access());
  }
};

framework::Vector vector(const double* v) { return {v[0], v[1], v[2]}; }

framework::Pose pose_of(const LWCameraAccess& access) {
  return {vector(access.worldPos), vector(access.toWorld[0]), vector(access.toWorld[1]), vector(access.toWorld[2])};
}

framework::Ray with_film_normal(framework::Ray ray, framework::Vector film_normal) {
  ray.film_normal = film_normal;
  return ray;
}

// --- A ray through the handler, beside the same arithmetic inlined in a loop of this program.

struct Variant {
  const char* name;
  const char* server;
  Settings settings = {};
  bool publishes = false;
  framework::LensPoint through = lens_point;
};

/// `inlined` gets a film point, the film and the pose, and returns the ray.
template <class Inlined>
void compare(const standin::Module& module, const Variant& variant, Inlined inlined) {
  const Shot shot(module, variant.server, variant.settings);
  activate_with(quick_global, module, variant.server);
  const LWCameraAccess& access = shot.camera->access();
  const FilmGrid film(access);
  const framework::Film film_size = opaque(framework::Film{access.filmSize[0], access.filmSize[1]});
  const auto* envelopes = opaque(static_cast<const LWVParmFuncs*>(quick_global(LWVPARMFUNCS_GLOBAL, GFUSE_TRANSIENT)));
  LWCameraRay ray{};
  for (const double time : {0.0, 0.4}) {
    framework::Pose pose = pose_of(access);
    // It turns: between two of its samples its axes are neither of unit length nor at right angles.
    pose.keeps_lengths = time == 0.0;
    pose = opaque(pose);
    const std::string name = std::string("ray/") + variant.name + (time == 0.0 ? "/time 0/" : "/time 0.4/");
    for (int turn = 0; turn < turns; ++turn) {
      report(name + "handler", nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
               shot.evaluate(film[i], time, ray, variant.through);
               keep(&ray);
             }));
      report(name + "inlined", nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
               if (variant.publishes) read_exposure(envelopes, time);
               const framework::Ray inlined_ray = inlined(film[i], film_size, pose);
               keep(&inlined_ray);
             }));
    }
  }
}

/// As the handler has it: what follows from the lens and the film alone is not worked out for each ray.
template <class Lens>
auto panorama(const Lens& lens, framework::Film film) {
  return [prepared = opaque(prepared(lens, film))](auto at, auto /*film*/, const auto& pose) {
    return unit_pinhole_ray(pose, prepared.direction(at));
  };
}

void fisheye(const standin::Module& module, const char* name, double power, framework::LensPoint through = lens_point) {
  const FisheyeCam::Lens lens{.zoom_factor = 3.2, .distortion_power = power, .lens_factor = 0.125, .focal_distance = 1.0};
  compare(module, {name, "QuorinFisheyeCam", {{"FisheyePower", power}}, false, through},
          [lens = opaque(lens), through = opaque(through)](auto at, auto film, const auto& pose) {
            const framework::Vector toward = direction(lens, film, at);
            const framework::Vector offset = framework::lens_offset(lens.lens_factor * toward.z, through);
            return with_film_normal(thin_lens_ray(pose, toward, lens.focal_distance, offset), pose.forward);
          });
}

void measure_rays(const standin::Module& module) {
  const framework::Film film = framework::film_of(Shot(module, "QuorinPanoramicCam").camera->access());
  compare(module, {"panoramic", "QuorinPanoramicCam"}, panorama(PanoramicCam::Lens{}, film));
  compare(module, {"advanced panoramic", "QuorinAdvPanCam"}, panorama(AdvPanCam::Lens{}, film));
  AdvPanCam::Lens set;
  set.horizontal_fov_radians = 4.0;
  set.upper_angle_radians = 1.2;
  set.lower_angle_radians = -0.4;
  set.horizontal_shift = 0.1;
  set.vertical_shift = -0.2;
  compare(module,
          {"advanced panoramic, angles set",
           "QuorinAdvPanCam",
           {{"HorizontalFOVradians", set.horizontal_fov_radians},
            {"MaxVerticalFOVradians", set.upper_angle_radians},
            {"MinVerticalFOVradians", set.lower_angle_radians},
            {"HShift", set.horizontal_shift},
            {"VShift", set.vertical_shift}}},
          panorama(set, film));
  compare(
      module, {"immersive", "QuorinImmersiveCam"},
      panorama(AdvPanCam::Lens{.upper_angle_radians = framework::half_pi, .lower_angle_radians = -framework::half_pi}, film));
  compare(module, {"cylinder", "QuorinCylinderCam"},
          [lens = opaque(prepared(CylinderCam::Lens{}, film))](auto at, auto /*film*/, const auto& pose) {
            return map(lens, true, pose, at);
          });
  fisheye(module, "fisheye", 1.0);
  fisheye(module, "fisheye, power 2", 2.0);
  fisheye(module, "fisheye, power 1.3", 1.3);
  fisheye(module, "fisheye, without depth of field", 1.0, lens_centre);

  const RadialShiftCam::Lens radial_shift{.zoom_factor = 3.2,
                                          .distortion_a = 0.05,
                                          .distortion_c = -0.1,
                                          .half_inverse_f_stop = 0.125,
                                          .focal_distance = 1.0,
                                          .lens_radius = 0.003,
                                          .film_distance = 0.024,
                                          .reference_radius = 0.0075};
  compare(module,
          {"radial shift",
           "QuorinRadialShiftCam",
           {{"RadialShiftA", radial_shift.distortion_a}, {"RadialShiftC", radial_shift.distortion_c}}},
          [lens = opaque(radial_shift)](auto at, auto film, const auto& pose) {
            const framework::Vector offset = framework::lens_offset(framework::rounded_to_single(lens.lens_radius), lens_point);
            return with_film_normal(thin_lens_ray(pose, direction(lens, film, at), lens.focal_distance, offset), pose.forward);
          });
  const PerspectiveCam::Lens perspective{
      .zoom_factor = 3.2, .lens_radius = 0.003, .film_distance = 0.024, .half_inverse_f_stop = 0.125, .focal_distance = 1.0};
  compare(
      module, {"perspective", "QuorinPerspectiveCam", {}, true},
      [lens = opaque(perspective)](auto at, auto film, const framework::Pose& pose) {
        const PerspectiveCam::Pose single{rounded(pose.position), rounded(pose.right), rounded(pose.up), rounded(pose.forward)};
        return thin_lens_ray(lens, single, direction(lens, film, at), lens_point);
      });
  compare(module, {"spherical", "QuorinSphericalCam", {}, true},
          [lens = opaque(prepared(SphericalCam::Lens{.reference_radius = 0.0075}, film))](
              auto at, auto /*film*/, const auto& pose) { return SphericalCam::world_ray(pose, lens.direction(at)); });
  const StereoCam::Lens stereo{
      .zoom_factor = 3.2, .eye_separation = 0.06, .half_inverse_f_stop = 0.125, .focal_distance = 1.0, .film_height = 0.015};
  compare(module, {"stereo", "QuorinStereoCam", {}, true},
          [lens = opaque(stereo)](auto at, auto film, const framework::Pose& pose) {
            const StereoCam::StereoPose stereo_pose{pose.position, pose.right, pose.up, pose.forward, {}};
            return with_film_normal(eye_ray(lens, stereo_pose, side_by_side(lens, film.width, at), lens_point), pose.forward);
          });
  compare(module, {"skybox", "QuorinSkyboxCam"},
          [grid = opaque(SkyboxCam::Grid({0.02, 0.015})), layout = opaque(SkyboxCam::Layout::cross)](
              auto at, auto film, const framework::Pose& pose) {
            const auto view = face_view({-0.00003, -0.00003, layout}, grid, at);
            if (!view) return framework::Ray{};
            const auto rows = rows_of(*view->face, [&](std::size_t i) {
              return i == 0 ? pose.right : i == 1 ? pose.up : pose.forward;
            });
            return SkyboxCam::perspective_ray(pose.position, rows, film.height, view->on_face);
          });
}

// --- World point to film position.

void measure_projection(const standin::Module& module) {
  for (const char* server :
       {"QuorinPanoramicCam", "QuorinAdvPanCam", "QuorinImmersiveCam", "QuorinCylinderCam", "QuorinFisheyeCam",
        "QuorinRadialShiftCam", "QuorinPerspectiveCam", "QuorinSphericalCam", "QuorinStereoCam"}) {
    const Shot shot(module, server);
    for (int turn = 0; turn < turns; ++turn) {
      report(std::string("projection/") + server, nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
               const LWDVector world{1.0 + static_cast<double>(i % 32) * 0.05, 2.5, 8.0};
               LWDVector film{};
               shot.camera->handler().project(shot.camera->raw(), 0.0, 0.0, world, 0.4, LWCAMEYE_CENTER, film,
                                              &shot.camera->access());
               keep(film);
             }));
    }
  }
}

// --- Many times in one frame.

void measure_times(const standin::Module& module) {
  Shot shot(module, "QuorinPanoramicCam");
  const FilmGrid film(shot.camera->access());
  LWCameraRay ray{};
  constexpr std::array<std::size_t, 5> counts{1, 31, 64, 512, 4096};
  for (int turn = 0; turn < turns; ++turn) {
    for (const std::size_t count : counts) {
      shot.begin(1 + turn * 10 + static_cast<int>(count) * 1000);
      std::vector<double> times(count);
      // In an order that no neighbour can guess; the factor has no divisor in common with any of the counts.
      for (std::size_t i = 0; i < count; ++i)
        times[i] = (static_cast<double>(i * 1237 % count) + 0.5) / static_cast<double>(count);
      for (const double time : times) shot.evaluate(film[0], time, ray);
      std::size_t next = 0;
      report("times in a frame/" + std::to_string(count), nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
               shot.evaluate(film[i], times[next], ray);
               keep(&ray);
               if (++next == count) next = 0;
             }));
    }
  }
}

// --- Two threads that share an instance, with as many rays each as one has alone.

void measure_threads(const standin::Module& module) {
  // Long enough that starting a thread, which takes Wine a millisecond, hardly counts.
  constexpr int rays = 400'000;
  for (const auto& [name, server] : {std::pair{"panoramic", "QuorinPanoramicCam"},
                                     {"perspective", "QuorinPerspectiveCam"},
                                     {"spherical", "QuorinSphericalCam"},
                                     {"stereo", "QuorinStereoCam"}}) {
    const Shot shot(module, server);
    activate_with(quick_global, module, server);
    const FilmGrid film(shot.camera->access());
    for (const bool always_new : {false, true}) {
      const auto render = [&](double first_time) {
        LWCameraRay ray{};
        for (int i = 0; i < rays; ++i) {
          shot.evaluate(film[static_cast<std::size_t>(i)], always_new ? first_time + i * (0.4 / rays) : 0.4, ray);
          keep(&ray);
        }
      };
      for (int turn = 0; turn < 2; ++turn) {
        for (const bool two : {false, true}) {
          const double time = nanoseconds_of_each(1, [&](std::size_t) {
            std::thread other;
            if (two) other = std::thread(render, 0.5);
            render(0.1);
            if (two) other.join();
          });
          report(std::string("threads/") + name + (always_new ? "/a new time for each ray/" : "/one time/") +
                     (two ? "two" : "one"),
                 time / rays);
        }
      }
    }
  }
}

// --- Publishing the exposure.

void set_temporary_folder(const std::filesystem::path& folder) {
#ifdef _WIN32
  _putenv_s("TMP", folder.string().c_str());
#else
  setenv("TMPDIR", folder.c_str(), 1);
#endif
}

void measure_exposure(const standin::Module& module) {
  const std::filesystem::path usual = std::filesystem::temp_directory_path();
  for (const bool is_animated : {false, true}) {
    for (const bool can_write : {true, false}) {
      // The camera goes first: when it ends, it may publish.
      set_temporary_folder(can_write ? usual : usual / "a folder that is not there");
      Shot shot(module, "QuorinPerspectiveCam");
      if (is_animated) shot.camera->parameter("PhotoISO").set_keys({{0.0, 100.0}, {1.0, 6400.0}});
      shot.begin(1);
      const FilmGrid film(shot.camera->access());
      LWCameraRay ray{};
      const std::string name =
          std::string("exposure/") + (is_animated ? "animated" : "constant") + (can_write ? "" : ", no folder");
      for (int turn = 0; turn < turns; ++turn) {
        report(name, nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
                 shot.evaluate(film[i], static_cast<double>(i % 16) / 16.0, ray);
                 keep(&ray);
               }));
      }
    }
  }
  set_temporary_folder(usual);
  standin::Host host{standin::Scene{}};
  const LWVParmFuncs* service = host_envelopes();
  std::array<LWVParmID, 3> envelopes{};
  for (LWVParmID& envelope : envelopes) envelope = service->create(LWVP_FLOAT, LWVPDT_NOTXTR);
  for (int turn = 0; turn < turns; ++turn) {
    report("exposure/three readings of the stand-in host's envelopes", nanoseconds_of_each(rays_per_turn, [&](std::size_t) {
             for (const LWVParmID envelope : envelopes) {
               double result[3] = {};
               service->getVal(envelope, 0.4, nullptr, result);
               keep(result);
             }
           }));
  }
  for (const LWVParmID envelope : envelopes) service->destroy(envelope);
}

// --- A frame's beginning.

void measure_frames(const standin::Module& module) {
  for (const char* server : {"QuorinPanoramicCam", "QuorinStereoCam"}) {
    Shot shot(module, server);
    int frame = 0;
    for (int turn = 0; turn < turns; ++turn)
      for (const unsigned steps : {2U, 8U, 32U, 64U, 199U})
        report(std::string("beginning a frame/") + server + "/" + std::to_string(steps),
               nanoseconds_of_each(20, [&](std::size_t) { shot.begin(++frame, steps); }));
  }
}

// --- Cameras that show cameras, `depth` of them in a row before the one that has a lens.

void measure_tiles(const standin::Module& module) {
  for (int depth = 1; depth <= 4; ++depth) {
    standin::Host host{standin::Scene{}};
    for (int i = 0; i <= depth; ++i) host.add_camera("Camera " + std::to_string(i), {1.0, 2.0, 3.0});
    for (int i = 0; i <= depth; ++i) {
      standin::PluginBlock block{
          .server_class = LWCAMERA_HANDLER_CLASS, .server_name = "QuorinPanoramicCam", .saved_lines = {}};
      const std::string item = "Camera " + std::to_string(i);
      if (i < depth) {
        block.server_name = "QuorinMultiCam";
        HostedCamera chooser(host, module, block.server_name, item);
        // The camera after this one is the next in the scene, and each counts the others only.
        for (const standin::PanelHint* hint : chooser.panel().hints_of(LWXPTAG_POPFUNCS))
          chooser.panel().set_integer(hint->control(), i + 1);
        block.saved_lines = chooser.save_text();
      }
      host.camera(item).handler = block;
    }
    HostedCamera camera(host, module, "QuorinMultiCam", "Camera 0");
    camera.load_saved();
    camera.init_render();
    camera.begin_frame(1);
    const FilmGrid film(camera.access());
    LWCameraRay ray{};
    const framework::FilmPoint first = film[0];
    if (camera.evaluate({.film_x = first.x, .film_y = first.y}).result == LWCAMEVAL_NONE)
      throw std::runtime_error("The cameras that show one another show nothing");
    for (int turn = 0; turn < turns; ++turn) {
      report("tiles/" + std::to_string(depth), nanoseconds_of_each(rays_per_turn, [&](std::size_t i) {
               camera.handler().evaluate(camera.raw(), film[i].x, film[i].y, 0.0, 0.0, 0.4, LWCAMEYE_CENTER, &ray,
                                         &camera.access());
               keep(&ray);
             }));
    }
    camera.clean_up();
  }
}

// --- Memory.

std::size_t heap_bytes() {
#ifdef _WIN32
  std::size_t bytes = 0;
  _HEAPINFO block{};
  while (_heapwalk(&block) == _HEAPOK)
    if (block._useflag == _USEDENTRY) bytes += block._size;
  return bytes;
#else
  return mallinfo2().uordblks;
#endif
}

void measure_memory(const standin::Module& module) {
  constexpr int count = 16;
  for (const standin::Server& server : module.servers()) {
    if (server.class_name != LWCAMERA_HANDLER_CLASS) continue;
    Shot shot(module, server.name.c_str());
    const LWCameraHandler& handler = shot.camera->handler();
    const LWItemID item = shot.host.id_of("Camera");
    std::array<LWInstance, count> instances{};
    // The host's own share, for their envelopes, is a small part.
    const std::size_t before = heap_bytes();
    for (LWInstance& instance : instances) {
      instance = handler.inst->create(handler.inst->priv, item, nullptr);
      if (handler.newFrame != nullptr) handler.newFrame(instance, &shot.camera->frame_info(), &shot.camera->access());
    }
    report("memory/" + server.name + "/bytes", static_cast<double>(heap_bytes() - before) / count);
    for (const LWInstance instance : instances) handler.inst->destroy(instance);
  }
}

struct Group {
  const char* name;
  void (*measure)(const standin::Module&);
};
constexpr std::array groups{Group{"ray", measure_rays},          Group{"projection", measure_projection},
                            Group{"times", measure_times},       Group{"threads", measure_threads},
                            Group{"exposure", measure_exposure}, Group{"frames", measure_frames},
                            Group{"tiles", measure_tiles},       Group{"memory", measure_memory}};

}  // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  const auto is_group = [](std::string_view name) {
    return std::ranges::any_of(groups, [&](const Group& group) { return name == group.name; });
  };
  if (arguments.empty() || !std::all_of(arguments.begin() + 1, arguments.end(), is_group)) {
    std::string names;
    for (const Group& group : groups) names += std::string(names.empty() ? "" : ", ") + group.name;
    static_cast<void>(std::fprintf(stderr, "Usage: camera_bench MODULE [GROUP...], with groups of %s\n", names.c_str()));
    return 2;
  }
  const standin::Module module(arguments.front());
  for (const Group& group : groups)
    if (arguments.size() == 1 || std::find(arguments.begin() + 1, arguments.end(), group.name) != arguments.end())
      group.measure(module);
  std::string object;
  for (const auto& [name, value] : least) {
    std::array<char, 64> number{};
    static_cast<void>(std::snprintf(number.data(), number.size(), "%.3f", value));
    object += (object.empty() ? "{\"" : ",\n\"") + name + "\": " + number.data();
  }
  std::puts((object + "}").c_str());
  return 0;
} catch (const std::exception& error) {
  static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  return 1;
}
