#include "cameras/overscan/overscan_cam.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>

#include "framework/camera.h"

bool bOverscanCamActive = false;

namespace OverscanCam {

std::array<char, 64> Camera1Resolution{};
std::array<char, 64> Camera2Resolution{};

struct Lens {
  /// Printed width or height, metres.
  double size_axis = 0.2;
  /// The overscan camera's fraction; the DPI camera's edge bleed in metres.
  double overscan = 0.0;
  /// Fractions of a quarter of the film's width.
  double vertical_jitter = 0.0;
  double horizontal_jitter = 0.0;
  /// 0: none; n: the n-th camera of the scene but this one.
  std::uint32_t selected_index = 0;
  std::uint32_t dots_per_inch = 300;
  /// 0 "Horizontal Width", 1 "Vertical Height".
  std::uint32_t size_axis_choice = 0;
};

struct Camera {
  using Lens = OverscanCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinOverscanCam";
  static constexpr const char* description = "QuorinOverscanCam Oct 28 2026 01:02:41";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr std::array parameters{
      framework::parameter("SizeAxis", &Lens::size_axis),
      framework::parameter("Overscan", &Lens::overscan),
      framework::parameter("Vertical Jitter", &Lens::vertical_jitter),
      framework::parameter("Horizontal Jitter", &Lens::horizontal_jitter),
  };

  static constexpr std::array saved{
      framework::saved_word(&Lens::selected_index),
      framework::saved_envelope(&Lens::overscan),
      framework::saved_envelope(&Lens::vertical_jitter),
      framework::saved_envelope(&Lens::horizontal_jitter),
  };

  static constexpr std::array dpi_saved{
      framework::saved_word(&Lens::selected_index),   framework::saved_word(&Lens::dots_per_inch),
      framework::saved_word(&Lens::size_axis_choice), framework::saved_envelope(&Lens::size_axis),
      framework::saved_envelope(&Lens::overscan),
  };

  struct State {
    LWItemID selected_item = nullptr;
    /// Of the selected item; owned.
    LWCameraEvaluatorID evaluator = nullptr;
    /// The print's film in terms of the selected camera's; as of the resolution text shown last.
    double film_scale_x = 1.0;
    double film_scale_y = 1.0;
  };

  using Instance = framework::CameraInstance<Camera>;

