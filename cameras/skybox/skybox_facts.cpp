#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts skybox() {
  CameraFacts camera =
      named("QuorinSkyboxCam", "Quorin Skybox Camera", "SkyboxCam", "tagInfo5", "QuorinSkyboxCam Oct 28 2026 01:03:10", 0);
  camera.film_has_gaps = true;
  camera.projects = false;
  camera.saved = {word(0.0)};
  Rows{camera}.logo(0x8000).version(0x8002).logo(0x8012).word(0x8006, "Skybox Type", "iPopChoice", 0.0);
  camera.hints = R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 SkyboxCam::PanelControlDrawFunc
divider 0x8002 0
configure 0x8012 0 0xFFFFFFFF80000001
draw 0x8012 SkyboxCam::PanelControlDrawFunc2
popup 0x8006 SkyboxCam::PanelPopCount SkyboxCam::PanelPopName

destroy notify SkyboxCam::OnPanelDestroy data of its own
)";
  return camera;
}

const OneOfAllCameras skybox_listed{skybox};

}  // namespace
