/// `ovicam reproject`: files, lenses by name, and what it refuses.

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_reproject_test {

namespace fs = std::filesystem;
using test_support::contents;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;
using test_support::shipped_module;

fs::path sample_scene() { return test_support::source_folder() / "samples" / "cameras.lws"; }
std::string lens(const std::string& camera) { return "'" + sample_scene().string() + ":" + camera + "'"; }

/// A file's name is never used twice: OpenImageIO remembers what it has read by its name.
OIIO::ImageBuf read(const fs::path& file) {
  OIIO::ImageBuf picture(file.string());
  EXPECT_TRUE(picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << picture.geterror();
  return picture;
}

/// Root of the mean square, of colours from 0 to 1, and the share of pixels that are more than 0.1 apart.
struct Difference {
  double root_mean_square = 0.0;
  double share_far = 0.0;
};

Difference difference(const OIIO::ImageBuf& a, const OIIO::ImageBuf& b) {
  const OIIO::ROI colours(0, a.spec().width, 0, a.spec().height, 0, 1, 0, 3);
  const auto result = OIIO::ImageBufAlgo::compare(a, b, 0.1F, 0.1F, colours);
  return {result.rms_error, static_cast<double>(result.nfail) / (a.spec().width * a.spec().height)};
}

class Reproject : public NativeTool {
 protected:
  Outcome reproject(const std::string& from_file, const std::string& to_file, const std::string& more) const {
    return run_tool("reproject " + quoted(out(from_file)) + " -o " + quoted(out(to_file)) + " " + more);
  }

  void render_sample(const std::string& camera, const std::string& file, const std::string& more) const {
    const Outcome outcome =
        run_tool("render " + quoted(sample_scene()) + " --camera '" + camera + "' " + more + " -o " + quoted(out(file)));
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  }

  void write(const std::string& file, const OIIO::ImageSpec& layout, float value = 0.5F) const {
    const auto output = OIIO::ImageOutput::create(out(file).string());
    ASSERT_TRUE(output && output->open(out(file).string(), layout)) << OIIO::geterror();
    const std::vector<float> samples(static_cast<std::size_t>(layout.width * layout.height * layout.nchannels), value);
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, samples.data())) << output->geterror();
    ASSERT_TRUE(output->close());
  }
};

TEST_F(Reproject, IsWhatARenderThroughTheOtherLensShows) {
  render_sample("Immersive", "all.exr", "--size 1536x768 --samples 4");
  const standin::Scene scene = standin::read_scene_file(sample_scene());
  const double zoom = scene.find_camera("Immersive")->camera->zoom_factor.at(0.0);
  const std::string field = std::to_string(2.0 * std::atan(16.0 / 9.0 / zoom)) + "rad";
  struct Case {
    std::string to;
    std::string server;
  };
  for (const Case& each : {Case{"perspective:" + field, "Perspective"}, Case{"QuorinPanoramicCam", "QuorinPanoramicCam"}}) {
    render_sample("Immersive", each.server + ".exr", "--size 256x144 --samples 16 --server " + each.server);
    const Outcome outcome = reproject("all.exr", each.server + " again.exr",
                                      "--from " + lens("Immersive") + " --to " + each.to + " --size 256x144");
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const Difference off = difference(read(out(each.server + " again.exr")), read(out(each.server + ".exr")));
    EXPECT_LT(off.root_mean_square, 0.05) << each.to;
    EXPECT_LT(off.share_far, 0.1) << each.to;
  }
  // The scale that tells right from wrong.
  const Outcome other =
      reproject("all.exr", "other.exr", "--from " + lens("Immersive") + " --to perspective:40 --size 256x144");
  ASSERT_EQ(other.exit_code, 0) << other.output;
  EXPECT_GT(difference(read(out("other.exr")), read(out("Perspective.exr"))).root_mean_square, 0.1);
}

