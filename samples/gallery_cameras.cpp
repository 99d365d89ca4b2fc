#include "samples/gallery_cameras.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <numbers>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace samples {
namespace {

constexpr double degree = std::numbers::pi / 180.0;
constexpr std::array<double, 3> middle{0.0, eye_height, 0.0};

/// What a camera saves: an animated value, a whole number, or a plain number.
struct Saved {
  enum class Kind { envelope, whole, plain };
  Kind kind = Kind::envelope;
  double value = 0.0;
};

Saved envelope(double value) { return {Saved::Kind::envelope, value}; }
Saved whole(unsigned value) { return {Saved::Kind::whole, static_cast<double>(value)}; }
constexpr Saved plain(double value) { return {Saved::Kind::plain, value}; }

/// The host writes whole numbers without a sign in base 16.
std::string base_16(double value) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), static_cast<unsigned>(value), 16);
  return {digits.begin(), end.ptr};
}

std::vector<std::string> saved(std::initializer_list<Saved> values) {
  std::vector<std::string> lines;
  for (const Saved& value : values)
    if (value.kind == Saved::Kind::envelope)
      lines.insert(lines.end(), {"{ VParm", "  " + number(value.value), "}"});
    else
      lines.push_back(value.kind == Saved::Kind::whole ? base_16(value.value) : number(value.value));
  return lines;
}

/// Pitch above 0 looks down.
struct Place {
  std::array<double, 3> position{};
  double heading_degrees = 0.0;
  double pitch_degrees = 0.0;
};

Placement at_rest(const Place& place) { return {place.position, {place.heading_degrees, place.pitch_degrees, 0.0}, -1, {}}; }

Placement at_rest(std::array<double, 3> position, double heading_degrees = 0.0, double pitch_degrees = 0.0) {
  return at_rest({position, heading_degrees, pitch_degrees});
}

/// The scene's cameras in order. A camera that shows another refers to it by its place.
class Cameras {
 public:
  explicit Cameras(std::vector<SceneCamera> cameras) : cameras_(std::move(cameras)) {}

  void add(SceneCamera camera) { cameras_.push_back(std::move(camera)); }

  /// The number in the pop-up of a camera that was added before the one that shows it.
  Saved choice(std::string_view name) const {
    const auto found = std::ranges::find(cameras_, name, &SceneCamera::name);
    if (found == cameras_.end()) throw std::logic_error("no camera before this one is called " + std::string(name));
    return whole(static_cast<unsigned>(found - cameras_.begin()) + 1);
  }

  std::vector<SceneCamera> take() { return std::move(cameras_); }

 private:
  std::vector<SceneCamera> cameras_;
};

/// The host's own camera.
SceneCamera plain_camera(const std::string& name, const Placement& placement, double zoom_factor) {
  return {name, "Perspective", 640, 360, placement, zoom_factor};
}

// Positions of the gallery's cameras; a plain camera stands at each as well.
constexpr Place fisheye_place{{0, 2.0, 0}, 49, 0};
constexpr Place radial_place{{0, 5.0, -4}, 0, -4};
constexpr Place flowers_place{{2.4, 1.15, 1.5}, 8, -2};
constexpr Place ride_place{{2.0, 1.2, -0.2}, 10, 3};
constexpr Place moving_place{{0.0, eye_height, -1.0}, 0, 4};
constexpr Place stereo_place{{3.0, 1.3, -1.0}, 0, 4};
constexpr double portrait_zoom = 1.5;
constexpr double radial_zoom = 1.6;

