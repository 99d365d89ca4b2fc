/// One picture of both eyes, for red and cyan glasses.

#include <OpenImageIO/imagebuf.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/tool_fixture.h"

namespace native_red_cyan_test {

using namespace test_support;

std::vector<float> numbers(const std::filesystem::path& file) {
  OIIO::ImageBuf picture(file.string());
  EXPECT_TRUE(picture.read(0, 0, true)) << picture.geterror();
  EXPECT_EQ(picture.spec().nchannels, 4);
  std::vector<float> all(picture.spec().image_pixels() * 4);
  EXPECT_TRUE(picture.get_pixels(picture.roi(), OIIO::TypeDesc::FLOAT, all.data()));
  return all;
}

TEST_F(NativeTool, RedIsOfTheLeftEyeAndTheRestOfTheRight) {
  const std::string stereo = "--server QuorinStereoCam --set 'Eye Separation=40cm' --eye ";
  for (const std::string eye : {"left", "right", "red-cyan"}) ASSERT_EQ(render(eye + ".exr", stereo + eye).exit_code, 0) << eye;
  const auto left = numbers(out("left.exr"));
  const auto right = numbers(out("right.exr"));
  const auto both = numbers(out("red-cyan.exr"));
  ASSERT_EQ(both.size(), left.size());
  EXPECT_NE(left, right);
  for (std::size_t i = 0; i < both.size(); i += 4) {
    ASSERT_EQ(both[i], left[i]) << i;
    ASSERT_EQ(both[i + 1], right[i + 1]) << i;
    ASSERT_EQ(both[i + 2], right[i + 2]) << i;
    ASSERT_EQ(both[i + 3], std::max(left[i + 3], right[i + 3])) << i;
  }
  ASSERT_EQ(render("one.png", stereo + "red-cyan --threads 1").exit_code, 0);
  ASSERT_EQ(render("two.png", stereo + "red-cyan").exit_code, 0);
  EXPECT_TRUE(contents(out("one.png")) == contents(out("two.png")));
  const Outcome layered = render("layers.exr", stereo + "red-cyan --layers depth");
  EXPECT_EQ(layered.exit_code, 2);
  EXPECT_NE(layered.output.find("--layers are of one eye"), std::string::npos) << layered.output;
  const Outcome wrong = render("wrong.png", stereo + "cyan-red");
  EXPECT_EQ(wrong.exit_code, 2);
  EXPECT_NE(wrong.output.find("red-cyan"), std::string::npos) << wrong.output;
}

}  // namespace native_red_cyan_test
