/// Frame lists, what is skipped, tried and reported, what a scene has, and completion.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"

namespace native_command_line_test {

namespace fs = std::filesystem;
using namespace test_support;
using nlohmann::json;

class NativeCommandLine : public NativeTool {
 protected:
  /// Lines of JSON of a render, its other words apart.
  std::vector<json> reported(const std::string& more, int exit_code = 0) const {
    const Outcome outcome = run(
        "(" +
        tool_command("render " + quoted(scene_) + " --samples 1 --size 8x6 --json -o " + quoted(out("f.#.png")) + " " + more) +
        " 2>" + quoted(out("told")) + ")");
    EXPECT_EQ(outcome.exit_code, exit_code) << contents(out("told"));
    std::vector<json> lines;
    std::istringstream stream(outcome.output);
    for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
    return lines;
  }
  std::vector<int> frames_of(const std::string& list) const {
    std::vector<int> frames;
    for (const json& line : reported("--dry-run --frames " + list)) frames.push_back(line.at("frame"));
    return frames;
  }
};

TEST_F(NativeCommandLine, FrameListsAreFollowedInTheirOrderEachFrameOnce) {
  using Frames = std::vector<int>;
  EXPECT_EQ(frames_of("7"), Frames{7});
  EXPECT_EQ(frames_of("1-3,20,30-36x3"), (Frames{1, 2, 3, 20, 30, 33, 36}));
  EXPECT_EQ(frames_of("10-14:2,1-3,2,12-13"), (Frames{10, 12, 14, 1, 2, 3, 13}));
  EXPECT_EQ(frames_of("-3--1,0"), (Frames{-3, -2, -1, 0}));
  EXPECT_EQ(frames_of("2147483646-2147483647,5"), (Frames{2147483646, 2147483647, 5}));
  for (const std::string wrong : {"1,", ",1", "1,,2", "1-5x0", "1-5x", "5-1", "1-2-3", "1;2", "1, 2"})
    EXPECT_EQ(run_tool("render " + quoted(scene_) + " -o x.png --frames '" + wrong + "'").exit_code, 2) << wrong;
}

TEST_F(NativeCommandLine, EveryFrameIsReported) {
  write_scene({"cube.lwo", "lost.lwo"});
  const auto lines = reported("--frames 1-2");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].at("frame"), 1);
  EXPECT_EQ(lines[0].at("file"), out("f.1.png").string());
  EXPECT_GT(lines[0].at("seconds"), 0.0);
  EXPECT_GE(lines[0].at("rays"), 48);
  ASSERT_EQ(lines[0].at("warnings").size(), 1U);
  EXPECT_NE(lines[0].at("warnings")[0].get<std::string>().find("lost.lwo"), std::string::npos);
  EXPECT_EQ(lines[1].at("warnings").size(), 0U) << "told once";
  EXPECT_EQ(lines[1].at("skipped"), false);
  EXPECT_TRUE(fs::exists(out("f.2.png")));
  const Outcome full = run(
      tool_command("render " + quoted(scene_) + " --samples 1 --size 8x6 --frames 5-9 --json -o " + quoted(out("g.#.png"))) +
      " >/dev/full");
  EXPECT_EQ(full.exit_code, 1);
  EXPECT_FALSE(fs::exists(out("g.9.png"))) << "nobody hears of it any more";
}

TEST_F(NativeCommandLine, WhatIsThereIsSkipped) {
  reported("--frames 1-3:2");
  std::ofstream(out("f.3.png")) << "kept";
  const auto lines = reported("--frames 1-3 --skip-existing");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].at("skipped"), true);
  EXPECT_EQ(lines[1].at("skipped"), false);
  EXPECT_EQ(lines[2].at("skipped"), true);
  EXPECT_TRUE(fs::exists(out("f.2.png")));
  EXPECT_EQ(contents(out("f.3.png")), "kept");
}

TEST_F(NativeCommandLine, ATrialWritesNothingAndRefusesWhatARenderWould) {
  const auto before = names_in(folder_);
  EXPECT_EQ(reported("--frames 1-3 --dry-run").size(), 3U);
  EXPECT_NE(contents(out("told")).find("would be written -> " + out("f.2.png").string()), std::string::npos);
  fs::remove(out("told"));
  EXPECT_EQ(names_in(folder_), before);
  EXPECT_EQ(run_tool("render " + quoted(scene_) + " --dry-run -o " + quoted(out("missing") / "x.png")).exit_code, 1);
  EXPECT_EQ(run_tool("render " + quoted(scene_) + " --dry-run --server Nothing -o " + quoted(out("x.png"))).exit_code, 1);
  EXPECT_EQ(run_tool("render " + quoted(scene_) + " --dry-run --set A=1 --server QuorinFisheyeCam -o " + quoted(out("x.png")))
                .exit_code,
            1);
  fs::create_directory(out("f.2.png"));
  EXPECT_EQ(reported("--frames 1-3 --dry-run", 1).size(), 1U);
  fs::remove(out("cube.lwo"));
  EXPECT_EQ(run_tool("render " + quoted(scene_) + " --dry-run -o " + quoted(out("x.png"))).exit_code, 1);
}

TEST_F(NativeCommandLine, CameraAndFileOfEveryFrameAreNamedOnATerminalToo) {
  const std::string command =
      tool_command("render " + quoted(scene_) + " --samples 1 --size 8x6 --frames 1-2 -o " + quoted(out("t.#.png")));
  std::ofstream(out("command.sh")) << command << '\n';
  const Outcome outcome = run("script -qec 'sh " + out("command.sh").string() + "' /dev/null </dev/null");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  for (const std::string frame : {"1", "2"}) {
    const auto line = outcome.output.find("frame " + frame + ": camera \"Front\", 8x6");
    ASSERT_NE(line, std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find(out("t." + frame + ".png").string(), line), std::string::npos) << outcome.output;
  }
  EXPECT_NE(outcome.output.find("[####"), std::string::npos) << outcome.output;
}