std::vector<SceneCamera> plain_cameras() {
  return {
      plain_camera("North Hall", at_rest(middle, 0, -14), 0.95),
      plain_camera("East Houses", at_rest(middle, 90, -14), 0.95),
      plain_camera("South Palace", at_rest(middle, 180, -14), 0.95),
      plain_camera("West Offices", at_rest(middle, 270, -14), 0.95),
      plain_camera("Clock", at_rest(middle, 0, -35), 3.0),
      plain_camera("Balloon", at_rest(middle, 327, -35.5), 3.2),
      plain_camera("Fountain", at_rest({4.0, 1.3, 9.0}, -35.5, -2), 1.6),
      plain_camera("Flower Pot", at_rest({1.2, 1.5, 1.0}, 42, 16.5), 1.4),
      plain_camera("Ball", at_rest({-1.2, 1.5, -1.0}, 222, 11), 1.2),
      plain_camera("Sundial", at_rest({-1.4, 1.5, 1.2}, -41.6, 14), 1.2),
      plain_camera("Cafe", at_rest({-10.0, 1.7, -2.2}, 270, 2), 1.0),
      plain_camera("Tram", at_rest({8.0, 1.6, 7.0}, 49, -2), 1.6),
      plain_camera("Obelisk", at_rest({5.0, 1.4, -9.0}, 221.8, -12), 1.2),
      plain_camera("From Above", at_rest({0.0, 32.0, 0.0}, 0, 90), 1.0),
      plain_camera("From a Roof", at_rest({-17.0, 15.0, -17.0}, 45, 30), 0.9),
      plain_camera("Sky Ring", at_rest(middle, 0, -90), 1.2),
      plain_camera("Hall Portrait", at_rest(radial_place), 2.2),
      plain_camera("Pinhole Plaza", at_rest(middle), 1.6),
      plain_camera("Pinhole Fisheye", at_rest(fisheye_place), 1.0),
      plain_camera("Pinhole Radial Shift", at_rest(radial_place), radial_zoom),
      plain_camera("Pinhole Flowers", at_rest(flowers_place), portrait_zoom),
      plain_camera("Pinhole Ride", at_rest(ride_place), portrait_zoom),
      plain_camera("Pinhole Moving", at_rest(moving_place), portrait_zoom),
      plain_camera("Pinhole Stereo", at_rest(stereo_place), 1.6),
  };
}

constexpr Saved photo_iso = plain(800);
constexpr Saved photo_iris = plain(2.8);
constexpr Saved photo_shutter = plain(180);

void add_perspectives(Cameras& cameras) {
  const auto settings = saved({envelope(0), whole(1), photo_iso, photo_iris, photo_shutter});
  // Close to the flowers, with a plate camera's film and lens, focused on the hall behind them.
  SceneCamera flowers{"Perspective", "QuorinPerspectiveCam", 640, 360, at_rest(flowers_place), portrait_zoom, settings};
  flowers.film_height = 0.1;
  flowers.focal_distance = 22.0;
  flowers.f_stop = 1.0;
  cameras.add(flowers);
  flowers.name = "Perspective Depth of Field";
  flowers.depth_of_field = true;
  cameras.add(flowers);

  const auto rides = [&](SceneCamera camera, double speed) {
    camera.placement.keyed_channel = 0;
    const double at_half_a_second = camera.placement.position[0];
    camera.placement.keys = {{at_half_a_second - speed / 2, 0.0}, {at_half_a_second + speed / 2, 1.0}};
    camera.motion_blur = true;
    cameras.add(camera);
  };
  rides({"Moving", "QuorinPerspectiveCam", 640, 360, at_rest(moving_place), portrait_zoom, settings}, 18.0);

  constexpr double ride_speed = 8.0;
  // Moves past the flowers, focused on them, once for each of the three servers: only the blur differs.
  SceneCamera ride{"Ride", "QuorinPerspectiveCam", 640, 360, at_rest(ride_place), portrait_zoom, settings};
  ride.film_height = 0.14;
  ride.focal_distance = 3.3;
  ride.f_stop = 1.4;
  ride.depth_of_field = true;
  rides(ride, ride_speed);
  ride.name = "Ride without Depth of Field";
  ride.server = "QuorinPerspectiveNoDOFCam";
  rides(ride, ride_speed);
  ride.name = "Ride without both";
  ride.server = "QuorinPerspectiveNoDOFNoMBCam";
  rides(ride, ride_speed);
}

