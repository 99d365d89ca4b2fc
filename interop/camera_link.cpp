#include "interop/camera_link.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "interop/camera_link_text.h"
#include "platform/export.h"
#include "platform/operating_system.h"

// Programs in other languages lay the record out by hand.
static_assert(offsetof(QrmLinkRecord, iso) == 296 && offsetof(QrmLinkRecord, scene) == 328);
static_assert(offsetof(QrmLinkRecord, focal_mm) == 480 && offsetof(QrmLinkRecord, stmap_path) == 532);
static_assert(offsetof(QrmLinkRecord, stmap_strength) == 1048 && offsetof(QrmLinkRecord, cam_pos) == 1320);
static_assert(offsetof(QrmLinkRecord, body_tag) == 1416 && sizeof(QrmLinkRecord) == 1672);

namespace {

using camera_link::Values;
using camera_link::Writer;

constexpr std::string_view file_name = "Quorin_CameraLink.ini";
constexpr std::string_view temporary_ending = ".tmp";

constinit std::atomic_flag write_under_way;

/// Whoever gets the turn is the only writer of this process until it gives the turn back.
class Turn {
 public:
  Turn() noexcept : taken_(!write_under_way.test_and_set(std::memory_order_acquire)) {}
  ~Turn() {
    if (taken_) write_under_way.clear(std::memory_order_release);
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  [[nodiscard]] bool taken() const noexcept { return taken_; }

 private:
  bool taken_;
};

/// The user's temporary directory, with its separator; none where it is longer than any path may be.
std::optional<std::string_view> temporary_directory(platform::PathBuffer& buffer) noexcept {
  const std::size_t length = platform::temporary_directory(buffer);
  if (length == 0 || length >= buffer.size()) return std::nullopt;
  return std::string_view(buffer.data());
}

int publish(Writer writer, const Values& values) noexcept {
  try {
    const Turn turn;
    if (!turn.taken()) return 0;
    platform::PathBuffer directory = {};
    const std::optional<std::string_view> found = temporary_directory(directory);
    platform::PathBuffer path = {};
    // A name that was cut would be another file's.
    if (!found || found->size() + file_name.size() >= path.size()) return 0;
    std::ranges::copy(file_name, std::ranges::copy(*found, path.begin()).out);
    std::array<char, 268> temporary_path = {};
    static_assert(std::tuple_size_v<platform::PathBuffer> + temporary_ending.size() <
                  std::tuple_size_v<decltype(temporary_path)>);
    std::ranges::copy(temporary_ending, std::ranges::copy(std::string_view(path.data()), temporary_path.begin()).out);
    return platform::replace_file_content(path.data(), temporary_path.data(), camera_link::compose(writer, values)) ? 1 : 0;
  } catch (const std::exception&) {
    // There was no memory for the text.
    return 0;
  }
}

}  // namespace

extern "C" {

OVICAM_EXPORT int QrmLink_SidecarPath(char* out, int size) {
  if (out == nullptr || size < 64) return 0;
  platform::PathBuffer directory = {};
  if (!temporary_directory(directory)) return 0;
  // What does not fit is cut off.
  static_cast<void>(std::snprintf(out, static_cast<std::size_t>(size), "%s%s", directory.data(), file_name.data()));
  out[size - 1] = '\0';
  return 1;
}

OVICAM_EXPORT int QrmLink_Write(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                double shutter_angle, double frame_time) {
  return QrmLink_WriteEx2(plugin, plugin_version, body, iso, iris, shutter_angle, frame_time, "", 0.0, 0.0);
}

OVICAM_EXPORT int QrmLink_WriteEx(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                  double shutter_angle, double frame_time, const char* scene) {
  return QrmLink_WriteEx2(plugin, plugin_version, body, iso, iris, shutter_angle, frame_time, scene, 0.0, 0.0);
}

OVICAM_EXPORT int QrmLink_WriteEx2(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                   double shutter_angle, double frame_time, const char* scene, double native_iso,
                                   double dynamic_range) {
  return publish(Writer::ex2,
                 {plugin, plugin_version, body, iso, iris, shutter_angle, frame_time, scene, native_iso, dynamic_range});
}

OVICAM_EXPORT int QrmLink_WriteEx3(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                   double shutter_angle, double frame_time, const char* scene, double native_iso,
                                   double dynamic_range, int aperture_source) {
  return publish(Writer::ex3, {plugin, plugin_version, body, iso, iris, shutter_angle, frame_time, scene, native_iso,
                               dynamic_range, aperture_source});
}

OVICAM_EXPORT int QrmLink_WriteEx4(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                   double shutter_angle, double frame_time, const char* scene, double native_iso,
                                   double dynamic_range, int aperture_source, double focal_mm, double film_w_mm,
                                   double film_h_mm, double distort_k1, double distort_k2, double distort_strength,
                                   int stmap_active, const char* stmap_path, double stmap_strength, double stmap_blend,
                                   const char* lens) {
  return publish(Writer::ex4, {plugin,
                               plugin_version,
                               body,
                               iso,
                               iris,
                               shutter_angle,
                               frame_time,
                               scene,
                               native_iso,
                               dynamic_range,
                               aperture_source,
                               focal_mm,
                               film_w_mm,
                               film_h_mm,
                               distort_k1,
                               distort_k2,
                               distort_strength,
                               stmap_active,
                               stmap_path,
                               stmap_strength,
                               stmap_blend,
                               lens});
}

OVICAM_EXPORT int QrmLink_WriteEx5(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                   double shutter_angle, double frame_time, const char* scene, double native_iso,
                                   double dynamic_range, int aperture_source, double focal_mm, double film_w_mm,
                                   double film_h_mm, double distort_k1, double distort_k2, double distort_strength,
                                   int stmap_active, const char* stmap_path, double stmap_strength, double stmap_blend,
                                   const char* lens, const double* cam_pos, const double* cam_right, const double* cam_up,
                                   const double* cam_forward, const char* body_tag, const char* lens_tag) {
  return publish(Writer::ex5, {plugin,
                               plugin_version,
                               body,
                               iso,
                               iris,
                               shutter_angle,
                               frame_time,
                               scene,
                               native_iso,
                               dynamic_range,
                               aperture_source,
                               focal_mm,
                               film_w_mm,
                               film_h_mm,
                               distort_k1,
                               distort_k2,
                               distort_strength,
                               stmap_active,
                               stmap_path,
                               stmap_strength,
                               stmap_blend,
                               lens,
                               cam_pos,
                               cam_right,
                               cam_up,
                               cam_forward,
                               body_tag,
                               lens_tag});
}

OVICAM_EXPORT int QrmLink_WriteEx6(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                                   double shutter_angle, double frame_time, const char* scene, double native_iso,
                                   double dynamic_range, int aperture_source, double focal_mm, double film_w_mm,
                                   double film_h_mm, double distort_k1, double distort_k2, double distort_strength,
                                   int stmap_active, const char* stmap_path, double stmap_strength, double stmap_blend,
                                   const char* lens, const double* cam_pos, const double* cam_right, const double* cam_up,
                                   const double* cam_forward, const char* body_tag, const char* lens_tag,
                                   const char* camera_name) {
  return publish(Writer::ex6, {plugin,
                               plugin_version,
                               body,
                               iso,
                               iris,
                               shutter_angle,
                               frame_time,
                               scene,
                               native_iso,
                               dynamic_range,
                               aperture_source,
                               focal_mm,
                               film_w_mm,
                               film_h_mm,
                               distort_k1,
                               distort_k2,
                               distort_strength,
                               stmap_active,
                               stmap_path,
                               stmap_strength,
                               stmap_blend,
                               lens,
                               cam_pos,
                               cam_right,
                               cam_up,
                               cam_forward,
                               body_tag,
                               lens_tag,
                               camera_name});
}

OVICAM_EXPORT int QrmLink_Read(QrmLinkRecord* record) {
  if (record == nullptr) return 0;
  *record = {};
  record->version = -1;
  platform::PathBuffer path = {};
  if (QrmLink_SidecarPath(path.data(), static_cast<int>(path.size())) == 0) return 0;
  std::FILE* file = platform::open_for_reading(path.data());
  if (file == nullptr) return 0;
  camera_link::read(file, *record);
  static_cast<void>(std::fclose(file));
  return record->version == 1 ? 1 : 0;
}
}
