#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts dual() {
  CameraFacts camera =
      tiles(named("QuorinMultiCam", "Quorin Dual Camera", "MultiCam", "tagInfo1", "QormMultiCam Oct 28 2026 01:02:33", 1),
            {{"Left Camera", "Cam 1 (Left Side of Frame)"}, {"Right Camera", "Cam 2 (Right Side of Frame)"}});
  camera.hints = R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 MultiCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 MultiCam::PanelPopCount MultiCam::PanelPopName
popup 0x8007 MultiCam::PanelPopCount MultiCam::PanelPopName
)";
  return camera;
}

const OneOfAllCameras dual_listed{dual};

}  // namespace