TEST_F(Reproject, ThereAndBackIsThePictureItself) {
  render_sample("Immersive", "all.exr", "--size 512x256 --samples 9");
  // Twice as large in between: what is lost then is what filtering twice takes.
  ASSERT_EQ(
      reproject("all.exr", "between.exr", "--from " + lens("Immersive") + " --to QuorinImmersiveCam --size 1024x512").exit_code,
      0);
  ASSERT_EQ(
      reproject("between.exr", "back.exr", "--from QuorinImmersiveCam --to " + lens("Immersive") + " --size 512x256").exit_code,
      0);
  EXPECT_LT(difference(read(out("back.exr")), read(out("all.exr"))).root_mean_square, 0.03);
  ASSERT_EQ(reproject("all.exr", "same.exr", "--from " + lens("Immersive") + " --to " + lens("Immersive") + " --size 512x256")
                .exit_code,
            0);
  EXPECT_LT(difference(read(out("same.exr")), read(out("all.exr"))).root_mean_square, 0.003);
}

TEST_F(Reproject, SharperFiltersLoseLess) {
  render_sample("Immersive", "all.exr", "--size 512x256 --samples 16");
  const std::string there = "--from " + lens("Immersive") + " --to cubemap:3x2 --size 768x512";
  const std::string back = "--from cubemap:3x2 --to " + lens("Immersive") + " --size 512x256";
  double least = 1.0;
  for (const std::string filter : {"triangle", "catmull-rom", "lanczos3"}) {
    const std::string name = filter + ".exr";
    ASSERT_EQ(reproject("all.exr", "cube.exr", there + " --filter " + filter).exit_code, 0);
    ASSERT_EQ(reproject("cube.exr", name, back + " --filter " + filter).exit_code, 0);
    const double lost = difference(read(out(name)), read(out("all.exr"))).root_mean_square;
    EXPECT_LT(lost, 0.97 * least) << filter;
    least = lost;
  }
  // The standard one.
  ASSERT_EQ(reproject("all.exr", "plain.exr", there).exit_code, 0);
  ASSERT_EQ(reproject("all.exr", "named.exr", there + " --filter triangle").exit_code, 0);
  EXPECT_EQ(difference(read(out("plain.exr")), read(out("named.exr"))).root_mean_square, 0.0);
  const Outcome refused = reproject("all.exr", "none.exr", there + " --filter sharp");
  EXPECT_NE(refused.exit_code, 0);
  EXPECT_NE(refused.output.find("--filter sharp: there is no such filter; give box, triangle"), std::string::npos)
      << refused.output;
  EXPECT_FALSE(std::filesystem::exists(out("none.exr")));
}

double decibels(const OIIO::ImageBuf& a, const OIIO::ImageBuf& b) {
  return -20.0 * std::log10(difference(a, b).root_mean_square);
}

/// Unfolded and folded again: filtering twice takes a little, as moving the picture by a pixel's part does. What lies in the
/// skybox's gaps is not seen, and the only thing that is not.
TEST_F(Reproject, CubesAndBackAreThePictureItself) {
  render_sample("Immersive", "all.exr", "--size 512x256 --samples 16");
  const OIIO::ImageBuf all = read(out("all.exr"));
  OIIO::ImageBuf moved = OIIO::ImageBufAlgo::circular_shift(all, 1, 0);
  moved = OIIO::ImageBufAlgo::mul(OIIO::ImageBufAlgo::add(moved, all), 0.5F);
  const double blurred = decibels(moved, all);
  EXPECT_GT(blurred, 15.0);
  const std::string all_round = lens("Immersive");
  struct Case {
    std::string cube;
    std::string size;
    double least_seen;
  };
  for (const auto& [cube, size, least_seen] :
       {Case{"skybox", "1024x768", 0.95}, Case{"skybox:alternate", "1024x768", 0.95}, Case{"cubemap", "1024x768", 1.0},
        Case{"cubemap:vertical", "256x1536", 1.0}, Case{"cubemap:3x2", "768x512", 1.0}}) {
    const std::string name = std::to_string(std::hash<std::string>()(cube));
    ASSERT_EQ(reproject("all.exr", name + ".exr", "--from " + all_round + " --to " + cube + " --size " + size).exit_code, 0);
    const Outcome outcome =
        reproject(name + ".exr", name + "b.exr", "--from " + cube + " --to " + all_round + " --size 512x256");
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const OIIO::ImageBuf back = read(out(name + "b.exr"));
    const auto stats = OIIO::ImageBufAlgo::computePixelStats(back);
    EXPECT_GE(stats.avg[3], least_seen - 1e-4) << cube;
    EXPECT_EQ(stats.avg[3] < 0.999, least_seen < 1.0) << cube << ": gaps, or none";
    EXPECT_GT(decibels(OIIO::ImageBufAlgo::over(back, all), all), blurred) << cube;
  }
}

