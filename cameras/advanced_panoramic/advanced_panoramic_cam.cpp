#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"

#include "framework/camera.h"

namespace AdvPanCam {

struct Camera {
  using Lens = AdvPanCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinAdvPanCam";
  static constexpr const char* description = "QuorinAdvPanCam Oct 28 2026 01:01:51";
  static constexpr unsigned flags = 0;
  static constexpr int no_handle = 0;
  static constexpr auto parameters = AdvPanCam::parameters;
  static constexpr auto saved = AdvPanCam::saved;
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::hidden_envelope_row(0x8000, &Lens::zoom_factor),
    framework::envelope_row(0x8006, "Horizontal FOV angle", "angle-env", &Lens::horizontal_fov_radians),
    framework::envelope_row(0x8007, "Upper Vertical FOV angle", "angle-env", &Lens::upper_angle_radians),
    framework::envelope_row(0x8008, "Lower Vertical FOV angle", "angle-env", &Lens::lower_angle_radians),
    framework::envelope_row(0x800a, "Right Horizontal Scale", "percent-env", &Lens::right_scale),
    framework::envelope_row(0x8009, "Top Vertical Scale", "percent-env", &Lens::top_scale),
    framework::envelope_row(0x800c, "Left Horizontal Scale", "percent-env", &Lens::left_scale),
    framework::envelope_row(0x800b, "Bottom Vertical Scale", "percent-env", &Lens::bottom_scale),
    framework::envelope_row(0x800e, "Horizontal Shift", "percent-env", &Lens::horizontal_shift),
    framework::envelope_row(0x800d, "Vertical Shift", "percent-env", &Lens::vertical_shift),
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::divider_after(0x8006), framework::divider_after(0x8008),
                         framework::divider_after(0x800b), framework::divider_after(0x800d), framework::sensitivity(0x8006),
                         framework::sensitivity(0x8007), framework::sensitivity(0x8008), framework::sensitivity(0x800a),
                         framework::sensitivity(0x8009), framework::sensitivity(0x800c), framework::sensitivity(0x800b),
                         framework::sensitivity(0x800e), framework::sensitivity(0x800d), framework::minimum(0x800a, -5),
                         framework::maximum(0x800a, 5), framework::minimum(0x8009, -5), framework::maximum(0x8009, 5),
                         framework::minimum(0x800c, -5), framework::maximum(0x800c, 5), framework::minimum(0x800b, -5),
                         framework::maximum(0x800b, 5));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace AdvPanCam
