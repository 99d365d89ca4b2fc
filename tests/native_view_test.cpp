/// `ovicam view` as its page uses it: who is refused, that every control of every camera's panel can be turned, that refinement
/// ends in the bytes of `ovicam render`, and that nothing goes on that nobody waits for.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <httplib.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/view_page.h"

namespace native_view_test {

namespace fs = std::filesystem;
using namespace test_support;
using nlohmann::json;

TEST_F(NativeView, WhoeverHasNotTheAddressIsRefused) {
  Page page(small_view(), out("log"));
  const std::string state = page.folder() + "state";
  const auto port = page.host().substr(page.host().find(':'));
  ASSERT_EQ(status_of(page.client().Get(state)), 200);
  EXPECT_EQ(status_of(page.client().Get(state, {{"Origin", "http://" + page.host()}})), 200);
  EXPECT_EQ(status_of(page.client().Get(state, {{"Host", "localhost" + port}})), 200);
  for (const std::string& host : {std::string("evil.example"), "evil.example" + port, std::string("127.0.0.1"),
                                  std::string("127.0.0.1:1"), "127.0.0.1.evil.example" + port, std::string()})
    EXPECT_EQ(status_of(page.client().Get(state, {{"Host", host}})), 403) << host;
  for (const std::string origin : {"http://evil.example", "null", "http://127.0.0.1", "http://127.0.0.1:1"})
    EXPECT_EQ(status_of(page.client().Get(state, {{"Origin", origin}})), 403) << origin;
  EXPECT_EQ(status_of(page.client().Get(state, {{"Origin", "https://" + page.host()}})), 403);
  for (const std::string site : {"cross-site", "same-site"})
    EXPECT_EQ(status_of(page.client().Get(state, {{"Sec-Fetch-Site", site}})), 403) << site;
  std::string other = page.folder();
  other[5] = other[5] == '0' ? '1' : '0';
  for (const std::string& path : {std::string("/"), std::string("/state"), std::string("/page.js"), other + "state", other,
                                  page.folder().substr(0, 10) + "/state", "/" + page.folder() + "state"}) {
    const auto answer = page.client().Get(path);
    EXPECT_EQ(status_of(answer), 403) << path;
    if (answer) EXPECT_NE(answer->body.find("ovicam view"), std::string::npos) << answer->body;
  }
  EXPECT_EQ(status_of(page.client().Post(other + "change", R"({"frame":1})", "application/json")), 403);
  EXPECT_EQ(page.state().at("change"), 0) << "nothing that was refused had an effect";
}

TEST_F(NativeView, OnlyWhatThePageNeedsIsThereWithinBounds) {
  Page page(small_view(), out("log"));
  for (const std::string name : {"", "page.js", "sphere_viewer.js", "page.css", "state"})
    EXPECT_EQ(status_of(page.client().Get(page.folder() + name)), 200) << name;
  for (const std::string name : {"../state/x", "etc/passwd", "page.html", "scene.lws", "state/"})
    EXPECT_EQ(status_of(page.client().Get(page.folder() + name)), 404) << name;
  EXPECT_EQ(status_of(page.client().Delete(page.folder() + "state")), 404);
  EXPECT_EQ(status_of(page.client().Get(page.folder() + "change")), 404);
  EXPECT_EQ(status_of(page.client().Post(page.folder() + "change", R"({"frame":1})", "text/plain")), 400);
  for (const std::string body : {"",
                                 "{",
                                 "[]",
                                 "7",
                                 R"({"frame":1.5})",
                                 R"({"frame":"1"})",
                                 R"({"frame":99999999999999999999})",
                                 R"({"frame":18446744073709551615})",
                                 R"({"size":[0,10]})",
                                 R"({"size":[8193,10]})",
                                 R"({"size":[8192,8192]})",
                                 R"({"size":[10]})",
                                 R"({"samples":0})",
                                 R"({"samples":4097})",
                                 R"({"camera":1})",
                                 R"({"camera":-1})",
                                 R"({"eye":"third"})",
                                 R"({"settings":[["a"]]})",
                                 R"({"settings":[[1,2]]})",
                                 R"({"settings":{}})",
                                 R"({"other":1})",
                                 R"({"gizmo":1})"}) {
    const auto answer = page.post(body);
    EXPECT_EQ(status_of(answer), 400) << body;
    if (answer) EXPECT_FALSE(json::parse(answer->body).at("trouble").get<std::string>().empty()) << body;
  }
  EXPECT_EQ(status_of(page.post(R"({"server":")" + std::string(2000, 'x') + "\"}")), 400);
  EXPECT_EQ(status_of(page.post(std::string(100000, ' '))), 413);
  for (const std::string at : {"x=1", "x=a&y=1", "x=nan&y=1", "x=-1&y=1", "x=1&y=48.5", "x=1e300&y=1"})
    EXPECT_EQ(status_of(page.client().Get(page.folder() + "look?" + at)), 400) << at;
  EXPECT_EQ(page.state().at("change"), 0);
}

