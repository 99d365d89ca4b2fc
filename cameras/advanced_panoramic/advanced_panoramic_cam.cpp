#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"

#include "framework/camera_source.h"
#include "framework/prepared_lens_camera.h"

constexpr framework::TagTable tagInfo12 = framework::tag_table("Quorin SuperPano Camera");

namespace AdvPanCam {

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::zoom(0x8000, &Lens::zoom_factor).hidden(),
    Row::angle(0x8006, "Horizontal FOV angle", &Lens::horizontal_fov_radians).divider().sensitive(),
    Row::angle(0x8007, "Upper Vertical FOV angle", &Lens::upper_angle_radians).sensitive(),
    Row::angle(0x8008, "Lower Vertical FOV angle", &Lens::lower_angle_radians).divider().sensitive(),
    Row::percentage(0x800a, "Right Horizontal Scale", &Lens::right_scale).sensitive().limits(-5, 5),
    Row::percentage(0x8009, "Top Vertical Scale", &Lens::top_scale).sensitive().limits(-5, 5),
    Row::percentage(0x800c, "Left Horizontal Scale", &Lens::left_scale).sensitive().limits(-5, 5),
    Row::percentage(0x800b, "Bottom Vertical Scale", &Lens::bottom_scale).divider().sensitive().limits(-5, 5),
    Row::percentage(0x800e, "Horizontal Shift", &Lens::horizontal_shift).sensitive(),
    Row::percentage(0x800d, "Vertical Shift", &Lens::vertical_shift).divider().sensitive(),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinAdvPanCam Oct 28 2026 01:01:51",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel,
                                               .gizmo_handle = 0};

constinit framework::HostServices services;

class CameraPlugin final : public framework::PreparedLensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : PreparedLensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) {
    if (record == nullptr) return LWCAMEVAL_NONE;
    const framework::ForRay<PreparedLens> panorama = prepared_for(*record);
    if (!panorama->is_stretched)
      return framework::store(framework::unit_pinhole_ray(cached_pose_at(sample.time), panorama->direction(sample.film)), ray);
    const framework::Vector toward = stretched_direction(values, framework::film_of(*record), sample.film);
    return framework::store(framework::pinhole_ray(cached_pose_at(sample.time), toward), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    return framework::store(film_point(values, framework::film_of(record), in_camera(sample)), film);
  }

 private:
  /// In an order of its own, which the host sees: the shifts before the scales.
  void read_values(LWTime time) override {
    read_host_zoom(time);
    for (double Lens::*const value :
         {&Lens::horizontal_fov_radians, &Lens::upper_angle_radians, &Lens::lower_angle_radians, &Lens::horizontal_shift,
          &Lens::vertical_shift, &Lens::right_scale, &Lens::top_scale, &Lens::left_scale, &Lens::bottom_scale})
      read_envelope(value, time);
    prepare();
  }
};

#include "framework/lens_thunks.inc"

}  // namespace AdvPanCam
