#include "cameras/immersive/immersive_cam.h"

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "framework/camera.h"

namespace ImmersiveCam {

using AdvPanCam::Lens;

struct Camera {
  using Lens = AdvPanCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinImmersiveCam";
  static constexpr const char* description = "QuorinImmersiveCam Oct 28 2026 01:02:25";
  static constexpr unsigned flags = 0;
  static constexpr auto parameters = AdvPanCam::parameters;
  static constexpr auto saved = AdvPanCam::saved;

  template <class Instance>
  static void initialise(Instance& camera) {
    camera.lens.upper_angle_radians = framework::half_pi;
    camera.lens.lower_angle_radians = -framework::half_pi;
  }

  /// The envelopes never reach the lens, which always sees the whole sphere: meant so.
  template <class Instance>
  static void get_vpValues(Instance& /*camera*/, LWTime /*time*/) {}
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::hidden_envelope_row(0x8000, &Lens::zoom_factor),
    framework::hidden_envelope_row(0x8006, &Lens::horizontal_fov_radians),
    framework::hidden_envelope_row(0x8007, &Lens::upper_angle_radians),
    framework::hidden_envelope_row(0x8008, &Lens::lower_angle_radians),
    framework::hidden_envelope_row(0x800a, &Lens::right_scale),
    framework::hidden_envelope_row(0x8009, &Lens::top_scale),
    framework::hidden_envelope_row(0x800c, &Lens::left_scale),
    framework::hidden_envelope_row(0x800b, &Lens::bottom_scale),
    framework::hidden_envelope_row(0x800e, &Lens::horizontal_shift),
    framework::hidden_envelope_row(0x800d, &Lens::vertical_shift),
    framework::hidden_text_row<Lens>(0x8010, "Directions are as follows:\nwhat."),
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace ImmersiveCam
