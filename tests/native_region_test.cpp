#include <OpenImageIO/imagebuf.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_region_test {

using test_support::contents;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;

struct Region {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;

  std::string option() const {
    return " --region " + std::to_string(left) + ',' + std::to_string(top) + ',' + std::to_string(width) + ',' +
           std::to_string(height);
  }
};

/// The numbers of a part of a picture's data, from its own upper left corner; all of it where the part has no width.
std::vector<float> pixels(const std::filesystem::path& file, Region part = {}) {
  OIIO::ImageSpec as_stored;
  as_stored.attribute("oiio:UnassociatedAlpha", 1);
  OIIO::ImageBuf picture(file.string(), 0, 0, nullptr, &as_stored);
  EXPECT_TRUE(picture.read(0, 0, true)) << picture.geterror();
  const OIIO::ImageSpec& layout = picture.spec();
  if (part.width == 0) part = {0, 0, layout.width, layout.height};
  std::vector<float> numbers(static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height) *
                             static_cast<std::size_t>(layout.nchannels));
  const int left = layout.x + part.left;
  const int top = layout.y + part.top;
  EXPECT_TRUE(picture.get_pixels({left, left + part.width, top, top + part.height}, OIIO::TypeDesc::FLOAT, numbers.data()));
  return numbers;
}

TEST_F(NativeTool, ARegionIsThatPartOfTheWholeFrame) {
  const std::string scene = "render " + quoted(test_support::source_folder() / "samples" / "cameras.lws") +
                            " --camera 'Fisheye Power 2' --depth-of-field --motion-blur --samples 3 --size 150x110 -o ";
  for (const std::string extension : {".png", ".exr"}) {
    const auto whole = out("whole" + extension);
    ASSERT_EQ(run_tool(scene + quoted(whole)).exit_code, 0);
    for (const Region region : {Region{0, 0, 150, 110}, Region{149, 109, 1, 1}, Region{31, 32, 33, 31}, Region{5, 70, 140, 40},
                                Region{64, 3, 20, 107}, Region{33, 35, 7, 5}}) {
      const auto part = out("part" + extension);
      const Outcome outcome = run_tool(scene + quoted(part) + region.option());
      ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
      EXPECT_EQ(pixels(part), pixels(whole, region)) << region.option() << extension;
      const auto input = OIIO::ImageInput::open(part.string());
      ASSERT_NE(input, nullptr);
      const OIIO::ImageSpec& layout = input->spec();
      EXPECT_EQ(layout.width, region.width);
      EXPECT_EQ(layout.height, region.height);
      if (extension == ".png") continue;
      EXPECT_EQ(layout.x, region.left);
      EXPECT_EQ(layout.y, region.top);
      EXPECT_EQ(layout.full_x, 0);
      EXPECT_EQ(layout.full_y, 0);
      EXPECT_EQ(layout.full_width, 150);
      EXPECT_EQ(layout.full_height, 110);
    }
    EXPECT_EQ(run_tool(scene + quoted(out("all" + extension)) + " --region 0,0,150,110").exit_code, 0);
    EXPECT_EQ(contents(out("all" + extension)), contents(whole));
  }
}

TEST_F(NativeTool, ARegionOutsideTheFrameIsRefused) {
  const auto before = names_in(folder_);
  for (const std::string region : {"-1,0,5,5", "0,-1,5,5", "60,0,5,5", "0,44,5,5", "0,0,0,5", "0,0,5,0", "0,0,65,48",
                                   "64,0,1,1", "2147483647,0,2147483647,1", "1,1,2147483647,2147483647", "1,2,3", "1,2,3,4,5",
                                   "a,b,c,d", "1,2,3,4x", "0,0,99999999999,1", "1 2 3 4", ","}) {
    const Outcome outcome = render("out.png", "--region='" + region + "'");
    EXPECT_EQ(outcome.exit_code, 2) << region;
    EXPECT_NE(outcome.output.find("--region " + region + ": "), std::string::npos) << outcome.output;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
  }
  EXPECT_EQ(render("out.png", "--gizmo --server QuorinFisheyeCam --region 0,0,5,5").exit_code, 2);
  EXPECT_EQ(names_in(folder_), before);
}

}  // namespace native_region_test
