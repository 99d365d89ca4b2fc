/// `ovicam render --light soft`: what of the sky a surface sees, and the edge of a shadow in the sun.

#include <OpenImageIO/imagebuf.h>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <vector>

#include "tests/support/tool_fixture.h"

namespace native_soft_light_test {

using namespace test_support;
using standin::Vec3;

/// Four numbers for each pixel.
struct Numbers {
  int width = 0;
  std::vector<float> all;

  std::size_t at(int column, int row) const { return 4 * (static_cast<std::size_t>(row) * width + column); }

  /// Of a row of pixels, from one column to before another.
  std::array<double, 3> mean(int row, int first, int end) const {
    std::array<double, 3> sum{};
    for (int column = first; column < end; ++column)
      for (std::size_t i = 0; i < 3; ++i) sum[i] += all[at(column, row) + i];
    for (double& each : sum) each /= end - first;
    return sum;
  }
};

Numbers numbers(const std::filesystem::path& file) {
  const OIIO::ImageBuf stored(file.string());
  OIIO::ImageBuf picture = stored;
  EXPECT_TRUE(picture.read(0, 0, true)) << picture.geterror();
  EXPECT_EQ(picture.spec().nchannels, 4);
  Numbers read{picture.spec().width, std::vector<float>(picture.spec().image_pixels() * 4)};
  EXPECT_TRUE(picture.get_pixels(picture.roi(), OIIO::TypeDesc::FLOAT, read.all.data()));
  return read;
}

/// A camera at the origin that looks along +Z with a zoom of 2, and objects of quadrangles.
class SoftLight : public NativeTool {
 protected:
  void SetUp() override {
    scene.folder = folder_;
    scene.items.push_back(front_camera());
    scene.ambient_intensity = standin::Envelope::constant(0.5);
  }

  /// Points clockwise seen from the front.
  void add_quadrangle(const std::string& file, const std::vector<Vec3>& points, double shade = 0.5) {
    write_object({{{"Grey", {shade, shade, shade}, 3}}, {}, points, {{{0, 1, 2, 3}}}, {}}, folder_ / file);
    standin::Item object;
    object.kind = standin::ItemKind::object;
    object.id = static_cast<std::uint32_t>(0x10000000U + scene.items.size());
    object.name = file;
    object.object_file = file;
    scene.items.insert(scene.items.begin(), object);
  }

  void add_floor() { add_quadrangle("floor.lwo", {{-900, -1, -900}, {-900, -1, 5}, {900, -1, 5}, {900, -1, -900}}); }
  void add_wall() { add_quadrangle("wall.lwo", {{-900, -1, 5}, {-900, 900, 5}, {900, 900, 5}, {900, -1, 5}}); }

  static standin::Item light(standin::LightKind kind) {
    standin::Item item;
    item.kind = standin::ItemKind::light;
    item.id = 0x20000000U;
    item.name = "Light";
    item.light.emplace();
    item.light->type = static_cast<int>(kind);
    return item;
  }

  /// A light that no surface gets anything of, so that there is no light but the sky's.
  void add_light_without_effect() {
    standin::Item lamp = light(standin::LightKind::point);
    lamp.light->fall_off = static_cast<int>(standin::FallOff::linear);
    lamp.motion[1] = standin::Envelope::constant(-1000.0);
    scene.items.insert(scene.items.end() - 1, lamp);
  }

  Numbers rendered(const std::string& file, const std::string& more) {
    standin::write_scene_file(scene, scene_);
    const Outcome outcome = run_tool("render " + quoted(scene_) + " --frames 0 -o " + quoted(out(file)) + ' ' + more);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return numbers(out(file));
  }

