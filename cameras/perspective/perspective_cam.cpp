#include "cameras/perspective/perspective_cam.h"

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera.h"

namespace PerspectiveCam {

struct Camera {
  using Lens = PerspectiveCam::Lens;
  using PoseType = Pose;
  using State = photographic::PublishingState;

  static constexpr const char* server_name = "QuorinPerspectiveCam";
  static constexpr const char* description = "QuorinPerspectiveCam Oct 28 2026 01:02:55";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;
  static constexpr const char* link_label = "OviCam Perspective";
  static constexpr bool keeps_own_records = true;
  static constexpr bool weighs_by_reciprocal = true;

  static constexpr std::array parameters{
      framework::host_zoom_parameter(&Lens::zoom_factor),
      framework::parameter("SizeAxis", &Lens::size_axis),
      photographic::iso_parameter<Lens>,
      photographic::iris_parameter<Lens>,
      photographic::shutter_parameter<Lens>,
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::size_axis),
      framework::saved_word(&Lens::save_version),
      photographic::saved_iso<Lens>,
      photographic::saved_iris<Lens>,
      photographic::saved_shutter<Lens>,
  };

  template <class Instance>
  static void initialise(Instance& camera) {
    const framework::CameraReadings host = camera.readings();
    camera.lens.film_distance = camera.lens.zoom_factor * host.film_size().height * 0.5;
    camera.lens.lens_radius = camera.lens.film_distance * 0.5 / host.f_stop_now();
  }

  /// The exposure is read by evaluation alone.
  template <class Instance>
  static void get_vpValues(Instance& camera, LWTime time) {
    const framework::CameraReadings host = camera.readings();
    Lens& lens = camera.lens;
    lens.zoom_factor = host.zoom_factor(time);
    lens.film_distance = lens.zoom_factor * host.film_size().height * 0.5;
    camera.read_envelope(&Lens::size_axis, time);
    // Focus and f-stop are those of the host's current time, whatever time is asked for: meant so.
    lens.half_inverse_f_stop = 0.5 / host.f_stop_now();
    lens.focal_distance = host.focal_distance_now();
    lens.lens_radius = lens.film_distance * lens.half_inverse_f_stop;
  }

  /// Values are read at every frame, the motion only at a changed one.
  template <class Instance>
  static void new_frame(Instance& camera, const LWFrameInfo& frame, const LWCameraAccess& access) {
    if (!framework::same_frame(camera.frame_info, frame) || !framework::same_access(camera.access, access)) {
      camera.NewFrame(&frame, &access);
      camera.SetUp(framework::effective_motion_steps(frame.motionSteps));
    }
    camera.get_vpValues(frame.start);
  }

  template <class Instance>
  static int evaluate(Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*access*/) {
    photographic::publish_exposure(camera, sample.time);
    framework::store(map(camera.lens, camera.cached_pose_at(sample.time), sample.film, sample.lens), ray);
    return LWCAMEVAL_RAY;
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005), framework::version_row<Lens>(0x8001), framework::zoom_row(0x8000, &Lens::zoom_factor),
    photographic::iso_row<Lens>,          photographic::iris_row<Lens>,         photographic::shutter_row<Lens>,
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::divider_after(0x8000), framework::sensitivity(0x8000));

#include "framework/camera_callbacks.inc"
#include "framework/lens_evaluation.inc"

OVICAM_EXPORT unsigned C_FlagsNoDOF(LWInstance /*instance*/) { return 0; }

/// As C_Evaluate_C, through a pinhole.
OVICAM_EXPORT int C_Evaluate_C_NODOF(LWInstance instance, double film_x, double film_y, double /*lens_x*/, double /*lens_y*/,
                                     double fractional_time, LWCameraEye /*eye*/, LWCameraRay* ray,
                                     const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  CameraPlugin& camera = *plugin(instance);
  photographic::publish_exposure(camera, fractional_time);
  framework::store(map_pinhole(camera.lens, camera.cached_pose_at(fractional_time), {film_x, film_y}), *ray);
  return LWCAMEVAL_RAY;
}

/// As C_Evaluate_C, through a pinhole at rest where the frame starts.
OVICAM_EXPORT int C_Evaluate_C_NODOF_NOMB(LWInstance instance, double film_x, double film_y, double /*lens_x*/,
                                          double /*lens_y*/, double fractional_time, LWCameraEye /*eye*/, LWCameraRay* ray,
                                          const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  CameraPlugin& camera = *plugin(instance);
  photographic::publish_exposure(camera, fractional_time);
  framework::store(map_pinhole(camera.lens, camera.pose_cache.start(), {film_x, film_y}), *ray);
  return LWCAMEVAL_RAY;
}

/// The handler with one of the evaluators and one of the flags.
constexpr framework::HandlerCallbacks variant(decltype(LWCameraHandler::evaluate) evaluate,
                                              decltype(LWCameraHandler::flags) flags) {
  framework::HandlerCallbacks callbacks = handler_callbacks;
  callbacks.evaluate = evaluate;
  callbacks.flags = flags;
  return callbacks;
}

int activate(const framework::HandlerCallbacks& callbacks, int version, GlobalFunc* global, void* local, void* server_data) {
  return framework::activate_handler(framework::services<Camera>, callbacks, version, global, local, server_data);
}

OVICAM_EXPORT int CameraHandler_DOF_MB(int version, GlobalFunc* global, void* local, void* server_data) {
  return activate(variant(C_Evaluate_C, C_Flags), version, global, local, server_data);
}

OVICAM_EXPORT int CameraHandler_NoDOF_MB(int version, GlobalFunc* global, void* local, void* server_data) {
  return activate(variant(C_Evaluate_C_NODOF, C_FlagsNoDOF), version, global, local, server_data);
}

OVICAM_EXPORT int CameraHandler_NoDOF_NoMB(int version, GlobalFunc* global, void* local, void* server_data) {
  return activate(variant(C_Evaluate_C_NODOF_NOMB, C_FlagsNoDOF), version, global, local, server_data);
}

/// No server offers this pairing; it stays available under its name.
OVICAM_EXPORT int CameraHandler_DOF_NoMB(int version, GlobalFunc* global, void* local, void* server_data) {
  return activate(variant(C_Evaluate_C, C_FlagsNoDOF), version, global, local, server_data);
}

OVICAM_EXPORT int CameraInterface2(int version, GlobalFunc* global, void* local, void* server_data) {
  return CameraInterface(version, global, local, server_data);
}

}  // namespace PerspectiveCam
