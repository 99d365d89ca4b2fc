#include "standin/scene/scene_edit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "standin/scene/file_error.h"
#include "standin/scene/number_text.h"
#include "standin/scene/scene_keywords.h"

namespace standin {
namespace {

constexpr std::size_t angles_of_a_motion = 3;
constexpr double channels_of_a_motion = 9.0;
constexpr double most_span_kinds = 100.0;

/// A line with one of its words replaced; the line itself where it has fewer.
std::string with_word(std::string_view line, std::size_t number, std::string_view word) {
  std::size_t start = line.find_first_not_of(" \t");
  for (std::size_t i = 0; i < number && start != std::string_view::npos; ++i) {
    const std::size_t end = line.find_first_of(" \t\r\n", start);
    start = end == std::string_view::npos ? end : line.find_first_not_of(" \t\r\n", end);
  }
  if (start == std::string_view::npos) return std::string(line);
  const std::size_t end = std::min(line.find_first_of(" \t\r\n", start), line.size());
  return std::string(line.substr(0, start)) + std::string(word) + std::string(line.substr(end));
}

/// The words of a line as numbers, up to the first that is none.
std::vector<double> numbers_after_keyword(std::string_view line) {
  std::vector<double> numbers;
  line = trimmed(line);
  line = trimmed(line.substr(first_word(line).size()));
  while (!line.empty()) {
    const std::string_view word = first_word(line);
    std::string_view after = word;
    const std::optional<double> number = take_number(after);
    if (!number || !after.empty()) break;
    numbers.push_back(*number);
    line = trimmed(line.substr(word.size()));
  }
  return numbers;
}

class SceneEdit {
 public:
  SceneEdit(const std::string& text, const std::string& name, std::uint32_t camera_id)
      : text_(text), name_(name), scene_(read_scene(text, name)) {
    const auto camera =
        std::ranges::find_if(scene_.items, [&](const Item& item) { return item.camera && item.id == camera_id; });
    if (camera == scene_.items.end()) throw FileError(name, "", "the scene has no such camera any more");
    camera_ = &*camera;
    for (std::string_view rest = text_; !rest.empty();) {
      const std::size_t size = std::min(rest.find('\n'), rest.size() - 1) + 1;
      lines_.push_back(rest.substr(0, size));
      rest.remove_prefix(size);
    }
    if (!lines_.empty() && lines_.front().ends_with("\r\n")) line_end_ = "\r\n";
  }

  void set_handler(const PluginBlock& handler) {
    for (const std::string& line : handler.saved_lines)
      if (line.find('\n') != std::string::npos || trimmed(line) == "EndPlugin")
        throw FileError(name_, "", "the camera \"" + handler.server_name + "\" saves a line that no scene can hold");
    std::optional<PluginBlock>& before = camera_->camera->handler;
    if (before && before->server_name == handler.server_name && before->saved_lines == handler.saved_lines) return;
    std::string block;
    if (before && before->server_name == handler.server_name) {
      block = lines_.at(places().handler->first);
      before->saved_lines = handler.saved_lines;
    } else {
      block = line("Plugin " + handler.server_class + ' ' + std::to_string(handler.slot) + ' ' + handler.server_name);
      before = handler;
    }
    for (const std::string& saved : handler.saved_lines) block += line(saved);
    if (places().handler)
      replace({places().handler->first, places().handler->end - 1}, block);
    else
      insert(block + line("EndPlugin"));
  }

  void set_frame_size(int width, int height) {
    CameraSettings& camera = *camera_->camera;
    if (camera.width_pixels == width && camera.height_pixels == height) return;
    camera.width_pixels = width;
    camera.height_pixels = height;
    const std::string size = line("FrameSize " + std::to_string(width) + ' ' + std::to_string(height));
    if (places().frame_size)
      replace(*places().frame_size, size);
    else
      insert(size);
  }

  void turn(const CameraTurn& by) {
    if (by == CameraTurn()) return;
    const std::array angles{by.radians.x, by.radians.y, by.radians.z};
    if (places().motion) {
      std::size_t channel = 0;
      change_keys(*places().motion, [&](std::string_view line, Key& key) {
        if (first_word(line) == "Channel") {
          const auto number = numbers_after_keyword(line);
          channel = number.size() == 1 && number[0] >= 0.0 && number[0] < channels_of_a_motion
                        ? static_cast<std::size_t>(number[0])
                        : 0;
        } else if (channel >= first_angle_channel && channel < first_angle_channel + angles_of_a_motion) {
          if (angles[channel - first_angle_channel] != 0.0) add_to_key(key, angles[channel - first_angle_channel]);
        }
      });
    }
    if (by.zoom != 1.0) change_zoom(by.zoom);
    turn_camera(*camera_, by);
  }

