#include "cameras/stereo/stereo_cam.h"

#include <utility>

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera.h"

namespace StereoCam {

/// A cool and a warm light colour, both far from a viewport's dark greys, and clear enough to let the scene show through.
constexpr std::array<std::array<float, 4>, 2> plane_colors{{{0.25F, 0.75F, 0.95F, 0.6F}, {1.0F, 0.8F, 0.25F, 0.5F}}};

/// Metres: the plane's reach on both sides of the item, and the circles of an eye.
constexpr double plane_half_width = 1.0;
constexpr double plane_half_height = 0.5;
constexpr std::array eye_radii{0.03, 0.01};

struct Camera {
  using Lens = StereoCam::Lens;
  using PoseType = StereoPose;

  struct State {
    photographic::Publication publication;
    LWItemID convergence_item = nullptr;
  };

  static constexpr const char* server_name = "QuorinStereoCam";
  static constexpr const char* description = "QuorinStereoCam Oct 28 2026 01:03:22";
  static constexpr unsigned flags = 0;
  static constexpr const char* link_label = "OviCam Stereo";

  static constexpr std::array parameters{
      framework::host_zoom_parameter(&Lens::zoom_factor),
      framework::parameter("EyeSeparation", &Lens::eye_separation),
      framework::parameter("ConvergenceLimit", &Lens::convergence_limit),
      framework::parameter("HorizontalScale", &Lens::toe_in),
      framework::parameter("HorizontalShiftFactor", &Lens::horizontal_shift_factor),
      photographic::iso_parameter<Lens>,
      photographic::iris_parameter<Lens>,
      photographic::shutter_parameter<Lens>,
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::eye_separation),
      framework::saved_envelope(&Lens::convergence_limit),
      framework::saved_envelope(&Lens::toe_in),
      framework::saved_envelope(&Lens::horizontal_shift_factor),
      framework::saved_word(&Lens::convergence_index),
      framework::saved_word(&Lens::show_convergence_plane),
      framework::reserved_word<Lens>(),
      framework::reserved_word<Lens>(),
      framework::reserved_word<Lens>(),
      photographic::saved_iso<Lens>,
      photographic::saved_iris<Lens>,
      photographic::saved_shutter<Lens>,
  };

  template <class Instance>
  static void initialise(Instance& camera) {
    const framework::CameraReadings host = camera.readings();
    camera.lens.eye_separation = host.eye_separation_now();
    camera.lens.half_inverse_f_stop = 0.5 / host.f_stop_now();
  }

  /// The exposure is read by evaluation alone.
  template <class Instance>
  static void get_vpValues(Instance& camera, LWTime time) {
    camera.lens.zoom_factor = camera.readings().zoom_factor(time);
    camera.read_envelope(&Lens::eye_separation, time);
    camera.read_envelope(&Lens::convergence_limit, time);
    camera.read_envelope(&Lens::toe_in, time);
    camera.read_envelope(&Lens::horizontal_shift_factor, time);
  }

  /// Another convergence item has another motion, which the samples must follow.
  template <class Instance>
  static bool changed(Instance& camera) {
    const auto index = static_cast<int>(camera.lens.convergence_index - 1);
    LWItemID item = framework::scene_item(camera.host().iteminfo, LWI_OBJECT, index);
    return std::exchange(camera.state.convergence_item, item) != item;
  }

  template <class Instance>
  static LWItemID tracked_item(const Instance& camera) {
    return camera.state.convergence_item;
  }

  template <class Instance>
  static void after_frame(Instance& camera) {
    const framework::CameraReadings host = camera.readings();
    const framework::Film film = framework::film_of(camera.access);
    Lens& lens = camera.lens;
    lens.film_height = film.height;
    lens.split_threshold_x = 0.95 / host.resolution().width * film.width;
    lens.half_inverse_f_stop = 0.5 / host.f_stop_now();
    lens.focal_distance = host.focal_distance_now();
    lens.convergence_on = camera.state.convergence_item != nullptr;
  }