/// Controls that no ray follows, by server.
std::set<std::string> controls_without_effect() {
  std::set<std::string> all{// What a printer does with the picture.
                            "QuorinDpiCam: Dots Per Inch", "QuorinDpiCam: Printed Image Size", "QuorinDpiCam: SizeAxis",
                            // The scale stays what it was when it was automatic.
                            "QuorinFisheyeCam: Auto Distortion Scale",
                            // What is only drawn in a viewport or told to a shader.
                            "QuorinFisheyeCam: Parallel Film Normals", "QuorinFisheyeCam: Preview in Camera View",
                            "QuorinStereoCam: Convergence Limit", "QuorinStereoCam: Show Convergence Plane"};
  // The host's own zoom counts.
  for (const std::string server : {"QuorinFisheyeCam", "QuorinPerspectiveCam", "QuorinPerspectiveNoDOFCam",
                                   "QuorinPerspectiveNoDOFNoMBCam", "QuorinRadialShiftCam", "QuorinStereoCam"})
    all.insert(server + ": ZoomFactor");
  // The exposure is published, and no light of this tool follows it.
  for (const std::string server : {"QuorinPerspectiveCam", "QuorinPerspectiveNoDOFCam", "QuorinPerspectiveNoDOFNoMBCam",
                                   "QuorinSphericalCam", "QuorinStereoCam"})
    for (const std::string label : {"ISO", "Iris (f-stop)", "Shutter Angle"}) all.insert(server + ": " + label);
  return all;
}

TEST_F(NativeView, EveryControlOfEveryCameraCanBeTurnedAndThePictureIsTheCommands) {
  const fs::path scene = source_folder() / "samples" / "cameras.lws";
  Page page(quoted(scene) + " --size 24x16 --samples 2", out("log"));
  page.open();
  std::size_t cameras = 0;
  std::size_t all_turned = 0;
  std::set<std::string> unseen;
  const json servers = page.state().at("servers");
  for (const json& server : servers) {
    SCOPED_TRACE(server.at("name"));
    json state = page.state_with(page.change({{"server", server.at("name")}}));
    EXPECT_EQ(state.at("server"), server.at("name"));
    EXPECT_EQ(state.at("trouble"), "");
    ++cameras;
    std::size_t turned = 0;
    std::string last = page.refined_picture(state.at("change")).png;
    const json rows = state.at("rows");
    for (const json& described : rows) {
      const std::string label = described.at("name");
      const std::string value = another_value(row_called(state, label));
      if (value.empty()) continue;
      SCOPED_TRACE(label + "=" + value);
      const std::string before = row_called(state, label).at("value");
      const std::uint64_t change = page.change({{"settings", json::array({json::array({label, value})})}});
      state = page.state_with(change);
      EXPECT_EQ(state.at("trouble"), "");
      EXPECT_NE(row_called(state, label).at("value"), before);
      ++turned;
      std::string png = page.refined_picture(change).png;
      if (png == last) unseen.insert(server.at("name").get<std::string>() + ": " + label);
      last = std::move(png);
    }
    all_turned += turned;
    const Page::Picture picture = page.refined_picture(state.at("change"));
    EXPECT_TRUE(picture.png == rendered(state)) << state.at("command");
  }
  EXPECT_EQ(cameras, 18U) << "seventeen, and the host's own";
  EXPECT_GT(all_turned, 80U) << "of all their panels";
  EXPECT_EQ(unseen, controls_without_effect());
}

