#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts fisheye() {
  CameraFacts camera =
      named("QuorinFisheyeCam", "Quorin Fisheye Camera", "FisheyeCam", "tagInfo9", "QuorinFisheyeCam Oct 28 2026 01:02:17", 1);
  camera.has_a_lens = true;
  camera.rays_need_a_record = false;
  camera.channels = {{"ZoomFactor", scene_zoom_factor}, {"FisheyePower", 1.0}, {"FisheyeScale", 1.0}};
  camera.saved = {envelope("FisheyePower"), envelope("FisheyeScale"), word(1.0), word(0.0), word(1.0), word(1.0)};
  Rows{camera}
      .logo(0x8007)
      .version(0x8003)
      .zoom(0x8000)
      .envelope(0x8001, "Distortion Power", "float-env", "FisheyePower")
      .word(0x800A, "Auto Distortion Scale", "iBoolean", 1.0)
      .envelope(0x8002, "Distortion Scale", "float-env", "FisheyeScale")
      .word(0x800B, "Parallel Film Normals", "iBoolean", 1.0)
      .word(0x8008, "Preview in Camera View", "iBoolean", 0.0)
      .hidden_word(0x8009, 1.0);
  camera.hints = R"(
focus -1
configure 0x8007 0 0xFFFFFFFF80000001
draw 0x8007 FisheyeCam::PanelControlDrawFunc
divider 0x8003 0
divider 0x8000 0
divider 0x8002 0
sensitivity 0x8001 1
sensitivity 0x8002 1
)";
  return camera;
}

const OneOfAllCameras fisheye_listed{fisheye};

}  // namespace