  std::string result() const {
    std::string text;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      if (const auto added = inserted_.find(i); added != inserted_.end()) {
        // What is added after the last line of a file must not join it.
        if (!text.empty() && !text.ends_with('\n')) text += line_end_;
        text += added->second;
      }
      const auto replaced = replaced_.find(i);
      text += replaced != replaced_.end() ? replaced->second : std::string(lines_[i]);
    }
    if (const auto added = inserted_.find(lines_.size()); added != inserted_.end()) {
      if (!text.empty() && !text.ends_with('\n')) text += line_end_;
      text += added->second;
    }
    if (read_scene(text, name_) != scene_) refuse();
    return text;
  }

 private:
  const CameraPlaces& places() const { return camera_->camera->places; }
  std::string line(const std::string& content) const { return content + line_end_; }

  void replace(LineRange range, const std::string& text) {
    for (std::size_t i = range.first; i < range.end; ++i) replaced_[i] = i == range.first ? text : std::string();
  }
  void insert(const std::string& text) {
    if (places().end == 0) refuse();
    inserted_[places().end] += text;
  }
  [[noreturn]] void refuse() const {
    throw FileError(name_, "", "the scene's file has a form in which this cannot be changed; save it again with the host");
  }

  /// Calls for every line of the keyword Channel, and for every key, which may be changed. Plug-ins that drive a channel stand
  /// among them, with lines of their own.
  void change_keys(LineRange range, const std::function<void(std::string_view, Key&)>& change) {
    bool in_plugin = false;
    for (std::size_t i = range.first; i < range.end; ++i) {
      const std::string_view content = lines_[i].substr(0, lines_[i].find_last_not_of("\r\n") + 1);
      const std::string_view keyword = first_word(content);
      if (keyword == "Plugin") in_plugin = true;
      if (keyword == "EndPlugin") in_plugin = false;
      if (in_plugin || (keyword != "Key" && keyword != "Channel")) continue;
      const auto numbers = numbers_after_keyword(content);
      Key key;
      if (keyword == "Key") {
        if (numbers.size() < 3 || !(std::abs(numbers[2]) < most_span_kinds)) continue;
        key.value = numbers[0];
        key.time_seconds = numbers[1];
        key.span = static_cast<Span>(static_cast<int>(numbers[2]));
        for (std::size_t j = 3; j < numbers.size() && j - 3 < key.parameters.size(); ++j) key.parameters[j - 3] = numbers[j];
      }
      const Key before = key;
      change(content, key);
      if (key == before) continue;
      std::string changed = with_word(lines_[i], 1, shortest(key.value));
      for (std::size_t j = 0; j < key.parameters.size(); ++j)
        if (key.parameters[j] != before.parameters[j]) changed = with_word(changed, 4 + j, shortest(key.parameters[j]));
      replaced_[i] = changed;
    }
  }

  void change_zoom(double factor) {
    const auto& range = places().zoom_factor;
    if (!range) {
      insert(line("ZoomFactor " + shortest(camera_->camera->zoom_factor.at(0.0) * factor)));
      return;
    }
    if (range->end == range->first + 1) {
      const std::string_view line = lines_[range->first];
      const auto numbers = numbers_after_keyword(line.substr(0, line.find_last_not_of("\r\n") + 1));
      if (numbers.size() == 1) replaced_[range->first] = with_word(lines_[range->first], 1, shortest(numbers[0] * factor));
      return;
    }
    change_keys(*range, [&](std::string_view line, Key& key) {
      if (first_word(line) == "Key") multiply_key(key, factor);
    });
  }

  const std::string& text_;
  const std::string& name_;
  /// As it is to be in the end.
  Scene scene_;
  Item* camera_ = nullptr;
  std::vector<std::string_view> lines_;
  std::string line_end_ = "\n";
  std::map<std::size_t, std::string> replaced_;
  /// Before the line of that number.
  std::map<std::size_t, std::string> inserted_;
};

}  // namespace

std::string edited_scene(const std::string& text, const std::string& name, std::uint32_t camera_id, const CameraEdit& edit) {
  SceneEdit scene(text, name, camera_id);
  if (edit.handler) scene.set_handler(*edit.handler);
  if (edit.frame_size) scene.set_frame_size(edit.frame_size->first, edit.frame_size->second);
  scene.turn(edit.turn);
  return scene.result();
}

}  // namespace standin