  static void init_render(Instance& camera);
  static void clean_up(Instance& camera);
  static void after_time(Instance& camera);
  static void new_frame(Instance& camera, const LWFrameInfo& frame, const LWCameraAccess& record);
  static int evaluate(const Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record);
  static int project(const Instance& camera, framework::LensPoint lens_point, framework::Vector world, double time,
                     LWCameraEye eye, double* film, const LWCameraAccess& record);
  static int preview(const Instance& camera, framework::LensPoint lens_point, LWCameraEye eye, double (*projection)[4]);
  static void release(Instance& camera);
  static void copy(Instance& to, const Instance& from);
};

using CameraPlugin = framework::CameraInstance<Camera>;

const LWCameraEvaluationFuncs* service() { return CameraPlugin::host().camevalfuncs; }

/// Null, too, while the host offers no evaluation.
LWCameraEvaluatorID evaluator_of(const CameraPlugin& camera) { return service() != nullptr ? camera.state.evaluator : nullptr; }

/// The camera that a choice names, or null. Counted from 0 before it becomes signed: a scene file may hold any word.
LWItemID chosen_item(const CameraPlugin& camera, std::uint32_t index) {
  return framework::scene_item(CameraPlugin::host().iteminfo, LWI_CAMERA, static_cast<int>(index - 1), camera.own_item);
}

void destroy_evaluator(CameraPlugin& camera) {
  if (const LWCameraEvaluatorID evaluator = evaluator_of(camera); evaluator != nullptr) service()->destroy(evaluator);
  camera.state.evaluator = nullptr;
}

void create_evaluator(CameraPlugin& camera) {
  if (service() != nullptr) camera.state.evaluator = service()->create(camera.state.selected_item);
}

void tell_time(const CameraPlugin& camera) {
  if (const LWCameraEvaluatorID evaluator = evaluator_of(camera); evaluator != nullptr) {
    service()->newTime(evaluator, camera.current_frame, camera.current_time);
  }
}

void Camera::init_render(CameraPlugin& camera) {
  camera.state.selected_item = chosen_item(camera, camera.lens.selected_index);
  destroy_evaluator(camera);
  if (camera.state.selected_item == nullptr) return;
  create_evaluator(camera);
  if (const LWCameraEvaluatorID evaluator = evaluator_of(camera); evaluator != nullptr) {
    service()->init(evaluator, camera.render_mode);
  }
}

void Camera::clean_up(CameraPlugin& camera) {
  if (const LWCameraEvaluatorID evaluator = evaluator_of(camera); evaluator != nullptr) service()->cleanUp(evaluator);
}

void Camera::after_time(CameraPlugin& camera) { tell_time(camera); }

/// The other camera's evaluator does the sampling of motion, and prepares its frame when it is first asked.
void Camera::new_frame(CameraPlugin& camera, const LWFrameInfo& frame, const LWCameraAccess& record) {
  camera.get_vpValues(frame.start);
  camera.NewFrame(&frame, &record);
  tell_time(camera);
}

/// What is not saved for the overscan camera, and is for the other.
void Camera::copy(CameraPlugin& to, const CameraPlugin& from) {
  to.lens.dots_per_inch = from.lens.dots_per_inch;
  to.lens.size_axis_choice = from.lens.size_axis_choice;
}

void Camera::release(CameraPlugin& camera) { destroy_evaluator(camera); }

/// The panel's choice: n for the n-th other camera; anything else becomes "(none)".
void choose(CameraPlugin& camera, std::uint32_t index) {
  camera.lens.selected_index = index;
  camera.state.selected_item = chosen_item(camera, index);
  destroy_evaluator(camera);
  if (camera.state.selected_item != nullptr && camera.own_item != nullptr) {
    create_evaluator(camera);
  } else {
    camera.lens.selected_index = 0;
  }
}

/// The time of a fraction of the frame.
LWTime time_of(const CameraPlugin& camera, double fraction) {
  return camera.current_time + fraction * camera.frame_info.duration;
}

/// An envelope at a time; 0 where the host refused it.
template <double Lens::*value>
double value_at(const CameraPlugin& camera, LWTime time) {
  constexpr std::size_t index = framework::index_of(Camera::parameters, value);
  return framework::envelope_value(CameraPlugin::host().vparmf, camera.envelopes[index], time, 0.0);
}

/// What the overscan camera does to a film.
struct Frame {
  /// Of the selected camera's film.
  double scale;
  /// Metres. Both jitters are measured by the film's width, the vertical one too: meant so.
  double shift_x;
  double shift_y;
};

inline Frame frame_at(const CameraPlugin& camera, double fraction, double film_width) {
  const LWTime time = time_of(camera, fraction);
  const double overscan = value_at<&Lens::overscan>(camera, time);
  const double vertical = value_at<&Lens::vertical_jitter>(camera, time);
  const double horizontal = value_at<&Lens::horizontal_jitter>(camera, time);
  return {1.0 + overscan, horizontal * (0.25 * film_width), vertical * (0.25 * film_width)};
}

inline int Camera::evaluate(const CameraPlugin& camera, const framework::Sample& sample, LWCameraRay& ray,
                            const LWCameraAccess* record) {
  if (record == nullptr) return LWCAMEVAL_NONE;
  const Frame frame = frame_at(camera, sample.time, record->filmSize[0]);
  const LWCameraEvaluatorID evaluator = evaluator_of(camera);
  if (evaluator == nullptr) return LWCAMEVAL_NONE;
  return service()->evaluate(evaluator, (sample.film.x + frame.shift_x) * frame.scale,
                             (sample.film.y + frame.shift_y) * frame.scale, sample.lens.x * frame.scale,
                             sample.lens.y * frame.scale, sample.time, sample.eye, &ray);
}

inline int evaluate_print(const CameraPlugin& camera, const framework::Sample& sample, LWCameraRay& ray) {
  // Read as for the overscan camera, though nothing depends on them here: meant so.
  const LWTime time = time_of(camera, sample.time);
  value_at<&Lens::overscan>(camera, time);
  value_at<&Lens::size_axis>(camera, time);
  const LWCameraEvaluatorID evaluator = evaluator_of(camera);
  if (evaluator == nullptr) return LWCAMEVAL_NONE;
  const double x = camera.state.film_scale_x;
  const double y = camera.state.film_scale_y;
  return service()->evaluate(evaluator, sample.film.x * x, sample.film.y * y, sample.lens.x * x, sample.lens.y * y, sample.time,
                             sample.eye, &ray);
}

/// That of the overscan camera serves both: a print's bleed counts as a fraction here, meant so.
int Camera::project(const CameraPlugin& camera, framework::LensPoint lens_point, framework::Vector world, double time,
                    LWCameraEye eye, double* film, const LWCameraAccess& record) {
  const LWCameraEvaluatorID evaluator = evaluator_of(camera);
  if (evaluator == nullptr) return 0;
  const Frame frame = frame_at(camera, time, record.filmSize[0]);
  const double point[3] = {world.x, world.y, world.z};
  double seen[3] = {};
  if (service()->project(evaluator, lens_point.x, lens_point.y, point, time, eye, seen) != 1) return 0;
  framework::store(framework::Vector{seen[0] / frame.scale - frame.shift_x, seen[1] / frame.scale - frame.shift_y, 0.0}, film);
  return 1;
}

int Camera::preview(const CameraPlugin& camera, framework::LensPoint lens_point, LWCameraEye eye, double (*projection)[4]) {
  const LWCameraEvaluatorID evaluator = evaluator_of(camera);
  if (evaluator == nullptr) return 0;
  const double scale = 1.0 + camera.lens.overscan;
  return service()->preview(evaluator, lens_point.x * scale, lens_point.y * scale, eye, projection);
}

constexpr const char* no_resolution = "Width x Height";

/// The whole part, toward zero; what is not a number counts as 0, and what no int holds as the nearest that it does.
int truncated(double value) {
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  return value == value ? static_cast<int>(framework::clamped(value, lowest, highest)) : 0;
}

/// The selected camera as the host knows it; null when there is none, or none any more. Until a render or a choice has made
/// sure, it is the one that the saved choice names.
LWItemID shown_camera(const CameraPlugin& camera) {
  const std::uint32_t index = camera.lens.selected_index;
  if (index == 0) return nullptr;
  const LWItemID item = camera.state.selected_item != nullptr ? camera.state.selected_item : chosen_item(camera, index);
  return item != nullptr && framework::in_scene(CameraPlugin::host().iteminfo, LWI_CAMERA, item) ? item : nullptr;
}

const char* written(std::array<char, 64>& text, double width, double height) {
  static_cast<void>(std::snprintf(text.data(), text.size(), " %i x %i", truncated(width), truncated(height)));
  return text.data();
}

const char* selected_resolution(const CameraPlugin& camera) {
  const LWItemID item = shown_camera(camera);
  if (item == nullptr) return no_resolution;
  const auto [width, height] = framework::CameraReadings(CameraPlugin::host(), item).resolution();
  return written(Camera1Resolution, width, height);
}

const char* overscan_resolution(const CameraPlugin& camera) {
  const LWItemID item = shown_camera(camera);
  if (item == nullptr) return no_resolution;
  const auto [width, height] = framework::CameraReadings(CameraPlugin::host(), item).resolution();
  // In single precision all through: a double would show one pixel less for some percentages.
  using framework::rounded_to_single;
  const double scale = rounded_to_single(1.0 + camera.lens.overscan);
  return written(Camera2Resolution, rounded_to_single(rounded_to_single(width) * scale),
                 rounded_to_single(rounded_to_single(height) * scale));
}

/// Whole pixels of a printed length; the addition keeps what should be whole from falling short of it.
double printed_pixels(const CameraPlugin& camera, double metres) {
  constexpr double metres_per_inch = 0.0254;
  const int dots_per_inch = static_cast<int>(camera.lens.dots_per_inch);
  return truncated(dots_per_inch * metres / metres_per_inch + 0.1);
}

/// Also settles the film's enlargement, which stays what it was where the sizes allow none.
const char* print_resolution(CameraPlugin& camera) {
  const LWItemID item = shown_camera(camera);
  if (item == nullptr) return no_resolution;
  const framework::CameraReadings readings(CameraPlugin::host(), item);
  const double aspect = readings.pixel_aspect(0.0);
  const auto [width, height] = readings.resolution();
  const double bleed = printed_pixels(camera, 2.0 * camera.lens.overscan);
  const double size = printed_pixels(camera, camera.lens.size_axis);
  const bool size_is_height = camera.lens.size_axis_choice == 1;
  const double print_width = size_is_height ? width * size / height * aspect : size;
  const double print_height = size_is_height ? size : height * size / width / aspect;
  const double scale_x = (bleed + print_width) / print_width;
  const double scale_y = (bleed + print_height) / print_height;
  if (std::isfinite(scale_x) && std::isfinite(scale_y)) {
    camera.state.film_scale_x = scale_x;
    camera.state.film_scale_y = scale_y;
  }
  return written(Camera2Resolution, truncated(print_width) + bleed, truncated(print_height) + bleed);
}

/// A text that is made when it is asked for.
constexpr framework::PanelRow<Lens> resolution_row(std::uint32_t id, const char* label) {
  return {.id = id,
          .label = label,
          .control_class = "sInfo",
          .data_name = label,
          .data_type = "string",
          .binding = framework::PanelRow<Lens>::Binding::text};
}

constexpr std::uint32_t choice_id = 0x8007;
constexpr std::uint32_t selected_resolution_id = 0x800a;
constexpr std::uint32_t calculated_resolution_id = 0x800b;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::word_row(choice_id, "Selected Camera", "iPopChoice", &Lens::selected_index),
    resolution_row(selected_resolution_id, "Selected Camera Resolution"),
    framework::envelope_row(0x8006, "Overscan Percentage", "percent-env", &Lens::overscan),
    resolution_row(calculated_resolution_id, "Calc. Overscan Resolution"),
    framework::envelope_row(0x8008, "Vertical Jitter", "percent-env", &Lens::vertical_jitter),
    framework::envelope_row(0x8009, "Horizontal Jitter", "percent-env", &Lens::horizontal_jitter),
};

