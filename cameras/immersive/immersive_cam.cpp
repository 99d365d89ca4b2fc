#include "cameras/immersive/immersive_cam.h"

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "framework/camera_source.h"
#include "framework/prepared_lens_camera.h"

constexpr framework::TagTable tagInfo24 = framework::tag_table("Quorin Immersive Camera");

namespace ImmersiveCam {

using AdvPanCam::Lens;

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::zoom(0x8000, &Lens::zoom_factor).hidden(),
    Row::angle(0x8006, "Horizontal FOV angle", &Lens::horizontal_fov_radians).hidden(),
    Row::angle(0x8007, "Upper Vertical FOV angle", &Lens::upper_angle_radians).hidden(),
    Row::angle(0x8008, "Lower Vertical FOV angle", &Lens::lower_angle_radians).hidden(),
    Row::percentage(0x800a, "Right Horizontal Scale", &Lens::right_scale).hidden(),
    Row::percentage(0x8009, "Top Vertical Scale", &Lens::top_scale).hidden(),
    Row::percentage(0x800c, "Left Horizontal Scale", &Lens::left_scale).hidden(),
    Row::percentage(0x800b, "Bottom Vertical Scale", &Lens::bottom_scale).hidden(),
    Row::percentage(0x800e, "Horizontal Shift", &Lens::horizontal_shift).hidden(),
    Row::percentage(0x800d, "Vertical Shift", &Lens::vertical_shift).hidden(),
    Row::hidden_text(0x8010, "Directions are as follows:\nwhat."),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinImmersiveCam Oct 28 2026 01:02:25",
                                               .parameters = AdvPanCam::parameters,
                                               .saved = AdvPanCam::saved,
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

 private:
  void initialise() override {
    values.upper_angle_radians = framework::half_pi;
    values.lower_angle_radians = -framework::half_pi;
    PreparedLensCamera::initialise();
  }

  /// The envelopes are kept with the scene but never reach the lens, which always sees the whole sphere.
  void read_values(LWTime /*time*/) override {}
};

#include "framework/lens_thunks.inc"

}  // namespace ImmersiveCam