TEST_F(NativeView, EyesFramesSizesAndTheGizmoAreThoseOfTheCommand) {
  Page page(quoted(scene_) + " --server QuorinStereoCam --samples 2", out("log"));
  page.open();
  for (const json& change :
       {json{{"eye", "left"}}, json{{"eye", "right"}}, json{{"eye", "red-cyan"}}, json{{"frame", 30}}, json{{"size", {31, 17}}},
        json{{"samples", 1}}, json{{"gizmo", true}}, json{{"gizmo", false}, {"eye", "centre"}, {"samples", 5}}}) {
    const std::uint64_t number = page.change(change);
    const Page::Picture picture = page.refined_picture(number);
    EXPECT_TRUE(picture.png == rendered(page.state())) << change;
  }
}

TEST_F(NativeView, TheShippedModuleIsTurnedInTheSameWay) {
  if (shipped_module().empty()) GTEST_SKIP() << "it is not built";
  Page page(small_view("--module " + quoted(shipped_module())), out("log"));
  page.open();
  const json before = page.state();
  const json state = page.state_with(page.change({{"settings", json::array({json::array({"Horizontal FOV angle", "200"})})}}));
  EXPECT_EQ(state.at("trouble"), "");
  EXPECT_EQ(row_called(state, "Horizontal FOV angle").at("shown"), "200.00");
  EXPECT_NE(state.at("rows"), before.at("rows"));
  EXPECT_TRUE(page.refined_picture(state.at("change")).png == rendered(state));
  page.close();
  page.tool().kill(SIGINT);
  EXPECT_EQ(page.tool().wait(), 0);
}

TEST_F(NativeView, ManyQuickChangesLeaveNoBacklog) {
  Page page(small_view("--size 320x240"), out("log"));
  page.open();
  page.refined_picture(0);
  std::uint64_t last = 0;
  constexpr int changes = 200;
  for (int i = 0; i < changes; ++i) {
    const std::string value = std::to_string(100 + i);
    last = page.change({{"settings", json::array({json::array({"Horizontal FOV angle", value})})}});
  }
  EXPECT_EQ(last, changes);
  const std::uint64_t before = page.picture().value_or(Page::Picture()).number;
  const Page::Picture end = page.refined_picture(last);
  // One that is being rendered, and the steps of the last state.
  EXPECT_LE(end.number - before, 8U);
  const json state = page.state();
  EXPECT_EQ(row_called(state, "Horizontal FOV angle").at("shown"), "299.00");
  EXPECT_TRUE(end.png == rendered(state));
}

/// Kilobytes of memory that a process has.
long resident_kilobytes(pid_t process) {
  std::istringstream lines(contents("/proc/" + std::to_string(process) + "/status"));
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  return 0;
}