constexpr std::array dpi_panel_rows{
    framework::drawing_row<Lens>(0x8005),
    framework::version_row<Lens>(0x8001),
    framework::word_row(choice_id, "Selected Camera", "iPopChoice", &Lens::selected_index),
    framework::word_row(0x800e, "Dots Per Inch", "iSliderText", &Lens::dots_per_inch),
    framework::word_row(0x800d, "Printed Image Size", "iPopChoice", &Lens::size_axis_choice),
    framework::envelope_row(0x800c, "", "distance-env", &Lens::size_axis),
    resolution_row(selected_resolution_id, "Selected Camera Resolution"),
    framework::envelope_row(0x8006, "Edge Bleed size", "distance-env", &Lens::overscan),
    resolution_row(calculated_resolution_id, "Calculated Resolution"),
};

template <class Rows>
void* panel_value(CameraPlugin& camera, const Rows& rows, std::uint32_t id) {
  const auto text = [](const char* shown) { return const_cast<char*>(shown); };
  if (id == selected_resolution_id) return text(selected_resolution(camera));
  if (id == calculated_resolution_id) {
    constexpr bool is_print = std::is_same_v<Rows, std::remove_const_t<decltype(dpi_panel_rows)>>;
    return text(is_print ? print_resolution(camera) : overscan_resolution(camera));
  }
  return framework::panel_value(camera, rows, id);
}

