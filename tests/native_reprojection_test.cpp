/// Pictures whose colour is the direction that they show, seen through other lenses.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "standin/session/session.h"
#include "tests/support/direction_picture.h"
#include "tests/support/paths.h"
#include "tool/lens/camera_lens.h"
#include "tool/lens/cube_lens.h"
#include "tool/lens/perspective_lens.h"
#include "tool/lens/plain_lenses.h"
#include "tool/lens/reprojection.h"
#include "tool/pictures/cube_cells.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/picture_filter.h"

namespace tool::native_reprojection_test {

using test_support::DirectionCheck;
using test_support::MemoryPicture;
using test_support::reprojected;
using test_support::turned;

void expect_directions(const Lens& from, const Lens& to, int least_share_percent) {
  const DirectionCheck outcome = reprojected(from, to, 1600, 800, 300, 190);
  const std::string pair = from.description() + " to " + to.description();
  EXPECT_LT(outcome.worst, 2e-3) << pair;
  EXPECT_GT(outcome.inside * 100, outcome.seen * least_share_percent) << pair;
}

TEST(Reprojection, DirectionsStayWhatTheyAreFromEquirectangular) {
  const EquirectangularLens all(standin::ItemPose{});
  // All of it is there, the seam, both poles and what is nearest to them too.
  for (const auto& [heading, pitch] :
       {std::pair{0.0, 0.0}, std::pair{3.1, 0.2}, std::pair{0.5, 1.5707963}, std::pair{2.0, -1.55}, std::pair{-1.3, 0.8}}) {
    const standin::ItemPose pose = turned(heading, pitch);
    expect_directions(all, PerspectiveLens(pose, 1.6, 190.0 / 300.0), 100 - 1);
    expect_directions(all, Fisheye180Lens(pose, 300.0 / 190.0), 97);
    expect_directions(all, EquirectangularLens(pose), 100 - 1);
  }
}

TEST(Reprojection, DirectionsStayWhatTheyAreFromAPartOfThem) {
  const Fisheye180Lens fisheye(turned(0.3, 0.4), 2.0);
  const PerspectiveLens plain(turned(0.3, 0.4), 1.7, 0.5);
  expect_directions(fisheye, PerspectiveLens(turned(0.4, 0.4), 1.2, 190.0 / 300.0), 99);
  expect_directions(fisheye, EquirectangularLens(standin::ItemPose{}), 45);
  expect_directions(plain, Fisheye180Lens(turned(0.3, 0.4), 300.0 / 190.0), 15);
  expect_directions(plain, EquirectangularLens(standin::ItemPose{}), 5);
  expect_directions(plain, plain, 98);
  const EquirectangularLens half(turned(0.3, 0.4), std::numbers::pi);
  expect_directions(half, PerspectiveLens(turned(0.5, 0.3), 1.2, 190.0 / 300.0), 99);
  expect_directions(half, Fisheye180Lens(turned(0.3, 0.4), 300.0 / 190.0), 97);
  expect_directions(half, EquirectangularLens(standin::ItemPose{}), 45);
  expect_directions(EquirectangularLens(standin::ItemPose{}), half, 99);
}

TEST(Reprojection, DirectionsStayWhatTheyAreThroughTheModulesLenses) {
  for (const std::string camera : {"Spherical 360", "Fisheye Power 1", "Radial Shift Barrel", "Panoramic", "Immersive",
                                   "Advanced Panorama Scales", "Stereo Convergence", "Perspective"}) {
    standin::SessionOptions options;
    options.scene_file = test_support::source_folder() / "samples" / "cameras.lws";
    options.module_file = test_support::module_file();
    options.camera_name = camera;
    const auto session = standin::open_session(options);
    const CameraLens lens(*session, session->begin_frame(0), standin::Eye::left, camera);
    const EquirectangularLens all(standin::ItemPose{});
    expect_directions(all, lens, 98);
    expect_directions(lens, all, 1);
    const PerspectiveLens plain(turned(0.1, 0.1), 1.0, 190.0 / 300.0);
    expect_directions(lens, plain, 1);
  }
}

TEST(Reprojection, KnowsHowEdgesMeet) {
  const EquirectangularLens all(standin::ItemPose{});
  EXPECT_TRUE(edges_of(all).goes_round);
  EXPECT_TRUE(edges_of(all).pole_above);
  EXPECT_TRUE(edges_of(all).pole_below);
  const PerspectiveLens plain(standin::ItemPose{}, 1.0, 1.0);
  EXPECT_FALSE(edges_of(plain).goes_round);
  EXPECT_FALSE(edges_of(plain).pole_above);
}

/// A fine pattern becomes grey where it is too fine, and does not shimmer.
TEST(Reprojection, WhatIsTooFineIsAveraged) {
  MemoryPicture lines(1024, 512, {"Y", "A"});
  for (int row = 0; row < 512; ++row) {
    for (int column = 0; column < 1024; ++column) {
      lines.pixel(column, row)[0] = (column + row) % 2 == 0 ? 1.0F : 0.0F;
      lines.pixel(column, row)[1] = 1.0F;
    }
  }
  const EquirectangularLens from(standin::ItemPose{});
  const PerspectiveLens to(standin::ItemPose{}, 1.6, 1.0);
  Reprojection reprojection(lines, from, to, 30, 30);
  std::vector<float> samples(30 * 30 * 2);
  reprojection.fill({0, 0, 30, 30}, samples);
  for (std::size_t i = 0; i < samples.size(); i += 2) {
    EXPECT_NEAR(samples[i], 0.5F, 0.1F) << i;
    EXPECT_NEAR(samples[i + 1], 1.0F, 1e-4F) << i;
  }
}

/// Of a column of a picture that is 128 pixels wide.
int shown_number(int column) { return (column * 37 + 11) % 64; }

/// One row of a picture that goes round, seen `pixels` further to the right.
std::vector<float> moved_row(const PictureFilter& filter, double pixels) {
  constexpr int width = 128;
  MemoryPicture picture(width, 64, {"Y", "A"});
  for (int row = 0; row < 64; ++row) {
    for (int column = 0; column < width; ++column) {
      picture.pixel(column, row)[0] = static_cast<float>(shown_number(column));
      picture.pixel(column, row)[1] = 1.0F;
    }
  }
  const EquirectangularLens from(standin::ItemPose{});
  const EquirectangularLens to(turned(pixels * 2.0 * std::numbers::pi / width, 0.0));
  Reprojection reprojection(picture, from, to, width, 64, filter);
  std::vector<float> samples(static_cast<std::size_t>(width) * 64 * 2);
  reprojection.fill({0, 0, width, 64}, samples);
  std::vector<float> row;
  for (std::size_t column = 0; column < width; ++column) row.push_back(samples[(30 * width + column) * 2]);
  return row;
}

float moved_pixel(std::size_t column, double pixels, const std::function<double(double)>& curve) {
  double sum = 0.0;
  double weights = 0.0;
  for (int i = -4; i <= 5; ++i) {
    const double distance = static_cast<double>(i) - pixels;
    const auto from = (static_cast<int>(column) + i + 128) % 128;
    sum += curve(distance) * shown_number(from);
    weights += curve(distance);
  }
  return static_cast<float>(sum / weights);
}

TEST(PictureFilter, IsTheTextbooks) {
  const auto sinc = [](double x) { return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); };
  const std::vector<std::pair<std::string, std::function<double(double)>>> curves{
      {"triangle", [](double x) { return std::max(0.0, 1.0 - std::abs(x)); }},
      {"lanczos3", [&](double x) { return std::abs(x) < 3.0 ? sinc(x) * sinc(x / 3.0) : 0.0; }},
      {"catmull-rom", [](double x) {
         const double a = std::abs(x);
         if (a >= 2.0) return 0.0;
         return a < 1.0 ? 1.0 + a * a * (1.5 * a - 2.5) : 2.0 + a * (-4.0 + a * (2.5 - 0.5 * a));
       }}};
  for (const auto& [name, curve] : curves) {
    for (const double pixels : {0.0, 0.25, 0.37, 0.5, 0.93}) {
      const std::vector<float> row = moved_row(picture_filter(name), pixels);
      for (std::size_t column = 0; column < row.size(); ++column)
        ASSERT_NEAR(row[column], moved_pixel(column, pixels, curve), 0.02F) << name << ' ' << pixels << ' ' << column;
    }
  }
}

