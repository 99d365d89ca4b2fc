/// How settings are written on the command line, and what a person is told of them.

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/tool_fixture.h"

namespace native_settings_test {

using namespace test_support;

class NativeSettings : public NativeTool {
 protected:
  Outcome rays(const std::string& server, const std::string& options) const {
    return run("(" + tool_command("rays " + quoted(scene_) + " --json --server " + server + " " + options) + " 2>" +
               quoted(out("told")) + ")");
  }
  /// The rays, after what was set was told in those words.
  std::string rays_told(const std::string& server, const std::string& setting, const std::string& told) const {
    const Outcome outcome = rays(server, "--set '" + setting + "'");
    EXPECT_EQ(outcome.exit_code, 0) << setting << contents(out("told"));
    EXPECT_EQ(contents(out("told")), "set " + told + "\n");
    return outcome.output;
  }
};

TEST_F(NativeSettings, AnglesAreDegreesByLabelRadiansByChannelAndEitherWithAUnit) {
  const std::string shown = "Horizontal FOV angle: 180.00°";
  const std::string half = rays_told("QuorinPanoramicCam", "HorizontalFOVradians=3.141592653589793", shown);
  for (const std::string setting : {"Horizontal FOV angle=180", "Horizontal FOV angle=180deg", "Horizontal FOV angle=180 °",
                                    "Horizontal FOV angle=3.141592653589793rad", "HorizontalFOVradians=180deg"})
    EXPECT_EQ(rays_told("QuorinPanoramicCam", setting, shown), half) << setting;
  EXPECT_NE(rays_told("QuorinPanoramicCam", "Horizontal FOV angle=90", "Horizontal FOV angle: 90.00°"), half);
}

TEST_F(NativeSettings, PercentagesAndLengthsTakeTheirUnits) {
  const std::string tenth = rays_told("QuorinStereoCam", "Convergence Toe In=10", "Convergence Toe In: 10.0 %");
  EXPECT_EQ(rays_told("QuorinStereoCam", "Convergence Toe In=10%", "Convergence Toe In: 10.0 %"), tenth);
  const std::string eyes = rays_told("QuorinStereoCam", "Eye Separation=0.5", "Eye Separation: 50 cm");
  for (const std::string setting :
       {"Eye Separation=50cm", "EyeSeparation=0.5", "EyeSeparation=500 mm", "EyeSeparation=0.5m", "EyeSeparation=0.0005km"})
    EXPECT_EQ(rays_told("QuorinStereoCam", setting, "Eye Separation: 50 cm"), eyes) << setting;
  rays_told("QuorinStereoCam", "Eye Separation=1in", "Eye Separation: 2.54 cm");
  rays_told("QuorinStereoCam", "Eye Separation=1 ft", "Eye Separation: 30.48 cm");
}

TEST_F(NativeSettings, ChoicesCheckBoxesAndNumbers) {
  rays_told("QuorinStereoCam", "Show Convergence Plane=yes", "Show Convergence Plane: yes");
  rays_told("QuorinStereoCam", "Show Convergence Plane=0", "Show Convergence Plane: no");
  rays_told("QuorinSkyboxCam", "Skybox Type=Unfolded to Alternate Shape", "Skybox Type: Unfolded to Alternate Shape");
  rays_told("QuorinSphericalCam", "Iris (f-stop)=f/5.6", "Iris (f-stop): 5.6");
  rays_told("QuorinFisheyeCam", "Distortion Power=2", "Distortion Power: 2");
}

TEST_F(NativeSettings, WhatDoesNotFitIsRefusedWithWhatDoes) {
  const std::vector<std::array<std::string, 3>> cases{
      {"QuorinPanoramicCam", "Horizontal FOV angle=20%", "its units are deg"},
      {"QuorinPanoramicCam", "HorizontalFOVradians=6cm", "its units are deg"},
      {"QuorinPanoramicCam", "Horizontal FOV angle=wide", "is not a number"},
      {"QuorinPanoramicCam", "Horizontal FOV angle=1e999", "is not a number"},
      {"QuorinPanoramicCam", "Horizontal FOV angle=nan", "is not a number"},
      {"QuorinPanoramicCam", "Horizontal FOV angle=180degrees", "\"degrees\" does not fit"},
      {"QuorinStereoCam", "Eye Separation=6deg", "mm, cm, m, km, in, ft"},
      {"QuorinStereoCam", "Show Convergence Plane=maybe", "give yes or no"},
      {"QuorinStereoCam", "Show Convergence Plane=2", "give yes or no"},
      {"QuorinFisheyeCam", "Distortion Power=2m", "it has no unit"},
      {"QuorinSkyboxCam", "Skybox Type=Sphere", "Unfolded to Cross Shape"}};
  for (const auto& [server, setting, reason] : cases) {
    EXPECT_EQ(rays(server, "--set '" + setting + "'").exit_code, 1) << setting;
    EXPECT_NE(contents(out("told")).find(reason), std::string::npos) << setting << ": " << contents(out("told"));
  }
}

TEST_F(NativeSettings, WhatTheCameraDoesNotTakeIsWarnedOf) {
  const auto told = [&](const std::string& server, const std::string& setting) {
    EXPECT_EQ(rays(server, "--set '" + setting + "'").exit_code, 0) << contents(out("told"));
    return contents(out("told"));
  };
  EXPECT_NE(told("QuorinSphericalCam", "Iris (f-stop)=0").find("warning: the camera does not take 0"), std::string::npos)
      << contents(out("told"));
  EXPECT_NE(told("QuorinSkyboxCam", "Skybox Type=7").find("warning: "), std::string::npos) << contents(out("told"));
  EXPECT_EQ(rays("QuorinSkyboxCam", "--strict --set 'Skybox Type=7'").exit_code, 1);
}

TEST_F(NativeSettings, WhatTheFrameDoesNotUseIsWarnedOf) {
  const auto warnings = [&](const std::string& server, const std::string& options) {
    const Outcome outcome = run_tool("render " + quoted(scene_) + " --server " + server + " --size 8x6 --samples 1 " + options +
                                     " -o " + quoted(out("f.png")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    std::string found;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("warning: ")) found += line + '\n';
    return found;
  };
  // The scale is worked out unless that is switched off.
  const std::string scale = "--set 'Distortion Scale=2' ";
  EXPECT_EQ(warnings("QuorinFisheyeCam", scale), "warning: --set Distortion Scale=2 changes no ray of frame 1\n");
  EXPECT_EQ(warnings("QuorinFisheyeCam", scale + "--set 'Auto Distortion Scale=no'"), "");
  EXPECT_EQ(warnings("QuorinFisheyeCam", "--set FisheyePower=1.5"), "");
  EXPECT_EQ(warnings("QuorinSphericalCam", "--set ISO=400 --set 'Angular Field Of View=90'"),
            "warning: --set ISO=400 changes no ray of frame 1\n");
}

TEST_F(NativeSettings, TheShippedModuleTakesThemInTheSameWords) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string module = "--module " + quoted(shipped_module());
  EXPECT_EQ(rays("QuorinPanoramicCam", module + " --set 'Horizontal FOV angle=180'").exit_code, 0);
  EXPECT_EQ(contents(out("told")), "set Horizontal FOV angle: 180.00°\n");
}

}  // namespace native_settings_test
