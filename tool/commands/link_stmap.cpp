#include "tool/commands/link_stmap.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

#include "standin/scene/number_text.h"
#include "tool/pictures/stored_picture.h"

namespace tool {
namespace {

/// The module's reader takes lines in pieces of 511 characters, "stmap_path=" among them.
constexpr std::size_t longest_path = 500;
/// A camera that renders may be writing the file, too.
constexpr int most_tries = 50;
constexpr std::chrono::milliseconds next_try{20};

/// Numbers with commas between them; none for anything else.
std::optional<std::vector<double>> numbers_of(std::string_view text) {
  std::vector<double> numbers;
  while (true) {
    const auto number = standin::take_number(text);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (text.empty()) return numbers;
    if (!text.starts_with(',')) return std::nullopt;
    text.remove_prefix(1);
  }
}

bool same_value(const std::string& a, const std::string& b) {
  if (a == b) return true;
  const auto numbers = numbers_of(a);
  const auto others = numbers_of(b);
  // The file has six decimals.
  return numbers && others && std::ranges::equal(*numbers, *others, [](double x, double y) { return std::abs(x - y) < 1e-6; });
}

/// Values by key; of a key that is there twice, the last one. Other lines have no value.
std::map<std::string, std::string> values_of(const std::string& text) {
  std::map<std::string, std::string> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.starts_with('#') || line.starts_with(';') || line.starts_with('[')) continue;
    const std::size_t equals = std::min(line.find('='), line.size());
    values[line.substr(0, equals)] = equals < line.size() ? line.substr(equals + 1) : "";
  }
  return values;
}

}  // namespace

PublishedStMap checked_stmap(const std::string& file, std::optional<double> strength, std::optional<double> blend) {
  std::error_code error;
  PublishedStMap map{std::filesystem::absolute(file, error).lexically_normal(), strength, blend};
  const std::string path = map.file.string();
  if (error || path.size() > longest_path || path.find_first_of("\r\n") != std::string::npos) {
    throw std::runtime_error(file + ": this path cannot stand in the camera link file; use one of at most " +
                             std::to_string(longest_path) + " characters, in one line");
  }
  if (read_picture(map.file)->channels().size() < 2)
    throw std::runtime_error(file + ": it is not an ST map, which has s and t in its first two channels");
  return map;
}

void publish_stmap(decltype(QrmLink_WriteEx6)* write, const QrmLinkRecord& record, const PublishedStMap& map) {
  const bool had_one = record.stmap_path[0] != '\0';
  const double strength = map.strength.value_or(had_one ? record.stmap_strength : 1.0);
  const double blend = map.blend.value_or(had_one ? record.stmap_blend : 1.0);
  // A camera's axes are never zero: the file has no pose then.
  const auto axis = [](const double(&vector)[3]) {
    return std::ranges::all_of(vector, [](double number) { return number == 0.0; }) ? nullptr : vector;
  };
  const double* position = axis(record.cam_right) != nullptr ? record.cam_pos : axis(record.cam_pos);
  const std::string path = map.file.string();
  for (int i = 0; i < most_tries; ++i) {
    if (write(record.plugin, record.plugin_version, record.body, record.iso, record.iris, record.shutter_angle,
              record.frame_time, record.scene, record.native_iso, record.dynamic_range, record.aperture_source, record.focal_mm,
              record.film_w_mm, record.film_h_mm, record.distort_k1, record.distort_k2, record.distort_strength, 1,
              path.c_str(), strength, blend, record.lens, position, axis(record.cam_right), axis(record.cam_up),
              axis(record.cam_forward), record.body_tag, record.lens_tag, record.camera_name) == 1)
      return;
    std::this_thread::sleep_for(next_try);
  }
  throw std::runtime_error(
      "the camera link file cannot be written; see that its folder may be written to and has room, or set TMPDIR");
}

std::vector<std::string> lines_not_kept(const std::string& before, const std::string& after) {
  const auto kept = values_of(after);
  std::vector<std::string> lost;
  for (const auto& [key, value] : values_of(before)) {
    if (key.starts_with("stmap_")) continue;
    const auto now = kept.find(key);
    if (now == kept.end() || !same_value(value, now->second))
      lost.push_back(value.empty() ? key : std::string(key).append("=").append(value));
  }
  return lost;
}

}  // namespace tool
