/// Names and sentences of files and other programs that would move a terminal's cursor or change its title.

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"
#include "tool/output/plain_text.h"

namespace native_control_characters_test {

using namespace test_support;

constexpr const char* evil =
    "\x1b]0;title\x07\x1b[2J\x7f\xC2\x9b"
    "1mRed\x01";
constexpr const char* shown = R"(\u001b]0;title\u0007\u001b[2J\u007f\u009b1mRed\u0001)";

TEST(PlainText, ShowsControlCharactersAndNothingElse) {
  std::ostringstream out;
  const auto plain = [&](const std::string& text) {
    out.str("");
    {
      const tool::PlainTextOf guard(out);
      out << text;
      for (const char letter : text) out.put(letter);
    }
    const std::string twice = out.str();
    EXPECT_EQ(twice.substr(0, twice.size() / 2), twice.substr(twice.size() / 2)) << "letter by letter as at once";
    return twice.substr(0, twice.size() / 2);
  };
  EXPECT_EQ(plain(evil), shown);
  EXPECT_EQ(plain("one\n\ttwo\r\n"), "one\n\ttwo\\u000d\n");
  EXPECT_EQ(plain(std::string("a\0b", 3)), "a\\u0000b");
  EXPECT_EQ(plain("caf\xC3\xA9 \xC2\xB5m \xE2\x80\x93"), "caf\xC3\xA9 \xC2\xB5m \xE2\x80\x93");
  EXPECT_EQ(plain("cut \xC2"), "cut \xC2");
}

class NativeControlCharacters : public NativeTool {
 protected:
  void SetUp() override {
    NativeTool::SetUp();
    standin::Scene scene = standin::read_scene_file(scene_);
    scene.items.back().given_name = scene.items.back().name = evil;
    scene.items.front().object_file = std::string("lost") + evil + ".lwo";
    standin::write_scene_file(scene, scene_);
  }

  static void expect_plain(const std::string& command) {
    const Outcome outcome = run_tool(command);
    for (const char letter : outcome.output)
      EXPECT_TRUE(static_cast<unsigned char>(letter) >= ' ' || letter == '\n' || letter == '\t') << outcome.output;
    EXPECT_EQ(outcome.output.find('\x7f'), std::string::npos);
    EXPECT_EQ(outcome.output.find("\xC2\x9b"), std::string::npos);
    EXPECT_NE(outcome.output.find("\\u001b"), std::string::npos) << command << outcome.output;
  }
};

TEST_F(NativeControlCharacters, OfAScene) {
  expect_plain("scene " + quoted(scene_));
  expect_plain("scene --json " + quoted(scene_));
  expect_plain("render " + quoted(scene_) + " -o " + quoted(out("out.png")));
  expect_plain("rays " + quoted(scene_) + " --camera nobody");
  expect_plain("render " + quoted(scene_) + " --server $(printf '\\033[1mx') -o x.png");
  expect_plain("info $(printf '/no\\033[1msuch.so')");
}

TEST_F(NativeControlCharacters, OfAJsonThatStaysOne) {
  const Outcome outcome = run("(" + tool_command("scene --json " + quoted(scene_)) + " 2>/dev/null)");
  EXPECT_EQ(nlohmann::json::parse(outcome.output)["cameras"][0]["name"], evil) << outcome.output;
}

TEST_F(NativeControlCharacters, OfTheLinkFile) {
  std::ofstream(child_folder() / "Quorin_CameraLink.ini")
      << "[CameraLink]\nversion=1\nplugin=" << evil << "\nlens=" << evil << '\n';
  expect_plain("link");
  std::filesystem::remove(child_folder() / "Quorin_CameraLink.ini");
}

TEST_F(NativeControlCharacters, OfAService) {
  const auto service = out("service.sh");
  const std::string sentence = std::string("\x1b[2Jall is well");
  std::ofstream(service) << "#!/bin/sh\nprintf '\\" << std::oct << 5 + sentence.size() << R"(\000\000\000\006\)"
                         << sentence.size() << "\\000\\000\\000'; printf '\\033[2Jall is well'; cat >/dev/null\n";
  std::filesystem::permissions(service, std::filesystem::perms::owner_all);
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const Outcome outcome = run("OVICAM_RAY_SERVICE=" + quoted(service) + " " + tool_command("info " + quoted(shipped_module())));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.output.find('\x1b'), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("\\u001b[2Jall is well"), std::string::npos) << outcome.output;
}

}  // namespace native_control_characters_test