  standin::Scene scene;
};

TEST_F(SoftLight, PlainIsTheDefaultAndAnythingElseRefused) {
  add_floor();
  const Numbers plain = rendered("plain.exr", "--samples 4");
  EXPECT_EQ(rendered("asked.exr", "--samples 4 --light plain").all, plain.all);
  EXPECT_EQ(contents(out("asked.exr")), contents(out("plain.exr")));
  rendered("soft.exr", "--samples 4 --light soft");
  EXPECT_EQ(run("exrheader " + quoted(out("plain.exr"))).output.find("ovicam/light"), std::string::npos);
  EXPECT_NE(run("exrheader " + quoted(out("soft.exr"))).output.find("ovicam/light (type string): \"soft\""), std::string::npos);
  const Outcome wrong = render("wrong.png", "--light hard");
  EXPECT_EQ(wrong.exit_code, 2);
  EXPECT_NE(wrong.output.find("soft"), std::string::npos) << wrong.output;
  EXPECT_EQ(render("wrong.png", "--light soft --gizmo --server QuorinFisheyeCam").exit_code, 2);
  EXPECT_FALSE(std::filesystem::exists(out("wrong.png")));
}

TEST_F(SoftLight, AnOpenPlainIsAsLightAsInPlainLight) {
  add_floor();
  add_light_without_effect();
  const Numbers plain = rendered("plain.exr", "--samples 1");
  const Numbers soft = rendered("soft.exr", "--samples 1 --light soft");
  ASSERT_EQ(soft.all.size(), plain.all.size());
  // Half floats have eleven binary digits.
  for (std::size_t i = 0; i < plain.all.size(); ++i) ASSERT_NEAR(soft.all[i], plain.all[i], plain.all[i] * 1e-3) << i;
}

TEST_F(SoftLight, AFloorBeforeAHighWallSeesHalfTheSky) {
  add_floor();
  add_wall();
  add_light_without_effect();
  const Numbers plain = rendered("plain.exr", "--samples 4");
  const Numbers soft = rendered("soft.exr", "--samples 256 --light soft");
  // The floor ends in row 33; in the other half of what it faces is the wall, which sends half of the ground's light.
  const std::array share{0.5 + 0.25 * 0.24 / 0.50, 0.5 + 0.25 * 0.21 / 0.62, 0.5 + 0.25 * 0.18 / 0.80};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(soft.mean(36, 0, 64)[i] / plain.mean(36, 0, 64)[i], share[i], 0.01) << i;
    // The wall sees all of its half of the sky, over a ground that is there in plain light as well.
    EXPECT_NEAR(soft.mean(10, 0, 64)[i] / plain.mean(10, 0, 64)[i], 1.0, 0.01) << i;
  }
}

TEST_F(SoftLight, AShadowHasTheEdgeOfTheSunsDisc) {
  // The sun shines straight on the wall, 15 m behind the edge of a plane that hides the left half of it.
  constexpr double distance = 15.0;
  add_wall();
  add_quadrangle("screen.lwo", {{-900, -900, -10}, {-900, 900, -10}, {0, 900, -10}, {0, -900, -10}});
  scene.items.insert(scene.items.end() - 1, light(standin::LightKind::distant));
  scene.ambient_intensity = standin::Envelope::constant(0.0);
  scene.items.back().camera->zoom_factor = standin::Envelope::constant(40.0);
  const Numbers plain = rendered("plain.exr", "--samples 16");
  const Numbers soft = rendered("soft.exr", "--samples 1024 --light soft --region 0,24,64,4");
  // A quarter of a metre by 48 pixels.
  constexpr double pixel = 0.25 / 48;
  const double sun_radius = distance * std::tan(0.5 * 0.533 * std::numbers::pi / 180.0);
  const double full = plain.mean(24, 60, 64)[0];
  ASSERT_GT(full, 0.1);
  int partly = 0;
  for (int column = 0; column < 64; ++column) {
    const double x = (column + 0.5 - 32.0) * pixel;
    const double t = std::clamp(x / sun_radius, -1.0, 1.0);
    // The share of a disc on one side of a straight line.
    const double share = 0.5 + (t * std::sqrt(1.0 - t * t) + std::asin(t)) / std::numbers::pi;
    EXPECT_NEAR(soft.all[soft.at(column, 1)] / full, share, 0.04) << column;
    if (share > 0.0 && share < 1.0) ++partly;
    if (column != 31 && column != 32) EXPECT_NEAR(plain.all[plain.at(column, 24)] / full, x > 0.0 ? 1.0 : 0.0, 1e-3) << column;
  }
  EXPECT_GT(partly, 20);
}

TEST_F(SoftLight, LightWithAPlaceAndLightWithoutShadowsStayAsTheyAre) {
  add_wall();
  standin::Item lamp = light(standin::LightKind::point);
  scene.items.insert(scene.items.end() - 1, lamp);
  scene.ambient_intensity = standin::Envelope::constant(0.0);
  EXPECT_EQ(rendered("soft.exr", "--samples 4 --light soft").all, rendered("plain.exr", "--samples 4").all);
}

TEST_F(SoftLight, ARegionIsThatPartOfTheWholeFrameWithAnyNumberOfThreads) {
  const std::string picture =
      "render " + quoted(source_folder() / "samples" / "cameras.lws") +
      " --camera 'Fisheye Power 2' --depth-of-field --motion-blur --light soft --samples 3 --size 150x110 -o ";
  const auto check = [&](const std::string& file, const std::string& more) {
    ASSERT_EQ(run_tool(picture + quoted(out(file)) + more).exit_code, 0);
  };
  check("whole.exr", "");
  check("again.exr", " --threads 1");
  EXPECT_EQ(contents(out("again.exr")), contents(out("whole.exr")));
  check("part.exr", " --region 31,33,40,35");
  const Numbers whole = numbers(out("whole.exr"));
  const Numbers part = numbers(out("part.exr"));
  for (int row = 0; row < 35; ++row)
    for (int column = 0; column < 40; ++column)
      for (std::size_t i = 0; i < 4; ++i)
        ASSERT_EQ(part.all[part.at(column, row) + i], whole.all[whole.at(column + 31, row + 33) + i]) << column << ' ' << row;
}

}  // namespace native_soft_light_test