TEST(PictureFilter, BoxMakesNoNewNumbers) {
  for (const double pixels : {0.1, 0.4, 0.49, 0.501, 0.9}) {
    const std::vector<float> row = moved_row(picture_filter("box"), pixels);
    for (std::size_t column = 0; column < row.size(); ++column) {
      const auto nearest = static_cast<int>((column + (pixels < 0.5 ? 0 : 1)) % 128);
      ASSERT_EQ(row[column], static_cast<float>(shown_number(nearest))) << pixels << ' ' << column;
    }
  }
}

TEST(PictureFilter, DirectionsStayWhatTheyAreAtPolesSeamsAndEdges) {
  const EquirectangularLens all_round(standin::ItemPose{});
  const PerspectiveLens up(turned(0.4, 1.5), 1.9, 1.0);
  const PerspectiveLens back(turned(3.1, 0.0), 1.2, 1.0);
  const CubeLens cube({}, cube_cells(*find_cube_layout("3x2")), "cubemap:3x2");
  for (const char* name : {"catmull-rom", "lanczos3", "mitchell"}) {
    const PictureFilter filter = picture_filter(name);
    for (const Lens* to : {&up, &back}) {
      const DirectionCheck of_sphere = reprojected(all_round, *to, 1024, 512, 200, 200, filter);
      EXPECT_GT(of_sphere.inside, 39900) << name;
      EXPECT_LT(of_sphere.worst, 2e-3) << name;
      const DirectionCheck of_cube = reprojected(cube, *to, 1200, 800, 200, 200, filter);
      EXPECT_GT(of_cube.inside, 39900) << name;
      EXPECT_LT(of_cube.worst, 2e-3) << name;
    }
  }
}

