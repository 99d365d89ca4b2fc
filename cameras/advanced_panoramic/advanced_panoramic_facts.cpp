#include <numbers>

#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts advanced_panoramic() {
  CameraFacts camera =
      named("QuorinAdvPanCam", "Quorin SuperPano Camera", "AdvPanCam", "tagInfo12", "QuorinAdvPanCam Oct 28 2026 01:01:51", 0);
  add_panorama_parameters(camera, std::numbers::pi / 4.0);
  camera.gizmo_handle_answer = 0;
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Horizontal FOV angle", "angle-env", "HorizontalFOVradians")
      .envelope(0x8007, "Upper Vertical FOV angle", "angle-env", "MaxVerticalFOVradians")
      .envelope(0x8008, "Lower Vertical FOV angle", "angle-env", "MinVerticalFOVradians")
      .envelope(0x800a, "Right Horizontal Scale", "percent-env", "HScalePos")
      .envelope(0x8009, "Top Vertical Scale", "percent-env", "VScalePos")
      .envelope(0x800c, "Left Horizontal Scale", "percent-env", "HScaleNeg")
      .envelope(0x800b, "Bottom Vertical Scale", "percent-env", "VScaleNeg")
      .envelope(0x800e, "Horizontal Shift", "percent-env", "HShift")
      .envelope(0x800d, "Vertical Shift", "percent-env", "VShift")
      .hidden_envelope(0x8000, "ZoomFactor");
  camera.dividers_after = {0x8001, 0x8006, 0x8008, 0x800b, 0x800d};
  camera.sensitive = {0x8006, 0x8007, 0x8008, 0x800a, 0x8009, 0x800c, 0x800b, 0x800e, 0x800d};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 AdvPanCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
divider 0x8008 0
divider 0x800B 0
divider 0x800D 0
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x800A 1
sensitivity 0x8009 1
sensitivity 0x800C 1
sensitivity 0x800B 1
sensitivity 0x800E 1
sensitivity 0x800D 1
minimum 0x800A -5
maximum 0x800A 5
minimum 0x8009 -5
maximum 0x8009 5
minimum 0x800C -5
maximum 0x800C 5
minimum 0x800B -5
maximum 0x800B 5
)";
  return camera;
}

const OneOfAllCameras advanced_panoramic_listed{advanced_panoramic};

}  // namespace
