/// The six sides of a cube in one picture: which way they are turned, and pictures seen through them.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
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

namespace tool::native_cube_lens_test {

using standin::Vec3;
using test_support::DirectionCheck;
using test_support::MemoryPicture;
using test_support::reprojected;
using test_support::turned;

const CubeLayout& layout(const std::string& name) { return *find_cube_layout(name); }

CubeLens cube_map(const std::string& name, const standin::ItemPose& pose = {}) {
  return {pose, cube_cells(layout(name)), "cubemap:" + name};
}

CubeLens skybox(const std::string& name, int width, int height, const standin::ItemPose& pose = {}) {
  return {pose, skybox_cells(layout(name), width, height, standin::CameraSettings().aperture_height), "skybox:" + name};
}

const CubeFace& face(const std::string& of_layout, const std::string& name) {
  for (const CubeFace& each : layout(of_layout).faces)
    if (each.name == name) return each;
  throw std::runtime_error("no face " + name);
}

TEST(CubeLayouts, HaveAllSixSidesAndNoneMirrored) {
  ASSERT_GE(cube_layouts().size(), 10U);
  for (const CubeLayout& each : cube_layouts()) {
    std::set<std::pair<int, int>> cells;
    std::set<std::string> names;
    Vec3 sum;
    for (const CubeFace& of : each.faces) {
      EXPECT_TRUE(cross(of.side.right, of.side.up) == of.side.forward) << each.name << ' ' << of.name;
      cells.insert({of.column, of.row});
      names.insert(std::string(of.name));
      sum = sum + of.side.forward * (1.0 + 2.0 * (of.side.forward.x + of.side.forward.y + of.side.forward.z));
      EXPECT_TRUE(!each.is_one_picture() || (of.column < each.columns && of.row < each.rows)) << each.name;
    }
    EXPECT_EQ(names.size(), 6U) << each.name;
    EXPECT_EQ(cells.size(), each.is_one_picture() ? 6U : 1U) << each.name;
    // Each of +X, -X, and so on, once.
    EXPECT_TRUE((sum == Vec3{4.0, 4.0, 4.0})) << each.name;
    EXPECT_EQ(find_cube_layout(each.name), &each);
  }
  EXPECT_EQ(find_cube_layout("diamond"), nullptr);
}

/// Of a graphics library's cube map: the face of a direction, and where on it, from 0 at the left and at the first row.
struct Texel {
  int face;
  double across;
  double down;
};

Texel cube_map_texel(Vec3 r) {
  const double x = std::abs(r.x);
  const double y = std::abs(r.y);
  const double z = std::abs(r.z);
  const auto texel = [](int face, double s, double t, double major) {
    return Texel{face, (s / major + 1.0) / 2.0, (t / major + 1.0) / 2.0};
  };
  if (x >= y && x >= z) return r.x > 0 ? texel(0, -r.z, -r.y, x) : texel(1, r.z, -r.y, x);
  if (y >= z) return r.y > 0 ? texel(2, r.x, r.z, y) : texel(3, r.x, -r.z, y);
  return r.z > 0 ? texel(4, r.x, -r.y, z) : texel(5, -r.x, -r.y, z);
}

constexpr std::array directions_around{Vec3{0.9, 0.2, -0.3}, Vec3{-0.8, 0.1, 0.5}, Vec3{0.3, 0.9, 0.1},
                                       Vec3{0.2, -0.7, 0.4}, Vec3{0.1, 0.4, 0.6},  Vec3{0.3, -0.2, -0.9}};

void expect_texel(const CubeFace& of, Vec3 direction, const Texel& texel, const std::string& name) {
  const double ahead = dot(direction, of.side.forward);
  EXPECT_GT(ahead, 0.0) << name;
  EXPECT_NEAR(0.5 + dot(direction, of.side.right) / ahead / 2.0, texel.across, 1e-12) << name;
  EXPECT_NEAR(0.5 - dot(direction, of.side.up) / ahead / 2.0, texel.down, 1e-12) << name;
}

TEST(CubeLayouts, AreWhatGraphicsLibrariesReadCubeMapsAs) {
  for (const std::string name : {"opengl", "horizontal", "vertical", "3x2"}) {
    std::set<int> faces;
    for (const Vec3 direction : directions_around) {
      const Texel texel = cube_map_texel(direction);
      faces.insert(texel.face);
      const CubeFace& of = layout(name).faces[static_cast<std::size_t>(texel.face)];
      expect_texel(of, direction, texel, name + " " + std::string(of.name));
    }
    EXPECT_EQ(faces.size(), 6U);
  }
  // X is ahead, Y to the right and Z up.
  for (const Vec3 direction : directions_around) {
    const Texel texel = cube_map_texel({direction.z, direction.x, direction.y});
    const CubeFace& of = layout("unreal").faces[static_cast<std::size_t>(texel.face)];
    expect_texel(of, direction, texel, "unreal " + std::string(of.name));
  }
}

TEST(CubeLayouts, SkiesOfIdTechAreTurnedAsItReadsThem) {
  // By sides of its box: the name, and what its axes take of (right, up, ahead) on the picture, counted from 1.
  struct Side {
    std::string name;
    std::array<int, 3> axes;
  };
  for (const auto& [name, axes] : {Side{"rt", {3, -1, 2}}, Side{"lf", {-3, 1, 2}}, Side{"bk", {1, 3, 2}},
                                   Side{"ft", {-1, -3, 2}}, Side{"up", {-2, -1, 3}}, Side{"dn", {2, -1, -3}}}) {
    const auto in_our_world = [&, of = axes](double right, double up) {
      const std::array<double, 3> picture{right, up, 1.0};
      const auto part = [&](std::size_t i) {
        const double value = picture[static_cast<std::size_t>(std::abs(of[i])) - 1];
        return of[i] < 0 ? -value : value;
      };
      // Its front lies along its -Y, with -X to the right and Z up.
      return Vec3{-part(0), part(2), -part(1)};
    };
    const CubeSide& side = face("quake", name).side;
    EXPECT_TRUE(in_our_world(0.0, 0.0) == side.forward) << name;
    EXPECT_TRUE(in_our_world(1.0, 0.0) == side.forward + side.right) << name;
    EXPECT_TRUE(in_our_world(0.0, 1.0) == side.forward + side.up) << name;
  }
}

/// Where two faces of a cross touch, they look in the same direction.
TEST(CubeLayouts, CrossesAreUnfoldedWithoutTearing) {
  struct Joint {
    std::string layout;
    int joints;
  };
  for (const auto& [name, joints] : {Joint{"cross", 5}, Joint{"vertical-cross", 5}, Joint{"alternate", 5}}) {
    int found = 0;
    for (const CubeFace& a : layout(name).faces) {
      for (const CubeFace& b : layout(name).faces) {
        const auto same = [&, name = name](Vec3 on_a, Vec3 on_b) {
          ++found;
          EXPECT_TRUE(a.side.forward + on_a == b.side.forward + on_b) << name << ' ' << a.name << ' ' << b.name;
        };
        if (a.row == b.row && a.column + 1 == b.column) {
          same(a.side.right, b.side.right * -1.0);
          EXPECT_TRUE(a.side.up == b.side.up) << name;
        }
        if (a.column == b.column && a.row + 1 == b.row) {
          same(a.side.up * -1.0, b.side.up);
          EXPECT_TRUE(a.side.right == b.side.right) << name;
        }
      }
    }
    EXPECT_EQ(found, joints) << name;
  }
}

TEST(CubeLayouts, AreToldFromTheShape) {
  EXPECT_EQ(cube_layout_of_shape(400, 300)->name, "cross");
  EXPECT_EQ(cube_layout_of_shape(300, 400)->name, "vertical-cross");
  EXPECT_EQ(cube_layout_of_shape(600, 100)->name, "horizontal");
  EXPECT_EQ(cube_layout_of_shape(1, 6)->name, "vertical");
  EXPECT_EQ(cube_layout_of_shape(300, 200)->name, "3x2");
  EXPECT_EQ(cube_layout_of_shape(200, 100), nullptr);
  EXPECT_EQ(cube_layout_of_shape(401, 300), nullptr);
  EXPECT_EQ(cube_layout_of_shape(0, 0), nullptr);
  EXPECT_EQ(cube_face_pixels(layout("cross"), 400, 300), 100);
  EXPECT_FALSE(cube_face_pixels(layout("opengl"), 100, 100).has_value());
}

TEST(CubeLens, PlacesAreTheInverseOfDirections) {
  const standin::ItemPose pose = turned(0.4, -0.7);
  for (const CubeLayout& each : cube_layouts()) {
    if (!each.is_one_picture()) continue;
    const CubeLens lens = cube_map(std::string(each.name), pose);
    std::vector<FramePlace> places;
    for (int i = 0; i < 64 * 64; ++i) places.push_back({(i % 64 + 0.4) / 64.0, (std::floor(i / 64.0) + 0.3) / 64.0, true});
    std::vector<LensDirection> directions(places.size());
    std::vector<FramePlace> again(places.size());
    lens.look(places, directions);
    lens.locate(directions, again);
    int seen = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (!directions[i].found) continue;
      ++seen;
      ASSERT_TRUE(again[i].found) << each.name;
      EXPECT_NEAR(again[i].s, places[i].s, 1e-12) << each.name;
      EXPECT_NEAR(again[i].t, places[i].t, 1e-12) << each.name;
    }
    EXPECT_NEAR(seen / 4096.0, 6.0 / (each.columns * each.rows), 0.05) << each.name;
  }
}

