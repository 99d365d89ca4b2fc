#include "cameras/panoramic/panoramic_cam.h"

#include "framework/camera_source.h"
#include "framework/prepared_lens_camera.h"

constexpr framework::TagTable tagInfo6 = framework::tag_table("Quorin Panoramic Camera");

namespace PanoramicCam {

constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),
    framework::parameter("HorizontalFOVradians", &Lens::horizontal_fov_radians),
    framework::parameter("MaxVerticalFOVradians", &Lens::upper_angle_radians),
    framework::parameter("MinVerticalFOVradians", &Lens::lower_angle_radians),
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::horizontal_fov_radians),
    framework::saved_envelope(&Lens::upper_angle_radians),
    framework::saved_envelope(&Lens::lower_angle_radians),
};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::angle(0x8006, "Horizontal FOV angle", &Lens::horizontal_fov_radians).divider().sensitive(),
    Row::zoom(0x8000, &Lens::zoom_factor).hidden().divider(),
    Row::angle(0x8007, "Upper Vertical FOV angle", &Lens::upper_angle_radians).sensitive(2),
    Row::angle(0x8008, "Lower Vertical FOV angle", &Lens::lower_angle_radians).divider().sensitive(2),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinPanoramicCam Oct 28 2026 01:02:48",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel};

constinit framework::HostServices services;

class CameraPlugin final : public framework::PreparedLensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : PreparedLensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) {
    if (record == nullptr) return LWCAMEVAL_NONE;
    const framework::Vector toward = prepared_for(*record)->direction(sample.film);
    return framework::store(framework::unit_pinhole_ray(cached_pose_at(sample.time), toward), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    return framework::store(film_point(values, framework::film_of(record), in_camera(sample)), film);
  }
};

#include "framework/lens_thunks.inc"

}  // namespace PanoramicCam