/// Without --size a face is a quarter as wide as the picture, or as wide as it was.
TEST_F(Reproject, ACubesSizeIsThatOfItsFaces) {
  write("all.exr", OIIO::ImageSpec(64, 32, 3, OIIO::TypeDesc::HALF));
  const auto size_of = [&](const std::string& from, const std::string& to, const std::string& more) {
    const std::string name = std::to_string(std::hash<std::string>()(from + to + more)) + ".exr";
    const Outcome outcome = reproject(from, name, more + " --to " + to);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    const OIIO::ImageBuf picture = read(out(name));
    return std::to_string(picture.spec().width) + "x" + std::to_string(picture.spec().height);
  };
  EXPECT_EQ(size_of("all.exr", "cubemap", "--from equirectangular"), "64x48");
  EXPECT_EQ(size_of("all.exr", "cubemap:vertical", "--from equirectangular"), "16x96");
  EXPECT_EQ(size_of("all.exr", "skybox", "--from equirectangular"), "64x48");
  EXPECT_EQ(size_of("all.exr", "cubemap", "--from equirectangular --size 60x10"), "60x10");
  write("row.exr", OIIO::ImageSpec(120, 20, 3, OIIO::TypeDesc::HALF));
  EXPECT_EQ(size_of("row.exr", "cubemap:3x2", "--from cubemap"), "60x40");
  EXPECT_EQ(size_of("row.exr", "equirectangular", "--from cubemap:horizontal --size 40x20"), "40x20");
}

/// Kinds of numbers, names and layers are the same as before.
TEST_F(Reproject, TheFormStays) {
  OIIO::ImageSpec layers(64, 32, 7, OIIO::TypeDesc::HALF);
  layers.channelnames = {"R", "G", "B", "A", "Z", "right.R", "N.X"};
  layers.channelformats = {OIIO::TypeDesc::HALF,  OIIO::TypeDesc::HALF, OIIO::TypeDesc::HALF, OIIO::TypeDesc::HALF,
                           OIIO::TypeDesc::FLOAT, OIIO::TypeDesc::HALF, OIIO::TypeDesc::HALF};
  layers.alpha_channel = 3;
  layers.attribute("comment", "kept");
  layers.attribute("ovicam/camera", "not true any more");
  write("layers.exr", layers);
  ASSERT_EQ(reproject("layers.exr", "layers2.exr", "--from equirectangular --to fisheye180 --size 40x30").exit_code, 0);
  const auto input = OIIO::ImageInput::open(out("layers2.exr").string());
  ASSERT_TRUE(input);
  const OIIO::ImageSpec& now = input->spec();
  EXPECT_EQ(now.width, 40);
  EXPECT_EQ(now.height, 30);
  std::vector<std::string> names = now.channelnames;
  std::ranges::sort(names);
  EXPECT_EQ(names, (std::vector<std::string>{"A", "B", "G", "N.X", "R", "Z", "right.R"}));
  for (int channel = 0; channel < now.nchannels; ++channel)
    EXPECT_EQ(now.channelformat(channel), now.channel_name(channel) == "Z" ? OIIO::TypeDesc::FLOAT : OIIO::TypeDesc::HALF);
  EXPECT_EQ(now.get_string_attribute("comment"), "kept");
  EXPECT_EQ(now.get_string_attribute("ovicam/camera"), "");
  EXPECT_EQ(now.get_string_attribute("ovicam/reproject/to"), "fisheye180");

  for (const OIIO::TypeDesc kind : {OIIO::TypeDesc::UINT8, OIIO::TypeDesc::UINT16}) {
    const std::string name = kind == OIIO::TypeDesc::UINT8 ? "8" : "16";
    OIIO::ImageSpec layout(64, 32, 4, kind);
    layout.attribute("oiio:UnassociatedAlpha", 1);
    write(name + ".png", layout);
    ASSERT_EQ(reproject(name + ".png", name + "b.png", "--from equirectangular --to fisheye180 --size 40x30").exit_code, 0);
    const auto png = OIIO::ImageInput::open(out(name + "b.png").string());
    ASSERT_TRUE(png);
    EXPECT_EQ(png->spec().format, kind);
    EXPECT_EQ(png->spec().nchannels, 4);
    const OIIO::ImageBuf picture = read(out(name + "b.png"));
    // Associated, as it is read here: the colour is half of what is half transparent.
    EXPECT_NEAR(picture.getchannel(20, 15, 0, 3), 0.5F, 0.01F);
    EXPECT_EQ(picture.getchannel(0, 0, 0, 3), 0.0F) << "outside of the circle";
  }
}

