// Nanoseconds per ray through the handler's function pointer, compared with the same arithmetic inlined in a loop of this
// program. The module to load is the argument. The two are measured alternately, and the fastest run of each counts, so that
// the ratio means something on a busy machine.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "cameras/cylinder/cylinder_cam.h"
#include "cameras/fisheye/fisheye_cam.h"
#include "cameras/panoramic/panoramic_cam.h"
#include "cameras/perspective/perspective_cam.h"
#include "cameras/radial_shift/radial_shift_cam.h"
#include "cameras/spherical/spherical_cam.h"
#include "cameras/stereo/stereo_cam.h"
#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"

namespace {

// Runs that are shorter than the system's time slices: some of them are not interrupted.
constexpr int turns = 600;
constexpr int rays_per_turn = 10'000;

struct FilmGrid {
  std::array<framework::FilmPoint, 1024> points{};

  FilmGrid(double width, double height) {
    for (std::size_t i = 0; i < points.size(); ++i) {
      const std::size_t column = i % 32;
      const std::size_t row = i / 32;
      const double u = static_cast<double>(column) / 31.0 - 0.5;
      const double v = static_cast<double>(row) / 31.0 - 0.5;
      points[i] = {u * width, v * height};
    }
  }
};

template <class Evaluate>
double nanoseconds_per_ray(Evaluate evaluate) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < rays_per_turn; ++i) evaluate(static_cast<std::size_t>(i) % 1024);
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / rays_per_turn;
}

framework::Pose pose_of(const LWCameraAccess& access) {
  const auto vector = [](const double* v) { return framework::Vector{v[0], v[1], v[2]}; };
  return {vector(access.worldPos), vector(access.toWorld[0]), vector(access.toWorld[1]), vector(access.toWorld[2])};
}

/// Keeps a ray from being optimised away, at the cost of its stores only.
void keep(const void* ray) { asm volatile("" : : "r"(ray) : "memory"); }

/// The value, hidden from the optimiser as if it were read at run time.
template <class Value>
Value opaque(Value value) {
  asm volatile("" : "+m"(value));
  return value;
}

using Settings = std::vector<std::pair<const char*, double>>;

constexpr framework::LensPoint lens_point{0.25, 0.125};

framework::Ray with_film_normal(framework::Ray ray, framework::Vector film_normal) {
  ray.film_normal = film_normal;
  return ray;
}

/// Three envelopes, which publishing cameras read with every ray: the time that this takes is the host's.
class Exposure {
 public:
  Exposure() : service_(static_cast<const LWVParmFuncs*>(standin::Host::global()(LWVPARMFUNCS_GLOBAL, GFUSE_TRANSIENT))) {
    for (LWVParmID& envelope : envelopes_) envelope = service_->create(LWVP_FLOAT, LWVPDT_NOTXTR);
  }
  ~Exposure() {
    for (const LWVParmID envelope : envelopes_) service_->destroy(envelope);
  }
  Exposure(const Exposure&) = delete;
  Exposure& operator=(const Exposure&) = delete;

  void read(double time) const {
    for (const LWVParmID envelope : envelopes_) {
      double result[3] = {};
      service_->getVal(envelope, time, nullptr, result);
      keep(result);
    }
  }

 private:
  const LWVParmFuncs* service_;
  std::array<LWVParmID, 3> envelopes_{};
};

/// `inlined` gets a film point and the pose, and returns the ray. The settings are parameters by channel name.
template <class Inlined>
void compare(const standin::Module& module, const char* server_name, double time, Inlined inlined,
             const Settings& settings = {}, bool publishes = false) {
  standin::Host host{standin::Scene{}};
  const Exposure exposure;
  host.add_camera("Camera", {1.0, 2.0, 3.0});
  standin::HostedCamera camera(host, module, server_name, "Camera");
  for (const auto& [channel_name, value] : settings) camera.parameter(channel_name).set_constant(value);
  camera.new_time(0, 0.0);
  camera.new_frame(0, 0.0, 1.0 / 60.0, 8);
  const LWCameraAccess& access = camera.access();
  const FilmGrid film(access.filmSize[0], access.filmSize[1]);
  const framework::Film film_size{access.filmSize[0], access.filmSize[1]};
  const framework::Pose pose = pose_of(access);
  const auto evaluate = camera.handler().evaluate;
  LWCameraRay record{};
  double through_handler = 1e9;
  double in_line = 1e9;
  for (int turn = 0; turn < turns; ++turn) {
    through_handler = std::min(through_handler, nanoseconds_per_ray([&](std::size_t i) {
                                 evaluate(camera.raw(), film.points[i].x, film.points[i].y, lens_point.x, lens_point.y, time,
                                          LWCAMEYE_CENTER, &record, &access);
                                 keep(&record);
                               }));
    in_line = std::min(in_line, nanoseconds_per_ray([&](std::size_t i) {
                         if (publishes) exposure.read(time);
                         const framework::Ray ray = inlined(film.points[i], film_size, pose);
                         keep(&ray);
                       }));
  }
  std::printf("%-28s time %.2f  %7.1f ns a ray  %7.1f ns inlined  ratio %.2f\n", server_name, time, through_handler, in_line,
              through_handler / in_line);
}

