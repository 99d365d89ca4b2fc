#include "cameras/panoramic/panoramic_cam.h"

#include "framework/camera.h"

namespace PanoramicCam {

struct Camera {
  using Lens = PanoramicCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinPanoramicCam";
  static constexpr const char* description = "QuorinPanoramicCam Oct 28 2026 01:02:48";
  static constexpr unsigned flags = 0;

  static constexpr std::array parameters{
      framework::host_zoom_parameter(&Lens::zoom_factor),
      framework::parameter("HorizontalFOVradians", &Lens::horizontal_fov_radians),
      framework::parameter("MaxVerticalFOVradians", &Lens::upper_angle_radians),
      framework::parameter("MinVerticalFOVradians", &Lens::lower_angle_radians),
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::horizontal_fov_radians),
      framework::saved_envelope(&Lens::upper_angle_radians),
      framework::saved_envelope(&Lens::lower_angle_radians),
  };
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::hidden_envelope_row(0x8000, &Lens::zoom_factor),
    framework::envelope_row(0x8006, "Horizontal FOV angle", "angle-env", &Lens::horizontal_fov_radians),
    framework::envelope_row(0x8007, "Upper Vertical FOV angle", "angle-env", &Lens::upper_angle_radians),
    framework::envelope_row(0x8008, "Lower Vertical FOV angle", "angle-env", &Lens::lower_angle_radians),
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::divider_after(0x8006), framework::divider_after(0x8000),
                         framework::divider_after(0x8008), framework::sensitivity(0x8007), framework::sensitivity(0x8008),
                         framework::sensitivity(0x8006), framework::sensitivity(0x8007), framework::sensitivity(0x8008));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace PanoramicCam
