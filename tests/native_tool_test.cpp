#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "standin/session/introspection.h"
#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"
#include "tests/support/write_object.h"

namespace native_tool_test {

namespace fs = std::filesystem;
using test_support::child_folder;
using test_support::contents;
using test_support::names_in;
using test_support::NativeTool;
using test_support::ObjectToWrite;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;
using test_support::shipped_module;
using test_support::tool_command;

using Color = std::array<int, 3>;

/// A picture's colours, 0 to 255, row 0 on top.
struct Colors {
  int width = 0;
  int height = 0;
  std::string bytes;

  Color at(int column, int row) const {
    Color color{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
      color[channel] = static_cast<unsigned char>(bytes.at(
          3 * (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)) + channel));
    }
    return color;
  }
};

/// `channels` has the letters of three channels.
Colors read_picture(const fs::path& file, const std::string& channels = "RGB") {
  Colors colors;
  const auto input = OIIO::ImageInput::open(file.string());
  EXPECT_NE(input, nullptr) << file << ": " << OIIO::geterror();
  if (input == nullptr) return colors;
  const OIIO::ImageSpec& layout = input->spec();
  colors.width = layout.width;
  colors.height = layout.height;
  const auto channel_count = static_cast<std::size_t>(layout.nchannels);
  std::string all(layout.image_pixels() * channel_count, '\0');
  EXPECT_TRUE(input->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::UINT8, all.data())) << input->geterror();
  for (std::size_t pixel = 0; pixel < layout.image_pixels(); ++pixel) {
    for (const char name : channels) {
      const auto channel = static_cast<std::size_t>(layout.channelindex(std::string(1, name)));
      colors.bytes.push_back(all.at(pixel * channel_count + channel));
    }
  }
  return colors;
}

std::string html_text(std::string text) {
  for (std::size_t at = 0; (at = text.find('&', at)) != std::string::npos; ++at) text.replace(at, 1, "&amp;");
  return text;
}

bool is_red(Color color) { return color[0] > 60 && color[1] * 3 < color[0] && color[2] * 3 < color[0]; }
/// Above the horizon.
bool is_sky(Color color) { return color[2] > color[0] && color[2] > 150 && color[1] > 100; }

TEST_F(NativeTool, WrongUsageExitsWithTwoAndSaysWhatIsWrong) {
  const std::string output = " -o " + quoted(out("out.png"));
  const std::string render = "render " + quoted(scene_) + " ";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "subcommand"},
      {"paint", "paint"},
      {render, "output"},
      {"render" + output, "SCENE"},
      {render + "--size 0x48" + output, "--size 0x48"},
      {render + "--size 64x32769" + output, "32768"},
      {render + "--size 64" + output, "--size 64"},
      {render + "--size 64x48x" + output, "--size 64x48x"},
      {render + "--size 99999999999x1" + output, "--size"},
      {render + "--frames 5-1" + output, "--frames 5-1"},
      {render + "--frames 1-5:0" + output, "step"},
      {render + "--frames one" + output, "--frames one"},
      {render + "--frames 99999999999" + output, "99999999999"},
      {render + "--set Zoom" + output, "--set Zoom"},
      {render + "--samples 0" + output, "samples"},
      {render + "--threads 0" + output, "threads"},
      {render + "--eye third" + output, "eye"},
      {render + " -o " + quoted(out("out.gif")), "out.gif"},
      {render + "--gizmo -o " + quoted(out("out.exr")), ".png"},
      {render + "--view-from 1,2,3" + output, "gizmo"},
      {render + "--gizmo --view-from 1,2" + output, "--view-from 1,2"},
      {render + "--gizmo --look-at 1,2,3,4" + output, "--look-at 1,2,3,4"},
      {"panel " + quoted(scene_), "output"},
      {"panel " + quoted(scene_) + " --server QuorinFisheyeCam -o " + quoted(out("panel.txt")), ".html"},
      {"panel " + quoted(scene_) + " --server QuorinFisheyeCam --set 1 -o " + quoted(out("panel.html")), "--set 1"},
      {"skybox", "subcommand"},
      {"skybox split " + quoted(scene_), "output"},
      {"skybox split " + quoted(scene_) + " --layout diamond" + output, "--layout diamond"},
      {"skybox split " + quoted(scene_) + " --film-height 0" + output, "film-height"},
      {"link --wait", "--wait"},
  };
  const auto before = names_in(folder_);
  for (const auto& [arguments, told] : cases) {
    const Outcome outcome = run_tool(arguments);
    EXPECT_EQ(outcome.exit_code, 2) << arguments;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << arguments << "\n" << outcome.output;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
  }
  EXPECT_EQ(names_in(folder_), before);
}

