#include <numbers>

#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts immersive() {
  CameraFacts camera = named("QuorinImmersiveCam", "Quorin Immersive Camera", "ImmersiveCam", "tagInfo24",
                             "QuorinImmersiveCam Oct 28 2026 01:02:25", 0);
  add_panorama_parameters(camera, std::numbers::pi / 2.0);
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .hidden_envelope(0x8000, "ZoomFactor")
      .hidden_envelope(0x8006, "HorizontalFOVradians")
      .hidden_envelope(0x8007, "MaxVerticalFOVradians")
      .hidden_envelope(0x8008, "MinVerticalFOVradians")
      .hidden_envelope(0x8009, "VScalePos")
      .hidden_envelope(0x800a, "HScalePos")
      .hidden_envelope(0x800b, "VScaleNeg")
      .hidden_envelope(0x800c, "HScaleNeg")
      .hidden_envelope(0x800d, "VShift")
      .hidden_envelope(0x800e, "HShift")
      .hidden_text(0x8010, "Directions are as follows:\nwhat.");
  camera.dividers_after = {0x8001};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 ImmersiveCam::PanelControlDrawFunc
divider 0x8001 0
)";
  return camera;
}

const OneOfAllCameras immersive_listed{immersive};

}  // namespace