TEST(PictureFilter, RefusesAnotherNameWithAllThereAre) {
  try {
    picture_filter("Lanczos");
    FAIL();
  } catch (const std::invalid_argument& error) {
    for (const char* name : {"box", "triangle", "lanczos3", "mitchell", "catmull-rom"})
      EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
  }
}

TEST(Reprojection, NumbersThatAreNoneAreTakenForNothing) {
  MemoryPicture picture(64, 32, {"Y", "A"});
  for (int row = 0; row < 32; ++row)
    for (int column = 0; column < 64; ++column) picture.pixel(column, row)[0] = 0.5F;
  const EquirectangularLens lens(standin::ItemPose{});
  std::vector<float> samples(static_cast<std::size_t>(64 * 32 * 2));
  Reprojection sound(picture, lens, lens, 64, 32);
  sound.fill({0, 0, 64, 32}, samples);
  EXPECT_FALSE(sound.has_broken_numbers());
  picture.pixel(30, 20)[0] = std::numeric_limits<float>::quiet_NaN();
  picture.pixel(31, 0)[1] = std::numeric_limits<float>::infinity();
  Reprojection broken(picture, lens, lens, 64, 32);
  broken.fill({0, 0, 64, 32}, samples);
  EXPECT_TRUE(broken.has_broken_numbers());
  for (const float sample : samples) ASSERT_TRUE(std::isfinite(sample));
  EXPECT_NEAR(samples[(20 * 64 + 40) * 2], 0.5F, 1e-6F);
  EXPECT_LT(samples[(20 * 64 + 30) * 2], 0.5F);
}

}  // namespace tool::native_reprojection_test