TEST_F(NativeTool, FailuresExitWithOneNameTheirReasonAndLeaveNothingBehind) {
  const std::string bytes = contents(out("cube.lwo"));
  std::ofstream(out("cut.lwo"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  const fs::path cut_scene = out("cut.lws");
  std::ofstream(cut_scene) <<
      [text = contents(scene_)]() mutable { return text.replace(text.find("cube.lwo"), 8, "cut.lwo"); }();
  fs::create_directory(out("folder.png"));
  ASSERT_EQ(run("oiiotool --create 5x5 4 -o " + quoted(out("tiny.png"))).exit_code, 0);
  ASSERT_EQ(run("oiiotool --create 80x60 3 -o " + quoted(out("opaque.png"))).exit_code, 0);
  ASSERT_EQ(run("oiiotool --pattern constant:color=1,1,1,1 80x60 4 -o " + quoted(out("full.png"))).exit_code, 0);
  const std::string render = "render " + quoted(scene_) + " --samples 1 ";
  const std::string panel = "panel " + quoted(scene_) + " -o ";
  const std::string split = "skybox split -o " + quoted(out("faces")) + " ";
  const std::string output = " -o " + quoted(out("out.png"));
  const std::vector<std::pair<std::string, std::string>> cases{
      {"render " + quoted(out("none.lws")) + output, "none.lws"},
      {"render " + quoted(out("cube.lwo")) + output, "cube.lwo"},
      {"render " + quoted(cut_scene) + output, "cut.lwo"},
      {render + "--camera Back" + output, "Front"},
      {render + "--server Nothing" + output, "Nothing"},
      {render + "--set NoSuchParameter=1" + output, "NoSuchParameter"},
      {render + "--module " + quoted(out("none.so")) + output, "none.so"},
      {render + "--server QuorinPanoramicCam --module " + quoted(scene_) + output, "scene.lws"},
      {render + "-o " + quoted(folder_ / "missing" / "out.png"), "folder"},
      {render + "-o " + quoted(out("folder.png")), "folder.png"},
      {"info " + quoted(out("none.so")), "none.so"},
      {render + "--gizmo" + output, "Front"},
      {render + "--gizmo --server QuorinFisheyeCam --set \"Distortion Power=x\"" + output, "Distortion Power"},
      {render + "--gizmo --server QuorinFisheyeCam -o " + quoted(folder_ / "missing" / "out.png"), "folder"},
      {panel + quoted(out("panel.html")), "--server"},
      {panel + quoted(out("panel.html")) + " --server Nothing", "Nothing"},
      {panel + quoted(out("panel.html")) + " --server QuorinFisheyeCam --set Sharpness=1", "Distortion Power"},
      {panel + quoted(out("panel.html")) + " --server QuorinFisheyeCam --set Version=1", "Version"},
      {panel + quoted(folder_ / "missing" / "panel.html") + " --server QuorinFisheyeCam", "folder"},
      {split + quoted(out("none.png")), "none.png"},
      {split + quoted(scene_), "not a picture"},
      {split + quoted(out("folder.png")), "folder.png"},
      {split + quoted(out("tiny.png")), "5x5"},
      {split + quoted(out("tiny.png")) + " --layout cross", "5x5"},
      {split + quoted(out("opaque.png")), "alpha"},
      {split + quoted(out("full.png")), "neither"},
      {"link --module " + quoted(scene_), "scene.lws"},
      {"link --module " + quoted(out("none.so")), "none.so"},
  };
  const auto before = names_in(folder_);
  for (const auto& [arguments, told] : cases) {
    const Outcome outcome = run_tool(arguments);
    EXPECT_EQ(outcome.exit_code, 1) << arguments << "\n" << outcome.output;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << arguments << "\n" << outcome.output;
  }
  EXPECT_EQ(names_in(folder_), before);
}

TEST_F(NativeTool, CubeHasItsColorAndTheSkyIsBehindIt) {
  const Outcome outcome = render("out.png");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("frame 0: camera \"Front\", 64x48, 4 samples"), std::string::npos) << outcome.output;
  const Colors colors = read_picture(out("out.png"));
  EXPECT_EQ(colors.width, 64);
  EXPECT_EQ(colors.height, 48);
  // The front face, 4 m away, covers the middle half of the height.
  EXPECT_TRUE(is_red(colors.at(32, 24)));
  EXPECT_TRUE(is_red(colors.at(32, 13)));
  EXPECT_TRUE(is_red(colors.at(43, 35)));
  EXPECT_TRUE(is_sky(colors.at(32, 10)));
  EXPECT_TRUE(is_sky(colors.at(2, 2)));
  // Below the horizon it is darker than above: the picture is the right way up.
  EXPECT_GT(colors.at(2, 2)[2], colors.at(2, 45)[2] + 50);
}

TEST_F(NativeTool, SizeIsThatOfTheOption) {
  const Outcome outcome = render("out.exr", "--size 33x70");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  const Colors colors = read_picture(out("out.exr"));
  EXPECT_EQ(colors.width, 33);
  EXPECT_EQ(colors.height, 70);
  EXPECT_TRUE(is_red(colors.at(16, 35)));
}

TEST_F(NativeTool, PictureDoesNotDependOnThreads) {
  for (const std::string extension : {".png", ".exr"}) {
    const std::string blur = " --motion-blur --depth-of-field --size 200x100";
    ASSERT_EQ(render("one" + extension, "--threads 1" + blur).exit_code, 0);
    ASSERT_EQ(render("two" + extension, "--threads 2" + blur).exit_code, 0);
    EXPECT_EQ(contents(out("one" + extension)), contents(out("two" + extension))) << extension;
  }
}

TEST_F(NativeTool, MotionBlurSpreadsTheMovingEdge) {
  const auto edge_colors = [&](const std::string& options) {
    const Outcome outcome = run_tool("render " + quoted(scene_) + " --frames 0 --samples 32 --size 256x192 " + options +
                                     " -o " + quoted(out("edge.png")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    const Colors colors = read_picture(out("edge.png"));
    // What is neither the cube's front nor the sky beside it, on a row through the cube's upper half.
    const Color front = colors.at(128, 75);
    const Color beside = colors.at(250, 75);
    int count = 0;
    for (int column = 128; column < 250; ++column) {
      const int blue = colors.at(column, 75)[2];
      if (std::abs(blue - front[2]) > 8 && std::abs(blue - beside[2]) > 8) ++count;
    }
    return count;
  };
  EXPECT_GT(edge_colors("--motion-blur"), edge_colors(""));
}

TEST_F(NativeTool, RangeOfFramesIsTheSameAsEachFrameAlone) {
  const std::string scene = "render " + quoted(scene_) + " --samples 4 ";
  ASSERT_EQ(run_tool(scene + "--frames 0-30:15 -o " + quoted(out("all.%04d.png"))).exit_code, 0);
  ASSERT_EQ(run_tool(scene + "--frames 15 -o " + quoted(out("alone.png"))).exit_code, 0);
  EXPECT_EQ(contents(out("all.0015.png")), contents(out("alone.png")));
  EXPECT_NE(contents(out("all.0015.png")), contents(out("all.0000.png")));
  // A second later the cube is 1 m to the right.
  const Colors colors = read_picture(out("all.0030.png"));
  EXPECT_TRUE(is_red(colors.at(54, 24)));
  EXPECT_FALSE(is_red(colors.at(22, 24)));
}

TEST_F(NativeTool, FrameNumbersGoWhereTheNameWantsThem) {
  const std::string scene = "render " + quoted(scene_) + " --samples 1 --size 8x6 --frames 7-8 -o ";
  ASSERT_EQ(run_tool(scene + quoted(out("a_###_b.png"))).exit_code, 0);
  ASSERT_EQ(run_tool(scene + quoted(out("plain.png"))).exit_code, 0);
  ASSERT_EQ(run_tool(scene + quoted(out("x%dy.exr"))).exit_code, 0);
  for (const std::string name : {"a_007_b.png", "a_008_b.png", "plain.0007.png", "plain.0008.png", "x7y.exr", "x8y.exr"})
    EXPECT_TRUE(fs::exists(out(name))) << name;
  EXPECT_FALSE(fs::exists(out("plain.png")));
}

TEST_F(NativeTool, MissingObjectIsNamedAndTheOthersStillRender) {
  write_scene({"lost.lwo", "cube.lwo"});
  const Outcome outcome = render("out.png");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("warning"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("lost.lwo"), std::string::npos) << outcome.output;
  EXPECT_TRUE(is_red(read_picture(out("out.png")).at(32, 24)));
  EXPECT_TRUE(is_sky(read_picture(out("out.png")).at(32, 10)));
}

TEST_F(NativeTool, ConcavePolygonKeepsItsNotch) {
  // An arrowhead that points up, its notch from below; then polygons without area, which must not show or stop anything.
  ObjectToWrite object;
  object.surfaces = {{"Arrow", {0.9, 0.05, 0.05}}};
  object.points = {{-1.5, -1.5, 0}, {0, 1.5, 0}, {1.5, -1.5, 0}, {0, 0.5, 0}, {0, 0.5, 0}};
  object.polygons = {{{0, 1, 2, 3}, 0}, {{0, 2}, 0}, {{3, 4, 3}, 0}, {{0, 0, 0, 0}, 0}};
  test_support::write_object(object, out("arrow.lwo"));
  write_scene({"arrow.lwo"});
  const Outcome outcome = render("out.png");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  const Colors colors = read_picture(out("out.png"));
  EXPECT_TRUE(is_red(colors.at(32, 16)));
  EXPECT_FALSE(is_red(colors.at(32, 28)));
  EXPECT_TRUE(is_red(colors.at(25, 26)));
  EXPECT_TRUE(is_red(colors.at(38, 26)));
}

TEST_F(NativeTool, TheShippedModuleSeesWhatThisMachinesModuleSees) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string view = " --server QuorinPanoramicCam --size 96x24";
  const Outcome shipped = render("shipped.png", view + " --module " + quoted(shipped_module()));
  ASSERT_EQ(shipped.exit_code, 0) << shipped.output;
  ASSERT_EQ(render("here.png", view).exit_code, 0);
  // Two mathematics libraries: a ray along an edge may fall to the other side of it.
  const Outcome difference =
      run("oiiotool --fail 0.02 --failpercent 0.5 --diff " + quoted(out("shipped.png")) + " " + quoted(out("here.png")));
  EXPECT_EQ(difference.exit_code, 0) << difference.output;
}

TEST_F(NativeTool, CamerasOfServersThatTheModuleLacksArePlainPerspectives) {
  ASSERT_EQ(render("plain.png").exit_code, 0);
  standin::Scene scene = standin::read_scene_file(scene_);
  standin::Item& camera = scene.items.back();
  camera.camera->handler = standin::PluginBlock{"CameraHandler", 1, "AnotherMakersCam", {}};
  standin::Item second = camera;
  second.id += 1;
  second.name = "Second";
  scene.items.push_back(second);
  standin::write_scene_file(scene, scene_);

  const std::string first_line =
      "camera \"Front\"\nnote: no light of the scene is on; it is lit by the preview's own sun and sky\n";
  const std::string told =
      "warning: the module has no camera server \"AnotherMakersCam\", which the scene uses for Front, Second; rendered as a "
      "plain perspective\n";
  const Outcome outcome = render("foreign.png");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.output.find(first_line + told), 0U) << outcome.output;
  EXPECT_TRUE(contents(out("foreign.png")) == contents(out("plain.png")));

  const Outcome with_setting = render("set.png", "--set Power=2");
  EXPECT_EQ(with_setting.exit_code, 1);
  EXPECT_NE(with_setting.output.find("no camera server \"AnotherMakersCam\""), std::string::npos) << with_setting.output;
  EXPECT_NE(with_setting.output.find("choose a camera server for \"Power\""), std::string::npos) << with_setting.output;
  const Outcome asked_for = render("asked.png", "--server AnotherMakersCam");
  EXPECT_EQ(asked_for.exit_code, 1);
  EXPECT_NE(asked_for.output.find("QuorinFisheyeCam"), std::string::npos) << asked_for.output;

  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const Outcome shipped = render("shipped.png", "--module " + quoted(shipped_module()));
  EXPECT_NE(shipped.output.find(told), std::string::npos) << shipped.output;
  EXPECT_TRUE(contents(out("shipped.png")) == contents(out("plain.png")));
}

TEST_F(NativeTool, CamerasThatLeadBackToOneAnotherAreToldOfOnce) {
  standin::Scene scene = standin::read_scene_file(scene_);
  standin::Item& camera = scene.items.back();
  // Both halves show the only other camera.
  camera.camera->handler = standin::PluginBlock{"CameraHandler", 1, "QuorinMultiCam", {"1", "1"}};
  standin::Item second = camera;
  second.id += 1;
  second.name = "Second";
  scene.items.push_back(second);
  standin::write_scene_file(scene, scene_);
  std::vector<std::string> options{""};
  if (!shipped_module().empty()) options.push_back("--module " + quoted(shipped_module()));
  for (const std::string& option : options) {
    const Outcome outcome = render("ring.png", option);
    EXPECT_EQ(outcome.exit_code, 0);
    const auto told = outcome.output.find("lead back to one another");
    ASSERT_NE(told, std::string::npos) << outcome.output;
    EXPECT_LE(std::ranges::count(outcome.output, '\n'), 6) << outcome.output;
  }
}

TEST_F(NativeTool, RenderEndsWithItsSpeed) {
  const Outcome outcome = render("out.png");
  const auto last = outcome.output.rfind("traced ");
  ASSERT_NE(last, std::string::npos) << outcome.output;
  const std::string line = outcome.output.substr(last);
  // 64 x 48 pixels with 4 samples each, and the rays from lit surfaces toward the sun.
  std::smatch found;
  ASSERT_TRUE(std::regex_match(line, found, std::regex("traced ([0-9.]+) k rays, ([0-9.]+)( [kMG])? a second\n"))) << line;
  const double traced_thousands = std::stod(found[1]);
  EXPECT_GE(traced_thousands, 12.2);
  EXPECT_LE(traced_thousands, 2 * 12.3);
  EXPECT_GT(std::stod(found[2]), 0.0);
}

TEST_F(NativeTool, EveryCommandHelpsWithAnExample) {
  for (const std::string command :
       {"", "info", "render", "panel", "rays", "skybox", "skybox split", "bake-coverage", "link", "scene", "completion"}) {
    const Outcome outcome = run_tool(command + " --help");
    EXPECT_EQ(outcome.exit_code, 0) << command;
    const auto example = outcome.output.find("Example");
    ASSERT_NE(example, std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("\n  ovicam " + command, example), std::string::npos) << outcome.output;
  }
}

TEST_F(NativeTool, InfoTellsTheSameOfTheShippedModule) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const Outcome shipped = run_tool("info " + quoted(shipped_module()));
  ASSERT_EQ(shipped.exit_code, 0) << shipped.output;
  EXPECT_EQ(shipped.output, run_tool("info " + quoted(test_support::module_file())).output);
}

