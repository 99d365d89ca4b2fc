/// What is left of a run that a signal ends in the middle.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/running_tool.h"
#include "tests/support/tool_fixture.h"

namespace native_interruption_test {

namespace fs = std::filesystem;
using namespace test_support;

class NativeInterruption : public NativeTool {
 protected:
  /// Takes minutes, if nobody interrupts it.
  std::string long_render(const std::string& more = "") const {
    return tool_command("render " + quoted(scene_) + " --samples 4000 --size 1600x1200 --frames 0-9 -o " +
                        quoted(out("long.####.png")) + " " + more);
  }
  bool has_unfinished() const {
    return std::ranges::any_of(names_in(folder_),
                               [](const auto& name) { return name.find(".unfinished-") != std::string::npos; });
  }
  void expect_interrupted(const std::string& command, int signal) {
    std::ofstream(out("long.0000.png")) << "an older picture";
    const auto before = names_in(folder_);
    RunningTool tool(command, out("log"));
    ASSERT_TRUE(comes_true([&] { return has_unfinished(); })) << tool.told();
    tool.kill(signal);
    EXPECT_EQ(tool.wait(), 128 + signal);
    const std::string told = tool.told();
    EXPECT_NE(told.find("ovicam: interrupted; "), std::string::npos) << told;
    EXPECT_EQ(told.find("ovicam: ", told.find("ovicam: ") + 1), std::string::npos) << "one sentence, and no other: " << told;
    fs::remove(out("log"));
    EXPECT_EQ(names_in(folder_), before);
    EXPECT_EQ(contents(out("long.0000.png")), "an older picture");
  }
};

TEST_F(NativeInterruption, EndsWithASentenceAndLeavesNothing) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) expect_interrupted(long_render(), signal);
}

TEST_F(NativeInterruption, FramesThatAreFinishedStay) {
  RunningTool tool(tool_command("render " + quoted(scene_) + " --samples 16 --frames 0-100000 -o " + quoted(out("f.#.png"))),
                   out("log"));
  ASSERT_TRUE(comes_true([&] { return fs::exists(out("f.3.png")); })) << tool.told();
  tool.kill(SIGTERM);
  EXPECT_EQ(tool.wait(), 128 + SIGTERM);
  EXPECT_FALSE(has_unfinished());
  ASSERT_EQ(render("alone.png", "--samples 16 --frames 3 --size 64x48").exit_code, 2) << "options are given twice";
  ASSERT_EQ(run_tool("render " + quoted(scene_) + " --samples 16 --frames 3 -o " + quoted(out("alone.png"))).exit_code, 0);
  EXPECT_TRUE(contents(out("f.3.png")) == contents(out("alone.png")));
}

TEST_F(NativeInterruption, SignalsThatItWasStartedToIgnoreAreIgnored) {
  RunningTool tool("nohup " + long_render(), out("log"));
  ASSERT_TRUE(comes_true([&] { return has_unfinished(); })) << tool.told();
  tool.kill(SIGHUP);
  tool.kill(SIGTERM);
  EXPECT_EQ(tool.wait(), 128 + SIGTERM);
}

TEST_F(NativeInterruption, WhatAKilledRunLeftIsClearedByTheNextInThatFolder) {
  const std::string another = ".long.unfinished-another-machine-1-0.png";
  std::ofstream(out(another)) << "of a machine that shares the folder";
  {
    RunningTool tool(long_render(), out("log"));
    ASSERT_TRUE(comes_true([&] { return names_in(folder_).size() >= 5; })) << tool.told();
    RunningTool second(long_render(), out("second log"));
    ASSERT_TRUE(comes_true([&] { return names_in(folder_).size() >= 7; })) << second.told();
    tool.kill(SIGKILL);
    EXPECT_EQ(tool.wait(), -SIGKILL);
    const auto left = names_in(folder_).size();
    ASSERT_EQ(render("next.png").exit_code, 0);
    EXPECT_EQ(names_in(folder_).size(), left) << "one more picture, and one unfinished file less";
  }
  ASSERT_EQ(render("next.png").exit_code, 0);
  EXPECT_TRUE(fs::exists(out(another)));
  fs::remove(out(another));
  EXPECT_FALSE(has_unfinished());
}

TEST_F(NativeInterruption, LeavesNoServiceUnderWine) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const fs::path folder = copied_shipped_module(out("shipped"));
  const std::string service = (folder / "ovicam-ray-service.exe").string();
  const std::string command = long_render("--server QuorinPanoramicCam --module " + quoted(folder / "OviCam.p"));
  for (const int signal : {SIGINT, SIGTERM}) {
    expect_interrupted(command, signal);
    EXPECT_TRUE(comes_true([&] { return processes_with(service).empty(); }));
  }
  RunningTool tool(command, out("log"));
  ASSERT_TRUE(comes_true([&] { return has_unfinished(); })) << tool.told();
  EXPECT_FALSE(processes_with(service).empty());
  tool.kill(SIGKILL);
  EXPECT_EQ(tool.wait(), -SIGKILL);
  EXPECT_TRUE(comes_true([&] { return processes_with(service).empty(); }));
}

}  // namespace native_interruption_test