void add_wide_lenses(Cameras& cameras) {
  const auto spherical = [&](const std::string& name, double angle_degrees) {
    cameras.add({name, "QuorinSphericalCam", 480, 480, at_rest(middle), 3.2,
                 saved({envelope(angle_degrees * degree), photo_iso, photo_iris, photo_shutter})});
  };
  spherical("Spherical 180", 180);
  spherical("Spherical 360", 360);
  cameras.add({"Dome Master", "QuorinSphericalCam", 640, 640, at_rest(middle, 0, -90), 3.2,
               saved({envelope(180 * degree), photo_iso, photo_iris, photo_shutter})});

  const auto fisheye = [&](const std::string& name, double power, bool preview) {
    cameras.add({name, "QuorinFisheyeCam", 640, 360, at_rest(fisheye_place), 1.0,
                 saved({envelope(power), envelope(1), whole(1), whole(preview ? 1 : 0), whole(1), whole(1)})});
  };
  fisheye("Fisheye Power 0.5", 0.5, false);
  fisheye("Fisheye Power 1", 1.0, false);
  fisheye("Fisheye Power 2", 2.0, true);

  const auto radial = [&](const std::string& name, double c) {
    const Saved none = envelope(0);
    cameras.add({name, "QuorinRadialShiftCam", 640, 360, at_rest(radial_place), radial_zoom,
                 saved({none, none, envelope(c), none, none, none, none})});
  };
  radial("Radial Shift Barrel", 0.35);
  radial("Radial Shift Pincushion", -0.25);
}

struct AdvancedPanorama {
  double field_degrees = 360;
  double highest_degrees = 45;
  double lowest_degrees = -45;
  double right_scale = 1;
  double left_scale = 1;
  double top_scale = 1;
  double bottom_scale = 1;
  double shift_across = 0;
  double shift_up = 0;
};

void add_panoramas(Cameras& cameras) {
  cameras.add({"Panoramic", "QuorinPanoramicCam", 960, 240, at_rest(middle), 3.2,
               saved({envelope(360 * degree), envelope(45 * degree), envelope(-45 * degree)})});

  const auto panorama = [&](const std::string& name, const std::string& server, int width, int height,
                            const AdvancedPanorama& lens) {
    cameras.add({name, server, width, height, at_rest(middle), 3.2,
                 saved({envelope(lens.field_degrees * degree), envelope(lens.highest_degrees * degree),
                        envelope(lens.lowest_degrees * degree), envelope(lens.right_scale), envelope(lens.top_scale),
                        envelope(lens.shift_across), envelope(lens.shift_up), envelope(lens.left_scale),
                        envelope(lens.bottom_scale)})});
  };
  const std::string advanced = "QuorinAdvPanCam";
  panorama("Advanced Panorama", advanced, 960, 240, {});
  AdvancedPanorama limits;
  limits.field_degrees = 200;
  limits.highest_degrees = 65;
  limits.lowest_degrees = -15;
  panorama("Advanced Panorama Limits", advanced, 760, 304, limits);
  AdvancedPanorama scales;
  scales.field_degrees = 160;
  scales.right_scale = 2.0;
  scales.left_scale = 0.6;
  scales.top_scale = 1.6;
  scales.shift_across = 0.25;
  scales.shift_up = 0.2;
  panorama("Advanced Panorama Scales", advanced, 640, 360, scales);
  AdvancedPanorama sphere;
  sphere.highest_degrees = 90;
  sphere.lowest_degrees = -90;
  panorama("Immersive", "QuorinImmersiveCam", 680, 340, sphere);

  cameras.add({"Cylinder Lying", "QuorinCylinderCam", 640, 360, at_rest(middle), 3.2,
               saved({envelope(14), envelope(75 * degree), envelope(-45 * degree), whole(0)})});
}

void add_stereo(Cameras& cameras, unsigned convergence_point) {
  const auto stereo = [&](const std::string& name, double separation, unsigned item) {
    cameras.add({name, "QuorinStereoCam", 680, 340, at_rest(stereo_place), 1.6,
                 saved({envelope(separation), envelope(20), envelope(1), envelope(1), whole(item), whole(item > 0 ? 1 : 0),
                        whole(0), whole(0), whole(0), photo_iso, photo_iris, photo_shutter})});
  };
  stereo("Stereo", 0.4, 0);
  stereo("Stereo Convergence", 0.4, convergence_point);
}

