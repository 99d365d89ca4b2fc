#include "cameras/overscan/overscan_cam.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "framework/camera_source.h"

bool bOverscanCamActive = false;

constexpr framework::TagTable tagInfo18 = framework::tag_table("Quorin Overscan Camera");
constexpr framework::TagTable tagInfo19 = framework::tag_table("Quorin DPI Camera");

namespace OverscanCam {

std::array<char, 64> Camera1Resolution{};
std::array<char, 64> Camera2Resolution{};

struct Settings {
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

constexpr std::array parameters{
    framework::parameter("SizeAxis", &Settings::size_axis),
    framework::parameter("Overscan", &Settings::overscan),
    framework::parameter("Vertical Jitter", &Settings::vertical_jitter),
    framework::parameter("Horizontal Jitter", &Settings::horizontal_jitter),
};

constexpr std::array saved{
    framework::saved_word(&Settings::selected_index),
    framework::saved_envelope(&Settings::overscan),
    framework::saved_envelope(&Settings::vertical_jitter),
    framework::saved_envelope(&Settings::horizontal_jitter),
};

/// Of the DPI camera.
constexpr std::array dpi_saved{
    framework::saved_word(&Settings::selected_index),   framework::saved_word(&Settings::dots_per_inch),
    framework::saved_word(&Settings::size_axis_choice), framework::saved_envelope(&Settings::size_axis),
    framework::saved_envelope(&Settings::overscan),
};

constexpr const char* size_axis_choices[] = {"Horizontal Width", "Vertical Height", nullptr};

/// Controls that both panels have, and whose values the camera works out itself.
constexpr std::uint32_t choice_control = 0x8007;
constexpr std::uint32_t selected_resolution_control = 0x800a;
constexpr std::uint32_t calculated_resolution_control = 0x800b;

using Row = framework::PanelRow<Settings>;
constexpr Row logo = Row::logo(0x8005);
constexpr Row version = Row::version(0x8001);
constexpr Row choice = Row::popup(choice_control, "Selected Camera", &Settings::selected_index);
constexpr Row selected_resolution = Row::information(selected_resolution_control, "Selected Camera Resolution");

constexpr std::array panel{
    logo,
    version,
    choice,
    selected_resolution,
    Row::percentage(0x8006, "Overscan Percentage", &Settings::overscan).sensitive(),
    Row::information(calculated_resolution_control, "Calc. Overscan Resolution"),
    Row::percentage(0x8008, "Vertical Jitter", &Settings::vertical_jitter).sensitive(),
    Row::percentage(0x8009, "Horizontal Jitter", &Settings::horizontal_jitter).sensitive(),
};

constexpr std::array dpi_panel{
    logo,
    version,
    choice.divider(),
    Row::integer(0x800e, "Dots Per Inch", "iSliderText", &Settings::dots_per_inch),
    Row::choice(0x800d, "Printed Image Size", &Settings::size_axis_choice, size_axis_choices),
    Row::distance(0x800c, "", &Settings::size_axis).divider().sensitive(),
    selected_resolution,
    Row::distance(0x8006, "Edge Bleed size", &Settings::overscan).sensitive(),
    Row::information(calculated_resolution_control, "Calculated Resolution").divider(),
};

constexpr framework::CameraTables<Settings> tables{.server_name = server.name,
                                                   .description = "QuorinOverscanCam Oct 28 2026 01:02:41",
                                                   .flags = LWCAMFLAG_DEPTH_OF_FIELD,
                                                   .looks_through_other_cameras = true,
                                                   .parameters = parameters,
                                                   .saved = saved,
                                                   .panel = panel,
                                                   .popup = framework::other_cameras_popup};

constinit framework::HostServices services;

/// Null while the host offers no evaluation.
const LWCameraEvaluationFuncs* evaluation() { return services.camevalfuncs; }

/// What the overscan camera does to a film.
struct Frame {
  /// Of the selected camera's film.
  double scale;
  /// Metres. Both jitters are measured by the film's width, the vertical one too, as scenes have come to count on.
  double shift_x;
  double shift_y;
};

constexpr const char* no_resolution = "Width x Height";

/// The whole part, toward zero; what is not a number counts as 0, and what no int holds as the nearest that it does.
int truncated(double value) {
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  return value == value ? static_cast<int>(framework::clamped(value, lowest, highest)) : 0;
}

const char* written(std::array<char, 64>& text, double width, double height) {
  static_cast<void>(std::snprintf(text.data(), text.size(), " %i x %i", truncated(width), truncated(height)));
  return text.data();
}

/// The overscan and the DPI camera, which differ in what they save, what they show and how they evaluate.
class CameraPlugin final : public framework::SettingsCamera<Settings> {
 public:
  explicit CameraPlugin(LWItemID item) : SettingsCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const {
    if (record == nullptr) return LWCAMEVAL_NONE;
    const Frame frame = frame_at(sample.time, record->filmSize[0]);
    const LWCameraEvaluatorID other = evaluator();
    if (other == nullptr) return LWCAMEVAL_NONE;
    return evaluation()->evaluate(other, (sample.film.x + frame.shift_x) * frame.scale,
                                  (sample.film.y + frame.shift_y) * frame.scale, sample.lens.x * frame.scale,
                                  sample.lens.y * frame.scale, sample.time, sample.eye, &ray);
  }

