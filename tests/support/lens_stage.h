#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/long_vector.h"
#include "tests/support/random_cases.h"
#include "tests/support/stage.h"
#include "tests/support/vector_checks.h"

namespace test_support {

/// What a projection answered, and the three numbers of its output afterwards.
struct RawProjection {
  int result = 0;
  std::array<double, 3> film{};
};

/// An instance of one camera server in a scene with a single camera item, "Camera".
class LensStage : public Stage {
 public:
  static constexpr const char* camera_name = "Camera";
  /// What a projection's output holds before the call.
  static constexpr std::array<double, 3> untouched{123.25, -456.5, 789.75};

  explicit LensStage(const std::string& server_name);

  standin::HostedCamera& camera() { return *camera_; }
  standin::CameraSettings& settings() { return host.camera(camera_name); }

  /// Puts a constant in the place of a parameter's keys.
  void set(const std::string& channel_name, double value) { camera().parameter(channel_name).set_constant(value); }
  /// Film height in metres and the frame's shape in pixels.
  void set_film(double height, int width_pixels, int height_pixels);
  /// Position in metres; heading, pitch and bank in radians.
  void set_pose(standin::Vec3 position, standin::Vec3 angles);
  /// A position and a direction in no way special.
  void set_oblique_pose() { set_pose({1.5, -2.25, 3.125}, {0.7, -0.4, 0.3}); }
  /// Moves and turns the camera along every channel over the scene's first second.
  void set_motion();
  void set_random_pose(Random& random);
  /// Zoom, film, f-stop, focal distance and pose.
  void set_random_camera(Random& random);

  /// Tells the module of the next frame, one frame after the one before.
  void next_frame(const standin::FrameOptions& options = {});
  /// Two frames, for settings that reach the rays only with the second one.
  void settle() {
    next_frame();
    next_frame();
  }
  double frame_seconds() const { return host.scene().time_of(frame_); }

  double film_width() { return camera().access().filmSize[0]; }
  double film_height() { return camera().access().filmSize[1]; }
  /// A position anywhere on the film, or on the middle share of it.
  std::pair<double, double> random_film_point(Random& random, double share = 1.0);

  /// The camera at a fractional time of the current frame, between the motion samples of the frame's options.
  LongPose pose(double fractional_time = 0.0) const;

  standin::RayAnswer ray(double film_x, double film_y) { return camera().evaluate({.film_x = film_x, .film_y = film_y}); }
  RawProjection project_raw(LongVector world, double fractional_time = 0.0);
  /// A world point in any direction but close to straight up and down.
  standin::Vec3 random_point_around(Random& random) const;
  /// Error of the projection of a world point, in half film heights; infinite without one.
  double projection_error(standin::Vec3 world, LongFilmPoint expected, double fractional_time = 0.0);
  /// The projection must refuse the point and leave its output as it was.
  void expect_refused(LongVector world);

  /// Rays and projections in the middle of a motion must follow the formulas, with several numbers of motion steps.
  void expect_follows_motion(const std::function<LongRay(const standin::RayQuery&)>& expected_ray,
                             const std::function<LongFilmPoint(LongVector world, double fractional_time)>& expected_film);

 private:
  std::unique_ptr<standin::HostedCamera> camera_;
  int frame_ = 0;
};

/// The sum of the errors of a ray's three vectors; a position's is relative to its distance from the origin where that is
/// above 1. Infinite without a ray.
double ray_error(const standin::RayAnswer& answer, const LongRay& expected);

/// Distance of two film positions in terms of `scale`, or of the expected one's distance from the centre where that is more.
double film_error(std::pair<double, double> film, LongFilmPoint expected, double scale);

/// From a film position to a ray, to a point on the ray and back to the film, in the stage's present frame: the error in half
/// film heights.
double round_trip_error(LensStage& stage, Random& random, std::pair<double, double> film);

}  // namespace test_support