TEST_F(Reproject, EveryCompressionIsRead) {
  for (const std::string compression : {"none", "rle", "zip", "zips", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"}) {
    OIIO::ImageSpec layout(64, 32, 4, OIIO::TypeDesc::HALF);
    layout.attribute("compression", compression);
    write(compression + ".exr", layout);
    const Outcome outcome =
        reproject(compression + ".exr", compression + "2.exr", "--from equirectangular --to perspective:60deg --size 20x10");
    ASSERT_EQ(outcome.exit_code, 0) << compression << ": " << outcome.output;
    EXPECT_NEAR(read(out(compression + "2.exr")).getchannel(10, 5, 0, 3), 0.5F, 0.01F) << compression;
  }
}

/// Each view as if it were alone and its eye were given.
TEST_F(Reproject, BothEyesGoThroughLensesOfTheirOwn) {
  const std::string camera = "Stereo Convergence";
  const std::string settings = "--size 160x90 --samples 4 --set 'Eye Separation=0.5m' ";
  render_sample(camera, "both.exr", settings + "--stereo --layers normal");
  const std::string scene = lens(camera);
  const std::string lenses = "--from " + scene + " --to perspective:40deg --size 120x80";
  const std::string to_eyes = "--from equirectangular --to " + scene + " --size 120x80";
  for (const std::string& way : {lenses, to_eyes}) {
    const std::string name = &way == &lenses ? "a" : "b";
    const Outcome outcome = reproject("both.exr", "both " + name + ".exr", way);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    const OIIO::ImageBuf both = read(out("both " + name + ".exr"));
    const OIIO::ParamValue* views = both.spec().find_attribute("multiView");
    ASSERT_NE(views, nullptr);
    EXPECT_EQ(views->get_string(), "\"left\", \"right\"");
    for (const std::string eye : {"left", "right"}) {
      const std::string alone = name + eye + ".exr";
      ASSERT_EQ(reproject("both.exr", alone, way + " --eye " + eye).exit_code, 0);
      const OIIO::ImageBuf one = read(out(alone));
      for (int channel = 0; channel < one.nchannels(); ++channel) {
        const std::string channel_name = one.spec().channel_name(channel);
        const bool of_right = channel_name.find("right.") != std::string::npos;
        double most = 0.0;
        for (int y = 0; y < 80; ++y)
          for (int x = 0; x < 120; ++x)
            most = std::max(most, std::abs(static_cast<double>(one.getchannel(x, y, 0, channel)) -
                                           both.getchannel(x, y, 0, both.spec().channelindex(channel_name))));
        if (of_right == (eye == "right"))
          EXPECT_EQ(most, 0.0) << way << ": " << eye << ' ' << channel_name;
        else if (!channel_name.ends_with("A"))
          EXPECT_GT(most, 0.05) << way << ": " << eye << ' ' << channel_name;
      }
    }
  }
}

/// A camera whose eyes see the same shows what a picture without eyes shows.
TEST_F(Reproject, BothEyesOfOneLensAreSeenThroughIt) {
  render_sample("Stereo", "two.exr", "--size 80x40 --samples 1 --stereo");
  ASSERT_EQ(reproject("two.exr", "round.exr", "--from equirectangular --to " + lens("Immersive") + " --size 64x32").exit_code,
            0);
  ASSERT_EQ(
      reproject("two.exr", "middle.exr", "--eye centre --from equirectangular --to " + lens("Immersive") + " --size 64x32")
          .exit_code,
      0);
  const auto all = OIIO::ImageBufAlgo::compare(read(out("round.exr")), read(out("middle.exr")), 0.0F, 0.0F);
  EXPECT_EQ(all.maxerror, 0.0);
}

TEST_F(Reproject, AJpegStaysOne) {
  write("all.jpg", OIIO::ImageSpec(64, 32, 3, OIIO::TypeDesc::UINT8));
  const Outcome outcome = reproject("all.jpg", "round.jpg", "--from equirectangular --to perspective:60deg --size 40x30");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  const OIIO::ImageBuf picture = read(out("round.jpg"));
  EXPECT_EQ(picture.spec().width, 40);
  EXPECT_EQ(contents(out("round.jpg")).substr(0, 2), "\xFF\xD8");
  EXPECT_NEAR(picture.getchannel(20, 15, 0, 0), 0.5F, 0.01F);
}

TEST_F(Reproject, ATiffIsRefused) {
  write("all.tif", OIIO::ImageSpec(64, 32, 3, OIIO::TypeDesc::UINT8));
  const Outcome outcome = reproject("all.tif", "round.tif", "--from equirectangular --to fisheye180");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.output.find("give a PNG, EXR or JPEG file"), std::string::npos) << outcome.output;
  EXPECT_FALSE(fs::exists(out("round.tif")));
}

