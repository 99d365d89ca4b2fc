/// What is refused before anything is rendered, and with which words.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"

namespace native_refusals_test {

namespace fs = std::filesystem;
using namespace test_support;

std::string samples() { return quoted(source_folder() / "samples" / "cameras.lws"); }

void expect_refused(const Outcome& outcome, int exit_code, const std::vector<std::string>& told) {
  EXPECT_EQ(outcome.exit_code, exit_code) << outcome.output;
  for (const std::string& text : told)
    EXPECT_NE(outcome.output.find(text), std::string::npos) << text << "\n" << outcome.output;
  const std::size_t start = outcome.output.find("ovicam: ");
  ASSERT_NE(start, std::string::npos) << outcome.output;
  EXPECT_EQ(outcome.output.find('\n', start), outcome.output.size() - 1) << "one line: " << outcome.output;
}

class NativeStrict : public NativeTool {
 protected:
  void SetUp() override {
    write_scene({"lost.lwo", "cube.lwo", "painted.lwo", "gone.lwo"});
    ObjectToWrite painted = cube(1.0, {0.9, 0.9, 0.9});
    painted.surfaces[0].name = "Painted";
    painted.surfaces[0].has_image = true;
    write_object(painted, out("painted.lwo"));
    standin::Scene scene = standin::read_scene_file(scene_);
    scene.items.back().camera->handler = standin::PluginBlock{"CameraHandler", 1, "AnotherMakersCam", {}};
    standin::write_scene_file(scene, scene_);
  }
};

TEST_F(NativeStrict, RenderNamesAllThatItWouldLeaveOutBeforeTheFirstFrame) {
  const std::vector<std::string> all{"lost.lwo", "gone.lwo", "\"Painted\"", "AnotherMakersCam"};
  const Outcome lax = render("out.png");
  EXPECT_EQ(lax.exit_code, 0) << lax.output;
  for (const std::string& thing : all) EXPECT_NE(lax.output.find(thing), std::string::npos) << thing << lax.output;
  EXPECT_EQ(std::ranges::count(lax.output, '\n'), 8) << "a line for each, and what render always tells: " << lax.output;
  fs::remove(out("out.png"));
  expect_refused(render("out.png", "--strict"), 1, all);
  EXPECT_FALSE(fs::exists(out("out.png")));
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  expect_refused(render("out.png", "--strict --module " + quoted(shipped_module())), 1, all);
}

TEST_F(NativeStrict, OtherCommandsNameThemToo) {
  const std::string scene = quoted(scene_) + " --strict ";
  expect_refused(run_tool("rays " + scene), 1, {"lost.lwo", "gone.lwo", "AnotherMakersCam"});
  expect_refused(run_tool("panel " + scene + "--server QuorinFisheyeCam -o " + quoted(out("p.html"))), 1, {"lost.lwo"});
  expect_refused(run_tool("bake-coverage " + scene + "--server QuorinBakingCam -o " + quoted(out("b.png"))), 1, {"lost.lwo"});
  EXPECT_FALSE(fs::exists(out("p.html")));
  EXPECT_FALSE(fs::exists(out("b.png")));
}

TEST_F(NativeStrict, WhatLacksNothingIsRendered) {
  write_scene({"cube.lwo"});
  EXPECT_EQ(render("out.png", "--strict").exit_code, 0);
}

TEST_F(NativeStrict, AFrameWithoutAnyObjectIsRefusedInAnyCase) {
  write_scene({"lost.lwo", "gone.lwo"});
  const Outcome lost = render("out.png");
  EXPECT_EQ(lost.exit_code, 1);
  EXPECT_NE(lost.output.find("nothing to render"), std::string::npos) << lost.output;
  EXPECT_NE(lost.output.find("lost.lwo"), std::string::npos) << lost.output;
  write_scene({});
  expect_refused(render("out.png"), 1, {"scene.lws: there is nothing to render"});
  EXPECT_FALSE(fs::exists(out("out.png")));
}

class NativeRefusals : public NativeTool {};

TEST_F(NativeRefusals, EmptyValues) {
  const std::string scene = "render " + quoted(scene_) + " -o " + quoted(out("out.png")) + " ";
  for (const std::string option : {"--camera", "--server", "--module", "--content", "--frames", "--size", "--eye", "--set"}) {
    expect_refused(run_tool(scene + option + " ''"), 2, {option, "empty"});
    expect_refused(run_tool(scene + option + "="), 2, {option});
  }
  expect_refused(run_tool("render " + quoted(scene_) + " -o ''"), 2, {"-o", "empty"});
  expect_refused(run_tool("render '' -o x.png"), 2, {"SCENE", "empty"});
  expect_refused(run_tool("info ''"), 2, {"MODULE", "empty"});
  expect_refused(run_tool("skybox split '' -o x"), 2, {"PICTURE", "empty"});
  expect_refused(run_tool("link --module ''"), 2, {"--module", "empty"});
  EXPECT_FALSE(fs::exists(out("out.png")));
}

TEST_F(NativeRefusals, MisspeltOptionsAreComparedWithThoseThereAre) {
  const std::string scene = "render " + quoted(scene_) + " ";
  expect_refused(run_tool(scene + "--smaples 4"), 2, {"--smaples", "did you mean --samples?"});
  expect_refused(run_tool(scene + "--samples 4 --depth-of-feild"), 2, {"did you mean --depth-of-field?"});
  expect_refused(run_tool(scene + "--motion"), 2, {"did you mean --motion-blur?"});
  expect_refused(run_tool(scene + "--ouput=x.png"), 2, {"--ouput is", "did you mean --output?"});
  expect_refused(run_tool(scene + "-q"), 2, {"-q is no option of \"ovicam render\"; --help lists them"});
  expect_refused(run_tool(scene + "--set --smaples=1 --zzzzzzzz"), 2, {"--zzzzzzzz is"});
  expect_refused(run_tool("rendr x"), 2, {"did you mean render?"});
  expect_refused(run_tool("skybox splti x"), 2, {"did you mean split?"});
  expect_refused(run_tool(scene + "--samples 4"), 2, {"--output"});
}

TEST_F(NativeRefusals, TooLittleMemoryIsSaid) {
  const std::string command = tool_command("rays " + quoted(scene_) + " --grid 1000x1000 --json");
  expect_refused(run("(ulimit -v 1000000; " + command + " >/dev/null)"), 1, {"not enough memory"});
}

TEST_F(NativeRefusals, ModulesThatAreCutOffOrForeign) {
  const std::string whole = contents(module_file());
  const auto expect_none = [&](const std::string& bytes, const std::string& reason) {
    std::ofstream(out("cut.so"), std::ios::binary) << bytes;
    expect_refused(run_tool("info " + quoted(out("cut.so"))), 1, {"cut.so cannot be loaded", reason});
    expect_refused(run_tool("render " + quoted(scene_) + " --server QuorinFisheyeCam --module " + quoted(out("cut.so")) +
                            " -o " + quoted(out("out.png"))),
                   1, {"cut.so", reason});
  };
  for (const std::size_t kept : {1UL, 3UL}) expect_none(whole.substr(0, kept), "neither");
  for (const std::size_t kept : {17UL, 63UL, 64UL, 1000UL, 4096UL, whole.size() / 2, whole.size() - 1})
    expect_none(whole.substr(0, kept), kept < 18 ? "" : "cut off");
  expect_none("", "neither");
  std::string other = whole;
  other[18] = '\xB7';
  expect_none(other, "another kind of processor");
  other = whole;
  other[16] = 2;
  expect_none(other, "no library");
  // The sizes of the first part that is loaded, and the number of parts.
  for (const std::size_t at : {64UL + 32 + 7, 64UL + 8 + 7, 32UL + 7, 40UL + 7}) {
    other = whole;
    other[at] = '\x7F';
    expect_none(other, "cut off");
  }
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string shipped = contents(shipped_module());
  for (const std::size_t kept : {40UL, 64UL, 150UL, 400UL, 4096UL, shipped.size() / 2})
    expect_none(shipped.substr(0, kept), "cut off");
}

TEST_F(NativeRefusals, PipesAndDevicesAreNotWaitedFor) {
  ASSERT_EQ(mkfifo(out("pipe").c_str(), 0600), 0);
  for (const std::string& file : {quoted(out("pipe")), std::string("/dev/zero")}) {
    expect_refused(run("timeout 60 " + tool_command("render " + file + " -o " + quoted(out("out.png")))), 1,
                   {"a pipe or a device"});
    expect_refused(run("timeout 60 " + tool_command("info " + file)), 1, {"a pipe or a device"});
    expect_refused(run("timeout 60 " + tool_command("link --module " + file)), 1, {"module"});
    expect_refused(run("timeout 60 " + tool_command("skybox split " + file + " -o " + quoted(out("faces")))), 1, {"picture"});
  }
  fs::remove(out("cube.lwo"));
  fs::create_symlink("/dev/zero", out("cube.lwo"));
  const Outcome outcome = run("timeout 60 " + tool_command("render " + quoted(scene_) + " -o " + quoted(out("out.png"))));
  EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
  EXPECT_NE(outcome.output.find("cube.lwo"), std::string::npos) << outcome.output;
}

TEST_F(NativeRefusals, CoverageOfACameraThatDoesNotBake) {
  const std::string output = " --size 16x16 -o " + quoted(out("c.png"));
  expect_refused(run_tool("bake-coverage " + samples() + " --camera Panoramic" + output), 1,
                 {"\"Panoramic\" is no baking camera", "\"Baking\"", "--server QuorinBakingCam"});
  expect_refused(run_tool("bake-coverage " + quoted(scene_) + output), 1,
                 {"\"Front\" is no baking camera", "the scene has none"});
  EXPECT_FALSE(fs::exists(out("c.png")));
  EXPECT_EQ(run_tool("bake-coverage " + samples() + " --camera Panoramic --server QuorinBakingCam" + output).exit_code, 0);
}

TEST_F(NativeRefusals, AnEyeThatChangesNothingIsToldOf) {
  const auto told_of = [](const Outcome& outcome) {
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return outcome.output.find("one eye") != std::string::npos;
  };
  EXPECT_TRUE(told_of(render("out.png", "--server QuorinFisheyeCam --eye left")));
  EXPECT_TRUE(told_of(run_tool("rays " + quoted(scene_) + " --server QuorinFisheyeCam --eye right")));
  EXPECT_FALSE(told_of(render("out.png", "--server QuorinStereoCam --eye left")));
  EXPECT_FALSE(told_of(render("out.png", "--server QuorinFisheyeCam --eye centre")));
}

}  // namespace native_refusals_test
