/// What the tool does when standard output or standard error cannot be written.

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/tool_fixture.h"

namespace native_output_streams_test {

using namespace test_support;

class NativeOutputStreams : public NativeTool {
 protected:
  /// Every command that writes to standard output.
  std::vector<std::string> commands() const {
    const std::string samples = quoted(source_folder() / "samples" / "cameras.lws");
    const std::string module = quoted(module_file());
    return {"--help",
            "render --help",
            "info " + module,
            "info --json " + module,
            "rays " + samples + " --camera Panoramic",
            "rays --json " + samples + " --camera Panoramic",
            "panel " + samples + " --camera Panoramic -o " + quoted(out("panel.html")),
            "bake-coverage " + samples + " --camera Baking --size 16x16 -o " + quoted(out("coverage.png"))};
  }
};

TEST_F(NativeOutputStreams, AFullOrClosedStandardOutputIsAnError) {
  // Without a browser, a panel's picture is not waited for.
  for (const std::string& command : commands()) {
    for (const std::string stream : {">/dev/full", ">&-", ">&- <&-"}) {
      const Outcome outcome = run("(PATH=/bin; " + tool_command(command) + " 2>" + quoted(out("told")) + " " + stream + ")");
      EXPECT_EQ(outcome.exit_code, 1) << command << stream;
      EXPECT_EQ(outcome.output, "");
      const std::string told = contents(out("told"));
      EXPECT_NE(told.find("ovicam: the output cannot be written to standard output: "), std::string::npos) << command << told;
    }
  }
}

TEST_F(NativeOutputStreams, AReaderThatHasGoneIsAnError) {
  // More than fits a pipe.
  const Outcome outcome = run("bash -c 'set -o pipefail; \"$@\" | head -c 1 >/dev/null' bash " +
                              tool_command("rays " + quoted(scene_) + " --grid 300x300"));
  EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
  EXPECT_NE(outcome.output.find("it is closed"), std::string::npos) << outcome.output;
}

TEST_F(NativeOutputStreams, NoFileTakesThePlaceOfAClosedStream) {
  ASSERT_EQ(render("whole.png", "--size 16x12").exit_code, 0);
  const std::string arguments =
      "render " + quoted(scene_) + " --samples 4 --frames 0 --size 16x12 -o " + quoted(out("closed.png"));
  for (const std::string closed : {"2>&-", ">&-", ">&- 2>&- <&-"}) {
    std::filesystem::remove(out("closed.png"));
    EXPECT_EQ(run("(" + tool_command(arguments) + " " + closed + ")").exit_code, 0) << closed;
    EXPECT_TRUE(contents(out("closed.png")) == contents(out("whole.png"))) << closed;
  }
}

}  // namespace native_output_streams_test
