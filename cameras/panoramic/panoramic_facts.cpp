#include <numbers>

#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts panoramic() {
  CameraFacts camera = named("QuorinPanoramicCam", "Quorin Panoramic Camera", "PanoramicCam", "tagInfo6",
                             "QuorinPanoramicCam Oct 28 2026 01:02:48", 0);
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"HorizontalFOVradians", 2.0 * std::numbers::pi},
                     {"MaxVerticalFOVradians", std::numbers::pi / 4.0},
                     {"MinVerticalFOVradians", -std::numbers::pi / 4.0}};
  camera.saved = {envelope("HorizontalFOVradians"), envelope("MaxVerticalFOVradians"), envelope("MinVerticalFOVradians")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Horizontal FOV angle", "angle-env", "HorizontalFOVradians")
      .envelope(0x8007, "Upper Vertical FOV angle", "angle-env", "MaxVerticalFOVradians")
      .envelope(0x8008, "Lower Vertical FOV angle", "angle-env", "MinVerticalFOVradians")
      .hidden_envelope(0x8000, "ZoomFactor");
  camera.dividers_after = {0x8001, 0x8006, 0x8000, 0x8008};
  camera.sensitive = {0x8007, 0x8008, 0x8006, 0x8007, 0x8008};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PanoramicCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
divider 0x8000 0
divider 0x8008 0
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
)";
  return camera;
}

const OneOfAllCameras panoramic_listed{panoramic};

}  // namespace