TEST_F(NativeTool, InfoShowsEveryServerParameterAndPanelRow) {
  const Outcome outcome = run_tool("info " + quoted(test_support::module_file()));
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("CameraHandler"), std::string::npos);
  const auto cameras = standin::describe_module(test_support::module_file()).cameras;
  ASSERT_FALSE(cameras.empty());
  for (const auto& camera : cameras) {
    EXPECT_NE(outcome.output.find(camera.server_name), std::string::npos);
    for (const auto& parameter : camera.parameters) EXPECT_NE(outcome.output.find(parameter.channel_name), std::string::npos);
    for (const auto& row : camera.panel_rows) EXPECT_NE(outcome.output.find(row.label), std::string::npos);
  }
  for (const char* shown : {"360.00°\n", "6 cm\n", "100.0 %\n", "Vertical Axis of [Horizontal Axis | Vertical Axis]"})
    EXPECT_NE(outcome.output.find(shown), std::string::npos) << shown;
}

using nlohmann::json;

/// Standard output alone, as a program that reads it gets it.
json run_for_json(const std::string& arguments) {
  const Outcome outcome = run("(" + tool_command(arguments) + " 2>/dev/null)");
  EXPECT_EQ(outcome.exit_code, 0) << arguments;
  return json::parse(outcome.output, nullptr, false);
}

const json* found(const json& list, const char* key, const std::string& value) {
  const auto entry = std::ranges::find_if(list, [&](const json& each) { return each.at(key) == value; });
  return entry != list.end() ? &*entry : nullptr;
}

TEST_F(NativeTool, InfoAsJsonTellsWhatPagesNeed) {
  const json module = run_for_json("info " + quoted(test_support::module_file()) + " --json");
  ASSERT_TRUE(module.is_object());
  const auto described = standin::describe_module(test_support::module_file());
  ASSERT_EQ(module.at("servers").size(), described.servers.size());
  ASSERT_EQ(module.at("cameras").size(), described.cameras.size());
  for (const auto& camera : described.cameras) {
    const json* told = found(module.at("cameras"), "server_name", camera.server_name);
    ASSERT_NE(told, nullptr) << camera.server_name;
    EXPECT_EQ(told->at("user_name"), camera.user_name);
    EXPECT_EQ(told->at("projects"), camera.projects);
    EXPECT_EQ(told->at("parameters").size(), camera.parameters.size());
    EXPECT_EQ(told->at("panel_rows").size(), camera.panel_rows.size());
    EXPECT_EQ(told->at("saved_items").size(), camera.saved_items.size());
    const auto html = told->at("panel_html").get<std::string>();
    for (const auto& row : camera.panel_rows) EXPECT_NE(html.find(html_text(row.label)), std::string::npos) << row.label;
  }
  const json* spherical = found(module.at("cameras"), "server_name", "QuorinSphericalCam");
  ASSERT_NE(spherical, nullptr);
  const json* shutter = found(spherical->at("panel_rows"), "label", "Shutter Angle");
  ASSERT_NE(shutter, nullptr);
  EXPECT_EQ(shutter->at("minimum"), 1.0);
  EXPECT_EQ(shutter->at("maximum"), 360.0);
  EXPECT_EQ(shutter->at("channel_name"), "PhotoShutter");
  const json* field = found(spherical->at("panel_rows"), "label", "Angular Field Of View");
  ASSERT_NE(field, nullptr);
  EXPECT_TRUE(field->at("minimum").is_null());
  EXPECT_EQ(run_tool("info " + quoted(out("gone.so")) + " --json").exit_code, 1);
}

TEST_F(NativeTool, InfoAsJsonShowsValuesAsThePanelDoes) {
  const json module = run_for_json("info " + quoted(test_support::module_file()) + " --json");
  ASSERT_TRUE(module.is_object());
  const auto row = [&](const char* list, const char* camera, const char* label) {
    const json* told = found(module.at(list), "server_name", camera);
    const json* control = told != nullptr ? found(told->at("panel_rows"), "label", label) : nullptr;
    EXPECT_NE(control, nullptr) << camera << ' ' << label;
    return control != nullptr ? *control : json::object();
  };
  const auto shown = [&](const char* camera, const char* label) {
    const json control = row("cameras", camera, label);
    return std::array{control.value("quantity", ""), control.value("displayed_value", ""), control.value("displayed_unit", ""),
                      control.value("displayed_text", "")};
  };
  using Shown = std::array<std::string, 4>;
  EXPECT_EQ(shown("QuorinPanoramicCam", "Lower Vertical FOV angle"), (Shown{"angle", "-45.00", "°", "-45.00°"}));
  EXPECT_EQ(shown("QuorinAdvPanCam", "Top Vertical Scale"), (Shown{"percent", "100.0", "%", "100.0 %"}));
  EXPECT_EQ(shown("QuorinStereoCam", "Eye Separation"), (Shown{"length", "6", "cm", "6 cm"}));
  EXPECT_EQ(shown("QuorinStereoCam", "Convergence Limit"), (Shown{"length", "10", "m", "10 m"}));
  EXPECT_EQ(shown("QuorinDpiCam", "Edge Bleed size"), (Shown{"length", "0", "m", "0 m"}));
  EXPECT_EQ(shown("QuorinFisheyeCam", "Auto Distortion Scale"), (Shown{"yes or no", "yes", "", "yes"}));
  EXPECT_EQ(shown("QuorinFisheyeCam", "Preview in Camera View"), (Shown{"yes or no", "no", "", "no"}));
  EXPECT_EQ(shown("QuorinCylinderCam", "Size"), (Shown{"choice", "Vertical Axis", "", "Vertical Axis"}));
  EXPECT_EQ(shown("QuorinStereoCam", "Iris (f-stop)"), (Shown{"number", "2.8", "", "2.8"}));
  EXPECT_EQ(shown("QuorinDpiCam", "Dots Per Inch"), (Shown{"whole number", "300", "", "300"}));
  EXPECT_EQ(shown("QuorinDpiCam", "Calculated Resolution"), (Shown{"text", "Width x Height", "", "Width x Height"}));
  EXPECT_EQ(shown("QuorinDpiCam", "Logo"), (Shown{"none", "", "", ""}));

  const json scale = row("cameras", "QuorinAdvPanCam", "Top Vertical Scale");
  EXPECT_EQ(scale.value("displayed_minimum", ""), "-500.0 %");
  EXPECT_EQ(scale.value("displayed_maximum", ""), "500.0 %");
  EXPECT_EQ(scale.value("maximum", 0.0), 5.0);
  EXPECT_EQ(scale.value("value", ""), "1");
  EXPECT_TRUE(row("cameras", "QuorinStereoCam", "Iris (f-stop)").at("displayed_maximum").is_null());
  EXPECT_EQ(row("unregistered_cameras", "QuorinBakingCam", "Offset from surface").value("displayed_text", ""), "0.01 cm");

  const json* panorama = found(module.at("cameras"), "server_name", "QuorinPanoramicCam");
  ASSERT_NE(panorama, nullptr);
  const json* field = found(panorama->at("parameters"), "channel_name", "HorizontalFOVradians");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->at("displayed_default"), "360.00°");

  // Whatever has a field of its own stands there word for word.
  for (const json& camera : module.at("cameras")) {
    const auto html = camera.at("panel_html").get<std::string>();
    for (const json& control : camera.at("panel_rows")) {
      const auto quantity = control.at("quantity").get<std::string>();
      if (quantity == "none" || quantity == "yes or no") continue;
      const std::string text = html_text(control.at("displayed_text"));
      const std::string before = quantity == "choice" ? "<option selected>" : quantity == "text" ? "\"value\">" : "\">";
      EXPECT_NE(html.find(before + text + "<"), std::string::npos) << camera.at("server_name") << control.at("label");
    }
  }
  EXPECT_NE(module.at("panel_style").get<std::string>().find(".panel "), std::string::npos);
}

TEST_F(NativeTool, InfoAsJsonTellsTheSameOfTheShippedModule) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const json shipped = run_for_json("info " + quoted(shipped_module()) + " --json");
  ASSERT_TRUE(shipped.is_object());
  EXPECT_EQ(shipped, run_for_json("info " + quoted(test_support::module_file()) + " --json"));
}

