#include "cameras/radial_shift/radial_shift_cam.h"

#include "framework/camera.h"

namespace RadialShiftCam {

struct Camera {
  using Lens = RadialShiftCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinRadialShiftCam";
  static constexpr const char* description = "QuorinRadialShiftCam Oct 28 2026 01:03:01";
  static constexpr unsigned flags = 0;

  static constexpr std::array parameters{
      framework::host_zoom_parameter(&Lens::zoom_factor),           framework::parameter("RadialShiftA", &Lens::distortion_a),
      framework::parameter("RadialShiftB", &Lens::distortion_b),    framework::parameter("RadialShiftC", &Lens::distortion_c),
      framework::parameter("ImageShiftH", &Lens::shift_horizontal), framework::parameter("ImageShiftV", &Lens::shift_vertical),
      framework::parameter("ImageShearH", &Lens::shear_horizontal), framework::parameter("ImageShearV", &Lens::shear_vertical),
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::distortion_a),   framework::saved_envelope(&Lens::distortion_b),
      framework::saved_envelope(&Lens::distortion_c),   framework::saved_envelope(&Lens::shift_horizontal),
      framework::saved_envelope(&Lens::shift_vertical), framework::saved_envelope(&Lens::shear_horizontal),
      framework::saved_envelope(&Lens::shear_vertical),
  };

  /// The values of a frame are computed before its record is taken over, so the film of the first one is asked for here.
  template <class Instance>
  static void initialise(Instance& camera) {
    camera.remember_film();
  }

  template <class Instance>
  static void get_vpValues(Instance& camera, LWTime time) {
    camera.read_parameters(time);
    Lens& lens = camera.lens;
    const framework::CameraReadings host = camera.readings();
    const framework::Film film = framework::film_of(camera.access);
    lens.film_distance = lens.zoom_factor * film.height * 0.5;
    lens.half_inverse_f_stop = 0.5 / host.f_stop_now();
    lens.focal_distance = host.focal_distance_now();
    lens.lens_radius = lens.film_distance * lens.half_inverse_f_stop;
    lens.reference_radius = 0.5 * (film.width >= film.height ? film.height : film.width);
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::zoom_row(0x8000, &Lens::zoom_factor),
    framework::envelope_row(0x8006, "Radial Distortion (a)", "float-env", &Lens::distortion_a),
    framework::envelope_row(0x8007, "Radial Distortion (b)", "float-env", &Lens::distortion_b),
    framework::envelope_row(0x8008, "Radial Distortion (c)", "float-env", &Lens::distortion_c),
    framework::envelope_row(0x8009, "Horizontal Image Shift (d)", "float-env", &Lens::shift_horizontal),
    framework::envelope_row(0x800a, "Vertical Image Shift (e)", "float-env", &Lens::shift_vertical),
    framework::envelope_row(0x800b, "Horizontal Image Shear (f)", "float-env", &Lens::shear_horizontal),
    framework::envelope_row(0x800c, "Vertical Image Shear (g)", "float-env", &Lens::shear_vertical),
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::divider_after(0x8000), framework::divider_after(0x8008),
                         framework::divider_after(0x800a), framework::sensitivity(0x8006), framework::sensitivity(0x8007),
                         framework::sensitivity(0x8008), framework::sensitivity(0x8009), framework::sensitivity(0x800a),
                         framework::sensitivity(0x800b), framework::sensitivity(0x800c));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace RadialShiftCam
