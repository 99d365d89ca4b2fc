/// Both eyes in one picture, as players of stereo pictures take them: `ovicam render --packing`, `ovicam reproject --packing`.

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_packing_test {

namespace fs = std::filesystem;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;
using test_support::shipped_module;

constexpr double half_separation = 0.05;

/// A file's name is never used twice: OpenImageIO remembers what it has read by its name.
OIIO::ImageBuf read(const fs::path& file) {
  OIIO::ImageBuf picture(file.string());
  EXPECT_TRUE(picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << picture.geterror();
  return picture;
}

/// The largest difference of a channel in a part of a picture and in another picture.
double farthest(const OIIO::ImageBuf& whole, int left, int top, const std::string& channel, const OIIO::ImageBuf& part,
                const std::string& channel_of_part) {
  const int here = whole.spec().channelindex(channel);
  const int there = part.spec().channelindex(channel_of_part);
  EXPECT_GE(here, 0) << channel;
  EXPECT_GE(there, 0) << channel_of_part;
  double most = 0.0;
  for (int y = 0; y < part.spec().height; ++y)
    for (int x = 0; x < part.spec().width; ++x)
      most = std::max(
          most, std::abs(static_cast<double>(whole.getchannel(left + x, top + y, 0, here)) - part.getchannel(x, y, 0, there)));
  return most;
}

/// The scene's camera has two eyes, and its cube moves 1 m to the right every second.
class Packing : public NativeTool {
 protected:
  void SetUp() override {
    write_scene({"cube.lwo"});
    standin::Scene scene = standin::read_scene_file(scene_);
    for (standin::Item& item : scene.items)
      if (item.camera) item.camera->eye_separation = standin::Envelope::constant(2.0 * half_separation);
    standin::write_scene_file(scene, scene_);
  }

  Outcome reproject(const std::string& from_file, const std::string& to_file, const std::string& more) const {
    return run_tool("reproject " + quoted(out(from_file)) + " -o " + quoted(out(to_file)) + " " + more);
  }
};

TEST_F(Packing, EachEyeIsWhatItIsAlone) {
  for (const std::string kind : {".png", ".exr"}) {
    const std::string layers = kind == ".exr" ? " --layers normal,depth" : "";
    ASSERT_EQ(render("left" + kind, "--eye left" + layers).exit_code, 0);
    ASSERT_EQ(render("right" + kind, "--eye right" + layers).exit_code, 0);
    ASSERT_EQ(render("sides" + kind, "--packing side-by-side" + layers).exit_code, 0);
    ASSERT_EQ(render("stack" + kind, "--packing over-under" + layers).exit_code, 0);
    const OIIO::ImageBuf left = read(out("left" + kind));
    const OIIO::ImageBuf right = read(out("right" + kind));
    const OIIO::ImageBuf sides = read(out("sides" + kind));
    const OIIO::ImageBuf stack = read(out("stack" + kind));
    EXPECT_EQ(sides.spec().width, 128);
    EXPECT_EQ(sides.spec().height, 48);
    EXPECT_EQ(stack.spec().width, 64);
    EXPECT_EQ(stack.spec().height, 96);
    EXPECT_EQ(sides.spec().channelnames, left.spec().channelnames);
    EXPECT_EQ(stack.spec().channelnames, left.spec().channelnames);
    EXPECT_GT(farthest(left, 0, 0, "R", right, "R"), 0.1) << "the eyes see the cube in two places";
    for (const std::string& channel : left.spec().channelnames) {
      EXPECT_EQ(farthest(sides, 0, 0, channel, left, channel), 0.0) << kind << ' ' << channel;
      EXPECT_EQ(farthest(sides, 64, 0, channel, right, channel), 0.0) << kind << ' ' << channel;
      EXPECT_EQ(farthest(stack, 0, 0, channel, left, channel), 0.0) << kind << ' ' << channel;
      EXPECT_EQ(farthest(stack, 0, 48, channel, right, channel), 0.0) << kind << ' ' << channel;
    }
  }
  // Facts that are true of one eye alone are left out.
  const OIIO::ImageBuf sides = read(out("sides.exr"));
  EXPECT_EQ(sides.spec().get_string_attribute("ovicam/packing"), "side-by-side");
  EXPECT_EQ(sides.spec().find_attribute("worldToNDC"), nullptr);
  EXPECT_EQ(read(out("left.exr")).spec().get_string_attribute("ovicam/packing"), "");
}

/// What each pixel sees lies where the half's azimuth and elevation say, from where its eye stands, and moves by what they
/// change.
TEST_F(Packing, Vr180IsTheHalfThatLiesAheadOfEachEye) {
  constexpr int size = 96;
  ASSERT_EQ(render("half.exr", "--packing vr180 --size 96x96 --layers position,motion").exit_code, 0);
  const OIIO::ImageBuf half = read(out("half.exr"));
  ASSERT_EQ(half.spec().width, 2 * size);
  ASSERT_EQ(half.spec().height, size);
  EXPECT_EQ(half.spec().get_float_attribute("PixelAspectRatio"), 1.0F);
  const std::array<int, 5> channels{half.spec().channelindex("P.X"), half.spec().channelindex("P.Y"),
                                    half.spec().channelindex("P.Z"), half.spec().channelindex("forward.u"),
                                    half.spec().channelindex("A")};
  const auto column_of = [](double x, double z) { return (std::atan2(x, z) / std::numbers::pi + 0.5) * size - 0.5; };
  std::array<int, 2> seen{};
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < 2 * size; ++x) {
      const bool right = x >= size;
      const double world_x = half.getchannel(x, y, 0, channels[0]);
      const double world_y = half.getchannel(x, y, 0, channels[1]);
      const double world_z = -half.getchannel(x, y, 0, channels[2]);
      EXPECT_EQ(half.getchannel(x, y, 0, channels[4]), 1.0F) << "every pixel has rays: " << x << ", " << y;
      if (world_z == 0.0) continue;
      ++seen[right ? 1 : 0];
      const double from_eye = world_x - (right ? half_separation : -half_separation);
      EXPECT_NEAR(column_of(from_eye, world_z), right ? x - size : x, 1e-3);
      EXPECT_NEAR((0.5 - std::atan2(world_y, std::hypot(from_eye, world_z)) / std::numbers::pi) * size - 0.5, y, 1e-3);
      EXPECT_NEAR(half.getchannel(x, y, 0, channels[3]),
                  column_of(from_eye + 1.0 / 30.0, world_z) - column_of(from_eye, world_z), 1e-3);
    }
  }
  EXPECT_GT(seen[0], 100);
  EXPECT_GT(seen[1], 100);
}

