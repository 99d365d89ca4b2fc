/// What players read of panoramas, as other programs read it.

#include <OpenImageIO/imageio.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_panorama_test {

namespace fs = std::filesystem;
using test_support::contents;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;
using test_support::shipped_module;

using Properties = std::map<std::string, std::string>;

std::string samples() { return quoted(test_support::source_folder() / "samples" / "cameras.lws"); }

/// Of a sphere, or the half ahead, that wide and high.
Properties expected(bool half, int width, int height) {
  const int turn = half ? 2 * width : width;
  return {{"CroppedAreaImageHeightPixels", std::to_string(height)},
          {"CroppedAreaImageWidthPixels", std::to_string(width)},
          {"CroppedAreaLeftPixels", std::to_string((turn - width) / 2)},
          {"CroppedAreaTopPixels", "0"},
          {"FullPanoHeightPixels", std::to_string(height)},
          {"FullPanoWidthPixels", std::to_string(turn)},
          {"ProjectionType", "equirectangular"},
          {"UsePanoramaViewer", "True"}};
}

class PanoramaMetadata : public NativeTool {
 protected:
  Outcome render_sample(const std::string& camera, const std::string& file, const std::string& more) const {
    Outcome outcome =
        run_tool("render " + samples() + " --camera '" + camera + "' --samples 1 " + more + " -o " + quoted(out(file)));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return outcome;
  }

  void reproject(const std::string& from_file, const std::string& to_file, const std::string& more) const {
    const Outcome outcome = run_tool("reproject " + quoted(out(from_file)) + " -o " + quoted(out(to_file)) + " " + more);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  }

  /// By ExifTool; of an EXR, whose attributes it does not look into, from the packet in it.
  Properties properties(const std::string& name, const std::string& group) const {
    fs::path file = out(name);
    if (file.extension() == ".exr") {
      const auto input = OIIO::ImageInput::open(file.string());
      EXPECT_TRUE(input);
      const std::string packet = input ? std::string(input->spec().get_string_attribute("xmp")) : std::string();
      if (packet.empty()) return {};
      file = out(name + ".xmp");
      std::ofstream(file, std::ios::binary) << packet;
    }
    const Outcome told = test_support::run("exiftool -j -n -" + group + ":all " + quoted(file));
    const nlohmann::json read = nlohmann::json::parse(told.output, nullptr, false);
    EXPECT_TRUE(read.is_array()) << told.output;
    Properties found;
    if (!read.is_array()) return found;
    for (const auto& [key, value] : read.at(0).items()) {
      if (key == "SourceFile") continue;
      found[key] = value.is_string() ? value.get<std::string>() : value.dump();
      if (found[key] == "true") found[key] = "True";
    }
    return found;
  }
};

TEST_F(PanoramaMetadata, FullAndHalfPanoramasSayWhatTheyAre) {
  const std::string half =
      " --set 'Horizontal FOV angle=180deg' --set 'Upper Vertical FOV angle=90deg' "
      "--set 'Lower Vertical FOV angle=-90deg'";
  for (const std::string kind : {".png", ".exr"}) {
    render_sample("Immersive", "all" + kind, "--size 64x32");
    EXPECT_EQ(properties("all" + kind, "XMP-GPano"), expected(false, 64, 32)) << kind;
    EXPECT_EQ(properties("all" + kind, "XMP-GSpherical"), Properties()) << kind;
    render_sample("Panoramic", "half" + kind, "--size 32x32" + half);
    EXPECT_EQ(properties("half" + kind, "XMP-GPano"), expected(true, 32, 32)) << kind;
  }
  // The camera may be turned: the panorama turns with it.
  render_sample("Immersive", "turned.png", "--size 64x32 --turn 20,10,5");
  EXPECT_EQ(properties("turned.png", "XMP-GPano"), expected(false, 64, 32));
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  render_sample("Immersive", "there.png", "--size 64x32 --module " + quoted(shipped_module()));
  EXPECT_EQ(properties("there.png", "XMP-GPano"), expected(false, 64, 32));
}