  template <class Instance>
  [[gnu::always_inline]] static int evaluate(Instance& camera, const framework::Sample& sample, LWCameraRay& ray,
                                             const LWCameraAccess* access) {
    if (access == nullptr) return LWCAMEVAL_NONE;
    photographic::publish_exposure(camera, sample.time);
    const bool one_image = sample.eye != LWCAMEYE_LEFT && sample.eye != LWCAMEYE_RIGHT;
    const EyeView view =
        one_image ? side_by_side(camera.lens, access->filmSize[0], sample.film) : EyeView{side_of(sample.eye), sample.film};
    framework::Ray result = map(camera.lens, camera.cached_pose_at(sample.time), view, sample.lens);
    result.film_normal = framework::to_vector(access->toWorld[2]);
    framework::store(result, ray);
    return one_image ? LWCAMEVAL_RAY : LWCAMEVAL_STEREO_RAY;
  }

  template <class Instance>
  static int project(const Instance& camera, framework::LensPoint /*lens*/, framework::Vector world, double time,
                     LWCameraEye eye, double* film, const LWCameraAccess& /*access*/) {
    return framework::store(StereoCam::project(camera.lens, camera.pose_at(time), side_of(eye), world), film);
  }

  /// The plane that the eyes converge on, and the eyes.
  template <class Instance>
  static void draw_gizmo(Instance& camera, LWCustomObjAccess& access) {
    if (!camera.lens.convergence_on || camera.lens.show_convergence_plane == 0 || camera.sample_count == 0) return;
    const LWItemInfo* iteminfo = camera.host().iteminfo;
    // The item may have gone since the frame began.
    if (!framework::in_scene(iteminfo, LWI_OBJECT, camera.state.convergence_item)) return;
    LWDVector item;
    iteminfo->param(camera.state.convergence_item, LWIP_W_POSITION, camera.frame_info.start, item);
    const StereoPose pose = camera.pose_at(0.0);
    draw_plane(access, framework::to_vector(item), pose.right * plane_half_width, pose.up * plane_half_height);
    for (const double side : {left_side, right_side}) {
      LWDVector eye;
      framework::store(eye_position(camera.lens, pose, side), eye);
      for (const double radius : eye_radii) access.circle(access.dispData, eye, radius, LWCSYS_WORLD);
    }
  }

 private:
  /// 0: both eyes share the image.
  static constexpr double side_of(LWCameraEye eye) {
    return eye == LWCAMEYE_LEFT ? left_side : eye == LWCAMEYE_RIGHT ? right_side : 0.0;
  }

  static void draw_plane(LWCustomObjAccess& access, framework::Vector centre, framework::Vector right, framework::Vector up) {
    LWDVector corners[4];
    framework::store(centre - right - up, corners[0]);
    framework::store(centre - right + up, corners[1]);
    framework::store(centre + right + up, corners[2]);
    framework::store(centre + right - up, corners[3]);
    for (std::array<float, 4> color : plane_colors) {
      access.setColor(access.dispData, color.data());
      access.quad(access.dispData, corners[0], corners[1], corners[2], corners[3], LWCSYS_WORLD);
    }
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x800c),
    framework::version_row<Lens>(0x8008),
    framework::zoom_row(0x8001, &Lens::zoom_factor),
    framework::envelope_row(0x8004, "Eye Separation", "distance-env", &Lens::eye_separation),
    framework::word_row(0x8002, "Convergence Item", "iPopChoice", &Lens::convergence_index),
    framework::envelope_row(0x8005, "Convergence Limit", "distance-env", &Lens::convergence_limit),
    framework::envelope_row(0x8006, "Convergence Toe In", "percent-env", &Lens::toe_in),
    framework::word_row(0x8003, "Show Convergence Plane", "iBoolean", &Lens::show_convergence_plane),
    photographic::iso_row<Lens>,
    photographic::iris_row<Lens>,
    photographic::shutter_row<Lens>,
    framework::hidden_envelope_row(0x8007, &Lens::horizontal_shift_factor),
};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x800c), framework::drawn_by(0x800c, PanelControlDrawFunc),
                         framework::divider_after(0x8008), framework::popup(0x8002, PanelPopCount, PanelPopName),
                         framework::divider_after(0x8004), framework::divider_after(0x8003), framework::sensitivity(0x8004),
                         framework::sensitivity(0x8005), framework::sensitivity(0x8006));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace StereoCam