template <class Rows>
void set_panel_value(CameraPlugin& camera, const Rows& rows, std::uint32_t id, const void* value) {
  if (id == choice_id) {
    choose(camera, *static_cast<const std::uint32_t*>(value));
  } else {
    framework::set_panel_value(camera, rows, id, value);
  }
}

constexpr const char* size_axis_choices[] = {"Horizontal Width", "Vertical Height", nullptr};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
                         framework::divider_after(0x8001), framework::popup(choice_id, PanelPopCount, PanelPopName),
                         framework::sensitivity(0x8006), framework::sensitivity(0x8008), framework::sensitivity(0x8009));

constexpr auto dpi_panel_hints = framework::hint_list(
    framework::no_focus(), framework::full_size(0x8005), framework::drawn_by(0x8005, PanelControlDrawFunc),
    framework::divider_after(0x8001), framework::popup(choice_id, PanelPopCount, PanelPopName),
    framework::divider_after(choice_id), framework::choices(0x800d, size_axis_choices), framework::divider_after(0x800c),
    framework::divider_after(calculated_resolution_id), framework::sensitivity(0x800c), framework::sensitivity(0x8006));

int popup_count(const CameraPlugin* camera) {
  return camera != nullptr ? framework::item_popup_count(CameraPlugin::host().iteminfo, LWI_CAMERA, camera->own_item) : 1;
}

