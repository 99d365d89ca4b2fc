#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts perspective(const std::string& server_name, const std::string& user_name, const std::string& tag_table,
                        const std::string& handler_activation, const std::string& interface_activation, unsigned flags) {
  CameraFacts camera =
      named(server_name, user_name, "PerspectiveCam", tag_table, "QuorinPerspectiveCam Oct 28 2026 01:02:55", flags);
  camera.handler_activation = handler_activation;
  camera.interface_activation = interface_activation;
  camera.plugin_name = "QuorinPerspectiveCam";
  // Servers without depth of field have a pinhole.
  camera.has_a_lens = flags != 0;
  camera.rays_need_a_record = false;
  camera.channels = {
      {"ZoomFactor", scene_zoom_factor}, {"SizeAxis", 0.0}, {"PhotoISO", 800.0}, {"PhotoIris", 2.8}, {"PhotoShutter", 180.0}};
  camera.saved = {envelope("SizeAxis"), word(1.0), number("PhotoISO", 800.0), number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}.logo(0x8005).version(0x8001).zoom(0x8000).photographic();
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PerspectiveCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
sensitivity 0x8000 1
)";
  return camera;
}

CameraFacts with_everything() {
  return perspective("QuorinPerspectiveCam", "Quorin Perspective", "tagInfo8", "CameraHandler_DOF_MB", "CameraInterface", 1);
}
const OneOfAllCameras perspective_listed{with_everything};

CameraFacts without_depth_of_field() {
  return perspective("QuorinPerspectiveNoDOFCam", "Quorin No DoF", "tagInfo10", "CameraHandler_NoDOF_MB", "CameraInterface", 0);
}
const OneOfAllCameras perspective_without_depth_of_field_listed{without_depth_of_field};

CameraFacts without_motion_blur() {
  return perspective("QuorinPerspectiveNoDOFNoMBCam", "Quorin No DoF No MB", "tagInfo11", "CameraHandler_NoDOF_NoMB",
                     "CameraInterface2", 0);
}
const OneOfAllCameras perspective_without_motion_blur_listed{without_motion_blur};

}  // namespace