TEST_F(PanoramaMetadata, NoOtherPictureSaysThatItIsAPanorama) {
  struct Case {
    std::string camera;
    std::string more;
  };
  const std::string half = " --set 'Horizontal FOV angle=180deg' --set 'Lower Vertical FOV angle=-90deg' ";
  for (const Case& each :
       {Case{"Stereo", "--size 64x32"}, Case{"Panoramic", "--size 64x32"}, Case{"Spherical 360", "--size 64x32"},
        Case{"Cylinder Lying", "--size 64x32"}, Case{"Fisheye Power 1", "--size 32x32"}, Case{"Skybox Cross", "--size 64x32"},
        Case{"Four-up", "--size 64x32"}, Case{"Stereo", "--size 32x32 --packing side-by-side"},
        // Nearly, a part, and with pixels that are not square.
        Case{"Panoramic", "--size 32x32 --set 'Upper Vertical FOV angle=89.9deg'" + half},
        Case{"Immersive", "--size 64x32 --region 0,0,32,32"}, Case{"Immersive", "--size 64x30"}}) {
    for (const std::string kind : {".png", ".exr"}) {
      render_sample(each.camera, "other" + kind, each.more);
      EXPECT_EQ(contents(out("other" + kind)).find("GPano"), std::string::npos) << each.camera << ' ' << each.more << kind;
      fs::remove(out("other" + kind));
    }
  }
}

TEST_F(PanoramaMetadata, BothEyesAreToldOf) {
  const Properties sides{{"ProjectionType", "equirectangular"}, {"Spherical", "True"}, {"StereoMode", "left-right"}};
  Properties stack = sides;
  stack["StereoMode"] = "top-bottom";
  for (const std::string kind : {".png", ".exr"}) {
    render_sample("Stereo", "half" + kind, "--size 32x32 --packing vr180");
    EXPECT_EQ(properties("half" + kind, "XMP-GPano"), expected(true, 32, 32)) << kind;
    EXPECT_EQ(properties("half" + kind, "XMP-GSpherical"), sides) << kind;
    reproject("half" + kind, "all" + kind, "--packed vr180 --to equirectangular --size 64x32 --packing over-under");
    EXPECT_EQ(properties("all" + kind, "XMP-GPano"), expected(false, 64, 32)) << kind;
    EXPECT_EQ(properties("all" + kind, "XMP-GSpherical"), stack) << kind;
    reproject("half" + kind, "flat" + kind, "--packed vr180 --to perspective:60deg");
    EXPECT_EQ(contents(out("flat" + kind)).find("GPano"), std::string::npos) << kind;
    EXPECT_EQ(contents(out("flat" + kind)).find("GSpherical"), std::string::npos) << kind;
  }
}

/// Whatever said it before: another program, too.
TEST_F(PanoramaMetadata, ReprojectSaysItOfTheNewPictureOnly) {
  render_sample("Immersive", "all.png", "--size 64x32");
  render_sample("Immersive", "all.exr", "--size 64x32");
  ASSERT_EQ(test_support::run("oiiotool " + quoted(out("all.png")) + " --ch R,G,B -o " + quoted(out("all.jpg"))).exit_code, 0);
  ASSERT_EQ(test_support::run("exiftool -q -overwrite_original -XMP-GPano:ProjectionType=equirectangular "
                              "-XMP-GPano:FullPanoWidthPixels=64 -XMP-GPano:PoseHeadingDegrees=30 -XMP-dc:Creator=Somebody " +
                              quoted(out("all.jpg")) + " " + quoted(out("all.png")))
                .exit_code,
            0);
  for (const std::string kind : {".png", ".exr", ".jpg"}) {
    reproject("all" + kind, "flat" + kind, "--from equirectangular --to perspective:60deg");
    EXPECT_EQ(properties("flat" + kind, "XMP-GPano"), Properties()) << kind;
    EXPECT_EQ(contents(out("flat" + kind)).find("GPano"), std::string::npos) << kind;
    reproject("flat" + kind, "half" + kind, "--from perspective:60deg --to equirectangular180 --size 32x32");
    EXPECT_EQ(properties("half" + kind, "XMP-GPano"), expected(true, 32, 32)) << kind;
    reproject("all" + kind, "same" + kind, "--from equirectangular --to " + samples() + ":Immersive --size 64x32");
    EXPECT_EQ(properties("same" + kind, "XMP-GPano"), expected(false, 64, 32)) << kind;
    const auto input = OIIO::ImageInput::open(out("same" + kind).string());
    ASSERT_TRUE(input) << OIIO::geterror();
    EXPECT_EQ(input->spec().width, 64);
  }
}

}  // namespace native_panorama_test
