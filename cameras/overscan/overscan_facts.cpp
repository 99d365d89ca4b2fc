#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts overscan(CameraFacts camera) {
  camera.plugin_name = "QuorinOverscanCam";
  camera.looks_through_other_cameras = true;
  camera.channels = {{"SizeAxis", 0.2}, {"Overscan", 0.0}, {"Vertical Jitter", 0.0}, {"Horizontal Jitter", 0.0}};
  return camera;
}

CameraFacts overscan() {
  CameraFacts camera = overscan(named("QuorinOverscanCam", "Quorin Overscan Camera", "OverscanCam", "tagInfo18",
                                      "QuorinOverscanCam Oct 28 2026 01:02:41", 1));
  camera.saved = {word(0.0), envelope("Overscan"), envelope("Vertical Jitter"), envelope("Horizontal Jitter")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Selected Camera", "iPopChoice", 0.0)
      .text(0x800a, "Selected Camera Resolution", "Width x Height")
      .envelope(0x8006, "Overscan Percentage", "percent-env", "Overscan")
      .text(0x800b, "Calc. Overscan Resolution", "Width x Height")
      .envelope(0x8008, "Vertical Jitter", "percent-env", "Vertical Jitter")
      .envelope(0x8009, "Horizontal Jitter", "percent-env", "Horizontal Jitter");
  camera.dividers_after = {0x8001};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 OverscanCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 OverscanCam::PanelPopCount OverscanCam::PanelPopName
sensitivity 0x8006 1
sensitivity 0x8008 1
sensitivity 0x8009 1
)";
  return camera;
}

CameraFacts dpi() {
  CameraFacts camera = overscan(
      named("QuorinDpiCam", "Quorin DPI Camera", "OverscanCam", "tagInfo19", "QuorinOverscanCam Oct 28 2026 01:02:41", 1));
  camera.handler_activation = "DpiCameraHandler";
  camera.interface_activation = "DpiCameraInterface";
  camera.gizmo_activation = "DpiCameraGizmo";
  camera.rays_need_a_record = false;
  camera.saved = {word(0.0), word(300.0), word(0.0), envelope("SizeAxis"), envelope("Overscan")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Selected Camera", "iPopChoice", 0.0)
      .word(0x800e, "Dots Per Inch", "iSliderText", 300.0)
      .word(0x800d, "Printed Image Size", "iPopChoice", 0.0)
      .envelope(0x800c, "", "distance-env", "SizeAxis")
      .text(0x800a, "Selected Camera Resolution", "Width x Height")
      .envelope(0x8006, "Edge Bleed size", "distance-env", "Overscan")
      .text(0x800b, "Calculated Resolution", "Width x Height");
  camera.dividers_after = {0x8001, 0x8007, 0x800c, 0x800b};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 OverscanCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 OverscanCam::PanelPopCount OverscanCam::PanelPopName
divider 0x8007 0
choices 0x800D [Horizontal Width | Vertical Height] 0
divider 0x800C 0
divider 0x800B 0
sensitivity 0x800C 1
sensitivity 0x8006 1
)";
  return camera;
}

const OneOfAllCameras overscan_listed{overscan};
const OneOfAllCameras dpi_listed{dpi};

}  // namespace