TEST_F(NativeCommandLine, EveryCommandTellsTheVersion) {
  for (const std::string command : {"", "render", "info", "rays", "skybox split", "scene", "completion"}) {
    const Outcome outcome = run_tool(command + " --version");
    EXPECT_EQ(outcome.exit_code, 0) << command;
    EXPECT_EQ(outcome.output.find("ovicam 4."), 0U) << outcome.output;
  }
}

TEST_F(NativeCommandLine, BashCompletesCommandsOptionsAndFiles) {
  const auto completed = [&](const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) line += " '" + word + "'";
    std::ofstream(out("complete.sh")) << "source <(" << tool_command("completion bash") << ")\ncd " << quoted(folder_)
                                      << "\nCOMP_WORDS=(ovicam" << line << ")\nCOMP_CWORD=" << words.size()
                                      << "\n_ovicam\nprintf '%s\\n' \"${COMPREPLY[@]}\"\ncomplete -p ovicam >/dev/null\n";
    const Outcome outcome = run("bash " + quoted(out("complete.sh")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return "\n" + outcome.output;
  };
  EXPECT_EQ(completed({"ren"}), "\nrender\n");
  EXPECT_NE(completed({""}).find("\nskybox\n"), std::string::npos);
  EXPECT_NE(completed({"skybox", "spl"}).find("\nsplit\n"), std::string::npos);
  EXPECT_EQ(completed({"render", "--skip"}), "\n--skip-existing\n");
  EXPECT_EQ(completed({"rays", "--skip"}), "\n\n");
  EXPECT_NE(completed({"skybox", "split", "--lay"}).find("\n--layout\n"), std::string::npos);
  EXPECT_EQ(completed({"render", "sce"}), "\nscene.lws\n");
  EXPECT_EQ(completed({"render", "scene.lws", "--module", "cu"}), "\ncube.lwo\n");
  // Every option that help tells of is completed.
  const std::string all = completed({"render", "-"});
  const std::string help = run_tool("render --help").output;
  std::istringstream lines(help);
  int options = 0;
  for (std::string word; lines >> word;) {
    if (!word.starts_with("--")) continue;
    const std::string name = word.substr(0, word.find_first_of(",=)"));
    EXPECT_NE(all.find("\n" + name + "\n"), std::string::npos) << name;
    ++options;
  }
  EXPECT_GT(options, 15);
  EXPECT_EQ(run_tool("completion fish").exit_code, 2);
  if (run("command -v zsh").exit_code == 0)
    EXPECT_EQ(run("bash -c 'zsh -n <(" + tool_command("completion zsh") + ")'").exit_code, 0);
}

TEST_F(NativeCommandLine, SceneShowsWhatTheFileHas) {
  write_scene({"cube.lwo", "lost.lwo"});
  const json scene = json::parse(run_tool("scene --json " + quoted(scene_)).output);
  EXPECT_EQ(scene.at("version"), 5);
  EXPECT_EQ(scene.at("current_camera"), "Front");
  ASSERT_EQ(scene.at("cameras").size(), 1U);
  const json& camera = scene.at("cameras")[0];
  EXPECT_EQ(camera.at("server"), "Perspective");
  EXPECT_EQ(camera.at("size_pixels"), (json{64, 48}));
  EXPECT_EQ(camera.at("zoom"), 2.0);
  EXPECT_NEAR(camera.at("film_metres")[0].get<double>(), 0.02, 1e-12);
  EXPECT_FALSE(camera.contains("worked_out_size"));
  ASSERT_EQ(scene.at("objects").size(), 2U);
  EXPECT_EQ(scene.at("objects")[0].at("found"), fs::absolute(out("cube.lwo")).lexically_normal().string());
  EXPECT_EQ(scene.at("objects")[0].at("version"), "LWO2");
  EXPECT_TRUE(scene.at("objects")[1].at("found").is_null());
  const Outcome table = run_tool("scene " + quoted(scene_));
  EXPECT_EQ(table.exit_code, 0);
  EXPECT_NE(table.output.find("MISSING: lost.lwo"), std::string::npos) << table.output;
  EXPECT_NE(table.output.find("* Front"), std::string::npos) << table.output;
  EXPECT_NE(table.output.find("20 x 15"), std::string::npos) << table.output;
}

TEST_F(NativeCommandLine, SceneShowsSizesThatCamerasWorkOut) {
  const fs::path samples = source_folder() / "samples" / "cameras.lws";
  const auto sizes = [&](const std::string& more) {
    std::vector<json> found;
    const json scene = json::parse(run_tool("scene --json " + quoted(samples) + more).output);
    for (const json& camera : scene.at("cameras"))
      if (camera.contains("worked_out_size")) found.push_back(camera.at("worked_out_size"));
    return found;
  };
  const auto unknown = sizes("");
  ASSERT_GE(unknown.size(), 2U);
  for (const json& size : unknown) EXPECT_TRUE(size.is_null());
  const auto known = sizes(" --module " + quoted(module_file()));
  ASSERT_EQ(known.size(), unknown.size());
  for (const json& size : known)
    EXPECT_TRUE(size.is_string() && size.get<std::string>().find('x') != std::string::npos) << size;
  EXPECT_NE(run_tool("scene " + quoted(samples)).output.find("not known"), std::string::npos);
  EXPECT_EQ(run_tool("scene " + quoted(out("none.lws"))).exit_code, 1);
}

}  // namespace native_command_line_test