TEST_F(Reproject, APartOfAFrameIsInItsPlace) {
  render_sample("Immersive", "whole.exr", "--size 256x128 --samples 4");
  render_sample("Immersive", "part.exr", "--size 256x128 --samples 4 --region 100,40,60,50");
  for (const std::string name : {"whole", "part"})
    ASSERT_EQ(reproject(name + ".exr", name + "2.exr", "--from " + lens("Immersive") + " --to perspective:30deg --size 40x30")
                  .exit_code,
              0);
  EXPECT_LT(difference(read(out("whole2.exr")), read(out("part2.exr"))).root_mean_square, 1e-6);
}

TEST_F(Reproject, ThroughTheShippedModuleIsTheSame) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  render_sample("Immersive", "all.exr", "--size 128x64 --samples 1");
  const std::string lenses = "--from " + lens("Immersive") + " --to 'QuorinFisheyeCam,FisheyePower=2' --size 64x48";
  const Outcome here = reproject("all.exr", "here.exr", lenses);
  ASSERT_EQ(here.exit_code, 0) << here.output;
  const Outcome there = reproject("all.exr", "there.exr", lenses + " --module " + quoted(shipped_module()));
  ASSERT_EQ(there.exit_code, 0) << there.output;
  EXPECT_LT(difference(read(out("here.exr")), read(out("there.exr"))).root_mean_square, 1e-5);
}