/// The lens by formula against the camera's own rays, at all pixels, in sizes whose film the camera cuts more or less.
TEST(CubeLens, OfTheSkyboxIsTheCamera) {
  for (const std::string type : {"0", "1"}) {
    for (const auto& [width, height] : {std::pair{64, 48}, std::pair{61, 47}, std::pair{33, 90}, std::pair{256, 192}}) {
      standin::SessionOptions options;
      options.scene_file = test_support::source_folder() / "samples" / "cameras.lws";
      options.module_file = test_support::module_file();
      options.camera_name = "Skybox Cross";
      options.settings = {{"Skybox Type", type}};
      options.width_pixels = width;
      options.height_pixels = height;
      const auto session = standin::open_session(options);
      const CameraLens camera(*session, session->begin_frame(0), standin::Eye::centre, "skybox");
      const auto expected = test_support::pixel_directions(camera, width, height);
      const auto found =
          test_support::pixel_directions(skybox(type == "0" ? "cross" : "alternate", width, height), width, height);
      int seen = 0;
      for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(found[i].found, expected[i].found) << width << " pixel " << i;
        if (!found[i].found) continue;
        ++seen;
        EXPECT_LT(length(found[i].towards - expected[i].towards), 1e-6) << width << " pixel " << i;
      }
      EXPECT_GT(seen, width * height / 3);
    }
  }
}

