#include "cameras/perspective/perspective_cam.h"

#include "cameras/photographic/photographic_publication.h"
#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo8 = framework::tag_table("Quorin Perspective");
constexpr framework::TagTable tagInfo10 = framework::tag_table("Quorin No DoF");
constexpr framework::TagTable tagInfo11 = framework::tag_table("Quorin No DoF No MB");
// The name of a server that is not offered; programs may still look it up.
constexpr framework::TagTable tagInfo15 = framework::tag_table("Quorin DoF No MB");

namespace PerspectiveCam {

constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),
    framework::parameter("SizeAxis", &Lens::size_axis),
    photographic::iso_parameter<Lens>,
    photographic::iris_parameter<Lens>,
    photographic::shutter_parameter<Lens>,
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::size_axis),
    framework::saved_word(&Lens::save_version),
    photographic::saved_iso<Lens>,
    photographic::saved_iris<Lens>,
    photographic::saved_shutter<Lens>,
};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),           Row::version(0x8001),         Row::zoom(0x8000, &Lens::zoom_factor).divider().sensitive(),
    photographic::iso_row<Lens>, photographic::iris_row<Lens>, photographic::shutter_row<Lens>,
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinPerspectiveCam Oct 28 2026 01:02:55",
                                               .flags = LWCAMFLAG_DEPTH_OF_FIELD,
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel};

constinit framework::HostServices services;

class CameraPlugin final : public framework::LensCamera<Lens, Pose, framework::SampleWeight::by_reciprocal> {
 public:
  explicit CameraPlugin(LWItemID item) : LensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    publish(sample.time);
    return framework::store(thin_lens_ray(values, cached_pose_at(sample.time), toward(sample), sample.lens), ray);
  }

  /// Through a pinhole.
  int evaluate_pinhole(const framework::Sample& sample, LWCameraRay& ray) {
    publish(sample.time);
    return framework::store(pinhole_ray(cached_pose_at(sample.time), toward(sample)), ray);
  }

  /// Through a pinhole at rest where the frame starts.
  int evaluate_pinhole_at_rest(const framework::Sample& sample, LWCameraRay& ray) {
    publish(sample.time);
    return framework::store(pinhole_ray(pose_cache.start(), toward(sample)), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    using framework::widened;
    const Pose pose = known_pose_at(sample.time);
    const framework::Pose exact{widened(pose.position), widened(pose.right), widened(pose.up), widened(pose.forward)};
    const framework::Vector in_camera = framework::camera_from_world(exact, sample.world);
    return framework::store(film_point(values, framework::film_of(record), in_camera), film);
  }

 private:
  framework::BasicVector<float> toward(const framework::Sample& sample) const {
    return direction(values, framework::film_of(access), sample.film);
  }

  void publish(double time) { photographic::publish_exposure<parameters>(*this, services, publication_, time); }

  void initialise() override {
    const framework::CameraReadings camera = readings();
    values.film_distance = values.zoom_factor * camera.film_size().height * 0.5;
    values.lens_radius = values.film_distance * 0.5 / camera.f_stop_now();
  }

  void forget() override { publication_.forget(); }
  void before_frame(LWTime /*start*/) override { publication_.end_frame(); }
  void after_render() override { publication_.end_frame(); }

  /// The copy's next frame counts as a changed one. The item stays known, so that what is read from the host before that frame
  /// is of the right camera.
  void after_copy(const Camera& /*from*/) override {
    access = framework::only_item(own_item);
    frame_info = {};
  }

  /// Values are read at every frame, the motion only at a changed one.
  void frame_changed(const LWFrameInfo& frame, const LWCameraAccess& record) override { take_over(frame, record); }
  void after_frame() override { read_values(frame_info.start); }

  /// The exposure is read by evaluation alone.
  void read_values(LWTime time) override {
    const framework::CameraReadings camera = readings();
    values.zoom_factor = camera.zoom_factor(time);
    values.film_distance = values.zoom_factor * camera.film_size().height * 0.5;
    read_envelope(&Lens::size_axis, time);
    // Focus and f-stop are those of the host's current time, whatever time is asked for: scenes have been rendered so.
    values.half_inverse_f_stop = 0.5 / camera.f_stop_now();
    values.focal_distance = camera.focal_distance_now();
    values.lens_radius = values.film_distance * values.half_inverse_f_stop;
  }

  photographic::Publication publication_{"OviCam Perspective"};
};

#include "framework/camera_thunks.inc"

/// An envelope of this camera's server, starting at `*initial`; null when the host refuses.
OVICAM_EXPORT LWVParmID create_vpenv(int envelope_type, const char* channel, void* group, double* initial) {
  return framework::create_vpenv(services.vparmf, tables.server_name, envelope_type, channel, static_cast<LWChanGroupID>(group),
                                 initial);
}
/// Reads the values of an instance at a time, in seconds.
OVICAM_EXPORT void get_vpValues(LWInstance instance, double time) { Callbacks::read_values(instance, time); }
/// The ray of a film position: evaluation bits, or 0 for none, and then the ray is untouched. Threads: any.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate_C(LWInstance instance, double film_x, double film_y, double lens_x, double lens_y,
                                                double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                                const LWCameraAccess* access) {
  return Callbacks::evaluate(instance, {{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, ray, access);
}

OVICAM_EXPORT unsigned C_FlagsNoDOF(LWInstance /*instance*/) { return 0; }

/// As C_Evaluate_C, through a pinhole.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate_C_NODOF(LWInstance instance, double film_x, double film_y, double lens_x,
                                                      double lens_y, double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                                      const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  return Callbacks::plugin(instance)->evaluate_pinhole({{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, *ray);
}

/// As C_Evaluate_C, through a pinhole at rest where the frame starts.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate_C_NODOF_NOMB(LWInstance instance, double film_x, double film_y, double lens_x,
                                                           double lens_y, double fractional_time, LWCameraEye eye,
                                                           LWCameraRay* ray, const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  return Callbacks::plugin(instance)->evaluate_pinhole_at_rest({{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye},
                                                               *ray);
}

/// The handler with one of the evaluators, without depth of field.
framework::HandlerCallbacks without_depth_of_field(decltype(LWCameraHandler::evaluate) evaluate) {
  framework::HandlerCallbacks callbacks = handler_with(evaluate);
  callbacks.flags = C_FlagsNoDOF;
  return callbacks;
}

OVICAM_EXPORT int CameraHandler_DOF_MB(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(handler_with(C_Evaluate_C), {version, global, local, server_data});
}

OVICAM_EXPORT int CameraHandler_NoDOF_MB(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(without_depth_of_field(C_Evaluate_C_NODOF), {version, global, local, server_data});
}

OVICAM_EXPORT int CameraHandler_NoDOF_NoMB(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(without_depth_of_field(C_Evaluate_C_NODOF_NOMB), {version, global, local, server_data});
}

/// No server offers this pairing of flags and evaluator; it stays available under its name.
OVICAM_EXPORT int CameraHandler_DOF_NoMB(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(without_depth_of_field(C_Evaluate_C), {version, global, local, server_data});
}

OVICAM_EXPORT int CameraInterface2(int version, GlobalFunc* global, void* local, void* server_data) {
  return CameraInterface(version, global, local, server_data);
}

}  // namespace PerspectiveCam
