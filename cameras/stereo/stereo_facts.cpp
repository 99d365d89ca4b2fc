#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts stereo() {
  CameraFacts camera =
      named("QuorinStereoCam", "Quorin Stereo Camera", "StereoCam", "tagInfo4", "QuorinStereoCam Oct 28 2026 01:03:22", 0);
  camera.has_a_lens = true;
  camera.has_two_eyes = true;
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"EyeSeparation", scene_eye_separation},
                     {"ConvergenceLimit", 10.0},
                     {"HorizontalScale", 1.0},
                     {"HorizontalShiftFactor", 1.0},
                     {"PhotoISO", 800.0},
                     {"PhotoIris", 2.8},
                     {"PhotoShutter", 180.0}};
  camera.saved = {envelope("EyeSeparation"),
                  envelope("ConvergenceLimit"),
                  envelope("HorizontalScale"),
                  envelope("HorizontalShiftFactor"),
                  word(0.0),
                  word(0.0),
                  reserved(),
                  reserved(),
                  reserved(),
                  number("PhotoISO", 800.0),
                  number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}
      .logo(0x800c)
      .version(0x8008)
      .zoom(0x8001)
      .envelope(0x8004, "Eye Separation", "distance-env", "EyeSeparation")
      .word(0x8002, "Convergence Item", "iPopChoice", 0.0)
      .envelope(0x8005, "Convergence Limit", "distance-env", "ConvergenceLimit")
      .envelope(0x8006, "Convergence Toe In", "percent-env", "HorizontalScale")
      .word(0x8003, "Show Convergence Plane", "iBoolean", 0.0)
      .photographic()
      .hidden_envelope(0x8007, "HorizontalShiftFactor");
  camera.hints = R"(
focus -1
configure 0x800C 0 0xFFFFFFFF80000001
draw 0x800C StereoCam::PanelControlDrawFunc
divider 0x8008 0
popup 0x8002 StereoCam::PanelPopCount StereoCam::PanelPopName
divider 0x8004 0
divider 0x8003 0
sensitivity 0x8004 1
sensitivity 0x8005 1
sensitivity 0x8006 1
)";
  return camera;
}

const OneOfAllCameras stereo_listed{stereo};

}  // namespace