TEST_F(Reproject, RefusesWithASentenceAndLeavesNoFile) {
  OIIO::ImageSpec layout(16, 8, 3, OIIO::TypeDesc::HALF);
  write("all.exr", layout);
  std::ofstream(out("empty.exr")).close();
  std::ofstream(out("text.exr")) << "no picture";
  const std::string whole = contents(out("all.exr"));
  std::ofstream(out("half.exr"), std::ios::binary) << whole.substr(0, whole.size() - 20);
  struct Case {
    std::string file;
    std::string more;
    int exit_code;
    std::string sentence;
  };
  const std::string sound = "--from equirectangular --to fisheye180";
  for (const Case& each : {
           Case{"missing.exr", sound, 1, "there is no such picture"},
           Case{"empty.exr", sound, 1, "not a picture that can be read"},
           Case{"text.exr", sound, 1, "not a picture that can be read"},
           Case{"half.exr", sound, 1, "half.exr: it "},
           Case{"all.exr", "--from equirectangular --to nowhere", 2, "give a camera of a scene"},
           Case{"all.exr", "--from equirectangular --to perspective:200", 2, "give an angle above 0"},
           Case{"all.exr", "--from equirectangular --to perspective:", 2, "give an angle above 0"},
           Case{"all.exr", "--from equirectangular --to QuorinFisheyeCam,Power", 2, "is not PARAMETER=VALUE"},
           Case{"all.exr", "--from equirectangular --to QuorinFisheyeCam,FisheyePower=much", 1, "is not a number"},
           Case{"all.exr", "--from equirectangular --to QuorinNoCam", 1, "QuorinNoCam"},
           Case{"all.exr", "--from equirectangular --to missing.lws:Camera", 1, "missing.lws"},
           Case{"all.exr", "--from equirectangular --to " + lens("Nobody"), 1, "has no camera \"Nobody\""},
           Case{"all.exr", "--from equirectangular --to " + lens(""), 2, "give the name of a camera"},
           Case{"all.exr", "--from " + lens("Cylinder Lying") + " --to fisheye180", 1, "has no inverse"},
           Case{"all.exr", "--from " + lens("Skybox Cross") + " --to fisheye180", 1, "skybox split --face"},
           Case{"all.exr", "--from cubemap --to fisheye180", 1, "no cube map of six squares"},
           Case{"all.exr", "--from cubemap:cross --to fisheye180", 1, "no 4x3 equal squares"},
           Case{"all.exr", "--from equirectangular --to cubemap --size 50x20", 1, "no cube map of six squares"},
           Case{"all.exr", "--from equirectangular --to cubemap:3x2 --size 40x30", 1, "no 3x2 equal squares"},
           Case{"all.exr", "--from equirectangular --to cubemap:opengl", 2, "give cross, alternate"},
           Case{"all.exr", "--from equirectangular --to cubemap:", 2, "give cross, alternate"},
           Case{"all.exr", "--from equirectangular --to skybox:horizontal", 2, "give cross or alternate"},
           Case{"all.exr", sound + " --size 0x8", 2, "from 1 to"},
           Case{"all.exr", sound + " --size 99999x8", 2, "from 1 to"},
       }) {
    const Outcome outcome = reproject(each.file, "new.exr", each.more);
    EXPECT_EQ(outcome.exit_code, each.exit_code) << each.file << ' ' << each.more << ": " << outcome.output;
    EXPECT_NE(outcome.output.find(each.sentence), std::string::npos) << each.more << ": " << outcome.output;
    EXPECT_FALSE(fs::exists(out("new.exr"))) << each.more;
  }
  EXPECT_EQ(reproject("all.exr", "new.png", sound).exit_code, 2);
  EXPECT_EQ(reproject("all.exr", "gone/new.exr", sound).exit_code, 1);
  for (const std::string& name : names_in(folder_)) EXPECT_EQ(name.find("new"), std::string::npos) << name;
}

/// The picture can be its own successor, and numbers that are none do not spread.
TEST_F(Reproject, ReplacesItsPictureAndTellsOfBrokenNumbers) {
  OIIO::ImageSpec layout(16, 8, 3, OIIO::TypeDesc::FLOAT);
  write("nan.exr", layout, std::numeric_limits<float>::quiet_NaN());
  const Outcome outcome = reproject("nan.exr", "nan.exr", "--from equirectangular --to fisheye180 --size 12x12");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("warning: "), std::string::npos) << outcome.output;
  const OIIO::ImageBuf picture = read(out("nan.exr"));
  EXPECT_EQ(picture.spec().width, 12);
  EXPECT_EQ(picture.getchannel(6, 6, 0, 0), 0.0F);
  write("strict.exr", layout, std::numeric_limits<float>::infinity());
  const Outcome strict = reproject("strict.exr", "strict2.exr", "--strict --from equirectangular --to fisheye180 --size 12x12");
  EXPECT_EQ(strict.exit_code, 1) << strict.output;
  EXPECT_FALSE(fs::exists(out("strict2.exr")));
}

}  // namespace native_reproject_test
