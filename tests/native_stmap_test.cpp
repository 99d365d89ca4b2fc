/// Maps of `ovicam stmap`, held against other renders, another implementation and each other.

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_stmap_test {

namespace fs = std::filesystem;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;
using test_support::shipped_module;

/// A picture of floats; columns and rows count from the frame's upper left corner. A file's name is never used twice:
/// OpenImageIO remembers what it has read by its name.
struct Map {
  explicit Map(const fs::path& file) : picture(file.string()) {
    EXPECT_TRUE(picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << picture.geterror();
    EXPECT_EQ(picture.spec().format, OIIO::TypeDesc::FLOAT);
    EXPECT_EQ(picture.spec().channelnames, (std::vector<std::string>{"R", "G", "B", "A"}));
  }

  int width() const { return picture.spec().full_width; }
  int height() const { return picture.spec().full_height; }
  int left() const { return picture.spec().x; }
  int top() const { return picture.spec().y; }
  int right() const { return picture.spec().x + picture.spec().width; }
  int bottom() const { return picture.spec().y + picture.spec().height; }

  std::array<float, 4> at(int column, int row) const {
    std::array<float, 4> pixel{};
    picture.getpixel(column, row, pixel.data(), 4);
    return pixel;
  }

  /// Between the centres of pixels; none at the map's edge, and next to a pixel without an answer.
  std::optional<std::pair<double, double>> between(double s, double t) const {
    const double x = s * width() - 0.5;
    const double y = (1.0 - t) * height() - 0.5;
    const double column = std::floor(x);
    const double row = std::floor(y);
    if (!(column >= left() && column + 1 < right() && row >= top() && row + 1 < bottom())) return {};
    double sum_s = 0.0;
    double sum_t = 0.0;
    for (const int i : {0, 1}) {
      for (const int j : {0, 1}) {
        const auto pixel = at(static_cast<int>(column) + i, static_cast<int>(row) + j);
        if (pixel[3] == 0.0F) return {};
        const double weight = (i == 1 ? x - column : 1.0 - x + column) * (j == 1 ? y - row : 1.0 - y + row);
        sum_s += weight * pixel[0];
        sum_t += weight * pixel[1];
      }
    }
    return std::pair(sum_s, sum_t);
  }

  OIIO::ImageBuf picture;
};

/// Pixels between where a map leads and where another leads back to.
struct RoundTrip {
  double sum = 0.0;
  double worst = 0.0;
  int count = 0;
};

/// But for what is nearer to the middle than `least_radius`, of the frame's height.
RoundTrip there_and_back(const Map& there, const Map& back, double least_radius = 0.0) {
  RoundTrip trip;
  for (int row = there.top(); row < there.bottom(); ++row) {
    for (int column = there.left(); column < there.right(); ++column) {
      const auto pixel = there.at(column, row);
      const double radius = std::hypot(column + 0.5 - there.width() / 2.0, row + 0.5 - there.height() / 2.0);
      if (pixel[3] == 0.0F || radius < least_radius * there.height()) continue;
      const auto home = back.between(pixel[0], pixel[1]);
      if (!home) continue;
      const double by_x = home->first * there.width() - column - 0.5;
      const double by_y = (1.0 - home->second) * there.height() - row - 0.5;
      const double error = std::hypot(by_x, by_y);
      trip.sum += error;
      trip.worst = std::max(trip.worst, error);
      ++trip.count;
    }
  }
  return trip;
}

fs::path samples() { return test_support::source_folder() / "samples"; }

class StMap : public NativeTool {
 protected:
  Outcome make(const std::string& camera, const std::string& file, const std::string& more) const {
    return run_tool("stmap " + quoted(samples() / "cameras.lws") + " --camera '" + camera + "' -o " + quoted(out(file)) + " " +
                    more);
  }

  void expect_identity(const std::string& camera) const {
    const Outcome outcome = make(camera, camera + " same.exr", "--to '" + camera + "' --size 320x180");
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const Map map(out(camera + " same.exr"));
    ASSERT_EQ(map.picture.spec().width, 320);
    ASSERT_EQ(map.picture.spec().height, 180) << "nothing is lost, so that there is no overscan";
    for (int row = 0; row < 180; ++row) {
      for (int column = 0; column < 320; ++column) {
        const auto pixel = map.at(column, row);
        ASSERT_EQ(pixel[3], 1.0F) << camera << ' ' << column << ' ' << row;
        ASSERT_EQ(pixel[2], 0.0F);
        ASSERT_NEAR(pixel[0], (column + 0.5) / 320, 1e-6) << camera << ' ' << column << ' ' << row;
        ASSERT_NEAR(pixel[1], 1.0 - (row + 0.5) / 180, 1e-6) << camera << ' ' << column << ' ' << row;
      }
    }
  }

  void render(const std::string& camera, const std::string& file, const std::string& more) const {
    const Outcome outcome = run_tool("render " + quoted(samples() / "cameras.lws") + " --camera '" + camera + "' " + more +
                                     " -o " + quoted(out(file)));
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  }
};

TEST_F(StMap, OfALensOntoItselfIsTheIdentity) {
  for (const std::string camera : {"Perspective", "North Hall", "Fisheye Power 1", "Radial Shift Barrel", "Overscan", "DPI"})
    expect_identity(camera);
}

TEST_F(StMap, UndoesALensAndRedoesIt) {
  struct Case {
    std::string camera;
    std::string more;
    /// Of the camera's pixels that have to come back.
    double share;
    double least_radius = 0.0;
  };
  // In the middle, a power of 2 magnifies without a limit, and there is nothing between the pixels of a map.
  for (const Case& each :
       {Case{"Perspective", "--target-fov 70", 0.9}, Case{"Fisheye Power 0.5", "--target-fov 120 --overscan 0", 0.05},
        Case{"Fisheye Power 1", "--target-fov 120 --overscan 0", 0.2},
        Case{"Fisheye Power 2", "--target-fov 100deg --overscan 0", 0.2, 0.1},
        Case{"Spherical 180", "--target-fov 120 --overscan 0", 0.1}, Case{"Radial Shift Barrel", "--target-fov 60", 0.9},
        Case{"Radial Shift Pincushion", "--target-fov 60", 0.9}, Case{"Panoramic", "--target-fov 1.8rad --overscan 0", 0.05},
        Case{"Advanced Panorama", "--target-fov 100 --overscan 0", 0.02},
        Case{"Advanced Panorama Scales", "--target-fov 80 --overscan 0", 0.02},
        Case{"Immersive", "--to 'Fisheye Power 1' --overscan 0", 0.1},
        Case{"Stereo Convergence", "--target-fov 70 --eye left", 0.9}, Case{"Overscan", "--target-fov 70", 0.9}}) {
    const Outcome outcome = make(each.camera, each.camera + ".exr", "--direction both --size 512x288 " + each.more);
    ASSERT_EQ(outcome.exit_code, 0) << each.camera << ": " << outcome.output;
    const RoundTrip trip =
        there_and_back(Map(out(each.camera + ".distort.exr")), Map(out(each.camera + ".undistort.exr")), each.least_radius);
    EXPECT_GT(trip.count, each.share * 512 * 288) << each.camera;
    EXPECT_LT(trip.sum / trip.count, 0.02) << each.camera;
    EXPECT_LT(trip.worst, 0.5) << each.camera;
  }
}

/// How far two pictures are apart, in colours from 0 to 1.
struct Difference {
  double mean = 0.0;
  /// Of the pixels, with more than 0.1 in one channel: edges of what is seen.
  double share_far = 0.0;
  int count = 0;
};

/// Where the map leads into the frame.
Difference difference(const OIIO::ImageBuf& a, const OIIO::ImageBuf& b, const Map& map) {
  Difference result;
  for (int row = 2; row < map.height() - 2; ++row) {
    for (int column = 2; column < map.width() - 2; ++column) {
      const auto place = map.at(column, row);
      const bool within = place[3] == 1.0F && place[0] > 0.01F && place[0] < 0.99F && place[1] > 0.01F && place[1] < 0.99F;
      if (!within) continue;
      std::array<float, 3> first{};
      std::array<float, 3> second{};
      a.getpixel(column, row, first.data(), 3);
      b.getpixel(column, row, second.data(), 3);
      double most = 0.0;
      for (std::size_t i = 0; i < first.size(); ++i) {
        const double off = std::abs(static_cast<double>(first[i]) - second[i]);
        most = std::max(most, off);
        result.mean += off / 3.0;
      }
      if (most > 0.1) result.share_far += 1.0;
      ++result.count;
    }
  }
  result.mean /= result.count;
  result.share_far /= result.count;
  return result;
}

TEST_F(StMap, AnotherImplementationAppliesItAsARenderThroughTheSecondLensShows) {
  standin::Scene scene = standin::read_scene_file(samples() / "cameras.lws");
  for (const std::string camera : {"Fisheye Power 1", "Spherical 180", "Radial Shift Barrel", "Immersive"}) {
    const standin::Item* item = scene.find_camera(camera);
    ASSERT_NE(item, nullptr);
    const double zoom = item->camera->zoom_factor.at(0.0);
    const std::string field = std::to_string(2.0 * std::atan(16.0 / 9.0 / zoom)) + "rad";
    const Outcome outcome = make(camera, camera + " flat.exr", "--overscan 0 --size 320x180 --target-fov " + field);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    render(camera, camera + " lens.exr", "--size 1280x720 --samples 4");
    render(camera, camera + " plain.exr", "--size 320x180 --samples 9 --server Perspective");
    const Outcome applied = run("oiiotool " + quoted(out(camera + " lens.exr")) + " " + quoted(out(camera + " flat.exr")) +
                                " --st_warp:flip_t=1 -o " + quoted(out(camera + " applied.exr")));
    ASSERT_EQ(applied.exit_code, 0) << applied.output;
    const Outcome upside_down = run("oiiotool " + quoted(out(camera + " lens.exr")) + " " + quoted(out(camera + " flat.exr")) +
                                    " --st_warp -o " + quoted(out(camera + " wrong.exr")));
    ASSERT_EQ(upside_down.exit_code, 0) << upside_down.output;
    const Difference wrong = difference(OIIO::ImageBuf(out(camera + " wrong.exr").string()),
                                        OIIO::ImageBuf(out(camera + " plain.exr").string()), Map(out(camera + " flat.exr")));
    EXPECT_GT(wrong.mean, 0.05) << camera << ": the pictures do not tell right from wrong";
    const Difference undone = difference(OIIO::ImageBuf(out(camera + " applied.exr").string()),
                                         OIIO::ImageBuf(out(camera + " plain.exr").string()), Map(out(camera + " flat.exr")));
    EXPECT_GT(undone.count, 320 * 180 / 4) << camera;
    EXPECT_LT(undone.mean, 0.03) << camera;
    EXPECT_LT(undone.share_far, 0.1) << camera;
  }
}

/// A perspective of half the field within another one lies in its middle.
TEST_F(StMap, PointsBeyondTheFrameAndSaysWhereNothingIsSeen) {
  const double half = std::atan(0.5);
  ASSERT_EQ(run_tool("stmap " + quoted(scene_) + " --camera Front --server Perspective --target-fov " +
                     std::to_string(4.0 * half) + "rad --overscan 0 -o " + quoted(out("wide.exr")))
                .exit_code,
            0);
  const Map wide(out("wide.exr"));
  EXPECT_LT(wide.at(0, 24)[0], -0.3F);
  EXPECT_GT(wide.at(63, 24)[0], 1.3F);
  EXPECT_GT(wide.at(32, 0)[1], 1.3F);
  EXPECT_LT(wide.at(32, 47)[1], -0.3F);
  EXPECT_EQ(wide.at(0, 0)[3], 1.0F);
  // A panorama has pixels behind a perspective.
  ASSERT_EQ(make("Immersive", "all.exr", "--direction distort --overscan 0 --size 64x32 --target-fov 90").exit_code, 0);
  const Map all(out("all.exr"));
  EXPECT_EQ(all.at(0, 16), (std::array<float, 4>{}));
  EXPECT_EQ(all.at(32, 16)[3], 1.0F);
  EXPECT_NEAR(all.at(32, 16)[0], 0.5, 0.05);
}

TEST_F(StMap, OverscanLosesNothing) {
  ASSERT_EQ(make("Radial Shift Barrel", "m.exr", "--direction both --size 160x90 --target-fov 60").exit_code, 0);
  const Map undistort(out("m.undistort.exr"));
  EXPECT_EQ(undistort.width(), 160);
  EXPECT_EQ(undistort.height(), 90);
  EXPECT_LT(undistort.left(), 0);
  EXPECT_LT(undistort.top(), 0);
  EXPECT_GT(undistort.right(), 160);
  EXPECT_GT(undistort.bottom(), 90);
  const Map distort(out("m.distort.exr"));
  double left = 1.0;
  double right = 0.0;
  double bottom = 1.0;
  double top = 0.0;
  for (int row = 0; row < 90; ++row) {
    for (int column = 0; column < 160; ++column) {
      const auto pixel = distort.at(column, row);
      ASSERT_EQ(pixel[3], 1.0F);
      left = std::min<double>(left, pixel[0]);
      right = std::max<double>(right, pixel[0]);
      bottom = std::min<double>(bottom, pixel[1]);
      top = std::max<double>(top, pixel[1]);
    }
  }
  EXPECT_GE(left * 160, undistort.left());
  EXPECT_LE(right * 160, undistort.right());
  EXPECT_GE((1.0 - top) * 90, undistort.top());
  EXPECT_LE((1.0 - bottom) * 90, undistort.bottom());
  // And not much more than that.
  EXPECT_LT(left * 160, undistort.left() + 4);
  EXPECT_GT(right * 160, undistort.right() - 4);

  ASSERT_EQ(make("Radial Shift Barrel", "more.exr", "--size 160x90 --target-fov 60 --overscan 10%").exit_code, 0);
  const Map more(out("more.exr"));
  EXPECT_EQ(more.picture.spec().width, 176);
  EXPECT_EQ(more.picture.spec().height, 100);
  EXPECT_EQ(more.left(), -8);
  EXPECT_EQ(more.top(), -5);
  EXPECT_EQ(more.width(), 160);
}

TEST_F(StMap, TellsOfBothLenses) {
  const Outcome outcome = make("Fisheye Power 2", "m.exr", "--to Panoramic --overscan 0 --size 64x32");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("note: the two cameras stand"), std::string::npos) << outcome.output;
  const Map map(out("m.exr"));
  const auto fact = [&](const std::string& name) { return map.picture.spec().get_string_attribute("ovicam/" + name); };
  EXPECT_EQ(fact("stMap/direction"), "undistort");
  EXPECT_EQ(fact("stMap/camera"), "camera \"Fisheye Power 2\" (QuorinFisheyeCam), 64x32 pixels");
  EXPECT_EQ(fact("stMap/secondLens"), "camera \"Panoramic\" (QuorinPanoramicCam), 64x32 pixels");
  EXPECT_EQ(fact("stMap/pointsInto"), "camera \"Fisheye Power 2\" (QuorinFisheyeCam)");
  EXPECT_EQ(fact("camera"), "Fisheye Power 2");
  EXPECT_FALSE(fact("tool").empty());
  EXPECT_FALSE(fact("module").empty());
  EXPECT_NE(fact("stMap/convention").find("upward"), std::string::npos);
}

TEST_F(StMap, RefusesWithASentenceAndLeavesNoFile) {
  struct Case {
    std::string camera;
    std::string more;
    int exit_code;
    std::string sentence;
  };
  for (const Case& each : {
           Case{"Panoramic", "", 2, "give the second lens"},
           Case{"Panoramic", "--target-fov 200", 2, "--target-fov 200: give an angle above 0 and below 180"},
           Case{"Panoramic", "--target-fov nan", 2, "give an angle"},
           Case{"Panoramic", "--target-fov 60in", 2, "give an angle"},
           Case{"Panoramic", "--target-fov 60 --direction left", 2, "give undistort, distort or both"},
           Case{"Panoramic", "--target-fov 60 --overscan more", 2, "give auto, or per cent"},
           Case{"Panoramic", "--target-fov 60 --overscan -5", 2, "give auto, or per cent"},
           Case{"Panoramic", "--target-fov 60 --size 0x0", 2, "from 1 to"},
           Case{"Panoramic", "--target-fov 60 --to Immersive", 2, "--to"},
           Case{"Panoramic", "--to Nobody", 1, "has no camera \"Nobody\""},
           Case{"Panoramic", "--target-fov 60", 1, "no frame of the perspective of 60 degrees shows all"},
           Case{"Radial Shift Barrel", "--target-fov 0.01 --size 4000x4000", 1, "give --overscan 0"},
           Case{"Radial Shift Barrel", "--target-fov 60 --size 30000x3000 --overscan 100", 1, "larger than 32768 pixels"},
           Case{"Cylinder Lying", "--target-fov 60 --overscan 0", 1, "has no inverse"},
           Case{"Baking", "--target-fov 60 --overscan 0", 1, "has no inverse"},
       }) {
    const Outcome outcome = make(each.camera, "bad.exr", each.more);
    EXPECT_EQ(outcome.exit_code, each.exit_code) << each.more << ": " << outcome.output;
    EXPECT_NE(outcome.output.find(each.sentence), std::string::npos) << each.more << ": " << outcome.output;
  }
  EXPECT_EQ(run_tool("stmap " + quoted(scene_) + " --target-fov 60 -o " + quoted(out("m.png"))).exit_code, 2);
  EXPECT_EQ(run_tool("stmap " + quoted(scene_) + " --target-fov 60 -o " + quoted(out("missing") / "m.exr")).exit_code, 1);
  for (const std::string& name : names_in(folder_)) EXPECT_EQ(name.find(".exr"), std::string::npos) << name;
}

TEST_F(StMap, AnEmptyMapIsNone) {
  standin::Scene scene = standin::read_scene_file(scene_);
  standin::Item behind = scene.items.back();
  behind.id += 1;
  behind.name = "Back";
  behind.motion[3] = standin::Envelope::constant(3.14159265);
  scene.items.push_back(behind);
  standin::write_scene_file(scene, scene_);
  const Outcome outcome =
      run_tool("stmap " + quoted(scene_) + " --camera Front --to Back --overscan 0 -o " + quoted(out("m.exr")));
  EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
  EXPECT_NE(outcome.output.find("see nothing in common"), std::string::npos) << outcome.output;
  EXPECT_FALSE(fs::exists(out("m.exr")));
}

TEST_F(StMap, ThroughTheShippedModuleIsTheSame) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  for (const std::string more : {"--target-fov 90", "--to 'Skybox Cross'"}) {
    const std::string name = more.substr(2, 2);
    const std::string options = "--direction both --overscan 0 --size 96x54 " + more;
    ASSERT_EQ(make("Fisheye Power 2", name + "here.exr", options).exit_code, 0);
    const Outcome outcome = make("Fisheye Power 2", name + "there.exr", options + " --module " + quoted(shipped_module()));
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    for (const std::string direction : {"undistort", "distort"}) {
      const Map here(out(name + "here." + direction + ".exr"));
      const Map there(out(name + "there." + direction + ".exr"));
      for (int row = 0; row < 54; ++row) {
        for (int column = 0; column < 96; ++column) {
          const auto a = here.at(column, row);
          const auto b = there.at(column, row);
          ASSERT_EQ(a[3], b[3]) << more << direction << column << ' ' << row;
          ASSERT_NEAR(a[0], b[0], 1e-6);
          ASSERT_NEAR(a[1], b[1], 1e-6);
        }
      }
    }
  }
}

}  // namespace native_stmap_test
