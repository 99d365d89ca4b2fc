/// `ovicam render --turn --zoom`: the picture of a scene whose camera is turned, without changing the scene.

#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <tuple>

#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"

namespace native_turn_test {

using namespace test_support;

class NativeTurn : public NativeTool {
 protected:
  /// A camera whose heading and zoom are keyed, and a null that is attached to it with a cube.
  void SetUp() override {
    NativeTool::SetUp();
    standin::Scene scene = standin::read_scene_file(scene_);
    standin::Item& camera = scene.items.back();
    camera.motion[3].keys = {{0.1, 0.0, standin::Span::tcb, {}}, {-0.2, 1.0, standin::Span::tcb, {}}};
    camera.camera->zoom_factor.keys = {{2.0, 0.0, standin::Span::hermite, {0.0, 0.5}},
                                       {2.5, 1.0, standin::Span::hermite, {0.2}}};
    standin::Item held = scene.items.front();
    held.id += 1;
    held.name = held.given_name = "held";
    held.parent_id = camera.id;
    held.motion[0] = standin::Envelope::constant(2.0);
    held.motion[2] = standin::Envelope::constant(6.0);
    scene.items.insert(scene.items.begin() + 1, held);
    standin::write_scene_file(scene, scene_);
    write_turned(scene);
  }

  /// By 20 degrees, -10 and 5, with 1.5 times the zoom, worked out here. In a folder: a picture tells of its scene's name.
  void write_turned(standin::Scene scene) const {
    standin::Item& camera = scene.items.back();
    constexpr double degree = std::numbers::pi / 180.0;
    for (auto [channel, degrees] : {std::pair{3, 20.0}, std::pair{4, -10.0}, std::pair{5, 5.0}})
      for (standin::Key& key : camera.motion[static_cast<std::size_t>(channel)].keys) key.value += degrees * degree;
    for (standin::Key& key : camera.camera->zoom_factor.keys) {
      key.value *= 1.5;
      for (double& tangent : key.parameters) tangent *= 1.5;
    }
    std::filesystem::create_directory(out("turned"));
    standin::write_scene_file(scene, turned_);
  }

  std::string picture(const std::filesystem::path& scene, const std::string& more, const std::string& name = "a.exr") const {
    const Outcome outcome = run_tool("render " + quoted(scene) + " --samples 2 -o " + quoted(out(name)) + " " + more);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return contents(out(name));
  }

  const std::filesystem::path turned_ = out("turned") / "scene.lws";
  const std::string turn_ = " --turn 20,-10,5 --zoom 1.5";
};

TEST_F(NativeTurn, ThePictureAndWhatItTellsAreThoseOfATurnedScene) {
  const std::string before = contents(scene_);
  for (const std::string camera : {"", "--server QuorinFisheyeCam ", "--server QuorinPerspectiveNoDOFCam --motion-blur "}) {
    for (const std::string frame : {"--frames 0", "--frames 17", "--frames 60"}) {
      const std::string more = camera + frame;
      EXPECT_TRUE(picture(scene_, more + turn_) == picture(turned_, more)) << more;
      EXPECT_FALSE(picture(scene_, more) == picture(turned_, more)) << more;
    }
  }
  EXPECT_TRUE(picture(scene_, "--server QuorinFisheyeCam --gizmo" + turn_, "g.png") ==
              picture(turned_, "--server QuorinFisheyeCam --gizmo", "h.png"));
  EXPECT_EQ(contents(scene_), before);
}

TEST_F(NativeTurn, TheShippedModuleTurnsTheSame) {
  if (shipped_module().empty()) GTEST_SKIP() << "it is not built";
  const std::string module = "--server QuorinFisheyeCam --frames 17 --module " + quoted(shipped_module());
  EXPECT_TRUE(picture(scene_, module + turn_) == picture(turned_, module));
}

TEST_F(NativeTurn, NoTurnIsNoChange) {
  const std::string plain = picture(scene_, "--server QuorinFisheyeCam");
  EXPECT_TRUE(picture(scene_, "--server QuorinFisheyeCam --turn=-0,0,0 --zoom 1") == plain);
  EXPECT_TRUE(picture(scene_, "--server QuorinFisheyeCam --turn=-20,0,0") != plain);
}

TEST_F(NativeTurn, WhatHasNoEffectIsWarnedOf) {
  const auto told = [&](const std::string& more) {
    return run_tool("render " + quoted(scene_) + " --samples 1 -o " + quoted(out("a.png")) + " " + more);
  };
  EXPECT_NE(told("--server QuorinPanoramicCam --zoom 2").output.find("--zoom changes no ray of frame"), std::string::npos);
  EXPECT_EQ(told("--server QuorinPanoramicCam --turn 1,0,0").output.find("changes no ray"), std::string::npos);
  EXPECT_EQ(told("--server QuorinFisheyeCam --zoom 2").output.find("changes no ray"), std::string::npos);
  EXPECT_EQ(told("--server QuorinPanoramicCam --zoom 2 --strict").exit_code, 1);
}

TEST_F(NativeTurn, WhatIsNoTurnIsRefused) {
  for (const std::string option :
       {"--turn 1", "--turn 1,2", "--turn 1,2,3,4", "--turn a,b,c", "--turn nan,0,0", "--turn 1e9,0,0", "--turn 1,2,3x",
        "--turn ''", "--zoom 0", "--zoom -1", "--zoom nan", "--zoom 2x", "--zoom 1e9", "--zoom"}) {
    const Outcome outcome = run_tool("render " + quoted(scene_) + " -o " + quoted(out("none.png")) + " " + option);
    EXPECT_EQ(outcome.exit_code, 2) << option << outcome.output;
    EXPECT_NE(outcome.output.find(option.substr(0, 6)), std::string::npos) << outcome.output;
    EXPECT_FALSE(std::filesystem::exists(out("none.png"))) << option;
  }
  const Outcome help = run_tool("render --help");
  EXPECT_NE(help.output.find("--turn"), std::string::npos);
  EXPECT_NE(help.output.find("--zoom"), std::string::npos);
}

}  // namespace native_turn_test
