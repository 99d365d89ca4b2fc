#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_full_disk_test {

namespace fs = std::filesystem;
using test_support::contents;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;
using test_support::tool_command;

fs::path sample(const std::string& name) { return test_support::source_folder() / "samples" / name; }

/// What writes files, as the folder that it writes into decides.
class FullDisk : public NativeTool {
 protected:
  fs::path sky() const { return out("sky.png"); }

  void make_sky() const {
    ASSERT_EQ(run_tool("render " + quoted(sample("cameras.lws")) + " --camera 'Skybox Cross' --size 128x96 --samples 1 -o " +
                       quoted(sky()))
                  .exit_code,
              0);
  }

  std::vector<std::string> writers(const fs::path& into) const {
    const std::string small = " --samples 1 --size 96x64 -o ";
    const std::string cameras = quoted(sample("cameras.lws"));
    return {"render " + quoted(scene_) + small + quoted(into / "light.png"),
            "render " + quoted(scene_) + small + quoted(into / "light.exr"),
            "render " + cameras + " --camera 'Stereo Convergence' --gizmo --size 200x150 -o " + quoted(into / "gizmo.png"),
            "bake-coverage " + cameras + " --camera Baking --size 96x64 -o " + quoted(into / "coverage.png"),
            "bake-coverage " + cameras + " --camera Baking --size 96x64 -o " + quoted(into / "coverage.exr"),
            "skybox split " + quoted(sky()) + " -o " + quoted(into)};
  }
};

TEST_F(FullDisk, EveryWriterTellsOfItAndLeavesTheOldFiles) {
  make_sky();
  constexpr std::uintmax_t block = 512;
  for (std::size_t i = 0; i < writers({}).size(); ++i) {
    const fs::path whole = out("whole" + std::to_string(i));
    fs::create_directory(whole);
    const Outcome outcome = run_tool(writers(whole)[i]);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const auto written = names_in(whole);
    std::uintmax_t largest = 0;
    for (const std::string& name : written) largest = std::max(largest, fs::file_size(whole / name));
    ASSERT_GT(largest, block) << writers(whole)[i];

    const fs::path limited = out("limited" + std::to_string(i));
    fs::create_directory(limited);
    for (const std::string& name : written) std::ofstream(limited / name) << "old " << name;
    // Room for nothing, for half of it, and for all but the last bytes.
    for (const std::uintmax_t blocks : {std::uintmax_t{0}, largest / block / 2, (largest - 1) / block}) {
      const std::string command = writers(limited)[i];
      const Outcome failed = run("ulimit -f " + std::to_string(blocks) + "; " + tool_command(command));
      EXPECT_EQ(failed.exit_code, 1) << command << "\n" << failed.output;
      EXPECT_NE(failed.output.find("cannot be written"), std::string::npos) << failed.output;
      EXPECT_EQ(names_in(limited), written) << command;
      for (const std::string& name : written) EXPECT_EQ(contents(limited / name), "old " + name) << command;
    }
    const Outcome enough = run("ulimit -f " + std::to_string(largest / block + 1) + "; " + tool_command(writers(limited)[i]));
    EXPECT_EQ(enough.exit_code, 0) << enough.output;
    for (const std::string& name : written) EXPECT_EQ(contents(limited / name), contents(whole / name)) << name;
  }
}

TEST_F(FullDisk, APanelsPictureIsWholeOrNotThere) {
  make_sky();
  fs::create_directory(out("bin"));
  const auto browser = [&](const std::string& script) {
    std::ofstream(out("bin/chromium")) << "#!/bin/sh\nfor word; do case $word in --screenshot=*) to=${word#*=};; esac; done\n"
                                       << script << "\n";
    fs::permissions(out("bin/chromium"), fs::perms::owner_all);
  };
  const fs::path picture = out("panel.png");
  std::ofstream(picture) << "old";
  const std::string command =
      "PATH=" + quoted(out("bin")) + ":/usr/bin:/bin; export PATH; " +
      tool_command("panel " + quoted(sample("cameras.lws")) + " --camera 'Skybox Cross' -o " + quoted(out("panel.html")));
  for (const std::string& script : {std::string("head -c 200 ") + quoted(sky()) + " >$to", std::string(": >$to"),
                                    std::string("cp ") + quoted(sky()) + " $to", std::string("exit 3"), std::string(":")}) {
    browser(script);
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.exit_code, 1) << script << "\n" << outcome.output;
    EXPECT_NE(outcome.output.find("panel.png: cannot be written"), std::string::npos) << outcome.output;
    EXPECT_EQ(contents(picture), "old") << script;
  }
}

}  // namespace native_full_disk_test
