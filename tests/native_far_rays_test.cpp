/// Positions that single precision, in which rays are traced, cannot hold.

#include <cmath>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>

#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"
#include "tool/render/render_scene.h"
#include "tool/render/tracer.h"

namespace native_far_rays_test {

using namespace test_support;

class NativeFarRays : public NativeTool {
 protected:
  void change(const std::function<void(standin::Scene&)>& change) const {
    standin::Scene scene = standin::read_scene_file(scene_);
    change(scene);
    standin::write_scene_file(scene, scene_);
  }
};

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST_F(NativeFarRays, ACameraBeyondReachIsToldOfOnceWithTheCount) {
  for (const double distance : {-1e19, 1e25, 1e38, -1e39, 1e300}) {
    for (const std::size_t axis : {1U, 2U}) {
      change([&](standin::Scene& scene) {
        scene.items.back().motion[1] = scene.items.back().motion[2] = standin::Envelope::constant(0.0);
        scene.items.back().motion[axis] = standin::Envelope::constant(distance);
      });
      const Outcome outcome = run_tool("render " + quoted(scene_) +
                                       " --server QuorinPanoramicCam --samples 4 --frames 0-1 -o " + quoted(out("far.#.png")));
      EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
      EXPECT_EQ(occurrences(outcome.output, "left out"), 1U) << outcome.output;
      EXPECT_NE(outcome.output.find(std::to_string(2 * 4 * 64 * 48) + " rays"), std::string::npos) << outcome.output;
    }
  }
}

TEST_F(NativeFarRays, LayersOfThemAreEmpty) {
  change([](standin::Scene& scene) { scene.items.back().motion[2] = standin::Envelope::constant(-1e20); });
  EXPECT_EQ(render("far.exr", "--layers depth,position,motion").exit_code, 0);
}

TEST_F(NativeFarRays, AnObjectBeyondReachIsNamed) {
  for (const std::size_t channel : {2U, 6U}) {
    write_scene({"cube.lwo"});
    change([&](standin::Scene& scene) { scene.items.front().motion[channel] = standin::Envelope::constant(1e20); });
    const Outcome outcome = render("far.png");
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find("\"cube\" is too far away or too large"), std::string::npos) << outcome.output;
  }
}

TEST_F(NativeFarRays, InTheSpaceOfAnObjectTheyAreFartherStill) {
  change([](standin::Scene& scene) {
    standin::Motion& motion = scene.items.front().motion;
    motion[6] = standin::Envelope::constant(1e-13);
    motion[7] = motion[8] = standin::Envelope::constant(1e4);
    scene.items.back().motion[0] = standin::Envelope::constant(1e7);
    scene.items.back().motion[3] = standin::Envelope::constant(-1.5707963);
  });
  const Outcome outcome = render("far.png");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_EQ(occurrences(outcome.output, "too far away"), 1U) << outcome.output;
}

TEST_F(NativeFarRays, AsFarAsASolarSystemEverythingIsSeen) {
  change([](standin::Scene& scene) {
    scene.items.front().motion[2] = standin::Envelope::constant(1e14);
    for (const std::size_t axis : {6U, 7U, 8U}) scene.items.front().motion[axis] = standin::Envelope::constant(1e13);
  });
  const Outcome outcome = render("near.png");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_EQ(outcome.output.find("too far away"), std::string::npos) << outcome.output;
}

/// What a ray service may answer with.
TEST_F(NativeFarRays, NoAnswerOfAServiceIsTracedThatCannotBe) {
  const standin::Scene scene = standin::read_scene_file(scene_);
  std::ostringstream warnings;
  tool::RenderScene render_scene(scene, warnings);
  render_scene.set_frame(0.0, 0.0);
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {1e18, -1e19, 1e300, infinity, -infinity, std::nan("")}) {
    standin::RayAnswer answer{1, {0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, {}};
    ASSERT_TRUE(tool::view_ray(render_scene, answer, 0.0));
    answer.position.y = bad;
    EXPECT_FALSE(tool::view_ray(render_scene, answer, 0.0)) << bad;
  }
  const standin::RayAnswer long_direction{1, {}, {0.0, 3e300, -4e300}, {}};
  ASSERT_TRUE(tool::view_ray(render_scene, long_direction, 0.0));
  EXPECT_NEAR(tool::view_ray(render_scene, long_direction, 0.0)->direction.y, 0.6, 1e-12);
}

}  // namespace native_far_rays_test