TEST_F(NativeView, AThousandChangesLeaveTheMemoryAsItIs) {
  Page page(small_view("--size 48x32"), out("log"));
  page.open();
  page.refined_picture(0);
  const auto turn_knobs = [&](int count) {
    std::uint64_t last = 0;
    for (int i = 0; i < count; ++i) {
      const double way = i % 90;
      switch (i % 5) {
        case 0:
          last = page.change({{"turn", {way, -way, 0.0}}});
          break;
        case 1:
          last = page.change({{"frame", i % 60}});
          break;
        case 2:
          last = page.change({{"compare", i % 2 == 0}, {"eye", i % 3 == 0 ? "red-cyan" : "centre"}});
          break;
        case 3:
          last = page.change({{"size", {40 + i % 8, 32}}});
          break;
        default:
          last = page.change({{"settings", json::array({json::array({"Horizontal FOV angle", std::to_string(100.0 + way)})})}});
      }
      while (page.state().at("change").get<std::uint64_t>() < last) std::this_thread::yield();
    }
    page.refined_picture(last);
  };
  turn_knobs(200);
  const long before = resident_kilobytes(page.tool().process());
  ASSERT_GT(before, 0);
  turn_knobs(1000);
  EXPECT_LT(resident_kilobytes(page.tool().process()), before + 8192);
}

TEST_F(NativeView, AResetBringsBackTheCommandLinesSettings) {
  Page page(small_view("--set 'Horizontal FOV angle=123'"), out("log"));
  page.open();
  const json before = page.state();
  EXPECT_EQ(row_called(before, "Horizontal FOV angle").at("shown"), "123.00");
  page.state_with(page.change({{"settings", json::array({json::array({"Horizontal FOV angle", "45"})})}}));
  const json after = page.state_with(page.change({{"reset", true}}));
  EXPECT_EQ(after.at("rows"), before.at("rows"));
  EXPECT_EQ(after.at("command"), before.at("command"));
  EXPECT_TRUE(page.refined_picture(after.at("change")).png == rendered(after));
  const json other = page.state_with(page.change({{"server", "QuorinSphericalCam"}}));
  EXPECT_EQ(other.at("command").get<std::string>().find("--set"), std::string::npos) << "they are not for another camera";
}

TEST_F(NativeView, WhatCannotBeSetIsToldAndChangesNothing) {
  Page page(small_view(), out("log"));
  page.open();
  const json before = page.state();
  for (const auto& [label, value] : {std::pair{"Horizontal FOV angle", "wide"}, std::pair{"Horizontal FOV angle", "1e999"},
                                     std::pair{"No such label", "1"}, std::pair{"", "1"}}) {
    const json state = page.state_with(page.change({{"settings", json::array({json::array({label, value})})}}));
    EXPECT_NE(state.at("trouble"), "") << label << value;
    EXPECT_EQ(state.at("rows"), before.at("rows"));
    EXPECT_EQ(state.at("command"), before.at("command"));
  }
  const json none = page.state_with(page.change({{"server", "NoSuchCam"}}));
  EXPECT_NE(none.at("trouble").get<std::string>().find("NoSuchCam"), std::string::npos) << none.at("trouble");
  const std::uint64_t back = page.change({{"server", "QuorinPanoramicCam"}});
  EXPECT_EQ(page.state_with(back).at("trouble"), "");
  EXPECT_TRUE(page.refined_picture(back).png == rendered(page.state()));
}

TEST_F(NativeView, AVanishedSceneIsToldAndUsedAgainWhenItIsBack) {
  Page page(small_view(), out("log"));
  page.open();
  page.refined_picture(0);
  fs::rename(scene_, out("away.lws"));
  const json lost = page.state_with(page.change({{"size", {20, 20}}}));
  EXPECT_NE(lost.at("trouble").get<std::string>().find("scene.lws"), std::string::npos) << lost.at("trouble");
  std::ofstream(scene_) << "LWSC\n5\n";
  const json empty = page.state_with(page.change({{"size", {21, 20}}}));
  EXPECT_NE(empty.at("trouble").get<std::string>().find("has no camera"), std::string::npos) << empty.at("trouble");
  fs::rename(out("away.lws"), scene_);
  const std::uint64_t change = page.change({{"size", {22, 20}}});
  EXPECT_EQ(page.state_with(change).at("trouble"), "");
  EXPECT_TRUE(page.refined_picture(change).png == rendered(page.state()));
}

