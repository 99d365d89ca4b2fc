#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts twelve_up() {
  CameraFacts camera =
      tiles(named("Quorin12UpCam", "Quorin 12Up Camera", "TwelveUpCam", "tagInfo3", "Quorin12UpCam Oct 28 2026 01:01:33", 1),
            grid_names(3, 4));
  camera.hints = R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 TwelveUpCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8007 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8008 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8009 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800A TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800B TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800C TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800D TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800E TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800F TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8010 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8011 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
)";
  return camera;
}

const OneOfAllCameras twelve_up_listed{twelve_up};

}  // namespace
