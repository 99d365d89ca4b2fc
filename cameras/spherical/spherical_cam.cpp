#include "cameras/spherical/spherical_cam.h"

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera_source.h"
#include "framework/prepared_lens_camera.h"

constexpr framework::TagTable tagInfo22 = framework::tag_table("Quorin Spherical Camera");

namespace SphericalCam {

constexpr std::array parameters{
    framework::parameter("AngularFieldOfView", &Lens::angular_fov_radians),
    photographic::iso_parameter<Lens>,
    photographic::iris_parameter<Lens>,
    photographic::shutter_parameter<Lens>,
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::angular_fov_radians),
    photographic::saved_iso<Lens>,
    photographic::saved_iris<Lens>,
    photographic::saved_shutter<Lens>,
};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::angle(0x8006, "Angular Field Of View", &Lens::angular_fov_radians).divider().sensitive(),
    photographic::iso_row<Lens>,
    photographic::iris_row<Lens>,
    photographic::shutter_row<Lens>,
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinSphericalCam Oct 28 2026 01:03:14",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel};

constinit framework::HostServices services;

class CameraPlugin final : public framework::PreparedLensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : PreparedLensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    photographic::publish_exposure<parameters>(*this, services, publication_, sample.time);
    const framework::BasicVector<float> toward = prepared_for_frame().direction(sample.film);
    return framework::store(world_ray(cached_pose_at(sample.time), toward), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    return framework::store(film_point(values, framework::film_of(record), in_camera(sample)), film);
  }

 private:
  void initialise() override {
    remember_film();
    PreparedLensCamera::initialise();
  }
  void forget() override { publication_.forget(); }
  void before_frame(LWTime /*start*/) override { publication_.end_frame(); }
  void after_render() override { publication_.end_frame(); }

  void after_frame() override {
    const framework::Film film = framework::film_of(access);
    values.reference_radius = (film.width >= film.height ? film.height : film.width) * 0.5;
    read_envelope(&Lens::angular_fov_radians, frame_info.start);
    PreparedLensCamera::after_frame();
  }

  photographic::Publication publication_{"OviCam Spherical"};
};

#include "framework/lens_thunks.inc"

}  // namespace SphericalCam