const char* popup_name(const CameraPlugin* camera, int index) {
  if (camera == nullptr) return "(none)";
  return framework::item_popup_name(CameraPlugin::host().iteminfo, LWI_CAMERA, index, camera->own_item);
}

#include "framework/camera_callbacks.inc"
#include "framework/lens_evaluation.inc"

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  return framework::activate_viewing_handler(framework::services<Camera>, handler_callbacks, version, global, local,
                                             server_data);
}

/// Reads the DPI camera's scene data; what is missing keeps its value. Always null.
OVICAM_EXPORT LWError C_LoadDPI(LWInstance instance, const LWLoadState* state) {
  if (instance == nullptr || state == nullptr) return nullptr;
  plugin(instance)->load(*state, Camera::dpi_saved);
  plugin(instance)->state.film_scale_x = 1.0;
  plugin(instance)->state.film_scale_y = 1.0;
  return nullptr;
}

OVICAM_EXPORT LWError C_SaveDPI(LWInstance instance, const LWSaveState* state) {
  if (instance != nullptr && state != nullptr) plugin(instance)->save(*state, Camera::dpi_saved);
  return nullptr;
}

/// The DPI camera's ray of a film position: the selected camera's evaluation bits, or 0, and then the ray is untouched.
/// Threads: any.
OVICAM_EXPORT int C_Evaluate_DPI_C(LWInstance instance, double film_x, double film_y, double lens_x, double lens_y,
                                   double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                   const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  return evaluate_print(*plugin(instance), {{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, *ray);
}

OVICAM_EXPORT void* PanelGet3(void* instance, std::uint32_t id) {
  return instance != nullptr ? panel_value(*plugin(instance), dpi_panel_rows, id) : nullptr;
}

OVICAM_EXPORT int PanelSet3(void* instance, std::uint32_t id, void* value) {
  if (instance != nullptr && value != nullptr) set_panel_value(*plugin(instance), dpi_panel_rows, id, value);
  return LWXPRC_DFLT;
}

OVICAM_EXPORT LWXPanelID DpiCreateParameterPanel(GlobalFunc* /*global*/, void* instance) {
  static constexpr auto controls = panel_controls(dpi_panel_rows);
  static constexpr auto data = panel_data(dpi_panel_rows);
  gInstance = plugin(instance);
  return framework::open_panel(xpanf, {controls.data(), data.data(), dpi_panel_hints.data(), PanelGet3, PanelSet3}, instance);
}

OVICAM_EXPORT int DpiCameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  static constexpr framework::HandlerCallbacks callbacks = [] {
    framework::HandlerCallbacks dpi = handler_callbacks;
    dpi.instance.load = C_LoadDPI;
    dpi.instance.save = C_SaveDPI;
    dpi.evaluate = C_Evaluate_DPI_C;
    return dpi;
  }();
  return framework::activate_viewing_handler(framework::services<Camera>, callbacks, version, global, local, server_data);
}

OVICAM_EXPORT int DpiCameraInterface(int version, GlobalFunc* global, void* local, void* server_data) {
  return framework::activate_interface(framework::services<Camera>, DpiCreateParameterPanel, version, global, local,
                                       server_data);
}

OVICAM_EXPORT int DpiCameraGizmo(int version, GlobalFunc* global, void* local, void* server_data) {
  return CameraGizmo(version, global, local, server_data);
}

}  // namespace OverscanCam
