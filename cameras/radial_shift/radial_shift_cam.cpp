#include "cameras/radial_shift/radial_shift_cam.h"

#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo20 = framework::tag_table("Quorin Radial Shift Camera");

namespace RadialShiftCam {

constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),           framework::parameter("RadialShiftA", &Lens::distortion_a),
    framework::parameter("RadialShiftB", &Lens::distortion_b),    framework::parameter("RadialShiftC", &Lens::distortion_c),
    framework::parameter("ImageShiftH", &Lens::shift_horizontal), framework::parameter("ImageShiftV", &Lens::shift_vertical),
    framework::parameter("ImageShearH", &Lens::shear_horizontal), framework::parameter("ImageShearV", &Lens::shear_vertical),
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::distortion_a),   framework::saved_envelope(&Lens::distortion_b),
    framework::saved_envelope(&Lens::distortion_c),   framework::saved_envelope(&Lens::shift_horizontal),
    framework::saved_envelope(&Lens::shift_vertical), framework::saved_envelope(&Lens::shear_horizontal),
    framework::saved_envelope(&Lens::shear_vertical),
};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::zoom(0x8000, &Lens::zoom_factor).divider(),
    Row::plain(0x8006, "Radial Distortion (a)", &Lens::distortion_a).sensitive(),
    Row::plain(0x8007, "Radial Distortion (b)", &Lens::distortion_b).sensitive(),
    Row::plain(0x8008, "Radial Distortion (c)", &Lens::distortion_c).divider().sensitive(),
    Row::plain(0x8009, "Horizontal Image Shift (d)", &Lens::shift_horizontal).sensitive(),
    Row::plain(0x800a, "Vertical Image Shift (e)", &Lens::shift_vertical).divider().sensitive(),
    Row::plain(0x800b, "Horizontal Image Shear (f)", &Lens::shear_horizontal).sensitive(),
    Row::plain(0x800c, "Vertical Image Shear (g)", &Lens::shear_vertical).sensitive(),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinRadialShiftCam Oct 28 2026 01:03:01",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel};

constinit framework::HostServices services;

class CameraPlugin final : public framework::LensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : LensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    const framework::ForRay<framework::Pose> cached = cached_pose_at(sample.time);
    const framework::Pose& pose = *cached;
    const framework::Vector toward = direction(values, framework::film_of(access), sample.film);
    // In single precision, as it always has been in scenes rendered with this lens.
    const framework::Vector offset = framework::lens_offset(framework::rounded_to_single(values.lens_radius), sample.lens);
    framework::Ray result = framework::thin_lens_ray(pose, toward, values.focal_distance, offset);
    result.film_normal = pose.forward;
    return framework::store(result, ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    return framework::store(film_point(values, framework::film_of(record), in_camera(sample)), film);
  }

 private:
  /// The values of a frame are computed before its record is taken over, so the film of the first one is asked for here.
  void initialise() override { remember_film(); }

  void read_values(LWTime time) override {
    read_host_zoom(time);
    const framework::CameraReadings camera = readings();
    const framework::Film film = framework::film_of(access);
    values.film_distance = values.zoom_factor * film.height * 0.5;
    values.half_inverse_f_stop = 0.5 / camera.f_stop_now();
    values.focal_distance = camera.focal_distance_now();
    values.lens_radius = values.film_distance * values.half_inverse_f_stop;
    values.reference_radius = 0.5 * (film.width >= film.height ? film.height : film.width);
    read_envelopes(time);
  }
};

#include "framework/lens_thunks.inc"

}  // namespace RadialShiftCam