TEST(CubeLens, OfTheSkyboxSeesNothingInItsGaps) {
  const CubeLens lens = skybox("cross", 4000, 3000);
  const auto sees = [&](double degrees) {
    const double angle = degrees * std::acos(-1.0) / 180.0;
    const LensDirection towards{{std::sin(angle), 0.0, std::cos(angle)}, true};
    FramePlace place;
    lens.locate({&towards, 1}, {&place, 1});
    return place.found;
  };
  for (const double side : {1.0, -1.0}) {
    EXPECT_TRUE(sees(side * 44.4));
    EXPECT_FALSE(sees(side * 44.8));
    EXPECT_FALSE(sees(side * 45.2));
    EXPECT_TRUE(sees(side * 45.6));
  }
}

struct Sized {
  std::unique_ptr<Lens> lens;
  int width;
  int height;
};

/// Every lens that needs no camera, twice: one to come from, and one to go to, turned otherwise.
std::vector<Sized> all_lenses(const standin::ItemPose& pose, bool is_source) {
  std::vector<Sized> lenses;
  for (const CubeLayout& each : cube_layouts()) {
    if (!each.is_one_picture()) continue;
    const int side = is_source ? 300 : 60;
    lenses.push_back({std::make_unique<CubeLens>(pose, cube_cells(each), "cubemap:" + std::string(each.name)),
                      side * each.columns, side * each.rows});
  }
  const int quarter = is_source ? 520 : 60;
  for (const std::string name : {"cross", "alternate"}) {
    const auto cells = skybox_cells(layout(name), 4 * quarter, 3 * quarter, standin::CameraSettings().aperture_height);
    lenses.push_back({std::make_unique<CubeLens>(pose, cells, "skybox:" + name), 4 * quarter, 3 * quarter});
  }
  const int width = is_source ? 1000 : 300;
  const int height = is_source ? 500 : 190;
  const double shape = static_cast<double>(width) / height;
  lenses.push_back({std::make_unique<EquirectangularLens>(pose), width, height});
  lenses.push_back({std::make_unique<Fisheye180Lens>(pose, shape), width, height});
  lenses.push_back({std::make_unique<PerspectiveLens>(pose, 1.6, 1.0 / shape), width, height});
  return lenses;
}

