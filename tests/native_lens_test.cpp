/// Lenses of cameras, there and back again.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "standin/session/session.h"
#include "tests/support/paths.h"
#include "tool/lens/camera_lens.h"
#include "tool/lens/perspective_lens.h"

namespace tool::native_lens_test {

constexpr int columns = 61;
constexpr int rows = 37;

struct OpenLens {
  explicit OpenLens(const std::string& camera, standin::Eye eye = standin::Eye::centre,
                    std::vector<std::pair<std::string, std::string>> settings = {}) {
    standin::SessionOptions options;
    options.scene_file = test_support::source_folder() / "samples" / "cameras.lws";
    options.module_file = test_support::module_file();
    options.camera_name = camera;
    options.settings = std::move(settings);
    session = standin::open_session(options);
    const standin::FrameSetup setup = session->begin_frame(0);
    lens = std::make_unique<CameraLens>(*session, setup, eye, "camera \"" + camera + "\"");
  }

  std::unique_ptr<standin::Session> session;
  std::unique_ptr<CameraLens> lens;
};

std::vector<FramePlace> places_over_the_frame() {
  std::vector<FramePlace> places;
  for (int row = 0; row < rows; ++row)
    for (int column = 0; column < columns; ++column) places.push_back({(column + 0.45) / columns, (row + 0.37) / rows, true});
  return places;
}

struct Trip {
  /// Places that look somewhere, and those of them that are found again.
  int seen = 0;
  int found = 0;
  /// Of the frame, and of a length of one.
  double worst = 0.0;
  double worst_direction = 0.0;
};

Trip there_and_back(const Lens& lens) {
  const std::vector<FramePlace> places = places_over_the_frame();
  std::vector<LensDirection> directions(places.size());
  std::vector<FramePlace> again(places.size());
  std::vector<LensDirection> seen_again(places.size());
  lens.look(places, directions);
  lens.locate(directions, again);
  lens.look(again, seen_again);
  Trip trip;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (!directions[i].found) {
      EXPECT_FALSE(again[i].found) << i;
      continue;
    }
    ++trip.seen;
    if (!again[i].found) continue;
    ++trip.found;
    trip.worst = std::max(trip.worst, std::hypot(again[i].s - places[i].s, again[i].t - places[i].t));
    trip.worst_direction = std::max(trip.worst_direction, length(seen_again[i].towards - directions[i].towards));
  }
  return trip;
}

TEST(CameraLens, ProjectionsAreTheInverseOfTheRays) {
  for (const std::string camera :
       {"North Hall", "Perspective", "Moving", "Ride without both", "Spherical 180", "Fisheye Power 0.5", "Fisheye Power 1",
        "Fisheye Power 2", "Panoramic", "Immersive", "Overscan", "Stereo"}) {
    const OpenLens open(camera, standin::Eye::left);
    EXPECT_TRUE(open.lens->projects()) << camera;
    const Trip trip = there_and_back(*open.lens);
    EXPECT_EQ(trip.found, trip.seen) << camera;
    EXPECT_GT(trip.seen, columns * rows / 3) << camera;
    EXPECT_LT(trip.worst, 1e-6) << camera;
  }
}

/// They have no projection, or one that leaves out what turns, moves or stretches their picture.
TEST(CameraLens, RaysAloneGiveThePlaces) {
  for (const std::string camera : {"Skybox Cross", "Skybox Alternate", "Advanced Panorama Scales", "Stereo Convergence"}) {
    const OpenLens open(camera, standin::Eye::right);
    EXPECT_FALSE(open.lens->projects()) << camera;
    const Trip trip = there_and_back(*open.lens);
    EXPECT_EQ(trip.found, trip.seen) << camera;
    EXPECT_GT(trip.seen, columns * rows / 3) << camera;
    EXPECT_LT(trip.worst, 1e-9) << camera;
  }
  const OpenLens shifted("Radial Shift Barrel", standin::Eye::centre, {{"ImageShiftH", "0.1"}});
  EXPECT_FALSE(shifted.lens->projects());
  const Trip trip = there_and_back(*shifted.lens);
  EXPECT_EQ(trip.found, columns * rows);
  EXPECT_LT(trip.worst, 1e-9);
}

