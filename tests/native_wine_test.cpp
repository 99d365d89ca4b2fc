/// What a person is told when Wine does not do its part.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/running_tool.h"
#include "tests/support/tool_fixture.h"

namespace native_wine_test {

namespace fs = std::filesystem;
using namespace test_support;

class NativeWine : public NativeTool {
 protected:
  void SetUp() override {
    if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
    NativeTool::SetUp();
  }
  std::string render_command(const std::string& more) const {
    return tool_command("render " + quoted(scene_) + " --server QuorinPanoramicCam -o " + quoted(out("out.#.png")) + " " +
                        more);
  }
  void expect_one_sentence(const Outcome& outcome, const std::string& told) const {
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.output.find("ovicam: "), 0U) << outcome.output;
    EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1) << outcome.output;
    EXPECT_FALSE(fs::exists(out("out.1.png")));
  }
};

TEST_F(NativeWine, NotInstalled) {
  const std::string module = "--module " + quoted(shipped_module());
  expect_one_sentence(run("OVICAM_WINE=/nowhere/wine " + render_command(module)), "is not installed; install");
  expect_one_sentence(run("OVICAM_WINE=/nowhere/wine " + tool_command("info " + quoted(shipped_module()))), "is not installed");
}

TEST_F(NativeWine, APrefixThatCannotBeWritten) {
  const fs::path prefix = scene_ / "prefix";
  expect_one_sentence(run("OVICAM_WINEPREFIX=" + quoted(prefix) + " " + render_command("--module " + quoted(shipped_module()))),
                      "The folder " + prefix.string() + " cannot be written");
}

TEST_F(NativeWine, APrefixIsNamedFromTheFolderThatOneIsIn) {
  const std::string folder = "cd " + quoted(out("")) + " && OVICAM_WINE=/usr/bin/env OVICAM_WINEPREFIX=";
  // In the place of Wine, a program that shows what it was given.
  fs::create_directory(out("relative"));
  std::ofstream(out("relative") / "ready").close();
  const Outcome outcome = run(folder + "relative " + quoted(fs::path(OVICAM_SOURCE_DIR) / "cmake/run-wine.sh"));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("WINEPREFIX=" + out("relative").string() + "\n"), std::string::npos) << outcome.output;
}

TEST_F(NativeWine, APrefixThatCannotBeSetUpNamesTheLog) {
  // A Wine that fails after it has said much.
  const Outcome outcome = run("OVICAM_WINE=/bin/ls OVICAM_WINEPREFIX=" + quoted(out("prefix")) + " " +
                              render_command("--module " + quoted(shipped_module())));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.output.find("Wine cannot be set up in " + out("prefix").string()), std::string::npos) << outcome.output;
  const auto named = outcome.output.find("Wine's messages are in ");
  ASSERT_NE(named, std::string::npos) << outcome.output;
  const fs::path log = outcome.output.substr(named + 23, outcome.output.size() - named - 24);
  EXPECT_NE(contents(log).find("ls: "), std::string::npos) << log;
  EXPECT_EQ(outcome.output.find("ls: "), std::string::npos) << outcome.output;
}

/// Wine's server sometimes drops a program's connection before the program begins.
TEST_F(NativeWine, AServiceThatWineLosesAsItStartsIsStartedOnceMore) {
  const fs::path wine = out("wine");
  const auto say = [&](const std::string& condition) {
    std::ofstream(wine) << "#!/bin/sh\necho start >> " << quoted(out("starts")) << "\nif " << condition
                        << "; then echo 'wine client error:0: recvmsg: Connection reset by peer' >&2; exit 1; fi\n"
                        << "exec /usr/lib/wine/wine64 \"$@\"\n";
    fs::permissions(wine, fs::perms::owner_all);
    fs::remove(out("starts"));
  };
  const std::string render =
      "OVICAM_WINE=" + quoted(wine) + " " + render_command("--frames 1 --samples 1 --module " + quoted(shipped_module()));
  say("test $(wc -l < " + quoted(out("starts")) + ") = 1");
  const Outcome second = run(render);
  EXPECT_EQ(second.exit_code, 0) << second.output;
  EXPECT_EQ(contents(out("starts")), "start\nstart\n");
  EXPECT_TRUE(fs::exists(out("out.1.png")));
  fs::remove(out("out.1.png"));

  say("true");
  const Outcome never = run(render);
  EXPECT_EQ(never.exit_code, 1);
  EXPECT_NE(never.output.find("Wine's server has dropped the connection"), std::string::npos) << never.output;
  EXPECT_EQ(contents(out("starts")), "start\nstart\n");
  EXPECT_FALSE(fs::exists(out("out.1.png")));
}

TEST_F(NativeWine, AServiceThatIsKilled) {
  const fs::path folder = copied_shipped_module(out("shipped"));
  RunningTool tool(render_command("--samples 64 --frames 0-100000 --module " + quoted(folder / "OviCam.p")), out("log"));
  ASSERT_TRUE(comes_true([&] { return fs::exists(out("out.0.png")); })) << tool.told();
  for (const pid_t service : processes_with((folder / "ovicam-ray-service.exe").string()))
    if (service != tool.process()) ::kill(service, SIGKILL);
  EXPECT_EQ(tool.wait(), 1);
  EXPECT_NE(tool.told().find("ovicam: The ray service, which runs the module under Wine, has died (signal 9); render again"),
            std::string::npos)
      << tool.told();
  for (const auto& name : names_in(folder_)) EXPECT_EQ(name.find(".unfinished"), std::string::npos) << name;
}

TEST_F(NativeWine, SceneShowsTheSizesThatTheShippedModuleWorksOut) {
  const auto told = [](const fs::path& module) {
    const Outcome outcome =
        run_tool("scene --json " + quoted(source_folder() / "samples" / "cameras.lws") + " --module " + quoted(module));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return outcome.output;
  };
  const std::string shipped = told(shipped_module());
  EXPECT_NE(shipped.find("\"worked_out_size\": \"800 x 450\""), std::string::npos) << shipped;
  EXPECT_EQ(shipped, told(module_file()));
}

TEST_F(NativeWine, AFreshPrefixIsSaidToBeSetUp) {
  const std::string command =
      "OVICAM_WINEPREFIX=" + quoted(out("fresh")) + " " +
      tool_command("rays " + quoted(scene_) + " --grid 1x1 --server QuorinPanoramicCam --module " + quoted(shipped_module()));
  const Outcome first = run(command);
  EXPECT_EQ(first.exit_code, 0) << first.output;
  EXPECT_EQ(first.output.find("note: Wine is being set up in " + out("fresh").string()), 0U) << first.output;
  const Outcome second = run(command);
  EXPECT_EQ(second.exit_code, 0) << second.output;
  EXPECT_EQ(second.output.find("set up"), std::string::npos) << second.output;
}

}  // namespace native_wine_test
