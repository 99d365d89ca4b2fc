#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts four_up() {
  CameraFacts camera =
      tiles(named("Quorin4UpCam", "Quorin 4Up Camera", "FourUpCam", "tagInfo2", "Quorin4UpCam Oct 28 2026 01:01:42", 1),
            grid_names(2, 2));
  camera.hints = R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 FourUpCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8007 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8008 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8009 FourUpCam::PanelPopCount FourUpCam::PanelPopName
)";
  return camera;
}

const OneOfAllCameras four_up_listed{four_up};

}  // namespace
