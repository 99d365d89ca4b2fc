#include <numbers>

#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts cylinder() {
  CameraFacts camera = named("QuorinCylinderCam", "Quorin Cylinder Camera", "CylinderCam", "tagInfo7",
                             "QuorinCylinderCam Oct 28 2026 01:02:09", 0);
  camera.rays_need_a_record = false;
  camera.refused_projection_may_write = true;
  camera.channels = {{"SizeAxis", 1.0},
                     {"MaxVerticalFOVradians", std::numbers::pi / 18.0},
                     {"MinVerticalFOVradians", -std::numbers::pi / 18.0}};
  camera.saved = {envelope("SizeAxis"), envelope("MaxVerticalFOVradians"), envelope("MinVerticalFOVradians"), word(1.0)};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Size", "iPopChoice", 1.0)
      .envelope(0x8006, "", "distance-env", "SizeAxis")
      .envelope(0x8008, "Maximum FOV Angle", "angle-env", "MaxVerticalFOVradians", "Upper FOV Angle", "angle-env")
      .envelope(0x8009, "Minimum FOV Angle", "angle-env", "MinVerticalFOVradians", "Lower FOV Angle", "angle-env");
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 CylinderCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 CylinderCam::PanelPopCount CylinderCam::PanelPopName
divider 0x8006 0
sensitivity 0x8006 1
sensitivity 0x8008 1
sensitivity 0x8009 1
)";
  return camera;
}

const OneOfAllCameras cylinder_listed{cylinder};

}  // namespace