/// A stereo camera's eyes look ahead beyond its frame, and through the Windows module in the same way.
TEST_F(Packing, Vr180OfTheStereoCamera) {
  const std::string scene = quoted(test_support::source_folder() / "samples" / "cameras.lws");
  const std::string command = "render " + scene + " --packing vr180 --size 64x64 --samples 1 ";
  const Outcome whole = run_tool(command + "--camera Stereo -o " + quoted(out("whole.exr")));
  ASSERT_EQ(whole.exit_code, 0) << whole.output;
  EXPECT_EQ(whole.output.find("warning"), std::string::npos) << whole.output;
  // Eyes that converge are only followed near the frame, and that is told.
  const Outcome part = run_tool(command + "--camera 'Stereo Convergence' -o " + quoted(out("part.exr")));
  ASSERT_EQ(part.exit_code, 0) << part.output;
  EXPECT_NE(part.output.find("% of the half that lies ahead of it"), std::string::npos) << part.output;
  EXPECT_EQ(run_tool(command + "--strict --camera 'Stereo Convergence' -o " + quoted(out("none.exr"))).exit_code, 1);
  EXPECT_FALSE(fs::exists(out("none.exr")));
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  ASSERT_EQ(
      run_tool(command + "--camera Stereo --module " + quoted(shipped_module()) + " -o " + quoted(out("there.exr"))).exit_code,
      0);
  const auto result = OIIO::ImageBufAlgo::compare(read(out("whole.exr")), read(out("there.exr")), 0.01F, 0.01F);
  EXPECT_LT(result.nfail, 20U);
}