/// Whether any place of a grid over the rectangle, edges and corners with it, looks anywhere.
bool looks_somewhere(const Lens& lens, const FramePart& within) {
  std::vector<FramePlace> places;
  constexpr int steps = 12;
  for (int row = 0; row <= steps; ++row)
    for (int column = 0; column <= steps; ++column)
      places.push_back({std::lerp(within.left, within.right, static_cast<double>(column) / steps),
                        std::lerp(within.bottom, within.top, static_cast<double>(row) / steps), true});
  std::vector<LensDirection> directions(places.size());
  lens.look(places, directions);
  return std::ranges::any_of(directions, &LensDirection::found);
}

TEST(Lens, IsBlankOnlyWhereItLooksNowhere) {
  const CubeLens cross = cube_map("cross");
  const CubeLens sky = skybox("cross", 640, 480);
  const Fisheye180Lens fisheye({}, 16.0 / 9.0);
  const Fisheye180Lens upright({}, 0.5);
  const LensInPose turned_fisheye(fisheye, turned(0.7, 0.2));
  const EquirectangularLens all_round({});
  for (const Lens* lens : std::initializer_list<const Lens*>{&cross, &sky, &fisheye, &upright, &turned_fisheye, &all_round}) {
    int blank = 0;
    int blank_and_known = 0;
    for (const double size : {0.004, 0.03, 0.11}) {
      for (int row = 0; row < 25; ++row) {
        const double bottom = 0.043 * row - 0.05;
        for (int column = 0; column < 25; ++column) {
          const double left = 0.043 * column - 0.05;
          const FramePart within{left, left + size, bottom, bottom + size};
          const bool looks = looks_somewhere(*lens, within);
          EXPECT_FALSE(looks && lens->is_blank(within)) << lens->description() << ' ' << left << ' ' << bottom << ' ' << size;
          blank += looks ? 0 : 1;
          blank_and_known += !looks && lens->is_blank(within) ? 1 : 0;
        }
      }
    }
    // All of it, but for what a grid oversees.
    EXPECT_GE(blank_and_known, blank * 99 / 100) << lens->description();
    EXPECT_EQ(blank > 100, lens != &all_round) << lens->description();
  }
}

TEST(CubeLens, DirectionsStayWhatTheyAreBetweenEveryPair) {
  const auto sources = all_lenses(turned(0.3, 0.4), true);
  const auto targets = all_lenses(turned(-0.5, 0.2), false);
  for (const Sized& from : sources) {
    const bool is_whole_cube = from.lens->description().starts_with("cubemap");
    const bool has_gaps = from.lens->description().starts_with("skybox");
    MemoryPicture picture(from.width, from.height, {"X", "Y", "Z", "A"});
    test_support::show_directions(*from.lens, picture);
    for (const Sized& to : targets) {
      const std::string pair = from.lens->description() + " to " + to.lens->description();
      if (from.lens->parts().empty() && to.lens->parts().empty()) continue;
      const DirectionCheck outcome = reprojected(picture, *from.lens, *to.lens, to.width, to.height);
      EXPECT_LT(outcome.worst, 2e-3) << pair;
      // At the edge of a circle, or on a gap, a pixel sees something in part.
      const double least = is_whole_cube ? 0.97 : has_gaps ? 0.88 : 0.05;
      EXPECT_GT(outcome.inside, least * outcome.seen) << pair;
    }
  }
}

