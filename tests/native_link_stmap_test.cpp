/// An ST map in the camera link file, put there by `ovicam link --set-stmap`.

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_link_stmap_test {

namespace fs = std::filesystem;
using test_support::contents;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;

class LinkStMap : public NativeTool {
 protected:
  void SetUp() override {
    NativeTool::SetUp();
    ASSERT_EQ(run_tool("stmap " + quoted(scene_) + " --target-fov 30 --overscan 0 -o " + quoted(map_)).exit_code, 0);
    fs::create_directory(temporary_);
  }

  Outcome link(const std::string& more) const {
    return run("TMPDIR=" + quoted(temporary_) + " " + quoted(test_support::module_file().parent_path() / "ovicam") + " link " +
               more);
  }
  void write_link(const std::string& text) const { std::ofstream(file_, std::ios::binary) << text; }
  bool has_line(const std::string& line) const { return contents(file_).find("\n" + line + "\n") != std::string::npos; }

  const fs::path map_ = out("map.exr");
  const fs::path temporary_ = out("temporary");
  const fs::path file_ = temporary_ / "Quorin_CameraLink.ini";
};

TEST_F(LinkStMap, IsAddedToWhatACameraPublished) {
  ASSERT_EQ(
      run("TMPDIR=" + quoted(temporary_) + " " + quoted(test_support::module_file().parent_path() / "ovicam") + " render " +
          quoted(scene_) + " --server QuorinSphericalCam --set ISO=1600 --size 8x6 --samples 1 -o " + quoted(out("x.png")))
          .exit_code,
      0);
  const std::string before = contents(file_);
  const Outcome outcome = link("--set-stmap " + quoted(map_) + " --strength 0.75 --blend 0.25");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_EQ(outcome.output.find("warning"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find(map_.string()), std::string::npos) << outcome.output;
  for (const std::string line : {"body=OviCam Spherical", "iso=1600.000000", "shutter_angle=180.000000", "stmap_active=1",
                                 "stmap_strength=0.750000", "stmap_blend=0.250000"})
    EXPECT_TRUE(has_line(line)) << line << " in " << contents(file_);
  EXPECT_TRUE(has_line("stmap_path=" + map_.string())) << contents(file_);
  EXPECT_FALSE(has_line("cam_pos=0.000000,0.000000,0.000000")) << "there was no pose";
  for (std::size_t start = 0; start < before.size(); start = before.find('\n', start) + 1)
    EXPECT_NE(contents(file_).find(before.substr(start, before.find('\n', start) + 1 - start)), std::string::npos) << start;
}

TEST_F(LinkStMap, EverythingElseStays) {
  const std::string others =
      "plugin=other\nplugin_version=2.5\nbody=Body\nbody_tag=b1\nlens_tag=l1\niso=800.000000\niris=2.800000\n"
      "shutter_angle=172.800000\nframe_time=0.500000\nscene=A scene\ncamera_name=Cam 1\nnative_iso=640.000000\n"
      "dynamic_range=14.500000\naperture_source=3\nfocal_mm=35.000000\nfilm_w_mm=36.000000\nfilm_h_mm=24.000000\n"
      "distort_k1=-0.100000\ndistort_k2=0.020000\ndistort_strength=0.900000\nlens=A lens\ncam_pos=0.000000,1.000000,-2.500000\n"
      "cam_right=1.000000,0.000000,0.000000\ncam_up=0.000000,1.000000,0.000000\ncam_forward=0.000000,0.000000,1.000000\n";
  write_link("[CameraLink]\nversion=1\n" + others +
             "stmap_active=1\nstmap_path=/old.exr\nstmap_strength=0.3\nstmap_blend=0.4\n");
  const Outcome outcome = link("--set-stmap " + quoted(map_) + " --blend 1");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_EQ(outcome.output.find("warning"), std::string::npos) << outcome.output;
  for (std::size_t start = 0; start < others.size(); start = others.find('\n', start) + 1)
    EXPECT_TRUE(has_line(others.substr(start, others.find('\n', start) - start))) << others.substr(start, 20);
  EXPECT_TRUE(has_line("stmap_strength=0.300000")) << "as it was before";
  EXPECT_TRUE(has_line("stmap_blend=1.000000"));
  EXPECT_TRUE(has_line("stmap_path=" + map_.string()));
}

TEST_F(LinkStMap, ALineThatCannotStayIsTold) {
  write_link("[CameraLink]\nversion=1\niso=100\nhumidity=60\nscene=" + std::string(200, 's') + "\n");
  const Outcome outcome = link("--set-stmap " + quoted(map_));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("warning: the module does not keep this line of the camera link file: humidity=60"),
            std::string::npos)
      << outcome.output;
  EXPECT_NE(outcome.output.find("file: scene=sss"), std::string::npos) << outcome.output;
  EXPECT_EQ(outcome.output.find("file: iso"), std::string::npos) << outcome.output;
}

TEST_F(LinkStMap, BeginsAFileWhereThereIsNone) {
  fs::current_path(folder_);
  const Outcome outcome = link("--set-stmap map.exr");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_TRUE(has_line("plugin=ovicam")) << contents(file_);
  EXPECT_TRUE(has_line("stmap_path=" + map_.string())) << "for programs that run elsewhere";
  EXPECT_TRUE(has_line("stmap_strength=1.000000"));
  EXPECT_EQ(names_in(temporary_), std::vector<std::string>{"Quorin_CameraLink.ini"});
}

TEST_F(LinkStMap, RefusesWithASentenceAndLeavesTheFile) {
  const std::string text = "[CameraLink]\nversion=1\niso=100\n";
  write_link(text);
  std::ofstream(out("empty.exr")).close();
  std::ofstream(out("text.exr")) << "no picture";
  struct Case {
    std::string arguments;
    int exit_code;
    std::string sentence;
  };
  fs::copy_file(map_, out("two\nlines.exr"));
  for (const Case& each : {
           Case{"--set-stmap " + quoted(out("missing.exr")), 1, "there is no such picture"},
           Case{"--set-stmap " + quoted(out("empty.exr")), 1, "empty.exr"},
           Case{"--set-stmap " + quoted(out("text.exr")), 1, "text.exr"},
           Case{"--set-stmap " + quoted(out("two\nlines.exr")), 1, "cannot stand in the camera link file"},
           Case{"--set-stmap " + quoted(folder_), 1, "there is no such picture"},
           Case{"--set-stmap " + quoted(map_) + " --strength 1.5", 2, "--strength"},
           Case{"--set-stmap " + quoted(map_) + " --blend nan", 2, "--blend"},
           Case{"--set-stmap " + quoted(map_) + " --watch", 2, "--watch"},
           Case{"--strength 0.5", 2, "--set-stmap"},
       }) {
    const Outcome outcome = link(each.arguments);
    EXPECT_EQ(outcome.exit_code, each.exit_code) << each.arguments << ": " << outcome.output;
    EXPECT_NE(outcome.output.find(each.sentence), std::string::npos) << each.arguments << ": " << outcome.output;
    EXPECT_EQ(contents(file_), text) << each.arguments;
  }
  const std::string foreign = "[CameraLink]\nversion=2\niso=100\n";
  write_link(foreign);
  EXPECT_EQ(link("--set-stmap " + quoted(map_)).exit_code, 1);
  EXPECT_EQ(contents(file_), foreign) << "of a version that it cannot keep";
  fs::remove(file_);
  fs::create_directory(file_);
  EXPECT_EQ(link("--set-stmap " + quoted(map_)).exit_code, 1);
}

}  // namespace native_link_stmap_test