  /// The DPI camera's.
  int evaluate_print(const framework::Sample& sample, LWCameraRay& ray) const {
    // Read as for the overscan camera, though nothing depends on them here: hosts see the same envelopes used.
    const LWTime time = time_of(sample.time);
    value_at<&Settings::overscan>(time);
    value_at<&Settings::size_axis>(time);
    const LWCameraEvaluatorID other = evaluator();
    if (other == nullptr) return LWCAMEVAL_NONE;
    return evaluation()->evaluate(other, sample.film.x * film_scale_x_, sample.film.y * film_scale_y_,
                                  sample.lens.x * film_scale_x_, sample.lens.y * film_scale_y_, sample.time, sample.eye, &ray);
  }

  /// That of the overscan camera serves both: in the projection a print's bleed counts as if it were a fraction, and scenes are
  /// laid out by that.
  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
    const LWCameraEvaluatorID other = evaluator();
    if (other == nullptr) return 0;
    const Frame frame = frame_at(sample.time, record.filmSize[0]);
    const double point[3] = {sample.world.x, sample.world.y, sample.world.z};
    double seen[3] = {};
    if (evaluation()->project(other, sample.lens.x, sample.lens.y, point, sample.time, sample.eye, seen) != 1) return 0;
    framework::store(framework::Vector{seen[0] / frame.scale - frame.shift_x, seen[1] / frame.scale - frame.shift_y, 0.0},
                     film);
    return 1;
  }

  void load_print(const LWLoadState& state) {
    load(state, dpi_saved);
    film_scale_x_ = 1.0;
    film_scale_y_ = 1.0;
  }

  void save_print(const LWSaveState& state) const { save(state, dpi_saved); }

  void* print_panel_value(std::uint32_t id) {
    if (id == calculated_resolution_control) return const_cast<char*>(print_resolution());
    return value_of(dpi_panel, id);
  }

  void set_print_panel_value(std::uint32_t id, const void* value) { set_value_of(dpi_panel, id, value); }

 private:
  void before_render() override {
    selected_item_ = chosen_item(values.selected_index);
    destroy_evaluator();
    if (selected_item_ == nullptr) return;
    create_evaluator();
    if (const LWCameraEvaluatorID other = evaluator(); other != nullptr) evaluation()->init(other, render_mode);
  }

  void after_render() override {
    if (const LWCameraEvaluatorID other = evaluator(); other != nullptr) evaluation()->cleanUp(other);
  }

  void after_time() override { tell_time(); }

  /// The other camera's evaluator does the sampling of motion, and prepares its frame when it is first asked.
  void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) override {
    read_values(frame.start);
    NewFrame(&frame, &record);
    tell_time();
  }

  int preview(framework::LensPoint lens, LWCameraEye eye, double (*projection)[4]) override {
    const LWCameraEvaluatorID other = evaluator();
    if (other == nullptr) return 0;
    const double scale = 1.0 + values.overscan;
    return evaluation()->preview(other, lens.x * scale, lens.y * scale, eye, projection);
  }

  void forget() override {
    destroy_evaluator();
    selected_item_ = nullptr;
    film_scale_x_ = 1.0;
    film_scale_y_ = 1.0;
  }

  /// What is saved for the DPI camera alone.
  void after_copy(const Camera& from) override {
    const auto& other = static_cast<const CameraPlugin&>(from);
    values.dots_per_inch = other.values.dots_per_inch;
    values.size_axis_choice = other.values.size_axis_choice;
  }