TEST_F(NativeTool, RaysGoThroughTheFilmFromEdgeToEdge) {
  const json answer = run_for_json("rays " + quoted(scene_) + " --server QuorinPerspectiveNoDOFNoMBCam --grid 5x3 --json");
  ASSERT_TRUE(answer.is_object());
  EXPECT_EQ(answer.at("camera"), "Front");
  EXPECT_EQ(answer.at("pose").at("forward"), json({0.0, 0.0, 1.0}));
  ASSERT_EQ(answer.at("rays").size(), 15U);
  const double width = answer.at("film").at(0);
  const double height = answer.at("film").at(1);
  for (const json& ray : answer.at("rays")) {
    // Column 0 is on the left, row 0 on top.
    const double x = ray.at("column").get<double>() / 4.0 - 0.5;
    const double y = 0.5 - ray.at("row").get<double>() / 2.0;
    EXPECT_NEAR(ray.at("film").at(0), x * width, 1e-12);
    EXPECT_NEAR(ray.at("film").at(1), y * height, 1e-12);
    EXPECT_EQ(ray.at("result"), 1);
    EXPECT_EQ(ray.at("start"), json({0.0, 0.0, 0.0}));
    // At a distance of 4 m the camera sees 2 m up and down, and 64 by 48 pixels are 4 by 3.
    const double ahead = ray.at("direction").at(2);
    EXPECT_NEAR(ray.at("direction").at(0).get<double>() / ahead, x * 4.0 / 3.0, 1e-5);
    EXPECT_NEAR(ray.at("direction").at(1).get<double>() / ahead, y, 1e-5);
  }
}

TEST_F(NativeTool, RaysFollowEyeAndFrameAndSettings) {
  const auto first = [&](const std::string& options) {
    return run_for_json("rays " + quoted(scene_) + " --grid 1x1 --json " + options).at("rays").at(0);
  };
  const std::string stereo = "--server QuorinStereoCam --set EyeSeparation=0.5 --eye ";
  EXPECT_NEAR(first(stereo + "left").at("start").at(0), -0.25, 1e-9);
  EXPECT_NEAR(first(stereo + "right").at("start").at(0), 0.25, 1e-9);
  EXPECT_EQ(first(stereo + "left").at("result"), 8);
  EXPECT_EQ(first("--server QuorinImmersiveCam --frame 7").at("direction").at(2), 1.0);
  EXPECT_EQ(run_for_json("rays " + quoted(scene_) + " --server QuorinImmersiveCam --frame 7 --json").at("frame"), 7);
}

TEST_F(NativeTool, RaysSayWhereThereAreNone) {
  const Outcome outcome = run_tool("rays " + quoted(scene_) + " --server QuorinSkyboxCam --grid 4x3");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  std::istringstream lines(outcome.output);
  std::vector<std::string> rows;
  for (std::string line; std::getline(lines, line);) rows.push_back(line);
  ASSERT_EQ(rows.size(), 13U) << outcome.output;
  EXPECT_NE(rows[0].find("Direction x"), std::string::npos);
  EXPECT_TRUE(rows[1].ends_with("no ray")) << rows[1];
  EXPECT_EQ(std::ranges::count_if(rows, [](const std::string& row) { return row.ends_with("no ray"); }), 6);
}

TEST_F(NativeTool, RaysSayWhatIsWrong) {
  const auto expect = [&](const std::string& options, int exit_code, const std::string& told) {
    const Outcome outcome = run_tool("rays " + quoted(scene_) + " --server QuorinPanoramicCam " + options);
    EXPECT_EQ(outcome.exit_code, exit_code) << options;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << options << "\n" << outcome.output;
  };
  for (const char* grid : {"9", "9x", "x5", "0x5", "9x-1", "9x5x2", "1001x5", "9 x 5", "99999999999x1"})
    expect("--grid '" + std::string(grid) + "'", 2, "COLUMNSxROWS");
  expect("--eye middle", 2, "centre, left or right");
  expect("--frame soon", 2, "frame");
  expect("--camera Nobody", 1, "no camera \"Nobody\"");
  expect("--set Zoom=1", 1, "HorizontalFOVradians");
  expect("--module gone.so", 1, "no such module file");
  EXPECT_EQ(run_tool("rays " + quoted(out("gone.lws"))).exit_code, 1);
}

TEST_F(NativeTool, EveryCameraOfTheModuleRenders) {
  const auto cameras = standin::describe_module(test_support::module_file()).cameras;
  ASSERT_FALSE(cameras.empty());
  int seeing = 0;
  for (const auto& camera : cameras) {
    const Outcome outcome = render("out.png", "--size 32x24 --server " + camera.server_name);
    EXPECT_EQ(outcome.exit_code, 0) << camera.server_name << "\n" << outcome.output;
    // Cameras that look through others, or at an object, see nothing until somebody chooses those.
    const bool has_open_choice = std::ranges::any_of(camera.panel_rows, [](const standin::ControlDescription& row) {
      return std::ranges::find(row.choices, "(none)") != row.choices.end();
    });
    if (camera.parameters.empty() || has_open_choice) continue;
    const Colors colors = read_picture(out("out.png"));
    EXPECT_NE(colors.bytes.find_first_not_of('\0'), std::string::npos) << camera.server_name;
    ++seeing;
  }
  EXPECT_GT(seeing, 0);
}

/// How many pixels are not of the picture's first colour.
int drawn_pixels(const Colors& colors) {
  int count = 0;
  for (int row = 0; row < colors.height; ++row)
    for (int column = 0; column < colors.width; ++column) count += colors.at(column, row) != colors.at(0, 0) ? 1 : 0;
  return count;
}

fs::path gallery_scene() { return test_support::source_folder() / "samples" / "cameras.lws"; }