TEST_F(NativeView, APointLeadsToItsRayAndBack) {
  Page page(small_view(), out("log"));
  const auto answer = page.client().Get(page.folder() + "look?x=32&y=24");
  ASSERT_EQ(status_of(answer), 200);
  const json seen = json::parse(answer->body);
  EXPECT_EQ(seen.at("film"), json::array({0.0, 0.0}));
  EXPECT_NEAR(seen.at("direction").at(2).get<double>(), 1.0, 1e-9);
  EXPECT_NEAR(seen.at("hit").at(2).get<double>(), 4.0, 1e-5) << "the cube's front";
  EXPECT_NEAR(seen.at("projected_pixel").at(0).get<double>(), 32.0, 1e-3);
  EXPECT_NEAR(seen.at("projected_pixel").at(1).get<double>(), 24.0, 1e-3);
}

/// Clock ticks of processor time that a process has taken.
long processor_time(pid_t process) {
  const std::string line = contents("/proc/" + std::to_string(process) + "/stat");
  std::istringstream rest(line.substr(line.rfind(')') + 2));
  std::string word;
  for (int field = 3; field < 14; ++field) rest >> word;
  long user = 0;
  long system = 0;
  rest >> user >> system;
  return user + system;
}

TEST_F(NativeView, NothingIsRenderedWhenNobodyWatchesAndCtrlCEndsIt) {
  Page page(quoted(scene_) + " --server QuorinPanoramicCam --size 1600x1200 --samples 4096", out("log"));
  const pid_t process = page.tool().process();
  EXPECT_FALSE(page.picture()) << "nobody has opened the page";
  page.open();
  ASSERT_TRUE(comes_true([&] { return page.picture().has_value(); }));
  page.close();
  EXPECT_TRUE(comes_true([&] {
    const long before = processor_time(process);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return processor_time(process) - before <= 2;
  })) << "it renders for nobody";
  const auto picture = page.picture();
  ASSERT_TRUE(picture);
  EXPECT_FALSE(picture->refined);
  page.open();
  ASSERT_TRUE(comes_true([&] {
    const long before = processor_time(process);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return processor_time(process) - before > 10;
  })) << "it goes on for whoever comes back";
  page.tool().kill(SIGINT);
  EXPECT_EQ(page.tool().wait(), 0);
}

TEST_F(NativeView, WhatCannotBeShownIsToldInOneSentence) {
  Page page(small_view(), out("log"));
  const std::string port = page.host().substr(page.host().find(':') + 1);
  const Outcome taken = run_tool("view --no-browser " + small_view("--port " + port));
  EXPECT_EQ(taken.exit_code, 1);
  EXPECT_NE(taken.output.find("Port " + port + " cannot be had"), std::string::npos) << taken.output;
  std::ofstream(out("broken.lws")) << "no scene";
  {
    standin::Scene empty = standin::read_scene_file(scene_);
    std::erase_if(empty.items, [](const standin::Item& item) { return item.kind == standin::ItemKind::object; });
    standin::write_scene_file(empty, out("empty.lws"));
  }
  for (const auto& [arguments, exit_code, told] :
       {std::tuple{quoted(out("broken.lws")), 1, "broken.lws"}, std::tuple{quoted(out("none.lws")), 1, "none.lws"},
        std::tuple{quoted(out("empty.lws")), 1, "nothing to be seen"}, std::tuple{small_view("--camera Nobody"), 1, "Nobody"},
        std::tuple{quoted(scene_) + " --server NoCam", 1, "NoCam"}, std::tuple{small_view("--set 'No label=1'"), 1, "No label"},
        std::tuple{small_view("--port 0"), 2, "--port"}, std::tuple{small_view("--port 65536"), 2, "--port"},
        std::tuple{small_view("--size 9000x10"), 2, "--size"}}) {
    const Outcome outcome = run_tool("view --no-browser " + arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << arguments << outcome.output;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("ovicam: "), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.output.find("http://"), std::string::npos) << outcome.output;
  }
}

}  // namespace native_view_test
