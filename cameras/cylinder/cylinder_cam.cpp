#include "cameras/cylinder/cylinder_cam.h"

#include "framework/camera.h"

namespace CylinderCam {

struct Camera {
  using Lens = CylinderCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinCylinderCam";
  static constexpr const char* description = "QuorinCylinderCam Oct 28 2026 01:02:09";
  static constexpr unsigned flags = 0;

  static constexpr std::array parameters{
      framework::parameter("SizeAxis", &Lens::cylinder_size),
      framework::parameter("MaxVerticalFOVradians", &Lens::maximum_angle_radians),
      framework::parameter("MinVerticalFOVradians", &Lens::minimum_angle_radians),
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::cylinder_size),
      framework::saved_envelope(&Lens::maximum_angle_radians),
      framework::saved_envelope(&Lens::minimum_angle_radians),
      framework::saved_word(&Lens::axis_choice),
  };

  static constexpr std::array popup_choices{"Horizontal Axis", "Vertical Axis"};

  /// The object that the axis choice would stand for, counted from 1. Looked up and kept; nothing reads it.
  struct State {
    LWItemID chosen_item = nullptr;
    bool has_chosen_item = false;
  };

  template <class Instance>
  static void new_frame(Instance& camera, const LWFrameInfo& frame, const LWCameraAccess& record) {
    camera.state.chosen_item =
        framework::scene_item(camera.host().iteminfo, LWI_OBJECT, static_cast<int>(camera.lens.axis_choice - 1));
    camera.state.has_chosen_item = camera.state.chosen_item != nullptr;
    // The values of this camera follow their envelopes even when nothing else has changed.
    camera.get_vpValues(frame.start);
    if (framework::same_frame(camera.frame_info, frame) && framework::same_access(camera.access, record)) return;
    camera.NewFrame(&frame, &record);
    camera.SetUp(framework::effective_motion_steps(frame.motionSteps));
  }

  template <class Instance>
  static int evaluate(Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    framework::store(map(camera.lens, framework::film_of(camera.access), camera.cached_pose_at(sample.time), sample.film), ray);
    return LWCAMEVAL_RAY;
  }

  template <class Instance>
  static int project(Instance& camera, framework::LensPoint /*lens_point*/, framework::Vector world, double time,
                     LWCameraEye /*eye*/, double* film, const LWCameraAccess& /*record*/) {
    framework::FilmPoint at{film[0], film[1]};
    const bool found =
        CylinderCam::project(camera.lens, framework::film_of(camera.access), camera.known_pose_at(time), world, at);
    film[0] = at.x;
    film[1] = at.y;
    if (found) film[2] = 0.0;
    return found ? 1 : 0;
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::word_row(0x8007, "Size", "iPopChoice", &Lens::axis_choice),
    framework::envelope_row(0x8006, "", "distance-env", &Lens::cylinder_size),
    framework::envelope_row(0x8008, "Maximum FOV Angle", "angle-env", &Lens::maximum_angle_radians, "Upper FOV Angle"),
    framework::envelope_row(0x8009, "Minimum FOV Angle", "angle-env", &Lens::minimum_angle_radians, "Lower FOV Angle"),
};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints = framework::hint_list(
    framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
    framework::divider_after(0x8001), framework::popup(0x8007, PanelPopCount, PanelPopName), framework::divider_after(0x8006),
    framework::sensitivity(0x8006), framework::sensitivity(0x8008), framework::sensitivity(0x8009));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace CylinderCam