/// Wherever a direction is said to be in the frame, the frame looks there: some projections make places up for what lies
/// beyond.
TEST(CameraLens, NoPlaceIsMadeUp) {
  for (const std::string camera :
       {"Radial Shift Pincushion", "Radial Shift Barrel", "Fisheye Power 2", "Fisheye Power 0.5", "Spherical 180", "Panoramic",
        "Advanced Panorama", "Immersive", "Perspective", "Overscan", "Dual", "Four-up", "Skybox Cross", "Stereo Convergence"}) {
    const OpenLens open(camera, standin::Eye::left);
    std::vector<LensDirection> directions;
    for (int i = 0; i < 40000; ++i) {
      const double up = 1.0 - (i + 0.5) / 20000.0;
      const double level = std::sqrt(1.0 - up * up);
      directions.push_back({{level * std::sin(2.4 * i), up, level * std::cos(2.4 * i)}, true});
    }
    std::vector<FramePlace> places(directions.size());
    open.lens->locate(directions, places);
    std::vector<LensDirection> seen(directions.size());
    open.lens->look(places, seen);
    int inside = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      const auto& [s, t, found, part] = places[i];
      if (!found || s < 0.0 || s > 1.0 || t < 0.0 || t > 1.0) continue;
      ++inside;
      ASSERT_TRUE(seen[i].found) << camera;
      ASSERT_LT(length(seen[i].towards - directions[i].towards), 2e-4) << camera << ' ' << s << ' ' << t;
    }
    EXPECT_GT(inside, 100) << camera;
  }
}

/// Places that were found from those of their neighbours are those that were found alone, whatever follows what.
TEST(CameraLens, NeighboursDoNotMoveAPlace) {
  for (const std::string camera : {"Skybox Cross", "Advanced Panorama Scales"}) {
    const OpenLens open(camera);
    const std::vector<FramePlace> places = places_over_the_frame();
    std::vector<LensDirection> directions(places.size());
    open.lens->look(places, directions);
    // Turned a little, so that no place is where a search begins; every other row the other way round.
    for (LensDirection& direction : directions)
      direction.towards = normalized(direction.towards + standin::Vec3{0.011, -0.007, 0.005});
    for (int row = 0; row < rows; row += 2)
      std::reverse(directions.begin() + row * columns, directions.begin() + (row + 1) * columns);
    std::vector<FramePlace> together(directions.size());
    open.lens->locate(directions, together);
    int found = 0;
    for (std::size_t i = 0; i < directions.size(); ++i) {
      FramePlace alone;
      open.lens->locate({&directions[i], 1}, {&alone, 1});
      ASSERT_EQ(together[i].found, alone.found) << camera << ' ' << i;
      if (!alone.found) continue;
      ++found;
      EXPECT_LT(std::hypot(together[i].s - alone.s, together[i].t - alone.t), 1e-8) << camera << ' ' << i;
    }
    EXPECT_GT(found, columns * rows / 3) << camera;
  }
}

/// The eyes of a stereo camera share the frame, and the views of others do: of several places, one that looks there.
TEST(CameraLens, OfSeveralPlacesOneIsFound) {
  for (const std::string camera : {"Stereo", "Stereo Convergence", "Dual", "Four-up", "Twelve-up"}) {
    const OpenLens open(camera);
    const Trip trip = there_and_back(*open.lens);
    EXPECT_EQ(trip.found, trip.seen) << camera;
    EXPECT_GT(trip.seen, columns * rows / 3) << camera;
    EXPECT_LT(trip.worst_direction, 1e-5) << camera;
  }
}

TEST(CameraLens, SaysWhyThereIsNoInverse) {
  for (const std::string camera : {"Cylinder Lying", "Baking"}) {
    const OpenLens open(camera);
    try {
      there_and_back(*open.lens);
      FAIL() << camera;
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find("camera \"" + camera + "\" has no inverse: "), std::string::npos)
          << error.what();
    }
  }
}

/// What is behind it, or has no direction at all, has no place.
TEST(PerspectiveLens, ThereAndBack) {
  standin::ItemPose pose;
  pose.right = {0.0, 0.0, -1.0};
  pose.forward = {1.0, 0.0, 0.0};
  const PerspectiveLens lens(pose, 1.2, 0.5);
  const Trip trip = there_and_back(lens);
  EXPECT_EQ(trip.found, columns * rows);
  EXPECT_LT(trip.worst, 1e-12);
  const std::vector<FramePlace> edge{{1.0, 0.5, true}, {0.5, 1.0, true}, {0.5, 0.5, false}};
  std::vector<LensDirection> seen(3);
  lens.look(edge, seen);
  EXPECT_NEAR(std::atan2(-seen[0].towards.z, seen[0].towards.x), 0.6, 1e-12);
  EXPECT_NEAR(seen[1].towards.y / seen[1].towards.x, 0.5 * std::tan(0.6), 1e-12);
  EXPECT_FALSE(seen[2].found);
  const std::vector<LensDirection> nowhere{{{-1.0, 0.0, 0.0}, true}, {{0.0, 1.0, 0.0}, true}, {{1.0, 0.0, 0.0}, false}};
  std::vector<FramePlace> places(3);
  lens.locate(nowhere, places);
  for (const FramePlace& place : places) EXPECT_FALSE(place.found);
}

}  // namespace tool::native_lens_test