  void* panel_value(std::uint32_t id) override {
    if (id == calculated_resolution_control) return const_cast<char*>(overscan_resolution());
    return value_of(panel, id);
  }

  void set_panel_value(std::uint32_t id, const void* value) override { set_value_of(panel, id, value); }

  void* value_of(std::span<const Row> rows, std::uint32_t id) {
    if (id == selected_resolution_control) return const_cast<char*>(selected_resolution_text());
    return row_value(rows, id);
  }

  void set_value_of(std::span<const Row> rows, std::uint32_t id, const void* value) {
    if (id == choice_control)
      choose(*static_cast<const std::uint32_t*>(value));
    else
      set_row_value(rows, id, value);
  }

  /// Null, too, while the host offers no evaluation.
  LWCameraEvaluatorID evaluator() const { return evaluation() != nullptr ? evaluator_ : nullptr; }

  /// The camera that a choice names, or null. Counted from 0 before it becomes signed: a scene file may hold any word.
  LWItemID chosen_item(std::uint32_t index) const {
    return framework::scene_item(host().iteminfo, LWI_CAMERA, static_cast<int>(index - 1), own_item);
  }

  /// The panel's choice: n for the n-th other camera; anything else becomes "(none)".
  void choose(std::uint32_t index) {
    values.selected_index = index;
    selected_item_ = chosen_item(index);
    destroy_evaluator();
    if (selected_item_ != nullptr && own_item != nullptr)
      create_evaluator();
    else
      values.selected_index = 0;
  }

  void create_evaluator() {
    if (evaluation() != nullptr) evaluator_ = evaluation()->create(selected_item_);
  }

  void destroy_evaluator() {
    if (const LWCameraEvaluatorID other = evaluator(); other != nullptr) evaluation()->destroy(other);
    evaluator_ = nullptr;
  }

  void tell_time() const {
    if (const LWCameraEvaluatorID other = evaluator(); other != nullptr)
      evaluation()->newTime(other, current_frame, current_time);
  }

  /// The time of a fraction of the frame.
  LWTime time_of(double fraction) const { return current_time + fraction * frame_info.duration; }

  /// An envelope at a time; 0 where the host refused it.
  template <double Settings::*value>
  double value_at(LWTime time) const {
    constexpr std::size_t index = framework::index_of(parameters, value);
    return framework::envelope_value(services.vparmf, envelopes[index], time, 0.0);
  }

  Frame frame_at(double fraction, double film_width) const {
    const LWTime time = time_of(fraction);
    const double overscan = value_at<&Settings::overscan>(time);
    const double vertical = value_at<&Settings::vertical_jitter>(time);
    const double horizontal = value_at<&Settings::horizontal_jitter>(time);
    return {1.0 + overscan, horizontal * (0.25 * film_width), vertical * (0.25 * film_width)};
  }

  /// The selected camera as the host knows it; null when there is none, or none any more. Until a render or a choice has made
  /// sure, it is the one that the saved choice names.
  LWItemID shown_camera() const {
    if (values.selected_index == 0) return nullptr;
    const LWItemID item = selected_item_ != nullptr ? selected_item_ : chosen_item(values.selected_index);
    return item != nullptr && framework::in_scene(host().iteminfo, LWI_CAMERA, item) ? item : nullptr;
  }

  const char* selected_resolution_text() const {
    const LWItemID item = shown_camera();
    if (item == nullptr) return no_resolution;
    const auto [width, height] = framework::CameraReadings(host(), item).resolution();
    return written(Camera1Resolution, width, height);
  }

  const char* overscan_resolution() const {
    const LWItemID item = shown_camera();
    if (item == nullptr) return no_resolution;
    const auto [width, height] = framework::CameraReadings(host(), item).resolution();
    // In single precision all through: a double would show one pixel less for some percentages.
    using framework::rounded_to_single;
    const double scale = rounded_to_single(1.0 + values.overscan);
    return written(Camera2Resolution, rounded_to_single(rounded_to_single(width) * scale),
                   rounded_to_single(rounded_to_single(height) * scale));
  }

  /// Whole pixels of a printed length; the addition keeps what should be whole from falling short of it.
  double printed_pixels(double metres) const {
    constexpr double metres_per_inch = 0.0254;
    const int dots_per_inch = static_cast<int>(values.dots_per_inch);
    return truncated(dots_per_inch * metres / metres_per_inch + 0.1);
  }

