#include <OpenImageIO/imagebuf.h>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_layers_test {

namespace fs = std::filesystem;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;
using test_support::shipped_module;

/// The channels of an EXR by name, each row by row.
struct Channels {
  int width = 0;
  std::map<std::string, std::vector<float>> samples;

  float at(const std::string& channel, int column, int row) const {
    return samples.at(channel).at(static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                                  static_cast<std::size_t>(column));
  }
};

Channels read(const fs::path& file) {
  Channels channels;
  OIIO::ImageBuf picture(file.string());
  EXPECT_TRUE(picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << picture.geterror();
  channels.width = picture.spec().width;
  for (int channel = 0; channel < picture.nchannels(); ++channel) {
    auto& samples = channels.samples[picture.spec().channel_name(channel)];
    for (OIIO::ImageBuf::ConstIterator<float> pixel(picture); !pixel.done(); ++pixel) samples.push_back(pixel[channel]);
  }
  return channels;
}

std::string samples_scene() { return quoted(test_support::source_folder() / "samples" / "cameras.lws"); }

/// The cube's front is 4 m ahead, 2 m wide and high; a metre there is 12 pixels. It moves 1 m to the right every 30 frames.
TEST_F(NativeTool, LayersTellWhereAndWhatIsSeen) {
  const Outcome outcome = render("a.exr", "--layers depth,normal,position,motion,uv");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  const Channels picture = read(out("a.exr"));
  for (const auto& [column, row] : {std::pair{32, 24}, std::pair{22, 14}, std::pair{42, 34}}) {
    EXPECT_NEAR(picture.at("Z", column, row), 4.0, 1e-5) << "along the camera's axis, not along the ray";
    EXPECT_NEAR(picture.at("P.X", column, row), (column + 0.5 - 32) / 12, 1e-5);
    EXPECT_NEAR(picture.at("P.Y", column, row), (24 - row - 0.5) / 12, 1e-5);
    EXPECT_NEAR(picture.at("P.Z", column, row), -4.0, 1e-5);
    EXPECT_EQ(picture.at("N.X", column, row), 0.0F);
    EXPECT_EQ(picture.at("N.Y", column, row), 0.0F);
    EXPECT_EQ(picture.at("N.Z", column, row), 1.0F);
    EXPECT_NEAR(picture.at("forward.u", column, row), 12.0 / 30.0, 1e-4);
    EXPECT_NEAR(picture.at("forward.v", column, row), 0.0, 1e-4);
  }
  for (const std::string channel : {"Z", "P.X", "P.Y", "P.Z", "N.X", "N.Y", "N.Z", "forward.u", "forward.v", "UV.U", "UV.V"})
    EXPECT_EQ(picture.at(channel, 2, 2), 0.0F) << channel << " of the sky";
  const Outcome header = run("exrheader " + quoted(out("a.exr")));
  for (const std::string line :
       {"    Z, 32-bit floating-point", "    P.Z, 32-bit floating-point", "    N.X, 16-bit floating-point",
        "    forward.u, 32-bit floating-point", "    UV.V, 32-bit floating-point"})
    EXPECT_NE(header.output.find(line), std::string::npos) << header.output;
}

TEST_F(NativeTool, LayersAreSharpAndLeaveTheLightAsItIs) {
  const std::string blurred = " --depth-of-field --motion-blur --size 70x50";
  ASSERT_EQ(render("light.exr", blurred).exit_code, 0);
  ASSERT_EQ(render("a.exr", blurred + " --layers depth,motion").exit_code, 0);
  ASSERT_EQ(render("b.exr", "--size 70x50 --layers motion,depth --threads 1").exit_code, 0);
  Channels a = read(out("a.exr"));
  const Channels b = read(out("b.exr"));
  for (const std::string channel : {"Z", "forward.u", "forward.v"}) {
    EXPECT_EQ(a.samples.at(channel), b.samples.at(channel)) << channel;
    a.samples.erase(channel);
  }
  EXPECT_EQ(a.samples, read(out("light.exr")).samples);
  for (const float depth : b.samples.at("Z")) EXPECT_TRUE(depth == 0.0F || (depth > 3.99F && depth < 6.01F)) << depth;

  ASSERT_EQ(render("part.exr", blurred + " --layers depth,motion --region 33,20,9,7").exit_code, 0);
  const Channels part = read(out("part.exr"));
  for (const auto& [channel, samples] : part.samples)
    for (int row = 0; row < 7; ++row)
      for (int column = 0; column < 9; ++column)
        EXPECT_EQ(part.at(channel, column, row), read(out("a.exr")).at(channel, column + 33, row + 20)) << channel;
}

TEST_F(NativeTool, DepthOfAPanoramaIsAlongTheRayAndItsMotionByItsOwnProjection) {
  ASSERT_EQ(render("a.exr", "--server QuorinPanoramicCam --size 128x32 --layers depth,position,motion").exit_code, 0);
  const Channels picture = read(out("a.exr"));
  int seen = 0;
  for (int row = 0; row < 32; ++row) {
    for (int column = 0; column < 128; ++column) {
      if (picture.at("Z", column, row) == 0.0F) continue;
      ++seen;
      const double x = picture.at("P.X", column, row);
      const double z = -picture.at("P.Z", column, row);
      EXPECT_NEAR(picture.at("Z", column, row), std::hypot(x, picture.at("P.Y", column, row), z), 1e-5);
      // All round are 128 pixels; the point moves by a thirtieth of a metre.
      const double turn = std::atan2(x + 1.0 / 30.0, z) - std::atan2(x, z);
      EXPECT_NEAR(picture.at("forward.u", column, row), turn / 6.283185307 * 128, 1e-3);
    }
  }
  EXPECT_GT(seen, 20);
}

TEST_F(NativeTool, TextureLayerIsTheObjectsMap) {
  test_support::ObjectToWrite mapped = test_support::cube(2.0, {0.9, 0.05, 0.05});
  for (const standin::Vec3 point : mapped.points)
    mapped.texture_positions.push_back({0.5 + 0.25 * point.x, 3.0 - 0.5 * point.y + 0.125 * point.x});
  test_support::write_object(mapped, out("cube.lwo"));
  ASSERT_EQ(render("a.exr", "--layers uv,position").exit_code, 0);
  const Channels picture = read(out("a.exr"));
  int seen = 0;
  for (std::size_t i = 0; i < picture.samples.at("UV.U").size(); ++i) {
    const float x = picture.samples.at("P.X")[i];
    const float y = picture.samples.at("P.Y")[i];
    const bool hit = picture.samples.at("P.Z")[i] != 0.0F;
    EXPECT_NEAR(picture.samples.at("UV.U")[i], hit ? 0.5 + 0.25 * x : 0.0, 1e-5);
    EXPECT_NEAR(picture.samples.at("UV.V")[i], hit ? 3.0 - 0.5 * y + 0.125 * x : 0.0, 1e-5);
    seen += hit ? 1 : 0;
  }
  EXPECT_EQ(seen, 24 * 24) << "the front of the cube";
}

TEST_F(NativeTool, AnObjectWithoutATextureMapHasATextureLayerOfZeros) {
  ASSERT_EQ(render("a.exr", "--layers uv").exit_code, 0);
  const Channels picture = read(out("a.exr"));
  for (const char* channel : {"UV.U", "UV.V"})
    for (const float value : picture.samples.at(channel)) EXPECT_EQ(value, 0.0F);
}

TEST_F(NativeTool, WhatAPngCannotHoldIsRefused) {
  const auto before = names_in(folder_);
  const std::vector<std::tuple<std::string, std::string, std::string>> cases{
      {"out.png", "--layers depth", ".exr"},
      {"out.png", "--stereo", ".exr"},
      {"out.exr", "--layers depth,colour", "\"colour\""},
      {"out.exr", "--layers depth,", "\"\""},
      {"out.exr", "--layers depth,depth", "twice"},
      {"out.exr", "--stereo --eye left", "--eye"},
      {"out.png", "--gizmo --server QuorinFisheyeCam --layers depth", "--layers"},
      {"out.png", "--gizmo --server QuorinFisheyeCam --stereo", "--stereo"},
  };
  for (const auto& [file, options, told] : cases) {
    const Outcome outcome = render(file, options);
    EXPECT_EQ(outcome.exit_code, 2) << options;
    EXPECT_NE(outcome.output.find(told), std::string::npos) << outcome.output;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
  }
  EXPECT_EQ(names_in(folder_), before);
}

TEST_F(NativeTool, StereoHoldsBothEyesInOneFile) {
  const std::string scene = "render " + samples_scene() + " --camera 'Stereo Convergence' --size 70x50 --samples 2 -o ";
  const std::string layers = " --layers depth,normal";
  ASSERT_EQ(run_tool(scene + quoted(out("both.exr")) + " --stereo" + layers).exit_code, 0);
  ASSERT_EQ(run_tool(scene + quoted(out("left.exr")) + " --eye left" + layers).exit_code, 0);
  ASSERT_EQ(run_tool(scene + quoted(out("right.exr")) + " --eye right" + layers).exit_code, 0);
  const Channels both = read(out("both.exr"));
  const Channels left = read(out("left.exr"));
  const Channels right = read(out("right.exr"));
  ASSERT_EQ(both.samples.size(), 16U);
  for (const std::string channel : {"R", "G", "B", "A", "Z"}) {
    EXPECT_EQ(both.samples.at(channel), left.samples.at(channel)) << channel;
    EXPECT_EQ(both.samples.at("right." + channel), right.samples.at(channel)) << channel;
  }
  EXPECT_EQ(both.samples.at("N.X"), left.samples.at("N.X"));
  EXPECT_EQ(both.samples.at("N.right.X"), right.samples.at("N.X"));
  EXPECT_NE(left.samples.at("R"), right.samples.at("R"));
  const Outcome header = run("exrheader " + quoted(out("both.exr")));
  EXPECT_NE(header.output.find("multiView (type stringvector):\n    \"left\"\n    \"right\""), std::string::npos)
      << header.output;
}

TEST_F(NativeTool, TheShippedModuleGivesTheSameLayers) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string view = " --server QuorinPanoramicCam --size 64x16 --layers depth,normal,position,motion";
  ASSERT_EQ(render("here.exr", view).exit_code, 0);
  ASSERT_EQ(render("there.exr", view + " --module " + quoted(shipped_module())).exit_code, 0);
  const Channels here = read(out("here.exr"));
  const Channels there = read(out("there.exr"));
  for (const auto& [channel, samples] : here.samples)
    for (std::size_t i = 0; i < samples.size(); ++i)
      EXPECT_NEAR(samples[i], there.samples.at(channel)[i], 1e-3) << channel << ' ' << i;
}

}  // namespace native_layers_test