class NativeToolGizmo : public NativeTool {
 protected:
  /// The picture and what the tool said.
  std::pair<Colors, std::string> draw(const std::string& camera, const std::string& more = "") const {
    const Outcome outcome = run_tool("render " + quoted(gallery_scene()) + " --gizmo --size 320x240 --camera " + camera + " " +
                                     more + " -o " + quoted(out("gizmo.png")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return {read_picture(out("gizmo.png")), outcome.output};
  }
};

TEST_F(NativeToolGizmo, ConvergencePlaneIsDrawnOverTheWiresWhenItIsShown) {
  const std::string view = "--view-from 0,3,-6 --look-at 3,1,2";
  const auto [with_plane, told] = draw("'Stereo Convergence'", view);
  const auto [without, nothing_told] = draw("'Stereo Convergence'", view + " --set 'Show Convergence Plane=0'");
  EXPECT_EQ(told.find("draws nothing"), std::string::npos) << told;
  EXPECT_NE(nothing_told.find("draws nothing"), std::string::npos) << nothing_told;
  EXPECT_GT(drawn_pixels(without), 1000);
  // The plane's pixels are the only ones to change: one patch around the middle of the picture.
  int changed = 0;
  for (int row = 0; row < 240; ++row)
    for (int column = 0; column < 320; ++column) changed += with_plane.at(column, row) != without.at(column, row) ? 1 : 0;
  EXPECT_GT(changed, 300);
  EXPECT_LT(changed, 320 * 240 / 4);
  EXPECT_NE(with_plane.at(160, 120), without.at(160, 120));
}

TEST_F(NativeToolGizmo, ViewDecidesWhatIsSeen) {
  EXPECT_GT(drawn_pixels(draw("'Fisheye Power 2'").first), 10'000);
  // Above everything and looking up.
  EXPECT_EQ(drawn_pixels(draw("'Fisheye Power 2'", "--view-from 0,900,0 --look-at 0,901,0").first), 0);
  EXPECT_GT(drawn_pixels(draw("'Fisheye Power 2'", "--view-from 0,60,0 --look-at 0,0,0").first), 10'000);
}

TEST_F(NativeToolGizmo, FollowsTheFrames) {
  const Outcome outcome = run_tool("render " + quoted(gallery_scene()) +
                                   " --gizmo --size 80x60 --camera Moving --frames 0-15:15 -o " + quoted(out("ride.%02d.png")));
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(contents(out("ride.00.png")), contents(out("ride.15.png")));
}

struct CutFace {
  std::string name;
  int width = 0;
  int height = 0;
  int column = 0;
  int row = 0;
};

std::vector<CutFace> cut_faces(const std::string& output) {
  static const std::regex pattern("([a-z]+): ([0-9]+)x([0-9]+) pixels from column ([0-9]+), row ([0-9]+)");
  std::vector<CutFace> faces;
  for (std::sregex_iterator found(output.begin(), output.end(), pattern); found != std::sregex_iterator(); ++found) {
    const auto number = [&](std::size_t group) { return std::stoi((*found)[group]); };
    faces.push_back({(*found)[1], number(2), number(3), number(4), number(5)});
  }
  return faces;
}

TEST_F(NativeTool, SkyboxFacesAreTheCamerasOwnCellsAndReassemble) {
  for (const std::string type : {"0", "1"}) {
    // Divisible by the grid or not, with film widths that the camera cuts more or less.
    for (const std::string size : {"64x48", "61x47", "33x90"}) {
      const fs::path frame_file = out("sky.png");
      ASSERT_EQ(run_tool("render " + quoted(scene_) + " --server QuorinSkyboxCam --set 'Skybox Type=" + type +
                         "' --samples 1 --frames 0 --size " + size + " -o " + quoted(frame_file))
                    .exit_code,
                0);
      const Outcome outcome = run_tool("skybox split " + quoted(frame_file) + " -o " + quoted(out("faces" + type)));
      ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
      const auto faces = cut_faces(outcome.output);
      ASSERT_EQ(faces.size(), 6U) << outcome.output;
      EXPECT_EQ(names_in(out("faces" + type)),
                (std::vector<std::string>{"back.png", "bottom.png", "front.png", "left.png", "right.png", "top.png"}));

      const Colors frame = read_picture(frame_file);
      const Colors alpha = read_picture(frame_file, "AAA");
      std::vector<int> times_covered(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
      const auto times = [&](int column, int row) -> int& {
        return times_covered[static_cast<std::size_t>(row) * static_cast<std::size_t>(frame.width) +
                             static_cast<std::size_t>(column)];
      };
      for (const CutFace& face : faces) {
        const Colors cut = read_picture(out("faces" + type) / (face.name + ".png"));
        ASSERT_EQ(cut.width, face.width);
        ASSERT_EQ(cut.height, face.height);
        for (int row = 0; row < cut.height; ++row) {
          for (int column = 0; column < cut.width; ++column) {
            ASSERT_EQ(cut.at(column, row), frame.at(face.column + column, face.row + row)) << face.name << ' ' << size;
            ++times(face.column + column, face.row + row);
          }
        }
      }
      // One sample goes through a pixel's centre: the camera sees something there if and only if the pixel is of a face.
      for (int row = 0; row < frame.height; ++row)
        for (int column = 0; column < frame.width; ++column)
          ASSERT_EQ(times(column, row), alpha.at(column, row)[0] > 0 ? 1 : 0) << size << " column " << column << " row " << row;
    }
  }
  // Without alpha the layout has to be given, and then does as well.
  ASSERT_EQ(run("oiiotool " + quoted(out("sky.png")) + " --ch R,G,B -o " + quoted(out("opaque.png"))).exit_code, 0);
  EXPECT_EQ(run_tool("skybox split --layout alternate " + quoted(out("opaque.png")) + " -o " + quoted(out("again"))).exit_code,
            0);
  EXPECT_EQ(read_picture(out("again") / "top.png").bytes, read_picture(out("faces1") / "top.png").bytes);
}

TEST_F(NativeTool, PanelPageShowsEveryRowOfEveryCamera) {
  const auto cameras = standin::describe_module(test_support::module_file()).cameras;
  ASSERT_FALSE(cameras.empty());
  for (const auto& camera : cameras) {
    const fs::path page = out(camera.server_name + ".html");
    const Outcome outcome = run(
        "PATH=/nowhere; " + tool_command("panel " + quoted(scene_) + " --server " + camera.server_name + " -o " + quoted(page))
                                .replace(0, 3, "/usr/bin/env"));
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_NE(outcome.output.find("Only the page"), std::string::npos) << outcome.output;
    EXPECT_FALSE(fs::exists(out(camera.server_name + ".png")));
    const std::string html = contents(page);
    EXPECT_NE(html.find(html_text(camera.user_name)), std::string::npos) << camera.server_name;
    for (const auto& row : camera.panel_rows) {
      EXPECT_NE(html.find(html_text(row.label)), std::string::npos) << camera.server_name << ' ' << row.label;
      for (const auto& choice : row.choices) EXPECT_NE(html.find(">" + html_text(choice) + "</option>"), std::string::npos);
    }
    EXPECT_NE(html.find("data:image/png;base64,"), std::string::npos) << camera.server_name;
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(html.find("http"), std::string::npos);
  }
}

TEST_F(NativeTool, PanelShowsValuesWithTheirUnits) {
  const auto page = [&](const std::string& options) {
    const Outcome outcome = run_tool("panel " + options + " -o " + quoted(out("panel.html")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return contents(out("panel.html"));
  };
  const std::string advanced = page(quoted(scene_) + " --server QuorinAdvPanCam --set HScalePos=0.5 --set VShift=-0.25");
  EXPECT_NE(advanced.find(">360.00°<"), std::string::npos);
  EXPECT_NE(advanced.find(">-45.00°<"), std::string::npos);
  EXPECT_NE(advanced.find(">50.0 %<"), std::string::npos);
  EXPECT_NE(advanced.find(">-25.0 %<"), std::string::npos);
  const std::string stereo = page(quoted(gallery_scene()) + " --camera 'Stereo Convergence'");
  EXPECT_NE(stereo.find(">40 cm<"), std::string::npos);
  EXPECT_NE(stereo.find(">20 m<"), std::string::npos);
  EXPECT_NE(stereo.find("<option selected>Convergence Point</option>"), std::string::npos);
  EXPECT_NE(stereo.find("type=\"checkbox\" checked"), std::string::npos);
  const std::string dpi = page(quoted(gallery_scene()) + " --camera DPI --set 'Printed Image Size=Vertical Height'");
  EXPECT_NE(dpi.find("<option selected>Vertical Height</option>"), std::string::npos);
  EXPECT_NE(dpi.find("value=\"110\""), std::string::npos);
}

TEST_F(NativeTool, PanelPictureIsThePage) {
  if (run("command -v chromium").exit_code != 0) GTEST_SKIP() << "no Chromium is installed";
  const Outcome outcome =
      run_tool("panel " + quoted(gallery_scene()) + " --camera 'Skybox Cross' -o " + quoted(out("panel.html")));
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  ASSERT_TRUE(fs::exists(out("panel.png"))) << outcome.output;
  const Colors colors = read_picture(out("panel.png"));
  EXPECT_GT(colors.width, 400);
  EXPECT_GT(colors.height, 150);
  int grey_face_pixels = 0;
  for (int row = 0; row < colors.height; ++row)
    for (int column = 0; column < colors.width; ++column)
      grey_face_pixels += colors.at(column, row) == Color{150, 150, 150} ? 1 : 0;
  // Six squares of the diagram, less the lines between them.
  EXPECT_GT(grey_face_pixels, 6 * 35 * 35);
  EXPECT_LE(grey_face_pixels, 6 * 40 * 40);
  for (const auto& name : names_in(child_folder())) EXPECT_FALSE(name.starts_with("ovicam-browser")) << name;
}

class NativeToolLink : public NativeTool {
 protected:
  static Outcome link(const fs::path& temporary) {
    return run("TMPDIR=" + quoted(temporary) + " " + quoted(test_support::module_file().parent_path() / "ovicam") + " link");
  }
  void write_link(const std::string& text) const {
    std::ofstream(out("next"), std::ios::binary) << text;
    fs::rename(out("next"), out("Quorin_CameraLink.ini"));
  }
};

TEST_F(NativeToolLink, ShowsWhatACameraPublished) {
  const Outcome none = link(folder_);
  EXPECT_EQ(none.exit_code, 1);
  EXPECT_NE(none.output.find("there is no camera link file"), std::string::npos) << none.output;
  ASSERT_EQ(
      run("TMPDIR=" + quoted(folder_) + " " + quoted(test_support::module_file().parent_path() / "ovicam") + " render " +
          quoted(scene_) + " --server QuorinSphericalCam --set ISO=1600 --size 8x6 --samples 1 -o " + quoted(out("x.png")))
          .exit_code,
      0);
  const Outcome outcome = link(folder_);
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("OviCam Spherical"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("1600"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("180 degrees"), std::string::npos) << outcome.output;
}

TEST_F(NativeToolLink, SaysWhyThereIsNoRecord) {
  const auto expect = [&](const Outcome& outcome, const std::string& told) {
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << outcome.output;
  };
  expect(link(folder_ / "gone"), "temporary directory does not exist");
  expect(link(folder_ / std::string(300, 'x')), "TMPDIR");
  write_link(std::string("\0\xff[CameraLink\n=\n", 16));
  expect(link(folder_), "no version");
  write_link("[CameraLink]\nversion=2\n");
  expect(link(folder_), "version is 2");
  fs::remove(out("Quorin_CameraLink.ini"));
  fs::create_directory(out("Quorin_CameraLink.ini"));
  expect(link(folder_), "not a file");
}

TEST_F(NativeToolLink, WatchShowsEveryChangeAndEndsWhenInterrupted) {
  write_link("[CameraLink]\nversion=1\niso=100\n");
  const std::string log = quoted(out("log"));
  std::ofstream(out("second")) << "[CameraLink]\nversion=1\niso=200\n";
  // Waits for each text to be shown, half a minute at most.
  const std::string wait =
      "wait_for() { for i in $(seq 300); do grep -q \"$1\" " + log + " && return 0; sleep 0.1; done; return 1; }; ";
  const Outcome outcome =
      run(wait + "TMPDIR=" + quoted(folder_) + " " + quoted(test_support::module_file().parent_path() / "ovicam") +
          " link --watch > " + log + " 2>&1 & watcher=$!; wait_for 'ISO  *100' && mv " + quoted(out("second")) + " " +
          quoted(out("Quorin_CameraLink.ini")) + " && wait_for 'ISO  *200' && rm " + quoted(out("Quorin_CameraLink.ini")) +
          " && wait_for 'no camera link file' && echo all shown; kill -INT $watcher; wait $watcher");
  EXPECT_NE(outcome.output.find("all shown"), std::string::npos) << outcome.output << contents(out("log"));
  EXPECT_EQ(outcome.exit_code, 0) << contents(out("log"));
  const std::string shown = contents(out("log"));
  EXPECT_LT(shown.find("100"), shown.find("200")) << shown;
  // Each was shown once, however often the file was looked at.
  EXPECT_EQ(shown.find("Native ISO", shown.find("Native ISO", shown.find("Native ISO") + 1) + 1), std::string::npos) << shown;
}

/// White pixels: the ones that are covered.
int white_pixels(const Colors& colors) {
  int count = 0;
  for (int row = 0; row < colors.height; ++row)
    for (int column = 0; column < colors.width; ++column) count += colors.at(column, row) == Color{255, 255, 255} ? 1 : 0;
  return count;
}

std::string bake_command(const std::string& more) {
  return tool_command("bake-coverage " + quoted(gallery_scene()) + " --camera Baking " + more);
}

TEST_F(NativeTool, CoverageShowsWhatAnObjectsTextureCovers) {
  const auto shown = [&](const std::string& more) {
    const Outcome outcome = run(bake_command(more + " -o " + quoted(out("coverage.png"))));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return read_picture(out("coverage.png"));
  };
  const Colors corners = shown("");
  EXPECT_EQ(corners.width, 480);
  EXPECT_EQ(corners.height, 480);
  EXPECT_GT(white_pixels(corners), 400);
  EXPECT_LT(white_pixels(corners), 1037) << "more than the object has points";
  EXPECT_GT(white_pixels(shown("--set 'Bake surroundings=1'")), 10 * white_pixels(corners));
  EXPECT_EQ(white_pixels(shown("--set 'Mesh=(none)'")), 0);
  // The floor's tiles: eight corners each way, up the left side and along the foot too.
  const Colors floor = shown("--set Mesh=plaza_floor --set 'UV Map=Plaza UV' --size 80x80");
  for (int row = 0; row < 80; ++row) {
    for (int column = 0; column < 80; ++column) {
      const bool corner = row % 10 == 9 && column % 10 == 0;
      // The map's right edge is the next row's first pixel.
      const bool right_edge = row % 10 == 8 && column == 0;
      if (!right_edge) EXPECT_EQ(floor.at(column, row)[0] == 255, corner) << column << ' ' << row;
    }
  }
}

TEST_F(NativeTool, WhatAModulePrintsIsNotTheToolsOwnOutput) {
  const std::string command = bake_command("-o " + quoted(out("coverage.png")));
  const Outcome own = run("(" + command + " 2>/dev/null)");
  EXPECT_EQ(own.exit_code, 0);
  EXPECT_EQ(own.output.find("480x480 pixels, "), 0U) << own.output;
  EXPECT_EQ(std::ranges::count(own.output, '\n'), 1);
  const Outcome both = run(command);
  EXPECT_NE(both.output.find("polys = 00000590\n"), std::string::npos) << both.output;
}

TEST_F(NativeTool, CoverageRefusesWhatIsWrong) {
  const auto expect_refused = [&](const std::string& more, int exit_code, const std::string& reason) {
    const Outcome outcome = run(bake_command(more));
    EXPECT_EQ(outcome.exit_code, exit_code) << more;
    EXPECT_NE(outcome.output.find(reason), std::string::npos) << outcome.output;
  };
  const std::string picture = " -o " + quoted(out("coverage.png"));
  expect_refused("", 2, "--output");
  expect_refused("-o coverage.txt", 2, ".png or .exr");
  expect_refused("--size 12" + picture, 2, "WIDTHxHEIGHT");
  expect_refused("--size 0x12" + picture, 2, "from 1 to 32768");
  expect_refused("--server QuorinDpiCam" + picture, 2, "QuorinBakingCam");
  expect_refused("--set Mesh=nothing" + picture, 1, "plaza_floor");
  EXPECT_FALSE(fs::exists(out("coverage.png")));
}

TEST_F(NativeTool, TheShippedModuleCoversWhatThisMachinesModuleCovers) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string more = "--set 'Bake surroundings=1' --size 96x64";
  const Outcome shipped =
      run(bake_command(more + " --module " + quoted(shipped_module()) + " -o " + quoted(out("shipped.png"))));
  ASSERT_EQ(shipped.exit_code, 0) << shipped.output;
  EXPECT_NE(shipped.output.find("polys = 00000590"), std::string::npos) << shipped.output;
  ASSERT_EQ(run(bake_command(more + " -o " + quoted(out("here.png")))).exit_code, 0);
  EXPECT_GT(white_pixels(read_picture(out("here.png"))), 500);
  EXPECT_EQ(contents(out("shipped.png")), contents(out("here.png")));
}

/// A white floor, 40 m wide, seen straight from 10 m above in 64 x 48 pixels: 4.8 of them are a metre, x to the right and z up.
/// Scenes are written line by line, as the host writes them; without ambient light.
class NativeToolLights : public NativeTool {
 protected:
  void SetUp() override {
    ObjectToWrite floor;
    floor.surfaces = {{.name = "Floor", .color = {1.0, 1.0, 1.0}}};
    floor.points = {{-20, 0, -20}, {-20, 0, 20}, {20, 0, 20}, {20, 0, -20}};
    floor.polygons = {{{0, 1, 2, 3}, 0}};
    test_support::write_object(floor, out("floor.lwo"));
    ObjectToWrite box = test_support::cube(1.0, {1.0, 1.0, 1.0});
    for (standin::Vec3& point : box.points) point.y += 0.5;
    test_support::write_object(box, out("box.lwo"));
  }

  static std::string motion(const std::string& keyword, const std::array<double, 6>& at) {
    std::ostringstream lines;
    lines << keyword << "\nNumChannels 9\n";
    for (std::size_t i = 0; i < 9; ++i) {
      lines << "Channel " << i << "\n{ Envelope\n  1\n  Key " << (i < 6 ? at[i] : 1.0)
            << " 0 0 0 0 0 0 0 0\n  Behaviors 1 1\n}\n";
    }
    return lines.str();
  }

  static std::string object(const std::string& file) {
    return "LoadObjectLayer 1 10000000 " + file + "\n" + motion("ObjectMotion", {});
  }

  static std::string light(const std::array<double, 6>& at, const std::string& settings) {
    return "AddLight 20000000\nLightName Lamp\n" + motion("LightMotion", at) + "LightColor 1 1 1\nLightIntensity 1\n" +
           settings;
  }

  static std::string camera() {
    return "AddCamera 30000000\nCameraName Above\n" + motion("CameraMotion", {0, 10, 0, 0, 1.5707963267948966, 0}) +
           "ZoomFactor 2\nFrameSize 64 48\n";
  }

  void write_text(const std::string& text) const { std::ofstream(scene_, std::ios::binary) << text; }

  /// What the floor shows, of 255, without the curve that a screen needs.
  Colors shown(const std::string& objects, const std::string& lights, const std::string& more = "--frames 0") const {
    write_text("LWSC\n5\n\nFirstFrame 0\nLastFrame 30\nFramesPerSecond 30\n" + objects +
               "AmbientColor 1 1 1\nAmbientIntensity 0\n" + lights + camera());
    const Outcome outcome = run_tool("render " + quoted(scene_) + " --samples 1 -o " + quoted(out("lit.exr")) + " " + more);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    told_ = outcome.output;
    return read_picture(out("lit.exr"));
  }

  static int at(const Colors& colors, double x, double z) {
    return colors.at(static_cast<int>(32 + 4.8 * x), static_cast<int>(24 - 4.8 * z))[1];
  }

  mutable std::string told_;
};

constexpr double quarter_turn = 1.5707963267948966;
/// What a white surface shows of a light of intensity 1, of 255.
constexpr double full = 0.75 * 255;

TEST_F(NativeToolLights, ADistantLightShinesAlongItsAxisAndCastsAShadow) {
  const std::string objects = object("floor.lwo") + object("box.lwo");
  // Towards +x and down, half and half.
  const std::array<double, 6> pose{0, 0, 0, quarter_turn, quarter_turn / 2, 0};
  const Colors colors = shown(objects, light(pose, "LightType 0\nShadowType 1\n"));
  EXPECT_EQ(told_.find("note"), std::string::npos) << told_;
  EXPECT_NEAR(at(colors, -2, 0), full * 0.7071, 2);
  EXPECT_EQ(at(colors, 1, 0), 0) << "in the box's shadow";
  EXPECT_NEAR(at(colors, 2.5, 0), full * 0.7071, 2);
  EXPECT_NEAR(at(shown(objects, light(pose, "LightType 0\nShadowType 0\n")), 1, 0), full * 0.7071, 2);
}

TEST_F(NativeToolLights, TheFacesTowardsALightAreBright) {
  // From the side of -z, at the height of the box, between it and the camera above nothing: its right side is lit from +x.
  write_text("LWSC\n5\nFramesPerSecond 30\n" + object("box.lwo") + "AmbientIntensity 0\n" +
             light({5, 0.5, 0, 0, 0, 0}, "LightType 1\n") + "AddCamera 30000000\n" +
             motion("CameraMotion", {5, 0.5, -5, -quarter_turn / 2, 0, 0}) + "ZoomFactor 3\nFrameSize 64 48\n");
  ASSERT_EQ(run_tool("render " + quoted(scene_) + " --samples 1 --frames 0 -o " + quoted(out("lit.exr"))).exit_code, 0);
  const Colors colors = read_picture(out("lit.exr"));
  EXPECT_NEAR(colors.at(34, 24)[0], full, 4) << "the face towards +x";
  EXPECT_EQ(colors.at(27, 24)[0], 0) << "the face towards -z";
}

TEST_F(NativeToolLights, APointLightFallsOffAsItsKindSays) {
  const double far = std::sqrt(13.0);
  const double slant = 2.0 / far;
  const auto share = [](int kind, double distance) {
    return kind == 0 ? 1.0 : kind == 1 ? 1.0 - distance / 5.0 : kind == 2 ? 1.5 / distance : 2.25 / (distance * distance);
  };
  for (const int kind : {0, 1, 2, 3}) {
    const std::string range = kind == 1 ? "5" : "1.5";
    const Colors colors = shown(
        object("floor.lwo"),
        light({0, 2, 0, 0, 0, 0}, "LightType 1\nLightFalloffType " + std::to_string(kind) + "\nLightRange " + range + "\n"));
    EXPECT_NEAR(at(colors, 0.05, 0), full * share(kind, 2), 3) << kind;
    EXPECT_NEAR(at(colors, 3.02, 0), full * slant * share(kind, far), 3) << kind;
    EXPECT_NEAR(at(colors, -3.02, 0), full * slant * share(kind, far), 3) << kind;
  }
  const Colors out_of_range =
      shown(object("floor.lwo"), light({0, 2, 0, 0, 0, 0}, "LightType 1\nLightFalloffType 1\nLightRange 3\n"));
  EXPECT_EQ(at(out_of_range, 3, 0), 0);
}

TEST_F(NativeToolLights, APointLightsShadowReachesOnlyWhatIsBehind) {
  const auto shaded = [&](double height) {
    return shown(object("floor.lwo") + object("box.lwo"), light({-2, height, 0, 0, 0, 0}, "LightType 1\nShadowType 1\n"));
  };
  const Colors high = shaded(3);
  EXPECT_EQ(at(high, 1, 0), 0);
  EXPECT_GT(at(high, 3, 0), 10) << "beyond the shadow's end";
  EXPECT_GT(at(high, -1, 0), 50);
  // A box beyond the light keeps nothing from the floor before it.
  const Colors before = shown(object("floor.lwo") + object("box.lwo"), light({2, 0.5, 0, 0, 0, 0}, "LightType 1\n"));
  EXPECT_GT(at(before, 3, 0), 50);
  EXPECT_EQ(at(before, -1.5, 0), 0);
}

TEST_F(NativeToolLights, ASpotLightsConeEndsSoftly) {
  for (const std::string angles : {"LightConeAngle 30\nLightEdgeAngle 10\n", "ConeAngle 0.5235988\nEdgeAngle 0.1745329\n"}) {
    const Colors colors = shown(object("floor.lwo"), light({0, 4, 0, 0, quarter_turn, 0}, "LightType 2\n" + angles));
    EXPECT_NEAR(at(colors, 0, 0), full, 3);
    EXPECT_NEAR(at(colors, 1.1, 0), full * std::cos(std::atan(1.1 / 4)), 4) << "20 degrees from the axis all of it is left";
    // The middle of a pixel within the edge.
    const double beside = 8.5 / 4.8;
    const double angle = std::atan(beside / 4);
    const double degrees = angle * 90 / quarter_turn;
    EXPECT_NEAR(at(colors, beside, 0), full * (30 - degrees) / 10 * std::cos(angle), 3);
    EXPECT_EQ(at(colors, 2.6, 0), 0);
    EXPECT_EQ(at(colors, 0, -2.6), 0);
  }
}

TEST_F(NativeToolLights, LinearAndAreaLightsShineAsPoints) {
  const auto lit = [&](const std::string& settings) {
    return shown(object("floor.lwo"), light({1, 2, 0, 0.3, 0.2, 0}, settings)).bytes;
  };
  const std::string point = lit("LightType 1\n");
  EXPECT_EQ(lit("LightType 3\n"), point);
  EXPECT_EQ(lit("LightType 4\n"), point);
  EXPECT_EQ(lit("Plugin LightHandler 1 AreaLight\nEndPlugin\n"), point);
  EXPECT_NE(lit("Plugin LightHandler 1 DistantLight\nEndPlugin\n"), point);
  EXPECT_EQ(lit("LightType 8\n"), point);
  EXPECT_NE(told_.find("light type 8 is not known"), std::string::npos) << told_;
}

TEST_F(NativeToolLights, LightsAddUpAndAreKeyed) {
  const std::string ramp = "{ Envelope\n  2\n  Key 0 0 3\n  Key 1 1 3\n  Behaviors 1 1\n}\n";
  const std::string still = "{ Envelope\n  1\n  Key 0.25 0 0\n  Behaviors 1 1\n}\n";
  const std::string lights = light({0, 9, 0, 0, quarter_turn, 0}, "LightType 0\nLightIntensity\n" + ramp) +
                             light({0, 9, 0, 0, quarter_turn, 0}, "LightType 0\nLightColor\n" + still + ramp + still);
  const auto middle = [&](const std::string& frames) {
    return shown(object("floor.lwo"), lights, "--frames " + frames).at(32, 24);
  };
  EXPECT_NEAR(middle("0")[0], full * 0.25, 2);
  EXPECT_EQ(middle("0")[1], 0);
  EXPECT_NEAR(middle("15")[0], full * 0.75, 2);
  EXPECT_NEAR(middle("15")[1], full, 2);
}

TEST_F(NativeToolLights, AmbientLightHasItsColorAndIntensity) {
  const auto ambient = [&](const std::string& settings) {
    write_text("LWSC\n5\nFramesPerSecond 30\n" + object("floor.lwo") + settings + light({0, -5, 0, 0, 0, 0}, "LightType 0\n") +
               camera());
    EXPECT_EQ(run_tool("render " + quoted(scene_) + " --samples 1 --frames 0 -o " + quoted(out("lit.exr"))).exit_code, 0);
    return read_picture(out("lit.exr")).at(32, 24);
  };
  const Color half = ambient("AmbientColor 1 0 0.5\nAmbientIntensity 0.5\n");
  EXPECT_GT(half[0], 50);
  EXPECT_EQ(half[1], 0);
  EXPECT_GT(half[2], 50);
  const Color quarter = ambient("AmbientColor 1 0 0.5\nAmbientIntensity 0.25\n");
  EXPECT_NEAR(quarter[0], half[0] * 0.5, 1);
  EXPECT_EQ(ambient("AmbientColor 1 1 1\nAmbientIntensity 0\n"), (Color{0, 0, 0}));
}

TEST_F(NativeToolLights, WithoutALightThatIsOnThePreviewsSunShinesAndIsToldOf) {
  const std::string none = shown(object("floor.lwo"), "").bytes;
  EXPECT_NE(told_.find("note: no light of the scene is on"), std::string::npos) << told_;
  for (const std::string off : {"LightIntensity 0\n", "LightColor 0 0 0\n", "ItemActive 0\n"}) {
    EXPECT_EQ(shown(object("floor.lwo"), light({0, 2, 0, 0, 0, 0}, "LightType 1\n" + off)).bytes, none) << off;
    EXPECT_NE(told_.find("note: no light of the scene is on"), std::string::npos) << off;
  }
}

TEST_F(NativeToolLights, SurfacesAreSeenFromTheSidesThatTheyHave) {
  ObjectToWrite sheet;
  sheet.surfaces = {{.name = "Sheet", .color = {1.0, 0.0, 0.0}}};
  // Its front looks down, its back to the camera.
  sheet.points = {{-2, 1, -2}, {2, 1, -2}, {2, 1, 2}, {-2, 1, 2}};
  sheet.polygons = {{{0, 1, 2, 3}, 0}};
  const std::string lamp = light({0, 5, 0, 0, quarter_turn, 0}, "LightType 0\nShadowType 0\n");
  const auto middle = [&](std::size_t sides) {
    sheet.surfaces[0].sides = sides;
    test_support::write_object(sheet, out("sheet.lwo"));
    return shown(object("floor.lwo") + object("sheet.lwo"), lamp).at(32, 24);
  };
  const int lit = static_cast<int>(std::lround(full));
  const Color floor{lit, lit, lit};
  const Color red{lit, 0, 0};
  EXPECT_EQ(middle(0), floor);
  EXPECT_EQ(middle(1), floor);
  EXPECT_EQ(middle(2), red);
  EXPECT_EQ(middle(3), red);
  std::swap(sheet.polygons[0].points[1], sheet.polygons[0].points[3]);
  EXPECT_EQ(middle(1), red);
  EXPECT_EQ(middle(2), floor);
}

TEST_F(NativeToolLights, SmoothSurfacesBendTheLightOverTheirEdges) {
  // A ridge along z: two sides that slope by a quarter of a right angle each way, in shared points.
  ObjectToWrite ridge;
  ridge.surfaces = {{.name = "Ridge", .color = {1.0, 1.0, 1.0}}};
  ridge.points = {{-2, 0, -4}, {-2, 0, 4}, {0, 0.828427, -4}, {0, 0.828427, 4}, {2, 0, -4}, {2, 0, 4}};
  ridge.polygons = {{{0, 1, 3, 2}, 0}, {{2, 3, 5, 4}, 0}};
  const auto ridge_at = [&](double smoothing_radians, double x) {
    ridge.surfaces[0].smoothing_radians = smoothing_radians;
    test_support::write_object(ridge, out("ridge.lwo"));
    return at(shown(object("ridge.lwo"), light({0, 5, 0, 0, quarter_turn, 0}, "LightType 0\nShadowType 0\n")), x, 0);
  };
  const double sloping = full * std::cos(quarter_turn / 4);
  EXPECT_NEAR(ridge_at(0, 0.1), sloping, 2);
  EXPECT_NEAR(ridge_at(1.0, 0.1), full, 3) << "the ridge itself looks straight up";
  EXPECT_NEAR(ridge_at(1.0, 1.9), sloping, 3);
  EXPECT_NEAR(ridge_at(0.7, 0.1), sloping, 2) << "they meet at more than the smoothing angle";
}

TEST_F(NativeToolLights, AnImageOnAColorIsToldOfOnceAndTheBaseColorDrawn) {
  ObjectToWrite floor;
  floor.surfaces = {{.name = "Painted", .color = {0.0, 1.0, 0.0}, .has_image = true},
                    {.name = "Printed", .color = {0.0, 0.0, 1.0}, .has_image = true}};
  floor.points = {{-20, 0, -20}, {-20, 0, 20}, {20, 0, 20}, {20, 0, -20}};
  floor.polygons = {{{0, 1, 2}, 0}, {{0, 2, 3}, 1}};
  test_support::write_object(floor, out("painted.lwo"));
  const Colors colors =
      shown(object("painted.lwo") + object("painted.lwo"), light({0, 5, 0, 0, quarter_turn, 0}, "LightType 0\n"));
  EXPECT_GT(colors.at(20, 10)[1], 150);
  EXPECT_GT(colors.at(44, 38)[2], 150);
  const auto first = told_.find(R"(warning: the colour of surfaces "Painted", "Printed" comes from an image)");
  ASSERT_NE(first, std::string::npos) << told_;
  EXPECT_EQ(told_.find("warning", first + 1), std::string::npos) << told_;
}

TEST_F(NativeToolLights, ScenesOfTheOldestVersionLookLikeThoseOfTheNewest) {
  const std::string new_form = shown(object("box.lwo") + object("floor.lwo"),
                                     light({3, 3, -1, -quarter_turn, quarter_turn / 2, 0},
                                           "LightType 2\nLightColor 1 0.2 0.4\nLightIntensity 0.5\nLightConeAngle 40\n"
                                           "LightEdgeAngle 10\nLightFalloffType 1\nLightRange 8\nShadowType 1\n"))
                                   .bytes;
  const std::string at_rest = "ObjectMotion (unnamed)\n  9\n  1\n  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\n";
  write_text(
      "LWSC\n1\n\nFirstFrame 0\nLastFrame 30\nFrameStep 1\nFramesPerSecond 30.000000\n\nLoadObject box.lwo\nShowObject 6 6\n" +
      at_rest + "LoadObject floor.lwo\n" + at_rest +
      "\nAmbientColor 255 255 255\nAmbIntensity 0.000000\n\nAddLight\nLightName Spot\nLightMotion (unnamed)\n  9\n  2\n"
      "  0 3 -1 -90 45 0 1 1 1\n  0 0 0 0 0\n  6 3 -1 -90 45 0 1 1 1\n  30 1 0 0 0\nEndBehavior 1\nLightColor 255 51 102\n"
      "LgtIntensity 0.500000\nFalloff 0.125000\nLightType 2\nConeAngle 40.000000\nEdgeAngle 10.000000\nShadowType 1\n\n"
      "ShowCamera 0 7\nCameraMotion (unnamed)\n  9\n  1\n  0 10 0 0 90 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\n"
      "ZoomFactor 2.000000\nFrameSize 64 48\nRenderMode 2\nAntialiasing 0\n");
  const Outcome outcome = run_tool("render " + quoted(scene_) + " --samples 1 --frames 15 -o " + quoted(out("old.exr")));
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_EQ(outcome.output.find("warning"), std::string::npos) << outcome.output;
  const Colors old_form = read_picture(out("old.exr"));
  ASSERT_EQ(old_form.bytes.size(), new_form.size());
  int different = 0;
  for (std::size_t i = 0; i < new_form.size(); ++i)
    different += std::abs(static_cast<unsigned char>(new_form[i]) - static_cast<unsigned char>(old_form.bytes[i])) > 1 ? 1 : 0;
  // Angles in degrees are not the same to the last bit: an edge may fall beside its pixel.
  EXPECT_LE(different, 6);
  EXPECT_GT(std::ranges::count_if(new_form, [](char c) { return static_cast<unsigned char>(c) > 20; }), 200);
}

TEST_F(NativeToolLights, TheCurrentCameraIsTakenAndNamedFirst) {
  const auto first_line = [&](const std::string& end, const std::string& more) {
    write_text("LWSC\n5\nFramesPerSecond 30\n" + object("floor.lwo") + "AddCamera 30000000\nCameraName First\nFrameSize 8 6\n" +
               "AddCamera 30000001\nCameraName The second\nFrameSize 12 6\n" + end);
    const Outcome outcome = run_tool("render " + quoted(scene_) + " --samples 1 --frames 0 -o " + quoted(out("c.png")) + more);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return outcome.output.substr(0, outcome.output.find('\n')) + ", " + std::to_string(read_picture(out("c.png")).width);
  };
  EXPECT_EQ(first_line("", ""), "camera \"First\", 8");
  EXPECT_EQ(first_line("CurrentCamera 30000001\n", ""), "camera \"The second\", 12");
  EXPECT_EQ(first_line("CurrentCamera 1\n", ""), "camera \"The second\", 12");
  EXPECT_EQ(first_line("CurrentCamera 1\n", " --camera First"), "camera \"First\", 8");
  const json rays = run_for_json("rays " + quoted(scene_) + " --json --grid 1x1 --server QuorinPanoramicCam");
  EXPECT_EQ(rays.at("camera"), "The second");
}

TEST_F(NativeToolLights, ObjectsAreFoundInTheContentFolderInAnyCaseAndWhatIsMissingIsNamedOnce) {
  fs::create_directories(out("Art/objects/Deep"));
  fs::copy_file(out("floor.lwo"), out("Art/objects/Deep/Far Floor.lwo"));
  const std::string lamp = light({0, 5, 0, 0, quarter_turn, 0}, "LightType 0\n");
  const std::string content = "--frames 0 --content " + quoted(out("Art"));
  for (const std::string written : {"Objects/deep/far floor.LWO", "OBJECTS\\DEEP\\FAR FLOOR.LWO",
                                    R"(D:\Shows\Objects\Deep\Far Floor.lwo)", "D:Objects/Deep/Far Floor.lwo"}) {
    EXPECT_GT(at(shown(object(written), lamp, content), 0, 0), 150) << written;
    EXPECT_EQ(told_.find("warning"), std::string::npos) << told_;
  }
  const Colors colors =
      shown(object("floor.lwo") + object("Lost/one.lwo") + object("Lost/one.lwo") + object("two.lwo"), lamp, content);
  EXPECT_GT(at(colors, 0, 0), 150);
  for (const std::string lost : {"Lost/one.lwo", "two.lwo"}) {
    const auto first = told_.find(lost);
    ASSERT_NE(first, std::string::npos) << told_;
    EXPECT_EQ(told_.find(lost, first + 1), std::string::npos) << told_;
  }
  EXPECT_NE(told_.find(out("Art").string()), std::string::npos) << told_;
  const Outcome nowhere =
      run_tool("render " + quoted(scene_) + " --content " + quoted(out("Gone")) + " -o " + quoted(out("x.png")));
  EXPECT_EQ(nowhere.exit_code, 1);
  EXPECT_NE(nowhere.output.find("Gone: there is no such folder"), std::string::npos) << nowhere.output;
}

TEST_F(NativeToolLights, ManyLightsOfEveryKindEndInAPicture) {
  std::string lights;
  for (int i = 0; i < 40; ++i) {
    lights +=
        light({std::sin(i) * 5, 0.2 + i * 0.1, std::cos(i) * 5, 0.3 * i, 0.2 * i, 0},
              "LightType " + std::to_string(i % 5) + "\nLightIntensity 0.1\nLightFalloffType " + std::to_string(i % 4) + "\n");
  }
  EXPECT_GT(at(shown(object("floor.lwo") + object("box.lwo"), lights, "--frames 0 --size 200x150"), 0, 0), 0);
}

TEST_F(NativeToolLights, DamagedScenesGiveASentence) {
  const std::string scene =
      "LWSC\n5\nFramesPerSecond 30\n" + object("floor.lwo") + light({0, 2, 0, 0, 0, 0}, "LightType 1\n") + camera();
  for (const std::size_t share : {3U, 2U}) {
    write_text(scene.substr(0, scene.size() / share));
    const Outcome outcome = run_tool("render " + quoted(scene_) + " -o " + quoted(out("x.png")));
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find("scene.lws"), std::string::npos) << outcome.output;
  }
  using namespace std::string_literals;
  write_text("LWSC\n1\nObjectMotion (unnamed)\n9\n99999999\n\0\xff{{{{"s);
  EXPECT_EQ(run_tool("render " + quoted(scene_) + " -o " + quoted(out("x.png"))).exit_code, 1);
  EXPECT_FALSE(fs::exists(out("x.png")));
}

TEST_F(NativeTool, ScenesOfTheHostRender) {
  const fs::path scenes = test_support::host_scene_folder();
  if (scenes.empty()) GTEST_SKIP() << "no scenes saved by the host beside this clone";
  int count = 0;
  for (const auto& entry : fs::directory_iterator(scenes)) {
    if (entry.path().extension() != ".lws") continue;
    const Outcome outcome =
        run_tool("render " + quoted(entry.path()) + " --samples 1 --size 64x48 -o " + quoted(out("host.png")));
    EXPECT_EQ(outcome.exit_code, 0) << entry.path() << "\n" << outcome.output;
    EXPECT_EQ(outcome.output.find("warning"), std::string::npos) << outcome.output;
    ++count;
  }
  EXPECT_GT(count, 0);
}

}  // namespace native_tool_test