  /// Also settles the film's enlargement, which stays what it was where the sizes allow none.
  const char* print_resolution() {
    const LWItemID item = shown_camera();
    if (item == nullptr) return no_resolution;
    const framework::CameraReadings camera(host(), item);
    const double aspect = camera.pixel_aspect(0.0);
    const auto [width, height] = camera.resolution();
    const double bleed = printed_pixels(2.0 * values.overscan);
    const double size = printed_pixels(values.size_axis);
    const bool size_is_height = values.size_axis_choice == 1;
    const double print_width = size_is_height ? width * size / height * aspect : size;
    const double print_height = size_is_height ? size : height * size / width / aspect;
    const double scale_x = (bleed + print_width) / print_width;
    const double scale_y = (bleed + print_height) / print_height;
    if (std::isfinite(scale_x) && std::isfinite(scale_y)) {
      film_scale_x_ = scale_x;
      film_scale_y_ = scale_y;
    }
    return written(Camera2Resolution, truncated(print_width) + bleed, truncated(print_height) + bleed);
  }

  LWItemID selected_item_ = nullptr;
  /// Of the selected item; owned.
  LWCameraEvaluatorID evaluator_ = nullptr;
  /// The print's film in terms of the selected camera's; as of the resolution text shown last.
  double film_scale_x_ = 1.0;
  double film_scale_y_ = 1.0;
};

#include "framework/lens_thunks.inc"

/// Reads the DPI camera's scene data; what is missing keeps its value. Always null.
OVICAM_EXPORT LWError C_LoadDPI(LWInstance instance, const LWLoadState* state) {
  if (instance != nullptr && state != nullptr) Callbacks::plugin(instance)->load_print(*state);
  return nullptr;
}

/// Writes the DPI camera's scene data. Always null.
OVICAM_EXPORT LWError C_SaveDPI(LWInstance instance, const LWSaveState* state) {
  if (instance != nullptr && state != nullptr) Callbacks::plugin(instance)->save_print(*state);
  return nullptr;
}

/// The DPI camera's ray of a film position: the selected camera's evaluation bits, or 0, and then the ray is untouched.
/// Threads: any.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate_DPI_C(LWInstance instance, double film_x, double film_y, double lens_x,
                                                    double lens_y, double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                                    const LWCameraAccess* /*access*/) {
  if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
  return Callbacks::plugin(instance)->evaluate_print({{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, *ray);
}

/// As PanelGet, of the DPI camera.
OVICAM_EXPORT void* PanelGet3(void* instance, std::uint32_t id) {
  auto* shown = static_cast<CameraPlugin*>(Callbacks::camera_of_panel(instance));
  return shown != nullptr ? shown->print_panel_value(id) : nullptr;
}

/// As PanelSet, of the DPI camera.
OVICAM_EXPORT int PanelSet3(void* instance, std::uint32_t id, void* value) {
  auto* shown = static_cast<CameraPlugin*>(Callbacks::camera_of_panel(instance));
  if (shown != nullptr && value != nullptr) shown->set_print_panel_value(id, value);
  return LWXPRC_DFLT;
}

constexpr framework::PanelFunctions dpi_panel_functions{PanelGet3, PanelSet3, PanelControlDrawFunc, PanelPopCount,
                                                        PanelPopName};

/// The DPI camera's panel over an instance; null when the host refuses.
OVICAM_EXPORT LWXPanelID DpiCreateParameterPanel(GlobalFunc* /*global*/, void* instance) {
  return Callbacks::create_panel(framework::PanelMaker<dpi_panel, dpi_panel_functions>::tables, instance);
}

OVICAM_EXPORT int DpiCameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  framework::HandlerCallbacks callbacks = handler_with(C_Evaluate_DPI_C);
  callbacks.instance.load = C_LoadDPI;
  callbacks.instance.save = C_SaveDPI;
  return Callbacks::activate(callbacks, {version, global, local, server_data});
}

OVICAM_EXPORT int DpiCameraInterface(int version, GlobalFunc* global, void* local, void* server_data) {
  return framework::activate_interface(services, DpiCreateParameterPanel, {version, global, local, server_data});
}

OVICAM_EXPORT int DpiCameraGizmo(int version, GlobalFunc* global, void* local, void* server_data) {
  return CameraGizmo(version, global, local, server_data);
}

}  // namespace OverscanCam