void add_multiview(Cameras& cameras) {
  const auto choose = [&](std::string_view name) { return cameras.choice(name); };
  cameras.add({"Dual", "QuorinMultiCam", 640, 360, at_rest(middle), 3.2, saved({choose("Fountain"), choose("Tram")})});
  cameras.add({"Four-up", "Quorin4UpCam", 640, 360, at_rest(middle), 3.2,
               saved({choose("Flower Pot"), choose("Fisheye Power 0.5"), choose("Balloon"), choose("Clock")})});
  cameras.add({"Twelve-up", "Quorin12UpCam", 640, 360, at_rest(middle), 3.2,
               saved({choose("Flower Pot"), choose("Ball"), choose("Sundial"), choose("Cafe"),                      //
                      choose("North Hall"), choose("East Houses"), choose("South Palace"), choose("West Offices"),  //
                      choose("Sky Ring"), choose("From Above"), choose("Clock"), choose("Immersive")})});
  cameras.add({"Dual of Multi-view", "QuorinMultiCam", 640, 360, at_rest(middle), 3.2,
               saved({choose("Twelve-up"), choose("Four-up")})});

  const auto skybox = [&](const std::string& name, unsigned type) {
    cameras.add({name, "QuorinSkyboxCam", 800, 600, at_rest(middle), 3.2, saved({whole(type)})});
  };
  skybox("Skybox Cross", 0);
  skybox("Skybox Alternate", 1);
}

void add_frames(Cameras& cameras) {
  const Saved source = cameras.choice("Hall Portrait");
  cameras.add({"Overscan", "QuorinOverscanCam", 800, 450, at_rest(middle), 3.2,
               saved({source, envelope(0.25), envelope(0), envelope(0)})});
  // 12 cm wide at 110 dots per inch, and 1 cm of bleed on every edge: the size that the panel calculates.
  cameras.add({"DPI", "QuorinDpiCam", 605, 377, at_rest(middle), 3.2,
               saved({source, whole(110), whole(0), envelope(0.12), envelope(0.01)})});
}

/// Shows which pixels the front of an object covers. Square, because only then do the points of edges meet those of corners.
void add_baking(Cameras& cameras, unsigned object) {
  // The first of the scene's texture maps is the floor's.
  constexpr unsigned front_map = 2;
  cameras.add({"Baking", "QuorinBakingCam", 480, 480, at_rest(middle), 3.2,
               saved({plain(0.0001), plain(0), whole(object), whole(front_map), whole(1), whole(2), whole(0), whole(0)})});
}

}  // namespace

std::vector<SceneCamera> chart_cameras() {
  // Half as high as the tallest spire, so that everything is seen from the ground to the sky.
  constexpr Place cylinder_place{{0, 14.8, 0}};
  const Place before_board{{board_place[0], board_place[1], board_place[2] - 8.0}};
  // So far away that it sees the hall as flat as its texture map, a square of 30 m, has it.
  constexpr double hall_front = 21.5;
  constexpr double hall_distance = 1000.0;
  const Place before_hall{{lone_hall_place[0], lone_hall_place[1] + 14.2, lone_hall_place[2] + hall_front - hall_distance}};
  std::vector<SceneCamera> cameras{
      plain_camera("Pinhole Grid", at_rest(before_board), 1.0),
      plain_camera("Pinhole Cylinder", at_rest(cylinder_place), 1.0),
      plain_camera("Hall Front", at_rest(before_hall), hall_distance / 15.0),
  };
  cameras.back().width_pixels = cameras.back().height_pixels = 480;
  cameras.push_back({"Grid Fisheye", "QuorinFisheyeCam", 640, 360, at_rest(before_board), 1.0,
                     saved({envelope(2), envelope(1), whole(1), whole(0), whole(1), whole(1)})});
  const Saved none = envelope(0);
  cameras.push_back({"Grid Radial Shift", "QuorinRadialShiftCam", 640, 360, at_rest(before_board), 1.0,
                     saved({none, none, envelope(0.35), none, none, none, none})});
  cameras.push_back({"Cylinder Upright", "QuorinCylinderCam", 960, 260, at_rest(cylinder_place), 3.2,
                     saved({envelope(30), envelope(180 * degree), envelope(-180 * degree), whole(1)})});
  const Place in_cube{{cube_place[0], cube_place[1], cube_place[2]}};
  cameras.push_back(plain_camera("Pinhole Cube", at_rest(in_cube), 1.0));
  cameras.push_back({"Skybox Chart", "QuorinSkyboxCam", 800, 600, at_rest(in_cube), 3.2, saved({whole(0)})});
  return cameras;
}

std::vector<SceneCamera> gallery_cameras(unsigned convergence_point, unsigned baked_object) {
  Cameras cameras(plain_cameras());
  add_perspectives(cameras);
  add_wide_lenses(cameras);
  add_panoramas(cameras);
  add_stereo(cameras, convergence_point);
  add_multiview(cameras);
  add_frames(cameras);
  add_baking(cameras, baked_object);
  return cameras.take();
}

}  // namespace samples