TEST_F(Packing, ReprojectPacksWhatTheViewsBecome) {
  ASSERT_EQ(render("views.exr", "--stereo --layers normal").exit_code, 0);
  for (const bool ahead : {false, true}) {
    const std::string to = ahead ? "equirectangular180" : "fisheye180";
    const std::string lenses = "--from " + test_support::quoted(scene_.string() + ":Front") + " --size 40x40 ";
    ASSERT_EQ(reproject("views.exr", to + ".exr", lenses + "--to " + to).exit_code, 0);
    const OIIO::ImageBuf views = read(out(to + ".exr"));
    for (const std::string packing : {"side-by-side", "over-under", "vr180"}) {
      if (!ahead && packing == "vr180") continue;
      const std::string name = to + " " + packing + ".exr";
      const Outcome outcome =
          reproject("views.exr", name, lenses + (packing == "vr180" ? "" : "--to " + to) + " --packing " + packing);
      ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
      const OIIO::ImageBuf packed = read(out(name));
      EXPECT_EQ(packed.spec().find_attribute("multiView"), nullptr);
      EXPECT_EQ(packed.spec().get_string_attribute("ovicam/packing"), packing);
      const bool under = packing == "over-under";
      ASSERT_EQ(packed.spec().width, under ? 40 : 80);
      ASSERT_EQ(packed.spec().height, under ? 80 : 40);
      ASSERT_EQ(packed.nchannels(), 7);
      for (const auto& [channel, of_right] :
           {std::array<std::string, 2>{"R", "right.R"}, std::array<std::string, 2>{"A", "right.A"},
            std::array<std::string, 2>{"N.Z", "N.right.Z"}}) {
        const int left = under ? 0 : 40;
        const int top = under ? 40 : 0;
        EXPECT_EQ(farthest(packed, 0, 0, channel, views, channel), 0.0) << name << ' ' << channel;
        EXPECT_EQ(farthest(packed, left, top, channel, views, of_right), 0.0) << name << ' ' << of_right;
      }
    }
  }
}

