#include "cameras/stereo/stereo_cam.h"

#include <utility>

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo4 = framework::tag_table("Quorin Stereo Camera");

namespace StereoCam {

constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),
    framework::parameter("EyeSeparation", &Lens::eye_separation),
    framework::parameter("ConvergenceLimit", &Lens::convergence_limit),
    framework::parameter("HorizontalScale", &Lens::toe_in),
    framework::parameter("HorizontalShiftFactor", &Lens::horizontal_shift_factor),
    photographic::iso_parameter<Lens>,
    photographic::iris_parameter<Lens>,
    photographic::shutter_parameter<Lens>,
};

constexpr std::array saved{
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

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x800c),
    Row::version(0x8008),
    Row::zoom(0x8001, &Lens::zoom_factor),
    Row::distance(0x8004, "Eye Separation", &Lens::eye_separation).divider().sensitive(),
    Row::popup(0x8002, "Convergence Item", &Lens::convergence_index),
    Row::distance(0x8005, "Convergence Limit", &Lens::convergence_limit).sensitive(),
    Row::percentage(0x8006, "Convergence Toe In", &Lens::toe_in).sensitive(),
    Row::check_box(0x8003, "Show Convergence Plane", &Lens::show_convergence_plane).divider(),
    photographic::iso_row<Lens>,
    photographic::iris_row<Lens>,
    photographic::shutter_row<Lens>,
    Row::plain(0x8007, "Horizontal Shift Factor", &Lens::horizontal_shift_factor).hidden(),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinStereoCam Oct 28 2026 01:03:22",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel};

/// A cool and a warm light colour, both far from a viewport's dark greys, and clear enough to let the scene show through.
constexpr std::array<std::array<float, 4>, 2> plane_colors{{{0.25F, 0.75F, 0.95F, 0.6F}, {1.0F, 0.8F, 0.25F, 0.5F}}};

/// Metres: the plane's reach on both sides of the item, and the circles of an eye.
constexpr double plane_half_width = 1.0;
constexpr double plane_half_height = 0.5;
constexpr std::array eye_radii{0.03, 0.01};

constinit framework::HostServices services;

class CameraPlugin final : public framework::LensCamera<Lens, StereoPose> {
 public:
  explicit CameraPlugin(LWItemID item) : LensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) {
    if (record == nullptr) return LWCAMEVAL_NONE;
    photographic::publish_exposure<parameters>(*this, services, publication_, sample.time);
    const bool one_image = sample.eye != LWCAMEYE_LEFT && sample.eye != LWCAMEYE_RIGHT;
    const EyeView view =
        one_image ? side_by_side(values, record->filmSize[0], sample.film) : EyeView{side_of(sample.eye), sample.film};
    framework::Ray result = eye_ray(values, cached_pose_at(sample.time), view, sample.lens);
    result.film_normal = framework::to_vector(record->toWorld[2]);
    framework::store(result, ray);
    return one_image ? LWCAMEVAL_RAY : LWCAMEVAL_STEREO_RAY;
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    const StereoPose pose = pose_at(sample.time);
    const double side = side_of(sample.eye);
    // Not a step of no length: the centre is seen whatever the separation of the eyes, even an infinite one.
    const framework::Vector origin = side == 0.0 ? pose.position : eye_position(values, pose, side);
    const framework::Pose eye{origin, pose.right, pose.up, pose.forward};
    const framework::Vector in_eye = framework::camera_from_world(eye, sample.world);
    return framework::store(film_point(values, framework::film_of(record), in_eye), film);
  }

 private:
  /// 0: both eyes share the image.
  static constexpr double side_of(LWCameraEye eye) {
    return eye == LWCAMEYE_LEFT ? left_side : eye == LWCAMEYE_RIGHT ? right_side : 0.0;
  }

  void initialise() override {
    const framework::CameraReadings camera = readings();
    values.eye_separation = camera.eye_separation_now();
    values.half_inverse_f_stop = 0.5 / camera.f_stop_now();
  }

  void forget() override {
    publication_.forget();
    convergence_item_ = nullptr;
  }

  void before_frame(LWTime /*start*/) override { publication_.end_frame(); }
  void after_render() override { publication_.end_frame(); }

  /// Another convergence item has another motion, which the samples must follow.
  bool motion_changed() override {
    const auto index = static_cast<int>(values.convergence_index - 1);
    const LWItemID item = framework::scene_item(host().iteminfo, LWI_OBJECT, index);
    return std::exchange(convergence_item_, item) != item;
  }

  LWItemID tracked_item() const override { return convergence_item_; }

  /// The records come first: what is read after a copy is of the camera that the new record names.
  void frame_changed(const LWFrameInfo& frame, const LWCameraAccess& record) override {
    take_over(frame, record);
    read_values(frame.start);
  }

  /// The exposure is read by evaluation alone.
  void read_values(LWTime time) override {
    values.zoom_factor = readings().zoom_factor(time);
    read_envelope(&Lens::eye_separation, time);
    read_envelope(&Lens::convergence_limit, time);
    read_envelope(&Lens::toe_in, time);
    read_envelope(&Lens::horizontal_shift_factor, time);
  }

  void after_frame() override {
    const framework::CameraReadings camera = readings();
    const framework::Film film = framework::film_of(access);
    values.film_height = film.height;
    values.split_threshold_x = 0.95 / camera.resolution().width * film.width;
    values.half_inverse_f_stop = 0.5 / camera.f_stop_now();
    values.focal_distance = camera.focal_distance_now();
    values.convergence_on = convergence_item_ != nullptr;
  }

  /// The plane that the eyes converge on, and the eyes.
  void draw_gizmo(LWCustomObjAccess& viewport) override {
    if (!values.convergence_on || values.show_convergence_plane == 0 || sample_count == 0) return;
    // The item may have gone since the frame began.
    if (!framework::in_scene(host().iteminfo, LWI_OBJECT, convergence_item_)) return;
    LWDVector item;
    host().iteminfo->param(convergence_item_, LWIP_W_POSITION, frame_info.start, item);
    const StereoPose pose = pose_at(0.0);
    draw_plane(viewport, framework::to_vector(item), pose.right * plane_half_width, pose.up * plane_half_height);
    for (const double side : {left_side, right_side}) {
      LWDVector eye;
      framework::store(eye_position(values, pose, side), eye);
      for (const double radius : eye_radii) viewport.circle(viewport.dispData, eye, radius, LWCSYS_WORLD);
    }
  }

  static void draw_plane(LWCustomObjAccess& viewport, framework::Vector centre, framework::Vector right, framework::Vector up) {
    LWDVector corners[4];
    framework::store(centre - right - up, corners[0]);
    framework::store(centre - right + up, corners[1]);
    framework::store(centre + right + up, corners[2]);
    framework::store(centre + right - up, corners[3]);
    for (std::array<float, 4> color : plane_colors) {
      viewport.setColor(viewport.dispData, color.data());
      viewport.quad(viewport.dispData, corners[0], corners[1], corners[2], corners[3], LWCSYS_WORLD);
    }
  }

  photographic::Publication publication_{"OviCam Stereo"};
  LWItemID convergence_item_ = nullptr;
};

#include "framework/lens_thunks.inc"

}  // namespace StereoCam
