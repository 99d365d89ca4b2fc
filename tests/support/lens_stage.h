#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"
#include "tests/support/long_vector.h"
#include "tests/support/random_cases.h"

namespace test_support {

/// What a projection answered, and the three numbers of its output afterwards.
struct RawProjection {
  int result = 0;
  std::array<double, 3> film{};
};

/// An instance of one camera server on a scene of one camera, "Camera". The test fails when the stage goes and the module
/// has made a mistake toward the host or left anything behind.
class LensStage {
 public:
  static constexpr const char* camera_name = "Camera";
  /// What a projection's output holds before.
  static constexpr std::array<double, 3> untouched{123.25, -456.5, 789.75};

  explicit LensStage(const std::string& server_name);
  ~LensStage();
  LensStage(const LensStage&) = delete;
  LensStage& operator=(const LensStage&) = delete;

  standin::HostedCamera& camera() { return *camera_; }
  standin::CameraSettings& settings() { return host.camera(camera_name); }

  /// A constant in the place of a parameter's keys.
  void set(const std::string& channel_name, double value) { camera().parameter(channel_name).set_constant(value); }
  /// Film height in metres and the frame's shape in pixels.
  void set_film(double height, int width_pixels, int height_pixels);
  /// Position in metres; heading, pitch and bank in radians.
  void set_pose(standin::Vec3 position, standin::Vec3 angles);
  /// A position and a direction that have nothing special.
  void set_oblique_pose() { set_pose({1.5, -2.25, 3.125}, {0.7, -0.4, 0.3}); }
  /// Moving and turning along all channels over the scene's first second.
  void set_motion();
  void set_random_pose(Random& random);
  /// Zoom, film, f-stop, focal distance and pose.
  void set_random_camera(Random& random);

  /// For settings that take a second frame to reach every value: two next frames.
  void settle() {
    next_frame();
    next_frame();
  }
  /// Tells the module of the next frame, one frame after the one before.
  void next_frame(const standin::FrameOptions& options = {});
  double frame_seconds() const { return host.scene().time_of(frame_); }

  double film_width() { return camera().access().filmSize[0]; }
  double film_height() { return camera().access().filmSize[1]; }
  /// A film position inside the film, or a share of it.
  std::pair<double, double> random_film_point(Random& random, double share = 1.0);

  /// Position and axes at a fractional time of the current frame, interpolated between the samples of the frame's options.
  LongPose pose(double fractional_time = 0.0) const;

  standin::RayAnswer ray(double film_x, double film_y) { return camera().evaluate({.film_x = film_x, .film_y = film_y}); }
  RawProjection project_raw(LongVector world, double fractional_time = 0.0);
  /// A world point in any direction, not too near to where up and down are.
  standin::Vec3 random_point_around(Random& random) const;
  /// Of the projection of a world point, in terms of half the film's height; infinite without one.
  double projection_error(standin::Vec3 world, LongFilmPoint expected, double fractional_time = 0.0);
  /// The projection refuses and leaves its output as it was.
  void expect_refused(LongVector world);

  /// Rays and projections in the middle of a motion, with several numbers of steps, are those of the formulas.
  void expect_follows_motion(const std::function<LongRay(const standin::RayQuery&)>& expected_ray,
                             const std::function<LongFilmPoint(LongVector world, double fractional_time)>& expected_film);
  void expect_projection_needs_instance_and_record();
  /// Draws nothing, helps with nothing, and answers to questions for handles as given; the usual to all others.
  void expect_empty_gizmo(int handle_answer);
  /// Everything that a host can hand over as a number, through the settings, the parameters, the records and the calls:
  /// evaluation still answers with a ray and projection with 0 or 1.
  void expect_survives_bad_numbers();

  standin::Host host;
  standin::Module module;

 private:
  std::optional<standin::HostedCamera> camera_;
  int frame_ = 0;
};

/// Largest difference of a component of a ray's three vectors, positions in terms of their own length where that is above 1;
/// infinite without a ray.
double ray_error(const standin::RayAnswer& answer, const LongRay& expected);

/// Distance of two film positions in terms of `scale`, or of the expected one's distance from the centre where that is more.
double film_error(std::pair<double, double> film, LongFilmPoint expected, double scale);

/// Film position to ray to world point to film, on the stage's present frame: the error in terms of half the film's height.
double round_trip_error(LensStage& stage, Random& random, std::pair<double, double> film);

bool is_finite(standin::Vec3 v);

/// To single precision and back, through memory: GCC 12 leaves the rounding out where it vectorises such a pair.
double rounded_to_single(double value);

/// Compares vectors by the length of their difference.
void expect_near(standin::Vec3 actual, LongVector expected, double tolerance = 1e-12);

}  // namespace test_support