/// A packed picture keeps both eyes, whatever it becomes, in a PNG too.
TEST_F(Packing, ReprojectUnpacks) {
  ASSERT_EQ(render("left.png", "--eye left").exit_code, 0);
  ASSERT_EQ(render("right.png", "--eye right").exit_code, 0);
  const std::string lenses = "--from " + test_support::quoted(scene_.string() + ":Front") + " --to fisheye180 --size 40x30 ";
  for (const std::string eye : {"left", "right"})
    ASSERT_EQ(reproject(eye + ".png", eye + "2.png", lenses + "--eye " + eye).exit_code, 0);
  const OIIO::ImageBuf left = read(out("left2.png"));
  const OIIO::ImageBuf right = read(out("right2.png"));
  for (const std::string packing : {"side-by-side", "over-under"}) {
    ASSERT_EQ(render(packing + ".png", "--packing " + packing).exit_code, 0);
    const Outcome outcome = reproject(packing + ".png", packing + "2.png", lenses + "--packed " + packing);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const OIIO::ImageBuf same = read(out(packing + "2.png"));
    ASSERT_EQ(
        reproject(packing + ".png", packing + "3.png", lenses + "--packed " + packing + " --packing over-under").exit_code, 0);
    const OIIO::ImageBuf stack = read(out(packing + "3.png"));
    const bool under = packing == "over-under";
    for (const std::string channel : {"R", "G", "B", "A"}) {
      EXPECT_EQ(farthest(same, 0, 0, channel, left, channel), 0.0) << packing;
      EXPECT_EQ(farthest(same, under ? 0 : 40, under ? 30 : 0, channel, right, channel), 0.0) << packing;
      EXPECT_EQ(farthest(stack, 0, 0, channel, left, channel), 0.0) << packing;
      EXPECT_EQ(farthest(stack, 0, 30, channel, right, channel), 0.0) << packing;
    }
  }
  // What was taken as VR180 shows in a perspective what a render of it shows.
  ASSERT_EQ(render("half.png", "--packing vr180 --size 256x256").exit_code, 0);
  const Outcome flat = reproject("half.png", "flat.png", "--packed vr180 --to perspective:1.1760052rad --size 64x48");
  ASSERT_EQ(flat.exit_code, 0) << flat.output;
  const OIIO::ImageBuf pair = read(out("flat.png"));
  ASSERT_EQ(pair.spec().width, 128);
  for (const auto& [eye, start] : {std::pair<std::string, int>{"left", 0}, std::pair<std::string, int>{"right", 64}}) {
    const OIIO::ImageBuf alone = read(out(eye + ".png"));
    double sum = 0.0;
    for (int y = 0; y < 48; ++y)
      for (int x = 0; x < 64; ++x) sum += std::abs(pair.getchannel(start + x, y, 0, 0) - alone.getchannel(x, y, 0, 0));
    EXPECT_LT(sum / (64 * 48), 0.02) << eye;
  }
}

/// Names of views and of channels are read as OpenEXR has them, and eyes that cannot be packed are told of.
TEST_F(Packing, ViewsThatDifferAreRefused) {
  const auto write = [&](const std::string& file, const std::vector<std::string>& views,
                         const std::vector<std::string>& channels) {
    OIIO::ImageSpec layout(8, 4, static_cast<int>(channels.size()), OIIO::TypeDesc::HALF);
    layout.channelnames = channels;
    std::vector<const char*> names;
    for (const std::string& view : views) names.push_back(view.c_str());
    layout.attribute("multiView", OIIO::TypeDesc(OIIO::TypeDesc::STRING, static_cast<int>(names.size())), names.data());
    const auto output = OIIO::ImageOutput::create(out(file).string());
    ASSERT_TRUE(output && output->open(out(file).string(), layout)) << OIIO::geterror();
    std::vector<float> samples;
    for (int pixel = 0; pixel < 32; ++pixel)
      for (std::size_t channel = 0; channel < channels.size(); ++channel)
        samples.push_back(static_cast<float>(channel + 1) / 8.0F);
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, samples.data()) && output->close()) << output->geterror();
  };
  const std::string lenses = "--from equirectangular --to equirectangular --packing side-by-side";
  // The right eye may come first, and the left one have a name of its own.
  write("turned.exr", {"right", "left"}, {"Y", "Z", "left.Y", "left.Z"});
  const Outcome turned = reproject("turned.exr", "packed.exr", lenses);
  ASSERT_EQ(turned.exit_code, 0) << turned.output;
  const OIIO::ImageBuf packed = read(out("packed.exr"));
  const int first = packed.spec().channelindex("Y");
  ASSERT_GE(first, 0);
  EXPECT_NEAR(packed.getchannel(3, 2, 0, first), 3.0F / 8.0F, 1e-6F);
  EXPECT_NEAR(packed.getchannel(11, 2, 0, first), 1.0F / 8.0F, 1e-6F);
  write("other.exr", {"left", "right"}, {"Y", "Z", "right.Y"});
  write("three.exr", {"left", "right", "above"}, {"Y", "right.Y", "above.Y"});
  write("named.exr", {"one", "two"}, {"Y", "two.Y"});
  EXPECT_NE(reproject("other.exr", "new.exr", lenses).output.find("have other channels"), std::string::npos);
  EXPECT_NE(reproject("three.exr", "new.exr", lenses).output.find("more views than left and right"), std::string::npos);
  EXPECT_NE(reproject("named.exr", "new.exr", lenses).output.find("no views left and right"), std::string::npos);
  EXPECT_FALSE(fs::exists(out("new.exr")));
}

