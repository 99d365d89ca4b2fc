#include "cameras/spherical/spherical_cam.h"

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera.h"

namespace SphericalCam {

struct Camera {
  using Lens = SphericalCam::Lens;
  using PoseType = framework::Pose;
  using State = photographic::PublishingState;

  static constexpr const char* server_name = "QuorinSphericalCam";
  static constexpr const char* description = "QuorinSphericalCam Oct 28 2026 01:03:14";
  static constexpr unsigned flags = 0;
  static constexpr const char* link_label = "OviCam Spherical";

  static constexpr std::array parameters{
      framework::parameter("AngularFieldOfView", &Lens::angular_fov_radians),
      photographic::iso_parameter<Lens>,
      photographic::iris_parameter<Lens>,
      photographic::shutter_parameter<Lens>,
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::angular_fov_radians),
      photographic::saved_iso<Lens>,
      photographic::saved_iris<Lens>,
      photographic::saved_shutter<Lens>,
  };

  template <class Instance>
  static void initialise(Instance& camera) {
    const framework::Film film = camera.readings().film_size();
    camera.access.filmSize[0] = film.width;
    camera.access.filmSize[1] = film.height;
  }

  template <class Instance>
  static void after_frame(Instance& camera) {
    const framework::Film film = framework::film_of(camera.access);
    camera.lens.reference_radius = (film.width >= film.height ? film.height : film.width) * 0.5;
    camera.read_envelope(&Lens::angular_fov_radians, camera.frame_info.start);
  }

  template <class Instance>
  static int evaluate(Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*access*/) {
    photographic::publish_exposure(camera, sample.time);
    framework::store(map(camera.lens, camera.cached_pose_at(sample.time), sample.film), ray);
    return LWCAMEVAL_RAY;
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::envelope_row(0x8006, "Angular Field Of View", "angle-env", &Lens::angular_fov_radians),
    photographic::iso_row<Lens>,
    photographic::iris_row<Lens>,
    photographic::shutter_row<Lens>,
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::divider_after(0x8006), framework::sensitivity(0x8006));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace SphericalCam
