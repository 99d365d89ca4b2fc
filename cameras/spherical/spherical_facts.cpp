#include <numbers>

#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts spherical() {
  CameraFacts camera = named("QuorinSphericalCam", "Quorin Spherical Camera", "SphericalCam", "tagInfo22",
                             "QuorinSphericalCam Oct 28 2026 01:03:14", 0);
  camera.rays_need_a_record = false;
  camera.channels = {
      {"AngularFieldOfView", std::numbers::pi}, {"PhotoISO", 800.0}, {"PhotoIris", 2.8}, {"PhotoShutter", 180.0}};
  camera.saved = {envelope("AngularFieldOfView"), number("PhotoISO", 800.0), number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Angular Field Of View", "angle-env", "AngularFieldOfView")
      .photographic();
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 SphericalCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
sensitivity 0x8006 1
)";
  return camera;
}

const OneOfAllCameras spherical_listed{spherical};

}  // namespace