TEST_F(Packing, IsRefusedWithASentenceWhereThereAreNoTwoEyes) {
  ASSERT_EQ(render("one.exr").exit_code, 0);
  ASSERT_EQ(render("one.png").exit_code, 0);
  ASSERT_EQ(render("views.exr", "--stereo").exit_code, 0);
  const std::string samples = "render " + quoted(test_support::source_folder() / "samples" / "cameras.lws") + " --samples 1 ";
  const std::string flat = " --from perspective:60deg --to fisheye180 ";
  struct Case {
    std::string command;
    int exit_code;
    std::string sentence;
  };
  for (const Case& each : {
           Case{samples + "--camera Immersive --size 32x32 --packing side-by-side -o new.png", 1,
                "shows the same to both eyes"},
           Case{samples + "--camera Immersive --packing vr180 -o new.exr", 1, "shows the same to both eyes"},
           Case{samples + "--camera Stereo --set EyeSeparation=0 --packing over-under -o new.exr", 1,
                "shows the same to both eyes"},
           Case{samples + "--camera Stereo --packing both -o new.png", 2, "give side-by-side, over-under or vr180"},
           Case{samples + "--camera Stereo --packing vr180 --size 32x30 -o new.png", 2, "as wide as it is high"},
           Case{samples + "--camera Stereo --packing over-under --size 32x20000 -o new.png", 2, "both eyes would make"},
           Case{samples + "--camera Stereo --packing vr180 --eye left -o new.png", 2, "excludes"},
           Case{samples + "--camera Stereo --packing vr180 --stereo -o new.exr", 2, "excludes"},
           Case{samples + "--camera Stereo --packing vr180 --region 0,0,4,4 -o new.png", 2, "excludes"},
           Case{samples + "--camera Stereo --packing vr180 --layers depth -o new.png", 2, "must end in .exr"},
           Case{"reproject one.exr" + flat + "--packing side-by-side -o new.exr", 1, "no views left and right"},
           Case{"reproject one.png" + flat + "--packing over-under -o new.png", 1, "no views left and right"},
           Case{"reproject views.exr" + flat + "--packing vr180 -o new.exr", 2, "vr180 is always equirectangular180"},
           Case{"reproject views.exr" + flat + "--packed vr180 -o new.exr", 2, "vr180 is always equirectangular180"},
           Case{"reproject views.exr --from fisheye180 --packing side-by-side -o new.exr", 2, "--to is required"},
           Case{"reproject views.exr --to fisheye180 -o new.exr", 2, "--from is required"},
           Case{"reproject views.exr" + flat + "--packing side-by-side --eye left -o new.exr", 2, "excludes"},
           Case{"reproject views.exr --from fisheye180 --packing vr180 --size 20x10 -o new.exr", 2, "as wide as it is high"},
           Case{"reproject views.exr" + flat + "--packed side-by-side --size 20000x8 -o new.exr", 2, "both eyes would make"},
       }) {
    const Outcome outcome = test_support::run("cd " + quoted(folder_) + " && " + test_support::tool_command(each.command));
    EXPECT_EQ(outcome.exit_code, each.exit_code) << each.command << ": " << outcome.output;
    EXPECT_NE(outcome.output.find(each.sentence), std::string::npos) << each.command << ": " << outcome.output;
    EXPECT_FALSE(fs::exists(out("new.exr")) || fs::exists(out("new.png"))) << each.command;
  }
  ASSERT_EQ(render("odd.png", "--size 33x31").exit_code, 0);
  EXPECT_NE(reproject("odd.png", "new.png", flat + "--packed side-by-side").output.find("no two equal halves"),
            std::string::npos);
}

}  // namespace native_packing_test