/// How many times the rays of one thread two threads evaluate in the same time, sharing one instance.
void compare_threads(const standin::Module& module, const char* server_name) {
  constexpr int thread_turns = 8;
  // Long enough that starting a thread, which takes Wine a millisecond, does not count.
  constexpr int rays = 2'000'000;
  standin::Host host{standin::Scene{}};
  host.add_camera("Camera", {1.0, 2.0, 3.0});
  standin::HostedCamera camera(host, module, server_name, "Camera");
  camera.new_time(0, 0.0);
  camera.new_frame(0, 0.0, 1.0 / 60.0, 8);
  const FilmGrid film(camera.access().filmSize[0], camera.access().filmSize[1]);
  const auto render = [&] {
    LWCameraRay record{};
    for (int i = 0; i < rays; ++i) {
      const framework::FilmPoint at = film.points[static_cast<std::size_t>(i) % film.points.size()];
      camera.handler().evaluate(camera.raw(), at.x, at.y, lens_point.x, lens_point.y, 0.4, LWCAMEYE_CENTER, &record,
                                &camera.access());
      keep(&record);
    }
  };
  std::array<double, 2> fastest_seconds{1e9, 1e9};
  for (int turn = 0; turn < thread_turns; ++turn) {
    for (const bool two : {false, true}) {
      const auto start = std::chrono::steady_clock::now();
      std::thread other;
      if (two) other = std::thread(render);
      render();
      if (two) other.join();
      const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
      fastest_seconds[two ? 1 : 0] = std::min(fastest_seconds[two ? 1 : 0], elapsed.count());
    }
  }
  std::printf("%-28s two threads: %.2f times the rays of one\n", server_name, 2.0 * fastest_seconds[0] / fastest_seconds[1]);
}

FisheyeCam::Lens fisheye() {
  return {.zoom_factor = 3.2, .distortion_power = 1.3, .lens_factor = 0.125, .focal_distance = 1.0};
}

AdvPanCam::Lens immersive() { return {.upper_angle_radians = framework::half_pi, .lower_angle_radians = -framework::half_pi}; }

RadialShiftCam::Lens radial_shift() {
  return {.zoom_factor = 3.2,
          .distortion_a = 0.05,
          .distortion_c = -0.1,
          .half_inverse_f_stop = 0.125,
          .focal_distance = 1.0,
          .lens_radius = 0.003,
          .film_distance = 0.024,
          .reference_radius = 0.0075};
}

PerspectiveCam::Lens perspective() {
  return {
      .zoom_factor = 3.2, .lens_radius = 0.003, .film_distance = 0.024, .half_inverse_f_stop = 0.125, .focal_distance = 1.0};
}

StereoCam::Lens stereo() {
  return {
      .zoom_factor = 3.2, .eye_separation = 0.06, .half_inverse_f_stop = 0.125, .focal_distance = 1.0, .film_height = 0.015};
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    static_cast<void>(std::fprintf(stderr, "Usage: camera_bench MODULE\n"));
    return 2;
  }
  const standin::Module module(argv[1]);
  for (const double time : {0.0, 0.4}) {
    compare(module, "QuorinPanoramicCam", time, [lens = PanoramicCam::Lens{}](auto at, auto film, const auto& pose) {
      return pinhole_ray(pose, direction(lens, film, at));
    });
    compare(module, "QuorinFisheyeCam", time,
            [lens = opaque(fisheye())](auto at, auto film, const auto& pose) {
              const framework::Vector toward = direction(lens, film, at);
              return with_film_normal(thin_lens_ray(pose, toward, lens.focal_distance,
                                                    framework::lens_offset(lens.lens_factor * toward.z, lens_point)),
                                      pose.forward);
            },
            {{"FisheyePower", fisheye().distortion_power}});
    compare(
        module, "QuorinRadialShiftCam", time,
        [lens = opaque(radial_shift())](auto at, auto film, const auto& pose) {
          const framework::Vector offset = framework::lens_offset(framework::rounded_to_single(lens.lens_radius), lens_point);
          return with_film_normal(thin_lens_ray(pose, direction(lens, film, at), lens.focal_distance, offset), pose.forward);
        },
        {{"RadialShiftA", radial_shift().distortion_a}, {"RadialShiftC", radial_shift().distortion_c}});
    compare(module, "QuorinAdvPanCam", time, [lens = opaque(AdvPanCam::Lens{})](auto at, auto film, const auto& pose) {
      return pinhole_ray(pose, direction(lens, film, at));
    });
    compare(module, "QuorinImmersiveCam", time, [lens = opaque(immersive())](auto at, auto film, const auto& pose) {
      return pinhole_ray(pose, direction(lens, film, at));
    });
    compare(module, "QuorinCylinderCam", time,
            [lens = opaque(CylinderCam::Lens{})](auto at, auto film, const auto& pose) { return map(lens, film, pose, at); });
    compare(
        module, "QuorinPerspectiveCam", time,
        [lens = opaque(perspective())](auto at, auto film, const framework::Pose& pose) {
          const PerspectiveCam::Pose single{rounded(pose.position), rounded(pose.right), rounded(pose.up),
                                            rounded(pose.forward)};
          return thin_lens_ray(lens, single, direction(lens, film, at), lens_point);
        },
        {}, true);
    compare(
        module, "QuorinSphericalCam", time,
        [lens = opaque(SphericalCam::Lens{.reference_radius = 0.0075})](auto at, auto film, const auto& pose) {
          return SphericalCam::world_ray(pose, direction(lens, film, at));
        },
        {}, true);
    compare(
        module, "QuorinStereoCam", time,
        [lens = opaque(stereo())](auto at, auto film, const framework::Pose& pose) {
          const StereoCam::StereoPose stereo_pose{pose.position, pose.right, pose.up, pose.forward, {}};
          return with_film_normal(eye_ray(lens, stereo_pose, side_by_side(lens, film.width, at), lens_point), pose.forward);
        },
        {}, true);
  }
  for (const char* server_name : {"QuorinPerspectiveCam", "QuorinSphericalCam", "QuorinStereoCam"})
    compare_threads(module, server_name);
  return 0;
} catch (const std::exception& error) {
  static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  return 1;
}