/// What is interpolated at the edge of a face comes from its neighbour: it would be half a pixel off otherwise.
TEST(CubeLens, FiltersLookAcrossTheEdgesOfFaces) {
  for (const CubeLayout& each : cube_layouts()) {
    if (!each.is_one_picture()) continue;
    constexpr int side = 24;
    const CubeLens from = cube_map(std::string(each.name), turned(0.2, 0.9));
    const PerspectiveLens to(standin::ItemPose{}, 2.2, 1.0);
    const DirectionCheck outcome = reprojected(from, to, side * each.columns, side * each.rows, 200, 200);
    EXPECT_EQ(outcome.inside, outcome.seen) << each.name;
    // A pixel of a face is 1/12 wide in its middle.
    EXPECT_LT(outcome.worst, 0.01) << each.name;
  }
}

/// Larger and smaller, there is no line between two faces of one colour, and nothing of the empty cells.
TEST(CubeLens, ThereIsNoLineBetweenFaces) {
  MemoryPicture picture(256, 192, {"Y", "A"});
  const CubeLens from = cube_map("cross");
  const auto seen = test_support::pixel_directions(from, 256, 192);
  for (int row = 0; row < 192; ++row) {
    for (int column = 0; column < 256; ++column) {
      const bool found = seen[static_cast<std::size_t>(row) * 256 + static_cast<std::size_t>(column)].found;
      picture.pixel(column, row)[0] = found ? 0.75F : -1000.0F;
      picture.pixel(column, row)[1] = found ? 1.0F : 0.0F;
    }
  }
  const EquirectangularLens to(turned(0.1, 0.3));
  for (const auto& [width, height] : {std::pair{700, 350}, std::pair{256, 128}, std::pair{32, 16}, std::pair{4, 2}}) {
    Reprojection reprojection(picture, from, to, width, height);
    std::vector<float> samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 2);
    reprojection.fill({0, 0, width, height}, samples);
    for (std::size_t i = 0; i < samples.size(); i += 2) {
      ASSERT_NEAR(samples[i], 0.75F, 1e-5F) << width << " pixel " << i / 2;
      ASSERT_NEAR(samples[i + 1], 1.0F, 1e-5F) << width << " pixel " << i / 2;
    }
  }
}

/// Faces of a single pixel, and a skybox whose faces have none that is whole.
TEST(CubeLens, SmallestPictures) {
  MemoryPicture picture(6, 1, {"Y", "A"});
  for (int column = 0; column < 6; ++column) {
    picture.pixel(column, 0)[0] = static_cast<float>(column);
    picture.pixel(column, 0)[1] = 1.0F;
  }
  const EquirectangularLens to(standin::ItemPose{});
  std::vector<float> samples(static_cast<std::size_t>(40 * 20 * 2));
  const CubeLens row = cube_map("horizontal");
  Reprojection(picture, row, to, 40, 20).fill({0, 0, 40, 20}, samples);
  for (std::size_t i = 1; i < samples.size(); i += 2) ASSERT_NEAR(samples[i], 1.0F, 1e-5F);
  EXPECT_NEAR(samples[(10 * 40 + 20) * 2], 4.0F, 0.5F) << "the front";
  MemoryPicture tiny(4, 3, {"Y", "A"});
  const CubeLens none = skybox("cross", 4, 3);
  Reprojection without(tiny, none, to, 40, 20);
  without.fill({0, 0, 40, 20}, samples);
}

}  // namespace tool::native_cube_lens_test
