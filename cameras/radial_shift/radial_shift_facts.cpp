#include "tests/support/describe_camera.h"

namespace {

using namespace test_support;

CameraFacts radial_shift() {
  CameraFacts camera = named("QuorinRadialShiftCam", "Quorin Radial Shift Camera", "RadialShiftCam", "tagInfo20",
                             "QuorinRadialShiftCam Oct 28 2026 01:03:01", 0);
  camera.has_a_lens = true;
  camera.rays_need_a_record = false;
  camera.channels = {{"ZoomFactor", scene_zoom_factor}};
  for (const char* channel :
       {"RadialShiftA", "RadialShiftB", "RadialShiftC", "ImageShiftH", "ImageShiftV", "ImageShearH", "ImageShearV"}) {
    camera.channels.push_back({channel, 0.0});
    camera.saved.push_back(envelope(channel));
  }
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .zoom(0x8000)
      .envelope(0x8006, "Radial Distortion (a)", "float-env", "RadialShiftA")
      .envelope(0x8007, "Radial Distortion (b)", "float-env", "RadialShiftB")
      .envelope(0x8008, "Radial Distortion (c)", "float-env", "RadialShiftC")
      .envelope(0x8009, "Horizontal Image Shift (d)", "float-env", "ImageShiftH")
      .envelope(0x800a, "Vertical Image Shift (e)", "float-env", "ImageShiftV")
      .envelope(0x800b, "Horizontal Image Shear (f)", "float-env", "ImageShearH")
      .envelope(0x800c, "Vertical Image Shear (g)", "float-env", "ImageShearV");
  camera.dividers_after = {0x8001, 0x8000, 0x8008, 0x800a};
  camera.sensitive = {0x8006, 0x8007, 0x8008, 0x8009, 0x800a, 0x800b, 0x800c};
  camera.hints = R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 RadialShiftCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
divider 0x8008 0
divider 0x800A 0
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x8009 1
sensitivity 0x800A 1
sensitivity 0x800B 1
sensitivity 0x800C 1
)";
  return camera;
}

const OneOfAllCameras radial_shift_listed{radial_shift};

}  // namespace
